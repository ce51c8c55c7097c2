// Platform calls for the report-path benchmarks: the sender, the trace and the allocator, as cheap
// as each can be.
//
// The program links the unit tests' fakes for every other platform and
// service call; these four replace theirs (which record every call) through
// the linker's --wrap, so the core's calls land here.
#include "bench_platform.h"

#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

#include "at_kernel.h"
#include "osa.h"
#include "qsp_trace.h"

namespace {

BenchSink g_sink = BenchSink::Copy;
std::atomic<uint32_t> g_level{TRACE_LEVEL_INFO};
uint64_t g_calls = 0;
uint64_t g_bytes = 0;
alignas(64) uint8_t g_copy[sizeof(AtResponse)];
std::vector<std::vector<uint8_t>>* g_capture = nullptr;

int g_sink_fd = -1;
uint32_t g_sink_port = 0;

// The far end of the netlink sink: a socket of this process that a thread
// empties, so the sender never waits for room.
bool open_netlink_sink() {
    if (g_user_fd >= 0) {
        return true;
    }
    const int rx = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK);
    const int tx = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK);
    if (rx < 0 || tx < 0) {
        return false;
    }
    const int big = 8 << 20;
    if (setsockopt(rx, SOL_SOCKET, SO_RCVBUFFORCE, &big, sizeof big) != 0) {
        setsockopt(rx, SOL_SOCKET, SO_RCVBUF, &big, sizeof big);
    }
    sockaddr_nl a{};
    a.nl_family = AF_NETLINK;
    a.nl_pid = 0x7E000000u + static_cast<uint32_t>(getpid());
    sockaddr_nl b{};
    b.nl_family = AF_NETLINK;
    b.nl_pid = a.nl_pid + 1;
    if (bind(rx, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
        bind(tx, reinterpret_cast<sockaddr*>(&b), sizeof b) != 0) {
        return false;
    }
    g_sink_fd = rx;
    g_sink_port = a.nl_pid;
    g_user_fd = tx;
    std::thread([rx] {
        static uint8_t drain[16 + sizeof(AtResponse)];
        for (;;) {
            if (recv(rx, drain, sizeof drain, 0) < 0 && errno != EINTR) {
                return;
            }
        }
    }).detach();
    return true;
}

// The host platform's sender, addressed to the sink.
int32_t netlink_send(AtResponse* rsp, uint32_t size) {
    nlmsghdr header{};
    header.nlmsg_len = static_cast<uint32_t>(sizeof header) + size;
    header.nlmsg_pid = static_cast<uint32_t>(getpid());
    iovec iov[2] = {{&header, sizeof header}, {rsp, size}};
    sockaddr_nl to{};
    to.nl_family = AF_NETLINK;
    to.nl_pid = g_sink_port;
    msghdr m{};
    m.msg_name = &to;
    m.msg_namelen = sizeof to;
    m.msg_iov = iov;
    m.msg_iovlen = 2;
    pthread_mutex_lock(&at_response);
    const ssize_t sent = sendmsg(g_user_fd, &m, 0);
    pthread_mutex_unlock(&at_response);
    return sent < 0 ? -1 : 0;
}

}  // namespace

bool bench_sink_select(BenchSink sink) {
    if (sink == BenchSink::Netlink && !open_netlink_sink()) {
        return false;
    }
    g_sink = sink;
    return true;
}

BenchSent bench_sent() {
    return {g_calls, g_bytes};
}

void bench_capture(std::vector<std::vector<uint8_t>>* into) {
    g_capture = into;
}

void bench_trace_level(uint32_t level) {
    g_level.store(level);
}

extern "C" {

int32_t __wrap_send_at_response_to_kernel(AtResponse* rsp, uint32_t size) {
    if (rsp == nullptr || size > sizeof(AtResponse)) {
        return -1;
    }
    ++g_calls;
    g_bytes += size;
    if (g_capture != nullptr) {
        const auto* bytes = reinterpret_cast<const uint8_t*>(rsp);
        g_capture->emplace_back(bytes, bytes + size);
    }
    if (g_sink == BenchSink::Netlink) {
        return netlink_send(rsp, size);
    }
    std::memcpy(g_copy, rsp, size);
    asm volatile("" : : "r"(g_copy) : "memory");  // the copy counts as used
    return 0;
}

void __wrap_QSP_TRACE_PrintInfo(const char* /*file*/, int /*line*/, int /*module*/,
                                const char* /*tag*/, uint32_t level, const char* fmt, ...) {
    if (level > g_level.load(std::memory_order_relaxed) || fmt == nullptr) {
        return;
    }
    char text[4096];
    va_list ap;
    va_start(ap, fmt);
    vsnprintf(text, sizeof text, fmt, ap);
    va_end(ap);
    asm volatile("" : : "r"(text) : "memory");  // the text counts as used
}

// The host platform's allocator.
void* __wrap_osa_malloc(uint32_t size) {
    return std::malloc(size == 0 ? 1 : size);
}
void __wrap_osa_free(void* p) {
    std::free(p);
}

}  // extern "C"
