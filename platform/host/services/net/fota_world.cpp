// The update service's world of a real update server: detection, download, installation.
#include "fota_world.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>

#include "fota_server.h"
#include "host_env.h"
#include "osa.h"
#include "services/sim_online_update.h"
#include "tandrel_trace.h"

namespace {

// Files of the run directory. The package grows in kPackageFile; an
// installation moves it into the firmware slot not in use, then names that
// slot in kInstalledFile (the commit). kTargetFile keeps the update on
// offer across a restart.
constexpr char kTargetFile[] = "fota-target";
constexpr char kPackageFile[] = "fota-package.part";
constexpr char kInstalledFile[] = "fota-installed";
constexpr const char* kSlotFile[2] = {"fota-firmware-a", "fota-firmware-b"};
constexpr char kManifestName[] = "manifest";
constexpr char kFactoryVersion[] = "V1.0.0";

constexpr uint32_t kReportStepPercent = 10;
// Resumes of a broken transfer after its last byte, one a second; the next
// break fails the download.
constexpr int kResumeAttempts = 5;
constexpr int kResumeDelayMs = 1000;

#define WORLD_TRACE(level, ...) TANDREL_TRACE_TAG("host", level, __VA_ARGS__)

using Lock = std::unique_lock<std::mutex>;

// Touched by the worker only, once fota_world_start has run.
struct World {
    char base[kFotaUrlSize] = {};
    char ca_file[kFotaUrlSize] = {};
    char own[FOTA_VERSION_SIZE] = {};  // the module's version
    int slot = -1;                     // firmware slot in use; -1 the factory's
    bool has_target = false;
    FotaManifest target{};
};

World& world() {
    static World* w = new World();
    return *w;
}


bool run_path(const char* name, char* out) {
    return host_run_path(name, out, PATH_MAX);
}

bool save_manifest(const char* name, const FotaManifest& m) {
    char text[kFotaManifestMax];
    const size_t n = fota_manifest_format(m, text, sizeof text);
    return n > 0 && host_replace_run_file(name, text, n, 0644);
}

bool load_manifest(const char* name, bool digest_optional, FotaManifest* m) {
    char path[PATH_MAX];
    char text[kFotaManifestMax];
    if (!run_path(name, path)) {
        return false;
    }
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const ssize_t n = read(fd, text, sizeof text);
    close(fd);
    return n > 0 && fota_manifest_parse(text, static_cast<size_t>(n), digest_optional, m) == 0;
}

void remove_file(const char* name) {
    char path[PATH_MAX];
    if (run_path(name, path)) {
        unlink(path);
    }
}

uint64_t package_on_hand() {
    char path[PATH_MAX];
    struct stat st {};
    return run_path(kPackageFile, path) && stat(path, &st) == 0 ? static_cast<uint64_t>(st.st_size)
                                                                : 0;
}

uint32_t percent_of(uint64_t have, uint32_t size) {
    return size == 0 ? 0 : static_cast<uint32_t>(have * 100 / size);
}

const char* last_component(const char* path) {
    const char* slash = strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

// With the lock held: the world's target becomes what the service offers.
void offer(FotaSim& s, const FotaManifest& m) {
    fota_copy_text(s.version, sizeof s.version, m.version);
    fota_copy_text(s.description, sizeof s.description, m.description);
    fota_copy_text(s.offered_package, sizeof s.offered_package, last_component(m.package));
    s.offered_size = m.size;
}

// With the lock held: the phase that what is on hand allows, outside a
// running phase.
void settle(FotaSim& s) {
    const World& w = world();
    s.downloaded = w.has_target ? package_on_hand() : 0;
    s.percent = w.has_target ? percent_of(s.downloaded, w.target.size) : 0;
    if (s.downloaded > 0) {
        fota_copy_text(s.package, sizeof s.package, s.offered_package);
        s.package_size = w.target.size;
    }
    if (!w.has_target) {
        s.phase = FotaPhase::Idle;
    } else if (w.target.size != 0 && s.downloaded == w.target.size) {
        s.phase = FotaPhase::Downloaded;
    } else {
        s.phase = FotaPhase::Found;
    }
}

void forget_target(FotaSim& s) {
    World& w = world();
    remove_file(kTargetFile);
    remove_file(kPackageFile);
    w.has_target = false;
    s.version[0] = '\0';
    s.offered_size = 0;
    s.offered_package[0] = '\0';
    s.package[0] = '\0';
    s.package_size = 0;
}

FotaServerConfig config(const FotaSim& s) {
    const World& w = world();
    FotaServerConfig cfg{};
    fota_copy_text(cfg.base, sizeof cfg.base, w.base);
    fota_copy_text(cfg.ca_file, sizeof cfg.ca_file, w.ca_file);
    cfg.auth_type = s.connect.auth_type;
    fota_copy_text(cfg.user, sizeof cfg.user, s.connect.user);
    fota_copy_text(cfg.password, sizeof cfg.password, s.connect.password);
    return cfg;
}

// ---- detection --------------------------------------------------------------

struct ManifestText {
    char text[kFotaManifestMax];
    size_t len = 0;
};

bool manifest_data(void* ctx, uint64_t offset, const char* bytes, size_t n, int64_t) {
    ManifestText& m = *static_cast<ManifestText*>(ctx);
    if (offset + n > sizeof m.text) {
        return false;
    }
    memcpy(m.text + offset, bytes, n);
    m.len = static_cast<size_t>(offset + n);
    return true;
}

bool always(void*) {
    return true;
}

int32_t fetch_manifest(const FotaServerConfig& cfg, FotaManifest* m) {
    char url[kFotaUrlSize];
    if (!fota_url(cfg, kManifestName, url, sizeof url)) {
        return kFotaNoServer;
    }
    ManifestText text;
    const FotaSink sink{manifest_data, always, &text};
    const FotaTransferResult r = fota_transfer(cfg, url, 0, sink);
    if (r.end == FotaTransferEnd::Stopped) {
        return kFotaBadManifest;  // too long to be one
    }
    if (r.end != FotaTransferEnd::Done) {
        return r.failure;
    }
    return fota_manifest_parse(text.text, text.len, false, m);
}

bool same_package(const FotaManifest& a, const FotaManifest& b) {
    return strcmp(a.version, b.version) == 0 && strcmp(a.package, b.package) == 0 &&
           a.size == b.size && a.has_digest == b.has_digest &&
           memcmp(a.sha256, b.sha256, sizeof a.sha256) == 0;
}

void detect(FotaSim& s, Lock& lock) {
    const FotaServerConfig cfg = config(s);
    lock.unlock();
    FotaManifest m{};
    const int32_t failure = fetch_manifest(cfg, &m);
    lock.lock();
    World& w = world();
    if (failure != 0) {
        WORLD_TRACE(TRACE_LEVEL_ERROR, "update service: detection failed (%d)\n", failure);
        settle(s);
        fota_raise_pair(s, kFotaStateDetectFailed, failure);
        return;
    }
    if (strcmp(m.version, w.own) == 0) {
        forget_target(s);
        settle(s);
        fota_raise_state(s, SIM_FOTA_STATE_NONE);
        return;
    }
    if (!w.has_target || !same_package(m, w.target)) {
        // Another package than the one on hand: start it afresh.
        remove_file(kPackageFile);
        w.target = m;
        w.has_target = true;
        if (!save_manifest(kTargetFile, m)) {
            WORLD_TRACE(TRACE_LEVEL_ERROR, "update service: %s not written\n", kTargetFile);
        }
    }
    offer(s, m);
    settle(s);
    fota_raise_state(s, SIM_FOTA_STATE_FOUND);
    if (s.phase == FotaPhase::Found && (s.download_when_found || s.mode.download_mode == 1)) {
        fota_start_download(s, s.offered_package, s.offered_size);
    }
}

// ---- download ---------------------------------------------------------------

struct Transfer {
    FotaSim* s;
    int fd;
    uint32_t epoch;
    uint64_t have;
    uint32_t size;    // 0 until known (a package named directly)
    uint32_t step;    // the last percentage reported
    int32_t failure;  // found by the sink
};

// With the lock held: one report per step reached, however the bytes came.
void report_steps(FotaSim& s, Transfer& t, uint32_t percent) {
    while (t.step + kReportStepPercent <= percent) {
        t.step += kReportStepPercent;
        fota_raise_state(s, SIM_FOTA_STATE_DOWNLOADING, t.step);
    }
}

bool package_data(void* ctx, uint64_t offset, const char* bytes, size_t n, int64_t total) {
    Transfer& t = *static_cast<Transfer*>(ctx);
    FotaSim& s = *t.s;
    {
        std::lock_guard<std::mutex> lock(s.mu);
        if (s.download_epoch != t.epoch) {
            return false;
        }
        if (t.size == 0 && total > 0 && total <= 0x7FFFFFFF) {
            t.size = static_cast<uint32_t>(total);
            s.package_size = t.size;
        }
        if (t.size != 0 && ((total >= 0 && total != t.size) || offset + n > t.size)) {
            t.failure = kFotaSizeMismatch;
            return false;
        }
    }
    // A server that ignored the range starts the package again.
    if ((offset != t.have && ftruncate(t.fd, static_cast<off_t>(offset)) != 0) ||
        !host_write_all(t.fd, bytes, n, static_cast<off_t>(offset))) {
        t.failure = kFotaStorage;
        return false;
    }
    t.have = offset + n;
    {
        std::lock_guard<std::mutex> lock(s.mu);
        s.downloaded = t.have;
        s.percent = percent_of(t.have, t.size);
        report_steps(s, t, s.percent);
    }
    fota_flush(s);
    return true;
}

bool package_wanted(void* ctx) {
    Transfer& t = *static_cast<Transfer*>(ctx);
    fota_flush(*t.s);
    std::lock_guard<std::mutex> lock(t.s->mu);
    return t.s->download_epoch == t.epoch;
}

// With the lock held: ^FOTAOEMDL's package becomes the target, with what
// can be known of it before the server answers.
void take_named_package(FotaSim& s) {
    World& w = world();
    FotaManifest m{};
    fota_copy_text(m.package, sizeof m.package, s.oem_package);
    fota_copy_text(m.version, sizeof m.version, last_component(s.oem_package));
    for (char* c = m.version; *c != '\0'; ++c) {
        *c = *c == ',' ? '_' : *c;
    }
    s.oem_package[0] = '\0';
    remove_file(kPackageFile);
    w.target = m;
    w.has_target = true;
    save_manifest(kTargetFile, m);
    offer(s, m);
}

// With the lock held. Returns with the lock held; returns early when the
// download is paused, cancelled or started again meanwhile.
void download(FotaSim& s, Lock& lock) {
    World& w = world();
    const uint32_t epoch = s.download_epoch;
    if (s.oem_package[0] != '\0') {
        take_named_package(s);
    }
    const FotaServerConfig cfg = config(s);
    char url[kFotaUrlSize];
    char path[PATH_MAX];
    int32_t failure = 0;
    int fd = -1;
    if (!w.has_target || !fota_url(cfg, w.target.package, url, sizeof url)) {
        failure = kFotaNoServer;
    } else if (!run_path(kPackageFile, path) ||
               (fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0644)) < 0) {
        failure = kFotaStorage;
    }
    Transfer t{&s, fd, epoch, package_on_hand(), w.target.size, 0, 0};
    if (t.size != 0 && t.have > t.size) {
        t.have = 0;
        failure = failure != 0 || ftruncate(fd, 0) == 0 ? failure : kFotaStorage;
    }
    s.downloaded = t.have;
    s.package_size = t.size;
    s.percent = percent_of(t.have, t.size);
    t.step = s.percent / kReportStepPercent * kReportStepPercent;
    const FotaSink sink{package_data, package_wanted, &t};
    for (int attempts = 0; failure == 0 && (t.size == 0 || t.have < t.size);) {
        const uint64_t before = t.have;
        lock.unlock();
        const FotaTransferResult r = fota_transfer(cfg, url, t.have, sink);
        lock.lock();
        if (s.download_epoch != epoch) {
            close(fd);
            return;
        }
        if (t.failure != 0 || r.end == FotaTransferEnd::Failed) {
            failure = t.failure != 0 ? t.failure : r.failure;
            break;
        }
        if (r.end == FotaTransferEnd::Done && t.size == 0) {
            t.size = static_cast<uint32_t>(t.have);  // the server never said: all it sent
            break;
        }
        if (r.end == FotaTransferEnd::Done && t.have == t.size) {
            break;
        }
        // Broken, or ended short: resume from what is on disk.
        attempts = t.have > before ? 1 : attempts + 1;
        if (attempts > kResumeAttempts) {
            failure = kFotaInterrupted;
            break;
        }
        WORLD_TRACE(TRACE_LEVEL_INFO, "update service: transfer broke off at %llu, resume %d\n",
                    static_cast<unsigned long long>(t.have), attempts);
        const auto until =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(kResumeDelayMs);
        while (s.download_epoch == epoch && std::chrono::steady_clock::now() < until) {
            lock.unlock();
            fota_flush(s);
            fota_server_sleep(static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(
                                                   until - std::chrono::steady_clock::now())
                                                   .count()));
            lock.lock();
        }
        if (s.download_epoch != epoch) {
            close(fd);
            return;
        }
    }
    if (fd >= 0) {
        close(fd);
    }
    if (failure != 0) {
        WORLD_TRACE(TRACE_LEVEL_ERROR, "update service: download failed (%d)\n", failure);
        if (failure == kFotaSizeMismatch) {
            remove_file(kPackageFile);
        }
        settle(s);
        fota_raise_pair(s, static_cast<int32_t>(SIM_FOTA_STATE_DOWNLOADED), failure);
        return;
    }
    if (w.target.size != t.size) {
        w.target.size = t.size;  // now known: a restart finds the package complete
        save_manifest(kTargetFile, w.target);
    }
    s.package_size = t.size;
    s.offered_size = t.size;
    s.downloaded = t.size;
    s.percent = 100;
    report_steps(s, t, 100);
    s.phase = FotaPhase::Downloaded;
    fota_raise_pair(s, static_cast<int32_t>(SIM_FOTA_STATE_DOWNLOADED), 0);
    if (s.mode.update_mode == 1) {
        s.phase = FotaPhase::Installing;
    }
}

// ---- installation -----------------------------------------------------------

// The package on hand against what was offered: its size and, when the
// offer gives one, its SHA-256. Fills the digest the installed record keeps.
int32_t verify(FotaManifest& m) {
    char path[PATH_MAX];
    const int fd = run_path(kPackageFile, path) ? open(path, O_RDONLY | O_CLOEXEC) : -1;
    struct stat st {};
    if (fd < 0 || fstat(fd, &st) != 0) {
        if (fd >= 0) {
            close(fd);
        }
        return kFotaStorage;
    }
    uint8_t digest[kFotaDigestSize] = {};
    int32_t failure = 0;
    if (static_cast<uint64_t>(st.st_size) != m.size) {
        failure = kFotaSizeMismatch;
    } else if (!fota_file_sha256(fd, digest)) {
        failure = kFotaStorage;
    } else if (m.has_digest && memcmp(digest, m.sha256, sizeof digest) != 0) {
        failure = kFotaDigestMismatch;
    }
    close(fd);
    memcpy(m.sha256, digest, sizeof digest);
    m.has_digest = true;
    return failure;
}

// The package becomes the firmware of the slot not in use; the installed
// record, renamed into place last, switches the module to it. A stop at any
// point leaves the record naming the old slot and version, or the new ones.
int32_t commit(const FotaManifest& verified, int slot) {
    char from[PATH_MAX];
    char to[PATH_MAX];
    if (!run_path(kPackageFile, from) || !run_path(kSlotFile[slot], to) || rename(from, to) != 0) {
        return kFotaStorage;
    }
    host_sync_run_dir();
    FotaManifest record = verified;
    fota_copy_text(record.package, sizeof record.package, kSlotFile[slot]);
    return save_manifest(kInstalledFile, record) ? 0 : kFotaStorage;
}

void install(FotaSim& s, Lock& lock) {
    World& w = world();
    FotaManifest m = w.target;
    const int slot = w.slot == 0 ? 1 : 0;
    lock.unlock();
    int32_t failure = verify(m);
    lock.lock();
    if (failure == 0) {
        fota_raise_state(s, SIM_FOTA_STATE_INSTALLING, 50);
        lock.unlock();
        fota_flush(s);
        failure = commit(m, slot);
        lock.lock();
    }
    if (failure != 0) {
        WORLD_TRACE(TRACE_LEVEL_ERROR, "update service: installation failed (%d)\n", failure);
        // Not the package offered, or not where it can be installed: it goes.
        remove_file(kPackageFile);
        settle(s);
        fota_raise_pair(s, kFotaStateInstallFailed, failure);
        return;
    }
    fota_copy_text(w.own, sizeof w.own, m.version);
    w.slot = slot;
    fota_raise_state(s, SIM_FOTA_STATE_INSTALLING, 100);
    fota_raise_state(s, SIM_FOTA_STATE_INSTALLED);
    forget_target(s);
    settle(s);
}

}  // namespace

bool fota_world_start(FotaSim& s) {
    if (!fota_server_init()) {
        WORLD_TRACE(TRACE_LEVEL_ERROR, "update service: no transfers possible, scripted world\n");
        return false;
    }
    World& w = world();
    const char* base = getenv("TANDREL_SIM_FOTA_SERVER");
    const char* ca = getenv("TANDREL_SIM_FOTA_CA");
    fota_copy_text(w.base, sizeof w.base, base != nullptr ? base : "");
    fota_copy_text(w.ca_file, sizeof w.ca_file, ca != nullptr ? ca : "");
    FotaManifest installed{};
    if (load_manifest(kInstalledFile, false, &installed)) {
        fota_copy_text(w.own, sizeof w.own, installed.version);
        w.slot = strcmp(installed.package, kSlotFile[1]) == 0 ? 1 : 0;
    } else {
        const char* own = getenv("TANDREL_SIM_FOTA_OWN_VERSION");
        fota_copy_text(w.own, sizeof w.own, own != nullptr && own[0] != '\0' ? own : kFactoryVersion);
    }
    w.has_target = load_manifest(kTargetFile, true, &w.target);
    if (w.has_target && strcmp(w.target.version, w.own) == 0) {
        forget_target(s);  // installed before the last stop
    }
    if (w.has_target) {
        offer(s, w.target);
    }
    settle(s);
    s.wake_world = fota_server_wake;
    WORLD_TRACE(TRACE_LEVEL_INFO, "update service: version %s, server \"%s\"%s\n", w.own, w.base,
                w.has_target ? ", an update on hand" : "");
    return true;
}

void* fota_world_worker(void*) {
    FotaSim& s = fota_sim();
    for (;;) {
        fota_flush(s);
        Lock lock(s.mu);
        if (s.discard) {
            s.discard = false;
            remove_file(kPackageFile);
        }
        switch (s.phase) {
            case FotaPhase::Detecting:
                detect(s, lock);
                continue;
            case FotaPhase::Downloading:
                download(s, lock);
                continue;
            case FotaPhase::Installing:
                install(s, lock);
                continue;
            default:
                break;
        }
        if (!s.outbox.empty()) {
            continue;
        }
        if (s.mode.detect_mode != 1) {
            s.cv.wait(lock);
        } else if (std::chrono::steady_clock::now() < s.next_detect) {
            s.cv.wait_until(lock, s.next_detect);
        } else {
            s.next_detect =
                std::chrono::steady_clock::now() + std::chrono::minutes(s.mode.detect_interval);
            fota_start_detection(s, false);
        }
    }
    return nullptr;
}
