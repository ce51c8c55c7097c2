// Simulated GNSS client, assistance side: what it holds, for host tests.
#pragma once

#include <cstddef>
#include <cstdint>

#include "gpsclient.h"

struct SimAgnssStatus {
    size_t xml_applied;    // bytes of the last complete configuration document, 0 for none
    uint32_t xml_uploads;  // configuration documents completed
    size_t lto_applied;    // bytes of the last complete LTO upload
    uint32_t lto_uploads;
    bool time_injected;
    GpsRefTimeInfo time;  // the last reference time taken
    bool pos_injected;
    GpsRefLocInfo pos;  // the last reference position taken
};

// A copy of what the client holds now.
SimAgnssStatus sim_gnss_agnss_status(void);
// Certificate, locks, uploads in progress and injections as at start.
void sim_gnss_agnss_reset(void);
