// Command dispatch: one request from the kernel becomes one handler call and one response.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "at_cmd_table.h"
#include "at_kernel.h"
#include "osa_buffer.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"

int32_t g_m2m_type = 0;

namespace {

const char* const kTypeTraces[] = {
    "nl_syswatch_event_report NL_TYPE_SET\r\n",
    "nl_syswatch_event_report NL_TYPE_QUERY\r\n",
    "nl_syswatch_event_report NL_TYPE_TEST\r\n",
    "nl_syswatch_event_report NL_TYPE_ABORT\r\n",
};

// The kernel may send names and texts that fill their fields without a NUL;
// the dispatcher's own copy is terminated inside every field it hands on, so
// no handler can read past one.
void terminate_fields(AtRequest* req) {
    req->m_atcmd[sizeof req->m_atcmd - 1] = '\0';
    for (AtCmdParam& p : req->m_para_list) {
        p.aucPara[sizeof p.aucPara - 1] = '\0';
    }
}

enum class Delivery { Send, TestAbort, FirmwareLoad, Simulated };

Delivery delivery_of(const AtRequest& req, const AtResponse& rsp) {
    if (strcmp(req.m_atcmd, "^TESTABORT") == 0 && req.m_type == NL_TYPE_SET) {
        return Delivery::TestAbort;
    }
    if ((g_m2m_type == 0 || g_m2m_type == 2) && strcmp(req.m_atcmd, "^FWLOAD") == 0 &&
        rsp.m_retenum == 0) {
        return Delivery::FirmwareLoad;
    }
    if (strcmp(req.m_atcmd, "^NLGPSOPT") == 0) {
        return Delivery::Simulated;
    }
    return Delivery::Send;
}

}  // namespace

void at_set_text(AtResponse* pOut, std::string_view text) {
    const size_t n = text.size() < sizeof pOut->m_buffer ? text.size() : sizeof pOut->m_buffer - 1;
    osa_memcpy_s(pOut->m_buffer, sizeof pOut->m_buffer, text.data(), n);
    pOut->m_buffer[n] = '\0';
    pOut->m_length = static_cast<uint32_t>(n);
}

void at_set_textf(AtResponse* pOut, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const int n = vsnprintf(pOut->m_buffer, sizeof pOut->m_buffer, fmt, ap);
    va_end(ap);
    if (n < 0) {
        pOut->m_buffer[0] = '\0';
    }
    pOut->m_length = static_cast<uint32_t>(strnlen(pOut->m_buffer, sizeof pOut->m_buffer));
}

void at_set_error(AtResponse* pOut, int32_t retenum) {
    pOut->m_retenum = retenum;
    pOut->m_length = 0;
    pOut->m_buffer[0] = '\0';
}

int32_t tandrel_send_response(AtResponse* rsp) {
    if (rsp->m_length < sizeof rsp->m_buffer) {
        return send_at_response_to_kernel(rsp, at_response_wire_size(*rsp));
    }
    // A length past the text field would make the sender read past the
    // record. The record may be a caller's (a ready-made report), which is
    // left as it was handed over: a copy cut to what the field holds is sent.
    TANDREL_TRACE(TRACE_LEVEL_ERROR, "response length %u cut to %zu\r\n", rsp->m_length,
                  sizeof rsp->m_buffer - 1);
    OsaBuffer copy(sizeof(AtResponse));
    if (!copy) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "failed to osa_malloc");
        return TANDREL_FAIL;
    }
    auto* cut = copy.as<AtResponse>();
    osa_memcpy_s(cut, sizeof *cut, rsp, sizeof *rsp);
    cut->m_length = sizeof cut->m_buffer - 1;
    cut->m_buffer[cut->m_length] = '\0';
    return send_at_response_to_kernel(cut, at_response_wire_size(*cut));
}

AtReport::AtReport(ReportTo to, const char* tag, const char* fail_trace, const char* file, int line)
    : buf_(sizeof(AtResponse)) {
    if (!buf_) {
        QSP_TRACE_PrintInfo(tandrel_file_name(file), line, 0, tag, TRACE_LEVEL_ERROR, "%s",
                            fail_trace);
        return;
    }
    auto* rsp = buf_.as<AtResponse>();
    rsp->m_uindex = to.port;
    rsp->m_id = to.id;
    rsp->m_protocol = to.protocol;
}

int32_t AtReport::send(std::string_view text, int32_t retenum) {
    if (!buf_) {
        return TANDREL_FAIL;
    }
    auto* rsp = buf_.as<AtResponse>();
    at_set_text(rsp, text);
    rsp->m_retenum = retenum;
    return tandrel_send_response(rsp);
}

int32_t AtReport::send_to(uint32_t port, std::string_view text) {
    if (buf_) {
        buf_.as<AtResponse>()->m_uindex = port;
    }
    return send(text);
}

int32_t nl_syswatch_event_report(uint32_t len, const void* data) {
    TANDREL_TRACE(TRACE_LEVEL_DEBUG, "nl_syswatch_event_report enter !!!\r\n");
    OsaBuffer req_buf(FIX_NL_DATA_LENGTH);
    OsaBuffer rsp_buf;
    if (req_buf) {
        rsp_buf = OsaBuffer(FIX_NL_DATA_LENGTH);
    }
    if (!req_buf || !rsp_buf) {
        TANDREL_TRACE(TRACE_LEVEL_DEBUG, "failed to osa_malloc");
        return TANDREL_FAIL;
    }
    auto* req = req_buf.as<AtRequest>();
    auto* rsp = rsp_buf.as<AtResponse>();
    if (data != nullptr) {
        osa_memcpy_s(req, req_buf.size(), data, len);
    }
    terminate_fields(req);

    tandrel_print_para(req, nullptr);
    if (nl_process_event_report(req, rsp) == TANDREL_FAIL) {
        TANDREL_TRACE(TRACE_LEVEL_DEBUG, "nl_process_event_report return TANDREL_FAIL\r\n");
    }

    switch (delivery_of(*req, *rsp)) {
        case Delivery::TestAbort:
            TANDREL_TRACE(TRACE_LEVEL_DEBUG,
                          "it is the abort at test and return nothing to kernel\r\n");
            break;
        case Delivery::FirmwareLoad:
            TANDREL_TRACE(TRACE_LEVEL_DEBUG,
                          "it is the xmodemupg at and return nothing to kernel\r\n");
            break;
        case Delivery::Simulated:
            TANDREL_TRACE(TRACE_LEVEL_DEBUG, "it is the simulate at and don't need any return\r\n");
            break;
        case Delivery::Send:
            TANDREL_TRACE(TRACE_LEVEL_DEBUG,
                          "US nl_syswatch_event_report ready to send result to kernel\r\n");
            rsp->m_uindex = req->m_uindex;
            rsp->m_magic = req->m_magic;
            tandrel_print_para(nullptr, rsp);
            tandrel_send_response(rsp);
            TANDREL_TRACE(TRACE_LEVEL_DEBUG,
                          "US nl_syswatch_event_report send at response to kernel\r\n");
            break;
    }
    return TANDREL_OK;
}

int32_t nl_process_event_report(AtRequest* pIn, AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        return TANDREL_FAIL;
    }
    if (pIn->m_uindex == AT_PORT_REFUSED) {
        at_set_error(pOut, AT_RET_PORT_REFUSED);
        return TANDREL_FAIL;
    }
    // More parameters than the request holds cannot be read: refused before
    // any handler sees them.
    if (pIn->m_para_count > AT_MAX_PARAS) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "nl_process_event_report m_para_count = %u > %zu\r\n",
                      pIn->m_para_count, AT_MAX_PARAS);
        at_set_error(pOut, AT_RET_NO_HANDLER);
        return TANDREL_FAIL;
    }
    const AtCmdEntry* row = at_cmd_find(pIn->m_atcmd);
    if (row == nullptr) {
        return TANDREL_FAIL;
    }
    const AtHandler handler = at_cmd_handler(*row, pIn->m_type);
    if (handler == nullptr) {
        at_set_error(pOut, AT_RET_NO_HANDLER);
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "nl_syswatch_event_report ptransfer.m_type \r\n");
        return TANDREL_FAIL;
    }
    TANDREL_TRACE(TRACE_LEVEL_DEBUG, "%s", kTypeTraces[pIn->m_type]);
    return handler(pIn, pOut);
}

void tandrel_print_para(const AtRequest* pIn, const AtResponse* pOut) {
    if (pIn != nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_DEBUG, "outputpara m_atcmd = <%.*s> m_magic = <%d>\r\n",
                      static_cast<int>(sizeof pIn->m_atcmd), pIn->m_atcmd,
                      static_cast<int32_t>(pIn->m_magic));
        TANDREL_TRACE(TRACE_LEVEL_DEBUG,
                      "outputpara set:0 query:1 test:2 abort:3 m_type = <%d> PCUI:0 m_uindex = "
                      "<%d>\r\n",
                      static_cast<int32_t>(pIn->m_type), static_cast<int32_t>(pIn->m_uindex));
        TANDREL_TRACE(TRACE_LEVEL_DEBUG, "outputpara m_para_count = <%d>\r\n",
                      static_cast<int32_t>(pIn->m_para_count));
        const uint32_t count = std::min(pIn->m_para_count, static_cast<uint32_t>(AT_MAX_PARAS));
        for (uint32_t i = 0; i < count; ++i) {
            const AtCmdParam& p = pIn->m_para_list[i];
            if (p.usParaLen == 0) {
                TANDREL_TRACE(TRACE_LEVEL_DEBUG, "outputpara ulParaValue = <%d>\r\n",
                              static_cast<int32_t>(p.ulParaValue));
            } else {
                const std::string_view text = at_para_text(p);
                TANDREL_TRACE(TRACE_LEVEL_DEBUG, "outputpara usParaLen = <%d> aucPara = <%.*s>\r\n",
                              p.usParaLen, static_cast<int>(text.size()), text.data());
            }
        }
    }
    if (pOut != nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_DEBUG,
                      "outputpara PCUI:0 m_uindex = <%d> m_magic = <%d> m_id = <%d> m_protocol = "
                      "<%d>\r\n",
                      static_cast<int32_t>(pOut->m_uindex), static_cast<int32_t>(pOut->m_magic),
                      static_cast<int32_t>(pOut->m_id), static_cast<int32_t>(pOut->m_protocol));
        TANDREL_TRACE(TRACE_LEVEL_DEBUG,
                      "outputparakernel m_retenum = <%d> m_length = <%d> m_buffer = <%.*s>\r\n",
                      pOut->m_retenum, static_cast<int32_t>(pOut->m_length),
                      static_cast<int>(strnlen(pOut->m_buffer, sizeof pOut->m_buffer)),
                      pOut->m_buffer);
    }
}

int32_t tandrel_notify_handler(uint32_t event, uintptr_t a1, uintptr_t /*a2*/) {
    if (event != TANDREL_EVT_UNSOLICITED) {
        return TANDREL_FAIL;
    }
    return tandrel_send_unsolid_data(reinterpret_cast<AtResponse*>(a1));
}

int32_t tandrel_send_unsolid_data(AtResponse* rsp) {
    if (rsp == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "tandrel_send_unsolid_data error\n");
        return TANDREL_FAIL;
    }
    tandrel_send_response(rsp);
    return TANDREL_OK;
}
