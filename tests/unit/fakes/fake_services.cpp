// Recording fakes of the service libraries.
#include "fake_services.h"

#include "ipstack.h"

namespace fake {
Services& services() {
    static Services s;
    return s;
}
}  // namespace fake

using fake::services;

extern "C" {

void ipstack_hbecat_main(void) { services().calls.push_back("ipstack_hbecat_main"); }

int32_t ipstack_hbe_maxtime(int32_t arg) {
    services().calls.push_back("ipstack_hbe_maxtime");
    services().hbe_maxtime_arg = arg;
    return services().hbe_maxtime_result;
}

}  // extern "C"
