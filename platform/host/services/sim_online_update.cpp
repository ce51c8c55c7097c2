// Simulated online update service: settings, detection, download and install, events 63000-63003.
#include "sim_online_update.h"

#include <chrono>
#include <cstdlib>
#include <cstring>

#include "host_env.h"
#include "module_info.h"
#include "notify_bus.h"
#include "osa.h"
#include "qsp_notify.h"
#include "sim_online_update_state.h"
#include "tandrel_trace.h"

#if TANDREL_HOST_NETWORK
#include "net/fota_world.h"
#else
// A build without the host's network libraries has the scripted world only.
inline bool fota_world_start(FotaSim&) { return false; }
inline void* fota_world_worker(void*) { return nullptr; }
#endif

using Phase = FotaPhase;
using Sim = FotaSim;

FotaSim& fota_sim() {
    static FotaSim* s = new FotaSim();
    return *s;
}

void fota_copy_text(char* dst, size_t size, const char* src) {
    strncpy_s(dst, size, src, size - 1);
}

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kDefaultStepMs = 1000;
constexpr char kDefaultVersion[] = "V2.0.1";
constexpr char kDescription[] = "Simulated update: fixes and improvements";
constexpr char kPackageName[] = "update.pkg";
constexpr char kOemPackageName[] = "oem.pkg";
constexpr uint32_t kPackageSize = 4194304;
constexpr uint32_t kDownloadStepPercent = 25;
constexpr uint32_t kInstallStepPercent = 50;
constexpr FotaModeRecord kDefaultMode{0, 0, 0, 1, 7};

#define SIM_TRACE(level, ...) TANDREL_TRACE_TAG("host", level, __VA_ARGS__)

Sim& sim() { return fota_sim(); }

bool running(Phase p) {
    return p == Phase::Detecting || p == Phase::Downloading || p == Phase::Installing;
}

void raise_event(Sim& s, uint32_t event) {
    s.outbox.push_back(FotaPending{event, {}, 0, 0});
    fota_wake(s);
}

void schedule_step(Sim& s) {
    s.next_step = Clock::now() + std::chrono::milliseconds(s.step_ms);
}

void schedule_detection(Sim& s) {
    s.next_detect = Clock::now() + std::chrono::minutes(s.mode.detect_interval);
}

// What the scripted world offers: `version` (empty: nothing newer) in its
// package of fixed size.
void offer(Sim& s, const char* version) {
    fota_copy_text(s.version, sizeof s.version, version);
    fota_copy_text(s.description, sizeof s.description, kDescription);
    fota_copy_text(s.offered_package, sizeof s.offered_package, kPackageName);
    s.offered_size = kPackageSize;
}

// One step of the scripted world's running phase.
void advance(Sim& s) {
    switch (s.phase) {
        case Phase::Detecting:
            if (s.version[0] == '\0') {
                s.phase = Phase::Idle;
                fota_raise_state(s, SIM_FOTA_STATE_NONE);
                break;
            }
            s.phase = Phase::Found;
            fota_raise_state(s, SIM_FOTA_STATE_FOUND);
            if (s.download_when_found || s.mode.download_mode == 1) {
                fota_start_download(s, s.offered_package, s.offered_size);
            }
            break;
        case Phase::Downloading:
            s.percent += kDownloadStepPercent;
            s.downloaded = static_cast<uint64_t>(s.package_size) * s.percent / 100;
            fota_raise_state(s, SIM_FOTA_STATE_DOWNLOADING, s.percent);
            if (s.percent < 100) {
                schedule_step(s);
                break;
            }
            s.phase = Phase::Downloaded;
            fota_raise_pair(s, static_cast<int32_t>(SIM_FOTA_STATE_DOWNLOADED), 0);
            if (s.mode.update_mode == 1) {
                s.phase = Phase::Installing;
                s.percent = 0;
                schedule_step(s);
            }
            break;
        case Phase::Installing:
            if (s.percent < 100) {
                s.percent += kInstallStepPercent;
                fota_raise_state(s, SIM_FOTA_STATE_INSTALLING, s.percent);
                schedule_step(s);
                break;
            }
            // The new version is now the module's own: nothing newer is offered.
            fota_raise_state(s, SIM_FOTA_STATE_INSTALLED);
            s.version[0] = '\0';
            s.phase = Phase::Idle;
            s.package[0] = '\0';
            s.package_size = 0;
            s.downloaded = 0;
            break;
        default:
            break;
    }
}

void raise_on_bus(const FotaPending& p) {
    NotifyEvent e{};
    e.module = NOTIFY_MODULE_UPDATE;
    e.event = p.event;
    if (p.event == UPDATE_EVT_STATE) {
        e.slot = NotifySlot::First;
        e.layout = NotifyLayout::PtrLen;
        e.payload = &p.info;
        e.len = sizeof p.info;
    } else {
        e.slot = NotifySlot::Second;
        e.layout = NotifyLayout::Words;
        e.w1 = static_cast<uintptr_t>(static_cast<intptr_t>(p.a));
        e.w2 = static_cast<uintptr_t>(static_cast<intptr_t>(p.b));
    }
    if (notify_bus_raise(e) != 0) {
        SIM_TRACE(TRACE_LEVEL_ERROR, "update service: event %u not raised\n", p.event);
    }
}

// The scripted world's thread: advances the running phase a step at a time
// and the periodic detection, and raises what is queued.
void* worker(void*) {
    Sim& s = sim();
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(s.mu);
            const auto deadline = [&s] {
                auto t = Clock::time_point::max();
                if (running(s.phase)) {
                    t = s.next_step;
                }
                if (s.mode.detect_mode == 1 && !running(s.phase) && s.next_detect < t) {
                    t = s.next_detect;
                }
                return t;
            };
            while (s.outbox.empty() && Clock::now() < deadline()) {
                if (deadline() == Clock::time_point::max()) {
                    s.cv.wait(lock);
                } else {
                    s.cv.wait_until(lock, deadline());
                }
            }
            const auto now = Clock::now();
            if (running(s.phase) && now >= s.next_step) {
                advance(s);
            } else if (s.mode.detect_mode == 1 && !running(s.phase) && now >= s.next_detect) {
                schedule_detection(s);
                fota_start_detection(s, false);
            }
        }
        fota_flush(s);
    }
    return nullptr;
}

}  // namespace

// Queues a state record for the daemon and keeps it as the last state.
void fota_raise_state(FotaSim& s, uint32_t state, uint32_t detail) {
    FotaStateInfo info{};
    info.state = state;
    info.detail = detail;
    if (s.version[0] != '\0') {
        fota_copy_text(info.version, sizeof info.version, s.version);
        fota_copy_text(info.description, sizeof info.description, s.description);
        info.size = s.offered_size;
    }
    s.last = info;
    s.outbox.push_back(FotaPending{UPDATE_EVT_STATE, info, 0, 0});
    fota_wake(s);
}

void fota_raise_pair(FotaSim& s, int32_t a, int32_t b) {
    s.last.state = static_cast<uint32_t>(a);
    s.last.detail = static_cast<uint32_t>(b);
    s.outbox.push_back(FotaPending{UPDATE_EVT_STATE_PAIR, {}, a, b});
    fota_wake(s);
}

void fota_start_detection(FotaSim& s, bool download_when_found) {
    s.phase = Phase::Detecting;
    s.download_when_found = download_when_found;
    fota_raise_state(s, SIM_FOTA_STATE_DETECTING);
    schedule_step(s);
}

void fota_start_download(FotaSim& s, const char* package, uint32_t size) {
    if (s.phase != Phase::Paused) {
        s.percent = 0;
        s.downloaded = 0;
        fota_copy_text(s.package, sizeof s.package, package);
        s.package_size = size;
    }
    s.phase = Phase::Downloading;
    ++s.download_epoch;
    schedule_step(s);
    fota_wake(s);
}

void fota_wake(FotaSim& s) {
    s.cv.notify_all();
    if (s.wake_world != nullptr) {
        s.wake_world();
    }
}

// Raises what is queued, in order and outside the lock (the bus may make a
// raising thread wait while the loop thread calls in here).
void fota_flush(FotaSim& s) {
    std::deque<FotaPending> out;
    {
        std::lock_guard<std::mutex> lock(s.mu);
        out.swap(s.outbox);
    }
    for (const FotaPending& p : out) {
        raise_on_bus(p);
    }
}

namespace {

// Module 3, first callback: request 3035 copies the last state into the
// caller's buffer.
extern "C" int32_t sim_update_request(uint32_t event, uintptr_t a1, uintptr_t a2) {
    if (event != ONLINE_UPDATE_REQ_LAST_STATE || a1 == 0) {
        return -1;
    }
    Sim& s = sim();
    std::lock_guard<std::mutex> lock(s.mu);
    const size_t n = a2 < sizeof s.last ? a2 : sizeof s.last;
    osa_memcpy_s(reinterpret_cast<void*>(a1), n, &s.last, n);
    return 0;
}

// Module 3, second callback: the simulation's controls.
extern "C" int32_t sim_update_control(uint32_t event, uintptr_t a1, uintptr_t /*a2*/) {
    Sim& s = sim();
    std::lock_guard<std::mutex> lock(s.mu);
    switch (event) {
        case SIM_FOTA_CTL_FAIL_NEXT:
            s.fail_next = static_cast<uint32_t>(a1);
            SIM_TRACE(TRACE_LEVEL_INFO, "update service: next call fails with code %u\n",
                      s.fail_next);
            return 0;
        case SIM_FOTA_CTL_SMS_PUSH:
            if (s.sms_policy != 1) {
                SIM_TRACE(TRACE_LEVEL_INFO, "update service: SMS push ignored, SMS policy 0\n");
                return 0;
            }
            raise_event(s, UPDATE_EVT_SMS_POLICY);
            if (s.sms_auto_download == 1 && !running(s.phase)) {
                fota_start_detection(s, true);
            }
            return 0;
        default:
            return -1;
    }
}

// Joins the bus as module 3 and starts the worker, once.
Sim& service() {
    Sim& s = sim();
    std::lock_guard<std::mutex> lock(s.mu);
    if (s.started) {
        return s;
    }
    s.started = true;
    s.step_ms = kDefaultStepMs;
    s.mode = kDefaultMode;
    int64_t v = 0;
    if (host_env_number("TANDREL_SIM_FOTA_STEP_MS", 1, 3600000, &v)) {
        s.step_ms = static_cast<uint32_t>(v);
    }
    if (host_env_number("TANDREL_SIM_FOTA_FAIL", 0, 0xFFFFFFFF, &v)) {
        s.fail_next = static_cast<uint32_t>(v);
    }
    // The update server's world unless TANDREL_SIM_FOTA=scripted asks for
    // the scripted one, which invents what it finds.
    const char* world = getenv("TANDREL_SIM_FOTA");
    s.real = (world == nullptr || strcmp(world, "scripted") != 0) && fota_world_start(s);
    if (!s.real) {
        const char* version = getenv("TANDREL_SIM_FOTA_VERSION");
        offer(s, version != nullptr ? version : kDefaultVersion);
    }
    if (register_notify_handler(NOTIFY_MODULE_ONLINE_UPDATE, sim_update_request,
                                sim_update_control) != 0) {
        SIM_TRACE(TRACE_LEVEL_ERROR, "update service: not registered on the bus\n");
    }
    if (osa_pthread_create("online_update", 0, 0, s.real ? fota_world_worker : worker, nullptr) ==
        0) {
        SIM_TRACE(TRACE_LEVEL_ERROR, "update service: no thread, nothing will progress\n");
    }
    return s;
}

// A call that the test armed to fail: gives its code and clears it.
bool fails(Sim& s, uint32_t* err) {
    if (s.fail_next == 0) {
        return false;
    }
    if (err != nullptr) {
        *err = s.fail_next;
    }
    SIM_TRACE(TRACE_LEVEL_INFO, "update service: call failed with code %u as asked\n", s.fail_next);
    s.fail_next = 0;
    return true;
}

int32_t refuse(uint32_t* err, uint32_t code) {
    if (err != nullptr) {
        *err = code;
    }
    return 0;
}

bool terminated(const char* field, size_t size) {
    return memchr(field, '\0', size) != nullptr;
}

}  // namespace

void sim_online_update_reset(uint32_t step_ms, const char* version) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    s.step_ms = step_ms;
    offer(s, version != nullptr ? version : "");
    s.mode = kDefaultMode;
    s.connect = FotaConnectPara{};
    s.sms_policy = 0;
    s.sms_auto_download = 0;
    s.phase = Phase::Idle;
    s.download_when_found = false;
    s.percent = 0;
    s.downloaded = 0;
    s.package[0] = '\0';
    s.package_size = 0;
    s.last = FotaStateInfo{};
    s.fail_next = 0;
    s.outbox.clear();
    s.cv.notify_all();
}

extern "C" {

int32_t boot_check_update_info(void) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (s.real) {
        SIM_TRACE(TRACE_LEVEL_INFO, "update service: the update server's world\n");
    } else {
        SIM_TRACE(TRACE_LEVEL_INFO,
                  "update service: scripted, offering version \"%s\", steps of %u ms\n", s.version,
                  s.step_ms);
    }
    return 0;
}

int32_t online_update_get_opration_mode(FotaModeRecord* mode) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (mode == nullptr || fails(s, nullptr)) {
        return 0;
    }
    *mode = s.mode;
    return 1;
}

int32_t online_update_set_opration_mode(const FotaModeRecord* mode, uint32_t* err) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (fails(s, err)) {
        return 0;
    }
    if (mode == nullptr || mode->detect_mode > 1 || mode->download_mode > 1 ||
        mode->update_mode > 1 || mode->en_resume > 1 ||
        (mode->detect_mode == 1 && (mode->detect_interval < 1 || mode->detect_interval > 65535))) {
        return refuse(err, SIM_FOTA_ERR_PARAM);
    }
    s.mode = *mode;
    if (s.mode.detect_mode == 1) {
        schedule_detection(s);
    }
    fota_wake(s);
    return 1;
}

int32_t online_update_get_connect_para(FotaConnectPara* para) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (para == nullptr || fails(s, nullptr)) {
        return 0;
    }
    *para = s.connect;
    return 1;
}

int32_t online_update_set_connect_para(const FotaConnectPara* para, uint32_t* err) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (fails(s, err)) {
        return 0;
    }
    if (para == nullptr || para->auth_type > 2 || !terminated(para->apn, sizeof para->apn) ||
        !terminated(para->user, sizeof para->user) ||
        !terminated(para->password, sizeof para->password)) {
        return refuse(err, SIM_FOTA_ERR_PARAM);
    }
    s.connect = *para;
    return 1;
}

int32_t online_update_check_new_version(uint32_t* err) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (fails(s, err)) {
        return 0;
    }
    if (running(s.phase)) {
        return refuse(err, SIM_FOTA_ERR_BUSY);
    }
    fota_start_detection(s, false);
    return 1;
}

int32_t online_update_download_new_version(uint32_t operation, uint32_t* err) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (fails(s, err)) {
        return 0;
    }
    switch (operation) {
        case 0:  // start, or resume a paused download
            if (s.phase == Phase::Downloaded) {
                return 1;  // the package is already here
            }
            if (s.phase != Phase::Found && s.phase != Phase::Paused) {
                return refuse(err, running(s.phase) ? SIM_FOTA_ERR_BUSY : SIM_FOTA_ERR_NO_VERSION);
            }
            fota_start_download(s, s.offered_package, s.offered_size);
            return 1;
        case 1:  // pause
            if (s.phase != Phase::Downloading) {
                return refuse(err, SIM_FOTA_ERR_NOT_DOWNLOADING);
            }
            s.phase = Phase::Paused;
            ++s.download_epoch;
            fota_raise_state(s, SIM_FOTA_STATE_PAUSED, s.percent);
            return 1;
        case 2:  // cancel
            if (s.phase != Phase::Downloading && s.phase != Phase::Paused) {
                return refuse(err, SIM_FOTA_ERR_NOT_DOWNLOADING);
            }
            s.phase = s.version[0] != '\0' ? Phase::Found : Phase::Idle;
            s.percent = 0;
            s.downloaded = 0;
            s.discard = true;
            ++s.download_epoch;
            fota_raise_pair(s, static_cast<int32_t>(SIM_FOTA_STATE_DOWNLOADED), -1);
            return 1;
        default:
            return refuse(err, SIM_FOTA_ERR_PARAM);
    }
}

int32_t online_update_download_new_version_ex(const char* arg, uint32_t* err) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (fails(s, err)) {
        return 0;
    }
    if (arg == nullptr || !terminated(arg, FOTA_OEM_ARG_SIZE)) {
        return refuse(err, SIM_FOTA_ERR_PARAM);
    }
    if (running(s.phase)) {
        return refuse(err, SIM_FOTA_ERR_BUSY);
    }
    // The package the argument names (its last path component), else the
    // OEM's default package.
    const char* slash = strrchr(arg, '/');
    const char* name = slash != nullptr ? slash + 1 : arg;
    if (s.real) {
        // The server's world downloads what is named, and only that.
        if (name[0] == '\0') {
            return refuse(err, SIM_FOTA_ERR_PARAM);
        }
        fota_copy_text(s.oem_package, sizeof s.oem_package, arg);
    } else if (s.version[0] == '\0') {
        fota_copy_text(s.version, sizeof s.version, "OEM");
    }
    s.phase = Phase::Idle;
    fota_start_download(s, name[0] != '\0' ? name : kOemPackageName, s.real ? 0 : kPackageSize);
    return 1;
}

int32_t online_update_installer_new_version(uint32_t* err) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (fails(s, err)) {
        return 0;
    }
    if (s.phase != Phase::Downloaded) {
        return refuse(err, running(s.phase) ? SIM_FOTA_ERR_BUSY : SIM_FOTA_ERR_NOT_DOWNLOADED);
    }
    s.phase = Phase::Installing;
    s.percent = 0;
    schedule_step(s);
    fota_wake(s);
    return 1;
}

int32_t online_update_query_update_state(uint32_t* state) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (state == nullptr || fails(s, nullptr)) {
        return 0;
    }
    *state = s.last.state;
    return 1;
}

int32_t online_update_check_download_progress(FotaDownloadProgress* progress) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (progress == nullptr || fails(s, nullptr)) {
        return 0;
    }
    const bool installing = s.phase == Phase::Installing || s.phase == Phase::Downloaded;
    progress->package_index = 1;
    progress->total_size = s.package_size;
    progress->downloaded_size = installing ? s.package_size : static_cast<uint32_t>(s.downloaded);
    fota_copy_text(progress->package_name, sizeof progress->package_name, s.package);
    return 1;
}

int32_t online_update_sms_fota_policy(uint32_t policy, uint32_t* err) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (fails(s, err)) {
        return 0;
    }
    if (policy > 1) {
        return refuse(err, SIM_FOTA_ERR_PARAM);
    }
    s.sms_policy = policy;
    return 1;
}

int32_t online_update_query_fotasms_policy(uint32_t* policy) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (policy == nullptr || fails(s, nullptr)) {
        return 0;
    }
    *policy = s.sms_policy;
    return 1;
}

int32_t online_update_set_sms_fota_auto_download_state(uint32_t state, uint32_t* err) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (fails(s, err)) {
        return 0;
    }
    if (state > 1) {
        return refuse(err, SIM_FOTA_ERR_PARAM);
    }
    s.sms_auto_download = state;
    return 1;
}

int32_t online_update_query_sms_fota_auto_download_state(uint32_t* state) {
    Sim& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (state == nullptr || fails(s, nullptr)) {
        return 0;
    }
    *state = s.sms_auto_download;
    return 1;
}

}  // extern "C"
