// HTTP, FTP and mail transfers of the simulated IP stack through libcurl, one at a time, on a
// thread of their own.
#pragma once

#include <cstdint>
#include <string>

enum class TransferKind : uint32_t { Http, Ftp, Mail };

// What a transfer does.
struct TransferRequest {
    TransferKind kind = TransferKind::Http;
    std::string url;    // http:// or https://, ftp://, smtp:// (the mail server)
    bool head = false;  // HTTP: HEAD instead of GET
    bool list = false;  // FTP: the names in a directory instead of a file
    std::string mail_to;
    std::string subject;
    std::string body;
};

// Failure numbers of a transfer; 0 is success. An HTTP status, whatever it
// is, is a success: it is the answer. A failure the links know too has the
// links' number (net_links.h); the 170s are the transfers' own.
inline constexpr int32_t TRANSFER_ERR_TIMEOUT = 110;    // no connection or no end in time
inline constexpr int32_t TRANSFER_ERR_CONNECT = 111;    // connection refused or host unreachable
inline constexpr int32_t TRANSFER_ERR_NAME = 150;       // host name not found
inline constexpr int32_t TRANSFER_ERR_TLS = 160;        // the TLS handshake failed
inline constexpr int32_t TRANSFER_ERR_UNTRUSTED = 161;  // the server's certificate does not verify
inline constexpr int32_t TRANSFER_ERR_TOO_LARGE = 170;  // data longer than TRANSFER_DATA_MAX
inline constexpr int32_t TRANSFER_ERR_REFUSED = 171;    // an FTP or mail server refused the request
inline constexpr int32_t TRANSFER_ERR_FAILED = 172;     // any other failure (protocol)
inline constexpr int32_t TRANSFER_ERR_BAD_URL = 50;     // the URL does not parse

// Bytes of data (HTTP body, FTP file or listing) a transfer takes at most, so
// that its answer fits one reply text with its header and final result.
inline constexpr uint32_t TRANSFER_DATA_MAX = 10000;
// Time allowed to connect, and to the whole transfer.
inline constexpr uint32_t TRANSFER_CONNECT_MS = 10000;
inline constexpr uint32_t TRANSFER_TOTAL_MS = 60000;

struct TransferResult {
    int32_t error = 0;
    uint32_t status = 0;  // HTTP status
    std::string data;     // HTTP body, FTP file or listing
};

enum class TransferStart {
    Finished,  // ended within the wait: *out holds the result
    Late,      // still running: its end is told to the late function
    Busy,      // another transfer runs; nothing started
};

// Called on the transfer thread when a transfer that outlived its wait ends,
// unless it was aborted. A successful HTTP or FTP result is kept for
// net_transfer_take before the call.
using TransferLateFn = void (*)(TransferKind kind, int32_t error, uint32_t channel);

#if TANDREL_HOST_NETWORK

// Starts a transfer and waits up to wait_ms for its end. channel is handed
// to the late function.
TransferStart net_transfer_run(const TransferRequest& request, uint32_t wait_ms, uint32_t channel,
                               TransferLateFn late, TransferResult* out);
// The kept result of the last late transfer when it is of this kind; it is
// handed over once, and a new transfer drops it.
bool net_transfer_take(TransferKind kind, TransferResult* out);
// Ends the running transfer; false when none runs.
bool net_transfer_abort();
// Transfers of this kind that succeeded.
uint32_t net_transfer_count(TransferKind kind);

#else

// Without the host's network libraries nothing is transferred.
inline TransferStart net_transfer_run(const TransferRequest&, uint32_t, uint32_t, TransferLateFn,
                                      TransferResult* out) {
    out->error = TRANSFER_ERR_FAILED;
    return TransferStart::Finished;
}
inline bool net_transfer_take(TransferKind, TransferResult*) {
    return false;
}
inline bool net_transfer_abort() {
    return false;
}
inline uint32_t net_transfer_count(TransferKind) {
    return 0;
}

#endif
