// The update server as the host's update service reaches it: manifests, transfers, digests.
#include "fota_server.h"

#include <curl/curl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "hex_digit.h"
#include "osa.h"

namespace {

constexpr long kConnectTimeoutS = 10;
// A transfer that brings less than a byte a second for this long has broken off.
constexpr long kStallS = 20;
constexpr int kPollMs = 500;

bool has_prefix(const char* s, const char* prefix) {
    return strncmp(s, prefix, strlen(prefix)) == 0;
}

bool web_url(const char* s) {
    return has_prefix(s, "http://") || has_prefix(s, "https://");
}

bool parse_digest(const char* v, size_t n, uint8_t out[kFotaDigestSize]) {
    if (n != 2 * kFotaDigestSize) {
        return false;
    }
    for (size_t i = 0; i < kFotaDigestSize; ++i) {
        const int hi = hex_digit_value(v[2 * i]);
        const int lo = hex_digit_value(v[2 * i + 1]);
        if (hi < 0 || lo < 0) {
            return false;
        }
        out[i] = static_cast<uint8_t>(hi * 16 + lo);
    }
    return true;
}

// Sizes are reported with %d: at most 2^31 - 1.
bool parse_size(const char* v, size_t n, uint32_t* out) {
    if (n == 0 || n > 10) {
        return false;
    }
    uint64_t x = 0;
    for (size_t i = 0; i < n; ++i) {
        if (v[i] < '0' || v[i] > '9') {
            return false;
        }
        x = x * 10 + static_cast<uint64_t>(v[i] - '0');
    }
    if (x > 0x7FFFFFFF) {
        return false;
    }
    *out = static_cast<uint32_t>(x);
    return true;
}

// A text value that fits its field and holds no control character; a
// version is printed between commas in state 12, so it holds none.
bool take_text(const char* v, size_t n, char* out, size_t size, bool no_comma) {
    if (n >= size) {
        return false;
    }
    for (size_t i = 0; i < n; ++i) {
        if (static_cast<unsigned char>(v[i]) < 0x20 || v[i] == 0x7F || (no_comma && v[i] == ',')) {
            return false;
        }
    }
    memcpy(out, v, n);
    out[n] = '\0';
    return true;
}

std::atomic<CURLM*> g_multi{nullptr};

struct Call {
    const FotaSink* sink;
    CURL* easy;
    uint64_t from;
    uint64_t base = 0;    // offset of the response's first byte
    uint64_t offset = 0;  // of the next byte received
    bool started = false;
    bool sink_stopped = false;
};

size_t on_body(char* bytes, size_t size, size_t nmemb, void* userdata) {
    Call& c = *static_cast<Call*>(userdata);
    const size_t n = size * nmemb;
    int64_t total = -1;
    if (!c.started) {
        // A server that ignores the range sends the package from its start.
        long status = 0;
        curl_easy_getinfo(c.easy, CURLINFO_RESPONSE_CODE, &status);
        c.base = status == 206 ? c.from : 0;
        c.offset = c.base;
        c.started = true;
    }
    curl_off_t length = -1;
    if (curl_easy_getinfo(c.easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length) == CURLE_OK &&
        length >= 0) {
        total = static_cast<int64_t>(c.base) + length;
    }
    if (!c.sink->data(c.sink->ctx, c.offset, bytes, n, total)) {
        c.sink_stopped = true;
        return 0;
    }
    c.offset += n;
    return n;
}

FotaTransferResult classify(CURLcode rc) {
    switch (rc) {
        case CURLE_OK:
            return {FotaTransferEnd::Done, 0};
        case CURLE_HTTP_RETURNED_ERROR:
            return {FotaTransferEnd::Failed, kFotaHttpStatus};
        case CURLE_UNSUPPORTED_PROTOCOL:
        case CURLE_URL_MALFORMAT:
            return {FotaTransferEnd::Failed, kFotaNoServer};
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_USE_SSL_FAILED:
            return {FotaTransferEnd::Failed, kFotaTls};
        default:
            return {FotaTransferEnd::Broken, kFotaUnreachable};
    }
}

void set_common(CURL* e, const FotaServerConfig& cfg, const char* url) {
    curl_easy_setopt(e, CURLOPT_URL, url);
    curl_easy_setopt(e, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(e, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(e, CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(e, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(e, CURLOPT_MAXREDIRS, 5L);
    curl_easy_setopt(e, CURLOPT_CONNECTTIMEOUT, kConnectTimeoutS);
    curl_easy_setopt(e, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(e, CURLOPT_LOW_SPEED_TIME, kStallS);
    if (cfg.ca_file[0] != '\0') {
        curl_easy_setopt(e, CURLOPT_CAINFO, cfg.ca_file);
    }
    // ^FOTACFG's user name and password, when it names one, are the
    // server's credentials; its authentication type picks the scheme.
    if (cfg.user[0] != '\0' && cfg.auth_type != 0) {
        curl_easy_setopt(e, CURLOPT_HTTPAUTH,
                         cfg.auth_type == 2 ? CURLAUTH_DIGEST : CURLAUTH_BASIC);
        curl_easy_setopt(e, CURLOPT_USERNAME, cfg.user);
        curl_easy_setopt(e, CURLOPT_PASSWORD, cfg.password);
    }
}

}  // namespace

int32_t fota_manifest_parse(const char* text, size_t len, bool digest_optional, FotaManifest* m) {
    if (text == nullptr || m == nullptr) {
        return kFotaBadManifest;
    }
    *m = FotaManifest{};
    enum { kVersion = 1, kPackage = 2, kSize = 4, kDigest = 8, kDescription = 16 };
    unsigned seen = 0;
    size_t pos = 0;
    while (pos < len) {
        const char* nl = static_cast<const char*>(memchr(text + pos, '\n', len - pos));
        const size_t end = nl != nullptr ? static_cast<size_t>(nl - text) : len;
        const char* line = text + pos;
        size_t n = end - pos;
        pos = end + 1;
        if (n > 0 && line[n - 1] == '\r') {
            --n;
        }
        if (n == 0 || line[0] == '#') {
            continue;
        }
        const char* eq = static_cast<const char*>(memchr(line, '=', n));
        if (eq == nullptr) {
            return kFotaBadManifest;
        }
        const size_t klen = static_cast<size_t>(eq - line);
        const char* v = eq + 1;
        const size_t vlen = n - klen - 1;
        const auto key = [&](const char* k) {
            return klen == strlen(k) && memcmp(line, k, klen) == 0;
        };
        unsigned bit = 0;
        bool ok = true;
        if (key("version")) {
            bit = kVersion;
            ok = vlen > 0 && take_text(v, vlen, m->version, sizeof m->version, true);
        } else if (key("package")) {
            bit = kPackage;
            ok = vlen > 0 && take_text(v, vlen, m->package, sizeof m->package, false);
        } else if (key("size")) {
            bit = kSize;
            ok = parse_size(v, vlen, &m->size);
        } else if (key("sha256")) {
            bit = kDigest;
            ok = parse_digest(v, vlen, m->sha256);
            m->has_digest = ok;
        } else if (key("description")) {
            bit = kDescription;
            ok = take_text(v, vlen, m->description, sizeof m->description, false);
        }
        if (!ok || (seen & bit) != 0) {
            return kFotaBadManifest;
        }
        seen |= bit;
    }
    const unsigned needed =
        digest_optional ? kVersion | kPackage : kVersion | kPackage | kSize | kDigest;
    if ((seen & needed) != needed || (!digest_optional && m->size == 0)) {
        return kFotaBadManifest;
    }
    return 0;
}

size_t fota_manifest_format(const FotaManifest& m, char* out, size_t size) {
    char digest[2 * kFotaDigestSize + 1] = {};
    for (size_t i = 0; m.has_digest && i < kFotaDigestSize; ++i) {
        (void)snprintf(digest + 2 * i, 3, "%02x", m.sha256[i]);
    }
    const int n = snprintf(out, size, "version=%s\npackage=%s\nsize=%u\n%s%s%sdescription=%s\n",
                           m.version, m.package, m.size, m.has_digest ? "sha256=" : "", digest,
                           m.has_digest ? "\n" : "", m.description);
    return n > 0 && static_cast<size_t>(n) < size ? static_cast<size_t>(n) : 0;
}

bool fota_url(const FotaServerConfig& cfg, const char* name, char* out, size_t size) {
    int n = 0;
    if (web_url(name)) {
        n = snprintf(out, size, "%s", name);
    } else if (web_url(cfg.base)) {
        const size_t blen = strlen(cfg.base);
        const bool slash = blen > 0 && cfg.base[blen - 1] == '/';
        n = snprintf(out, size, "%s%s%s", cfg.base, slash ? "" : "/", name);
    } else {
        return false;
    }
    return n > 0 && static_cast<size_t>(n) < size;
}

bool fota_server_init() {
    if (g_multi.load() != nullptr) {
        return true;
    }
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        return false;
    }
    g_multi.store(curl_multi_init());
    return g_multi.load() != nullptr;
}

FotaTransferResult fota_transfer(const FotaServerConfig& cfg, const char* url, uint64_t from,
                                 const FotaSink& sink) {
    CURLM* multi = g_multi.load();
    CURL* e = curl_easy_init();
    if (multi == nullptr || e == nullptr) {
        curl_easy_cleanup(e);
        return {FotaTransferEnd::Failed, kFotaStorage};
    }
    Call call{&sink, e, from};
    set_common(e, cfg, url);
    curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, on_body);
    curl_easy_setopt(e, CURLOPT_WRITEDATA, &call);
    if (from > 0) {
        char range[32];
        (void)snprintf(range, sizeof range, "%llu-", static_cast<unsigned long long>(from));
        curl_easy_setopt(e, CURLOPT_RANGE, range);
    }
    curl_multi_add_handle(multi, e);
    FotaTransferResult result{FotaTransferEnd::Stopped, 0};
    for (bool done = false; !done;) {
        int running = 0;
        if (curl_multi_perform(multi, &running) != CURLM_OK) {
            result = {FotaTransferEnd::Broken, kFotaUnreachable};
            break;
        }
        int left = 0;
        while (CURLMsg* msg = curl_multi_info_read(multi, &left)) {
            if (msg->msg == CURLMSG_DONE && msg->easy_handle == e) {
                done = true;
                result = call.sink_stopped ? FotaTransferResult{FotaTransferEnd::Stopped, 0}
                                           : classify(msg->data.result);
            }
        }
        if (done) {
            break;
        }
        if (!sink.keep_going(sink.ctx)) {
            break;
        }
        curl_multi_poll(multi, nullptr, 0, kPollMs, nullptr);
    }
    curl_multi_remove_handle(multi, e);
    curl_easy_cleanup(e);
    return result;
}

void fota_server_sleep(int ms) {
    if (CURLM* multi = g_multi.load()) {
        curl_multi_poll(multi, nullptr, 0, ms, nullptr);
    }
}

void fota_server_wake() {
    if (CURLM* multi = g_multi.load()) {
        curl_multi_wakeup(multi);
    }
}

bool fota_file_sha256(int fd, uint8_t out[kFotaDigestSize]) {
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    bool ok = ctx != nullptr && EVP_DigestInit_ex(ctx, EVP_sha256(), nullptr) == 1;
    char buf[16384];
    for (off_t at = 0; ok;) {
        const ssize_t n = pread(fd, buf, sizeof buf, at);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            ok = n == 0;
            break;
        }
        ok = EVP_DigestUpdate(ctx, buf, static_cast<size_t>(n)) == 1;
        at += n;
    }
    unsigned int len = 0;
    ok = ok && EVP_DigestFinal_ex(ctx, out, &len) == 1 && len == kFotaDigestSize;
    EVP_MD_CTX_free(ctx);
    return ok;
}
