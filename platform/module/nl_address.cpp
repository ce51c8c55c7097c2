// The AT channel's addressing on the module: netlink protocol 27, the kernel's port id 0.
#include "nl_channel.h"

// The module's libraries give every other platform call; these two only the
// daemon knows, so the module build supplies them here.
extern "C" {
int platform_nl_protocol(void) { return NL_AT_PROTOCOL; }
uint32_t platform_nl_driver_pid(void) { return NL_KERNEL_PORT_ID; }
}
