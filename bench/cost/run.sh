#!/usr/bin/env bash
# The cost figures: report paths against the bare send, instructions per
# command against the baseline server, and the stripped size of the daemon.
#
# usage: bench/cost/run.sh [BUILD_DIR [PART...]]
#
# BUILD_DIR is a configured and built release tree (default build/release);
# PART is reports, instructions or footprint (default all three).
# The armhf size comes from the armhf preset's tree (build/armhf), whose
# daemon this script configures and builds when needed. Everything printed
# is what docs/PERFORMANCE.md quotes.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$root"
. scripts/lib/deps.sh
tandrel_install_deps valgrind g++-arm-linux-gnueabihf binutils-arm-linux-gnueabihf

build=${1:-build/release}
shift || true
parts=" ${*:-reports instructions footprint} "
want() { [[ $parts == *" $1 "* ]]; }
cost=$build/bench/cost
for exe in "$build/tandrel" "$cost/tandrel-cost-reports" "$cost/tandrel-cost-driver" "$cost/tandrel-cost-baseline"; do
    [ -x "$exe" ] || { echo "run.sh: $exe missing: build the release preset first" >&2; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

echo "== machine"
echo "$(nproc) CPUs, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ *//')"
echo "kernel $(uname -r), $(c++ --version | head -1), $(valgrind --version)"

if want reports; then
    echo
    echo "== report paths (Google Benchmark; time per item, real time)"
    "$cost/tandrel-cost-reports" --benchmark_color=false --benchmark_min_time=0.5 \
        --benchmark_counters_tabular=true
fi

# Instructions per request: each server answers WARM requests in one run and
# WARM + COUNT in another, both under callgrind; the difference divided by
# COUNT is the cost of one request with start-up and first calls taken out.
warm=200
count=1000
profile() {  # profile OUT KIND SERVER...
    local out=$1 kind=$2
    shift 2
    local n
    for n in $warm $((warm + count)); do
        "$cost/tandrel-cost-driver" --quiet --command "$kind" --count "$n" -- \
            valgrind -q --tool=callgrind --separate-callers=16 --callgrind-out-file="$out.$n" "$@" >&2
    done
}
split() {  # split OUT GROUP...
    local out=$1
    shift
    python3 bench/cost/callgrind_split.py "$out.$warm" "$warm" "$out.$((warm + count))" "$((warm + count))" "$@"
}

# The handler of each kind, and the groups of the split. An instruction
# counts in the group of the innermost function that holds it (a memset the
# handler calls is zeroing, a trace it makes is traces, its own formatting
# is handler); "zeroing" and "copies" are every memset and memcpy; "traces"
# every trace call, written or not; "other" what no group holds: the receive
# loop, the bus, the dispatcher's own code, malloc and free.
declare -A handler=(
    [wpdgl-query]=AT_GPS_ReadLocks
    [wpdgl-set]=AT_GPS_SetLocks
    [wpdom-test]=AT_GPS_TestOpMode
    [fotamode-query]=At_GetFotaMode
    [ipopen-query]=at_ipstack_ipopen
)
kinds=(wpdgl-query wpdgl-set ipopen-query fotamode-query wpdom-test)
groups=(zeroing=__memset_avx2_unaligned_erms,__memset_avx2_erms,__memset_evex_unaligned_erms,__memset_evex_erms
        copies=__memcpy_avx_unaligned_erms,__memmove_avx_unaligned_erms,__memcpy_avx_unaligned,__memmove_avx_unaligned_erms_rtm,__memmove_evex_unaligned_erms,__memcpy_evex_unaligned_erms
        lookup=at_cmd_find
        traces=QSP_TRACE_PrintInfo
        send=send_at_response_to_kernel)

if want instructions; then
echo
echo "== instructions per request (callgrind, $count requests after $warm, trace level 8)"
profile "$work/base" wpdgl-query "$cost/tandrel-cost-baseline"
split "$work/base" "${groups[@]}" handler=none >"$work/base.txt"
base_total=$(awk '$1 == "total" {print $2}' "$work/base.txt")
printf '%-15s %8s %6s' kind total ratio
for g in "${groups[@]}"; do printf ' %8s' "${g%%=*}"; done
printf ' %8s %8s\n' handler other
row() {  # row LABEL FILE
    awk -v label="$1" -v base="$base_total" '
        { v[$1] = $2; order[n++] = $1 }
        END {
            printf "%-15s %8d %5.2fx", label, v["total"], v["total"] / base
            for (i = 1; i < n; i++) printf " %8d", v[order[i]]
            printf "\n"
        }' "$2"
}
row baseline "$work/base.txt"
for k in "${kinds[@]}"; do
    TANDREL_TRACE_LEVEL=8 profile "$work/$k" "$k" "$build/tandrel"
    split "$work/$k" "${groups[@]}" "handler=${handler[$k]}" >"$work/$k.txt"
    row "$k" "$work/$k.txt"
done

fi

if want footprint; then
echo
echo "== footprint: stripped tandrel (bytes)"
if [ ! -f build/armhf/build.ninja ]; then
    cmake --preset armhf >/dev/null
fi
cmake --build build/armhf --target tandrel -j2 >/dev/null
arm-linux-gnueabihf-strip -o "$work/tandrel.armhf" build/armhf/tandrel
strip -o "$work/tandrel.x86-64" "$build/tandrel"
printf '%-8s %9s %7s %7s %9s\n' target text data bss file
read -r text data bss _ < <(arm-linux-gnueabihf-size "$work/tandrel.armhf" | tail -1)
printf '%-8s %9d %7d %7d %9d\n' armhf "$text" "$data" "$bss" "$(stat -c %s "$work/tandrel.armhf")"
read -r text data bss _ < <(size "$work/tandrel.x86-64" | tail -1)
printf '%-8s %9d %7d %7d %9d\n' x86-64 "$text" "$data" "$bss" "$(stat -c %s "$work/tandrel.x86-64")"
fi
