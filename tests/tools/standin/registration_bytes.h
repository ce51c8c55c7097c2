// The daemon's registration message built from the command table, byte by byte, for driver tests.
#pragma once

#include <cstdint>
#include <vector>

#include "at_cmd_table.h"

namespace standin {

// The 10268-byte registration: netlink header (type 3, nlmsg_pid = pid),
// NlDeviceEvent {1, 0, table length} and one packed record per row, then
// zero fill. A handler word is non-zero exactly where the table has a handler.
std::vector<uint8_t> registration_message(uint32_t pid);

}  // namespace standin
