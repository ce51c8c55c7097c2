// One AT port's context: line handling, the running command, its end, held reports.
#include "port_session.h"

#include <algorithm>
#include <cmath>

namespace atsim {

namespace {

constexpr std::string_view kOk = "\r\nOK\r\n";
constexpr std::string_view kError = "\r\nERROR\r\n";
constexpr std::string_view kErase = "\b \b";

// The daemon never answers this command; the driver answers it itself.
constexpr std::string_view kUnanswered = "^NLGPSOPT";
// A successful start of this command is not answered: the port then belongs
// to the firmware transfer.
constexpr std::string_view kHandover = "^FWLOAD";

}  // namespace

PortSession::PortSession(uint32_t index, SessionHost& host, const SessionConfig& cfg)
    : index_(index), host_(host), cfg_(cfg), echo_(cfg.echo) {}

std::chrono::milliseconds PortSession::scaled(uint32_t ms) const {
    const double base = ms == 0 ? kDefaultTimeoutMs : ms;
    const double v = std::max(1.0, std::round(base * cfg_.timeout_scale));
    return std::chrono::milliseconds(static_cast<int64_t>(v));
}

void PortSession::on_input(std::string_view bytes, TimePoint now) {
    for (char c : bytes) {
        // CR LF ends one line, not two; the LF is dropped even when the
        // command of that line is already running.
        if (c == '\n' && prev_cr_) {
            prev_cr_ = false;
            continue;
        }
        prev_cr_ = c == kS3;
        if (pending_) {
            keystroke_while_pending(now);
            continue;
        }
        switch (line_.feed(c)) {
            case LineAssembler::Fed::Stored:
                if (echo_) {
                    host_.write(std::string_view(&c, 1));
                }
                break;
            case LineAssembler::Fed::Erased:
                if (echo_) {
                    host_.write(kErase);
                }
                break;
            case LineAssembler::Fed::Ignored:
                break;
            case LineAssembler::Fed::LineEnd: {
                if (echo_) {
                    host_.write(std::string_view(&c, 1));
                }
                bool overflowed = false;
                const std::string line = line_.take(&overflowed);
                handle_line(line, overflowed, now);
                break;
            }
        }
    }
}

void PortSession::handle_line(const std::string& line, bool overflowed, TimePoint now) {
    if (overflowed) {
        host_.log("line longer than " + std::to_string(kMaxLineLength) + " characters refused");
        finish(kError);
        return;
    }
    const CommandLine cl = parse_command_line(line);
    switch (cl.kind) {
        case CommandLine::Kind::Empty:
            host_.line_done();
            return;
        case CommandLine::Kind::Plain:
            finish(kOk);
            return;
        case CommandLine::Kind::Echo:
            echo_ = cl.echo_on;
            finish(kOk);
            return;
        case CommandLine::Kind::Invalid:
            host_.log("line refused (" + cl.why + ")");
            finish(kError);
            return;
        case CommandLine::Kind::Extended:
            start_command(cl, now);
            return;
    }
}

void PortSession::start_command(const CommandLine& cl, TimePoint now) {
    const Registration* reg = host_.registration();
    const CommandRow* row = reg != nullptr ? reg->find(cl.name) : nullptr;
    if (row == nullptr) {
        host_.log("unknown command " + cl.name + (reg == nullptr ? " (no registration yet)" : ""));
        finish(kError);
        return;
    }
    AtRequest req;
    std::string why;
    if (!build_request(cl, *row, index_, req, &why)) {
        host_.log("line refused (" + why + ")");
        finish(kError);
        return;
    }
    const uint32_t magic = host_.send_request(req);
    if (magic == 0) {
        finish(kError);
        return;
    }
    if (row->name == kUnanswered) {
        host_.log(row->name + " is never answered by the daemon: answered here");
        finish(kOk);
        return;
    }
    Pending p;
    p.name = row->name;
    p.magic = magic;
    p.abortable = row->handler[NL_TYPE_ABORT];
    p.abort_timeout_ms = row->timeout_ms[NL_TYPE_ABORT];
    p.err_code = row->err_code;
    p.handover = row->name == kHandover && cl.type == NL_TYPE_SET;
    p.deadline = now + (p.handover ? cfg_.handover_wait : scaled(row->timeout_ms[cl.type]));
    pending_ = std::move(p);
}

void PortSession::keystroke_while_pending(TimePoint now) {
    Pending& p = *pending_;
    if (!p.abortable || p.abort_magic != 0) {
        return;  // the command cannot be aborted, or already is being aborted
    }
    AtRequest req{};
    req.m_uindex = index_;
    req.m_type = NL_TYPE_ABORT;
    std::copy_n(p.name.data(), std::min(p.name.size(), sizeof req.m_atcmd - 1), req.m_atcmd);
    const uint32_t magic = host_.send_request(req);
    if (magic == 0) {
        return;
    }
    host_.log("keystroke: abort of " + p.name + " sent");
    p.abort_magic = magic;
    p.deadline = now + scaled(p.abort_timeout_ms);
}

bool PortSession::awaits(uint32_t magic) const {
    return pending_ && magic != 0 && (magic == pending_->magic || magic == pending_->abort_magic);
}

bool PortSession::on_answer(const Answer& a) {
    if (!awaits(a.magic)) {
        return false;
    }
    if (a.uindex != index_) {
        host_.log("answer " + std::to_string(a.magic) + " names port " + std::to_string(a.uindex) +
                  ", written to port " + std::to_string(index_) + " where its command runs");
    }
    // Whichever of the command's and its abort's answers comes first ends
    // the command; the other is ignored when it comes.
    pending_.reset();
    finish(driver_wire::render(a));
    return true;
}

void PortSession::on_report(const Answer& a) {
    std::string bytes = driver_wire::render(a);
    if (!pending_) {
        host_.write(bytes);
        return;
    }
    if (held_bytes_ + bytes.size() > cfg_.max_held_bytes) {
        host_.log("report of " + std::to_string(bytes.size()) +
                  " bytes dropped: too much held while a command runs");
        return;
    }
    held_bytes_ += bytes.size();
    held_.push_back(std::move(bytes));
}

void PortSession::on_tick(TimePoint now) {
    if (!pending_ || now < pending_->deadline) {
        return;
    }
    const Pending p = std::move(*pending_);
    pending_.reset();
    if (p.handover) {
        host_.log(p.name + " unanswered: the port counts as handed to the firmware transfer");
        finish(kOk);
        return;
    }
    host_.log(p.name + " timed out");
    if (p.err_code != 0) {
        finish(driver_wire::cme_error(static_cast<int32_t>(p.err_code)));
    } else {
        finish(kError);
    }
}

std::optional<TimePoint> PortSession::deadline() const {
    if (!pending_) {
        return std::nullopt;
    }
    return pending_->deadline;
}

void PortSession::finish(std::string_view bytes) {
    host_.write(bytes);
    for (const std::string& r : held_) {
        host_.write(r);
    }
    held_.clear();
    held_bytes_ = 0;
    host_.line_done();
}

}  // namespace atsim
