// Header of every netlink message exchanged with the kernel AT driver.
#pragma once

#include <cstddef>
#include <cstdint>

struct NlDeviceEvent {
    uint32_t device_id;
    uint32_t event_code;
    uint32_t len;
};
static_assert(sizeof(NlDeviceEvent) == 12);
static_assert(offsetof(NlDeviceEvent, len) == 8);

// device_id of the AT channel.
inline constexpr uint32_t NL_DEVICE_AT = 1;
// Netlink message type of the command-table registration.
inline constexpr uint16_t NL_MSG_TYPE_REGISTER = 3;
// Size of the netlink message header in front of NlDeviceEvent.
inline constexpr uint32_t NL_MSG_HEADER_SIZE = 16;
