// Host memory, thread and sleep calls of the platform.
#include <pthread.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "osa.h"
#include "tandrel_trace.h"

extern "C" void* osa_malloc(uint32_t size) { return malloc(size != 0 ? size : 1); }

extern "C" void osa_free(void* p) { free(p); }

extern "C" uintptr_t osa_pthread_create(const char* name, uint32_t stack_size, uint32_t /*priority*/,
                                        void* (*entry)(void*), void* arg) {
    if (entry == nullptr) {
        return 0;
    }
    pthread_attr_t attr;
    if (pthread_attr_init(&attr) != 0) {
        return 0;
    }
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    if (stack_size != 0) {
        const auto min_stack = static_cast<size_t>(PTHREAD_STACK_MIN);
        pthread_attr_setstacksize(&attr, stack_size < min_stack ? min_stack : size_t{stack_size});
    }
    pthread_t thread{};
    const int err = pthread_create(&thread, &attr, entry, arg);
    pthread_attr_destroy(&attr);
    if (err != 0) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "osa_pthread_create %s failed, error %d\n",
                          name != nullptr ? name : "", err);
        return 0;
    }
    // A detached thread may be gone already, so it is named nowhere: the
    // name only serves the trace above.
    uintptr_t handle = 0;
    static_assert(sizeof thread <= sizeof handle);
    memcpy(&handle, &thread, sizeof thread);
    return handle != 0 ? handle : 1;
}

extern "C" void osa_sleep(uint32_t ms) {
    timespec left{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000L};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}
