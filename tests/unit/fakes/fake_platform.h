// Recording fakes of the platform calls: what the daemon sent, traced, allocated and posted.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "at_record.h"
#include "fake_ipstack.h"
#include "fake_gpsclient.h"
#include "qsp_notify.h"

namespace fake {

// One send_at_response_to_kernel call: the bytes handed over and the size.
struct Sent {
    std::vector<uint8_t> bytes;  // exactly `size` bytes from the record
    uint32_t size = 0;
    // The header and text as the kernel would read them (zero beyond size).
    AtResponse record() const;
    std::string text() const;  // m_length bytes of m_buffer (binary safe)
};

struct Trace {
    std::string text;
};

struct Posted {
    uint32_t module;
    uint32_t event;
    uint32_t len;
    std::vector<uint8_t> data;  // the payload copied at the call
};

struct Registered {
    uint32_t module;
    NotifyCallback first;
    NotifyCallback second;
};

struct Platform {
    std::mutex mu;
    std::vector<Sent> sent;
    std::vector<Trace> traces;
    std::vector<Posted> posted;
    std::vector<Registered> registered;
    std::vector<uint32_t> sleeps;

    // send_notify answers through this when set; otherwise -1.
    std::function<int32_t(uint32_t module, uint32_t event, void* buf, uint32_t buf_len)> on_send_notify;

    // Allocation accounting: the Nth osa_malloc from now (1-based) fails; 0 = never.
    uint64_t allocs = 0;
    uint64_t fail_alloc_at = 0;
    int64_t live_allocs = 0;

    void reset();
    bool traced(const std::string& text) const;  // any trace whose text equals text
    const Sent& last_sent() const { return sent.back(); }
};

Platform& platform();

// Fixture: a clean platform and clean services for each test; no allocation of the test left
// behind when it ends.
class PlatformTest : public ::testing::Test {
protected:
    void SetUp() override {
        platform().reset();
        gps().reset();
        ipstack().reset();
    }
    void TearDown() override { EXPECT_EQ(platform().live_allocs, 0) << "osa_malloc without osa_free"; }
    Platform& P() { return platform(); }
};

}  // namespace fake
