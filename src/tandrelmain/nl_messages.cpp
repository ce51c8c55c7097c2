// Netlink messages of the AT channel as bytes: the registration built from the table, the checks of a received request.
#include <cstring>

#include "le_bytes.h"
#include "nl_channel.h"
#include "osa.h"

namespace {

// Writes into the zero-filled message without ever passing `limit`, the end
// of the announced table.
class BoundedWriter {
public:
    BoundedWriter(uint8_t* buf, uint32_t pos, uint32_t limit) : buf_(buf), pos_(pos), limit_(limit) {}

    void u32(uint32_t v) {
        uint8_t b[4];
        le_put_u32(b, v);
        bytes(b, sizeof b);
    }
    // Zeros are already there.
    void zero(uint32_t n) { pos_ = limit_ - pos_ > n ? pos_ + n : limit_; }
    // A field of n bytes holding a text and its NUL. The text is read no
    // further than its NUL, so a row whose length word claimed more than its
    // text holds could not make the copy read past the text.
    void text(const char* src, uint32_t n) {
        const auto len = src == nullptr ? 0u : static_cast<uint32_t>(strnlen(src, n));
        bytes(src, len);
        zero(n - len);
    }

private:
    void bytes(const void* src, uint32_t n) {
        const uint32_t room = limit_ - pos_;
        if (n != 0 && room != 0) {
            osa_memcpy_s(buf_ + pos_, room, src, n < room ? n : room);
        }
        zero(n);
    }

    uint8_t* buf_;
    uint32_t pos_;  // never above limit_
    uint32_t limit_;
};

struct BindErrno {
    int err;
    const char* text;
};

const BindErrno kBindErrnos[] = {
    {13, "Search permission is denied on a component of the path prefix. (See also "
         "path_resolution(7).)\n"},
    {2, "The file does not exist.\n"},
    {36, "addr is too long.\n"},
    {40, "Too many symbolic links were encountered in resolving addr.\n"},
    // The apostrophe of this message is a two-byte character of the
    // module's code page, kept as the module has always traced it.
    {14, "addr points outside the user\xA1\xAFs accessible address space.\n"},
    {99, "A nonexistent interface was requested or the requested address was not local.\n"},
    {12, "Insufficient kernel memory was available.\n"},
    {20, "A component of the path prefix is not a directory.\n"},
    {30, "The socket inode would reside on a read-only file system.\n"},
};

}  // namespace

NlRegistrationSize nl_registration_size(const AtCmdEntry* table) {
    NlRegistrationSize s{};
    for (const AtCmdEntry* e = table; e != nullptr && e->m_name_len != 0; ++e) {
        s.cmdtbl_len += e->m_name_len + e->m_param_len + AT_CMD_RECORD_FIXED;
    }
    s.final_len = s.cmdtbl_len > FIX_NL_DATA_LENGTH ? s.cmdtbl_len : FIX_NL_DATA_LENGTH;
    s.nlmsg_len = s.final_len + NL_DATA_OFFSET;
    s.buffer_size = (s.final_len + 31) & ~3u;
    return s;
}

uint32_t nl_handler_word(AtHandler h) {
    if (h == nullptr) {
        return 0;
    }
    const auto word = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(h));
    // cppcheck-suppress knownConditionTrueFalse ; a 64-bit address cut to 32 bits can be 0
    return word != 0 ? word : 1;
}

uint32_t nl_build_registration(const AtCmdEntry* table, uint32_t seq, uint32_t pid, uint8_t* buf,
                               uint32_t buf_size) {
    const NlRegistrationSize size = nl_registration_size(table);
    if (buf == nullptr || buf_size < size.nlmsg_len) {
        return 0;
    }
    osa_memset_s(buf, buf_size, 0, buf_size);

    le_put_u32(buf + 0, size.nlmsg_len);
    le_put_u16(buf + 4, NL_MSG_TYPE_REGISTER);
    le_put_u16(buf + 6, 0);
    le_put_u32(buf + 8, seq);
    le_put_u32(buf + 12, pid);
    le_put_u32(buf + NL_EVENT_OFFSET + 0, NL_DEVICE_AT);
    le_put_u32(buf + NL_EVENT_OFFSET + 4, 0);
    le_put_u32(buf + NL_EVENT_OFFSET + 8, size.cmdtbl_len);

    BoundedWriter w(buf, NL_DATA_OFFSET, NL_DATA_OFFSET + size.cmdtbl_len);
    for (const AtCmdEntry* e = table; e != nullptr && e->m_name_len != 0; ++e) {
        // Words 1 to 11 of the row, in the row's order.
        const uint32_t words[] = {e->m_index,           nl_handler_word(e->m_set_func),
                                  e->m_set_timeout,     nl_handler_word(e->m_query_func),
                                  e->m_query_timeout,   nl_handler_word(e->m_test_func),
                                  e->m_test_timeout,    nl_handler_word(e->m_abort_func),
                                  e->m_abort_timeout,   e->m_err_code,
                                  e->m_flag};
        for (const uint32_t word : words) {
            w.u32(word);
        }
        w.u32(e->m_name_len);
        w.text(e->m_name, e->m_name_len);
        w.zero(1);
        w.u32(e->m_param_len);  // unaligned: right after the name's 0 byte
        w.text(e->m_param, e->m_param_len);
        w.zero(1);
    }
    return size.nlmsg_len;
}

NlVerdict nl_check_request(const uint8_t* msg, uint32_t namelen, uint32_t sender_pid,
                           uint32_t driver_pid, NlDeviceEvent* ev) {
    if (namelen != NL_SOCKADDR_SIZE) {
        return NlVerdict::BadNameLen;
    }
    // Any local process can address the daemon's port; only the AT driver
    // may hand it commands.
    if (sender_pid != driver_pid) {
        return NlVerdict::ForeignSender;
    }
    ev->device_id = le_get_u32(msg + NL_EVENT_OFFSET + 0);
    ev->event_code = le_get_u32(msg + NL_EVENT_OFFSET + 4);
    ev->len = le_get_u32(msg + NL_EVENT_OFFSET + 8);
    if (ev->device_id != NL_DEVICE_AT) {
        return NlVerdict::BadDevice;
    }
    if (ev->len == 0 || ev->len >= FIX_NL_DATA_LENGTH) {
        return NlVerdict::BadLength;
    }
    return NlVerdict::Accept;
}

const char* nl_bind_errno_text(int err) {
    for (const BindErrno& b : kBindErrnos) {
        if (b.err == err) {
            return b.text;
        }
    }
    return nullptr;
}

uint32_t nl_recv_backoff_ms(uint32_t consecutive_failures) {
    // A few failures in a row (a signal, a netlink overrun) are retried at
    // once; a failure that persists is retried at a falling rate so that
    // the loop neither spins nor floods the trace.
    constexpr uint32_t kImmediate = 3;
    constexpr uint32_t kFirstPause = 10;
    constexpr uint32_t kMaxPause = 1000;
    if (consecutive_failures <= kImmediate) {
        return 0;
    }
    uint32_t pause = kFirstPause;
    for (uint32_t n = kImmediate + 1; n < consecutive_failures && pause < kMaxPause; ++n) {
        pause *= 2;
    }
    return pause < kMaxPause ? pause : kMaxPause;
}
