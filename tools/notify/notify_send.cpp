// tandrel-notify's delivery: one event datagram to the bus socket of the run directory, one verdict back.
#include "notify_send.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "notify_wire.h"

namespace {

std::string run_dir_of(const NotifyArgs& args) {
    if (!args.run_dir.empty()) {
        return args.run_dir;
    }
    const char* env = getenv("TANDREL_RUN_DIR");
    return env != nullptr && env[0] != '\0' ? env : "run";
}

class Fd {
public:
    explicit Fd(int fd) : fd_(fd) {}
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    ~Fd() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    int get() const { return fd_; }

private:
    int fd_;
};

}  // namespace

NotifySendResult notify_send(const NotifyArgs& args, int timeout_ms, std::string* message) {
    sockaddr_un bus{};
    bus.sun_family = AF_UNIX;
    const std::string path = run_dir_of(args) + "/" + NOTIFY_SOCKET_NAME;
    if (path.size() >= sizeof bus.sun_path) {
        *message = "socket path too long: " + path;
        return NotifySendResult::Unreachable;
    }
    memcpy(bus.sun_path, path.c_str(), path.size() + 1);

    NotifyEvent e = args.event;
    e.payload = e.layout == NotifyLayout::Words ? nullptr : args.payload.data();
    e.len = e.layout == NotifyLayout::Words ? 0 : static_cast<uint32_t>(args.payload.size());
    std::vector<uint8_t> datagram(NOTIFY_WIRE_MAX_SIZE);
    const uint32_t size = notify_wire_encode(e, datagram.data(), NOTIFY_WIRE_MAX_SIZE);
    if (size == 0) {
        *message = "event cannot be encoded";
        return NotifySendResult::Refused;
    }

    Fd fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    // An address of our own (autobound, abstract) is where the verdict comes back.
    sockaddr_un self{};
    self.sun_family = AF_UNIX;
    if (fd.get() < 0 || bind(fd.get(), reinterpret_cast<const sockaddr*>(&self), sizeof(sa_family_t)) != 0) {
        *message = std::string("socket: ") + strerror(errno);
        return NotifySendResult::Unreachable;
    }
    if (sendto(fd.get(), datagram.data(), size, 0, reinterpret_cast<const sockaddr*>(&bus), sizeof bus) < 0) {
        *message = path + ": " + strerror(errno) + " (is the daemon running?)";
        return NotifySendResult::Unreachable;
    }

    pollfd p{fd.get(), POLLIN, 0};
    uint8_t reply[NOTIFY_WIRE_REPLY_SIZE + 1];
    NotifyWireStatus status = NotifyWireStatus::Failed;
    for (;;) {
        const int ready = poll(&p, 1, timeout_ms);
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready <= 0) {
            *message = "no answer from the bus at " + path;
            return NotifySendResult::Unreachable;
        }
        const ssize_t n = recv(fd.get(), reply, sizeof reply, 0);
        if (n > 0 && notify_wire_decode_reply(reply, static_cast<uint32_t>(n), &status)) {
            break;
        }
    }
    if (status != NotifyWireStatus::Queued) {
        *message = std::string("refused: ") + notify_wire_status_text(status);
        return NotifySendResult::Refused;
    }
    return NotifySendResult::Queued;
}
