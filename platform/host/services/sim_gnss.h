// Simulated GNSS client of the host: its controls for tests, tandrel-notify and the environment.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The simulator's own notify module on the host bus. Event 1 carries one
// control command as text:
//   tandrel-notify 158 1 --text "fail startFix 283"
inline constexpr uint32_t SIM_GNSS_NOTIFY_MODULE = 158;
inline constexpr uint32_t SIM_GNSS_EVT_COMMAND = 1;

// Carries out one control command; 0, or -1 for a command it does not know
// (traced). Commands, one per call (TANDREL_SIM_GNSS holds several, separated
// by ';', applied when the client starts):
//   fail FN CODE [N|always]  the next N calls (default 1) of gpsclient_FN fail
//                            with error CODE; FN with or without "gpsclient_"
//   clear                    no more failures
//   set FN VALUE             the value gpsclient_FN keeps, as if set by
//                            someone else (portCfg, WPCAP, sessionType,
//                            operateMode, locks, anyData, WPLPM,
//                            SuplAutonomousCapable, suplfeature)
//   radio 0|3                the radio as if switched by someone else
//   ni TYPE ID [TEXT]        a network-initiated request, TEXT to the end
//   status W2 W3             a status record with words 2 and 3
//   nmea SENTENCE            one sentence, CR LF added when missing
//   speed N                  replay N times faster than the timestamps
//   track builtin|FILE       the built-in track, or the sentences of FILE
//   reset                    engine stopped, settings and controls as at start
// Requests, status records and sentences reach the callbacks on the
// simulator's own thread, as the client's do.
int32_t sim_gnss_command(const char* line);

// For the client calls simulated in other files (sim_gnss_nav.cpp): whether
// a "fail" control takes this call of gpsclient_FN (err filled when not
// null), whether the engine runs with the radio on, and the sentences of the
// last epoch replayed (none before the first, nor after a reset).
bool sim_gnss_failure(const char* fn, int32_t* err);
bool sim_gnss_engine_on();
std::vector<std::string> sim_gnss_last_epoch();
