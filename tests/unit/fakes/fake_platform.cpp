// Recording fakes of the platform calls.
#include "fake_platform.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "at_kernel.h"
#include "module_info.h"
#include "osa.h"
#include "qsp_trace.h"

namespace fake {

AtResponse Sent::record() const {
    AtResponse r{};
    std::memcpy(&r, bytes.data(), std::min(bytes.size(), sizeof r));
    return r;
}

std::string Sent::text() const {
    const AtResponse r = record();
    const size_t n = std::min<size_t>(r.m_length, sizeof r.m_buffer);
    return std::string(r.m_buffer, n);
}

void Platform::reset() {
    std::lock_guard<std::mutex> lock(mu);
    sent.clear();
    traces.clear();
    posted.clear();
    registered.clear();
    sleeps.clear();
    on_send_notify = nullptr;
    allocs = fail_alloc_at = 0;
    live_allocs = 0;
}

bool Platform::traced(const std::string& text) const {
    for (const Trace& t : traces) {
        if (t.text == text) {
            return true;
        }
    }
    return false;
}

Platform& platform() {
    static Platform p;
    return p;
}

}  // namespace fake

using fake::platform;

extern "C" {

int g_user_fd = -1;
pthread_mutex_t at_response = PTHREAD_MUTEX_INITIALIZER;

int32_t send_at_response_to_kernel(AtResponse* rsp, uint32_t size) {
    fake::Sent s;
    s.size = size;
    s.bytes.assign(reinterpret_cast<const uint8_t*>(rsp), reinterpret_cast<const uint8_t*>(rsp) + size);
    std::lock_guard<std::mutex> lock(platform().mu);
    platform().sent.push_back(std::move(s));
    return 0;
}

int platform_nl_protocol(void) { return 31; }
uint32_t platform_nl_driver_pid(void) { return 0; }

void QSP_TRACE_PrintInfo(const char* /*file*/, int /*line*/, int /*module*/, const char* /*tag*/,
                         uint32_t /*level*/, const char* fmt, ...) {
    char text[4096];
    va_list ap;
    va_start(ap, fmt);
    vsnprintf(text, sizeof text, fmt, ap);
    va_end(ap);
    std::lock_guard<std::mutex> lock(platform().mu);
    platform().traces.push_back({text});
}

void* osa_malloc(uint32_t size) {
    fake::Platform& p = platform();
    std::lock_guard<std::mutex> lock(p.mu);
    ++p.allocs;
    if (p.fail_alloc_at != 0 && p.allocs == p.fail_alloc_at) {
        return nullptr;
    }
    ++p.live_allocs;
    return std::malloc(size == 0 ? 1 : size);
}

void osa_free(void* ptr) {
    if (ptr == nullptr) {
        return;
    }
    {
        std::lock_guard<std::mutex> lock(platform().mu);
        --platform().live_allocs;
    }
    std::free(ptr);
}

uintptr_t osa_pthread_create(const char*, uint32_t, uint32_t, void* (*)(void*), void*) { return 1; }

void osa_sleep(uint32_t ms) {
    std::lock_guard<std::mutex> lock(platform().mu);
    platform().sleeps.push_back(ms);
}

int32_t GetM2MType(void) { return 0; }

int32_t store_pid(const char*) { return 0; }
int32_t boot_check_update_info(void) { return 0; }
int32_t QSP_UTIL_UpdateDynAppStatus(const char*, int32_t) { return 0; }

int32_t QSP_MSG_Init(const char*) { return 0; }
int32_t QSP_UTIL_SockBaseRegEvtProc(void) { return 0; }
void* QSP_UTIL_SockBaseStart(void*) { return nullptr; }

int32_t init_notify(void) { return 0; }

int32_t register_notify_handler(uint32_t module, NotifyCallback first, NotifyCallback second) {
    std::lock_guard<std::mutex> lock(platform().mu);
    platform().registered.push_back({module, first, second});
    return 0;
}

int32_t post_notify(uint32_t module, uint32_t event, uint32_t len, const void* data) {
    fake::Posted p{module, event, len, {}};
    if (data != nullptr) {
        p.data.assign(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + len);
    }
    std::lock_guard<std::mutex> lock(platform().mu);
    platform().posted.push_back(std::move(p));
    return 0;
}

int32_t send_notify(uint32_t module, uint32_t event, uint32_t, void* buf, uint32_t,
                    uint32_t buf_len) {
    std::function<int32_t(uint32_t, uint32_t, void*, uint32_t)> answer;
    {
        std::lock_guard<std::mutex> lock(platform().mu);
        answer = platform().on_send_notify;
    }
    return answer ? answer(module, event, buf, buf_len) : -1;
}

}  // extern "C"
