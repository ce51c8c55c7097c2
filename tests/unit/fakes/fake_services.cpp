// Recording fakes of the service libraries.
#include "fake_services.h"

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

}  // extern "C"
