// tandrel-sim: starts the simulated AT driver and the daemon, then serves a person or a batch.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fstream>
#include <functional>
#include <ftw.h>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "ports.h"

#ifndef TANDREL_SIM_ATSIM_PATH
#define TANDREL_SIM_ATSIM_PATH ""
#endif
#ifndef TANDREL_SIM_DAEMON_PATH
#define TANDREL_SIM_DAEMON_PATH ""
#endif
#ifndef TANDREL_SIM_NOTIFY_PATH
#define TANDREL_SIM_NOTIFY_PATH ""
#endif

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Netlink port ids of the driver: this base plus the launcher's pid, so
// launchers running side by side never share one (pids stay below 2^22),
// and none equals a pid.
constexpr uint32_t kDriverPortIdBase = 0x7A000000;
constexpr milliseconds kPortsWait{10000};
constexpr milliseconds kRegistrationWait{20000};
constexpr milliseconds kBytesWait{5000};
constexpr milliseconds kStopWait{3000};
// A daemon restarted by a batch may be under valgrind, whose leak check at
// the stop takes longer than that.
constexpr milliseconds kRestartStopWait{30000};

int g_signal_pipe[2] = {-1, -1};

void on_signal(int sig) {
    const int saved = errno;
    const char b = static_cast<char>(sig);
    [[maybe_unused]] const ssize_t n = write(g_signal_pipe[1], &b, 1);
    errno = saved;
}

void say(const std::string& msg) { std::fprintf(stderr, "tandrel-sim: %s\n", msg.c_str()); }

// ---- batch input -----------------------------------------------------------

struct Step {
    enum class Kind { Line, Type, Sync, Wait, Port, Notify, Shell, Restart } kind;
    std::string text;  // Line, Type: bytes to send; Port: port name; Notify: tool arguments;
                       // Shell: the command
    int ms = 0;        // Wait
    int line_no = 0;
};

bool unescape(const std::string& in, std::string& out, std::string& why) {
    for (size_t i = 0; i < in.size(); ++i) {
        if (in[i] != '\\') {
            out.push_back(in[i]);
            continue;
        }
        if (++i == in.size()) {
            why = "lone backslash";
            return false;
        }
        switch (in[i]) {
            case 'r': out.push_back('\r'); break;
            case 'n': out.push_back('\n'); break;
            case 'b': out.push_back('\b'); break;
            case '\\': out.push_back('\\'); break;
            case 'x': {
                if (i + 2 >= in.size()) {
                    why = "short \\x escape";
                    return false;
                }
                const std::string hex = in.substr(i + 1, 2);
                char* end = nullptr;
                const long v = std::strtol(hex.c_str(), &end, 16);
                if (hex.size() != 2 || end != hex.c_str() + 2) {
                    why = "bad \\x escape";
                    return false;
                }
                out.push_back(static_cast<char>(v));
                i += 2;
                break;
            }
            default:
                why = std::string("unknown escape \\") + in[i];
                return false;
        }
    }
    return true;
}

// Lines of a batch file: AT lines are sent on the current port followed by
// CR; "#" starts a comment; "@" starts a directive.
bool parse_batch(std::istream& in, std::vector<Step>& steps) {
    std::string line;
    int no = 0;
    while (std::getline(in, line)) {
        ++no;
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.empty() || line[0] == '#') {
            continue;
        }
        Step s{};
        s.line_no = no;
        if (line[0] != '@') {
            s.kind = Step::Kind::Line;
            s.text = line + "\r";
            steps.push_back(std::move(s));
            continue;
        }
        const size_t sp = line.find(' ');
        const std::string word = line.substr(0, sp);
        const std::string arg = sp == std::string::npos ? "" : line.substr(sp + 1);
        std::string why;
        if (word == "@port" && atsim::port_by_name(arg) != nullptr) {
            s.kind = Step::Kind::Port;
            s.text = arg;
        } else if (word == "@type" && !arg.empty() && unescape(arg, s.text, why)) {
            s.kind = Step::Kind::Type;
        } else if (word == "@sync" && arg.empty()) {
            s.kind = Step::Kind::Sync;
        } else if (word == "@wait" && !arg.empty() &&
                   arg.find_first_not_of("0123456789") == std::string::npos && arg.size() < 7) {
            s.kind = Step::Kind::Wait;
            s.ms = std::stoi(arg);
        } else if (word == "@notify" && arg.find_first_not_of(' ') != std::string::npos) {
            s.kind = Step::Kind::Notify;
            s.text = arg;
        } else if (word == "@sh" && arg.find_first_not_of(' ') != std::string::npos) {
            s.kind = Step::Kind::Shell;
            s.text = arg;
        } else if (word == "@restart" && arg.empty()) {
            s.kind = Step::Kind::Restart;
        } else {
            say("batch line " + std::to_string(no) + ": bad directive \"" + line + "\"" +
                (why.empty() ? "" : " (" + why + ")"));
            return false;
        }
        steps.push_back(std::move(s));
    }
    return true;
}

// ---- children --------------------------------------------------------------

struct Child {
    std::string name;
    std::string log;
    pid_t pid = -1;
    bool running = false;
    int status = 0;
};

// Starts argv with the extra environment, stdin from /dev/null, stdout and
// stderr into log_fd and, if status_fd >= 0, that pipe as descriptor 3. The
// child gets its own process group (a Ctrl-C reaches the launcher only,
// which stops the children in order) and dies with the launcher.
bool spawn(Child& c, const std::vector<std::string>& argv, const std::vector<std::string>& env,
           int log_fd, int status_fd) {
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid < 0) {
        say("fork: " + std::string(std::strerror(errno)));
        return false;
    }
    if (pid == 0) {
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent) {
            _exit(127);
        }
        const int null_fd = open("/dev/null", O_RDONLY);
        dup2(null_fd, 0);
        dup2(log_fd, 1);
        dup2(log_fd, 2);
        if (status_fd >= 0) {
            dup2(status_fd, 3);
        }
        for (const std::string& e : env) {
            putenv(const_cast<char*>(e.c_str()));
        }
        std::vector<char*> args;
        for (const std::string& a : argv) {
            args.push_back(const_cast<char*>(a.c_str()));
        }
        args.push_back(nullptr);
        signal(SIGPIPE, SIG_DFL);
        execv(args[0], args.data());
        std::fprintf(stderr, "tandrel-sim: cannot run %s: %s\n", args[0], std::strerror(errno));
        _exit(127);
    }
    c.pid = pid;
    c.running = true;
    return true;
}

std::string exit_text(int status) {
    if (WIFEXITED(status)) {
        return "exited with status " + std::to_string(WEXITSTATUS(status));
    }
    if (WIFSIGNALED(status)) {
        return std::string("killed by signal ") + strsignal(WTERMSIG(status));
    }
    return "stopped";
}

void reap(Child& c) {
    if (!c.running) {
        return;
    }
    int st = 0;
    if (waitpid(c.pid, &st, WNOHANG) == c.pid) {
        c.running = false;
        c.status = st;
    }
}

void stop(Child& c, milliseconds wait = kStopWait) {
    reap(c);
    if (!c.running) {
        return;
    }
    kill(c.pid, SIGTERM);
    const auto until = Clock::now() + wait;
    while (Clock::now() < until) {
        reap(c);
        if (!c.running) {
            return;
        }
        usleep(10000);
    }
    kill(c.pid, SIGKILL);
    int st = 0;
    waitpid(c.pid, &st, 0);
    c.running = false;
    c.status = st;
}

// The last lines of a log, for a failure message.
void show_tail(const std::string& path, size_t n) {
    std::ifstream f(path);
    std::deque<std::string> lines;
    std::string l;
    while (std::getline(f, l)) {
        lines.push_back(l);
        if (lines.size() > n) {
            lines.pop_front();
        }
    }
    for (const std::string& s : lines) {
        std::fprintf(stderr, "  | %s\n", s.c_str());
    }
}

int remove_entry(const char* path, const struct stat*, int, FTW*) { return remove(path); }

// ---- the session -----------------------------------------------------------

struct Options {
    std::string run_dir;
    std::optional<std::string> batch;
    std::string timeout_scale;
    std::string atsim = TANDREL_SIM_ATSIM_PATH;
    std::string daemon = TANDREL_SIM_DAEMON_PATH;
    std::string notify = TANDREL_SIM_NOTIFY_PATH;
};

class Sim {
public:
    explicit Sim(Options o) : opt_(std::move(o)) {}
    int run();

private:
    bool start();
    bool start_daemon();
    bool restart_daemon(int line_no);
    void shutdown();
    // Serves events until done() holds (true), the deadline passes, a child
    // stops or a signal arrives (false).
    bool pump(const std::function<bool()>& done, std::optional<Clock::time_point> deadline);
    void status_line(const std::string& l);
    bool open_port(const std::string& name);
    bool send(const std::string& port, const std::string& bytes);
    bool wait_done(const std::string& port, int line_no);
    int interactive();
    bool raise_event(const std::string& args, int line_no);
    bool run_tool(std::vector<std::string> argv, const std::string& what, int line_no);
    int batch(const std::vector<Step>& steps);
    bool children_ok();

    Options opt_;
    std::string dir_;
    std::vector<std::string> env_;  // of both children
    bool temp_dir_ = false;
    Child atsim_{"tandrel-atsim", "", -1, false, 0};
    Child daemon_{"tandrel", "", -1, false, 0};
    int status_rd_ = -1;
    std::string status_buf_;
    bool ports_ready_ = false;
    bool registered_ = false;
    bool interrupted_ = false;
    bool stopping_ = false;
    std::map<std::string, int> port_fd_;
    std::map<std::string, uint64_t> received_;
    std::map<std::string, std::deque<uint64_t>> done_;
    std::string current_ = "pcui";
    bool echo_stdout_ = false;
};

bool Sim::children_ok() {
    reap(atsim_);
    reap(daemon_);
    for (Child* c : {&atsim_, &daemon_}) {
        if (c->pid > 0 && !c->running && !stopping_) {
            say(c->name + " " + exit_text(c->status) + "; its log " + c->log + " ends with:");
            show_tail(c->log, 8);
            return false;
        }
    }
    return true;
}

void Sim::status_line(const std::string& l) {
    std::istringstream in(l);
    std::string word;
    in >> word;
    if (word == "ports") {
        ports_ready_ = true;
    } else if (word == "registered") {
        registered_ = true;
    } else if (word == "done") {
        std::string port;
        uint64_t total = 0;
        if (in >> port >> total) {
            done_[port].push_back(total);
        }
    }
}

bool Sim::pump(const std::function<bool()>& done, std::optional<Clock::time_point> deadline) {
    std::vector<pollfd> fds;
    std::vector<std::string> names;
    char buf[4096];
    while (!done()) {
        if (interrupted_ || !children_ok()) {
            return false;
        }
        int timeout = -1;
        if (deadline) {
            const auto left =
                std::chrono::ceil<milliseconds>(*deadline - Clock::now()).count();
            if (left <= 0) {
                return false;
            }
            timeout = static_cast<int>(left);
        }
        fds.clear();
        names.clear();
        fds.push_back({g_signal_pipe[0], POLLIN, 0});
        fds.push_back({status_rd_, static_cast<short>(status_rd_ >= 0 ? POLLIN : 0), 0});
        for (const auto& [name, fd] : port_fd_) {
            fds.push_back({fd, POLLIN, 0});
            names.push_back(name);
        }
        if (poll(fds.data(), fds.size(), timeout) < 0 && errno != EINTR) {
            say("poll: " + std::string(std::strerror(errno)));
            return false;
        }
        if ((fds[0].revents & POLLIN) != 0) {
            char sig[16];
            const ssize_t n = read(g_signal_pipe[0], sig, sizeof sig);
            for (ssize_t i = 0; i < n; ++i) {
                if (sig[i] != SIGCHLD) {
                    interrupted_ = true;
                }
            }
        }
        if ((fds[1].revents & (POLLIN | POLLHUP)) != 0) {
            const ssize_t n = read(status_rd_, buf, sizeof buf);
            if (n <= 0) {
                close(status_rd_);
                status_rd_ = -1;
            } else {
                status_buf_.append(buf, static_cast<size_t>(n));
                for (size_t nl; (nl = status_buf_.find('\n')) != std::string::npos;) {
                    status_line(status_buf_.substr(0, nl));
                    status_buf_.erase(0, nl + 1);
                }
            }
        }
        for (size_t i = 0; i < names.size(); ++i) {
            if ((fds[i + 2].revents & POLLIN) == 0) {
                continue;
            }
            const ssize_t n = read(fds[i + 2].fd, buf, sizeof buf);
            if (n <= 0) {
                continue;
            }
            received_[names[i]] += static_cast<uint64_t>(n);
            if (echo_stdout_ && names[i] == current_) {
                std::fwrite(buf, 1, static_cast<size_t>(n), stdout);
            }
        }
    }
    return true;
}

bool Sim::open_port(const std::string& name) {
    if (port_fd_.count(name) != 0) {
        return true;
    }
    const std::string path = dir_ + "/" + name;
    const int fd = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        say(path + ": " + std::strerror(errno));
        return false;
    }
    termios t{};
    if (tcgetattr(fd, &t) == 0) {
        cfmakeraw(&t);
        tcsetattr(fd, TCSANOW, &t);
    }
    port_fd_[name] = fd;
    return true;
}

bool Sim::send(const std::string& port, const std::string& bytes) {
    const int fd = port_fd_.at(port);
    size_t off = 0;
    const auto until = Clock::now() + kBytesWait;
    while (off < bytes.size()) {
        const ssize_t n = write(fd, bytes.data() + off, bytes.size() - off);
        if (n > 0) {
            off += static_cast<size_t>(n);
            continue;
        }
        if (n < 0 && errno != EAGAIN && errno != EINTR) {
            say(port + ": write: " + std::strerror(errno));
            return false;
        }
        if (Clock::now() >= until) {
            say(port + ": the driver does not read");
            return false;
        }
        pollfd p{fd, POLLOUT, 0};
        poll(&p, 1, 10);
    }
    return true;
}

bool Sim::wait_done(const std::string& port, int line_no) {
    // The driver says when a line is answered and how many bytes the port has
    // carried so far; the answer is complete once that many have arrived.
    if (!pump([&] { return !done_[port].empty(); }, std::nullopt)) {
        if (!interrupted_) {
            say("batch line " + std::to_string(line_no) + ": no answer");
        }
        return false;
    }
    const uint64_t total = done_[port].front();
    done_[port].pop_front();
    if (!pump([&] { return received_[port] >= total; }, Clock::now() + kBytesWait)) {
        say("batch line " + std::to_string(line_no) + ": " + std::to_string(received_[port]) +
            " of " + std::to_string(total) + " bytes arrived on " + port);
        return false;
    }
    return true;
}

bool Sim::start() {
    if (opt_.run_dir.empty()) {
        if (opt_.batch) {
            const char* tmp = std::getenv("TMPDIR");
            std::string tmpl = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") +
                               "/tandrel-sim.XXXXXX";
            if (mkdtemp(tmpl.data()) == nullptr) {
                say(tmpl + ": " + std::strerror(errno));
                return false;
            }
            opt_.run_dir = tmpl;
            temp_dir_ = true;
        } else {
            const char* env = std::getenv("TANDREL_RUN_DIR");
            opt_.run_dir = env != nullptr && *env != '\0' ? env : "run";
        }
    }
    if (mkdir(opt_.run_dir.c_str(), 0755) != 0 && errno != EEXIST) {
        say("run directory " + opt_.run_dir + ": " + std::strerror(errno));
        return false;
    }
    char* real = realpath(opt_.run_dir.c_str(), nullptr);
    if (real == nullptr) {
        say("run directory " + opt_.run_dir + ": " + std::strerror(errno));
        return false;
    }
    dir_ = real;
    free(real);
    if (opt_.atsim.empty() || opt_.daemon.empty()) {
        say(std::string("no ") + (opt_.atsim.empty() ? "tandrel-atsim" : "daemon") +
            " was built with this launcher; name it with --atsim or --daemon");
        return false;
    }

    const std::string port_id = std::to_string(kDriverPortIdBase + static_cast<uint32_t>(getpid()));
    env_ = {
        "TANDREL_RUN_DIR=" + dir_,
        "TANDREL_NL_DRIVER_PID=" + port_id,
        "TANDREL_TRACE=" + dir_ + "/trace.log",
    };

    int status[2];
    if (pipe2(status, O_CLOEXEC) != 0) {
        say(std::string("pipe: ") + std::strerror(errno));
        return false;
    }
    status_rd_ = status[0];
    atsim_.log = dir_ + "/atsim.log";
    daemon_.log = dir_ + "/tandrel.log";
    const int atsim_log = open(atsim_.log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (atsim_log < 0) {
        say("logs in " + dir_ + ": " + std::strerror(errno));
        return false;
    }
    std::vector<std::string> argv = {opt_.atsim, "--run-dir", dir_, "--status-fd", "3"};
    if (opt_.batch) {
        argv.push_back("--no-echo");
    }
    if (!opt_.timeout_scale.empty()) {
        argv.push_back("--timeout-scale");
        argv.push_back(opt_.timeout_scale);
    }
    const bool ok = spawn(atsim_, argv, env_, atsim_log, status[1]);
    close(status[1]);
    close(atsim_log);
    if (!ok || !pump([&] { return ports_ready_; }, Clock::now() + kPortsWait)) {
        if (!interrupted_) {
            say("tandrel-atsim did not offer its ports; see " + atsim_.log);
        }
        return false;
    }
    // The batch terminal is attached before the daemon starts, so it sees
    // everything the daemon sends to PCUI.
    if (opt_.batch && !open_port(current_)) {
        return false;
    }
    return start_daemon();
}

// Starts the daemon and waits for its registration.
bool Sim::start_daemon() {
    const int daemon_log =
        open(daemon_.log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (daemon_log < 0) {
        say(daemon_.log + ": " + std::strerror(errno));
        return false;
    }
    registered_ = false;
    const bool daemon_ok = spawn(daemon_, {opt_.daemon}, env_, daemon_log, -1);
    close(daemon_log);
    if (!daemon_ok || !pump([&] { return registered_; }, Clock::now() + kRegistrationWait)) {
        if (!interrupted_ && daemon_.running && atsim_.running) {
            say("the daemon did not register its commands; see " + daemon_.log + " and " +
                atsim_.log);
        }
        return false;
    }
    return true;
}

// Stops the daemon as the driver's own stop does (SIGTERM, which the daemon
// does not handle: it ends on the spot, its files as they are) and starts it
// again under the running driver.
bool Sim::restart_daemon(int line_no) {
    stopping_ = true;
    stop(daemon_, kRestartStopWait);
    stopping_ = false;
    if (!start_daemon()) {
        say("batch line " + std::to_string(line_no) + ": the daemon did not come back");
        return false;
    }
    return true;
}

void Sim::shutdown() {
    stopping_ = true;
    stop(daemon_);
    stop(atsim_);
    for (const auto& [name, fd] : port_fd_) {
        close(fd);
    }
    port_fd_.clear();
    if (status_rd_ >= 0) {
        close(status_rd_);
        status_rd_ = -1;
    }
}

int Sim::interactive() {
    std::printf("Emulated module running; run directory %s\n", dir_.c_str());
    for (const atsim::PortInfo& p : atsim::kPorts) {
        std::printf("  %-8s %s/%s  (port index %u)\n", p.name, dir_.c_str(), p.name, p.index);
    }
    std::printf("Attach a terminal, for example:  picocom -q %s/pcui   (leave with C-a C-x)\n",
                dir_.c_str());
    std::printf("Logs: %s (driver), %s and %s/trace.log (daemon). Stop with Ctrl-C.\n",
                atsim_.log.c_str(), daemon_.log.c_str(), dir_.c_str());
    std::fflush(stdout);
    pump([] { return false; }, std::nullopt);
    if (interrupted_) {
        std::printf("Stopping.\n");
        return 0;
    }
    return 1;
}

// Runs tandrel-notify on this run's bus with the words of args and waits for
// its verdict. Its output goes to standard error: standard output carries
// only the terminal's bytes.
bool Sim::raise_event(const std::string& args, int line_no) {
    if (opt_.notify.empty()) {
        say("batch line " + std::to_string(line_no) +
            ": no tandrel-notify was built with this launcher; name it with --notify");
        return false;
    }
    std::vector<std::string> argv = {opt_.notify, "--run-dir", dir_};
    std::istringstream in(args);
    for (std::string w; in >> w;) {
        argv.push_back(w);
    }
    return run_tool(argv, "tandrel-notify " + args, line_no);
}

// Runs argv to its end, its output on standard error; the batch fails
// unless it exits 0. A shell command finds the run directory in
// TANDREL_RUN_DIR.
bool Sim::run_tool(std::vector<std::string> argv, const std::string& what, int line_no) {
    std::vector<char*> cargv;
    for (std::string& a : argv) {
        cargv.push_back(a.data());
    }
    cargv.push_back(nullptr);
    const std::string where = "batch line " + std::to_string(line_no) + ": ";
    const pid_t pid = fork();
    if (pid < 0) {
        say(where + "fork: " + std::strerror(errno));
        return false;
    }
    if (pid == 0) {
        const int null_fd = open("/dev/null", O_RDONLY);
        dup2(null_fd, 0);
        dup2(2, 1);
        signal(SIGPIPE, SIG_DFL);
        setenv("TANDREL_RUN_DIR", dir_.c_str(), 1);
        execv(cargv[0], cargv.data());
        std::fprintf(stderr, "tandrel-sim: cannot run %s: %s\n", cargv[0], std::strerror(errno));
        _exit(127);
    }
    int st = 0;
    while (waitpid(pid, &st, 0) < 0 && errno == EINTR) {
    }
    if (!WIFEXITED(st) || WEXITSTATUS(st) != 0) {
        say(where + what + " " + exit_text(st));
        return false;
    }
    return true;
}

int Sim::batch(const std::vector<Step>& steps) {
    echo_stdout_ = true;
    for (const Step& s : steps) {
        bool ok = true;
        switch (s.kind) {
            case Step::Kind::Port:
                ok = open_port(s.text);
                if (ok) {
                    current_ = s.text;
                }
                break;
            case Step::Kind::Line:
                ok = send(current_, s.text) && wait_done(current_, s.line_no);
                break;
            case Step::Kind::Type:
                ok = send(current_, s.text);
                break;
            case Step::Kind::Sync:
                ok = wait_done(current_, s.line_no);
                break;
            case Step::Kind::Notify:
                ok = raise_event(s.text, s.line_no) && children_ok();
                break;
            case Step::Kind::Shell:
                ok = run_tool({"/bin/sh", "-c", s.text}, s.text, s.line_no) && children_ok();
                break;
            case Step::Kind::Restart:
                ok = restart_daemon(s.line_no);
                break;
            case Step::Kind::Wait: {
                const auto until = Clock::now() + milliseconds(s.ms);
                pump([] { return false; }, until);
                ok = !interrupted_ && children_ok();
                break;
            }
        }
        if (!ok) {
            std::fflush(stdout);
            return 1;
        }
    }
    std::fflush(stdout);
    return 0;
}

int Sim::run() {
    std::vector<Step> steps;
    if (opt_.batch) {
        std::ifstream file;
        std::istream* in = &std::cin;
        if (*opt_.batch != "-") {
            file.open(*opt_.batch);
            if (!file) {
                say(*opt_.batch + ": cannot read");
                return 2;
            }
            in = &file;
        }
        if (!parse_batch(*in, steps)) {
            return 2;
        }
    }
    int rc = 1;
    if (start()) {
        rc = opt_.batch ? batch(steps) : interactive();
    }
    shutdown();
    if (temp_dir_ && rc == 0) {
        nftw(dir_.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
    } else if (temp_dir_) {
        say("run directory kept for its logs: " + dir_);
    }
    return rc;
}

void usage(FILE* to) {
    std::fputs(
        "usage: tandrel-sim [--run-dir DIR] [--batch FILE|-] [--timeout-scale F]\n"
        "                   [--daemon PATH] [--atsim PATH] [--notify PATH]\n"
        "Starts the emulated module: the simulated AT driver with its ports as\n"
        "pseudo-terminals, and the daemon. Without --batch it runs until Ctrl-C.\n"
        "With --batch it sends each AT line of FILE (- for stdin) on PCUI, waits\n"
        "for its final answer and writes the bytes the terminal receives to stdout.\n",
        to);
}

}  // namespace

int main(int argc, char** argv) {
    Options opt;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool has_value = i + 1 < argc;
        if (a == "--help" || a == "-h") {
            usage(stdout);
            return 0;
        }
        if (has_value && a == "--run-dir") {
            opt.run_dir = argv[++i];
        } else if (has_value && a == "--batch") {
            opt.batch = argv[++i];
        } else if (has_value && a == "--timeout-scale") {
            opt.timeout_scale = argv[++i];
        } else if (has_value && a == "--daemon") {
            opt.daemon = argv[++i];
        } else if (has_value && a == "--atsim") {
            opt.atsim = argv[++i];
        } else if (has_value && a == "--notify") {
            opt.notify = argv[++i];
        } else {
            say("bad argument \"" + a + "\"");
            usage(stderr);
            return 2;
        }
    }
    if (pipe2(g_signal_pipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        std::perror("tandrel-sim: pipe");
        return 1;
    }
    struct sigaction sa {};
    sa.sa_handler = on_signal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    for (int sig : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) {
        sigaction(sig, &sa, nullptr);
    }
    signal(SIGPIPE, SIG_IGN);
    return Sim(std::move(opt)).run();
}
