// The simulated update service on the real bus: its controls, an OEM download paused and cancelled,
// and request 3035. The flow and refusals are checked through the daemon by the fota transcripts.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host_test_support.h"
#include "online_update.h"
#include "qsp_notify.h"
#include "sim_online_update.h"

namespace {

using namespace std::chrono_literals;

// One event raised to module 63, as the daemon's adapter would get it.
struct Ev {
    uint32_t event;
    int64_t a;  // 63000: state; 63001: first integer
    int64_t b;  // 63000: detail; 63001: second integer
    std::string version;
    bool operator==(const Ev&) const = default;
};

struct Events {
    std::mutex mu;
    std::condition_variable cv;
    std::vector<Ev> got;
    void add(Ev e) {
        std::lock_guard<std::mutex> lock(mu);
        got.push_back(std::move(e));
        cv.notify_all();
    }
    std::vector<Ev> wait_for(size_t n) {
        std::unique_lock<std::mutex> lock(mu);
        cv.wait_for(lock, 10s, [&] { return got.size() >= n; });
        std::vector<Ev> out;
        out.swap(got);
        return out;
    }
};

Events& events() {
    static Events e;
    return e;
}

extern "C" int32_t update_first(uint32_t event, uintptr_t a1, uintptr_t a2) {
    const auto* info = reinterpret_cast<const FotaStateInfo*>(a1);
    if (event != UPDATE_EVT_STATE || a2 != sizeof(FotaStateInfo)) {
        ADD_FAILURE() << "event " << event << " length " << a2;
        return -1;
    }
    events().add({event, info->state, info->detail,
                  std::string(info->version, strnlen(info->version, sizeof info->version))});
    return 0;
}

extern "C" int32_t update_second(uint32_t event, uintptr_t a1, uintptr_t a2) {
    events().add({event, static_cast<int32_t>(a1), static_cast<int32_t>(a2), ""});
    return 0;
}

Ev state(int64_t s, int64_t detail = 0, const std::string& version = "V9") {
    return {UPDATE_EVT_STATE, s, detail, version};
}
Ev pair(int64_t a, int64_t b) {
    return {UPDATE_EVT_STATE_PAIR, a, b, ""};
}

class SimUpdate : public BusLoop {
  protected:
    void SetUp() override {
        BusLoop::SetUp();
        reset(2, "V9");
        ASSERT_EQ(register_notify_handler(NOTIFY_MODULE_UPDATE, update_first, update_second), 0);
    }
    void reset(uint32_t step_ms, const char* version) {
        sim_online_update_reset(step_ms, version);
        // Whatever an earlier test left on its way is delivered and dropped.
        std::this_thread::sleep_for(20ms);
        events().wait_for(0);
    }
    // Waits until the loop has handled everything posted before.
    static void sync() {
        FotaStateInfo info{};
        send_notify(NOTIFY_MODULE_ONLINE_UPDATE, ONLINE_UPDATE_REQ_LAST_STATE, 0, &info, 0,
                    sizeof info);
    }
};

TEST_F(SimUpdate, PauseResumeAndCancelAnOemDownload) {
    reset(600000, "V9");  // nothing advances on its own
    uint32_t err = 0;
    ASSERT_EQ(online_update_download_new_version_ex("http://server/fw/oem-2.bin", &err), 1);
    FotaDownloadProgress p{};
    ASSERT_EQ(online_update_check_download_progress(&p), 1);
    EXPECT_STREQ(p.package_name, "oem-2.bin");
    EXPECT_EQ(online_update_download_new_version(1, &err), 1);
    EXPECT_EQ(online_update_download_new_version(0, &err), 1);
    EXPECT_EQ(online_update_download_new_version(2, &err), 1);
    EXPECT_EQ(events().wait_for(2), (std::vector<Ev>{state(13, 0), pair(30, -1)}));
}

TEST_F(SimUpdate, FailNextControlFailsOneCall) {
    ASSERT_EQ(post_notify(NOTIFY_MODULE_ONLINE_UPDATE, SIM_FOTA_CTL_FAIL_NEXT, 13, nullptr), 0);
    sync();
    uint32_t err = 0;
    EXPECT_EQ(online_update_sms_fota_policy(1, &err), 0);
    EXPECT_EQ(err, 13u);
    err = 0;
    EXPECT_EQ(online_update_sms_fota_policy(1, &err), 1);
    EXPECT_EQ(err, 0u);
}

TEST_F(SimUpdate, LastStateRequestFillsTheCallersRecord) {
    uint32_t err = 0;
    ASSERT_EQ(online_update_check_new_version(&err), 1);
    events().wait_for(2);
    FotaStateInfo info{};
    ASSERT_EQ(send_notify(NOTIFY_MODULE_ONLINE_UPDATE, ONLINE_UPDATE_REQ_LAST_STATE, 0, &info, 0,
                          sizeof info),
              0);
    EXPECT_EQ(info.state, 12u);
    EXPECT_STREQ(info.version, "V9");
    EXPECT_EQ(info.size, 4194304u);
    EXPECT_NE(info.description[0], '\0');
    EXPECT_EQ(send_notify(NOTIFY_MODULE_ONLINE_UPDATE, 3036, 0, &info, 0, sizeof info), -1);
}

}  // namespace
