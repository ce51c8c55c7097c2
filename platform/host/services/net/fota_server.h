// The update server as the host's update service reaches it: manifests, transfers, digests.
#pragma once

#include <cstddef>
#include <cstdint>

#include "online_update.h"

// Why a detection, download or installation failed: the number reported
// with states 11, 30 and 81.
enum FotaFailure : int32_t {
    kFotaNoServer = 1,        // no server configured, or not an http(s) URL
    kFotaUnreachable = 2,     // no connection, or it broke off
    kFotaTls = 3,             // the secure connection failed (certificate not trusted ...)
    kFotaHttpStatus = 4,      // the server answered with an HTTP error
    kFotaBadManifest = 5,     // the manifest is not readable as documented
    kFotaInterrupted = 6,     // the transfer broke off and could not be resumed
    kFotaSizeMismatch = 7,    // the package is not of the size the manifest gives
    kFotaDigestMismatch = 8,  // the package's SHA-256 is not the manifest's
    kFotaStorage = 9,         // the run directory refused a file
};

inline constexpr size_t kFotaUrlSize = 512;
inline constexpr size_t kFotaManifestMax = 8192;
inline constexpr size_t kFotaDigestSize = 32;

// An update on offer: what a manifest says, or what ^FOTAOEMDL names
// (no digest, size 0 until the server tells it).
struct FotaManifest {
    char version[FOTA_VERSION_SIZE];
    char description[FOTA_DESCRIPTION_SIZE];
    char package[FOTA_OEM_ARG_SIZE];  // a name under the base URL, or a whole URL
    uint32_t size;
    bool has_digest;
    uint8_t sha256[kFotaDigestSize];
};

// Reads "key=value" lines (LF or CR LF; blank lines and lines starting with
// '#' skipped; unknown keys ignored). version, package, size and sha256 are
// required unless `digest_optional` (then size may be 0 as well); each key
// at most once. Returns 0 or kFotaBadManifest.
int32_t fota_manifest_parse(const char* text, size_t len, bool digest_optional, FotaManifest* m);
// Writes m in the form fota_manifest_parse reads; the length, or 0 when it
// does not fit.
size_t fota_manifest_format(const FotaManifest& m, char* out, size_t size);

// Where and how the server is reached.
struct FotaServerConfig {
    char base[kFotaUrlSize];     // http:// or https:// base URL
    char ca_file[kFotaUrlSize];  // CA certificates to trust; empty: the system's
    uint32_t auth_type;          // 0 none, 1 basic, 2 digest
    char user[FOTA_USER_SIZE];
    char password[FOTA_PASSWORD_SIZE];
};

// The URL of `name` under the base URL (a whole http(s) URL stays as it is).
// False when it does not fit or there is no http(s) base.
bool fota_url(const FotaServerConfig& cfg, const char* name, char* out, size_t size);

// Where a transfer's bytes go. `data` gets each block with its offset in the
// package and the package's size as the server gives it (-1 unknown);
// false stops the transfer. `keep_going` is asked between blocks and when
// the transfer is woken; false stops it.
struct FotaSink {
    bool (*data)(void* ctx, uint64_t offset, const char* bytes, size_t n, int64_t total);
    bool (*keep_going)(void* ctx);
    void* ctx;
};

enum class FotaTransferEnd { Done, Stopped, Broken, Failed };
struct FotaTransferResult {
    FotaTransferEnd end;
    int32_t failure;  // Broken and Failed: a FotaFailure
};

// Starts the transfer machinery: once, before any other call below.
bool fota_server_init();
// GETs `url` from byte `from` on (a range request when from > 0), on the
// calling thread, until it ends, breaks off or the sink stops it.
FotaTransferResult fota_transfer(const FotaServerConfig& cfg, const char* url, uint64_t from,
                                 const FotaSink& sink);
// Waits `ms` milliseconds unless woken.
void fota_server_sleep(int ms);
// Wakes a transfer or a sleep under way, from any thread.
void fota_server_wake();

// SHA-256 of the whole file open as fd. False when it cannot be read.
bool fota_file_sha256(int fd, uint8_t out[kFotaDigestSize]);
