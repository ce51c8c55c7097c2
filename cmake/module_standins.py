#!/usr/bin/env python3
"""ABI stand-ins of the module's libraries, generated from the declarations in platform/*.h.

Usage: module_standins.py PLATFORM_DIR OUT_DIR GROUP=HEADER[,HEADER...] ...

Writes OUT_DIR/<group>.cpp for every group: a definition of each function and
variable that the group's headers declare inside extern "C", every function
aborting with its name, so a stand-in that is ever called says which. Writes
OUT_DIR/platform_symbols.txt: every declared name, one a line, for the link
closure check. Every platform/*.h must belong to exactly one group, so a new
header cannot be left out of the stand-ins.
"""
import os
import re
import sys


def strip_comments(text):
    text = re.sub(r"/\*.*?\*/", " ", text, flags=re.S)
    text = re.sub(r"//[^\n]*", "", text)
    return re.sub(r"^\s*#[^\n]*", "", text, flags=re.M)


def strip_balanced(text, opener):
    """Drops every `opener` and its balanced (...) group, e.g. __attribute__((...))."""
    while (start := text.find(opener)) >= 0:
        depth, i = 0, start + len(opener)
        while True:
            depth += {"(": 1, ")": -1}.get(text[i], 0)
            i += 1
            if depth == 0:
                break
        text = text[:start] + text[i:]
    return text


def extern_c_blocks(text):
    for m in re.finditer(r'extern\s+"C"\s*\{', text):
        depth, i = 1, m.end()
        while depth:
            depth += {"{": 1, "}": -1}.get(text[i], 0)
            i += 1
        yield text[m.end():i - 1]


def declarations(path):
    """(name, declaration text, is_variable) of each extern "C" function and variable."""
    with open(path, encoding="utf-8") as f:
        text = strip_comments(f.read())
    found = []
    for block in extern_c_blocks(text):
        # Struct bodies go first: what is left is one declaration per ';'.
        while re.search(r"\{[^{}]*\}", block):
            block = re.sub(r"\{[^{}]*\}", "", block)
        for stmt in block.split(";"):
            stmt = " ".join(strip_balanced(stmt, "__attribute__").split())
            if not stmt or re.match(r"(typedef|struct|enum|union|static_assert|using)\b", stmt):
                continue
            if stmt.startswith("extern "):
                name = re.search(r"(\w+)\s*(\[[^\]]*\])?$", stmt).group(1)
                found.append((name, stmt[len("extern "):], True))
            elif "(" in stmt:
                name = re.match(r"[^(]*?(\w+)\s*\(", stmt).group(1)
                found.append((name, stmt, False))
            else:
                sys.exit(f"{path}: cannot read the declaration '{stmt}'")
    return found


PRELUDE = """\
// ABI stand-in of the module's {group} library, generated from {headers}: do not edit.
#include <unistd.h>

#include <cstdlib>
#include <cstring>

{includes}

namespace {{
// Only the link needs this library; running it on the module means the
// module's own library is missing.
[[noreturn]] void called(const char* name) {{
    static const char kText[] = ": called in an ABI stand-in of a module library\\n";
    (void)!write(2, name, strlen(name));
    (void)!write(2, kText, sizeof kText - 1);
    abort();
}}
}}  // namespace

extern "C" {{
"""


def main():
    platform_dir, out_dir, groups = sys.argv[1], sys.argv[2], sys.argv[3:]
    headers = sorted(h for h in os.listdir(platform_dir) if h.endswith(".h"))
    owner = {}
    for entry in groups:
        group, names = entry.split("=")
        for h in names.split(","):
            if h not in headers or h in owner:
                sys.exit(f"stand-in group {group}: {h} is not a platform header or is in two groups")
            owner[h] = group
    if left := [h for h in headers if h not in owner]:
        sys.exit(f"platform headers in no stand-in group: {' '.join(left)}")

    os.makedirs(out_dir, exist_ok=True)
    every = []
    for entry in groups:
        group, names = entry.split("=")
        names = names.split(",")
        out = [PRELUDE.format(group=group, headers=", ".join(names),
                              includes="\n".join(f'#include "{h}"' for h in names))]
        for h in names:
            for name, decl, is_variable in declarations(os.path.join(platform_dir, h)):
                every.append(name)
                out.append(f"{decl};\n" if is_variable else f'{decl} {{ called("{name}"); }}\n')
        out.append('}  // extern "C"\n')
        with open(os.path.join(out_dir, f"{group}.cpp"), "w", encoding="utf-8") as f:
            f.write("".join(out))
    if len(set(every)) != len(every):
        sys.exit("a platform call is declared twice")
    with open(os.path.join(out_dir, "platform_symbols.txt"), "w", encoding="utf-8") as f:
        f.write("".join(f"{n}\n" for n in sorted(every)))


if __name__ == "__main__":
    main()
