// Platform calls for the report-path benchmarks: a sender that only copies or only sends, a trace
// that formats and drops.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

enum class BenchSink {
    // send_at_response_to_kernel copies the bytes into a buffer of its own:
    // the least any sender does with them.
    Copy,
    // send_at_response_to_kernel sends them as the host platform does: one
    // netlink datagram under the at_response mutex, here to a socket of this
    // process that a thread of its own drains.
    Netlink,
};

// Chooses what send_at_response_to_kernel does from now on. Netlink opens
// the sink on first use; false when it cannot.
bool bench_sink_select(BenchSink sink);

// What send_at_response_to_kernel has been handed so far.
struct BenchSent {
    uint64_t calls;
    uint64_t bytes;
};
BenchSent bench_sent();

// While set, every send appends a copy of its bytes here.
void bench_capture(std::vector<std::vector<uint8_t>>* into);

// Traces up to this level are formatted (and dropped), as the host trace
// would format them before writing; those above return at once. 8 by
// default, the host's default.
void bench_trace_level(uint32_t level);
