// tandrel-flood: floods a running daemon with requests as its AT driver while another process posts
// events to its bus.
//
// usage: tandrel-flood --daemon PATH [--requests N] [--events N] [--warmup N]
//                      [--rss-slack-kb K] [--quiet-ms MS] [--keep]
//
// Plays the kernel AT driver on its own NETLINK_USERSOCK port, starts the
// daemon against it, and after a warm-up sends N requests as fast as the
// socket takes them, from one thread, while a child process posts N events
// (ready-made reports, event 58000) to the daemon's bus socket. Another
// thread receives. It then checks that
//   - every request is answered exactly once, except the ones the daemon
//     never answers, which get nothing;
//   - every answer carries the correlation number of its own request and the
//     answer its command gets (the same bytes every time);
//   - answers come back in the order their requests were sent, port by port;
//   - every report arrives exactly once;
//   - the daemon's resident memory after the flood is within K KiB (default
//     512) of what it was after the warm-up. The daemon frees everything a
//     request takes, but malloc may keep the top of an arena that the
//     backlog grew (at most about 1.5 MiB) until its next trim; a leak grows
//     with the count instead.
// Exits 0 when all of that holds, 1 otherwise, 2 on a usage error.
#include <fcntl.h>
#include <linux/netlink.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "driver_side.h"
#include "driver_wire.h"
#include "le_bytes.h"
#include "nl_channel.h"
#include "notify_send.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<uint8_t>;

constexpr size_t kNlHeader = NL_MSG_HEADER_SIZE;
constexpr size_t kRecordHeader = AT_RESPONSE_HEADER_SIZE;
constexpr uint32_t kReportPort = 55;
constexpr uint32_t kReportId = 58;

// One kind of request of the mix: where it is typed, what it asks, and what
// the daemon answers (nothing at all for a silent one; a fixed error number
// with an empty text; or a text, which must be the same every time).
struct Kind {
    uint32_t port;
    const char* command;
    uint32_t type;
    bool silent;
    std::optional<int32_t> retenum;  // absent: any, but always the same answer
};

const Kind kMix[] = {
    {0, "^WPQOS", 1, false, 20},      // not supported
    {3, "^NAVENABLE", 1, false, 20},  // no query handler
    {5, "^WPDOM", 1, false, 10},      // refused on port 5
    {54, "^NOSUCH", 0, false, 0},     // not in the table: the empty answer
    {55, "^TESTABORT", 0, true, {}},  // the abort of a test: never answered
    {6, "^WPDOM", 2, false, {}},      // test: the template's ranges
    {0, "^TESTABORT", 1, false, 0},   // not in the table
    {56, "^wpqos", 2, false, 20},     // any letter case
};
constexpr size_t kKinds = sizeof kMix / sizeof kMix[0];

struct Options {
    std::string daemon;
    uint64_t requests = 100000;
    std::optional<uint64_t> events;
    uint64_t warmup = 10000;
    uint64_t rss_slack_kb = 512;
    int quiet_ms = 10000;
    bool keep = false;
};

void usage(FILE* to) {
    std::fputs(
        "usage: tandrel-flood --daemon PATH [--requests N] [--events N] [--warmup N]\n"
        "                     [--rss-slack-kb K] [--quiet-ms MS] [--keep]\n"
        "Floods the daemon with N requests as its AT driver while another process posts\n"
        "N events (default N/10) to its bus; checks every answer, the order per port and\n"
        "the daemon's resident memory after the flood.\n",
        to);
}

std::optional<Options> parse_args(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const char* v = i + 1 < argc ? argv[i + 1] : nullptr;
        uint64_t n = 0;
        if (a == "--keep") {
            o.keep = true;
            continue;
        }
        if (v == nullptr) {
            return std::nullopt;
        }
        ++i;
        if (a == "--daemon") {
            o.daemon = v;
        } else if (a == "--requests" && bench::parse_u64(v, n) && n > 0 && n < UINT32_MAX) {
            o.requests = n;
        } else if (a == "--events" && bench::parse_u64(v, n) && n < UINT32_MAX) {
            o.events = n;
        } else if (a == "--warmup" && bench::parse_u64(v, n) && n < UINT32_MAX / 2) {
            o.warmup = n;
        } else if (a == "--rss-slack-kb" && bench::parse_u64(v, n)) {
            o.rss_slack_kb = n;
        } else if (a == "--quiet-ms" && bench::parse_u64(v, n) && n > 0 && n < 600000) {
            o.quiet_ms = static_cast<int>(n);
        } else {
            return std::nullopt;
        }
    }
    if (o.daemon.empty()) {
        return std::nullopt;
    }
    return o;
}

uint64_t resident_kb(pid_t pid) {
    return bench::status_kb(pid, "VmRSS:");
}

// Request i of the mix as a datagram: netlink header, NlDeviceEvent and the
// record up to its parameter list (no parameters).
Bytes request_datagram(uint64_t i) {
    const Kind& k = kMix[i % kKinds];
    constexpr uint32_t kLen = 84;
    Bytes record(kLen, 0);
    uint8_t* r = record.data();
    le_put_u32(r + 0, k.port);
    le_put_u32(r + 4, static_cast<uint32_t>(i + 1));  // m_magic: never 0, which marks reports
    le_put_u32(r + 8, k.type);
    std::memcpy(r + 13, k.command, std::strlen(k.command));
    return driver_wire::datagram(NL_DEVICE_AT, kLen, record);
}

// A ready-made report for event 58000: header and "\r\n^FLOOD: <n>\r\n".
Bytes report_record(uint64_t n) {
    const std::string text = "\r\n^FLOOD: " + std::to_string(n) + "\r\n";
    Bytes r(kRecordHeader, 0);
    le_put_u32(&r[0], kReportPort);
    le_put_u32(&r[12], kReportId);
    le_put_u32(&r[20], static_cast<uint32_t>(text.size()));
    r.insert(r.end(), text.begin(), text.end());
    return r;
}

// Posts `count` reports to the bus of dir, one after another; the exit status
// says whether the bus took every one.
[[noreturn]] void post_events(const std::string& dir, uint64_t first, uint64_t count, int go_fd) {
    char go = 0;
    if (read(go_fd, &go, 1) != 1) {
        _exit(3);
    }
    NotifyArgs args;
    args.run_dir = dir;
    args.event.module = 58;
    args.event.event = 58000;
    args.event.slot = NotifySlot::First;
    args.event.layout = NotifyLayout::PtrLen;
    // The bus opens its socket on its own thread, which may not have got
    // that far when the registration arrives.
    const auto socket_wait = Clock::now() + std::chrono::seconds(10);
    for (uint64_t n = first; n < first + count; ++n) {
        args.payload = report_record(n);
        std::string why;
        NotifySendResult r;
        while ((r = notify_send(args, 30000, &why)) == NotifySendResult::Unreachable &&
               n == first && Clock::now() < socket_wait) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        if (r != NotifySendResult::Queued) {
            std::fprintf(stderr, "tandrel-flood: event %" PRIu64 " not posted: %s\n", n,
                         why.c_str());
            _exit(1);
        }
    }
    _exit(0);
}

// What came back, checked as it arrives.
class Ledger {
  public:
    Ledger(uint64_t requests, uint64_t first_report, uint64_t reports)
        : answered_(static_cast<size_t>(requests) + 1, 0),
          first_report_(first_report),
          reports_seen_(static_cast<size_t>(reports), 0) {
        for (uint64_t i = 0; i < requests; ++i) {
            expected_answers_ += kMix[i % kKinds].silent ? 0 : 1;
        }
    }

    void take(const uint8_t* d, size_t n) {
        if (n < kNlHeader + kRecordHeader + 1 || le_get_u32(d) != n) {
            fail("datagram of " + std::to_string(n) + " bytes");
            return;
        }
        const uint8_t* r = d + kNlHeader;
        const size_t size = n - kNlHeader;
        const uint32_t port = le_get_u32(r + 0);
        const uint32_t magic = le_get_u32(r + 4);
        const auto retenum = static_cast<int32_t>(le_get_u32(r + 16));
        const uint32_t length = le_get_u32(r + 20);
        if (size != length + 25u) {
            fail("record of " + std::to_string(size) + " bytes with m_length " +
                 std::to_string(length));
            return;
        }
        const std::string text(reinterpret_cast<const char*>(r + kRecordHeader), length);
        if (magic == 0) {
            take_report(port, le_get_u32(r + 12), text);
            return;
        }
        if (magic >= answered_.size()) {
            fail("answer with unknown m_magic " + std::to_string(magic));
            return;
        }
        const uint64_t i = magic - 1;
        const Kind& k = kMix[i % kKinds];
        if (k.silent) {
            fail("an answer to the silent request " + std::to_string(magic));
        }
        if (answered_[magic]++ != 0) {
            fail("request " + std::to_string(magic) + " answered twice");
            return;
        }
        ++answers_;
        if (port != k.port) {
            fail("request " + std::to_string(magic) + " answered on port " + std::to_string(port));
        }
        if (last_magic_[port] >= magic) {
            fail("port " + std::to_string(port) + ": answer " + std::to_string(magic) + " after " +
                 std::to_string(last_magic_[port]));
        }
        last_magic_[port] = magic;
        if (k.retenum && (retenum != *k.retenum || length != 0)) {
            fail(std::string(k.command) + " answered " + std::to_string(retenum) + " with " +
                 std::to_string(length) + " bytes of text");
        }
        const std::string answer = std::to_string(retenum) + ":" + text;
        auto [it, fresh] = reference_.try_emplace(i % kKinds, answer);
        if (!fresh && it->second != answer) {
            fail(std::string(k.command) + " answered differently: " + answer);
        }
    }

    bool complete() const {
        return answers_ == expected_answers_ && reports_ == reports_seen_.size();
    }
    uint64_t answers() const { return answers_; }
    uint64_t expected_answers() const { return expected_answers_; }
    uint64_t reports() const { return reports_; }
    uint64_t failures() const { return failures_; }

    void fail(const std::string& what) {
        if (++failures_ <= 20) {
            std::fprintf(stderr, "tandrel-flood: %s\n", what.c_str());
        }
    }

  private:
    void take_report(uint32_t port, uint32_t id, const std::string& text) {
        constexpr char kPrefix[] = "\r\n^FLOOD: ";
        uint64_t n = 0;
        if (port != kReportPort || id != kReportId || text.rfind(kPrefix, 0) != 0 ||
            !bench::parse_u64(
                text.substr(sizeof kPrefix - 1, text.size() - (sizeof kPrefix - 1) - 2).c_str(),
                n) ||
            n < first_report_ || n - first_report_ >= reports_seen_.size()) {
            fail("unexpected report on port " + std::to_string(port));
            return;
        }
        if (reports_seen_[static_cast<size_t>(n - first_report_)]++ != 0) {
            fail("report " + std::to_string(n) + " arrived twice");
            return;
        }
        ++reports_;
    }

    std::vector<uint8_t> answered_;
    uint64_t expected_answers_ = 0;
    uint64_t answers_ = 0;
    uint64_t first_report_;
    std::vector<uint8_t> reports_seen_;
    uint64_t reports_ = 0;
    std::map<uint32_t, uint32_t> last_magic_;
    std::map<size_t, std::string> reference_;
    uint64_t failures_ = 0;
};

// Sends requests first .. first + count - 1; returns how many went out.
uint64_t send_all(int fd, uint32_t daemon, uint64_t first, uint64_t count,
                  std::atomic<bool>& stop) {
    uint64_t sent = 0;
    for (uint64_t i = first; i < first + count && !stop.load(); ++i, ++sent) {
        const Bytes m = request_datagram(i);
        while (driver_wire::send_to(fd, daemon, m) < 0) {
            // A full daemon socket blocks the send for at most the socket's
            // send time-out; then the receiving side may have given up.
            if (stop.load()) {
                return sent;
            }
            if (errno != EINTR && errno != EAGAIN && errno != ENOBUFS) {
                std::fprintf(stderr, "tandrel-flood: sendto: %s\n", std::strerror(errno));
                return sent;
            }
        }
    }
    return sent;
}

// What each of the daemon's threads is doing, for a failure report.
void show_threads(pid_t pid) {
    const std::string task = "/proc/" + std::to_string(pid) + "/task/";
    std::string cmd = "for t in " + task +
                      "*; do printf '%s ' \"$t\"; cut -d' ' -f3 \"$t/stat\" | tr '\\n' ' '; "
                      "cat \"$t/wchan\"; echo; done >&2";
    if (std::system(cmd.c_str()) != 0) {
        std::fprintf(stderr, "tandrel-flood: cannot list the daemon's threads\n");
    }
}

// Receives until the ledger is complete (then a little longer, for anything
// that should not come) or nothing arrives for quiet_ms. Returns when the
// ledger became complete, if it did.
std::optional<Clock::time_point> receive(int fd, Ledger& ledger, int quiet_ms) {
    Bytes buf(20000);
    std::optional<Clock::time_point> completed;
    std::optional<Clock::time_point> settle;
    for (;;) {
        int wait = quiet_ms;
        if (settle) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(*settle - Clock::now());
            if (left.count() <= 0) {
                return completed;
            }
            wait = static_cast<int>(left.count());
        }
        pollfd p{fd, POLLIN, 0};
        const int ready = poll(&p, 1, wait);
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready <= 0) {
            return completed;
        }
        const ssize_t n = recv(fd, buf.data(), buf.size(), 0);
        if (n < 0) {
            if (errno == ENOBUFS) {
                ledger.fail("the driver's socket overran: answers lost here, not by the daemon");
            }
            continue;
        }
        ledger.take(buf.data(), static_cast<size_t>(n));
        if (!settle && ledger.complete()) {
            completed = Clock::now();
            settle = *completed + std::chrono::milliseconds(300);
        }
    }
}

// Sends `count` requests and receives their answers, with `events` reports
// posted by a child process at the same time.
bool run_round(int fd, uint32_t daemon, const std::string& dir, uint64_t first, uint64_t count,
               uint64_t events, int quiet_ms, Ledger& ledger, double* seconds = nullptr) {
    int go[2];
    if (pipe2(go, O_CLOEXEC) != 0) {
        return false;
    }
    pid_t poster = -1;
    if (events > 0) {
        poster = fork();
        if (poster == 0) {
            close(go[1]);
            post_events(dir, 0, events, go[0]);
        }
    }
    close(go[0]);
    std::atomic<bool> stop{false};
    bool sent_ok = true;
    uint64_t sent = 0;
    std::thread sender([&] {
        if (poster > 0 && write(go[1], "g", 1) != 1) {
            sent_ok = false;
        }
        sent = send_all(fd, daemon, first, count, stop);
    });
    const auto start = Clock::now();
    const auto completed = receive(fd, ledger, quiet_ms);
    if (seconds != nullptr && completed) {
        *seconds = std::chrono::duration<double>(*completed - start).count();
    }
    stop = true;
    sender.join();
    close(go[1]);
    bool ok = sent_ok && sent == count;
    if (!ok || !ledger.complete()) {
        std::fprintf(stderr,
                     "tandrel-flood: %" PRIu64 " of %" PRIu64
                     " requests sent; the daemon's threads:\n",
                     sent, count);
        show_threads(static_cast<pid_t>(daemon));
    }
    if (poster > 0) {
        int st = 0;
        waitpid(poster, &st, 0);
        if (!WIFEXITED(st) || WEXITSTATUS(st) != 0) {
            std::fprintf(stderr, "tandrel-flood: the posting process failed\n");
            ok = false;
        }
    }
    return ok;
}

bool daemon_alive(pid_t pid) {
    return waitpid(pid, nullptr, WNOHANG) == 0;
}

void remove_dir(const std::string& dir) {
    for (const char* f : {"tandrel.pid", "notify.sock", "trace.log", "tandrel.log"}) {
        unlink((dir + "/" + f).c_str());
    }
    rmdir(dir.c_str());
}

}  // namespace

int main(int argc, char** argv) {
    const std::optional<Options> opt = parse_args(argc, argv);
    if (!opt) {
        usage(stderr);
        return 2;
    }
    signal(SIGPIPE, SIG_IGN);
    char tmpl[] = "/tmp/tandrel-flood.XXXXXX";
    if (mkdtemp(tmpl) == nullptr) {
        std::perror("tandrel-flood: mkdtemp");
        return 1;
    }
    const std::string dir = tmpl;
    const uint32_t driver_port = 0x7C000000u + static_cast<uint32_t>(getpid());
    // Room for a burst of answers while the receiving thread catches up.
    const int fd = bench::driver_socket(driver_port, 8 << 20, 1, 0);
    if (fd < 0) {
        std::perror("tandrel-flood: netlink socket");
        return 1;
    }
    const pid_t daemon = bench::spawn_with_env(
        {opt->daemon},
        {"TANDREL_RUN_DIR=" + dir, "TANDREL_NL_DRIVER_PID=" + std::to_string(driver_port),
         "TANDREL_TRACE=" + dir + "/trace.log", "TANDREL_TRACE_LEVEL=2"},
        dir + "/tandrel.log");
    if (daemon <= 0) {
        std::fprintf(stderr, "tandrel-flood: cannot start %s\n", opt->daemon.c_str());
        return 1;
    }

    bool ok = true;
    Bytes reg(20000);
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, 30000) != 1 || recv(fd, reg.data(), reg.size(), 0) < 28 ||
        le_get_u16(&reg[4]) != 3) {
        std::fprintf(stderr, "tandrel-flood: no registration from the daemon (see %s)\n",
                     dir.c_str());
        ok = false;
    }
    const auto daemon_port = static_cast<uint32_t>(daemon);
    const uint64_t events = opt->events.value_or(opt->requests / 10);

    // The warm-up brings every path the flood takes to its steady size,
    // the bus socket's included, before the memory is measured.
    uint64_t rss_before = 0;
    if (ok && opt->warmup > 0) {
        Ledger warm(opt->warmup, 0, opt->warmup / 10);
        ok = run_round(fd, daemon_port, dir, 0, opt->warmup, opt->warmup / 10, opt->quiet_ms,
                       warm) &&
             warm.complete() && warm.failures() == 0;
        if (!ok) {
            std::fprintf(stderr,
                         "tandrel-flood: warm-up failed: %" PRIu64 " of %" PRIu64 " answers\n",
                         warm.answers(), warm.expected_answers());
        }
    }
    rss_before = resident_kb(daemon);

    Ledger ledger(opt->requests, 0, events);
    double seconds = 0;
    if (ok) {
        // Correlation numbers start again at 1: the warm-up's are all answered.
        ok = run_round(fd, daemon_port, dir, 0, opt->requests, events, opt->quiet_ms, ledger,
                       &seconds);
    }
    // Let the loop thread free what the last event held before measuring.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const uint64_t rss_after = resident_kb(daemon);
    const uint64_t rss_peak = bench::status_kb(daemon, "VmHWM:");
    const bool alive = daemon_alive(daemon);

    std::printf("flood: %" PRIu64 " requests (%" PRIu64 " answered of %" PRIu64
                " expected, %" PRIu64 " silent), %" PRIu64 " of %" PRIu64 " events reported\n",
                opt->requests, ledger.answers(), ledger.expected_answers(),
                opt->requests - ledger.expected_answers(), ledger.reports(), events);
    if (seconds > 0) {
        std::printf("flood: %.2f s, %.0f requests/s\n", seconds,
                    static_cast<double>(opt->requests) / seconds);
    }
    const auto grown = static_cast<int64_t>(rss_after) - static_cast<int64_t>(rss_before);
    std::printf("flood: resident memory %" PRIu64 " KiB after the warm-up, %" PRIu64
                " KiB after the flood (%+" PRId64 " KiB, %+" PRId64 " pages), at most %" PRIu64
                " KiB\n",
                rss_before, rss_after, grown, grown / 4, rss_peak);
    if (!ledger.complete() || ledger.failures() != 0) {
        std::fprintf(stderr,
                     "tandrel-flood: %" PRIu64 " faults, %" PRIu64 " answers and %" PRIu64
                     " reports missing\n",
                     ledger.failures(), ledger.expected_answers() - ledger.answers(),
                     events - ledger.reports());
        ok = false;
    }
    if (!alive) {
        std::fprintf(stderr, "tandrel-flood: the daemon died (see %s)\n", dir.c_str());
        ok = false;
    }
    if (rss_before == 0 || grown > static_cast<int64_t>(opt->rss_slack_kb)) {
        std::fprintf(stderr, "tandrel-flood: resident memory grew by more than %" PRIu64 " KiB\n",
                     opt->rss_slack_kb);
        ok = false;
    }

    kill(daemon, SIGTERM);
    waitpid(daemon, nullptr, 0);
    close(fd);
    if (ok && !opt->keep) {
        remove_dir(dir);
    } else {
        std::fprintf(stderr, "tandrel-flood: run directory kept: %s\n", dir.c_str());
    }
    std::printf("flood: %s\n", ok ? "passed" : "FAILED");
    return ok ? 0 : 1;
}
