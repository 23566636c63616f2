# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Check the public headers: each compiles alone, engine.h is at least half comment and documents every export."""

import pathlib
import re
import shlex
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
WARNINGS = ["-Wall", "-Wextra", "-pedantic", "-Werror", "-fsyntax-only"]
COMPILATIONS = [
    ("include/ullage/engine.h", "c", "c11", ("gcc", "clang")),
    ("include/ullage/engine.h", "c++", "c++17", ("g++", "clang++")),
    ("include/ullage/random_source.h", "c++", "c++17", ("g++", "clang++")),
    ("include/ullage/random_source.h", "c++", "c++20", ("g++", "clang++")),
]


def compile_alone():
    """Commands that failed, with what the compiler said; at least one compiler per row must be there."""
    faults = []
    for header, language, standard, compilers in COMPILATIONS:
        present = [compiler for compiler in compilers if shutil.which(compiler)]
        if not present:
            faults.append(f"no compiler for {header} as {standard}: {' or '.join(compilers)}")
        for compiler in present:
            # A source that includes the header, as a header compiled itself has warnings of its own.
            command = [compiler, f"-std={standard}", *WARNINGS, "-I", "include", "-x", language, "-"]
            text = f"#include <{header.removeprefix('include/')}>\n"
            run = subprocess.run(command, cwd=ROOT, input=text, capture_output=True, text=True)
            if run.returncode != 0:
                faults.append(f"{run.stderr}Repeat with: echo {shlex.quote(text.strip())} | {shlex.join(command)}")
    return faults


def comments(text):
    """The comments of a C file; string literals with comment marks do not occur in headers."""
    return re.findall(r"/\*.*?\*/|//[^\n]*", text, flags=re.DOTALL)


def documentation():
    text = (ROOT / "include/ullage/engine.h").read_text(encoding="utf-8")
    faults = []
    lines = text.count("\n")
    commented = sum(comment.count("\n") + 1 for comment in comments(text))
    if 2 * commented < lines:
        faults.append(f"include/ullage/engine.h: {commented} of {lines} lines are comment, less than half")

    declared = {}
    for doc, name in re.findall(r"(/\*\*(?:(?!\*/).)*\*/)?\s*DS_API\s+[a-z0-9_]+\s+(DS_\w+)\(", text, flags=re.DOTALL):
        declared[name] = doc
    exports = (ROOT / "tools/exports.txt").read_text(encoding="utf-8").splitlines()
    exports = {line for line in exports if line.startswith("DS_")}
    faults += [f"in tools/exports.txt, but not declared in engine.h: {name}" for name in sorted(exports - set(declared))]
    faults += [f"declared in engine.h, but not in tools/exports.txt: {name}" for name in sorted(set(declared) - exports)]
    faults += [f"engine.h: {name} has no /** comment */" for name, doc in declared.items() if not doc]
    for name, parameters in re.findall(r"\b(DS_\w+)\(([^)]*)\);", re.sub(r"/\*.*?\*/", "", text, flags=re.DOTALL)):
        for parameter in parameters.split(","):
            word = re.search(r"(\w+)\s*$", parameter)
            if word and word[1] != "void" and not re.search(rf"@param {word[1]}\b", declared.get(name, "")):
                faults.append(f"engine.h: {name} does not document {word[1]}")
    return faults


def main():
    faults = compile_alone()
    undocumented = documentation()
    if undocumented:
        faults += undocumented + ["Repeat with: python3 tools/check_headers.py"]
    print("\n".join(faults) or "the public headers compile alone and document every export")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
