// One AT port's context: its terminal's input, the command it runs, echo, held reports.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "command_line.h"
#include "driver_wire.h"
#include "registration.h"

namespace atsim {

using driver_wire::Answer;

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;

// Time-out used for an operation whose table word is 0.
inline constexpr uint32_t kDefaultTimeoutMs = 30000;

// What a session needs from the driver around it.
class SessionHost {
public:
    virtual ~SessionHost() = default;
    // The daemon's registration, or null before it arrived.
    virtual const Registration* registration() const = 0;
    // Sends a request to the daemon after giving it a fresh correlation
    // number (m_magic). Returns that number, or 0 when it could not be sent.
    virtual uint32_t send_request(AtRequest& req) = 0;
    // Bytes for the port's terminal.
    virtual void write(std::string_view bytes) = 0;
    // A command line has been answered completely (final result and any held
    // reports written).
    virtual void line_done() = 0;
    virtual void log(const std::string& msg) = 0;
};

struct SessionConfig {
    bool echo = true;
    // Factor applied to the table's time-outs (tests shorten them).
    double timeout_scale = 1.0;
    // How long a ^FWLOAD set may stay unanswered before the port counts as
    // handed to the firmware transfer.
    std::chrono::milliseconds handover_wait{3000};
    // Reports held while a command runs, at most this many bytes.
    size_t max_held_bytes = 64 * 1024;
};

class PortSession {
public:
    PortSession(uint32_t index, SessionHost& host, const SessionConfig& cfg);

    // Characters from the terminal.
    void on_input(std::string_view bytes, TimePoint now);
    // An answer carrying a correlation number; false when this port does not
    // await it.
    bool on_answer(const Answer& a);
    // A report or late final result addressed to this port.
    void on_report(const Answer& a);
    // Ends a command whose time is up.
    void on_tick(TimePoint now);

    std::optional<TimePoint> deadline() const;
    bool awaits(uint32_t magic) const;
    bool busy() const { return pending_.has_value(); }
    bool echo() const { return echo_; }
    uint32_t index() const { return index_; }

private:
    struct Pending {
        std::string name;
        uint32_t magic = 0;
        uint32_t abort_magic = 0;
        bool abortable = false;
        uint32_t abort_timeout_ms = 0;
        uint32_t err_code = 0;
        bool handover = false;
        TimePoint deadline;
    };

    void handle_line(const std::string& line, bool overflowed, TimePoint now);
    void start_command(const CommandLine& cl, TimePoint now);
    void keystroke_while_pending(TimePoint now);
    // Writes a final result, then the reports held meanwhile, and ends the line.
    void finish(std::string_view bytes);
    std::chrono::milliseconds scaled(uint32_t ms) const;

    uint32_t index_;
    SessionHost& host_;
    SessionConfig cfg_;
    bool echo_;
    bool prev_cr_ = false;
    LineAssembler line_;
    std::optional<Pending> pending_;
    std::vector<std::string> held_;
    size_t held_bytes_ = 0;
};

}  // namespace atsim
