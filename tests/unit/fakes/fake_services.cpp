// Recording fakes of the service libraries.
#include "fake_services.h"

namespace fake {
Services& services() {
    static Services s;
    return s;
}
}  // namespace fake
