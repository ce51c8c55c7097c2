// Simulated online update service: its constants and the controls that tests and tools use.
#pragma once

#include <cstdint>

// Control events of the simulation, sent to module 3's second callback with
// two words (tandrel-notify 3 EVENT W1):
//  3901 W1 = service code: the next online_update_* call fails with it
//       (0 disarms);
//  3902: an SMS push from the update server: ^FOTASMS when the SMS policy
//        is 1, and a detection that downloads on its own when the SMS
//        auto-download state is 1 as well.
inline constexpr uint32_t SIM_FOTA_CTL_FAIL_NEXT = 3901;
inline constexpr uint32_t SIM_FOTA_CTL_SMS_PUSH = 3902;

// Service error codes the simulation answers with.
inline constexpr uint32_t SIM_FOTA_ERR_BUSY = 2;        // detection, download or install running
inline constexpr uint32_t SIM_FOTA_ERR_PARAM = 3;       // a value the service does not take
inline constexpr uint32_t SIM_FOTA_ERR_NO_VERSION = 6;  // nothing found to download
inline constexpr uint32_t SIM_FOTA_ERR_NOT_DOWNLOADING = 7;  // nothing to pause or cancel
inline constexpr uint32_t SIM_FOTA_ERR_NOT_DOWNLOADED = 8;   // nothing downloaded to install

// Update states the simulation reports.
inline constexpr uint32_t SIM_FOTA_STATE_DETECTING = 10;
inline constexpr uint32_t SIM_FOTA_STATE_FOUND = 12;        // version, size and description
inline constexpr uint32_t SIM_FOTA_STATE_PAUSED = 13;       // detail: percent downloaded
inline constexpr uint32_t SIM_FOTA_STATE_NONE = 14;         // no new version
inline constexpr uint32_t SIM_FOTA_STATE_DOWNLOADING = 20;  // detail: percent downloaded
inline constexpr uint32_t SIM_FOTA_STATE_DOWNLOADED =
    30;  // raised as the pair (30, 0); (30, -1) cancelled
inline constexpr uint32_t SIM_FOTA_STATE_INSTALLING = 80;  // detail: percent installed
inline constexpr uint32_t SIM_FOTA_STATE_INSTALLED = 90;

// Forgets every setting and state, as a freshly started service: steps of
// step_ms milliseconds, offering `version` (empty: no new version). The
// service stays registered on the bus. For tests.
void sim_online_update_reset(uint32_t step_ms, const char* version);
