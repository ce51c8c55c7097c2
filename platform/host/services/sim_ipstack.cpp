// Simulated IP stack service: links, listeners, one SSL link, heartbeat, mail, HTTP, FTP, over
// the host's network or a scripted one.
#include "sim_ipstack.h"

#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "hex_digit.h"
#include "host_env.h"
#include "ipstack.h"
#include "net/net_links.h"
#include "net/net_transfer.h"
#include "osa.h"
#include "tandrel_trace.h"

#define SIM_TRACE(level, ...) TANDREL_TRACE_TAG("sim-ipstack", level, __VA_ARGS__)

namespace {

constexpr uint32_t kLinks = 5;      // links 1 to 5
constexpr uint32_t kSslIndex = 6;   // the service's index of its one SSL link (shown as 7)
constexpr uint32_t kListeners = 3;  // listening sockets 1 to 3
constexpr size_t kMaxCerts = 5;
constexpr size_t kMaxRxBuffer = 65536;  // received bytes kept per link in buffered mode
constexpr uint32_t kSlowMs = 1500;      // connect time of a host named "slow..."
constexpr uint32_t kMailMs = 500;       // time to hand a mail to the server
constexpr const char* kLocalIp = "10.64.0.2";
// A command that waits for the network answers after this long at the
// latest; its result then comes as a late result.
constexpr auto kAnswerWithin = std::chrono::milliseconds(1000);

// Result numbers of the simulation; a failure without a number is left to
// the relay's own.
constexpr int32_t ERR_NONE = 0;
constexpr int32_t ERR_NOT_ALLOWED = 3;
constexpr int32_t ERR_NOT_SUPPORTED = 4;
constexpr int32_t ERR_BAD_PARAM = 50;
// Error codes of late results: the peer reset the connection; the command
// was aborted, or its link closed under it.
constexpr uint32_t ERR_CONN_RESET = net_links::ERR_RESET;
constexpr uint32_t ERR_ABORTED = net_links::ERR_ABORTED;
// Command kinds of late results besides ^IPSENDEX and ^SSLRX.
constexpr uint32_t KIND_IPOPEN = 3;
constexpr uint32_t KIND_SSLO = 15;

// ^IPSTATE: link, state, cause.
constexpr uint32_t LINK_DOWN = 0;
constexpr uint32_t LINK_UP = 1;
constexpr uint32_t CAUSE_COMMAND = 0;
constexpr uint32_t CAUSE_PEER = 1;
// ^IPSRVST: listener, state, port.
constexpr uint32_t SERVER_CLOSED = 0;
constexpr uint32_t SERVER_LISTENING = 1;
// Link kinds of data events.
constexpr uint32_t KIND_TCP = 0;
constexpr uint32_t KIND_UDP = 1;

struct Link {
    bool open = false;
    bool udp = false;
    std::string host;
    uint32_t port = 0;
    uint32_t local_port = 0;
    uint32_t channel = 0;
    uint64_t sent = 0;
    uint64_t received = 0;
    std::string rx;  // buffered receive mode: what ^IPRCV reads
    bool heartbeat = false;
    // The real network's side of a link.
    bool connecting = false;      // the connect is under way
    bool late = false;            // and its command has answered already
    uint64_t queued = 0;          // bytes handed to the network
    std::deque<uint64_t> sendex;  // for each ^IPSENDEX waiting: queued when its data is out
    bool held = false;            // rx is full: the network holds further data back
};

struct Listener {
    bool open = false;
    bool udp = false;
    uint32_t port = 0;
    uint32_t channel = 0;  // of the links it accepts
};

struct State {
    bool inited = false;
    std::string apn;
    std::string user;
    uint32_t dns_mode = 0;
    std::array<Link, kLinks> links;
    std::array<Listener, kListeners> listeners;
    uint32_t rx_mode = 0;  // 0: data reported as it comes; 1: kept for ^IPRCV
    uint32_t send_timer = 200;
    uint32_t packet_size = 1024;
    std::array<uint32_t, 3> ipopt{0, 0, 64};  // keep-alive, no-delay, TTL
    uint32_t hbe_interval = 60;
    uint32_t hbe_max = 3;
    std::string hbe_data = "00";
    uint64_t heartbeats = 0;
    uint32_t mails = 0;
    uint32_t http_requests = 0;
    uint32_t ftp_requests = 0;
    uint32_t http_sock_type = 0;
    bool ssl_enabled = false;
    uint32_t ssl_encoding = 0;
    uint32_t ssl_verify = 0;
    std::vector<std::string> certs;
    Link ssl;
    std::string ssl_rx;
    bool ssl_waiting = false;   // an ^SSLRX waits for data
    uint32_t running_kind = 0;  // the last command that answered before its end, if it runs
    uint32_t running_link = 0;
    // How the last connect of each link (the SSL link's at kSslIndex) ended:
    // -1 while it runs, else 0 or its error. The link itself may have
    // closed again before its command looks.
    std::array<int64_t, kSslIndex + 1> connect_outcome{};
    bool failures_loaded = false;
    std::vector<std::pair<std::string, int32_t>> failures;  // from the environment
};

State& st() {
    static State s;
    return s;
}

SimIpstackRaise g_raise = notify_bus_raise;

// The state is shared with the network's thread: commands hold the lock
// while they run, the network while it tells what happened. A command that
// waits for the network waits on g_cv.
std::mutex g_mu;
std::condition_variable_any g_cv;

// The real network, or null in the scripted world.
net_links::Links* net();

// The real network, on paths that only its own events lead to (a connect
// under way, a wait for data): never reached in the scripted world.
net_links::Links& live_net() {
    net_links::Links* n = net();
    if (n == nullptr) {
        SIM_TRACE(TRACE_LEVEL_ERROR, "the scripted world reached the host's network\n");
        abort();
    }
    return *n;
}

// The links, SSL link and transfers reach real peers through the host's
// network unless TANDREL_SIM_NET=scripted selects the scripted world (an
// echoing peer and servers with fixed answers). A build without the host's
// network libraries has the scripted world only.
bool real_network() {
    static const bool real = [] {
        const char* world = getenv("TANDREL_SIM_NET");
        return TANDREL_HOST_NETWORK != 0 && (world == nullptr || strcmp(world, "scripted") != 0);
    }();
    return real;
}

std::string fmt(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string fmt(const char* format, ...) {
    char buf[1024];
    va_list ap;
    va_start(ap, format);
    const int n = vsnprintf(buf, sizeof buf, format, ap);
    va_end(ap);
    if (n < 0) {
        return {};
    }
    return std::string(
        buf, static_cast<size_t>(n) < sizeof buf ? static_cast<size_t>(n) : sizeof buf - 1);
}

bool contains(const std::string& s, const char* word) {
    return s.find(word) != std::string::npos;
}

std::string upper(std::string s) {
    for (char& c : s) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return s;
}

// ---- parameters -------------------------------------------------------------

// The parameters as typed. Every IP stack command but ^IPDNSCFG is
// untemplated, so numbers mostly arrive as text; both forms are taken.
class Params {
  public:
    explicit Params(const AtRequest* r)
        : r_(r),
          n_(r->m_para_count < AT_MAX_PARAS ? r->m_para_count
                                            : static_cast<uint32_t>(AT_MAX_PARAS)) {}
    uint32_t count() const { return n_; }

    // The text of parameter i without surrounding quotes; "" when missing.
    std::string text(uint32_t i) const {
        if (i >= n_) {
            return {};
        }
        const AtCmdParam& p = r_->m_para_list[i];
        if (p.usParaLen == 0) {
            return std::to_string(p.ulParaValue);
        }
        std::string_view t = at_para_text(p);
        if (t.size() >= 2 && t.front() == '"' && t.back() == '"') {
            t = t.substr(1, t.size() - 2);
        }
        return std::string(t);
    }

    // Parameter i as a number in [lo, hi].
    bool number(uint32_t i, uint32_t lo, uint32_t hi, uint32_t* v) const {
        if (i >= n_) {
            return false;
        }
        const AtCmdParam& p = r_->m_para_list[i];
        uint64_t value = p.ulParaValue;
        if (p.usParaLen != 0) {
            const std::string t = text(i);
            if (t.empty() || t.size() > 10 ||
                t.find_first_not_of("0123456789") != std::string::npos) {
                return false;
            }
            value = strtoull(t.c_str(), nullptr, 10);
        }
        if (value < lo || value > hi) {
            return false;
        }
        *v = static_cast<uint32_t>(value);
        return true;
    }

    // Parameter i as a link number 1 to 5, given back as its index 0 to 4.
    bool link(uint32_t i, uint32_t* index) const {
        uint32_t v = 0;
        if (!number(i, 1, kLinks, &v)) {
            return false;
        }
        *index = v - 1;
        return true;
    }

  private:
    const AtRequest* r_;
    uint32_t n_;
};

bool hex_decode(const std::string& hex, std::string* out) {
    if (hex.empty() || hex.size() % 2 != 0) {
        return false;
    }
    out->clear();
    for (size_t i = 0; i < hex.size(); i += 2) {
        const int hi = hex_digit_value(hex[i]);
        const int lo = hex_digit_value(hex[i + 1]);
        if (hi < 0 || lo < 0) {
            return false;
        }
        out->push_back(static_cast<char>(hi * 16 + lo));
    }
    return true;
}

// Data of an SSL link whose encoding is on travels base64-encoded.
std::string base64(std::string_view in) {
    static const char kAlphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (size_t i = 0; i < in.size(); i += 3) {
        const auto byte = [&](size_t k) -> uint32_t {
            return k < in.size() ? static_cast<uint8_t>(in[k]) : 0u;
        };
        const uint32_t v = byte(i) << 16 | byte(i + 1) << 8 | byte(i + 2);
        out.push_back(kAlphabet[(v >> 18) & 63]);
        out.push_back(kAlphabet[(v >> 12) & 63]);
        out.push_back(i + 1 < in.size() ? kAlphabet[(v >> 6) & 63] : '=');
        out.push_back(i + 2 < in.size() ? kAlphabet[v & 63] : '=');
    }
    return out;
}

// ---- replies ------------------------------------------------------------------

int32_t reply(AtResponse* out, std::string_view bytes) {
    const size_t n = bytes.size() < sizeof out->m_buffer ? bytes.size() : sizeof out->m_buffer - 1;
    memcpy(out->m_buffer, bytes.data(), n);
    out->m_buffer[n] = '\0';
    out->m_length = static_cast<uint32_t>(n);
    return 0;
}

int32_t ok(AtResponse* out) {
    return reply(out, AT_TEXT_OK);
}

// A reply of lines "^NAME: ..." followed by OK; OK alone without lines.
int32_t list_reply(AtResponse* out, const std::vector<std::string>& lines) {
    std::string r = "\r\n";
    for (const std::string& l : lines) {
        r += l + "\r\n";
    }
    return reply(out, lines.empty() ? std::string(AT_TEXT_OK) : r + "\r\nOK\r\n");
}

int32_t fail(AtResponse* out, int32_t number) {
    out->m_retenum = number;
    out->m_length = 0;
    out->m_buffer[0] = '\0';
    return -1;
}

// ---- events -----------------------------------------------------------------

// Events that the network's thread causes wait until its round ends and the
// lock is free: a bus whose queue is full makes its posters wait for the
// message loop, which may itself be waiting for the lock.
struct Raised {
    uint32_t event;
    NotifySlot slot;
    std::string record;
};
thread_local bool t_defer = false;
thread_local std::vector<Raised> t_outbox;

void raise(uint32_t event, NotifySlot slot, const void* record, uint32_t len) {
    if (t_defer) {
        t_outbox.push_back(Raised{event, slot, std::string(static_cast<const char*>(record), len)});
        return;
    }
    const NotifyEvent e{
        NOTIFY_MODULE_IPSTACK, event, slot, NotifyLayout::PtrLen, record, len, 0, 0};
    if (g_raise(e) != 0) {
        SIM_TRACE(TRACE_LEVEL_ERROR, "event %u not raised\n", event);
    }
}

// Link state, data and data arrival are posted (second callback), as the
// service posts them; server state and late results go to the first.
void raise_link_state(uint32_t index, uint32_t state, uint32_t cause) {
    IpstackStateEvent r{};
    r.m_value1 = index;
    r.m_value2 = state;
    r.m_value3 = cause;
    raise(IPSTACK_EVT_LINK_STATE, NotifySlot::Second, &r, sizeof r);
}

void raise_server_state(uint32_t id, uint32_t state, uint32_t port) {
    IpstackStateEvent r{};
    r.m_value1 = id;
    r.m_value2 = state;
    r.m_value3 = port;
    raise(IPSTACK_EVT_SERVER_STATE, NotifySlot::First, &r, sizeof r);
}

void raise_arrival(uint32_t index, uint32_t channel) {
    const IpstackArrivalEvent r{index, channel};
    raise(IPSTACK_EVT_DATA_ARRIVAL, NotifySlot::Second, &r, sizeof r);
}

void raise_data(uint32_t index, uint32_t channel, uint32_t kind, uint32_t announced,
                std::string_view bytes, bool encoded) {
    IpstackDataEvent r{};
    r.m_link = index;
    r.m_channel = channel;
    r.m_len = announced;
    r.m_kind = kind;
    r.m_encoded = encoded ? 1 : 0;
    memcpy(r.m_data, bytes.data(), bytes.size() < sizeof r.m_data ? bytes.size() : sizeof r.m_data);
    raise(IPSTACK_EVT_DATA, NotifySlot::Second, &r, sizeof r);
}

void raise_late(uint32_t kind, uint32_t error, uint32_t channel, uint32_t count) {
    IpstackResultEvent r{};
    r.m_cmd_kind = kind;
    r.m_error = error;
    r.m_channel = channel;
    r.m_count = count;
    raise(IPSTACK_EVT_LATE_RESULT, NotifySlot::First, &r, sizeof r);
}

// The channel whose reports go to the port a command came in on.
uint32_t channel_of_port(uint32_t port) {
    switch (port) {
        case 6:
            return 2;
        case 3:
            return 3;
        case 0:
            return 4;
        case 49:
        case 50:
        case 51:
        case 52:
            return port - 44;
        default:
            return 9;  // reported on port 56
    }
}

// ---- link behaviour -----------------------------------------------------------

Link& link_at(uint32_t index) {
    if (index == kSslIndex) {
        return st().ssl;
    }
    return st().links[index];
}

// Why a command that waited on a link ends when the link does.
uint32_t ended_by(uint32_t cause) {
    return cause == CAUSE_PEER ? ERR_CONN_RESET : ERR_ABORTED;
}

// The late result of ^SSLRX when it waits no more.
void end_ssl_wait(uint32_t error) {
    State& s = st();
    if (s.ssl_waiting) {
        s.ssl_waiting = false;
        live_net().timer(0);
        raise_late(IPSTACK_CMD_SSLRX, error, s.ssl.channel, 0);
    }
}

void close_link(uint32_t index, uint32_t cause) {
    Link& l = st().links[index];
    if (net() != nullptr) {
        net()->close(index);
    }
    for (size_t k = 0; k < l.sendex.size(); ++k) {
        raise_late(IPSTACK_CMD_IPSENDEX, ended_by(cause), l.channel, index);
    }
    // The heartbeat setting belongs to the link number, not to the
    // connection; what the peer sent before it closed can still be read.
    const bool heartbeat = l.heartbeat;
    std::string rx = cause == CAUSE_PEER ? std::move(l.rx) : std::string();
    l = Link{};
    l.heartbeat = heartbeat;
    l.rx = std::move(rx);
    raise_link_state(index, LINK_DOWN, cause);
}

void close_ssl(uint32_t cause) {
    if (net() != nullptr) {
        net()->close(kSslIndex);
        end_ssl_wait(ended_by(cause));
    }
    // What the peer sent before it closed can still be read, on its channel.
    const uint32_t channel = st().ssl.channel;
    st().ssl = Link{};
    if (cause == CAUSE_PEER) {
        st().ssl.channel = channel;
    } else {
        st().ssl_rx.clear();
    }
    raise_link_state(kSslIndex, LINK_DOWN, cause);
}

void close_listener(uint32_t slot) {
    Listener& l = st().listeners[slot];
    if (net() != nullptr) {
        net()->unlisten(slot);
    }
    l.open = false;
    raise_server_state(slot + 1, SERVER_CLOSED, l.port);
}

// A connect that ends without a link; a command that answered already
// learns why from its late result.
void connect_failed(uint32_t index, uint32_t error) {
    Link& l = link_at(index);
    const bool late = l.late;
    const uint32_t channel = l.channel;
    const bool heartbeat = l.heartbeat;
    l = Link{};
    l.heartbeat = heartbeat;
    st().connect_outcome[index] = error;
    if (late) {
        raise_late(index == kSslIndex ? KIND_SSLO : KIND_IPOPEN, error, channel, 0);
    }
    g_cv.notify_all();
}

// What the peer sends comes as data reports or is kept for ^IPRCV; false
// when the buffer is full and the network is to hold back.
bool peer_sends(uint32_t index, std::string_view data) {
    Link& l = st().links[index];
    l.received += data.size();
    if (st().rx_mode == 1) {
        const bool was_empty = l.rx.empty();
        l.rx.append(data);
        if (was_empty) {
            raise_arrival(index, l.channel);
        }
        l.held = l.rx.size() >= kMaxRxBuffer;
        return !l.held;
    }
    const size_t chunk = std::min<size_t>(st().packet_size, IPSTACK_DATA_MAX);
    for (size_t at = 0; at < data.size(); at += chunk) {
        const std::string_view part = data.substr(at, chunk);
        raise_data(index, l.channel, l.udp ? KIND_UDP : KIND_TCP,
                   static_cast<uint32_t>(part.size()), part, false);
    }
    return true;
}

// A peer whose host name has "reset" in it drops the connection when data comes.
bool peer_resets(uint32_t index) {
    return contains(st().links[index].host, "reset");
}

// ---- injected failures --------------------------------------------------------

// TANDREL_SIM_IPSTACK_FAIL="^IPOPEN=12,^SSLO=0": those commands always fail
// with that number (0: without one).
void load_failures() {
    State& s = st();
    if (s.failures_loaded) {
        return;
    }
    s.failures_loaded = true;
    const char* env = getenv("TANDREL_SIM_IPSTACK_FAIL");
    if (env == nullptr) {
        return;
    }
    std::string all = env;
    size_t at = 0;
    while (at <= all.size()) {
        const size_t end = std::min(all.find(',', at), all.size());
        const std::string item = all.substr(at, end - at);
        const size_t eq = item.find('=');
        if (eq != std::string::npos && eq > 0) {
            s.failures.emplace_back(item.substr(0, eq), static_cast<int32_t>(strtol(
                                                            item.c_str() + eq + 1, nullptr, 10)));
        } else if (!item.empty()) {
            SIM_TRACE(TRACE_LEVEL_ERROR, "TANDREL_SIM_IPSTACK_FAIL: \"%s\" ignored\n",
                      item.c_str());
        }
        at = end + 1;
    }
}

// <run dir>/ipstack-fail holding "^IPOPEN 12" (or "12" for any command):
// the next such command fails once with that number; the file is then removed.
bool failure_from_file(const char* cmd, int32_t* number) {
    char path[512];
    if (!host_run_path("ipstack-fail", path, sizeof path)) {
        return false;
    }
    FILE* f = fopen(path, "r");
    if (f == nullptr) {
        return false;
    }
    char line[128] = {};
    const bool read = fgets(line, sizeof line, f) != nullptr;
    (void)fclose(f);  // read only: nothing to lose
    if (!read) {
        return false;
    }
    char name[64] = {};
    int value = 0;
    if (sscanf(line, "%63s %d", name, &value) == 2) {
        if (strcasecmp(name, cmd) != 0) {
            return false;
        }
    } else if (sscanf(line, "%d", &value) != 1) {
        return false;
    }
    unlink(path);
    *number = value;
    return true;
}

bool injected_failure(const char* cmd, int32_t* number) {
    load_failures();
    for (const auto& [name, value] : st().failures) {
        if (strcasecmp(name.c_str(), cmd) == 0) {
            *number = value;
            return true;
        }
    }
    return failure_from_file(cmd, number);
}

// ---- commands -----------------------------------------------------------------

using SetOp = int32_t (*)(const Params& p, uint32_t port, AtResponse* out);
using QueryOp = int32_t (*)(AtResponse* out);

struct Command {
    const char* name;
    SetOp set;
    QueryOp query;
    const char* test;  // the answer to the test operation
};

int32_t run(const Command& c, AtRequest* in, AtResponse* out) {
    if (in == nullptr || out == nullptr) {
        return -1;
    }
    const std::lock_guard<std::mutex> lock(g_mu);
    int32_t number = 0;
    if (injected_failure(c.name, &number)) {
        SIM_TRACE(TRACE_LEVEL_INFO, "%s fails with %d as told\n", c.name, number);
        return fail(out, number);
    }
    switch (in->m_type) {
        case NL_TYPE_SET:
            return c.set(Params(in), in->m_uindex, out);
        case NL_TYPE_QUERY:
            return c.query(out);
        case NL_TYPE_TEST:
            return reply(out, c.test);
        default:
            return fail(out, ERR_NOT_SUPPORTED);
    }
}

bool proto_of(const std::string& text, bool* udp) {
    const std::string p = upper(text);
    if (p != "TCP" && p != "UDP") {
        return false;
    }
    *udp = p == "UDP";
    return true;
}

// Link layer.

int32_t ipinit_set(const Params& p, uint32_t, AtResponse* out) {
    State& s = st();
    const std::string apn = p.text(0);
    if (apn.empty() || apn.size() > 63 || p.count() > 3) {
        return fail(out, ERR_BAD_PARAM);
    }
    if (s.inited) {
        return fail(out, ERR_NOT_ALLOWED);
    }
    s.inited = true;
    s.apn = apn;
    s.user = p.text(1);
    return ok(out);
}

int32_t ipinit_query(AtResponse* out) {
    if (!st().inited) {
        return reply(out, "\r\n^IPINIT: 0\r\n\r\nOK\r\n");
    }
    return reply(out,
                 fmt("\r\n^IPINIT: 1,\"%s\",\"%s\"\r\n\r\nOK\r\n", kLocalIp, st().apn.c_str()));
}

void teardown(uint32_t cause) {
    State& s = st();
    for (const uint32_t i : {0u, 1u, 2u, 3u, 4u, kSslIndex}) {
        const Link& l = link_at(i);
        if (l.connecting) {
            live_net().close(i);
            connect_failed(i, ERR_ABORTED);
        } else if (l.open) {
            i == kSslIndex ? close_ssl(cause) : close_link(i, cause);
        }
    }
    for (uint32_t i = 0; i < kListeners; ++i) {
        if (s.listeners[i].open) {
            close_listener(i);
        }
    }
    s.inited = false;
}

int32_t ipinitex_set(const Params& p, uint32_t, AtResponse* out) {
    State& s = st();
    uint32_t on = 0;
    const std::string apn = p.count() > 1 ? p.text(1) : "internet";
    if (!p.number(0, 0, 1, &on) || apn.empty() || apn.size() > 63) {
        return fail(out, ERR_BAD_PARAM);
    }
    if (on == 0) {
        teardown(CAUSE_COMMAND);
    } else if (!s.inited) {
        s.inited = true;
        s.apn = apn;
    }
    return ok(out);
}

int32_t ipinitex_query(AtResponse* out) {
    return reply(out, fmt("\r\n^IPINITEX: %d\r\n\r\nOK\r\n", st().inited ? 1 : 0));
}

int32_t ipdnscfg_set(const Params& p, uint32_t, AtResponse* out) {
    uint32_t mode = 0;
    if (!p.number(0, 0, 1, &mode)) {
        return fail(out, ERR_BAD_PARAM);
    }
    st().dns_mode = mode;
    return ok(out);
}

int32_t ipdnscfg_query(AtResponse* out) {
    const bool fixed = st().dns_mode == 1;
    return reply(out,
                 fmt("\r\n^IPDNSCFG: %u,\"%s\",\"%s\"\r\n\r\nOK\r\n", st().dns_mode,
                     fixed ? "192.0.2.53" : "10.64.0.1", fixed ? "198.51.100.53" : "10.64.0.3"));
}

// Links.

// Waits a little for the connect of link index: its answer now, or an empty
// one and the late result when the connect ends.
int32_t settle(uint32_t index, uint32_t kind, AtResponse* out) {
    const int64_t& outcome = st().connect_outcome[index];
    g_cv.wait_for(g_mu, kAnswerWithin, [&] { return outcome >= 0; });
    if (outcome >= 0) {
        return outcome == 0 ? ok(out) : fail(out, static_cast<int32_t>(outcome));
    }
    link_at(index).late = true;
    st().running_kind = kind;
    st().running_link = index;
    out->m_length = 0;
    out->m_buffer[0] = '\0';
    return 0;
}

// Starts a connect over the real network; the link is up when the network says so.
int32_t connect_link(uint32_t index, const net_links::Peer& peer, const net_links::Tls* tls,
                     uint32_t port, AtResponse* out) {
    Link& l = link_at(index);
    const bool heartbeat = l.heartbeat;
    l = Link{};
    l.heartbeat = heartbeat;
    l.udp = peer.udp;
    l.host = peer.host;
    l.port = peer.port;
    l.channel = channel_of_port(port);
    l.connecting = true;
    st().connect_outcome[index] = -1;
    const uint32_t error = live_net().open(index, peer, tls);
    if (error != 0) {
        connect_failed(index, error);
        return fail(out, static_cast<int32_t>(error));
    }
    return settle(index, index == kSslIndex ? KIND_SSLO : KIND_IPOPEN, out);
}

int32_t ipopen_set(const Params& p, uint32_t port, AtResponse* out) {
    State& s = st();
    uint32_t index = 0;
    bool udp = false;
    uint32_t remote_port = 0;
    uint32_t local_port = 0;
    const std::string host = p.text(2);
    if (!p.link(0, &index) || !proto_of(p.text(1), &udp) || host.empty() || host.size() > 255 ||
        !p.number(3, 1, 65535, &remote_port) ||
        (p.count() > 4 && !p.number(4, 1, 65535, &local_port)) || p.count() > 5) {
        return fail(out, ERR_BAD_PARAM);
    }
    if (!s.inited || s.links[index].open || s.links[index].connecting) {
        return fail(out, ERR_NOT_ALLOWED);
    }
    if (net() != nullptr) {
        return connect_link(index, net_links::Peer{udp, host, remote_port, local_port}, nullptr,
                            port, out);
    }
    if (contains(host, "unreachable")) {
        SIM_TRACE(TRACE_LEVEL_INFO, "link %u: %s does not answer\n", index + 1, host.c_str());
        return fail(out, ERR_NONE);
    }
    if (contains(host, "slow")) {
        osa_sleep(kSlowMs);
    }
    Link& l = s.links[index];
    l.open = true;
    l.udp = udp;
    l.host = host;
    l.port = remote_port;
    l.local_port = local_port != 0 ? local_port : 49152 + index;
    l.channel = channel_of_port(port);
    l.sent = l.received = 0;
    l.rx.clear();
    raise_link_state(index, LINK_UP, CAUSE_COMMAND);
    return ok(out);
}

int32_t ipopen_query(AtResponse* out) {
    std::vector<std::string> lines;
    for (uint32_t i = 0; i < kLinks; ++i) {
        const Link& l = st().links[i];
        if (l.open) {
            lines.push_back(fmt("^IPOPEN: %u,\"%s\",\"%s\",%u,%u", i + 1, l.udp ? "UDP" : "TCP",
                                l.host.c_str(), l.port, l.local_port));
        }
    }
    return list_reply(out, lines);
}

int32_t ipclose_set(const Params& p, uint32_t, AtResponse* out) {
    uint32_t index = 0;
    if (!p.link(0, &index) || p.count() != 1) {
        return fail(out, ERR_BAD_PARAM);
    }
    const Link& l = st().links[index];
    if (l.connecting) {
        live_net().close(index);
        connect_failed(index, ERR_ABORTED);
        return ok(out);
    }
    if (!l.open) {
        return fail(out, ERR_NOT_ALLOWED);
    }
    close_link(index, CAUSE_COMMAND);
    return ok(out);
}

int32_t ipclose_query(AtResponse* out) {
    const auto& l = st().links;
    return reply(out, fmt("\r\n^IPCLOSE: %d,%d,%d,%d,%d\r\n\r\nOK\r\n", l[0].open, l[1].open,
                          l[2].open, l[3].open, l[4].open));
}

// Data for the real network; the flow counter counts it when it is out.
void queue_send(uint32_t index, std::string_view data) {
    Link& l = link_at(index);
    l.queued += data.size();
    live_net().send(index, data);
}

int32_t send_on(uint32_t index, const std::string& data) {
    if (net() != nullptr) {
        queue_send(index, data);
        return 0;
    }
    Link& l = st().links[index];
    l.sent += data.size();
    if (peer_resets(index)) {
        close_link(index, CAUSE_PEER);
        return -1;
    }
    peer_sends(index, data);
    return 0;
}

int32_t ipsend_set(const Params& p, uint32_t, AtResponse* out) {
    uint32_t index = 0;
    const std::string data = p.text(1);
    if (!p.link(0, &index) || data.empty() || p.count() != 2) {
        return fail(out, ERR_BAD_PARAM);
    }
    if (!st().links[index].open) {
        return fail(out, ERR_NOT_ALLOWED);
    }
    // The data is on its way when the command answers; the echo follows.
    reply(out, fmt("\r\n^IPSEND: %u\r\n\r\nOK\r\n", index + 1));
    send_on(index, data);
    return 0;
}

int32_t ipsend_query(AtResponse* out) {
    return reply(out, fmt("\r\n^IPSEND: %u\r\n\r\nOK\r\n", st().packet_size));
}

// ^IPSENDEX takes hex data and answers nothing at once: its final result
// comes as a late result once the peer has the data.
int32_t ipsendex_set(const Params& p, uint32_t, AtResponse* out) {
    uint32_t index = 0;
    std::string data;
    if (!p.link(0, &index) || !hex_decode(p.text(1), &data) || p.count() != 2) {
        return fail(out, ERR_BAD_PARAM);
    }
    if (!st().links[index].open) {
        return fail(out, ERR_NOT_ALLOWED);
    }
    const uint32_t channel = st().links[index].channel;
    out->m_length = 0;
    if (net() != nullptr) {
        // The late result comes when the network has sent the data.
        queue_send(index, data);
        st().links[index].sendex.push_back(st().links[index].queued);
        return 0;
    }
    if (peer_resets(index)) {
        raise_late(IPSTACK_CMD_IPSENDEX, ERR_CONN_RESET, channel, index);
        send_on(index, data);
        return 0;
    }
    raise_late(IPSTACK_CMD_IPSENDEX, 0, channel, index);
    send_on(index, data);
    return 0;
}

int32_t ipentrans_set(const Params&, uint32_t, AtResponse* out) {
    SIM_TRACE(TRACE_LEVEL_INFO, "transparent mode is not simulated\n");
    return fail(out, ERR_NOT_SUPPORTED);
}

int32_t ipentrans_query(AtResponse* out) {
    return reply(out, "\r\n^IPENTRANS: 0\r\n\r\nOK\r\n");
}

std::string flow_line(uint32_t index) {
    const Link& l = st().links[index];
    return fmt("^IPFLOWQ: %u,%llu,%llu", index + 1, static_cast<unsigned long long>(l.sent),
               static_cast<unsigned long long>(l.received));
}

int32_t ipflowq_set(const Params& p, uint32_t, AtResponse* out) {
    uint32_t index = 0;
    if (!p.link(0, &index) || p.count() != 1) {
        return fail(out, ERR_BAD_PARAM);
    }
    return list_reply(out, {flow_line(index)});
}

int32_t ipflowq_query(AtResponse* out) {
    std::vector<std::string> lines;
    for (uint32_t i = 0; i < kLinks; ++i) {
        lines.push_back(flow_line(i));
    }
    return list_reply(out, lines);
}

// The settings of ^IPCFL and ^IPOPT hold for the real network's sockets.
void configure_network() {
    const State& s = st();
    if (net() != nullptr) {
        net()->configure(net_links::Settings{s.send_timer, s.packet_size, s.ipopt[0] != 0,
                                             s.ipopt[1] != 0, s.ipopt[2]});
    }
}

int32_t ipcfl_set(const Params& p, uint32_t, AtResponse* out) {
    State& s = st();
    uint32_t param = 0;
    uint32_t value = 0;
    if (!p.number(0, 0, 100, &param) || p.count() != 2) {
        return fail(out, ERR_BAD_PARAM);
    }
    if (param == 5 && p.number(1, 0, 1, &value)) {
        s.rx_mode = value;
    } else if (param == 10 && p.number(1, 0, 1000, &value)) {
        s.send_timer = value;
    } else if (param == 12 && p.number(1, 1, IPSTACK_DATA_MAX, &value)) {
        s.packet_size = value;
    } else {
        return fail(out, ERR_BAD_PARAM);
    }
    configure_network();
    return ok(out);
}

int32_t ipcfl_query(AtResponse* out) {
    return list_reply(out,
                      {fmt("^IPCFL: 5,%u", st().rx_mode), fmt("^IPCFL: 10,%u", st().send_timer),
                       fmt("^IPCFL: 12,%u", st().packet_size)});
}

int32_t iprcv_set(const Params& p, uint32_t, AtResponse* out) {
    uint32_t index = 0;
    uint32_t max = IPSTACK_DATA_MAX;
    if (!p.link(0, &index) || (p.count() > 1 && !p.number(1, 1, IPSTACK_DATA_MAX, &max)) ||
        p.count() > 2) {
        return fail(out, ERR_BAD_PARAM);
    }
    Link& l = st().links[index];
    if (!l.open && l.rx.empty()) {
        return fail(out, ERR_NOT_ALLOWED);
    }
    const std::string data = l.rx.substr(0, max);
    l.rx.erase(0, data.size());
    if (l.held && l.rx.size() < kMaxRxBuffer) {
        l.held = false;
        live_net().resume(index);
    }
    // The data may hold any byte; the length says where the reply ends.
    return reply(out, fmt("\r\n^IPRCV: %u,%zu,", index + 1, data.size()) + data + "\r\n\r\nOK\r\n");
}

int32_t iprcv_query(AtResponse* out) {
    std::vector<std::string> lines;
    for (uint32_t i = 0; i < kLinks; ++i) {
        lines.push_back(fmt("^IPRCV: %u,%zu", i + 1, st().links[i].rx.size()));
    }
    return list_reply(out, lines);
}

int32_t ipopt_set(const Params& p, uint32_t, AtResponse* out) {
    uint32_t option = 0;
    uint32_t value = 0;
    if (!p.number(0, 1, 3, &option) || p.count() != 2 ||
        !p.number(1, option == 3 ? 1 : 0, option == 3 ? 255 : 1, &value)) {
        return fail(out, ERR_BAD_PARAM);
    }
    st().ipopt[option - 1] = value;
    configure_network();
    return ok(out);
}

int32_t ipopt_query(AtResponse* out) {
    const auto& o = st().ipopt;
    return list_reply(
        out, {fmt("^IPOPT: 1,%u", o[0]), fmt("^IPOPT: 2,%u", o[1]), fmt("^IPOPT: 3,%u", o[2])});
}

// Listening sockets.

std::vector<std::string> listener_lines(const char* name) {
    std::vector<std::string> lines;
    for (uint32_t i = 0; i < kListeners; ++i) {
        const Listener& l = st().listeners[i];
        if (l.open) {
            lines.push_back(fmt("%s: %u,\"%s\",%u", name, i + 1, l.udp ? "UDP" : "TCP", l.port));
        }
    }
    return lines;
}

bool port_listened(uint32_t port) {
    for (const Listener& l : st().listeners) {
        if (l.open && l.port == port) {
            return true;
        }
    }
    return false;
}

// A listener's links report on the channel of the port it was opened on.
int32_t open_listener(uint32_t slot, bool udp, uint32_t port, uint32_t at_port, AtResponse* out) {
    if (!st().inited || st().listeners[slot].open || port_listened(port)) {
        return fail(out, ERR_NOT_ALLOWED);
    }
    const uint32_t error = net() != nullptr ? net()->listen(slot, udp, port) : 0;
    if (error != 0) {
        return fail(out, static_cast<int32_t>(error));
    }
    st().listeners[slot] = Listener{true, udp, port, channel_of_port(at_port)};
    raise_server_state(slot + 1, SERVER_LISTENING, port);
    return ok(out);
}

int32_t iplisten_set(const Params& p, uint32_t at_port, AtResponse* out) {
    bool udp = false;
    uint32_t port = 0;
    if (!proto_of(p.text(0), &udp) || !p.number(1, 1, 65535, &port) || p.count() != 2) {
        return fail(out, ERR_BAD_PARAM);
    }
    for (uint32_t i = 0; i < kListeners; ++i) {
        if (!st().listeners[i].open) {
            return open_listener(i, udp, port, at_port, out);
        }
    }
    return fail(out, ERR_NOT_ALLOWED);
}

int32_t iplisten_query(AtResponse* out) {
    return list_reply(out, listener_lines("^IPLISTEN"));
}

int32_t iplistenex_set(const Params& p, uint32_t at_port, AtResponse* out) {
    uint32_t id = 0;
    uint32_t on = 0;
    if (!p.number(0, 1, kListeners, &id) || !p.number(1, 0, 1, &on)) {
        return fail(out, ERR_BAD_PARAM);
    }
    if (on == 0) {
        if (p.count() != 2) {
            return fail(out, ERR_BAD_PARAM);
        }
        if (!st().listeners[id - 1].open) {
            return fail(out, ERR_NOT_ALLOWED);
        }
        close_listener(id - 1);
        return ok(out);
    }
    bool udp = false;
    uint32_t port = 0;
    if (!proto_of(p.text(2), &udp) || !p.number(3, 1, 65535, &port) || p.count() != 4) {
        return fail(out, ERR_BAD_PARAM);
    }
    return open_listener(id - 1, udp, port, at_port, out);
}

int32_t iplistenex_query(AtResponse* out) {
    return list_reply(out, listener_lines("^IPLISTENEX"));
}

// Heartbeat.

int32_t hbeact_set(const Params& p, uint32_t, AtResponse* out) {
    uint32_t index = 0;
    uint32_t on = 0;
    if (!p.link(0, &index) || !p.number(1, 0, 1, &on) || p.count() != 2) {
        return fail(out, ERR_BAD_PARAM);
    }
    st().links[index].heartbeat = on != 0;
    return ok(out);
}

int32_t hbeact_query(AtResponse* out) {
    std::vector<std::string> lines;
    for (uint32_t i = 0; i < kLinks; ++i) {
        lines.push_back(fmt("^HBEACTEX: %u,%d", i + 1, st().links[i].heartbeat ? 1 : 0));
    }
    return list_reply(out, lines);
}

int32_t hbecont_set(const Params& p, uint32_t, AtResponse* out) {
    uint32_t interval = 0;
    uint32_t max = 0;
    if (!p.number(0, 1, 3600, &interval) || !p.number(1, 1, 10, &max) || p.count() != 2) {
        return fail(out, ERR_BAD_PARAM);
    }
    st().hbe_interval = interval;
    st().hbe_max = max;
    return ok(out);
}

int32_t hbecont_query(AtResponse* out) {
    return list_reply(out, {fmt("^HBECONTEX: %u,%u", st().hbe_interval, st().hbe_max)});
}

int32_t hbecontdata_set(const Params& p, uint32_t, AtResponse* out) {
    std::string bytes;
    const std::string hex = upper(p.text(0));
    if (!hex_decode(hex, &bytes) || bytes.size() > 64 || p.count() != 1) {
        return fail(out, ERR_BAD_PARAM);
    }
    st().hbe_data = hex;
    return ok(out);
}

int32_t hbecontdata_query(AtResponse* out) {
    return list_reply(out, {fmt("^HBECONTDATA: \"%s\"", st().hbe_data.c_str())});
}

// Mail, HTTP and FTP. In the real world each is a transfer through the host's
// network (net/net_transfer.h); in the scripted world the servers always have
// the same answers.

// How long a command waits for its transfer before its result comes late.
constexpr uint32_t kTransferWaitMs = 2000;
// Command kinds of the late results of transfers.
constexpr uint32_t KIND_EMSEND = 20;
constexpr uint32_t KIND_HTTPCMD = 21;
constexpr uint32_t KIND_FTPCMD = 22;

// On the transfer thread: the late result of a transfer that outlived its wait.
void transfer_ended(TransferKind kind, int32_t error, uint32_t channel) {
    const uint32_t cmd = kind == TransferKind::Mail  ? KIND_EMSEND
                         : kind == TransferKind::Ftp ? KIND_FTPCMD
                                                     : KIND_HTTPCMD;
    raise_late(cmd, static_cast<uint32_t>(error), channel, 0);
}

// "^HTTPCMD: <status>,<n>" or "^FTPCMD: <n>", the data with its CRLF when
// there is any, OK; a mail answers OK alone.
std::string transfer_text(TransferKind kind, const TransferResult& r) {
    if (kind == TransferKind::Mail) {
        return AT_TEXT_OK;
    }
    const std::string head = kind == TransferKind::Http
                                 ? fmt("\r\n^HTTPCMD: %u,%zu\r\n", r.status, r.data.size())
                                 : fmt("\r\n^FTPCMD: %zu\r\n", r.data.size());
    return head + (r.data.empty() ? std::string() : r.data + "\r\n") + "\r\nOK\r\n";
}

// Runs a transfer: its answer when it ends within the wait, else no text now
// and its late result on the port of the command when it ends.
int32_t transfer(const TransferRequest& r, uint32_t port, AtResponse* out) {
    TransferResult result;
    // The command holds the state's lock; the network's thread goes on while
    // the command waits for its transfer.
    g_mu.unlock();
    const TransferStart started =
        net_transfer_run(r, kTransferWaitMs, channel_of_port(port), transfer_ended, &result);
    g_mu.lock();
    switch (started) {
        case TransferStart::Busy:
            return fail(out, ERR_NOT_ALLOWED);
        case TransferStart::Late:
            return reply(out, "");
        case TransferStart::Finished:
            break;
    }
    if (result.error != 0) {
        return fail(out, result.error);
    }
    return reply(out, transfer_text(r.kind, result));
}

// The answer of a query: the kept result of a late transfer, once, or the count.
int32_t transfer_query(TransferKind kind, const char* name, uint32_t scripted, AtResponse* out) {
    TransferResult kept;
    if (real_network() && net_transfer_take(kind, &kept)) {
        return reply(out, transfer_text(kind, kept));
    }
    return list_reply(
        out, {fmt("%s: %u", name, real_network() ? net_transfer_count(kind) : scripted)});
}

// Text typed into a URL or a mail address: no blanks, no control characters.
bool plain(const std::string& s, const char* also_refused) {
    return std::none_of(s.begin(), s.end(), [also_refused](char c) {
        return static_cast<unsigned char>(c) <= ' ' || c == 0x7F ||
               strchr(also_refused, c) != nullptr;
    });
}

// The mail server: TANDREL_SIM_SMTP=host:port, or the loopback's port 25.
std::string mail_server() {
    const char* env = getenv("TANDREL_SIM_SMTP");
    return env != nullptr && *env != '\0' ? env : "127.0.0.1:25";
}

int32_t emsend_set(const Params& p, uint32_t port, AtResponse* out) {
    const std::string to = p.text(0);
    if (!contains(to, "@") || p.count() != 3 || (real_network() && !plain(to, "<>\","))) {
        return fail(out, ERR_BAD_PARAM);
    }
    if (!st().inited) {
        return fail(out, ERR_NOT_ALLOWED);
    }
    if (real_network()) {
        TransferRequest r;
        r.kind = TransferKind::Mail;
        r.url = "smtp://" + mail_server();
        r.mail_to = to;
        r.subject = p.text(1);
        r.body = p.text(2);
        return transfer(r, port, out);
    }
    osa_sleep(kMailMs);
    ++st().mails;
    return ok(out);
}

int32_t emsend_query(AtResponse* out) {
    return transfer_query(TransferKind::Mail, "^EMSEND", st().mails, out);
}

// A document: text, or sixteen bytes 0 to 15 for a name ending in ".bin".
std::string document(const std::string& path, const char* text) {
    if (path.size() >= 4 && path.compare(path.size() - 4, 4, ".bin") == 0) {
        std::string bytes;
        for (char c = 0; c < 16; ++c) {
            bytes.push_back(c);
        }
        return bytes;
    }
    return text;
}

int32_t httpcmd_set(const Params& p, uint32_t port, AtResponse* out) {
    const std::string method = upper(p.text(0));
    const std::string url = p.text(1);
    // The scripted servers speak plain HTTP only.
    const size_t scheme = url.rfind("http://", 0) == 0                      ? 7
                          : real_network() && url.rfind("https://", 0) == 0 ? 8
                                                                            : 0;
    if ((method != "GET" && method != "HEAD") || scheme == 0 || url.size() <= scheme ||
        p.count() != 2 || (real_network() && !plain(url, ""))) {
        return fail(out, ERR_BAD_PARAM);
    }
    if (!st().inited) {
        return fail(out, ERR_NOT_ALLOWED);
    }
    if (real_network()) {
        TransferRequest r;
        r.kind = TransferKind::Http;
        r.url = url;
        r.head = method == "HEAD";
        return transfer(r, port, out);
    }
    if (contains(url, "unreachable")) {
        return fail(out, ERR_NONE);
    }
    ++st().http_requests;
    st().http_sock_type = 1;
    if (method == "HEAD") {
        return reply(out, "\r\n^HTTPCMD: 200,0\r\n\r\nOK\r\n");
    }
    const std::string body = document(url, "<html><body>hello</body></html>\n");
    return reply(out, fmt("\r\n^HTTPCMD: 200,%zu\r\n", body.size()) + body + "\r\n\r\nOK\r\n");
}

int32_t httpcmd_query(AtResponse* out) {
    return transfer_query(TransferKind::Http, "^HTTPCMD", st().http_requests, out);
}

// In the real world the host is [user:password@]name[:port] (anonymous
// without a user) and the path is relative to the login directory.
int32_t ftpcmd_set(const Params& p, uint32_t port, AtResponse* out) {
    const std::string op = upper(p.text(0));
    const std::string host = p.text(1);
    const std::string path = p.text(2);
    if ((op != "GET" && op != "LIST") || host.empty() || path.empty() || p.count() != 3 ||
        (real_network() && (!plain(host, "/?#") || !plain(path, "?#")))) {
        return fail(out, ERR_BAD_PARAM);
    }
    if (!st().inited) {
        return fail(out, ERR_NOT_ALLOWED);
    }
    if (real_network()) {
        TransferRequest r;
        r.kind = TransferKind::Ftp;
        r.url = "ftp://" + host + "/" + path.substr(path.front() == '/' ? 1 : 0);
        r.list = op == "LIST";
        return transfer(r, port, out);
    }
    if (contains(host, "unreachable")) {
        return fail(out, ERR_NONE);
    }
    ++st().ftp_requests;
    const std::string data =
        op == "LIST" ? std::string("readme.txt\r\ndata.bin\r\n") : document(path, "hello\r\n");
    return reply(out, fmt("\r\n^FTPCMD: %zu\r\n", data.size()) + data + "\r\n\r\nOK\r\n");
}

int32_t ftpcmd_query(AtResponse* out) {
    return transfer_query(TransferKind::Ftp, "^FTPCMD", st().ftp_requests, out);
}

// SSL.

int32_t sslen_set(const Params& p, uint32_t, AtResponse* out) {
    uint32_t on = 0;
    if (!p.number(0, 0, 1, &on) || p.count() != 1) {
        return fail(out, ERR_BAD_PARAM);
    }
    st().ssl_enabled = on != 0;
    return ok(out);
}

int32_t sslen_query(AtResponse* out) {
    return list_reply(out, {fmt("^SSLEN: %d", st().ssl_enabled ? 1 : 0)});
}

int32_t sslmng_set(const Params& p, uint32_t, AtResponse* out) {
    const std::string op = upper(p.text(0));
    const std::string name = p.text(1);
    if ((op != "ADD" && op != "DEL") || name.empty() || name.size() > 63 || p.count() != 2) {
        return fail(out, ERR_BAD_PARAM);
    }
    auto& certs = st().certs;
    const auto it = std::find(certs.begin(), certs.end(), name);
    if (op == "ADD") {
        if (it != certs.end() || certs.size() >= kMaxCerts) {
            return fail(out, ERR_NOT_ALLOWED);
        }
        // Over the real network a certificate is a PEM file in the run directory.
        char path[512];
        if (net() != nullptr &&
            (!host_run_path(name.c_str(), path, sizeof path) || !net()->certificate(path))) {
            return fail(out, ERR_BAD_PARAM);
        }
        certs.push_back(name);
    } else {
        if (it == certs.end()) {
            return fail(out, ERR_NOT_ALLOWED);
        }
        certs.erase(it);
    }
    return ok(out);
}

int32_t sslmng_query(AtResponse* out) {
    std::vector<std::string> lines;
    for (const std::string& c : st().certs) {
        lines.push_back("^SSLMNG: \"" + c + "\"");
    }
    return list_reply(out, lines);
}

int32_t sslcfg_set(const Params& p, uint32_t, AtResponse* out) {
    uint32_t param = 0;
    uint32_t value = 0;
    if (!p.number(0, 1, 2, &param) || !p.number(1, 0, 1, &value) || p.count() != 2) {
        return fail(out, ERR_BAD_PARAM);
    }
    (param == 1 ? st().ssl_encoding : st().ssl_verify) = value;
    return ok(out);
}

int32_t sslcfg_query(AtResponse* out) {
    return list_reply(
        out, {fmt("^SSLCFG: 1,%u", st().ssl_encoding), fmt("^SSLCFG: 2,%u", st().ssl_verify)});
}

int32_t sslstat_set(const Params&, uint32_t, AtResponse* out) {
    return fail(out, ERR_NOT_SUPPORTED);
}

int32_t sslstat_query(AtResponse* out) {
    const State& s = st();
    return list_reply(out, {fmt("^SSLSTAT: %d,%d,\"%s\",%u", s.ssl_enabled ? 1 : 0,
                                s.ssl.open ? 1 : 0, s.ssl.host.c_str(), s.ssl.port)});
}

// The SSL link reports its state only when it closes: the daemon then
// resets the SSL enabling, and ^SSLEN must be given again.
int32_t sslo_set(const Params& p, uint32_t port, AtResponse* out) {
    State& s = st();
    const std::string host = p.text(0);
    uint32_t remote_port = 0;
    if (host.empty() || host.size() > 255 || !p.number(1, 1, 65535, &remote_port) ||
        p.count() != 2) {
        return fail(out, ERR_BAD_PARAM);
    }
    if (!s.inited || !s.ssl_enabled || s.ssl.open || s.ssl.connecting) {
        return fail(out, ERR_NOT_ALLOWED);
    }
    if (net() != nullptr) {
        net_links::Tls tls{s.ssl_verify == 1, {}};
        for (const std::string& name : s.certs) {
            char path[512];
            if (host_run_path(name.c_str(), path, sizeof path)) {
                tls.trusted.emplace_back(path);
            }
        }
        s.ssl_rx.clear();
        return connect_link(kSslIndex, net_links::Peer{false, host, remote_port, 0}, &tls, port,
                            out);
    }
    if (contains(host, "unreachable") || (s.ssl_verify == 1 && s.certs.empty())) {
        SIM_TRACE(TRACE_LEVEL_INFO, "SSL link to %s: no handshake\n", host.c_str());
        return fail(out, ERR_NONE);
    }
    if (contains(host, "slow")) {
        osa_sleep(kSlowMs);
    }
    s.ssl = Link{};
    s.ssl.open = true;
    s.ssl.host = host;
    s.ssl.port = remote_port;
    s.ssl.channel = channel_of_port(port);
    s.ssl_rx.clear();
    return ok(out);
}

int32_t sslo_query(AtResponse* out) {
    return list_reply(out, {fmt("^SSLO: %d", st().ssl.open ? 1 : 0)});
}

int32_t sslc_set(const Params& p, uint32_t, AtResponse* out) {
    if (p.count() != 0) {
        return fail(out, ERR_BAD_PARAM);
    }
    if (st().ssl.connecting) {
        live_net().close(kSslIndex);
        connect_failed(kSslIndex, ERR_ABORTED);
        return ok(out);
    }
    if (!st().ssl.open) {
        return fail(out, ERR_NOT_ALLOWED);
    }
    close_ssl(CAUSE_COMMAND);
    return ok(out);
}

int32_t sslc_query(AtResponse* out) {
    return list_reply(out, {fmt("^SSLC: %d", st().ssl.open ? 1 : 0)});
}

int32_t ssltx_set(const Params& p, uint32_t, AtResponse* out) {
    const std::string data = p.text(0);
    if (data.empty() || p.count() != 1) {
        return fail(out, ERR_BAD_PARAM);
    }
    State& s = st();
    if (!s.ssl.open) {
        return fail(out, ERR_NOT_ALLOWED);
    }
    if (net() != nullptr) {
        queue_send(kSslIndex, data);
        return reply(out, fmt("\r\n^SSLTX: %zu\r\n\r\nOK\r\n", data.size()));
    }
    s.ssl.sent += data.size();
    // The SSL peer echoes too; ^SSLRX collects what came back.
    s.ssl.received += data.size();
    s.ssl_rx += data.substr(0, kMaxRxBuffer - std::min(kMaxRxBuffer, s.ssl_rx.size()));
    return reply(out, fmt("\r\n^SSLTX: %zu\r\n\r\nOK\r\n", data.size()));
}

int32_t ssltx_query(AtResponse* out) {
    return list_reply(out, {fmt("^SSLTX: %llu", static_cast<unsigned long long>(st().ssl.sent))});
}

// Hands the next received bytes of the SSL link to the host: as many as one
// report holds, encoded when ^SSLCFG 1 says so.
void deliver_ssl() {
    State& s = st();
    const bool encoded = s.ssl_encoding == 1;
    const size_t raw =
        std::min(s.ssl_rx.size(), encoded ? IPSTACK_DATA_MAX / 4 * 3 : IPSTACK_DATA_MAX);
    const std::string data = s.ssl_rx.substr(0, raw);
    s.ssl_rx.erase(0, raw);
    raise_data(kSslIndex, s.ssl.channel, IPSTACK_LINK_SSL_A, static_cast<uint32_t>(raw),
               encoded ? base64(data) : data, encoded);
    if (s.ssl.held && s.ssl_rx.size() < kMaxRxBuffer) {
        s.ssl.held = false;
        live_net().resume(kSslIndex);
    }
}

// ^SSLRX answers nothing at once. Waiting data comes as an SSL data report
// and the final OK as a late result; without data it waits for the time
// given (seconds, default 5) and ends with the time-out result. The
// scripted peer sends nothing while the command waits; over the real
// network the wait goes on after the answer, and data ends it.
int32_t sslrx_set(const Params& p, uint32_t, AtResponse* out) {
    uint32_t timeout = 5;
    if ((p.count() > 0 && !p.number(0, 0, 60, &timeout)) || p.count() > 1) {
        return fail(out, ERR_BAD_PARAM);
    }
    State& s = st();
    if ((!s.ssl.open && s.ssl_rx.empty()) || s.ssl_waiting) {
        return fail(out, ERR_NOT_ALLOWED);
    }
    out->m_length = 0;
    if (!s.ssl_rx.empty()) {
        deliver_ssl();
        raise_late(IPSTACK_CMD_SSLRX, 0, s.ssl.channel, 0);
    } else if (net() == nullptr || timeout == 0) {
        osa_sleep(timeout * 1000);
        raise_late(IPSTACK_CMD_SSLRX, IPSTACK_ERR_TIMEOUT, s.ssl.channel, 0);
    } else {
        s.ssl_waiting = true;
        s.running_kind = IPSTACK_CMD_SSLRX;
        live_net().timer(timeout * 1000);
    }
    return 0;
}

int32_t sslrx_query(AtResponse* out) {
    return list_reply(out, {fmt("^SSLRX: %zu", st().ssl_rx.size())});
}

// What the real network tells the service, on the network's thread.
class NetSide final : public net_links::Events {
  public:
    void connected(uint32_t link, uint32_t error, uint32_t local_port) override {
        const Deferred d;
        Link& l = link_at(link);
        if (!l.connecting) {
            return;
        }
        if (error != 0) {
            connect_failed(link, error);
            return;
        }
        l.connecting = false;
        l.open = true;
        l.local_port = local_port;
        st().connect_outcome[link] = 0;
        if (std::exchange(l.late, false)) {
            raise_late(link == kSslIndex ? KIND_SSLO : KIND_IPOPEN, 0, l.channel, 0);
        }
        // The SSL link reports only its end.
        if (link != kSslIndex) {
            raise_link_state(link, LINK_UP, CAUSE_COMMAND);
        }
        g_cv.notify_all();
    }

    bool received(uint32_t link, std::string_view bytes) override {
        const Deferred d;
        State& s = st();
        if (link != kSslIndex) {
            return peer_sends(link, bytes);
        }
        s.ssl.received += bytes.size();
        s.ssl_rx.append(bytes);
        if (s.ssl_waiting) {
            s.ssl_waiting = false;
            live_net().timer(0);
            deliver_ssl();
            raise_late(IPSTACK_CMD_SSLRX, 0, s.ssl.channel, 0);
        }
        s.ssl.held = s.ssl_rx.size() >= kMaxRxBuffer;
        return !s.ssl.held;
    }

    void written(uint32_t link, size_t n) override {
        const Deferred d;
        Link& l = link_at(link);
        l.sent += n;
        while (!l.sendex.empty() && l.sendex.front() <= l.sent) {
            l.sendex.pop_front();
            raise_late(IPSTACK_CMD_IPSENDEX, 0, l.channel, link);
        }
    }

    void closed(uint32_t link, uint32_t error) override {
        const Deferred d;
        SIM_TRACE(TRACE_LEVEL_INFO, "link %u ended by the peer (%u)\n", link + 1, error);
        if (link_at(link).open) {
            link == kSslIndex ? close_ssl(CAUSE_PEER) : close_link(link, CAUSE_PEER);
        }
    }

    bool accepted(uint32_t id, const std::string& host, uint32_t port, uint32_t* link) override {
        const Deferred d;
        const Listener& li = st().listeners[id];
        for (uint32_t i = 0; i < kLinks && li.open; ++i) {
            Link& l = st().links[i];
            if (!l.open && !l.connecting) {
                const bool heartbeat = l.heartbeat;
                l = Link{};
                l.heartbeat = heartbeat;
                l.open = true;
                l.udp = li.udp;
                l.host = host;
                l.port = port;
                l.local_port = li.port;
                l.channel = li.channel;
                // Opened by the peer: cause 1, as for a close by the peer.
                raise_link_state(i, LINK_UP, CAUSE_PEER);
                *link = i;
                return true;
            }
        }
        return false;
    }

    void timer() override {
        const Deferred d;
        end_ssl_wait(IPSTACK_ERR_TIMEOUT);
    }

    void flush() override {
        for (const Raised& r : std::exchange(t_outbox, {})) {
            raise(r.event, r.slot, r.record.data(), static_cast<uint32_t>(r.record.size()));
        }
    }

  private:
    // Events raised while the network's thread holds the lock wait for flush.
    struct Deferred {
        Deferred() { t_defer = true; }
        ~Deferred() { t_defer = false; }
    };
};

net_links::Links* net() {
    if (!real_network()) {
        return nullptr;
    }
#if TANDREL_HOST_NETWORK
    static NetSide side;
    return &net_links::links(g_mu, side);
#else
    return nullptr;
#endif
}

const Command kIpinit{"^IPINIT", ipinit_set, ipinit_query,
                      "\r\n^IPINIT: \"APN\",\"USER_NAME\",\"PASSWORD\"\r\n\r\nOK\r\n"};
const Command kIpinitex{"^IPINITEX", ipinitex_set, ipinitex_query,
                        "\r\n^IPINITEX: (0,1),\"APN\"\r\n\r\nOK\r\n"};
const Command kHbeact{"^HBEACTEX", hbeact_set, hbeact_query,
                      "\r\n^HBEACTEX: (1-5),(0,1)\r\n\r\nOK\r\n"};
const Command kHbecont{"^HBECONTEX", hbecont_set, hbecont_query,
                       "\r\n^HBECONTEX: (1-3600),(1-10)\r\n\r\nOK\r\n"};
const Command kHbecontdata{"^HBECONTDATA", hbecontdata_set, hbecontdata_query,
                           "\r\n^HBECONTDATA: \"HEXDATA\"\r\n\r\nOK\r\n"};
const Command kIpclose{"^IPCLOSE", ipclose_set, ipclose_query, "\r\n^IPCLOSE: (1-5)\r\n\r\nOK\r\n"};
const Command kIpopen{"^IPOPEN", ipopen_set, ipopen_query,
                      "\r\n^IPOPEN: (1-5),(\"TCP\",\"UDP\"),\"REMOTE_ADDR\",(1-65535),(1-65535)"
                      "\r\n\r\nOK\r\n"};
const Command kIplisten{"^IPLISTEN", iplisten_set, iplisten_query,
                        "\r\n^IPLISTEN: (\"TCP\",\"UDP\"),(1-65535)\r\n\r\nOK\r\n"};
const Command kIpdnscfg{"^IPDNSCFG", ipdnscfg_set, ipdnscfg_query,
                        "\r\n^IPDNSCFG: (0-1)\r\n\r\nOK\r\n"};
const Command kIplistenex{"^IPLISTENEX", iplistenex_set, iplistenex_query,
                          "\r\n^IPLISTENEX: (1-3),(0,1),(\"TCP\",\"UDP\"),(1-65535)\r\n\r\nOK\r\n"};
const Command kIpsend{"^IPSEND", ipsend_set, ipsend_query,
                      "\r\n^IPSEND: (1-5),\"DATA\"\r\n\r\nOK\r\n"};
const Command kIpsendex{"^IPSENDEX", ipsendex_set, ipsend_query,
                        "\r\n^IPSENDEX: (1-5),\"HEXDATA\"\r\n\r\nOK\r\n"};
const Command kIpentrans{"^IPENTRANS", ipentrans_set, ipentrans_query,
                         "\r\n^IPENTRANS: (1-5)\r\n\r\nOK\r\n"};
const Command kIpflowq{"^IPFLOWQ", ipflowq_set, ipflowq_query, "\r\n^IPFLOWQ: (1-5)\r\n\r\nOK\r\n"};
const Command kIpcfl{"^IPCFL", ipcfl_set, ipcfl_query,
                     "\r\n^IPCFL: (5,10,12),(0-1504)\r\n\r\nOK\r\n"};
const Command kEmsend{"^EMSEND", emsend_set, emsend_query,
                      "\r\n^EMSEND: \"TO\",\"SUBJECT\",\"BODY\"\r\n\r\nOK\r\n"};
const Command kHttpcmd{"^HTTPCMD", httpcmd_set, httpcmd_query,
                       "\r\n^HTTPCMD: (\"GET\",\"HEAD\"),\"URL\"\r\n\r\nOK\r\n"};
const Command kFtpcmd{"^FTPCMD", ftpcmd_set, ftpcmd_query,
                      "\r\n^FTPCMD: (\"GET\",\"LIST\"),\"HOST\",\"PATH\"\r\n\r\nOK\r\n"};
const Command kIprcv{"^IPRCV", iprcv_set, iprcv_query, "\r\n^IPRCV: (1-5),(1-1504)\r\n\r\nOK\r\n"};
const Command kIpopt{"^IPOPT", ipopt_set, ipopt_query, "\r\n^IPOPT: (1-3),(0-255)\r\n\r\nOK\r\n"};
const Command kSslen{"^SSLEN", sslen_set, sslen_query, "\r\n^SSLEN: (0,1)\r\n\r\nOK\r\n"};
const Command kSslmng{"^SSLMNG", sslmng_set, sslmng_query,
                      "\r\n^SSLMNG: (\"ADD\",\"DEL\"),\"NAME\"\r\n\r\nOK\r\n"};
const Command kSslcfg{"^SSLCFG", sslcfg_set, sslcfg_query,
                      "\r\n^SSLCFG: (1,2),(0,1)\r\n\r\nOK\r\n"};
const Command kSslstat{"^SSLSTAT", sslstat_set, sslstat_query, "\r\nOK\r\n"};
const Command kSslo{"^SSLO", sslo_set, sslo_query, "\r\n^SSLO: \"HOST\",(1-65535)\r\n\r\nOK\r\n"};
const Command kSslc{"^SSLC", sslc_set, sslc_query, "\r\nOK\r\n"};
const Command kSsltx{"^SSLTX", ssltx_set, ssltx_query, "\r\n^SSLTX: \"DATA\"\r\n\r\nOK\r\n"};
const Command kSslrx{"^SSLRX", sslrx_set, sslrx_query, "\r\n^SSLRX: (0-60)\r\n\r\nOK\r\n"};

}  // namespace

void sim_ipstack_set_raise(SimIpstackRaise raise) {
    g_raise = raise != nullptr ? raise : notify_bus_raise;
}

void sim_ipstack_reset(void) {
    const std::lock_guard<std::mutex> lock(g_mu);
    teardown(CAUSE_COMMAND);
    st() = State{};
}

extern "C" {

int32_t ipstack_at_exec_ipinit_cmd(AtRequest* in, AtResponse* out) {
    return run(kIpinit, in, out);
}
int32_t IpstackAtExecIpinitexCmd(AtRequest* in, AtResponse* out) {
    return run(kIpinitex, in, out);
}
int32_t ipstack_at_exec_hbeact_cmd(AtRequest* in, AtResponse* out) {
    return run(kHbeact, in, out);
}
int32_t ipstack_at_exec_hbecont_cmd(AtRequest* in, AtResponse* out) {
    return run(kHbecont, in, out);
}
int32_t ipstack_at_exec_hbecontdata_cmd(AtRequest* in, AtResponse* out) {
    return run(kHbecontdata, in, out);
}
int32_t ipstack_at_exec_ipclose_cmd(AtRequest* in, AtResponse* out) {
    return run(kIpclose, in, out);
}
int32_t ipstack_at_exec_ipopen_cmd(AtRequest* in, AtResponse* out) {
    return run(kIpopen, in, out);
}
int32_t ipstack_at_exec_iplisten_cmd(AtRequest* in, AtResponse* out) {
    return run(kIplisten, in, out);
}
int32_t IpstackAtExecIpDnsCfgCmd(AtRequest* in, AtResponse* out) {
    return run(kIpdnscfg, in, out);
}
int32_t IpStackAtExecIpListenExCmd(AtRequest* in, AtResponse* out) {
    return run(kIplistenex, in, out);
}
int32_t ipstack_at_exec_ipsend_cmd(AtRequest* in, AtResponse* out) {
    return run(kIpsend, in, out);
}
int32_t ipstack_at_exec_ipsendex_cmd(AtRequest* in, AtResponse* out) {
    return run(kIpsendex, in, out);
}
int32_t ipstack_at_exec_ipentrans_cmd(AtRequest* in, AtResponse* out) {
    return run(kIpentrans, in, out);
}
int32_t ipstack_at_exec_ipflowq_cmd(AtRequest* in, AtResponse* out) {
    return run(kIpflowq, in, out);
}
int32_t ipstack_at_exec_ipcfl_cmd(AtRequest* in, AtResponse* out) {
    return run(kIpcfl, in, out);
}
int32_t ipstack_at_exec_smtpcmd_cmd(AtRequest* in, AtResponse* out) {
    return run(kEmsend, in, out);
}
int32_t ipstack_at_exec_httpcmd_cmd(AtRequest* in, AtResponse* out) {
    return run(kHttpcmd, in, out);
}
int32_t ipstack_at_exec_ftpcmd_cmd(AtRequest* in, AtResponse* out) {
    return run(kFtpcmd, in, out);
}
int32_t ipstack_at_exec_iprcv_cmd(AtRequest* in, AtResponse* out) {
    return run(kIprcv, in, out);
}
int32_t ipstack_at_exec_ipopt_cmd(AtRequest* in, AtResponse* out) {
    return run(kIpopt, in, out);
}
int32_t ipstack_at_exec_sslen_cmd(AtRequest* in, AtResponse* out) {
    return run(kSslen, in, out);
}
int32_t ipstack_at_exec_sslmng_cmd(AtRequest* in, AtResponse* out) {
    return run(kSslmng, in, out);
}
int32_t ipstack_at_exec_sslcfg_cmd(AtRequest* in, AtResponse* out) {
    return run(kSslcfg, in, out);
}
int32_t ipstack_at_exec_sslstat_cmd(AtRequest* in, AtResponse* out) {
    return run(kSslstat, in, out);
}
int32_t ipstack_at_exec_sslo_cmd(AtRequest* in, AtResponse* out) {
    return run(kSslo, in, out);
}
int32_t ipstack_at_exec_sslc_cmd(AtRequest* in, AtResponse* out) {
    return run(kSslc, in, out);
}
int32_t ipstack_at_exec_ssltx_cmd(AtRequest* in, AtResponse* out) {
    return run(kSsltx, in, out);
}
int32_t ipstack_at_exec_sslrx_cmd(AtRequest* in, AtResponse* out) {
    return run(kSslrx, in, out);
}

// An abort ends a running transfer (no late result follows), or else the
// last command that answered before it ended (a connect, an SSL handshake, a
// wait of ^SSLRX), if it still runs: its late result then carries error 125.
// A command of the scripted world has always run to its end before the
// abort reaches the service.
int32_t ipstack_at_abort_at_cmd(void) {
    if (net_transfer_abort()) {
        return 0;
    }
    const std::lock_guard<std::mutex> lock(g_mu);
    State& s = st();
    const uint32_t kind = std::exchange(s.running_kind, 0);
    if ((kind == KIND_IPOPEN || kind == KIND_SSLO) && link_at(s.running_link).connecting &&
        link_at(s.running_link).late) {
        live_net().close(s.running_link);
        connect_failed(s.running_link, ERR_ABORTED);
    } else if (kind == IPSTACK_CMD_SSLRX && s.ssl_waiting) {
        end_ssl_wait(ERR_ABORTED);
    } else {
        SIM_TRACE(TRACE_LEVEL_INFO, "abort: no command running\n");
        return 1;
    }
    SIM_TRACE(TRACE_LEVEL_INFO, "abort: command of kind %u ended\n", kind);
    return 0;
}

void ipstack_reset_ssl_enable_status(void) {
    const std::lock_guard<std::mutex> lock(g_mu);
    st().ssl_enabled = false;
}

void reset_http_sock_type(void) {
    const std::lock_guard<std::mutex> lock(g_mu);
    st().http_sock_type = 0;
}

// The late results' error codes are result numbers already.
int32_t ipstack_get_at_errornum(uint32_t error) {
    return error >= 1 && error <= 999 ? static_cast<int32_t>(error) : 98;
}

void ipstack_at_set_cme_error(uint32_t error, char* buffer, int32_t mode) {
    if (buffer == nullptr) {
        return;
    }
    if (mode == 2) {
        (void)snprintf(buffer, IPSTACK_CME_TEXT_SIZE, "\r\n+CME ERROR: %u\r\n", error);
    } else {
        (void)snprintf(buffer, IPSTACK_CME_TEXT_SIZE, "\r\nERROR\r\n");
    }
}

// The heartbeat: every open link whose heartbeat is on sends the heartbeat data.
void ipstack_hbecat_main(void) {
    const std::lock_guard<std::mutex> lock(g_mu);
    State& s = st();
    std::string bytes;
    hex_decode(s.hbe_data, &bytes);
    for (uint32_t i = 0; i < kLinks; ++i) {
        Link& l = s.links[i];
        if (l.open && l.heartbeat) {
            if (net() != nullptr) {
                queue_send(i, bytes);
            } else {
                l.sent += bytes.size();
            }
            ++s.heartbeats;
            SIM_TRACE(TRACE_LEVEL_DEBUG, "heartbeat on link %u\n", i + 1);
        }
    }
}

// The time after which a silent peer is given up: interval times the
// heartbeats it may miss.
int32_t ipstack_hbe_maxtime(int32_t arg) {
    SIM_TRACE(TRACE_LEVEL_DEBUG, "heartbeat maximum time (%d)\n", arg);
    const std::lock_guard<std::mutex> lock(g_mu);
    return static_cast<int32_t>(st().hbe_interval * st().hbe_max);
}

}  // extern "C"
