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

int32_t gpsclient_init(GpsClientCallbacks* callbacks) {
    services().calls.push_back("gpsclient_init");
    if (callbacks != nullptr) {
        services().gps_callbacks = *callbacks;
    }
    return services().gpsclient_init_result;
}

void ipstack_hbecat_main(void) { services().calls.push_back("ipstack_hbecat_main"); }

int32_t ipstack_hbe_maxtime(int32_t arg) {
    services().calls.push_back("ipstack_hbe_maxtime");
    services().hbe_maxtime_arg = arg;
    return services().hbe_maxtime_result;
}

}  // extern "C"
