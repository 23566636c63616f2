# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Check that the documents show what the program prints: check_examples.py PROGRAM [--write]

A line "$ COMMAND" of a README or a document is run, one after the other per document, beside examples/ and tools/. The
lines below it, up to the next command or the end of the block, are its standard output; a line "..." stands for any
rest. With none, the command has but to succeed. With --write the documents get what the commands print now.
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[1]
COMMAND = re.compile(r"( *)\$ ((?:ullage|tools/\S+) .*)")
REST = "..."


def shown_below(lines, at, indent):
    """Where the output shown below the command in lines[at] ends."""
    end = at + 1
    while end < len(lines) and lines[end].startswith(indent) and not re.match(r" *(\$ |```)", lines[end]):
        end += 1
    return end


def check(document, environment, write):
    """What is wrong with the commands of a document, and how many there are."""
    lines = document.read_text(encoding="utf-8").splitlines()
    faults, count, at = [], 0, 0
    with tempfile.TemporaryDirectory() as folder:
        for name in ("examples", "tools"):
            (pathlib.Path(folder) / name).symlink_to(ROOT / name)
        while at < len(lines):
            command = COMMAND.fullmatch(lines[at])
            if not command:
                at += 1
                continue
            indent, words = command.groups()
            count += 1
            end = shown_below(lines, at, indent)
            shown = [line.removeprefix(indent) for line in lines[at + 1:end]]
            run = subprocess.run(["sh", "-c", words], cwd=folder, env=environment, capture_output=True, text=True,
                                 encoding="utf-8")
            printed = run.stdout.splitlines()
            where = f"{document.relative_to(ROOT)}:{at + 1}: {words}"
            if run.returncode != 0:
                faults.append(f"{where}\n  ended with exit code {run.returncode}: {run.stderr}")
            elif shown and write and shown[-1] != REST:
                lines[at + 1:end] = [(indent + line).rstrip() for line in printed]
                end = at + 1 + len(printed)
            elif shown and shown != printed and not (shown[-1] == REST and shown[:-1] == printed[:len(shown) - 1]):
                faults.append("\n  ".join([f"{where}\n  shown:", *shown, "printed:", *printed]))
            at = end
    if write:
        document.write_text("\n".join(lines) + "\n", encoding="utf-8")
    return faults, count


def main():
    program = pathlib.Path(sys.argv[1]).resolve()
    write = sys.argv[2:] == ["--write"]
    documents = [ROOT / "README.md", *sorted(ROOT.glob("docs/*.md")), *sorted(ROOT.glob("*/README.md"))]
    faults, count = [], 0
    with tempfile.TemporaryDirectory() as folder:
        (pathlib.Path(folder) / "ullage").symlink_to(program)
        environment = os.environ | {"PATH": folder + os.pathsep + os.environ["PATH"]}
        for document in documents:
            found, commands = check(document, environment, write)
            faults += found
            count += commands
    if faults or count == 0:
        print("\n".join(faults) or "no document shows a command")
        print(f"Repeat with: python3 tools/check_examples.py {sys.argv[1]}; with --write, the documents are corrected")
        return 1
    print(f"{count} commands in the documents print what is shown")
    return 0


if __name__ == "__main__":
    sys.exit(main())
