// The host's network under the simulated IP stack: links, listeners, the SSL link, one event loop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace net_links {

// Result numbers of network failures: a command's number when it fails at
// once, the error code of its late result otherwise. Where Linux has an errno
// for the failure, the number is that errno.
inline constexpr uint32_t ERR_NET_UNREACHABLE = 101;
inline constexpr uint32_t ERR_RESET = 104;  // the peer reset the connection
inline constexpr uint32_t ERR_TIMED_OUT = 110;
inline constexpr uint32_t ERR_REFUSED = 111;
inline constexpr uint32_t ERR_HOST_UNREACHABLE = 113;
inline constexpr uint32_t ERR_ABORTED = 125;
inline constexpr uint32_t ERR_NO_NAME = 150;      // the host name does not resolve
inline constexpr uint32_t ERR_ADDR_IN_USE = 151;  // the local port cannot be had
inline constexpr uint32_t ERR_SOCKET = 152;       // any other failure of the host's sockets
inline constexpr uint32_t ERR_TLS_HANDSHAKE = 160;
inline constexpr uint32_t ERR_TLS_UNTRUSTED = 161;  // no trusted certificate vouches for the peer
inline constexpr uint32_t ERR_TLS_NAME = 162;       // the peer's certificate names another host

// Link numbers are the service's link indices: 0 to 4 the links, 6 the SSL link.
inline constexpr uint32_t kSlots = 7;
inline constexpr uint32_t kListeners = 3;

struct Peer {
    bool udp = false;
    std::string host;
    uint32_t port = 0;
    uint32_t local_port = 0;  // 0: any
};

// The SSL link's checks of its peer.
struct Tls {
    bool verify = false;               // the chain and the host name
    std::vector<std::string> trusted;  // PEM files of the certificates trusted
};

struct Settings {
    uint32_t send_timer_ms = 200;  // how long data waits to fill a packet
    uint32_t packet_size = 1024;
    bool keepalive = false;
    bool nodelay = false;
    uint32_t ttl = 64;
};

// What the network tells the service. Called on the network thread with the
// service's lock held, except flush.
class Events {
  public:
    // The connect of link ended: error 0 and the local port it got, or why not.
    virtual void connected(uint32_t link, uint32_t error, uint32_t local_port) = 0;
    // Bytes from the peer; false holds back further data until resume(link).
    virtual bool received(uint32_t link, std::string_view bytes) = 0;
    // n bytes of link were handed to the host's socket.
    virtual void written(uint32_t link, size_t n) = 0;
    // The peer ended link: error 0 for a close, else why it broke.
    virtual void closed(uint32_t link, uint32_t error) = 0;
    // Listener id has a new peer; the service names the link for it, or
    // refuses it with false.
    virtual bool accepted(uint32_t id, const std::string& host, uint32_t port, uint32_t* link) = 0;
    // The wait of timer() ran out.
    virtual void timer() = 0;
    // After each round, without the lock: what the round caused goes out.
    virtual void flush() = 0;

  protected:
    ~Events() = default;
};

// The network's side. Called with the service's lock held; never calls back
// into Events on the calling thread.
class Links {
  public:
    // Starts the connect of link (the SSL link with tls): 0 when it is under
    // way, or why it failed at once.
    virtual uint32_t open(uint32_t link, const Peer& peer, const Tls* tls) = 0;
    // Ends link (a connect under way too); bytes still waiting are sent first.
    virtual void close(uint32_t link) = 0;
    virtual void send(uint32_t link, std::string_view bytes) = 0;
    virtual void resume(uint32_t link) = 0;
    // Listens on 127.0.0.1:port: 0, or why not.
    virtual uint32_t listen(uint32_t id, bool udp, uint32_t port) = 0;
    virtual void unlisten(uint32_t id) = 0;
    virtual void configure(const Settings& settings) = 0;
    // Events::timer after ms; 0 stops a wait.
    virtual void timer(uint32_t ms) = 0;
    // Whether path is a PEM file holding a certificate.
    virtual bool certificate(const std::string& path) = 0;

  protected:
    ~Links() = default;
};

// The one network of the process; its thread starts with the first call.
Links& links(std::mutex& lock, Events& events);

}  // namespace net_links
