// HTTP, FTP and mail transfers through libcurl on the transfer thread; the command waits a while
// for each.
#include "net_transfer.h"

#include <curl/curl.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <ctime>
#include <mutex>

#include "osa.h"
#include "tandrel_trace.h"

#define NET_TRACE(level, ...) TANDREL_TRACE_TAG("sim-ipstack", level, __VA_ARGS__)

namespace {

// The sender of every mail.
constexpr const char* kMailFrom = "<tandrel@localhost>";

enum class Phase {
    Idle,      // no transfer
    Running,   // the transfer thread works on the job
    Finished,  // the job ended while its command waited; the result is for it
};

struct Service {
    std::mutex mu;
    std::condition_variable cv;
    bool started = false;
    Phase phase = Phase::Idle;
    bool queued = false;  // the job waits for the transfer thread
    bool late = false;    // its command stopped waiting
    TransferRequest job;
    uint32_t channel = 0;
    TransferLateFn late_fn = nullptr;
    TransferResult result;
    bool kept = false;  // a late result waits for net_transfer_take
    TransferKind kept_kind = TransferKind::Http;
    TransferResult kept_result;
    std::array<uint32_t, 3> done{};  // successful transfers by kind
    std::atomic<bool> abort{false};  // read by the progress callback
};

// Never destroyed: the transfer thread may still run while the process exits.
Service& service() {
    static Service* s = new Service();
    return *s;
}

size_t index_of(TransferKind kind) {
    return static_cast<size_t>(kind);
}

// ---- one transfer -------------------------------------------------------------

struct Sink {
    std::string* data;
    bool too_large = false;
};

size_t on_data(char* bytes, size_t size, size_t count, void* user) {
    auto* sink = static_cast<Sink*>(user);
    const size_t n = size * count;
    if (sink->data->size() + n > TRANSFER_DATA_MAX) {
        sink->too_large = true;
        return 0;  // ends the transfer with a write error
    }
    sink->data->append(bytes, n);
    return n;
}

int on_progress(void*, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return service().abort.load() ? 1 : 0;
}

struct Upload {
    std::string text;
    size_t at = 0;
};

size_t on_upload(char* buffer, size_t size, size_t count, void* user) {
    auto* up = static_cast<Upload*>(user);
    const size_t n = up->text.copy(buffer, size * count, up->at);
    up->at += n;
    return n;
}

// A line break would end a header early: header values keep one line.
std::string one_line(std::string s) {
    for (char& c : s) {
        if (c == '\r' || c == '\n') {
            c = ' ';
        }
    }
    return s;
}

std::string mail_text(const TransferRequest& r) {
    char date[64] = {};
    const time_t now = time(nullptr);
    tm utc{};
    if (gmtime_r(&now, &utc) != nullptr) {
        (void)strftime(date, sizeof date, "%a, %d %b %Y %H:%M:%S +0000", &utc);
    }
    return "Date: " + std::string(date) + "\r\nFrom: " + kMailFrom + "\r\nTo: <" +
           one_line(r.mail_to) + ">\r\nSubject: " + one_line(r.subject) + "\r\n\r\n" + r.body +
           "\r\n";
}

// Hosts reached without the proxy the environment may name: the loopback,
// whatever the environment says, and the environment's own list.
std::string no_proxy() {
    const char* env = getenv("no_proxy");
    if (env == nullptr) {
        env = getenv("NO_PROXY");
    }
    return std::string("localhost,127.0.0.0/8,::1") + (env != nullptr && *env != '\0' ? "," : "") +
           (env != nullptr ? env : "");
}

// A URL as traces show it: without a user name and password.
std::string shown(const std::string& url) {
    const size_t host = url.find("://");
    if (host == std::string::npos) {
        return url;
    }
    const size_t at = url.rfind('@', url.find('/', host + 3));
    return at == std::string::npos || at < host + 3 ? url
                                                    : url.substr(0, host + 3) + url.substr(at + 1);
}

int32_t error_of(CURLcode rc, long server_code, bool too_large) {
    switch (rc) {
        case CURLE_OK:
            return 0;
        case CURLE_URL_MALFORMAT:
            return TRANSFER_ERR_BAD_URL;
        case CURLE_COULDNT_RESOLVE_HOST:
            return TRANSFER_ERR_NAME;
        case CURLE_COULDNT_CONNECT:
            return TRANSFER_ERR_CONNECT;
        case CURLE_OPERATION_TIMEDOUT:
            return TRANSFER_ERR_TIMEOUT;
        case CURLE_SSL_CONNECT_ERROR:
            return TRANSFER_ERR_TLS;
        case CURLE_PEER_FAILED_VERIFICATION:
            return TRANSFER_ERR_UNTRUSTED;
        case CURLE_FILESIZE_EXCEEDED:
            return TRANSFER_ERR_TOO_LARGE;
        case CURLE_WRITE_ERROR:
            return too_large ? TRANSFER_ERR_TOO_LARGE : TRANSFER_ERR_FAILED;
        case CURLE_LOGIN_DENIED:
        case CURLE_REMOTE_ACCESS_DENIED:
        case CURLE_REMOTE_FILE_NOT_FOUND:
            return TRANSFER_ERR_REFUSED;
        default:
            // An FTP or mail server that answered the request with a failure code.
            return server_code >= 400 && server_code < 600 ? TRANSFER_ERR_REFUSED
                                                           : TRANSFER_ERR_FAILED;
    }
}

// What the transfer asks of libcurl besides the URL; false when libcurl refuses an option.
bool configure(CURL* h, const TransferRequest& r, curl_slist** rcpt, Upload* up) {
    bool ok = true;
    switch (r.kind) {
        case TransferKind::Http:
            ok = curl_easy_setopt(h, CURLOPT_PROTOCOLS_STR, "http,https") == CURLE_OK &&
                 curl_easy_setopt(h, CURLOPT_REDIR_PROTOCOLS_STR, "http,https") == CURLE_OK &&
                 curl_easy_setopt(h, CURLOPT_FOLLOWLOCATION, 1L) == CURLE_OK &&
                 curl_easy_setopt(h, CURLOPT_MAXREDIRS, 5L) == CURLE_OK &&
                 curl_easy_setopt(h, CURLOPT_NOBODY, r.head ? 1L : 0L) == CURLE_OK;
            break;
        case TransferKind::Ftp:
            ok = curl_easy_setopt(h, CURLOPT_PROTOCOLS_STR, "ftp") == CURLE_OK &&
                 curl_easy_setopt(h, CURLOPT_DIRLISTONLY, r.list ? 1L : 0L) == CURLE_OK;
            break;
        case TransferKind::Mail:
            *rcpt = curl_slist_append(nullptr, ("<" + one_line(r.mail_to) + ">").c_str());
            up->text = mail_text(r);
            ok = *rcpt != nullptr &&
                 curl_easy_setopt(h, CURLOPT_PROTOCOLS_STR, "smtp") == CURLE_OK &&
                 curl_easy_setopt(h, CURLOPT_MAIL_FROM, kMailFrom) == CURLE_OK &&
                 curl_easy_setopt(h, CURLOPT_MAIL_RCPT, *rcpt) == CURLE_OK &&
                 curl_easy_setopt(h, CURLOPT_UPLOAD, 1L) == CURLE_OK &&
                 curl_easy_setopt(h, CURLOPT_READFUNCTION, on_upload) == CURLE_OK &&
                 curl_easy_setopt(h, CURLOPT_READDATA, up) == CURLE_OK &&
                 curl_easy_setopt(h, CURLOPT_INFILESIZE_LARGE,
                                  static_cast<curl_off_t>(up->text.size())) == CURLE_OK;
            break;
    }
    return ok;
}

TransferResult perform(const TransferRequest& r) {
    TransferResult out;
    CURL* h = curl_easy_init();
    if (h == nullptr) {
        out.error = TRANSFER_ERR_FAILED;
        return out;
    }
    Sink sink{&out.data};
    curl_slist* rcpt = nullptr;
    Upload up;
    const std::string direct = no_proxy();
    const bool ok =
        curl_easy_setopt(h, CURLOPT_URL, r.url.c_str()) == CURLE_OK &&
        curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L) == CURLE_OK &&
        curl_easy_setopt(h, CURLOPT_NOPROXY, direct.c_str()) == CURLE_OK &&
        curl_easy_setopt(h, CURLOPT_CONNECTTIMEOUT_MS, long{TRANSFER_CONNECT_MS}) == CURLE_OK &&
        curl_easy_setopt(h, CURLOPT_TIMEOUT_MS, long{TRANSFER_TOTAL_MS}) == CURLE_OK &&
        curl_easy_setopt(h, CURLOPT_MAXFILESIZE_LARGE, curl_off_t{TRANSFER_DATA_MAX}) ==
            CURLE_OK &&
        curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, on_data) == CURLE_OK &&
        curl_easy_setopt(h, CURLOPT_WRITEDATA, &sink) == CURLE_OK &&
        curl_easy_setopt(h, CURLOPT_NOPROGRESS, 0L) == CURLE_OK &&
        curl_easy_setopt(h, CURLOPT_XFERINFOFUNCTION, on_progress) == CURLE_OK &&
        configure(h, r, &rcpt, &up);
    CURLcode rc = CURLE_FAILED_INIT;
    if (ok) {
        rc = curl_easy_perform(h);
    }
    long code = 0;
    (void)curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &code);
    out.error = ok ? error_of(rc, code, sink.too_large) : TRANSFER_ERR_FAILED;
    out.status = r.kind == TransferKind::Http ? static_cast<uint32_t>(code) : 0;
    if (out.error != 0) {
        NET_TRACE(TRACE_LEVEL_INFO, "transfer of %s failed: %s (%d)\n", shown(r.url).c_str(),
                  curl_easy_strerror(rc), out.error);
        out.data.clear();
    }
    curl_slist_free_all(rcpt);
    curl_easy_cleanup(h);
    return out;
}

// ---- the transfer thread --------------------------------------------------------

void* transfer_thread(void*) {
    Service& s = service();
    for (;;) {
        TransferRequest job;
        {
            std::unique_lock<std::mutex> lock(s.mu);
            s.cv.wait(lock, [&s] { return s.queued; });
            s.queued = false;
            job = s.job;
        }
        TransferResult r = perform(job);
        const int32_t error = r.error;
        TransferLateFn late_fn = nullptr;
        uint32_t channel = 0;
        {
            std::lock_guard<std::mutex> lock(s.mu);
            if (s.abort.load()) {
                // Aborted, even when it had just ended: nothing follows.
                NET_TRACE(TRACE_LEVEL_INFO, "transfer of %s aborted\n", shown(job.url).c_str());
                s.phase = Phase::Idle;
            } else if (s.late) {
                if (error == 0 && job.kind != TransferKind::Mail) {
                    s.kept = true;
                    s.kept_kind = job.kind;
                    s.kept_result = std::move(r);
                }
                late_fn = s.late_fn;
                channel = s.channel;
                s.phase = Phase::Idle;
            } else {
                s.result = std::move(r);
                s.phase = Phase::Finished;
            }
            if (error == 0 && !s.abort.load()) {
                ++s.done[index_of(job.kind)];
            }
        }
        s.cv.notify_all();
        // Outside the lock: raising an event may wait for the message loop.
        if (late_fn != nullptr) {
            late_fn(job.kind, error, channel);
        }
    }
    return nullptr;
}

bool start(Service& s) {
    if (!s.started) {
        if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK ||
            osa_pthread_create("net_transfer", 0, 0, transfer_thread, nullptr) == 0) {
            NET_TRACE(TRACE_LEVEL_ERROR, "transfers: no transfer thread\n");
            return false;
        }
        s.started = true;
    }
    return true;
}

}  // namespace

TransferStart net_transfer_run(const TransferRequest& request, uint32_t wait_ms, uint32_t channel,
                               TransferLateFn late, TransferResult* out) {
    Service& s = service();
    std::unique_lock<std::mutex> lock(s.mu);
    if (s.phase != Phase::Idle) {
        return TransferStart::Busy;
    }
    if (!start(s)) {
        out->error = TRANSFER_ERR_FAILED;
        return TransferStart::Finished;
    }
    s.kept = false;
    s.kept_result = TransferResult{};
    s.job = request;
    s.channel = channel;
    s.late_fn = late;
    s.late = false;
    s.abort.store(false);
    s.phase = Phase::Running;
    s.queued = true;
    s.cv.notify_all();
    if (!s.cv.wait_for(lock, std::chrono::milliseconds(wait_ms),
                       [&s] { return s.phase == Phase::Finished; })) {
        s.late = true;
        NET_TRACE(TRACE_LEVEL_INFO, "transfer of %s goes on; its result comes late\n",
                  shown(request.url).c_str());
        return TransferStart::Late;
    }
    *out = std::move(s.result);
    s.phase = Phase::Idle;
    return TransferStart::Finished;
}

bool net_transfer_take(TransferKind kind, TransferResult* out) {
    Service& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (!s.kept || s.kept_kind != kind) {
        return false;
    }
    s.kept = false;
    *out = std::move(s.kept_result);
    s.kept_result = TransferResult{};
    return true;
}

bool net_transfer_abort() {
    Service& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    if (s.phase != Phase::Running) {
        return false;
    }
    NET_TRACE(TRACE_LEVEL_INFO, "abort: the transfer of %s ends\n", shown(s.job.url).c_str());
    s.abort.store(true);
    return true;
}

uint32_t net_transfer_count(TransferKind kind) {
    Service& s = service();
    std::lock_guard<std::mutex> lock(s.mu);
    return s.done[index_of(kind)];
}
