// The host notify bus: payload copies, callback choice, order, synchronous requests, the socket.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "host_test_support.h"
#include "le_bytes.h"
#include "notify_bus.h"
#include "notify_wire.h"
#include "qsp_notify.h"

namespace {

using namespace std::chrono_literals;

// Where a callback finds the payload it copies.
enum class PayloadAt { None, LenPtr, PtrLen };

struct Call {
    int slot;
    uint32_t event;
    uintptr_t a1, a2;
    std::vector<uint8_t> bytes;  // the payload and what follows it (copy_extra bytes)
    std::thread::id thread;
};

struct Recorder {
    std::mutex mu;
    std::condition_variable cv;
    std::vector<Call> calls;
    PayloadAt at = PayloadAt::None;
    size_t copy_total = 0;  // bytes to copy from the payload pointer; 0: len + 1

    void add(int slot, uint32_t event, uintptr_t a1, uintptr_t a2) {
        std::lock_guard<std::mutex> lock(mu);
        Call c{slot, event, a1, a2, {}, std::this_thread::get_id()};
        const uintptr_t ptr = at == PayloadAt::LenPtr ? a2 : at == PayloadAt::PtrLen ? a1 : 0;
        const uintptr_t len = at == PayloadAt::LenPtr ? a1 : a2;
        if (ptr != 0) {
            const auto* p = reinterpret_cast<const uint8_t*>(ptr);
            c.bytes.assign(p, p + (copy_total != 0 ? copy_total : len + 1));
        }
        calls.push_back(std::move(c));
        cv.notify_all();
    }
    bool wait_for(size_t n) {
        std::unique_lock<std::mutex> lock(mu);
        return cv.wait_for(lock, 10s, [&] { return calls.size() >= n; });
    }
    void reset(PayloadAt where, size_t total = 0) {
        std::lock_guard<std::mutex> lock(mu);
        calls.clear();
        at = where;
        copy_total = total;
    }
};

Recorder& rec() {
    static Recorder r;
    return r;
}

extern "C" int32_t first_cb(uint32_t event, uintptr_t a1, uintptr_t a2) {
    rec().add(1, event, a1, a2);
    return 11;
}

extern "C" int32_t second_cb(uint32_t event, uintptr_t a1, uintptr_t a2) {
    rec().add(2, event, a1, a2);
    return 22;
}

// First callback that answers a synchronous request: "pong" into the buffer.
std::atomic<std::thread::id> g_answer_thread;
extern "C" int32_t answer_cb(uint32_t event, uintptr_t buf, uintptr_t buf_len) {
    g_answer_thread = std::this_thread::get_id();
    if (buf_len >= 5) {
        memcpy(reinterpret_cast<char*>(buf), "pong", 5);
    }
    return static_cast<int32_t>(event) + 40;
}

constexpr uint32_t kModule = 901;
constexpr uint32_t kAnswerModule = 904;
constexpr uint32_t kSecondOnlyModule = 906;

class Bus : public BusLoop {
protected:
    void SetUp() override {
        BusLoop::SetUp();
        rec().reset(PayloadAt::None);
        ASSERT_EQ(register_notify_handler(kModule, first_cb, second_cb), 0);
        ASSERT_EQ(register_notify_handler(kAnswerModule, answer_cb, nullptr), 0);
        ASSERT_EQ(register_notify_handler(kSecondOnlyModule, nullptr, second_cb), 0);
    }
};

TEST_F(Bus, PostCopiesThePayloadBeforeItReturns) {
    rec().reset(PayloadAt::LenPtr);
    uint8_t data[5] = {1, 2, 3, 4, 5};
    ASSERT_EQ(post_notify(kModule, 7, sizeof data, data), 0);
    memset(data, 0xEE, sizeof data);
    ASSERT_EQ(post_notify(kModule, 8, 3, nullptr), 0);
    ASSERT_TRUE(rec().wait_for(2));

    const Call& c = rec().calls[0];
    EXPECT_EQ(c.slot, 2);
    EXPECT_EQ(c.event, 7u);
    EXPECT_EQ(c.a1, 5u);
    EXPECT_NE(c.a2, reinterpret_cast<uintptr_t>(data));
    EXPECT_EQ(c.bytes, (std::vector<uint8_t>{1, 2, 3, 4, 5, 0})) << "payload, then a terminating zero";
    EXPECT_EQ(c.thread, loop_id());
    const Call& n = rec().calls[1];
    EXPECT_EQ(n.a1, 3u);
    EXPECT_EQ(n.a2, 0u) << "no data, no pointer";
}

TEST_F(Bus, SlotAndLayoutChooseTheCallbackAndItsArguments) {
    struct Case {
        const char* what;
        NotifySlot slot;
        NotifyLayout layout;
        PayloadAt at;
        int want_slot;
        uintptr_t w1, w2;
    } cases[] = {
        {"first, len-ptr", NotifySlot::First, NotifyLayout::LenPtr, PayloadAt::LenPtr, 1, 0, 0},
        {"second, ptr-len", NotifySlot::Second, NotifyLayout::PtrLen, PayloadAt::PtrLen, 2, 0, 0},
        {"first, words", NotifySlot::First, NotifyLayout::Words, PayloadAt::None, 1, 5, 6},
        {"second, words", NotifySlot::Second, NotifyLayout::Words, PayloadAt::None, 2, UINTPTR_MAX, 1},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        rec().reset(k.at);
        const char text[] = "abc";
        NotifyEvent e{kModule, 100, k.slot, k.layout, nullptr, 0, k.w1, k.w2};
        if (k.layout != NotifyLayout::Words) {
            e.payload = text;
            e.len = 3;
        }
        ASSERT_EQ(notify_bus_raise(e), 0);
        ASSERT_TRUE(rec().wait_for(1));
        const Call& c = rec().calls[0];
        EXPECT_EQ(c.slot, k.want_slot);
        EXPECT_EQ(c.event, 100u);
        if (k.layout == NotifyLayout::Words) {
            EXPECT_EQ(c.a1, k.w1);
            EXPECT_EQ(c.a2, k.w2);
        } else {
            EXPECT_EQ(k.layout == NotifyLayout::LenPtr ? c.a1 : c.a2, 3u);
            EXPECT_EQ(std::string(c.bytes.begin(), c.bytes.end()), std::string("abc", 4));
        }
    }
}

TEST_F(Bus, EventWithoutCallbackIsDroppedAndTheLoopGoesOn) {
    rec().reset(PayloadAt::None);
    ASSERT_EQ(post_notify(kAnswerModule, 1, 0, nullptr), 0);  // no second callback
    ASSERT_EQ(post_notify(999, 1, 0, nullptr), 0);            // no such module
    ASSERT_EQ(post_notify(kModule, 2, 0, nullptr), 0);
    ASSERT_TRUE(rec().wait_for(1));
    EXPECT_EQ(rec().calls.size(), 1u);
    EXPECT_EQ(rec().calls[0].event, 2u);
}

TEST_F(Bus, OrderOfEachSenderIsKept) {
    rec().reset(PayloadAt::LenPtr);
    constexpr uint32_t kThreads = 4, kEach = 2000;
    std::vector<std::thread> senders;
    for (uint32_t t = 0; t < kThreads; ++t) {
        senders.emplace_back([t] {
            for (uint32_t i = 0; i < kEach; ++i) {
                uint8_t b[8];
                le_put_u32(b, t);
                le_put_u32(b + 4, i);
                post_notify(kModule, 1, sizeof b, b);
            }
        });
    }
    for (std::thread& s : senders) {
        s.join();
    }
    ASSERT_TRUE(rec().wait_for(kThreads * kEach));
    std::vector<uint32_t> next(kThreads, 0);
    for (const Call& c : rec().calls) {
        const uint32_t t = le_get_u32(c.bytes.data());
        ASSERT_LT(t, kThreads);
        ASSERT_EQ(le_get_u32(c.bytes.data() + 4), next[t]) << "sender " << t;
        ++next[t];
    }
}

TEST_F(Bus, SendNotifyFromAnotherThreadWaitsForTheFirstCallback) {
    char buf[16] = {};
    EXPECT_EQ(send_notify(kAnswerModule, 2, 0, buf, 0, sizeof buf), 42);
    EXPECT_STREQ(buf, "pong");
    EXPECT_EQ(g_answer_thread.load(), loop_id());
    EXPECT_EQ(send_notify(999, 2, 0, buf, 0, sizeof buf), -1) << "no such module";
    EXPECT_EQ(send_notify(kSecondOnlyModule, 2, 0, buf, 0, sizeof buf), -1) << "no first callback";
}

// A second callback that makes a synchronous request from the loop thread.
std::atomic<int32_t> g_nested_result{0};
std::atomic<bool> g_nested_done{false};
extern "C" int32_t nested_cb(uint32_t, uintptr_t, uintptr_t) {
    char buf[8] = {};
    g_nested_result = send_notify(kAnswerModule, 3, 0, buf, 0, sizeof buf);
    g_nested_done = true;
    return 0;
}

TEST_F(Bus, SendNotifyOnTheLoopThreadCallsDirectly) {
    ASSERT_EQ(register_notify_handler(907, nullptr, nested_cb), 0);
    g_answer_thread = std::thread::id();
    ASSERT_EQ(post_notify(907, 1, 0, nullptr), 0);
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!g_nested_done.load() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(1ms);
    }
    ASSERT_TRUE(g_nested_done.load()) << "the loop waited on itself";
    EXPECT_EQ(g_nested_result.load(), 43);
    EXPECT_EQ(g_answer_thread.load(), loop_id());
}

// One datagram to the bus socket, and the bus's verdict.
class BusSocket : public Bus {
protected:
    void SetUp() override {
        Bus::SetUp();
        fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un self{};
        self.sun_family = AF_UNIX;
        ASSERT_EQ(bind(fd_, reinterpret_cast<sockaddr*>(&self), sizeof(sa_family_t)), 0);
        timeval tv{5, 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
        bus_.sun_family = AF_UNIX;
        const std::string path = test_run_dir() + "/" + NOTIFY_SOCKET_NAME;
        ASSERT_LT(path.size(), sizeof bus_.sun_path);
        memcpy(bus_.sun_path, path.c_str(), path.size() + 1);
    }
    void TearDown() override {
        close(fd_);
        Bus::TearDown();
    }
    int verdict(const std::vector<uint8_t>& d) {
        if (sendto(fd_, d.data(), d.size(), 0, reinterpret_cast<sockaddr*>(&bus_), sizeof bus_) < 0) {
            return -100;
        }
        uint8_t r[16];
        const ssize_t n = recv(fd_, r, sizeof r, 0);
        NotifyWireStatus s{};
        return n > 0 && notify_wire_decode_reply(r, static_cast<uint32_t>(n), &s) ? static_cast<int>(s) : -200;
    }

    int fd_ = -1;
    sockaddr_un bus_{};
};

std::vector<uint8_t> datagram(const NotifyEvent& e) {
    std::vector<uint8_t> d(NOTIFY_WIRE_MAX_SIZE);
    d.resize(notify_wire_encode(e, d.data(), static_cast<uint32_t>(d.size())));
    return d;
}

TEST_F(BusSocket, EventsFromOtherProcessesAreCheckedStrictly) {
    const std::vector<uint8_t> payload(10, 0x33);
    const NotifyEvent words{kModule, 58014, NotifySlot::Second, NotifyLayout::Words, nullptr, 0, 12, 0};
    const NotifyEvent bytes{kModule, 5, NotifySlot::First, NotifyLayout::PtrLen, payload.data(), 10, 0, 0};
    const auto with = [](std::vector<uint8_t> d, size_t at, uint8_t v) {
        d[at] = v;
        return d;
    };
    auto words_and_payload = datagram(words);
    words_and_payload.push_back(1);
    auto one_byte_too_many = datagram(bytes);
    one_byte_too_many.resize(NOTIFY_WIRE_MAX_SIZE + 1);
    NotifyEvent unknown = words;
    unknown.module = 999;
    // GNSS control events carry a pointer: only a payload layout with the
    // pointer first reaches their handler.
    const NotifyEvent control_words{58, 58006, NotifySlot::Second, NotifyLayout::Words, nullptr, 0, 1, 0};
    NotifyEvent control_len_ptr = bytes;
    control_len_ptr.module = 58;
    control_len_ptr.event = 58006;
    control_len_ptr.layout = NotifyLayout::LenPtr;
    NotifyEvent no_first = words;
    no_first.module = kSecondOnlyModule;
    no_first.slot = NotifySlot::First;

    const struct {
        const char* what;
        std::vector<uint8_t> d;
        NotifyWireStatus want;
    } cases[] = {
        {"words", datagram(words), NotifyWireStatus::Queued},
        {"payload", datagram(bytes), NotifyWireStatus::Queued},
        {"shorter than a header", std::vector<uint8_t>(31, 0), NotifyWireStatus::Malformed},
        {"wrong magic", with(datagram(words), 0, 0), NotifyWireStatus::Malformed},
        {"slot 2", with(datagram(words), 12, 2), NotifyWireStatus::Malformed},
        {"layout 3", with(datagram(words), 13, 3), NotifyWireStatus::Malformed},
        {"reserved bits", with(datagram(words), 15, 1), NotifyWireStatus::Malformed},
        {"words with a payload", words_and_payload, NotifyWireStatus::Malformed},
        {"payload with words", with(datagram(bytes), 16, 1), NotifyWireStatus::Malformed},
        {"pointer event as words", datagram(control_words), NotifyWireStatus::WrongLayout},
        {"pointer event as length, pointer", datagram(control_len_ptr), NotifyWireStatus::WrongLayout},
        {"module not registered", datagram(unknown), NotifyWireStatus::UnknownModule},
        {"no callback in that slot", datagram(no_first), NotifyWireStatus::UnknownModule},
        {"payload one byte too long", one_byte_too_many, NotifyWireStatus::TooLarge},
        {"datagram far too long", std::vector<uint8_t>(40000), NotifyWireStatus::TooLarge},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(verdict(c.d), static_cast<int>(c.want));
    }
}

TEST_F(BusSocket, PayloadFromOutsideArrivesInAFullSizeZeroFilledCopy) {
    // A reader of a whole request or response record must not run past the copy.
    rec().reset(PayloadAt::PtrLen, 10240);
    const uint8_t payload[3] = {7, 8, 9};
    ASSERT_EQ(verdict(datagram({kModule, 5, NotifySlot::First, NotifyLayout::PtrLen, payload, 3, 0, 0})), 0);
    ASSERT_TRUE(rec().wait_for(1));
    const Call& c = rec().calls[0];
    EXPECT_EQ(c.slot, 1);
    EXPECT_EQ(c.a2, 3u);
    ASSERT_EQ(c.bytes.size(), 10240u);
    EXPECT_EQ(c.bytes[0], 7);
    EXPECT_EQ(c.bytes[2], 9);
    EXPECT_EQ(std::count(c.bytes.begin() + 3, c.bytes.end(), 0), 10240 - 3);
}

}  // namespace
