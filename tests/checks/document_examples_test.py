# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""The examples of the documents print what stands there: document_examples_test.py PROGRAM DOCUMENT... runs the lines
that begin with "$ ullage" in order, where examples/ lies, and compares the lines that follow, if there are any."""

import pathlib
import shlex
import subprocess
import sys
import tempfile

TOP = pathlib.Path(__file__).parents[2]


def examples(text):
    """Pairs of a command's words and the lines that it is said to print."""
    found = []
    is_output = False
    for line in (line.strip() for line in text.splitlines()):
        if line.startswith("$ "):
            is_output = line.startswith("$ ullage ")
            if is_output:
                found.append((shlex.split(line)[2:], []))
        elif line in ("", "```"):
            is_output = False
        elif is_output:
            found[-1][1].append(line)
    return found


def main():
    program = str(pathlib.Path(sys.argv[1]).resolve())
    for document in sys.argv[2:]:
        found = examples((TOP / document).read_text())
        if not found:
            sys.exit(f"{document}: no line begins with \"$ ullage\"")
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "examples").symlink_to(TOP / "examples")
            for words, expected in found:
                done = subprocess.run([program, *words], cwd=folder, capture_output=True, text=True, timeout=120)
                printed = [line.strip() for line in done.stdout.splitlines()]
                if done.returncode != 0 or (expected and printed != expected):
                    sys.exit(f"{document}: ullage {shlex.join(words)}\nprints\n{done.stderr}{done.stdout}")


if __name__ == "__main__":
    main()
