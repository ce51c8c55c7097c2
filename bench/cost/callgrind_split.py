#!/usr/bin/env python3
"""Instructions per request, split into groups, from two callgrind profiles.

usage: callgrind_split.py SHORT.out SHORT_COUNT LONG.out LONG_COUNT [GROUP=FUNCTION[,FUNCTION...]...]
       callgrind_split.py --top N SHORT.out SHORT_COUNT LONG.out LONG_COUNT

The two profiles are of the same server answering SHORT_COUNT and
LONG_COUNT requests of one kind, so the difference of any figure divided by
the difference of the counts is that figure per request, with start-up,
first calls and shutdown taken out.

The profiles must be taken with --separate-callers (every function's cost
is then kept apart by the chain of its callers). Each instruction counts in
the group of the innermost function on its chain that a group names: a
memset that a handler calls counts as zeroing, the handler's own formatting
as handler, a trace the handler makes as traces. What no group names is
"other". A function matches a name when its name, up to its argument list,
equals it. With --top, the N functions (by chain) of most instructions per
request.
"""
import re
import subprocess
import sys


def profile(path):
    out = subprocess.run(["callgrind_annotate", "--inclusive=no", "--threshold=100", path],
                         check=True, capture_output=True, text=True).stdout
    total = 0
    costs = {}
    for line in out.splitlines():
        m = re.match(r"\s*([\d,]+)\s+(?:\([\d.]+%\)\s+)?(.*)$", line)
        if not m:
            continue
        count = int(m.group(1).replace(",", ""))
        rest = m.group(2)
        if rest.startswith("PROGRAM TOTALS"):
            total = count
            continue
        rest = re.sub(r"\s+\[[^\]]*\]$", "", rest)  # "file:function'caller'... [object]"
        name = rest.split(":", 1)[1] if ":" in rest else rest
        costs[name] = costs.get(name, 0) + count
    return total, costs


def bare(name):
    name = re.sub(r"^\(anonymous namespace\)::", "", name.strip())
    return name.split("(", 1)[0]


def chain(name):
    # Arguments may hold quotes only in C++ operator names, which no group names.
    return [bare(f) for f in name.split("'")]


def main(argv):
    top = 0
    if argv[:1] == ["--top"]:
        top = int(argv[1])
        argv = argv[2:]
    short, n_short, long_, n_long = argv[0], int(argv[1]), argv[2], int(argv[3])
    n = n_long - n_short
    t_short, c_short = profile(short)
    t_long, c_long = profile(long_)
    per = {k: (c_long.get(k, 0) - c_short.get(k, 0)) / n for k in set(c_long) | set(c_short)}
    print(f"total {(t_long - t_short) / n:.0f}")
    if top:
        for k, v in sorted(per.items(), key=lambda kv: -kv[1])[:top]:
            print(f"  {v:9.0f}  {k[:160]}")
        return 0
    member = {}
    labels = []
    for group in argv[4:]:
        label, names = group.split("=", 1)
        labels.append(label)
        for f in names.split(","):
            member[f] = label
    sums = {label: 0.0 for label in labels + ["other"]}
    for k, v in per.items():
        label = next((member[f] for f in chain(k) if f in member), "other")
        sums[label] += v
    for label in labels + ["other"]:
        print(f"{label} {sums[label]:.0f}")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
