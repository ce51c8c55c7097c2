// tandrel-roundtrip: command round trips through the real netlink channel, against a baseline
// server.
//
// usage: tandrel-roundtrip --daemon PATH [--count N] [--rounds R] [--cpu C]
//                          [--pipeline N] [--load-seconds S] [--only PHASE]
//
// Plays the kernel AT driver on NETLINK_USERSOCK ports of its own and
// measures, phase by phase:
//   roundtrip  one request at a time, each waiting for its answer: a cheap
//              query (^WPDGL?) and a mix drawn from every subsystem. Every
//              figure is a ratio to the baseline server below, run in the
//              same rounds, alternately, so drift touches both. First with
//              the client and every thread of both servers on one CPU (C,
//              default the last one), then unpinned.
//   pipeline   many requests in flight from several ports at once; answers
//              counted and ordered per port; against the baseline too.
//   load       latency of ^WPDGL? at a steady pace, idle and while the GNSS
//              client streams NMEA to the GNSS and NMEA ports at 10 sentences
//              a second each and ^IPDATA reports of 1400 bytes arrive.
//   memory     the daemon's resident memory: after start, after the phases.
//
// The baseline is this program itself (--echo-server PORT): the daemon's
// shape with nothing else in it. A receive thread reads each datagram into a
// 10268-byte buffer and hands a copy to a worker thread through a locked
// queue; the worker allocates two zeroed 10240-byte buffers (request and
// response), copies the request, answers "\r\nOK\r\n" with the request's port
// and correlation number, and frees both.
//
// Exits 0 when every request got its own answer, 1 otherwise, 2 on a usage
// error. Timing is reported, never judged.
#include <fcntl.h>
#include <linux/netlink.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cinttypes>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "at_record.h"
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
constexpr size_t kDataOffset = NL_DATA_OFFSET;
constexpr size_t kRecordHeader = AT_RESPONSE_HEADER_SIZE;
constexpr size_t kRxCapacity = FIX_NL_DATA_LENGTH + kDataOffset;  // the daemon's receive buffer

// ---------------------------------------------------------------------------
// Requests

struct Command {
    uint32_t port;
    const char* name;
    uint32_t type;
    std::optional<uint32_t> number;  // one numeric parameter
    const char* what;
};

// The cheap query.
const Command kQuery = {PCUI, "^WPDGL", NL_TYPE_QUERY, {}, "GNSS"};

// One of every subsystem's, answered with OK by the simulated services and
// changing nothing that outlives the command.
const Command kMix[] = {
    {PCUI, "^WPDGL", NL_TYPE_QUERY, {}, "GNSS"},
    {PCUI, "^WPDGL", NL_TYPE_SET, 0u, "GNSS"},  // the value it has from the start
    {PCUI, "^WPDOM", NL_TYPE_QUERY, {}, "GNSS"},
    {PCUI, "^GNSSPOS", NL_TYPE_QUERY, {}, "GNSS position"},
    {PCUI, "^AGPSTYPECFG", NL_TYPE_QUERY, {}, "assisted GNSS"},
    {PCUI, "^FOTAMODE", NL_TYPE_QUERY, {}, "FOTA"},
    {PCUI, "^FOTACFG", NL_TYPE_QUERY, {}, "FOTA"},
    {PCUI, "^IPINIT", NL_TYPE_QUERY, {}, "IP stack"},
    {PCUI, "^IPOPEN", NL_TYPE_QUERY, {}, "IP stack"},
    {PCUI, "^TTSCFG", NL_TYPE_QUERY, {}, "text-to-speech"},
    {PCUI, "^RECCFG", NL_TYPE_QUERY, {}, "recorder"},
    {PCUI, "^AUDREC", NL_TYPE_TEST, {}, "recorder"},
};

// Netlink header, NlDeviceEvent and the record up to its last parameter. The
// correlation number (m_magic) is written per send.
Bytes request_datagram(const Command& c) {
    const size_t params = c.number ? 1 : 0;
    const size_t len = offsetof(AtRequest, m_para_list) + params * sizeof(AtCmdParam);
    Bytes record(len, 0);
    uint8_t* r = record.data();
    le_put_u32(r + offsetof(AtRequest, m_uindex), c.port);
    le_put_u32(r + offsetof(AtRequest, m_type), c.type);
    std::memcpy(r + offsetof(AtRequest, m_atcmd), c.name, std::strlen(c.name));
    le_put_u32(r + offsetof(AtRequest, m_para_count), static_cast<uint32_t>(params));
    if (c.number) {
        uint8_t* p = r + offsetof(AtRequest, m_para_list);
        le_put_u32(p + offsetof(AtCmdParam, ulParaValue), *c.number);
        const std::string typed = std::to_string(*c.number);
        std::memcpy(p + offsetof(AtCmdParam, aucPara), typed.data(), typed.size());
    }
    return driver_wire::datagram(NL_DEVICE_AT, static_cast<uint32_t>(len), record);
}

void set_magic(Bytes& m, uint32_t magic) {
    le_put_u32(&m[kDataOffset + offsetof(AtRequest, m_magic)], magic);
}

using driver_wire::Answer;

// An answer as the daemon sends it: its netlink length is the datagram's and
// its text arrived whole.
std::optional<Answer> parse_answer(const uint8_t* d, size_t n) {
    if (n < kNlHeader || le_get_u32(d) != n) {
        return std::nullopt;
    }
    std::optional<Answer> a = driver_wire::decode_answer({d, n}, nullptr);
    if (a && a->cut) {
        return std::nullopt;
    }
    return a;
}

// ---------------------------------------------------------------------------
// Sockets, processes, figures

bool send_to(int fd, uint32_t port, const Bytes& m) {
    while (driver_wire::send_to(fd, port, m) < 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

// User and system CPU time of a process so far, in clock ticks.
uint64_t cpu_ticks(pid_t pid) {
    std::ifstream f("/proc/" + std::to_string(pid) + "/stat");
    std::string all((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    const size_t close_paren = all.rfind(')');
    if (close_paren == std::string::npos) {
        return 0;
    }
    // Fields after the name: state is field 3; utime and stime are 14 and 15.
    const char* p = all.c_str() + close_paren + 2;
    uint64_t utime = 0;
    uint64_t stime = 0;
    for (int field = 3; field <= 15 && *p != '\0'; ++field) {
        if (field == 14)
            utime = std::strtoull(p, nullptr, 10);
        if (field == 15)
            stime = std::strtoull(p, nullptr, 10);
        p = std::strchr(p, ' ');
        if (p == nullptr)
            break;
        ++p;
    }
    return utime + stime;
}

double percentile(std::vector<double>& v, double q) {
    if (v.empty()) {
        return 0;
    }
    const size_t k = std::min(v.size() - 1, static_cast<size_t>(q * static_cast<double>(v.size())));
    std::nth_element(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(k), v.end());
    return v[k];
}

double median(std::vector<double> v) {
    return percentile(v, 0.5);
}

// (max - min) / median of a set of figures, in percent.
double spread(const std::vector<double>& v) {
    if (v.empty()) {
        return 0;
    }
    const auto [lo, hi] = std::minmax_element(v.begin(), v.end());
    const double m = median(v);
    return m > 0 ? (*hi - *lo) / m * 100.0 : 0;
}

// A template for mkdtemp in the system's scratch directory ($TMPDIR or its default).
std::string scratch_template() {
    return (std::filesystem::temp_directory_path() / "tandrel-roundtrip.XXXXXX").string();
}

bool set_cpus(std::optional<int> cpu) {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (cpu) {
        CPU_SET(*cpu, &set);
    } else {
        const long n = sysconf(_SC_NPROCESSORS_ONLN);
        for (long i = 0; i < n && i < CPU_SETSIZE; ++i)
            CPU_SET(static_cast<int>(i), &set);
    }
    return sched_setaffinity(0, sizeof set, &set) == 0;
}

// ---------------------------------------------------------------------------
// The baseline server

int echo_server(uint32_t driver) {
    const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK);
    sockaddr_nl local{};
    local.nl_family = AF_NETLINK;
    local.nl_pid = static_cast<uint32_t>(getpid());
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
        std::perror("echo server: netlink socket");
        return 1;
    }
    std::mutex mu;
    std::condition_variable cv;
    std::deque<Bytes> queue;

    const auto self = static_cast<uint32_t>(getpid());
    std::thread worker([&] {
        for (;;) {
            Bytes in;
            {
                std::unique_lock<std::mutex> lock(mu);
                cv.wait(lock, [&] { return !queue.empty(); });
                in = std::move(queue.front());
                queue.pop_front();
            }
            auto* req = static_cast<uint8_t*>(std::malloc(FIX_NL_DATA_LENGTH));
            auto* rsp = static_cast<uint8_t*>(std::malloc(FIX_NL_DATA_LENGTH));
            if (req == nullptr || rsp == nullptr) {
                std::abort();
            }
            std::memset(req, 0, FIX_NL_DATA_LENGTH);
            std::memset(rsp, 0, FIX_NL_DATA_LENGTH);
            std::memcpy(req, in.data(), std::min<size_t>(in.size(), FIX_NL_DATA_LENGTH));
            auto* r = reinterpret_cast<AtResponse*>(rsp);
            const auto* q = reinterpret_cast<const AtRequest*>(req);
            r->m_uindex = q->m_uindex;
            r->m_magic = q->m_magic;
            std::memcpy(r->m_buffer, AT_TEXT_OK, sizeof AT_TEXT_OK - 1);
            r->m_length = sizeof AT_TEXT_OK - 1;
            nlmsghdr header{};
            const uint32_t size = static_cast<uint32_t>(kRecordHeader) + r->m_length + 1;
            header.nlmsg_len = static_cast<uint32_t>(sizeof header) + size;
            header.nlmsg_pid = self;
            iovec iov[2] = {{&header, sizeof header}, {rsp, size}};
            sockaddr_nl to{};
            to.nl_family = AF_NETLINK;
            to.nl_pid = driver;
            msghdr m{};
            m.msg_name = &to;
            m.msg_namelen = sizeof to;
            m.msg_iov = iov;
            m.msg_iovlen = 2;
            sendmsg(fd, &m, 0);
            std::free(req);
            std::free(rsp);
        }
    });

    // Tells the client it is listening, as the daemon's registration does.
    Bytes hello(kDataOffset, 0);
    le_put_u32(&hello[0], static_cast<uint32_t>(hello.size()));
    le_put_u16(&hello[4], 3);
    le_put_u32(&hello[12], static_cast<uint32_t>(getpid()));
    send_to(fd, driver, hello);

    Bytes buf(kRxCapacity);
    for (;;) {
        const ssize_t n = recv(fd, buf.data(), buf.size(), 0);
        if (n < static_cast<ssize_t>(kDataOffset)) {
            continue;
        }
        const uint32_t len = le_get_u32(&buf[NL_EVENT_OFFSET + offsetof(NlDeviceEvent, len)]);
        if (len == 0 || len >= FIX_NL_DATA_LENGTH || kDataOffset + len > static_cast<size_t>(n)) {
            continue;
        }
        Bytes copy(buf.begin() + kDataOffset,
                   buf.begin() + static_cast<std::ptrdiff_t>(kDataOffset + len));
        {
            std::lock_guard<std::mutex> lock(mu);
            queue.push_back(std::move(copy));
        }
        cv.notify_one();
    }
}

// ---------------------------------------------------------------------------
// The client

struct Options {
    std::string daemon;
    uint64_t count = 20000;
    uint64_t rounds = 5;
    std::optional<int> cpu;
    uint64_t pipeline = 100000;
    uint64_t load_seconds = 5;
    std::string only;
};

void usage(FILE* to) {
    std::fputs(
        "usage: tandrel-roundtrip --daemon PATH [--count N] [--rounds R] [--cpu C]\n"
        "                         [--pipeline N] [--load-seconds S] [--only PHASE]\n"
        "Round trips, pipelined throughput and latency under load of the daemon through its\n"
        "netlink channel, as ratios to a minimal two-thread server measured alongside.\n"
        "PHASE: roundtrip, pipeline, load (default: these three), or heap (the daemon under\n"
        "valgrind's DHAT: heap allocated per command and held afterwards).\n",
        to);
}

std::optional<Options> parse_args(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; i += 2) {
        const std::string a = argv[i];
        if (i + 1 >= argc) {
            return std::nullopt;
        }
        const char* v = argv[i + 1];
        uint64_t n = 0;
        if (a == "--daemon") {
            o.daemon = v;
        } else if (a == "--count" && bench::parse_u64(v, n) && n >= 10 && n < UINT32_MAX / 4) {
            o.count = n;
        } else if (a == "--rounds" && bench::parse_u64(v, n) && n > 0 && n <= 100) {
            o.rounds = n;
        } else if (a == "--cpu" && bench::parse_u64(v, n) && n < CPU_SETSIZE) {
            o.cpu = static_cast<int>(n);
        } else if (a == "--pipeline" && bench::parse_u64(v, n) && n >= 100 && n < UINT32_MAX / 4) {
            o.pipeline = n;
        } else if (a == "--load-seconds" && bench::parse_u64(v, n) && n > 0 && n <= 600) {
            o.load_seconds = n;
        } else if (a == "--only" &&
                   (std::strcmp(v, "roundtrip") == 0 || std::strcmp(v, "pipeline") == 0 ||
                    std::strcmp(v, "heap") == 0 || std::strcmp(v, "load") == 0)) {
            o.only = v;
        } else {
            return std::nullopt;
        }
    }
    if (o.daemon.empty()) {
        return std::nullopt;
    }
    return o;
}

// One server under test and the driver-side socket that talks to it.
class Server {
  public:
    Server(std::string name, bool is_daemon) : name_(std::move(name)), daemon_(is_daemon) {}
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server() { stop(); }

    const std::string& name() const { return name_; }
    pid_t pid() const { return pid_; }
    int fd() const { return fd_; }
    uint32_t port() const { return port_; }
    const std::string& dir() const { return dir_; }

    bool start(const std::string& daemon_path, uint32_t driver_port,
               const std::vector<std::string>& env, const std::vector<std::string>& prefix = {}) {
        std::string tmpl = scratch_template();
        if (mkdtemp(tmpl.data()) == nullptr) {
            return false;
        }
        dir_ = tmpl;
        fd_ = bench::driver_socket(driver_port, 4 << 20, 5, 5);
        if (fd_ < 0) {
            std::perror("tandrel-roundtrip: netlink socket");
            return false;
        }
        std::vector<std::string> argv;
        std::vector<std::string> e = env;
        if (daemon_) {
            argv = prefix;
            argv.push_back(daemon_path);
            e.push_back("TANDREL_RUN_DIR=" + dir_);
            e.push_back("TANDREL_NL_DRIVER_PID=" + std::to_string(driver_port));
            e.push_back("TANDREL_TRACE=" + dir_ + "/trace.log");
        } else {
            argv = {"/proc/self/exe", "--echo-server", std::to_string(driver_port)};
        }
        pid_ = bench::spawn_with_env(argv, e, dir_ + "/server.log");
        if (pid_ <= 0) {
            return false;
        }
        Bytes reg(kRxCapacity + 64);
        pollfd p{fd_, POLLIN, 0};
        if (poll(&p, 1, 30000) != 1 || recv(fd_, reg.data(), reg.size(), 0) < 16 ||
            le_get_u16(&reg[4]) != 3) {
            std::fprintf(stderr, "tandrel-roundtrip: %s did not register (see %s)\n", name_.c_str(),
                         dir_.c_str());
            return false;
        }
        port_ = le_get_u32(&reg[12]);
        return true;
    }

    // Stops the server and returns what it wrote to its standard output and error.
    std::string stop_and_read_log() {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
            pid_ = -1;
        }
        std::ifstream f(dir_ + "/server.log");
        return std::string((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    }

    void stop() {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
            pid_ = -1;
        }
        if (fd_ >= 0) {
            close(fd_);
            fd_ = -1;
        }
        if (!dir_.empty() && !keep_) {
            std::system(("rm -rf '" + dir_ + "'").c_str());
            dir_.clear();
        }
    }

    void keep() { keep_ = true; }

    // Receives until the answer with `magic` arrives; reports on the way are
    // counted per port. False on a time-out or a wrong answer.
    bool await(uint32_t magic, Answer* out = nullptr) {
        for (;;) {
            const ssize_t n = recv(fd_, buf_, sizeof buf_, 0);
            if (n < 0) {
                if (errno == EINTR)
                    continue;
                std::fprintf(stderr, "tandrel-roundtrip: %s: no answer to %u: %s\n", name_.c_str(),
                             magic, std::strerror(errno));
                return false;
            }
            const std::optional<Answer> a = parse_answer(buf_, static_cast<size_t>(n));
            if (!a) {
                std::fprintf(stderr, "tandrel-roundtrip: %s: malformed datagram of %zd bytes\n",
                             name_.c_str(), n);
                return false;
            }
            if (a->magic == 0) {
                ++reports_[a->uindex];
                continue;
            }
            if (a->magic != magic) {
                std::fprintf(stderr, "tandrel-roundtrip: %s: answer %u while waiting for %u\n",
                             name_.c_str(), a->magic, magic);
                return false;
            }
            if (out != nullptr)
                *out = *a;
            return true;
        }
    }

    // Receives one datagram (an answer, or a report, which is counted).
    std::optional<Answer> receive_answer() {
        for (;;) {
            const ssize_t n = recv(fd_, buf_, sizeof buf_, 0);
            if (n < 0) {
                if (errno == EINTR)
                    continue;
                return std::nullopt;
            }
            std::optional<Answer> a = parse_answer(buf_, static_cast<size_t>(n));
            if (a && a->magic == 0) {
                ++reports_[a->uindex];
                continue;
            }
            return a;
        }
    }

    std::map<uint32_t, uint64_t> take_reports() { return std::exchange(reports_, {}); }

    uint32_t next_magic() { return ++magic_; }

  private:
    std::string name_;
    bool daemon_;
    bool keep_ = false;
    pid_t pid_ = -1;
    uint32_t port_ = 0;  // the server's netlink port id, from its registration
    int fd_ = -1;
    std::string dir_;
    uint32_t magic_ = 0;
    std::map<uint32_t, uint64_t> reports_;
    uint8_t buf_[kRxCapacity];
};

struct Run {
    double rps = 0;
    double p50_us = 0;
    double p99_us = 0;
    bool ok = true;
};

// `count` round trips, one at a time, cycling through `commands`. Every
// answer must carry its own correlation number, and a command's answer must
// be the same every time (checked against `reference` when given).
Run sequential(Server& s, std::vector<Bytes>& commands, uint64_t count,
               std::map<size_t, std::string>* reference = nullptr) {
    std::vector<double> lat;
    lat.reserve(static_cast<size_t>(count));
    Run r;
    const auto start = Clock::now();
    for (size_t i = 0; i < count; ++i) {
        Bytes& m = commands[i % commands.size()];
        const uint32_t magic = s.next_magic();
        set_magic(m, magic);
        Answer a;
        const auto t0 = Clock::now();
        if (!send_to(s.fd(), s.port(), m) || !s.await(magic, &a)) {
            r.ok = false;
            return r;
        }
        lat.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
        if (reference != nullptr) {
            const std::string got = std::to_string(a.retenum) + ":" + a.text;
            auto [it, fresh] = reference->try_emplace(i % commands.size(), got);
            if (!fresh && it->second != got) {
                std::fprintf(stderr, "tandrel-roundtrip: %s answered differently: %s\n",
                             s.name().c_str(), got.c_str());
                r.ok = false;
            }
        }
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    r.rps = static_cast<double>(count) / seconds;
    r.p50_us = percentile(lat, 0.50);
    r.p99_us = percentile(lat, 0.99);
    return r;
}

struct Pair {
    Server baseline{"baseline", false};
    Server daemon{"tandrel", true};
};

uint32_t g_driver_port_base = 0;

bool start_pair(Pair& p, const Options& o, std::optional<int> cpu) {
    if (!set_cpus(cpu)) {
        std::fprintf(stderr, "tandrel-roundtrip: cannot set the CPU affinity\n");
        return false;
    }
    // Children inherit the affinity, and so does every thread they start.
    return p.baseline.start(o.daemon, g_driver_port_base + 1, {}) &&
           p.daemon.start(o.daemon, g_driver_port_base + 2, {});
}

// Checks once what each command of the mix answers, so that a command the
// simulated services refuse is seen before it is timed.
bool show_mix(Server& d) {
    std::printf("mix (each answered as shown, the same bytes every time):\n");
    bool ok = true;
    for (const Command& c : kMix) {
        Bytes m = request_datagram(c);
        const uint32_t magic = d.next_magic();
        set_magic(m, magic);
        Answer a;
        if (!send_to(d.fd(), d.port(), m) || !d.await(magic, &a)) {
            return false;
        }
        std::string shown;
        for (char ch : a.text) {
            if (ch == '\r')
                shown += "\\r";
            else if (ch == '\n')
                shown += "\\n";
            else
                shown += ch;
        }
        const char* op = c.type == NL_TYPE_QUERY ? "?" : c.type == NL_TYPE_TEST ? "=?" : "";
        const std::string typed =
            std::string("AT") + c.name + op + (c.number ? "=" + std::to_string(*c.number) : "");
        std::printf("  %-16s %-16s -> %s%s\n", c.what, typed.c_str(),
                    a.retenum == 0 ? "" : ("error " + std::to_string(a.retenum) + " ").c_str(),
                    shown.c_str());
        if (a.retenum != 0 || a.text.find("OK") == std::string::npos) {
            ok = false;
        }
    }
    return ok;
}

bool roundtrip_phase(const Options& o, const char* title, std::optional<int> cpu, bool with_mix) {
    Pair p;
    if (!start_pair(p, o, cpu)) {
        return false;
    }
    const uint64_t rss_start = bench::status_kb(p.daemon.pid(), "VmRSS:");
    if (with_mix && !show_mix(p.daemon)) {
        std::fprintf(stderr, "tandrel-roundtrip: a command of the mix failed\n");
        return false;
    }
    bool ok = true;
    struct Set {
        const char* name;
        std::vector<Bytes> commands;
    };
    std::vector<Set> sets;
    sets.push_back({"^WPDGL?", {request_datagram(kQuery)}});
    std::vector<Bytes> mix;
    for (const Command& c : kMix)
        mix.push_back(request_datagram(c));
    sets.push_back({"mix", mix});

    std::printf("\n%s\n", title);
    std::printf("  %-8s %-9s %10s %9s %9s   %s\n", "requests", "server", "trips/s", "p50 us",
                "p99 us", "rounds (trips/s)");
    for (Set& set : sets) {
        // Warm-up: every path, allocator and cache at its steady size.
        std::map<size_t, std::string> ref_b;
        std::map<size_t, std::string> ref_d;
        ok = sequential(p.baseline, set.commands, o.count / 4, &ref_b).ok && ok;
        ok = sequential(p.daemon, set.commands, o.count / 4, &ref_d).ok && ok;
        std::vector<Run> b;
        std::vector<Run> d;
        for (uint64_t round = 0; round < o.rounds; ++round) {
            // Alternate which goes first, so neither always follows the other.
            if (round % 2 == 0) {
                b.push_back(sequential(p.baseline, set.commands, o.count, &ref_b));
                d.push_back(sequential(p.daemon, set.commands, o.count, &ref_d));
            } else {
                d.push_back(sequential(p.daemon, set.commands, o.count, &ref_d));
                b.push_back(sequential(p.baseline, set.commands, o.count, &ref_b));
            }
            ok = b.back().ok && d.back().ok && ok;
        }
        auto field = [](const std::vector<Run>& v, double Run::*f) {
            std::vector<double> out;
            for (const Run& r : v)
                out.push_back(r.*f);
            return out;
        };
        const std::vector<double> b_rps = field(b, &Run::rps);
        const std::vector<double> d_rps = field(d, &Run::rps);
        const double b50 = median(field(b, &Run::p50_us));
        const double d50 = median(field(d, &Run::p50_us));
        const double b99 = median(field(b, &Run::p99_us));
        const double d99 = median(field(d, &Run::p99_us));
        for (const auto* side : {&b, &d}) {
            const bool is_b = side == &b;
            std::printf("  %-8s %-9s %10.0f %9.1f %9.1f  ", set.name, is_b ? "baseline" : "tandrel",
                        median(is_b ? b_rps : d_rps), is_b ? b50 : d50, is_b ? b99 : d99);
            for (const Run& r : *side)
                std::printf(" %.0f", r.rps);
            std::printf("  (spread %.1f%%)\n", spread(is_b ? b_rps : d_rps));
        }
        std::printf("  %-8s ratio     %9.3fx %8.3fx %8.3fx   goal: trips/s >= 0.9x, p99 <= 1.5x\n",
                    set.name, median(d_rps) / median(b_rps), d50 / b50, d99 / b99);
    }
    std::printf("  tandrel resident memory: %" PRIu64 " KiB after start, %" PRIu64
                " KiB after the round trips (peak %" PRIu64 " KiB)\n",
                rss_start, bench::status_kb(p.daemon.pid(), "VmRSS:"),
                bench::status_kb(p.daemon.pid(), "VmHWM:"));
    return ok;
}

// Many requests in flight: `window` on each of several ports, a new one sent
// on a port as soon as one of its answers arrives. Answers are counted per
// port and must come back in the order of their port's requests.
struct PipeRun {
    double rps = 0;
    std::map<uint32_t, uint64_t> per_port;
    bool ok = true;
};

PipeRun pipelined(Server& s, uint64_t total, uint32_t window) {
    static const uint32_t kPorts[] = {0, 3, 6, 49, 50, 51, 52, 56};
    const size_t ports = sizeof kPorts / sizeof kPorts[0];
    std::vector<Bytes> msg;
    for (uint32_t port : kPorts) {
        Command c = kQuery;
        c.port = port;
        msg.push_back(request_datagram(c));
    }
    std::map<uint32_t, size_t> index;
    for (size_t i = 0; i < ports; ++i)
        index[kPorts[i]] = i;
    std::vector<std::deque<uint32_t>> outstanding(ports);
    PipeRun r;
    uint64_t sent = 0;
    uint64_t answered = 0;
    auto send_on = [&](size_t i) {
        const uint32_t magic = s.next_magic();
        set_magic(msg[i], magic);
        outstanding[i].push_back(magic);
        ++sent;
        return send_to(s.fd(), s.port(), msg[i]);
    };
    const auto start = Clock::now();
    for (uint32_t w = 0; w < window && sent < total; ++w) {
        for (size_t i = 0; i < ports && sent < total; ++i) {
            if (!send_on(i))
                r.ok = false;
        }
    }
    while (answered < sent && r.ok) {
        const std::optional<Answer> a = s.receive_answer();
        if (!a || index.count(a->uindex) == 0) {
            std::fprintf(stderr, "tandrel-roundtrip: %s: %s\n", s.name().c_str(),
                         a ? "answer on a port not asked" : "answers stopped");
            r.ok = false;
            break;
        }
        const size_t i = index[a->uindex];
        if (outstanding[i].empty() || outstanding[i].front() != a->magic) {
            std::fprintf(stderr, "tandrel-roundtrip: %s: port %u answered %u out of order\n",
                         s.name().c_str(), a->uindex, a->magic);
            r.ok = false;
            break;
        }
        outstanding[i].pop_front();
        ++r.per_port[a->uindex];
        ++answered;
        if (sent < total && !send_on(i))
            r.ok = false;
    }
    r.rps =
        static_cast<double>(answered) / std::chrono::duration<double>(Clock::now() - start).count();
    return r;
}

bool pipeline_phase(const Options& o) {
    Pair p;
    if (!start_pair(p, o, std::nullopt)) {
        return false;
    }
    constexpr uint32_t kWindow = 8;
    std::printf("\nPipelining, unpinned: ^WPDGL? on 8 ports, %u in flight on each (%u in all)\n",
                kWindow, kWindow * 8);
    pipelined(p.baseline, o.pipeline / 10, kWindow);
    pipelined(p.daemon, o.pipeline / 10, kWindow);
    bool ok = true;
    std::vector<double> b;
    std::vector<double> d;
    PipeRun last;
    for (uint64_t round = 0; round < o.rounds; ++round) {
        const PipeRun rb = pipelined(p.baseline, o.pipeline, kWindow);
        last = pipelined(p.daemon, o.pipeline, kWindow);
        ok = ok && rb.ok && last.ok;
        b.push_back(rb.rps);
        d.push_back(last.rps);
    }
    std::printf("  %-9s %10s   %s\n", "server", "answers/s", "rounds");
    for (const auto* side : {&b, &d}) {
        std::printf("  %-9s %10.0f  ", side == &b ? "baseline" : "tandrel", median(*side));
        for (double v : *side)
            std::printf(" %.0f", v);
        std::printf("  (spread %.1f%%)\n", spread(*side));
    }
    std::printf("  ratio     %9.3fx\n", median(d) / median(b));
    std::printf("  tandrel's answers per port in the last round:");
    for (const auto& [port, n] : last.per_port)
        std::printf(" %u:%" PRIu64, port, n);
    std::printf("\n");
    return ok;
}

// NMEA track for the load: one epoch a second of ten sentences.
std::string write_track(const std::string& dir) {
    const char* const body[] = {
        "GPGGA,%02d%02d%02d.00,4807.0380,N,01131.0000,E,1,08,0.9,545.4,M,46.9,M,,",
        "GPGSA,A,3,04,05,09,12,17,24,25,29,,,,,1.6,0.9,1.3",
        "GPGSV,3,1,10,04,63,137,41,05,61,098,39,09,59,290,44,12,54,157,36",
        "GPGSV,3,2,10,17,39,223,33,24,28,070,31,25,23,252,29,29,14,186,27",
        "GPGSV,3,3,10,31,10,040,22,32,05,300,20",
        "GPRMC,%02d%02d%02d.00,A,4807.0380,N,01131.0000,E,8.10,84.4,230394,,,A",
        "GPVTG,84.4,T,,M,8.10,N,15.0,K,A",
        "GPGLL,4807.0380,N,01131.0000,E,%02d%02d%02d.00,A,A",
        "GPZDA,%02d%02d%02d.00,23,03,1994,00,00",
        "GPGST,%02d%02d%02d.00,1.2,0.9,0.7,45.0,0.8,0.6,1.5",
    };
    const std::string path = dir + "/load.nmea";
    FILE* f = std::fopen(path.c_str(), "w");
    if (f == nullptr) {
        return {};
    }
    for (int s = 0; s < 60; ++s) {
        for (const char* fmt : body) {
            char text[160];
            std::snprintf(text, sizeof text, fmt, 12, 0, s);
            uint8_t sum = 0;
            for (const char* c = text; *c != '\0'; ++c)
                sum = static_cast<uint8_t>(sum ^ static_cast<uint8_t>(*c));
            std::fprintf(f, "$%s*%02X\r\n", text, sum);
        }
    }
    std::fclose(f);
    return path;
}

struct Paced {
    double p50_us = 0;
    double p99_us = 0;
    double max_us = 0;
    double cpu_percent = 0;
    uint64_t samples = 0;
    bool ok = true;
};

// ^WPDGL? every millisecond for `seconds`; the daemon's CPU time over the same span.
Paced paced(Server& s, uint64_t seconds) {
    Bytes m = request_datagram(kQuery);
    std::vector<double> lat;
    Paced r;
    const uint64_t ticks0 = cpu_ticks(s.pid());
    const auto start = Clock::now();
    const auto end = start + std::chrono::seconds(seconds);
    auto next = start;
    while (Clock::now() < end) {
        next += std::chrono::milliseconds(1);
        std::this_thread::sleep_until(next);
        const uint32_t magic = s.next_magic();
        set_magic(m, magic);
        const auto t0 = Clock::now();
        if (!send_to(s.fd(), s.port(), m) || !s.await(magic)) {
            r.ok = false;
            return r;
        }
        lat.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
    }
    const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    r.cpu_percent = static_cast<double>(cpu_ticks(s.pid()) - ticks0) /
                    static_cast<double>(sysconf(_SC_CLK_TCK)) / elapsed * 100.0;
    r.samples = lat.size();
    r.max_us = lat.empty() ? 0 : *std::max_element(lat.begin(), lat.end());
    r.p50_us = percentile(lat, 0.50);
    r.p99_us = percentile(lat, 0.99);
    return r;
}

// Posts ^IPDATA events (61000, 1400 bytes, channel 4 = PCUI) to the daemon's
// bus from another process's side of its socket, `per_second` a second.
void post_ipdata(const std::string& dir, int per_second, std::atomic<bool>& stop,
                 uint64_t& posted) {
    NotifyArgs args;
    args.run_dir = dir;
    args.event.module = 62;
    args.event.event = 61000;
    args.event.slot = NotifySlot::Second;
    args.event.layout = NotifyLayout::PtrLen;
    constexpr uint32_t kBytes = 1400;
    args.payload.assign(12 + kBytes, 'x');
    le_put_u32(&args.payload[0], 0);  // kind: TCP
    le_put_u32(&args.payload[4], 4);  // channel 4: PCUI
    le_put_u32(&args.payload[8], kBytes);
    auto next = Clock::now();
    while (!stop.load()) {
        next += std::chrono::milliseconds(1000 / per_second);
        std::this_thread::sleep_until(next);
        std::string why;
        if (notify_send(args, 5000, &why) == NotifySendResult::Queued) {
            ++posted;
        }
    }
}

bool send_command(Server& s, const Command& c) {
    Bytes m = request_datagram(c);
    const uint32_t magic = s.next_magic();
    set_magic(m, magic);
    Answer a;
    return send_to(s.fd(), s.port(), m) && s.await(magic, &a) && a.retenum == 0;
}

bool load_phase(const Options& o) {
    if (!set_cpus(std::nullopt)) {
        return false;
    }
    std::string tmpl = scratch_template();
    if (mkdtemp(tmpl.data()) == nullptr) {
        return false;
    }
    const std::string track = write_track(tmpl);
    Server d("tandrel", true);
    if (track.empty() ||
        !d.start(o.daemon, g_driver_port_base + 3, {"TANDREL_SIM_NMEA=" + track})) {
        return false;
    }
    std::printf("\nCost under load: ^WPDGL? once a millisecond, %" PRIu64 " s idle, then %" PRIu64
                " s under load\n",
                o.load_seconds, o.load_seconds);
    paced(d, 1);  // warm-up
    const Paced idle = paced(d, o.load_seconds);
    d.take_reports();

    // The engine for the GNSS port (^WPDGP) and for the NMEA port (^NLGPSOPT=1,
    // which the daemon never answers).
    bool ok = send_command(d, {PCUI, "^WPDGP", NL_TYPE_SET, {}, ""});
    {
        Bytes m = request_datagram({PCUI, "^NLGPSOPT", NL_TYPE_SET, 1u, ""});
        set_magic(m, d.next_magic());
        ok = send_to(d.fd(), d.port(), m) && ok;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));  // the first epoch
    d.take_reports();
    std::atomic<bool> stop{false};
    uint64_t posted = 0;
    std::thread ip([&] { post_ipdata(d.dir(), 20, stop, posted); });
    const Paced busy = paced(d, o.load_seconds);
    stop = true;
    ip.join();
    const std::map<uint32_t, uint64_t> reports = d.take_reports();
    ok = ok && idle.ok && busy.ok;

    std::printf("  %-6s %8s %9s %9s %9s %11s\n", "", "samples", "p50 us", "p99 us", "max us",
                "daemon CPU");
    for (const auto* r : {&idle, &busy}) {
        std::printf("  %-6s %8" PRIu64 " %9.1f %9.1f %9.1f %10.2f%%\n",
                    r == &idle ? "idle" : "load", r->samples, r->p50_us, r->p99_us, r->max_us,
                    r->cpu_percent);
    }
    std::printf("  ratio  %8s %8.3fx %8.3fx\n", "", busy.p50_us / idle.p50_us,
                busy.p99_us / idle.p99_us);
    const double secs = static_cast<double>(o.load_seconds);
    std::printf(
        "  load delivered: GNSS port %.1f sentences/s, NMEA port %.1f sentences/s, ^IPDATA %.1f/s"
        " (%" PRIu64 " posted)\n",
        static_cast<double>(reports.count(54) ? reports.at(54) : 0) / secs,
        static_cast<double>(reports.count(55) ? reports.at(55) : 0) / secs,
        static_cast<double>(reports.count(0) ? reports.at(0) : 0) / secs, posted);
    send_command(d, {PCUI, "^WPEND", NL_TYPE_SET, {}, ""});
    d.stop();
    std::system(("rm -rf '" + tmpl + "'").c_str());
    return ok;
}

// Heap figures of one daemon run under valgrind's DHAT: everything the
// daemon allocated over its life, its most at any time, and what it held at
// the end.
struct HeapFigures {
    double total_bytes = 0;
    double total_blocks = 0;
    double gmax_bytes = 0;
    double end_bytes = 0;
    double end_blocks = 0;
    bool ok = false;
};

// Reads "<label> 1,234 bytes in 5 blocks" from a DHAT log.
bool dhat_line(const std::string& log, const char* label, double* bytes, double* blocks) {
    const size_t at = log.find(label);
    if (at == std::string::npos) {
        return false;
    }
    std::string digits;
    std::vector<double> numbers;
    for (size_t i = at + std::strlen(label); i < log.size() && log[i] != '\n'; ++i) {
        if (std::isdigit(static_cast<unsigned char>(log[i])) != 0) {
            digits += log[i];
        } else if (log[i] != ',' && !digits.empty()) {
            numbers.push_back(std::strtod(digits.c_str(), nullptr));
            digits.clear();
        }
    }
    if (!digits.empty())
        numbers.push_back(std::strtod(digits.c_str(), nullptr));
    if (numbers.size() < 2) {
        return false;
    }
    *bytes = numbers[0];
    *blocks = numbers[1];
    return true;
}

HeapFigures heap_run(const Options& o, uint64_t commands) {
    HeapFigures h;
    Server d("tandrel under DHAT", true);
    if (!set_cpus(std::nullopt) ||
        !d.start(o.daemon, g_driver_port_base + 3, {},
                 {"valgrind", "--tool=dhat", "--dhat-out-file=/dev/null"})) {
        return h;
    }
    std::vector<Bytes> mix;
    for (const Command& c : kMix)
        mix.push_back(request_datagram(c));
    // Every command once first: what a service allocates once, on first use,
    // is then in both runs.
    if (!sequential(d, mix, mix.size() * 10).ok ||
        (commands > 0 && !sequential(d, mix, commands).ok)) {
        return h;
    }
    // The last response is sent before its buffers are freed: let the loop
    // thread finish.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const std::string log = d.stop_and_read_log();
    double unused = 0;
    h.ok = dhat_line(log, "Total:", &h.total_bytes, &h.total_blocks) &&
           dhat_line(log, "At t-gmax:", &h.gmax_bytes, &unused) &&
           dhat_line(log, "At t-end:", &h.end_bytes, &h.end_blocks);
    if (!h.ok) {
        std::fprintf(stderr, "tandrel-roundtrip: no DHAT summary from the daemon:\n%s\n",
                     log.c_str());
    }
    return h;
}

bool heap_phase(const Options& o) {
    const uint64_t n = std::max<uint64_t>(o.count / 20, 100);
    std::printf(
        "\nHeap per command (valgrind --tool=dhat on the daemon): the mix, %zu commands,"
        " then 0 or %" PRIu64 " more\n",
        sizeof kMix / sizeof kMix[0] * 10, n);
    const HeapFigures idle = heap_run(o, 0);
    const HeapFigures busy = heap_run(o, n);
    if (!idle.ok || !busy.ok) {
        return false;
    }
    const double dn = static_cast<double>(n);
    std::printf("  %-12s %14s %10s %14s %14s %10s\n", "more", "allocated B", "blocks",
                "most held B", "held at end B", "blocks");
    for (const auto* h : {&idle, &busy}) {
        std::printf("  %-12" PRIu64 " %14.0f %10.0f %14.0f %14.0f %10.0f\n",
                    h == &idle ? uint64_t{0} : n, h->total_bytes, h->total_blocks, h->gmax_bytes,
                    h->end_bytes, h->end_blocks);
    }
    std::printf(
        "  per command: %.0f bytes in %.2f blocks allocated, at most %.0f bytes more held;"
        " held at the end: %+.0f bytes, %+.0f blocks\n",
        (busy.total_bytes - idle.total_bytes) / dn, (busy.total_blocks - idle.total_blocks) / dn,
        busy.gmax_bytes - idle.gmax_bytes, busy.end_bytes - idle.end_bytes,
        busy.end_blocks - idle.end_blocks);
    return busy.end_bytes == idle.end_bytes;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--echo-server") == 0) {
        uint64_t port = 0;
        return bench::parse_u64(argv[2], port) && port <= UINT32_MAX
                   ? echo_server(static_cast<uint32_t>(port))
                   : 2;
    }
    std::optional<Options> opt = parse_args(argc, argv);
    if (!opt) {
        usage(stderr);
        return 2;
    }
    signal(SIGPIPE, SIG_IGN);
    setvbuf(stdout, nullptr, _IOLBF, 0);
    g_driver_port_base = 0x7B000000u + (static_cast<uint32_t>(getpid()) & 0xFFFFF) * 4;
    const long cpus = sysconf(_SC_NPROCESSORS_ONLN);
    const int cpu = opt->cpu.value_or(static_cast<int>(cpus - 1));
    const auto want = [&](const char* phase) { return opt->only.empty() || opt->only == phase; };

    bool ok = true;
    if (want("roundtrip")) {
        char title[160];
        std::snprintf(title, sizeof title,
                      "Round trip, pinned: client and both servers on CPU %d; %" PRIu64
                      " trips a round, %" PRIu64 " rounds",
                      cpu, opt->count, opt->rounds);
        ok = roundtrip_phase(*opt, title, cpu, true) && ok;
        std::snprintf(title, sizeof title, "Round trip, unpinned (%ld CPUs)", cpus);
        ok = roundtrip_phase(*opt, title, std::nullopt, false) && ok;
    }
    if (want("pipeline")) {
        ok = pipeline_phase(*opt) && ok;
    }
    if (want("load")) {
        ok = load_phase(*opt) && ok;
    }
    if (opt->only == "heap") {
        ok = heap_phase(*opt) && ok;
    }
    std::printf("\nroundtrip: %s\n", ok ? "every request answered" : "FAILED");
    return ok ? 0 : 1;
}
