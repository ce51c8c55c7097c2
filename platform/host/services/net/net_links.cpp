// The host's network under the simulated IP stack: sockets, listeners, the SSL link and the one
// thread whose poll loop serves them all.
#include "net_links.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "tandrel_trace.h"

#define NET_TRACE(level, ...) TANDREL_TRACE_TAG("net-links", level, __VA_ARGS__)

namespace net_links {
namespace {

using Clock = std::chrono::steady_clock;

// A connect, SSL handshake included, that has not ended by then fails.
constexpr auto kConnectLimit = std::chrono::seconds(20);
constexpr size_t kReadChunk = 16384;
constexpr uint32_t kNoListener = kListeners;

struct ErrnoNumber {
    int err;
    uint32_t number;
};
constexpr ErrnoNumber kErrnoNumbers[] = {
    {ENETUNREACH, ERR_NET_UNREACHABLE},
    {ECONNRESET, ERR_RESET},
    {EPIPE, ERR_RESET},
    {ETIMEDOUT, ERR_TIMED_OUT},
    {ECONNREFUSED, ERR_REFUSED},
    {EHOSTUNREACH, ERR_HOST_UNREACHABLE},
    {EADDRINUSE, ERR_ADDR_IN_USE},
    {EADDRNOTAVAIL, ERR_ADDR_IN_USE},
    {EACCES, ERR_ADDR_IN_USE},
};

uint32_t number_of(int err) {
    for (const ErrnoNumber& e : kErrnoNumbers) {
        if (e.err == err) {
            return e.number;
        }
    }
    return ERR_SOCKET;
}

struct Address {
    sockaddr_storage sa{};
    socklen_t len = 0;
};

bool ip_literal(const std::string& host) {
    in6_addr a{};
    return inet_pton(AF_INET, host.c_str(), &a) == 1 || inet_pton(AF_INET6, host.c_str(), &a) == 1;
}

// The addresses of host:port, or none. Only literal addresses when numeric,
// which never waits for the resolver.
std::vector<Address> addresses(const Peer& p, bool numeric, int* rc) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = p.udp ? SOCK_DGRAM : SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV | (numeric ? AI_NUMERICHOST : 0);
    addrinfo* res = nullptr;
    std::vector<Address> out;
    *rc = getaddrinfo(p.host.c_str(), std::to_string(p.port).c_str(), &hints, &res);
    for (const addrinfo* a = *rc == 0 ? res : nullptr; a != nullptr; a = a->ai_next) {
        Address addr;
        addr.len = std::min<socklen_t>(a->ai_addrlen, sizeof addr.sa);
        memcpy(&addr.sa, a->ai_addr, addr.len);
        out.push_back(addr);
    }
    if (res != nullptr) {
        freeaddrinfo(res);
    }
    return out;
}

std::string host_of(const sockaddr_storage& sa, socklen_t len, uint32_t* port) {
    char host[NI_MAXHOST] = "";
    char serv[NI_MAXSERV] = "0";
    (void)getnameinfo(reinterpret_cast<const sockaddr*>(&sa), len, host, sizeof host, serv,
                      sizeof serv, NI_NUMERICHOST | NI_NUMERICSERV);
    *port = static_cast<uint32_t>(strtoul(serv, nullptr, 10));
    return host;
}

uint32_t local_port_of(int fd) {
    sockaddr_storage sa{};
    socklen_t len = sizeof sa;
    uint32_t port = 0;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&sa), &len) == 0) {
        (void)host_of(sa, len, &port);
    }
    return port;
}

bool same_address(const Address& a, const sockaddr_storage& sa, socklen_t len) {
    return a.len == len && memcmp(&a.sa, &sa, len) == 0;
}

// Why a handshake failed: the verification's verdict when it had one.
uint32_t tls_failure(const SSL* ssl) {
    const long verdict = SSL_get_verify_result(ssl);
    ERR_clear_error();
    if (verdict == X509_V_ERR_HOSTNAME_MISMATCH || verdict == X509_V_ERR_IP_ADDRESS_MISMATCH) {
        return ERR_TLS_NAME;
    }
    return verdict != X509_V_OK ? ERR_TLS_UNTRUSTED : ERR_TLS_HANDSHAKE;
}

enum class Phase { Closed, Resolving, Connecting, Handshake, Up };

struct Slot {
    Phase phase = Phase::Closed;
    uint64_t gen = 0;  // changes at every open and close, so late news of an old link is dropped
    int fd = -1;
    uint32_t listener = kNoListener;  // a UDP listener whose socket this link answers from
    Peer peer;
    std::vector<Address> to_try;  // addresses of the peer not tried yet
    bool resolved = false;
    int last_errno = 0;
    Address to;  // the peer of a link that answers from a listener's socket
    SSL_CTX* ctx = nullptr;
    SSL* ssl = nullptr;
    bool tls_wants_write = false;
    std::string out;               // bytes waiting to go
    Clock::time_point flush_at{};  // when waiting bytes go short of a packet
    Clock::time_point give_up{};   // end of the connect
    bool held = false;             // the service takes no more for now
};

struct Listener {
    int fd = -1;
    bool udp = false;
    bool open = false;
    uint32_t users = 0;  // links answering from its UDP socket
};

// A link's socket being closed by the loop: what waited is sent first, and
// the SSL link says goodbye.
struct Closing {
    int fd;
    SSL* ssl;
    std::string out;
};

// What one pollfd entry watches.
struct Watch {
    enum Kind { Wake, Link, Listen } kind;
    uint32_t index;
    uint64_t gen;
};

class Network final : public Links {
  public:
    Network(std::mutex& lock, Events& events) : mu_(lock), events_(events) {
        wake_fd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        std::thread([this] { loop(); }).detach();
    }

    uint32_t open(uint32_t link, const Peer& peer, const Tls* tls) override {
        if (link >= kSlots) {
            return ERR_SOCKET;
        }
        end(link);
        Slot& s = slots_[link];
        s.peer = peer;
        s.give_up = Clock::now() + kConnectLimit;
        if (tls != nullptr && (s.ctx = tls_context(*tls)) == nullptr) {
            return ERR_TLS_HANDSHAKE;
        }
        int rc = 0;
        s.to_try = addresses(peer, true, &rc);
        if (s.to_try.empty()) {
            // A name: the host's resolver may take its time, on a thread of its own.
            s.phase = Phase::Resolving;
            std::thread([this, link, gen = s.gen, peer] { resolve(link, gen, peer); }).detach();
            return 0;
        }
        const uint32_t error = connect_next(s);
        if (error != 0) {
            end(link);
        }
        wake();
        return error;
    }

    void close(uint32_t link) override {
        if (link < kSlots) {
            end(link);
            wake();
        }
    }

    void send(uint32_t link, std::string_view bytes) override {
        if (link >= kSlots || slots_[link].phase == Phase::Closed) {
            return;
        }
        Slot& s = slots_[link];
        if (s.out.empty()) {
            s.flush_at = Clock::now() + std::chrono::milliseconds(settings_.send_timer_ms);
        }
        s.out.append(bytes);
        wake();
    }

    void resume(uint32_t link) override {
        if (link < kSlots && slots_[link].held) {
            slots_[link].held = false;
            wake();
        }
    }

    uint32_t listen(uint32_t id, bool udp, uint32_t port) override {
        if (id >= kListeners) {
            return ERR_SOCKET;
        }
        unlisten(id);
        const int fd =
            socket(AF_INET, (udp ? SOCK_DGRAM : SOCK_STREAM) | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        if (fd < 0) {
            return number_of(errno);
        }
        const int one = 1;
        (void)setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        sockaddr_in sa{};
        sa.sin_family = AF_INET;
        sa.sin_port = htons(static_cast<uint16_t>(port));
        sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0 ||
            (!udp && ::listen(fd, 8) != 0)) {
            const int err = errno;
            ::close(fd);
            return number_of(err);
        }
        listeners_[id] = Listener{fd, udp, true, 0};
        wake();
        return 0;
    }

    void unlisten(uint32_t id) override {
        if (id < kListeners) {
            listeners_[id].open = false;
            release(id);
        }
    }

    void configure(const Settings& settings) override {
        settings_ = settings;
        for (const Slot& s : slots_) {
            if (s.fd >= 0 && s.listener == kNoListener) {
                apply_options(s.fd, s.peer.udp);
            }
        }
        wake();
    }

    void timer(uint32_t ms) override {
        timer_at_ = ms == 0 ? Clock::time_point{} : Clock::now() + std::chrono::milliseconds(ms);
        wake();
    }

    bool certificate(const std::string& path) override {
        BIO* bio = BIO_new_file(path.c_str(), "r");
        X509* cert = bio != nullptr ? PEM_read_bio_X509(bio, nullptr, nullptr, nullptr) : nullptr;
        const bool found = cert != nullptr;
        X509_free(cert);
        BIO_free(bio);
        ERR_clear_error();
        return found;
    }

  private:
    void wake() {
        const uint64_t one = 1;
        while (::write(wake_fd_, &one, sizeof one) < 0 && errno == EINTR) {
        }
    }

    SSL_CTX* tls_context(const Tls& tls) {
        SSL_CTX* ctx = SSL_CTX_new(TLS_client_method());
        if (ctx == nullptr) {
            return nullptr;
        }
        SSL_CTX_set_mode(ctx, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
        SSL_CTX_set_verify(ctx, tls.verify ? SSL_VERIFY_PEER : SSL_VERIFY_NONE, nullptr);
        for (const std::string& file : tls.trusted) {
            if (SSL_CTX_load_verify_locations(ctx, file.c_str(), nullptr) != 1) {
                NET_TRACE(TRACE_LEVEL_ERROR, "%s: no certificate loaded\n", file.c_str());
            }
        }
        ERR_clear_error();
        return ctx;
    }

    void apply_options(int fd, bool udp) const {
        const int keepalive = settings_.keepalive ? 1 : 0;
        const int nodelay = settings_.nodelay ? 1 : 0;
        const int ttl = static_cast<int>(settings_.ttl);
        if (!udp) {
            (void)setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &keepalive, sizeof keepalive);
            (void)setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &nodelay, sizeof nodelay);
        }
        // One of the two fits the socket's family; the other fails harmlessly.
        (void)setsockopt(fd, IPPROTO_IP, IP_TTL, &ttl, sizeof ttl);
        (void)setsockopt(fd, IPPROTO_IPV6, IPV6_UNICAST_HOPS, &ttl, sizeof ttl);
    }

    // Frees what the slot holds; its socket goes to the loop to be closed.
    void end(uint32_t link) {
        Slot& s = slots_[link];
        if (s.listener != kNoListener) {
            --listeners_[s.listener].users;
            release(s.listener);
        } else if (s.fd >= 0) {
            closing_.push_back(Closing{s.fd, s.ssl, s.phase == Phase::Up ? s.out : std::string()});
            s.ssl = nullptr;
        }
        SSL_CTX_free(s.ctx);
        s = Slot{};
        s.gen = ++gen_;
    }

    void release(uint32_t id) {
        Listener& l = listeners_[id];
        if (!l.open && l.users == 0 && l.fd >= 0) {
            closing_.push_back(Closing{l.fd, nullptr, {}});
            l.fd = -1;
        }
    }

    // Starts the connect to the next address; 0, or why the last one failed.
    uint32_t connect_next(Slot& s) {
        while (!s.to_try.empty()) {
            const Address a = s.to_try.front();
            s.to_try.erase(s.to_try.begin());
            const int fd =
                socket(a.sa.ss_family,
                       (s.peer.udp ? SOCK_DGRAM : SOCK_STREAM) | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
            if (fd < 0) {
                s.last_errno = errno;
                continue;
            }
            apply_options(fd, s.peer.udp);
            if (s.peer.local_port != 0 && !bind_local(fd, a.sa.ss_family, s.peer.local_port)) {
                s.last_errno = errno;
                ::close(fd);
                continue;
            }
            if (connect(fd, reinterpret_cast<const sockaddr*>(&a.sa), a.len) == 0 ||
                errno == EINPROGRESS) {
                s.fd = fd;
                s.phase = Phase::Connecting;
                return 0;
            }
            s.last_errno = errno;
            ::close(fd);
        }
        return s.last_errno == 0 ? ERR_NO_NAME : number_of(s.last_errno);
    }

    static bool bind_local(int fd, int family, uint32_t port) {
        const int one = 1;
        (void)setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        sockaddr_storage sa{};
        sa.ss_family = static_cast<sa_family_t>(family);
        const auto p = htons(static_cast<uint16_t>(port));
        if (family == AF_INET6) {
            reinterpret_cast<sockaddr_in6*>(&sa)->sin6_port = p;
        } else {
            reinterpret_cast<sockaddr_in*>(&sa)->sin_port = p;
        }
        const socklen_t len = family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
        return bind(fd, reinterpret_cast<sockaddr*>(&sa), len) == 0;
    }

    void resolve(uint32_t link, uint64_t gen, const Peer& peer) {
        int rc = 0;
        std::vector<Address> found = addresses(peer, false, &rc);
        if (rc != 0) {
            NET_TRACE(TRACE_LEVEL_INFO, "%s: %s\n", peer.host.c_str(), gai_strerror(rc));
        }
        const std::lock_guard<std::mutex> lock(mu_);
        Slot& s = slots_[link];
        if (s.gen == gen && s.phase == Phase::Resolving) {
            s.to_try = std::move(found);
            s.resolved = true;
            wake();
        }
    }

    void fail(uint32_t link, uint32_t error) {
        NET_TRACE(TRACE_LEVEL_INFO, "link %u: connect failed (%u)\n", link + 1, error);
        end(link);
        events_.connected(link, error, 0);
    }

    void broken(uint32_t link, uint32_t error) {
        NET_TRACE(TRACE_LEVEL_INFO, "link %u: ended by the peer (%u)\n", link + 1, error);
        end(link);
        events_.closed(link, error);
    }

    void up(uint32_t link) {
        Slot& s = slots_[link];
        s.phase = Phase::Up;
        events_.connected(link, 0, local_port_of(s.fd));
    }

    void connect_done(uint32_t link) {
        Slot& s = slots_[link];
        int err = 0;
        socklen_t len = sizeof err;
        if (getsockopt(s.fd, SOL_SOCKET, SO_ERROR, &err, &len) != 0) {
            err = errno;
        }
        if (err == EINPROGRESS || err == EALREADY) {
            return;
        }
        if (err != 0) {
            // Another address of the peer may do better.
            s.last_errno = err;
            ::close(s.fd);
            s.fd = -1;
            const uint32_t error = connect_next(s);
            if (error != 0) {
                fail(link, error);
            }
            return;
        }
        if (s.ctx == nullptr) {
            up(link);
            return;
        }
        s.ssl = SSL_new(s.ctx);
        if (s.ssl == nullptr || SSL_set_fd(s.ssl, s.fd) != 1) {
            fail(link, ERR_TLS_HANDSHAKE);
            return;
        }
        const char* host = s.peer.host.c_str();
        if (ip_literal(s.peer.host)) {
            (void)X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(s.ssl), host);
        } else {
            (void)SSL_set1_host(s.ssl, host);
            (void)SSL_set_tlsext_host_name(s.ssl, host);
        }
        SSL_set_connect_state(s.ssl);
        s.phase = Phase::Handshake;
        handshake(link);
    }

    // Whether the TLS call's result means "try again when the socket is ready".
    bool tls_retry(Slot& s, int result) {
        const int e = SSL_get_error(s.ssl, result);
        s.tls_wants_write = e == SSL_ERROR_WANT_WRITE;
        return e == SSL_ERROR_WANT_READ || e == SSL_ERROR_WANT_WRITE;
    }

    void handshake(uint32_t link) {
        Slot& s = slots_[link];
        const int r = SSL_do_handshake(s.ssl);
        if (r == 1) {
            s.tls_wants_write = false;
            up(link);
        } else if (!tls_retry(s, r)) {
            fail(link, tls_failure(s.ssl));
        }
    }

    // Reads what the peer sent, until the socket is empty or the service holds back.
    void read(uint32_t link) {
        char buf[kReadChunk];
        const uint64_t gen = slots_[link].gen;
        while (slots_[link].gen == gen && !slots_[link].held) {
            Slot& s = slots_[link];
            ssize_t n = 0;
            if (s.ssl != nullptr) {
                const int r = SSL_read(s.ssl, buf, sizeof buf);
                if (r <= 0) {
                    if (!tls_retry(s, r)) {
                        const bool clean = SSL_get_error(s.ssl, r) == SSL_ERROR_ZERO_RETURN;
                        ERR_clear_error();
                        broken(link, clean ? 0 : ERR_RESET);
                    }
                    return;
                }
                n = r;
            } else {
                n = recv(s.fd, buf, sizeof buf, 0);
                const int err = errno;
                if (n == 0 && !s.peer.udp) {
                    broken(link, 0);
                    return;
                }
                // An empty datagram carries nothing; a UDP peer that has no
                // socket leaves a refusal behind, which does not end the link.
                if (n == 0 || (n < 0 && (err == EINTR || (s.peer.udp && err == ECONNREFUSED)))) {
                    continue;
                }
                if (n < 0) {
                    if (err != EAGAIN) {
                        broken(link, number_of(err));
                    }
                    return;
                }
            }
            s.held = !events_.received(link, std::string_view(buf, static_cast<size_t>(n)));
        }
    }

    // How many waiting bytes may go now: all once the send timer ran out,
    // else whole packets.
    size_t due(const Slot& s, Clock::time_point now) const {
        const size_t packet = std::max<uint32_t>(settings_.packet_size, 1);
        if (s.out.empty() || s.phase != Phase::Up) {
            return 0;
        }
        return now >= s.flush_at ? s.out.size() : s.out.size() / packet * packet;
    }

    void write(uint32_t link, Clock::time_point now) {
        Slot& s = slots_[link];
        const size_t packet = std::max<uint32_t>(settings_.packet_size, 1);
        size_t left = due(s, now);
        while (left > 0) {
            // A UDP link sends a datagram per packet; the others as much as the socket takes.
            const size_t want = s.peer.udp ? std::min(left, packet) : left;
            ssize_t n = 0;
            if (s.ssl != nullptr) {
                const int r = SSL_write(s.ssl, s.out.data(), static_cast<int>(want));
                if (r <= 0) {
                    if (!tls_retry(s, r)) {
                        ERR_clear_error();
                        broken(link, ERR_RESET);
                    }
                    return;
                }
                n = r;
            } else if (s.listener != kNoListener) {
                n = sendto(s.fd, s.out.data(), want, MSG_NOSIGNAL,
                           reinterpret_cast<const sockaddr*>(&s.to.sa), s.to.len);
            } else {
                n = ::send(s.fd, s.out.data(), want, MSG_NOSIGNAL);
            }
            if (n < 0) {
                if (errno == EINTR || (s.peer.udp && errno == ECONNREFUSED)) {
                    continue;
                }
                if (errno != EAGAIN) {
                    broken(link, number_of(errno));
                }
                return;
            }
            s.out.erase(0, static_cast<size_t>(n));
            left -= std::min(left, static_cast<size_t>(n));
            if (s.out.empty()) {
                s.flush_at = Clock::time_point{};
            }
            events_.written(link, static_cast<size_t>(n));
            if (slots_[link].gen != s.gen) {
                return;
            }
        }
    }

    void accept_tcp(uint32_t id) {
        sockaddr_storage sa{};
        socklen_t len = sizeof sa;
        const int fd = accept4(listeners_[id].fd, reinterpret_cast<sockaddr*>(&sa), &len,
                               SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0) {
            return;
        }
        uint32_t port = 0;
        const std::string host = host_of(sa, len, &port);
        uint32_t link = 0;
        if (!events_.accepted(id, host, port, &link) || link >= kSlots) {
            NET_TRACE(TRACE_LEVEL_INFO, "listener %u: no free link for %s\n", id + 1, host.c_str());
            ::close(fd);
            return;
        }
        end(link);
        Slot& s = slots_[link];
        s.fd = fd;
        s.peer = Peer{false, host, port, 0};
        apply_options(fd, false);
        s.phase = Phase::Up;
    }

    // A datagram on a UDP listener: the link of its sender, a new one for a new sender.
    void receive_udp(uint32_t id) {
        char buf[kReadChunk];
        sockaddr_storage sa{};
        socklen_t len = sizeof sa;
        const ssize_t n =
            recvfrom(listeners_[id].fd, buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&sa), &len);
        if (n < 0) {
            return;
        }
        uint32_t link = kSlots;
        for (uint32_t i = 0; i < kSlots; ++i) {
            if (slots_[i].listener == id && same_address(slots_[i].to, sa, len)) {
                link = i;
            }
        }
        if (link == kSlots) {
            uint32_t port = 0;
            const std::string host = host_of(sa, len, &port);
            if (!listeners_[id].open || !events_.accepted(id, host, port, &link) ||
                link >= kSlots) {
                return;
            }
            end(link);
            Slot& s = slots_[link];
            s.fd = listeners_[id].fd;
            s.listener = id;
            s.peer = Peer{true, host, port, 0};
            s.to.sa = sa;
            s.to.len = len;
            s.phase = Phase::Up;
            ++listeners_[id].users;
        }
        // A link that holds back loses the datagram, as a full UDP buffer would.
        if (!slots_[link].held) {
            slots_[link].held =
                !events_.received(link, std::string_view(buf, static_cast<size_t>(n)));
        }
    }

    // One last try to send what waited, then the goodbye of an SSL link, then the close.
    static void finish(Closing& c) {
        if (!c.out.empty()) {
            if (c.ssl != nullptr) {
                (void)SSL_write(c.ssl, c.out.data(), static_cast<int>(c.out.size()));
            } else {
                (void)::send(c.fd, c.out.data(), c.out.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            }
        }
        if (c.ssl != nullptr) {
            (void)SSL_shutdown(c.ssl);
            SSL_free(c.ssl);
            ERR_clear_error();
        }
        ::close(c.fd);
    }

    int poll_timeout(Clock::time_point now) const {
        Clock::time_point next = timer_at_;
        for (const Slot& s : slots_) {
            if (s.phase != Phase::Closed && s.phase != Phase::Up) {
                next = next == Clock::time_point{} ? s.give_up : std::min(next, s.give_up);
            }
            if (s.phase == Phase::Up && !s.out.empty() && due(s, now) < s.out.size()) {
                next = next == Clock::time_point{} ? s.flush_at : std::min(next, s.flush_at);
            }
        }
        if (next == Clock::time_point{}) {
            return -1;
        }
        const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(next - now).count();
        return static_cast<int>(std::clamp<long long>(ms + 1, 0, 60000));
    }

    void watch(int fd, short events, Watch w) {
        fds_.push_back(pollfd{fd, events, 0});
        watches_.push_back(w);
    }

    void prepare(Clock::time_point now) {
        fds_.clear();
        watches_.clear();
        watch(wake_fd_, POLLIN, Watch{Watch::Wake, 0, 0});
        for (uint32_t i = 0; i < kSlots; ++i) {
            const Slot& s = slots_[i];
            if (s.fd < 0 || s.listener != kNoListener) {
                continue;
            }
            short ev = 0;
            if (s.phase == Phase::Connecting || s.tls_wants_write || due(s, now) > 0) {
                ev |= POLLOUT;
            }
            if (s.phase == Phase::Handshake || (s.phase == Phase::Up && !s.held)) {
                ev |= POLLIN;
            }
            // Not watched at all while it waits on the service: a hang-up
            // would wake the loop for nothing until the service reads.
            if (ev != 0) {
                watch(s.fd, ev, Watch{Watch::Link, i, s.gen});
            }
        }
        for (uint32_t i = 0; i < kListeners; ++i) {
            if (listeners_[i].fd >= 0) {
                watch(listeners_[i].fd, POLLIN, Watch{Watch::Listen, i, 0});
            }
        }
    }

    void serve_link(uint32_t link, short revents, Clock::time_point now) {
        const uint64_t gen = slots_[link].gen;
        switch (slots_[link].phase) {
            case Phase::Connecting:
                connect_done(link);
                return;
            case Phase::Handshake:
                handshake(link);
                return;
            case Phase::Up:
                if ((revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
                    read(link);
                }
                if (slots_[link].gen == gen && (revents & (POLLOUT | POLLERR)) != 0) {
                    write(link, now);
                }
                return;
            default:
                return;
        }
    }

    // Whatever is due without the socket's word: names resolved, connects given
    // up, data the SSL layer already holds, sends whose timer ran out, the timer.
    void serve_time(Clock::time_point now) {
        for (uint32_t i = 0; i < kSlots; ++i) {
            Slot& s = slots_[i];
            if (s.phase == Phase::Resolving && s.resolved) {
                const uint32_t error = connect_next(s);
                if (error != 0) {
                    fail(i, error);
                }
            } else if (s.phase != Phase::Closed && s.phase != Phase::Up && now >= s.give_up) {
                fail(i, ERR_TIMED_OUT);
            } else if (s.phase == Phase::Up && s.ssl != nullptr && !s.held &&
                       SSL_pending(s.ssl) > 0) {
                read(i);
            }
        }
        if (timer_at_ != Clock::time_point{} && now >= timer_at_) {
            timer_at_ = Clock::time_point{};
            events_.timer();
        }
    }

    [[noreturn]] void loop() {
        // A write to a peer that has gone must fail, not end the process; the
        // signal stays pending on this thread, where nobody waits for it.
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
        std::unique_lock<std::mutex> lock(mu_);
        for (;;) {
            for (Closing& c : closing_) {
                finish(c);
            }
            closing_.clear();
            prepare(Clock::now());
            const int timeout = poll_timeout(Clock::now());
            lock.unlock();
            events_.flush();
            (void)poll(fds_.data(), fds_.size(), timeout);
            lock.lock();
            const Clock::time_point now = Clock::now();
            for (size_t k = 0; k < fds_.size(); ++k) {
                const Watch& w = watches_[k];
                if (fds_[k].revents == 0) {
                    continue;
                }
                if (w.kind == Watch::Wake) {
                    uint64_t n = 0;
                    (void)!::read(wake_fd_, &n, sizeof n);
                } else if (w.kind == Watch::Link && slots_[w.index].gen == w.gen) {
                    serve_link(w.index, fds_[k].revents, now);
                } else if (w.kind == Watch::Listen && listeners_[w.index].fd == fds_[k].fd) {
                    if (listeners_[w.index].udp) {
                        receive_udp(w.index);
                    } else if (listeners_[w.index].open) {
                        accept_tcp(w.index);
                    }
                }
            }
            serve_time(now);
            for (uint32_t i = 0; i < kSlots; ++i) {
                write(i, now);
            }
        }
    }

    std::mutex& mu_;
    Events& events_;
    int wake_fd_ = -1;
    std::array<Slot, kSlots> slots_{};
    std::array<Listener, kListeners> listeners_{};
    std::vector<Closing> closing_;
    Settings settings_;
    Clock::time_point timer_at_{};
    uint64_t gen_ = 0;
    std::vector<pollfd> fds_;
    std::vector<Watch> watches_;
};

}  // namespace

Links& links(std::mutex& lock, Events& events) {
    // Never destroyed: its thread serves the process to its end.
    static Network* network = new Network(lock, events);
    return *network;
}

}  // namespace net_links
