#!/usr/bin/env python3
"""Link closure of the module's tandrel: what it needs is the C library and the module's libraries, nothing else.

Usage: module_closure.py --tools PREFIX --cc COMPILER --exe TANDREL --map LINK_MAP
           --symbols PLATFORM_SYMBOLS --source SOURCE_DIR --budget BYTES
           --allow INPUT [--allow INPUT ...]

PREFIX is the cross binutils' prefix (e.g. arm-linux-gnueabihf-); the C
library is found through COMPILER -print-file-name. Every INPUT (the core and
platform/module archives, the module's libraries) may appear in the link map;
so may the executable's own objects of src/ and the toolchain's files. Prints
every finding and the size figures; exits 1 on any finding.
"""
import argparse
import glob
import os
import re
import subprocess
import sys
import tempfile

findings = []


def run(*cmd):
    return subprocess.run(cmd, check=True, capture_output=True, text=True).stdout


def fail(what, items):
    if items:
        findings.append(f"{what}:\n" + "".join(f"  {i}\n" for i in sorted(items)))


def dynamic_symbols(tools, path, which):
    """Names (version dropped) and kinds of the dynamic symbols nm lists with `which`."""
    out = {}
    for line in run(tools + "nm", "-D", which, path).splitlines():
        parts = line.split()
        out[parts[-1].split("@")[0]] = parts[-2]
    return out


def read_all(pattern):
    out = []
    for path in glob.glob(pattern, recursive=True):
        with open(path, encoding="utf-8") as f:
            out.append(f.read())
    return "\n".join(out)


def main():
    ap = argparse.ArgumentParser()
    for opt in ("--tools", "--cc", "--exe", "--map", "--symbols", "--source"):
        ap.add_argument(opt, required=True)
    ap.add_argument("--budget", type=int, required=True)
    ap.add_argument("--allow", action="append", default=[])
    a = ap.parse_args()
    with open(a.symbols, encoding="utf-8") as f:
        declared = set(f.read().split())
    module_libs = [p for p in a.allow if ".so" in os.path.basename(p)]
    module_sonames = {re.search(r"\(SONAME\).*\[(.*)\]", run(a.tools + "readelf", "-d", p)).group(1)
                      for p in module_libs}

    # What the loader must find: the module's libraries and the C library. A
    # C++ runtime here would mean it was not linked in statically.
    needed = re.findall(r"\(NEEDED\).*\[(.*)\]", run(a.tools + "readelf", "-d", a.exe))
    libc = [n for n in needed if re.match(r"(libc|libm)\.so\.\d+$|ld-linux", n)]
    fail("needs libraries that are neither the module's nor the C library's",
         set(needed) - module_sonames - set(libc))
    fail("carries a library search path of the build machine",
         re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", run(a.tools + "readelf", "-d", a.exe)))

    # Undefined symbols: the C library's, or declared in platform/*.h. Weak
    # references (the start files' optional hooks) need no definition.
    c_library = set()
    for name in libc:
        c_library |= set(dynamic_symbols(a.tools, run(a.cc, f"-print-file-name={name}").strip(),
                                         "--defined-only"))
    undefined = dynamic_symbols(a.tools, a.exe, "--undefined-only")
    strong = {n for n, kind in undefined.items() if kind == "U"}
    fail("undefined symbols that neither the C library nor platform/*.h provide",
         strong - c_library - declared)
    # The daemon has no configuration of its own: on the module nothing of it
    # reads the environment (the host platform does).
    fail("reads the environment", strong & {"getenv", "secure_getenv"})

    # The module's libraries own every declared call: a definition of one in
    # the executable is a host or hand-written platform linked in.
    defined = set(line.split()[-1] for line in run(a.tools + "nm", "--defined-only", a.exe).splitlines())
    fail("defines calls that belong to the module's libraries (platform/*.h)", defined & declared)

    # Every input of the link from this tree is one it is meant to have.
    allowed = {os.path.realpath(p) for p in a.allow}
    build_dir = os.path.dirname(os.path.realpath(a.map))
    tree = os.path.commonpath([build_dir, os.path.realpath(a.source)])
    unexpected = set()
    with open(a.map, encoding="utf-8") as f:
        for path in re.findall(r"^LOAD (.+)$", f.read(), flags=re.M):
            if path == "linker stubs":
                continue
            real = os.path.realpath(os.path.join(build_dir, path))
            own_object = re.search(r"/CMakeFiles/tandrel\.dir/src/.*\.o$", real)
            if real.startswith(tree + os.sep) and real not in allowed and not own_object:
                unexpected.add(path)
    fail("links inputs other than the core, platform/module/ and the module's libraries", unexpected)

    # Nothing of the host platform in the image: no text that only its
    # sources have (its TANDREL_ environment variables, run-directory names,
    # messages).
    with open(a.exe, "rb") as f:
        image = f.read()
    core = "".join(read_all(os.path.join(a.source, d, "**", "*.[ch]*")) for d in ("src", "include"))
    host_texts = {t for t in re.findall(r'"((?:[^"\\\n]|\\.){8,})"',
                                        read_all(os.path.join(a.source, "platform", "host", "*.[ch]*")))
                  if "\\" not in t and t not in core}
    fail("holds texts of the host platform", {t for t in host_texts if t.encode() in image})

    # Footprint: the stripped image and its text + data against the budget.
    with tempfile.TemporaryDirectory() as tmp:
        stripped = os.path.join(tmp, "tandrel")
        run(a.tools + "strip", "-o", stripped, a.exe)
        text, data, bss = (int(v) for v in run(a.tools + "size", stripped).splitlines()[1].split()[:3])
        print(f"module tandrel: stripped {os.path.getsize(stripped)} bytes; "
              f"text {text}, data {data}, bss {bss}; text+data {text + data} of {a.budget}")
    if text + data > a.budget:
        findings.append(f"text+data {text + data} bytes is over the budget of {a.budget}\n")

    print(f"needs: {' '.join(needed)}")
    print(f"undefined: {len(strong & declared)} module library symbols, "
          f"{len(strong & c_library)} C library symbols, weak {' '.join(sorted(set(undefined) - strong))}")
    sys.stdout.write("".join(findings))
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
