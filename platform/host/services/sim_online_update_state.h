// The host update service's state, shared by its front (the online_update_* calls) and its worlds.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>

#include "online_update.h"

enum class FotaPhase { Idle, Detecting, Found, Downloading, Paused, Downloaded, Installing };

// An event waiting to be raised by the worker, in order.
struct FotaPending {
    uint32_t event;
    FotaStateInfo info;  // 63000
    int32_t a, b;        // 63001
};

// Everything below `mu` is guarded by it. The service calls change the phase
// and queue events; only the service's worker thread raises what is queued,
// so events reach the daemon in the order they were queued.
struct FotaSim {
    std::mutex mu;
    std::condition_variable cv;
    bool started = false;
    bool real = false;  // the update server's world, else the scripted one
    uint32_t step_ms = 0;
    // The version offered (empty: nothing newer), with what state 12 reports
    // and the package it comes in.
    char version[FOTA_VERSION_SIZE] = {};
    char description[FOTA_DESCRIPTION_SIZE] = {};
    uint32_t offered_size = 0;
    char offered_package[FOTA_PACKAGE_NAME_SIZE] = {};
    FotaModeRecord mode{};
    FotaConnectPara connect{};
    uint32_t sms_policy = 0;
    uint32_t sms_auto_download = 0;
    FotaPhase phase = FotaPhase::Idle;
    bool download_when_found = false;                   // this detection downloads on its own
    std::chrono::steady_clock::time_point next_step;    // when a scripted phase advances
    std::chrono::steady_clock::time_point next_detect;  // periodic detection while detect_mode is 1
    uint32_t percent = 0;
    uint64_t downloaded = 0;  // bytes of the package on hand
    char package[FOTA_PACKAGE_NAME_SIZE] = {};
    uint32_t package_size = 0;
    // Changes with every start, pause, resume and cancel of a download, so a
    // transfer under way knows it is no longer wanted.
    uint32_t download_epoch = 0;
    bool discard = false;                      // a cancel: the package on hand goes
    char oem_package[FOTA_OEM_ARG_SIZE] = {};  // named by ^FOTAOEMDL, not yet under way
    FotaStateInfo last{};                      // the last state raised; answers request 3035
    uint32_t fail_next = 0;
    std::deque<FotaPending> outbox;
    void (*wake_world)() = nullptr;  // besides cv: wakes a world that waits elsewhere
};

// The service's one state; never destroyed, as its worker may still run
// while the process exits.
FotaSim& fota_sim();

// With the lock held: queue a state record (63000) or a state pair (63001),
// and keep it as the last state.
void fota_raise_state(FotaSim& s, uint32_t state, uint32_t detail = 0);
void fota_raise_pair(FotaSim& s, int32_t a, int32_t b);
// With the lock held: a detection starts (state 10).
void fota_start_detection(FotaSim& s, bool download_when_found);
// With the lock held: the download of `package` starts, or a paused one resumes.
void fota_start_download(FotaSim& s, const char* package, uint32_t size);
// With the lock held: wakes the worker, wherever it waits.
void fota_wake(FotaSim& s);
// Without the lock: raises what is queued. The worker's thread only.
void fota_flush(FotaSim& s);
// Copies the text src into the field dst of size bytes, cut to fit and
// always terminated.
void fota_copy_text(char* dst, size_t size, const char* src);
