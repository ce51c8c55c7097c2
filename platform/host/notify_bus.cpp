// Host message system and notify bus: module registry, one event queue, and the loop that delivers
// it.
//
// The loop thread sleeps on a condition variable until the queue has work;
// other processes' events arrive on the bus socket, which a thread of its own
// serves while the loop runs, posting them like any other thread.
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

#include "notify_bus.h"
#include "notify_bus_internal.h"
#include "qsp_notify.h"
#include "tandrel_trace.h"

namespace {

constexpr uint32_t kMaxModules = 64;
// Queued bytes above which posting threads wait for the loop: a burst is
// slowed down, never dropped. Small, so that a flood of requests waits in the
// netlink socket (and slows the driver down) instead of growing the daemon.
constexpr size_t kQueueByteCap = size_t{1} << 20;
// The largest payload one event may carry; it is queued alone if need be.
constexpr size_t kMaxEventBytes = size_t{32} << 20;
// A synchronous request that the loop has not started after this long is
// withdrawn and answered -1.
constexpr auto kSendWait = std::chrono::seconds(30);

struct Module {
    uint32_t id;
    NotifyCallback first;
    NotifyCallback second;
};

// A send_notify call waiting on another thread; lives on that thread's stack.
struct SyncCall {
    int32_t result = -1;
    bool done = false;
};

// One queued event, its payload copy right behind it in the same block.
struct Item {
    Item* next;
    NotifyEvent ev;  // ev.payload points to the copy, or is null
    SyncCall* call;  // send_notify: (event, w1 = buf, w2 = buf_len) to the first callback
    bool withdrawn;  // the caller of a synchronous request gave up
    bool started;    // the loop has begun the synchronous request
    size_t bytes;    // accounted against kQueueByteCap
};

struct Bus {
    std::mutex mu;
    std::condition_variable space_cv;  // posters waiting for room
    std::condition_variable done_cv;   // synchronous callers waiting for their answer
    std::condition_variable work_cv;   // the loop waiting for events or a stop
    Item* head = nullptr;
    Item* tail = nullptr;
    size_t queued_bytes = 0;
    Module modules[kMaxModules] = {};
    uint32_t module_count = 0;
    int wake_fd = -1;  // eventfd: wakes the socket thread to end
    int sock_fd = -1;
    bool sock_tried = false;
    bool loop_running = false;
    bool stop = false;
    bool sock_stop = false;  // the socket thread is to end
};

// Never destroyed: threads may still post while the process exits.
Bus& bus() {
    static Bus* b = new Bus;
    return *b;
}

thread_local bool t_on_loop = false;

bool ready_locked(Bus& b) {
    if (b.wake_fd < 0) {
        b.wake_fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        if (b.wake_fd < 0) {
            TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "notify bus: eventfd failed, errno %d\n",
                              errno);
        }
    }
    return b.wake_fd >= 0;
}

// Readies the bus and opens its socket, once, by whichever comes first: the
// daemon's init_notify (before it registers with the driver, so a process
// that sees the daemon registered finds the socket) or the event loop's
// preparation. Datagrams that arrive before the loop runs wait in the socket.
bool open_bus() {
    Bus& b = bus();
    std::lock_guard<std::mutex> lock(b.mu);
    if (!ready_locked(b)) {
        return false;
    }
    if (!b.sock_tried) {
        b.sock_tried = true;
        // Without its socket the bus still serves the daemon's own threads.
        b.sock_fd = notify_socket_open();
    }
    return true;
}

void wake(int fd) {
    const uint64_t one = 1;
    while (write(fd, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

const Module* find_locked(const Bus& b, uint32_t module) {
    for (uint32_t i = 0; i < b.module_count; ++i) {
        if (b.modules[i].id == module) {
            return &b.modules[i];
        }
    }
    return nullptr;
}

NotifyCallback callback_of(uint32_t module, NotifySlot slot) {
    Bus& b = bus();
    std::lock_guard<std::mutex> lock(b.mu);
    const Module* m = find_locked(b, module);
    if (m == nullptr) {
        return nullptr;
    }
    return slot == NotifySlot::First ? m->first : m->second;
}

Item* new_item(const NotifyEvent& e, uint32_t copy_size) {
    const size_t bytes = sizeof(Item) + copy_size;
    auto* it = static_cast<Item*>(calloc(1, bytes));
    if (it == nullptr) {
        return nullptr;
    }
    it->ev = e;
    it->bytes = bytes;
    if (copy_size != 0) {
        auto* copy = reinterpret_cast<uint8_t*>(it + 1);
        memcpy(copy, e.payload, e.len);
        it->ev.payload = copy;
    } else {
        it->ev.payload = nullptr;
    }
    return it;
}

// Appends to the queue. Threads other than the loop's wait while the queue
// is over its cap; the loop itself never waits on its own queue.
int32_t enqueue(Item* it) {
    Bus& b = bus();
    std::unique_lock<std::mutex> lock(b.mu);
    if (!ready_locked(b)) {
        lock.unlock();
        free(it);
        return -1;
    }
    if (!t_on_loop) {
        b.space_cv.wait(lock, [&] {
            return b.queued_bytes == 0 || b.queued_bytes + it->bytes <= kQueueByteCap;
        });
    }
    const bool was_empty = b.head == nullptr;
    if (was_empty) {
        b.head = it;
    } else {
        b.tail->next = it;
    }
    b.tail = it;
    b.queued_bytes += it->bytes;
    lock.unlock();
    // The loop drains the whole queue on each wake-up, so only the first
    // event after a drain needs to wake it.
    if (was_empty) {
        b.work_cv.notify_one();
    }
    return 0;
}

Item* take_all_locked(Bus& b) {
    Item* list = b.head;
    b.head = b.tail = nullptr;
    b.queued_bytes = 0;
    b.space_cv.notify_all();
    return list;
}

void deliver_call(Item* it) {
    Bus& b = bus();
    {
        std::lock_guard<std::mutex> lock(b.mu);
        if (it->withdrawn) {
            return;
        }
        it->started = true;
    }
    const NotifyCallback cb = callback_of(it->ev.module, NotifySlot::First);
    const int32_t result = cb != nullptr ? cb(it->ev.event, it->ev.w1, it->ev.w2) : -1;
    {
        std::lock_guard<std::mutex> lock(b.mu);
        it->call->result = result;
        it->call->done = true;
    }
    b.done_cv.notify_all();
}

void deliver(const NotifyEvent& e) {
    const NotifyCallback cb = callback_of(e.module, e.slot);
    if (cb == nullptr) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR,
                          "notify bus: event %u for module %u, which has no %s callback: dropped\n",
                          e.event, e.module, e.slot == NotifySlot::First ? "first" : "second");
        return;
    }
    const auto ptr = reinterpret_cast<uintptr_t>(e.payload);
    switch (e.layout) {
        case NotifyLayout::LenPtr:
            cb(e.event, e.len, ptr);
            break;
        case NotifyLayout::PtrLen:
            cb(e.event, ptr, e.len);
            break;
        case NotifyLayout::Words:
            cb(e.event, e.w1, e.w2);
            break;
    }
}

void deliver_all(Item* list) {
    while (list != nullptr) {
        Item* next = list->next;
        if (list->call != nullptr) {
            deliver_call(list);
        } else {
            deliver(list->ev);
        }
        free(list);  // the payload copy lives until its callback has returned
        list = next;
    }
}

bool valid_event(const NotifyEvent& e) {
    const bool slot_ok = e.slot == NotifySlot::First || e.slot == NotifySlot::Second;
    const bool layout_ok = e.layout == NotifyLayout::LenPtr || e.layout == NotifyLayout::PtrLen ||
                           e.layout == NotifyLayout::Words;
    return slot_ok && layout_ok && e.len <= kMaxEventBytes;
}

// Serves the bus socket until the loop tells it to end through wake_fd.
void serve_socket(int wake_fd, int sock_fd) {
    Bus& b = bus();
    for (;;) {
        pollfd fds[2] = {{wake_fd, POLLIN, 0}, {sock_fd, POLLIN, 0}};
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "notify bus: poll failed, errno %d\n",
                              errno);
            return;
        }
        if ((fds[0].revents & POLLIN) != 0) {
            uint64_t count = 0;
            while (read(wake_fd, &count, sizeof count) < 0 && errno == EINTR) {
            }
            std::lock_guard<std::mutex> lock(b.mu);
            if (b.sock_stop) {
                return;
            }
        }
        if ((fds[1].revents & POLLIN) != 0) {
            notify_socket_drain(sock_fd);
        }
    }
}

}  // namespace

int32_t notify_bus_raise_padded(const NotifyEvent& e, uint32_t min_copy) {
    if (!valid_event(e)) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "notify bus: event %u for module %u refused\n",
                          e.event, e.module);
        return -1;
    }
    uint32_t copy_size = 0;
    if (e.layout != NotifyLayout::Words && e.payload != nullptr) {
        // One zero byte behind the payload keeps a text payload terminated.
        copy_size = e.len + 1 > min_copy ? e.len + 1 : min_copy;
    }
    Item* it = new_item(e, copy_size);
    if (it == nullptr) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "notify bus: no memory for event %u\n",
                          e.event);
        return -1;
    }
    return enqueue(it);
}

int32_t notify_bus_raise(const NotifyEvent& e) {
    return notify_bus_raise_padded(e, 0);
}

bool notify_bus_has_callback(uint32_t module, NotifySlot slot) {
    return callback_of(module, slot) != nullptr;
}

void notify_bus_stop(void) {
    Bus& b = bus();
    {
        std::lock_guard<std::mutex> lock(b.mu);
        b.stop = true;
    }
    b.work_cv.notify_one();
}

extern "C" {

int32_t QSP_MSG_Init(const char* name) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_INFO, "message system joined by %s\n",
                      name != nullptr ? name : "?");
    return 0;
}

int32_t QSP_UTIL_SockBaseRegEvtProc(void) {
    return open_bus() ? 0 : -1;
}

void* QSP_UTIL_SockBaseStart(void* /*arg*/) {
    Bus& b = bus();
    int wake_fd = -1;
    int sock_fd = -1;
    {
        std::lock_guard<std::mutex> lock(b.mu);
        if (b.loop_running || !ready_locked(b)) {
            TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "notify bus: event loop cannot start\n");
            return nullptr;
        }
        b.loop_running = true;  // a stop asked for before the loop began ends it at once
        wake_fd = b.wake_fd;
        sock_fd = b.sock_fd;
    }
    t_on_loop = true;
    std::thread socket_thread;
    if (sock_fd >= 0) {
        socket_thread = std::thread(serve_socket, wake_fd, sock_fd);
    }
    for (;;) {
        Item* list = nullptr;
        {
            std::unique_lock<std::mutex> lock(b.mu);
            b.work_cv.wait(lock, [&] { return b.head != nullptr || b.stop; });
            if (b.head == nullptr) {
                break;  // stopped, and nothing is left to deliver
            }
            list = take_all_locked(b);
        }
        deliver_all(list);
    }
    if (socket_thread.joinable()) {
        {
            std::lock_guard<std::mutex> lock(b.mu);
            b.sock_stop = true;
        }
        wake(wake_fd);
        socket_thread.join();
    }
    t_on_loop = false;
    std::lock_guard<std::mutex> lock(b.mu);
    b.loop_running = false;
    b.stop = false;
    b.sock_stop = false;
    return nullptr;
}

int32_t init_notify(void) {
    return open_bus() ? 0 : -1;
}

int32_t register_notify_handler(uint32_t module, NotifyCallback first, NotifyCallback second) {
    Bus& b = bus();
    std::lock_guard<std::mutex> lock(b.mu);
    for (uint32_t i = 0; i < b.module_count; ++i) {
        if (b.modules[i].id == module) {
            b.modules[i].first = first;  // a module that registers again replaces its callbacks
            b.modules[i].second = second;
            return 0;
        }
    }
    if (b.module_count == kMaxModules) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "notify bus: no room for module %u\n", module);
        return -1;
    }
    b.modules[b.module_count++] = Module{module, first, second};
    return 0;
}

int32_t post_notify(uint32_t module, uint32_t event, uint32_t len, const void* data) {
    NotifyEvent e{};
    e.module = module;
    e.event = event;
    e.slot = NotifySlot::Second;
    e.layout = NotifyLayout::LenPtr;
    e.payload = data;
    e.len = len;
    return notify_bus_raise(e);
}

int32_t send_notify(uint32_t module, uint32_t event, uint32_t /*in_len*/, void* buf,
                    uint32_t /*flags*/, uint32_t buf_len) {
    if (t_on_loop) {
        const NotifyCallback cb = callback_of(module, NotifySlot::First);
        return cb != nullptr ? cb(event, reinterpret_cast<uintptr_t>(buf), buf_len) : -1;
    }
    if (!notify_bus_has_callback(module, NotifySlot::First)) {
        return -1;
    }
    NotifyEvent e{};
    e.module = module;
    e.event = event;
    e.slot = NotifySlot::First;
    e.layout = NotifyLayout::Words;
    e.w1 = reinterpret_cast<uintptr_t>(buf);
    e.w2 = buf_len;
    Item* it = new_item(e, 0);
    if (it == nullptr) {
        return -1;
    }
    SyncCall call;
    it->call = &call;
    if (enqueue(it) != 0) {
        return -1;
    }
    Bus& b = bus();
    std::unique_lock<std::mutex> lock(b.mu);
    if (!b.done_cv.wait_for(lock, kSendWait, [&] { return call.done; })) {
        // Not begun: withdrawn, the loop will skip it. Begun: the callback
        // is using the caller's buffer, so the caller waits for its end.
        if (!it->started) {
            it->withdrawn = true;
            TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR,
                              "notify bus: request %u to module %u not served in time: withdrawn\n",
                              event, module);
            return -1;
        }
        b.done_cv.wait(lock, [&] { return call.done; });
    }
    return call.result;
}

}  // extern "C"
