// tandrel-notify's command line: which event to raise, for which module, with what arguments.
#pragma once

#include <string>
#include <vector>

#include "notify_bus.h"

struct NotifyArgs {
    std::string run_dir;           // --run-dir; empty: TANDREL_RUN_DIR, else "run"
    NotifyEvent event{};           // all but the payload pointer
    std::vector<uint8_t> payload;  // the payload of a LenPtr or PtrLen event
};

// Parses argv[1..argc). False with the reason in *error.
bool notify_parse_args(int argc, const char* const* argv, NotifyArgs* out, std::string* error);

const char* notify_usage(void);
