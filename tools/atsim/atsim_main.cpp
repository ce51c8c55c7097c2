// tandrel-atsim: the simulated kernel AT driver of the emulated module.
#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "simulator.h"

namespace {

constexpr uint32_t kDefaultPortId = 0x7ADD0001;

void usage(FILE* to) {
    std::fputs(
        "usage: tandrel-atsim [--run-dir DIR] [--status-fd N] [--no-echo]\n"
        "                     [--timeout-scale F] [--handover-ms N]\n"
        "Offers the module's AT ports as pseudo-terminals linked by name in the run\n"
        "directory and forwards the daemon's commands over netlink.\n"
        "Environment: TANDREL_RUN_DIR (default run directory), TANDREL_NL_DRIVER_PID\n"
        "(netlink port id to bind, default 2061303809).\n",
        to);
}

template <typename T>
bool parse_number(std::string_view s, T& out) {
    const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), out);
    return !s.empty() && ec == std::errc() && end == s.data() + s.size();
}

bool parse_scale(const char* s, double& out) {
    char* end = nullptr;
    errno = 0;
    out = std::strtod(s, &end);
    return errno == 0 && end != s && *end == '\0' && out > 0 && out <= 1000;
}

}  // namespace

int main(int argc, char** argv) {
    atsim::SimOptions opt;
    const char* run_dir = std::getenv("TANDREL_RUN_DIR");
    opt.run_dir = run_dir != nullptr && *run_dir != '\0' ? run_dir : "run";
    opt.port_id = kDefaultPortId;
    if (const char* id = std::getenv("TANDREL_NL_DRIVER_PID"); id != nullptr && *id != '\0') {
        if (!parse_number(std::string_view(id), opt.port_id) || opt.port_id == 0) {
            std::fprintf(stderr, "tandrel-atsim: TANDREL_NL_DRIVER_PID \"%s\" is not a port id\n",
                         id);
            return 1;
        }
    }
    for (int i = 1; i < argc; ++i) {
        const std::string_view a = argv[i];
        const char* v = i + 1 < argc ? argv[i + 1] : nullptr;
        if (a == "--help" || a == "-h") {
            usage(stdout);
            return 0;
        }
        if (a == "--no-echo") {
            opt.session.echo = false;
        } else if (a == "--run-dir" && v != nullptr) {
            opt.run_dir = v;
            ++i;
        } else if (a == "--status-fd" && v != nullptr && parse_number(std::string_view(v), opt.status_fd) &&
                   opt.status_fd >= 0) {
            ++i;
        } else if (a == "--timeout-scale" && v != nullptr &&
                   parse_scale(v, opt.session.timeout_scale)) {
            ++i;
        } else if (unsigned ms = 0;
                   a == "--handover-ms" && v != nullptr && parse_number(std::string_view(v), ms)) {
            opt.session.handover_wait = std::chrono::milliseconds(ms);
            ++i;
        } else {
            std::fprintf(stderr, "tandrel-atsim: bad argument \"%s\"\n", argv[i]);
            usage(stderr);
            return 1;
        }
    }
    if (mkdir(opt.run_dir.c_str(), 0755) != 0 && errno != EEXIST) {
        std::fprintf(stderr, "tandrel-atsim: run directory %s: %s\n", opt.run_dir.c_str(),
                     std::strerror(errno));
        return 1;
    }
    return atsim::run_simulator(opt);
}
