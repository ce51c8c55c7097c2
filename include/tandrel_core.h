// Helpers of the command bridge core shared by every subsystem.
#pragma once

#include <cstdint>
#include <string_view>

#include "at_record.h"
#include "osa_buffer.h"

// Module type read once at start; types 0 and 2 hand the port to the
// firmware loader after a successful ^FWLOAD.
extern int32_t g_m2m_type;

// Notify module of the daemon and its events.
inline constexpr uint32_t NOTIFY_MODULE_TANDREL = 58;
inline constexpr uint32_t TANDREL_EVT_UNSOLICITED = 58000;
inline constexpr uint32_t TANDREL_EVT_AT_REQUEST = 58001;
inline constexpr uint32_t TANDREL_EVT_HBE_TIMER = 58014;

// Event 58001: one request of len bytes at data; copied, dispatched, answered.
// Returns 0, or -1 when a buffer could not be allocated.
int32_t nl_syswatch_event_report(uint32_t len, const void* data);
// Finds the request's row and calls the handler of its operation. Returns the
// handler's result, or -1 when no handler ran or an argument is null.
int32_t nl_process_event_report(AtRequest* pIn, AtResponse* pOut);
// Traces a request and/or a response (either may be null).
void tandrel_print_para(const AtRequest* pIn, const AtResponse* pOut);
// First callback of module 58: event 58000 sends the report a1 points to.
int32_t tandrel_notify_handler(uint32_t event, uintptr_t a1, uintptr_t a2);
// Sends a finished report built elsewhere; the caller keeps it.
int32_t tandrel_send_unsolid_data(AtResponse* rsp);
// Sends a response or report with its wire size, m_length bounded to m_buffer.
int32_t tandrel_send_response(AtResponse* rsp);

// Where a report goes: port (m_uindex), report identifier (m_id) and the
// protocol word of its channel.
struct ReportTo {
    uint32_t port;
    uint32_t id;
    uint32_t protocol;
};

// One unsolicited report, the single way every adapter sends one. Its record
// is taken zeroed from the platform allocator when the report is made, so an
// adapter that must know it has a record before doing other work makes it
// first; when none can be had, the adapter's own trace (tag and text) is
// made, under the adapter's file and line, and nothing is sent.
class AtReport {
  public:
    AtReport(ReportTo to, const char* tag, const char* fail_trace,
             const char* file = __builtin_FILE(), int line = __builtin_LINE());
    explicit operator bool() const { return static_cast<bool>(buf_); }
    // Sets the text (bounded by m_buffer, m_length in step) and the result
    // word, then sends; the result of tandrel_send_response.
    int32_t send(std::string_view text, int32_t retenum = AT_RET_OK);
    // The same on another port: one record may go out on several.
    int32_t send_to(uint32_t port, std::string_view text);

  private:
    OsaBuffer buf_;
};
