// tandrel-cost-reports: the report paths against the bare send of the same bytes, as ratios.
//
// Each report path runs beside a "bare" benchmark that hands
// send_at_response_to_kernel exactly the records the path sent (captured
// from one pass of the path), so the ratio is the daemon's cost over the
// send it cannot avoid. Both run against two senders (bench_platform.h):
// one that only copies the bytes, and the host platform's netlink send into
// a sink socket of this process. Google Benchmark's usual options apply;
// after its table the program prints one ratio line per path and sender.
#include <benchmark/benchmark.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "at_kernel.h"
#include "at_record.h"
#include "bench_platform.h"
#include "gps_adapter/gnss_state.h"
#include "ipstack.h"
#include "ipstackatapi/ipstack_at_handlers.h"
#include "osa_buffer.h"
#include "tandrel_adapters.h"
#include "tandrel_trace.h"

namespace {

using Records = std::vector<std::vector<uint8_t>>;

constexpr char kGga[] =
    "$GPGGA,092750.000,5321.6802,N,00630.3372,W,1,8,1.03,61.7,M,55.2,M,,*76\r\n";

// One second of a fix session's NMEA: the GSV group, GGA, GSA and the
// position extension that follows the GGA.
const char* const kFixSecond[] = {
    "$GPGSV,3,1,10,20,78,331,45,01,59,235,47,22,41,069,,13,32,252,45*70\r\n",
    "$GPGSV,3,2,10,04,27,316,41,23,24,045,26,32,22,178,40,11,20,088,35*7C\r\n",
    "$GPGSV,3,3,10,21,45,120,38,22,10,300,*71\r\n",
    "$GPGGA,092750.000,5321.6802,N,00630.3372,W,1,8,1.03,61.7,M,55.2,M,,*76\r\n",
    "$GPGSA,A,3,10,07,05,02,29,04,08,13,,,,,1.72,1.03,1.38*0A\r\n",
    "$GPZQLOC,2.5,12.5,0.8,*3A\r\n",
};

constexpr size_t kIpData = 1500;

void nmea_state(bool fix_session) {
    gnss_adapter_reset();
    gps_get_portcfg();
    gnss_set(GnssValue::FixsionFlag, fix_session ? 1 : 0);
    gnss_set(GnssValue::NmealoggingFlag, 0);
    // Raw NMEA goes to the NMEA port; during the fix session only the fix
    // sentences go out (to the GNSS port).
    gnss_set(GnssValue::NmeaPortFlag, fix_session ? 0 : 1);
    gnss_set(GnssValue::GnssPortFlag, 0);
}

void one_nmea() {
    AT_nmea_cb(0, kGga, static_cast<int32_t>(sizeof kGga - 1));
}

void one_fix_second() {
    for (const char* s : kFixSecond) {
        AT_nmea_cb(1700000000, s, static_cast<int32_t>(std::strlen(s)));
    }
}

IpstackDataEvent ip_event() {
    IpstackDataEvent ev{};
    ev.m_link = 0;
    ev.m_channel = 4;  // PCUI
    ev.m_len = kIpData;
    for (size_t i = 0; i < kIpData; ++i) {
        ev.m_data[i] = static_cast<uint8_t>(i * 7);
    }
    return ev;
}

void one_ipdata() {
    static const IpstackDataEvent ev = ip_event();
    at_ipstack_ipdata_report(&ev);
}

struct Path {
    const char* name;
    const char* unit;  // what one item is
    int items;         // items per call of run
    void (*setup)();
    void (*run)();
};

const Path kPaths[] = {
    {"nmea", "sentences", 1, [] { nmea_state(false); }, one_nmea},
    {"fix", "fix-session seconds (6 sentences in, 5 fix sentences out)", 1,
     [] { nmea_state(true); }, one_fix_second},
    {"ipdata", "^IPDATA reports of 1500 bytes", 1, [] {}, one_ipdata},
};

// The records one call of the path sends, as full-size records the bare
// send can be handed.
std::vector<OsaBuffer> capture(const Path& p) {
    Records sent;
    p.setup();
    bench_capture(&sent);
    p.run();
    bench_capture(nullptr);
    std::vector<OsaBuffer> records;
    for (const auto& bytes : sent) {
        OsaBuffer b(sizeof(AtResponse));
        std::memcpy(b.get(), bytes.data(), bytes.size());
        records.push_back(std::move(b));
    }
    return records;
}

const char* sink_name(BenchSink s) {
    return s == BenchSink::Copy ? "copy" : "netlink";
}

void register_all() {
    for (const BenchSink sink : {BenchSink::Copy, BenchSink::Netlink}) {
        for (const Path& path : kPaths) {
            const std::string base = std::string(path.name) + "/" + sink_name(sink);
            benchmark::RegisterBenchmark(
                (base + "/path").c_str(), [&path, sink](benchmark::State& st) {
                    if (!bench_sink_select(sink)) {
                        st.SkipWithError("no netlink sink");
                        return;
                    }
                    path.setup();
                    const uint64_t before = bench_sent().calls;
                    for (auto _ : st) {
                        path.run();
                    }
                    st.SetItemsProcessed(static_cast<int64_t>(st.iterations()) * path.items);
                    st.counters["sends"] =
                        benchmark::Counter(static_cast<double>(bench_sent().calls - before) /
                                           static_cast<double>(st.iterations()));
                });
            benchmark::RegisterBenchmark(
                (base + "/bare").c_str(), [&path, sink](benchmark::State& st) {
                    if (!bench_sink_select(sink)) {
                        st.SkipWithError("no netlink sink");
                        return;
                    }
                    const std::vector<OsaBuffer> records = capture(path);
                    uint64_t bytes = 0;
                    for (const OsaBuffer& r : records) {
                        bytes += at_response_wire_size(*r.as<AtResponse>());
                    }
                    for (auto _ : st) {
                        for (const OsaBuffer& r : records) {
                            auto* rsp = r.as<AtResponse>();
                            send_at_response_to_kernel(rsp, at_response_wire_size(*rsp));
                        }
                    }
                    st.SetItemsProcessed(static_cast<int64_t>(st.iterations()) * path.items);
                    st.counters["sends"] = benchmark::Counter(static_cast<double>(records.size()));
                    st.counters["bytes"] = benchmark::Counter(static_cast<double>(bytes));
                });
        }
    }
    // What a trace costs the caller when its level is above the active one
    // (not written), against one that is formatted.
    benchmark::RegisterBenchmark("trace/filtered", [](benchmark::State& st) {
        bench_trace_level(TRACE_LEVEL_INFO);
        int n = 0;
        for (auto _ : st) {
            TANDREL_TRACE(TRACE_LEVEL_DEBUG, "outputpara m_atcmd = <%s> m_magic = <%d>\r\n",
                          "^WPDGL", ++n);
        }
    });
    benchmark::RegisterBenchmark("trace/formatted", [](benchmark::State& st) {
        bench_trace_level(TRACE_LEVEL_INFO);
        int n = 0;
        for (auto _ : st) {
            TANDREL_TRACE(TRACE_LEVEL_INFO, "outputpara m_atcmd = <%s> m_magic = <%d>\r\n",
                          "^WPDGL", ++n);
        }
    });
}

// Keeps each run's time per item while printing the usual table.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs) {
            if (r.run_type == Run::RT_Iteration && !r.error_occurred && r.iterations > 0) {
                ns_per_item_[r.benchmark_name()] =
                    r.GetAdjustedRealTime() * ns_per_unit(r.time_unit);
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void print_ratios() const {
        std::printf("\nreport paths against the bare send of the same records (time per item):\n");
        for (const BenchSink sink : {BenchSink::Copy, BenchSink::Netlink}) {
            for (const Path& p : kPaths) {
                const std::string base = std::string(p.name) + "/" + sink_name(sink);
                const auto path = ns_per_item_.find(base + "/path");
                const auto bare = ns_per_item_.find(base + "/bare");
                if (path == ns_per_item_.end() || bare == ns_per_item_.end()) {
                    continue;
                }
                std::printf("  %-7s %-7s %10.0f /s path %10.0f /s bare  ratio %5.2fx  (%s)\n",
                            p.name, sink_name(sink), 1e9 / path->second, 1e9 / bare->second,
                            path->second / bare->second, p.unit);
            }
        }
        const auto filtered = ns_per_item_.find("trace/filtered");
        const auto formatted = ns_per_item_.find("trace/formatted");
        if (filtered != ns_per_item_.end() && formatted != ns_per_item_.end()) {
            std::printf("  trace below the active level %.1f ns a call, formatted %.1f ns\n",
                        filtered->second, formatted->second);
        }
    }

  private:
    static double ns_per_unit(benchmark::TimeUnit u) {
        switch (u) {
            case benchmark::kSecond:
                return 1e9;
            case benchmark::kMillisecond:
                return 1e6;
            case benchmark::kMicrosecond:
                return 1e3;
            default:
                return 1;
        }
    }
    std::map<std::string, double> ns_per_item_;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    register_all();
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.print_ratios();
    benchmark::Shutdown();
    return 0;
}
