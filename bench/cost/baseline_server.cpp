// tandrel-cost-baseline: the least a server of the AT channel can do, as the yardstick of the
// daemon's cost per command.
//
// The daemon's shape without its work: the main thread receives each
// request on a NETLINK_USERSOCK socket bound to the process id and hands a
// copy to a second thread, which takes two zero-filled 10240-byte buffers,
// copies the request into one, answers "\r\nOK\r\n" in the other with the
// request's port and correlation number, sends it to the driver's port
// (TANDREL_NL_DRIVER_PID) and frees both. No lookup, no handler, no trace.
// On start it sends the driver one small message, which stands in for the
// daemon's registration: the driver waits for it before it sends requests.
#include <linux/netlink.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kBufSize = 10240;
constexpr size_t kNlHeader = 16;
constexpr size_t kDataOffset = 28;  // netlink header and NlDeviceEvent
constexpr size_t kRecordHeader = 24;
constexpr char kOk[] = "\r\nOK\r\n";

struct Item {
    Item* next;
    uint32_t len;
    uint8_t data[];
};

pthread_mutex_t g_mu = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t g_cv = PTHREAD_COND_INITIALIZER;
Item* g_head = nullptr;
Item* g_tail = nullptr;
int g_fd = -1;
uint32_t g_driver = 0;

uint32_t get_u32(const uint8_t* p) {
    uint32_t v = 0;
    std::memcpy(&v, p, sizeof v);
    return v;
}

void send_to_driver(const void* bytes, size_t size) {
    nlmsghdr header{};
    header.nlmsg_len = static_cast<uint32_t>(sizeof header + size);
    header.nlmsg_pid = static_cast<uint32_t>(getpid());
    iovec iov[2] = {{&header, sizeof header}, {const_cast<void*>(bytes), size}};
    sockaddr_nl to{};
    to.nl_family = AF_NETLINK;
    to.nl_pid = g_driver;
    msghdr m{};
    m.msg_name = &to;
    m.msg_namelen = sizeof to;
    m.msg_iov = iov;
    m.msg_iovlen = 2;
    sendmsg(g_fd, &m, 0);
}

// Taken and zero-filled as the daemon does, so that both zero all 10240
// bytes each time (calloc may skip memory it knows to be zero).
uint8_t* zeroed_buffer() {
    auto* p = static_cast<uint8_t*>(std::malloc(kBufSize));
    if (p != nullptr) {
        std::memset(p, 0, kBufSize);
    }
    return p;
}

void answer(const Item* it) {
    uint8_t* req = zeroed_buffer();
    uint8_t* rsp = zeroed_buffer();
    if (req != nullptr && rsp != nullptr) {
        std::memcpy(req, it->data, it->len < kBufSize ? it->len : kBufSize);
        std::memcpy(rsp, req, 8);  // port index and correlation number
        const uint32_t len = sizeof kOk - 1;
        std::memcpy(rsp + 20, &len, sizeof len);
        std::memcpy(rsp + kRecordHeader, kOk, len);
        send_to_driver(rsp, kRecordHeader + len + 1);
    }
    std::free(req);
    std::free(rsp);
}

void* worker(void*) {
    for (;;) {
        pthread_mutex_lock(&g_mu);
        while (g_head == nullptr) {
            pthread_cond_wait(&g_cv, &g_mu);
        }
        Item* it = g_head;
        g_head = it->next;
        if (g_head == nullptr) {
            g_tail = nullptr;
        }
        pthread_mutex_unlock(&g_mu);
        answer(it);
        std::free(it);
    }
    return nullptr;
}

void post(const uint8_t* data, uint32_t len) {
    auto* it = static_cast<Item*>(std::malloc(sizeof(Item) + len));
    if (it == nullptr) {
        return;
    }
    it->next = nullptr;
    it->len = len;
    std::memcpy(it->data, data, len);
    pthread_mutex_lock(&g_mu);
    if (g_tail != nullptr) {
        g_tail->next = it;
    } else {
        g_head = it;
    }
    g_tail = it;
    pthread_cond_signal(&g_cv);
    pthread_mutex_unlock(&g_mu);
}

}  // namespace

int main() {
    const char* driver = std::getenv("TANDREL_NL_DRIVER_PID");
    g_driver = driver != nullptr ? static_cast<uint32_t>(std::strtoul(driver, nullptr, 10)) : 0;
    g_fd = socket(AF_NETLINK, SOCK_RAW, NETLINK_USERSOCK);
    sockaddr_nl self{};
    self.nl_family = AF_NETLINK;
    self.nl_pid = static_cast<uint32_t>(getpid());
    if (g_fd < 0 || bind(g_fd, reinterpret_cast<sockaddr*>(&self), sizeof self) != 0) {
        return 1;
    }
    pthread_t t;
    if (pthread_create(&t, nullptr, worker, nullptr) != 0) {
        return 1;
    }
    const uint8_t hello[12] = {};
    send_to_driver(hello, sizeof hello);

    static uint8_t buf[kBufSize + kDataOffset];
    for (;;) {
        const ssize_t n = recv(g_fd, buf, sizeof buf, 0);
        if (n < static_cast<ssize_t>(kDataOffset)) {
            continue;
        }
        const uint32_t len = get_u32(buf + kNlHeader + 8);
        if (get_u32(buf + kNlHeader) != 1 || len == 0 || len >= kBufSize ||
            len > static_cast<size_t>(n) - kDataOffset) {
            continue;
        }
        post(buf + kDataOffset, len);
    }
}
