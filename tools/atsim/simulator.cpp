// The simulated kernel AT driver: netlink socket, PTY ports and the poll loop that joins them.
#include "simulator.h"

#include <fcntl.h>
#include <linux/netlink.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <vector>

#include "at_cmd_table.h"
#include "driver_wire.h"
#include "nl_device.h"
#include "ports.h"
#include "registration.h"

namespace atsim {

namespace {

// Bytes waiting for a terminal that does not read, per port; beyond this
// output is dropped (a port nobody has opened must not grow without bound).
constexpr size_t kMaxQueued = 256 * 1024;
constexpr size_t kRecvBuffer = 64 * 1024;

int g_signal_pipe[2] = {-1, -1};

void on_signal(int) {
    const int saved = errno;
    const char b = 1;
    [[maybe_unused]] const ssize_t n = write(g_signal_pipe[1], &b, 1);
    errno = saved;
}

void log_line(const std::string& msg) {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    tm t{};
    localtime_r(&ts.tv_sec, &t);
    std::fprintf(stderr, "%02d:%02d:%02d.%03ld tandrel-atsim: %s\n", t.tm_hour, t.tm_min, t.tm_sec,
                 ts.tv_nsec / 1000000, msg.c_str());
    std::fflush(stderr);
}

// Terminal text in a log line: control and non-ASCII bytes written as \xHH.
std::string visible(std::string_view s, size_t max = 80) {
    std::string out;
    for (size_t i = 0; i < s.size() && i < max; ++i) {
        const auto c = static_cast<unsigned char>(s[i]);
        if (c == '\r') {
            out += "\\r";
        } else if (c == '\n') {
            out += "\\n";
        } else if (c < 0x20 || c > 0x7e) {
            char b[8];
            std::snprintf(b, sizeof b, "\\x%02X", c);
            out += b;
        } else {
            out.push_back(static_cast<char>(c));
        }
    }
    if (s.size() > max) {
        out += "...";
    }
    return out;
}

class Simulator;

struct Port final : SessionHost {
    Port(Simulator& s, const PortInfo& p) : sim(s), info(p) {}
    ~Port() override;

    const Registration* registration() const override;
    uint32_t send_request(AtRequest& req) override;
    void write(std::string_view bytes) override;
    void line_done() override;
    void log(const std::string& msg) override;

    bool open(const std::string& run_dir, std::string* why);
    void flush();

    Simulator& sim;
    const PortInfo& info;
    int master = -1;
    int slave = -1;  // held open so the port stays up while no terminal is attached
    std::string pts;
    std::string link;
    std::string queued;
    uint64_t written = 0;  // bytes accepted for the terminal since start
    bool dropping = false;
    bool dead = false;
    std::unique_ptr<PortSession> session;
};

class Simulator {
public:
    explicit Simulator(const SimOptions& opt) : opt_(opt) {}
    ~Simulator() {
        ports_.clear();
        if (nl_fd_ >= 0) {
            close(nl_fd_);
        }
    }
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;
    int run();

    const Registration* registration() const { return reg_ ? &*reg_ : nullptr; }
    uint32_t send_request(AtRequest& req);
    void status(const std::string& line);

private:
    bool open_socket();
    bool open_ports();
    void receive();
    void on_datagram(uint32_t src, std::span<const uint8_t> msg);
    void route(const Answer& a);
    int poll_timeout_ms() const;

    SimOptions opt_;
    int nl_fd_ = -1;
    std::vector<std::unique_ptr<Port>> ports_;
    std::optional<Registration> reg_;
    uint32_t daemon_pid_ = 0;
    uint32_t next_magic_ = 1;
    uint32_t seq_ = 0;
    int exit_code_ = kExitStopped;
    bool stop_ = false;
};

Port::~Port() {
    if (!link.empty()) {
        // Only our own link goes: another simulator may have replaced it.
        char target[256];
        const ssize_t n = readlink(link.c_str(), target, sizeof target - 1);
        if (n > 0 && std::string_view(target, static_cast<size_t>(n)) == pts) {
            unlink(link.c_str());
        }
    }
    if (slave >= 0) {
        close(slave);
    }
    if (master >= 0) {
        close(master);
    }
}

bool Port::open(const std::string& run_dir, std::string* why) {
    master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
        *why = std::string("pseudo-terminal: ") + std::strerror(errno);
        return false;
    }
    char name[128];
    if (ptsname_r(master, name, sizeof name) != 0) {
        *why = std::string("ptsname: ") + std::strerror(errno);
        return false;
    }
    pts = name;
    slave = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (slave < 0) {
        *why = pts + ": " + std::strerror(errno);
        return false;
    }
    // Raw: the line discipline neither echoes nor translates; echo and line
    // ends are the driver's business, as on the module.
    termios t{};
    if (tcgetattr(slave, &t) == 0) {
        cfmakeraw(&t);
        tcsetattr(slave, TCSANOW, &t);
    }
    fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);
    const std::string path = run_dir + "/" + info.name;
    const std::string tmp = path + ".new" + std::to_string(getpid());
    unlink(tmp.c_str());
    if (symlink(pts.c_str(), tmp.c_str()) != 0 || rename(tmp.c_str(), path.c_str()) != 0) {
        *why = path + ": " + std::strerror(errno);
        unlink(tmp.c_str());
        return false;
    }
    link = path;
    return true;
}

const Registration* Port::registration() const { return sim.registration(); }

uint32_t Port::send_request(AtRequest& req) { return sim.send_request(req); }

void Port::write(std::string_view bytes) {
    if (dead || bytes.empty()) {
        return;
    }
    if (queued.empty()) {
        const ssize_t n = ::write(master, bytes.data(), bytes.size());
        if (n > 0) {
            written += static_cast<uint64_t>(n);
            bytes.remove_prefix(static_cast<size_t>(n));
        }
    }
    if (bytes.empty()) {
        dropping = false;
        return;
    }
    const size_t room = queued.size() < kMaxQueued ? kMaxQueued - queued.size() : 0;
    const size_t take = std::min(room, bytes.size());
    queued.append(bytes.substr(0, take));
    written += take;
    if (take < bytes.size() && !dropping) {
        dropping = true;
        log("terminal does not read: output dropped");
    }
}

void Port::flush() {
    while (!queued.empty()) {
        const ssize_t n = ::write(master, queued.data(), queued.size());
        if (n <= 0) {
            if (n < 0 && errno != EAGAIN && errno != EINTR) {
                log(std::string("write failed: ") + std::strerror(errno));
                dead = true;
                queued.clear();
            }
            return;
        }
        queued.erase(0, static_cast<size_t>(n));
    }
    dropping = false;
}

void Port::line_done() {
    sim.status("done " + std::string(info.name) + " " + std::to_string(written));
}

void Port::log(const std::string& msg) { log_line(std::string(info.name) + ": " + msg); }

uint32_t Simulator::send_request(AtRequest& req) {
    if (!reg_) {
        log_line("no daemon has registered: request not sent");
        return 0;
    }
    const uint32_t magic = next_magic_;
    next_magic_ = next_magic_ == UINT32_MAX ? 1 : next_magic_ + 1;  // 0 marks reports
    req.m_magic = magic;
    const std::vector<uint8_t> d = driver_wire::request_datagram(req, opt_.port_id, seq_++);
    if (driver_wire::send_to(nl_fd_, daemon_pid_, d) < 0) {
        log_line("send to the daemon (port id " + std::to_string(daemon_pid_) +
                 ") failed: " + std::strerror(errno));
        return 0;
    }
    return magic;
}

void Simulator::status(const std::string& line) {
    if (opt_.status_fd < 0) {
        return;
    }
    const std::string l = line + "\n";
    [[maybe_unused]] const ssize_t n = write(opt_.status_fd, l.data(), l.size());
}

bool Simulator::open_socket() {
    nl_fd_ = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_USERSOCK);
    if (nl_fd_ < 0) {
        log_line(std::string("netlink socket: ") + std::strerror(errno));
        return false;
    }
    const int rcvbuf = 1 << 20;
    setsockopt(nl_fd_, SOL_SOCKET, SO_RCVBUF, &rcvbuf, sizeof rcvbuf);
    sockaddr_nl me{};
    me.nl_family = AF_NETLINK;
    me.nl_pid = opt_.port_id;
    if (bind(nl_fd_, reinterpret_cast<sockaddr*>(&me), sizeof me) != 0) {
        log_line("bind to netlink port id " + std::to_string(opt_.port_id) + ": " +
                 std::strerror(errno) +
                 (errno == EADDRINUSE ? " (another driver runs with this TANDREL_NL_DRIVER_PID)"
                                      : ""));
        return false;
    }
    return true;
}

bool Simulator::open_ports() {
    for (const PortInfo& info : kPorts) {
        auto p = std::make_unique<Port>(*this, info);
        std::string why;
        if (!p->open(opt_.run_dir, &why)) {
            log_line(std::string("port ") + info.name + ": " + why);
            return false;
        }
        p->session = std::make_unique<PortSession>(info.index, *p, opt_.session);
        log_line(std::string("port ") + info.name + " (index " + std::to_string(info.index) +
                 ") at " + p->link + " -> " + p->pts);
        ports_.push_back(std::move(p));
    }
    return true;
}

void Simulator::receive() {
    std::vector<uint8_t> buf(kRecvBuffer);
    for (int i = 0; i < 64; ++i) {  // a burst at a time, so terminals are served too
        sockaddr_nl from{};
        iovec iov{buf.data(), buf.size()};
        msghdr mh{};
        mh.msg_name = &from;
        mh.msg_namelen = sizeof from;
        mh.msg_iov = &iov;
        mh.msg_iovlen = 1;
        const ssize_t n = recvmsg(nl_fd_, &mh, 0);
        if (n < 0) {
            if (errno == ENOBUFS) {
                log_line("netlink receive queue overran: messages from the daemon were lost");
                continue;
            }
            if (errno != EAGAIN && errno != EINTR) {
                log_line(std::string("netlink receive: ") + std::strerror(errno));
            }
            return;
        }
        if ((mh.msg_flags & MSG_TRUNC) != 0) {
            log_line("datagram larger than " + std::to_string(buf.size()) + " bytes dropped");
            continue;
        }
        on_datagram(from.nl_pid, std::span<const uint8_t>(buf.data(), static_cast<size_t>(n)));
        if (stop_) {
            return;
        }
    }
}

void Simulator::on_datagram(uint32_t src, std::span<const uint8_t> msg) {
    if (msg.size() >= NL_MSG_HEADER_SIZE && le16(msg, 4) == NL_MSG_TYPE_REGISTER) {
        std::string why;
        RegistrationRules rules;
        rules.rows = AT_CMD_COUNT;
        rules.table_len = AT_CMD_TABLE_REG_LEN;
        std::optional<Registration> r = parse_registration(msg, rules, &why);
        if (!r) {
            log_line("malformed registration from port id " + std::to_string(src) +
                     ", not running: " + why);
            exit_code_ = kExitBadRegistration;
            stop_ = true;
            return;
        }
        if (r->sender_pid != src) {
            log_line("registration says nlmsg_pid " + std::to_string(r->sender_pid) +
                     " but came from port id " + std::to_string(src) + "; answering the sender");
        }
        log_line("registration of " + std::to_string(r->rows.size()) +
                 " commands from the daemon at port id " + std::to_string(src));
        reg_ = std::move(r);
        daemon_pid_ = src;
        status("registered " + std::to_string(src));
        return;
    }
    if (!reg_) {
        log_line("datagram from port id " + std::to_string(src) + " before any registration dropped");
        return;
    }
    if (src != daemon_pid_) {
        log_line("datagram from port id " + std::to_string(src) + " dropped: the daemon is at " +
                 std::to_string(daemon_pid_));
        return;
    }
    std::string why;
    const std::optional<Answer> a = driver_wire::decode_answer(msg, &why);
    if (!a) {
        log_line("datagram dropped: " + why);
        return;
    }
    if (a->cut) {
        log_line("answer announces m_length " + std::to_string(a->length) + " but carries " +
                 std::to_string(a->text.size()) + " text bytes: cut to those");
    }
    route(*a);
}

void Simulator::route(const Answer& a) {
    if (a.magic != 0) {
        for (auto& p : ports_) {
            if (p->session->on_answer(a)) {
                return;
            }
        }
        log_line("answer to request " + std::to_string(a.magic) +
                 " ignored: its command has ended (\"" + visible(driver_wire::render(a)) + "\")");
        return;
    }
    for (auto& p : ports_) {
        if (p->info.index == a.uindex) {
            p->session->on_report(a);
            return;
        }
    }
    log_line("report for unknown port index " + std::to_string(a.uindex) + " dropped: \"" +
             visible(driver_wire::render(a)) + "\"");
}

int Simulator::poll_timeout_ms() const {
    std::optional<TimePoint> next;
    for (const auto& p : ports_) {
        const std::optional<TimePoint> d = p->session->deadline();
        if (d && (!next || *d < *next)) {
            next = d;
        }
    }
    if (!next) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*next - Clock::now()).count();
    return left <= 0 ? 0 : static_cast<int>(std::min<int64_t>(left, 60000));
}

int Simulator::run() {
    if (!open_socket() || !open_ports()) {
        return kExitSetupFailed;
    }
    status("ports");
    log_line("waiting for the daemon's registration at netlink port id " +
             std::to_string(opt_.port_id));
    std::vector<pollfd> fds;
    std::vector<char> in(4096);
    while (!stop_) {
        fds.clear();
        fds.push_back({g_signal_pipe[0], POLLIN, 0});
        fds.push_back({nl_fd_, POLLIN, 0});
        for (const auto& p : ports_) {
            const short ev = p->dead ? 0 : static_cast<short>(POLLIN | (p->queued.empty() ? 0 : POLLOUT));
            fds.push_back({p->master, ev, 0});
        }
        if (poll(fds.data(), fds.size(), poll_timeout_ms()) < 0 && errno != EINTR) {
            log_line(std::string("poll: ") + std::strerror(errno));
            return kExitSetupFailed;
        }
        if ((fds[0].revents & POLLIN) != 0) {
            log_line("stopping on a signal");
            break;
        }
        if ((fds[1].revents & POLLIN) != 0) {
            receive();
        }
        const TimePoint now = Clock::now();
        for (size_t i = 0; i < ports_.size() && !stop_; ++i) {
            Port& p = *ports_[i];
            const short rev = fds[i + 2].revents;
            if ((rev & POLLOUT) != 0) {
                p.flush();
            }
            if ((rev & (POLLIN | POLLHUP | POLLERR)) != 0) {
                const ssize_t n = read(p.master, in.data(), in.size());
                if (n > 0) {
                    p.session->on_input(std::string_view(in.data(), static_cast<size_t>(n)), now);
                } else if (n == 0 || (errno != EAGAIN && errno != EINTR)) {
                    p.log(std::string("terminal side failed: ") +
                          (n == 0 ? "end of file" : std::strerror(errno)));
                    p.dead = true;
                }
            }
            p.session->on_tick(now);
        }
    }
    return exit_code_;
}

}  // namespace

int run_simulator(const SimOptions& opt) {
    // A launcher that stops reading must never stall the driver: progress
    // lines that do not fit are lost instead.
    if (opt.status_fd >= 0) {
        fcntl(opt.status_fd, F_SETFL, fcntl(opt.status_fd, F_GETFL) | O_NONBLOCK);
        fcntl(opt.status_fd, F_SETFD, FD_CLOEXEC);
    }
    if (pipe2(g_signal_pipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        std::perror("tandrel-atsim: pipe");
        return kExitSetupFailed;
    }
    struct sigaction sa {};
    sa.sa_handler = on_signal;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGHUP, &sa, nullptr);
    signal(SIGPIPE, SIG_IGN);
    int rc = kExitSetupFailed;
    {
        Simulator sim(opt);
        rc = sim.run();
    }
    close(g_signal_pipe[0]);
    close(g_signal_pipe[1]);
    return rc;
}

}  // namespace atsim
