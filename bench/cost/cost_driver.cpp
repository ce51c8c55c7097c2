// tandrel-cost-driver: plays the AT driver for one server process and sends it one kind of request,
// one at a time.
//
// usage: tandrel-cost-driver --command NAME [--count N] [--quiet] -- SERVER [ARG...]
//
// Binds a NETLINK_USERSOCK port of its own, starts SERVER (the daemon, the
// baseline server, or either under valgrind) with TANDREL_NL_DRIVER_PID
// naming that port, waits for the server's first message (the daemon's
// registration), then sends N requests of the named kind (default 1000),
// each after the answer to the one before, and checks that every answer
// carries its request's port and correlation number. It then stops the
// server with SIGTERM and waits for it, so that a profiler wrapped around
// the server writes its figures. Exits 0 when every request was answered,
// 1 otherwise, 2 on a usage error.
//
// The kinds (NAME) are the commands whose cost the instruction counts
// compare: wpdgl-query (AT^WPDGL?), wpdgl-set (AT^WPDGL=2), wpdom-test
// (AT^WPDOM=?), fotamode-query (AT^FOTAMODE?), ipopen-query (AT^IPOPEN?, a
// relay to the IP stack service), all on PCUI.
#include <fcntl.h>
#include <linux/netlink.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "driver_side.h"
#include "driver_wire.h"
#include "le_bytes.h"
#include "nl_channel.h"

extern char** environ;

namespace {

constexpr size_t kNlHeader = NL_MSG_HEADER_SIZE;
constexpr size_t kRequestHead = 84;  // the record up to its parameter list
constexpr size_t kParamSize = 568;
constexpr int kStartWaitMs = 120000;  // a server under callgrind starts slowly
constexpr int kAnswerWaitMs = 30000;

struct Kind {
    const char* name;
    const char* command;
    uint32_t type;  // 0 set, 1 query, 2 test
    int param;      // a numeric parameter, or -1 for none
};

constexpr Kind kKinds[] = {
    {"wpdgl-query", "^WPDGL", 1, -1},   {"wpdgl-set", "^WPDGL", 0, 2},
    {"wpdom-test", "^WPDOM", 2, -1},    {"fotamode-query", "^FOTAMODE", 1, -1},
    {"ipopen-query", "^IPOPEN", 1, -1},
};

const Kind* find_kind(const char* name) {
    for (const Kind& k : kKinds) {
        if (std::strcmp(k.name, name) == 0) {
            return &k;
        }
    }
    return nullptr;
}

void usage() {
    std::fprintf(
        stderr,
        "usage: tandrel-cost-driver --command NAME [--count N] [--quiet] -- SERVER [ARG...]\n"
        "kinds:");
    for (const Kind& k : kKinds) {
        std::fprintf(stderr, " %s", k.name);
    }
    std::fprintf(stderr, "\n");
}

// The request as the driver sends it: netlink header, NlDeviceEvent and the
// record up to its last parameter. A typed number is numeric with its digits
// in the text field, as the driver parses it.
std::vector<uint8_t> request(const Kind& k, uint32_t magic) {
    const size_t len = kRequestHead + (k.param >= 0 ? kParamSize : 0);
    std::vector<uint8_t> record(len, 0);
    uint8_t* r = record.data();
    le_put_u32(r + 0, 0);  // PCUI
    le_put_u32(r + 4, magic);
    le_put_u32(r + 8, k.type);
    std::memcpy(r + 13, k.command, std::strlen(k.command));
    if (k.param >= 0) {
        le_put_u32(r + 80, 1);
        le_put_u32(r + 84, static_cast<uint32_t>(k.param));
        const std::string digits = std::to_string(k.param);
        std::memcpy(r + 88, digits.data(), digits.size());
    }
    return driver_wire::datagram(NL_DEVICE_AT, static_cast<uint32_t>(len), record);
}

bool receive(int fd, std::vector<uint8_t>& buf, int wait_ms, ssize_t& n) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, wait_ms) != 1) {
        return false;
    }
    n = recv(fd, buf.data(), buf.size(), 0);
    return n > 0;
}

}  // namespace

int main(int argc, char** argv) {
    const Kind* kind = nullptr;
    uint64_t count = 1000;
    bool quiet = false;
    int i = 1;
    for (; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--") {
            ++i;
            break;
        }
        if (a == "--command" && i + 1 < argc) {
            kind = find_kind(argv[++i]);
        } else if (a == "--count" && i + 1 < argc) {
            count = std::strtoull(argv[++i], nullptr, 10);
        } else if (a == "--quiet") {
            quiet = true;
        } else {
            usage();
            return 2;
        }
    }
    if (kind == nullptr || i >= argc) {
        usage();
        return 2;
    }
    std::error_code ec;
    std::string tmpl = (std::filesystem::temp_directory_path(ec) / "tandrel-cost.XXXXXX").string();
    if (mkdtemp(tmpl.data()) == nullptr) {
        std::perror("tandrel-cost-driver: mkdtemp");
        return 1;
    }
    const std::string dir = tmpl;
    const uint32_t port = 0x7D000000u + static_cast<uint32_t>(getpid());
    const int fd = bench::driver_socket(port, 0, 0, 0);
    if (fd < 0) {
        std::perror("tandrel-cost-driver: netlink socket");
        return 1;
    }
    const pid_t server = bench::spawn_with_env(
        std::vector<std::string>(argv + i, argv + argc),
        {"TANDREL_RUN_DIR=" + dir, "TANDREL_NL_DRIVER_PID=" + std::to_string(port),
         "TANDREL_TRACE=" + dir + "/trace.log"},
        "");
    if (server <= 0) {
        std::fprintf(stderr, "tandrel-cost-driver: cannot start %s\n", argv[i]);
        return 1;
    }
    std::vector<uint8_t> in(20000);
    ssize_t n = 0;
    bool ok = receive(fd, in, kStartWaitMs, n);
    if (!ok) {
        std::fprintf(stderr, "tandrel-cost-driver: no first message from the server\n");
    }
    uint64_t answered = 0;
    for (uint64_t k = 0; ok && k < count; ++k) {
        const auto magic = static_cast<uint32_t>(k + 1);
        const std::vector<uint8_t> m = request(*kind, magic);
        if (driver_wire::send_to(fd, static_cast<uint32_t>(server), m) < 0) {
            std::perror("tandrel-cost-driver: send");
            ok = false;
            break;
        }
        if (!receive(fd, in, kAnswerWaitMs, n) ||
            n < static_cast<ssize_t>(kNlHeader + AT_RESPONSE_HEADER_SIZE + 1) ||
            le_get_u32(&in[kNlHeader]) != 0 || le_get_u32(&in[kNlHeader + 4]) != magic) {
            std::fprintf(stderr,
                         "tandrel-cost-driver: no answer, or a wrong one, to request %" PRIu64 "\n",
                         k + 1);
            ok = false;
            break;
        }
        ++answered;
    }
    kill(server, SIGTERM);
    int status = 0;
    waitpid(server, &status, 0);
    close(fd);
    const std::string rm = "rm -rf '" + dir + "'";
    if (std::system(rm.c_str()) != 0) {
        std::fprintf(stderr, "tandrel-cost-driver: %s left behind\n", dir.c_str());
    }
    if (!quiet) {
        std::printf("%s: %" PRIu64 " of %" PRIu64 " requests answered\n", kind->name, answered,
                    count);
    }
    return ok ? 0 : 1;
}
