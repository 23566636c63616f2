# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Check that the C and C++ sources are in the format of .clang-format, or with --write put them into it.

Other versions of clang-format lay out some constructs differently, so the check is skipped (status 77) without the
version that the project uses.
"""

import collections
import pathlib
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
FOLDERS = ("include", "src", "host", "cli", "tests", "bench", "fuzz", "examples", "python", "r")
VERSION = "14"


def clang_format():
    for name in (f"clang-format-{VERSION}", "clang-format"):
        if shutil.which(name):
            said = subprocess.run([name, "--version"], capture_output=True, text=True, check=True).stdout
            if re.search(rf"version {VERSION}\.", said):
                return name
    return None


def main():
    program = clang_format()
    if program is None:
        print(f"SKIPPED: clang-format {VERSION} is not installed, so the format of the sources was not checked")
        return 77
    files = [str(path.relative_to(ROOT)) for folder in FOLDERS for path in sorted((ROOT / folder).glob("**/*"))
             if path.suffix in {".h", ".cpp", ".c"}]
    if "--write" in sys.argv[1:]:
        return subprocess.run([program, "--style=file", "-i", *files], cwd=ROOT).returncode
    run = subprocess.run([program, "--style=file", "--dry-run", "-Werror", *files], cwd=ROOT, capture_output=True,
                         text=True)
    if run.returncode != 0:
        for file, count in collections.Counter(re.findall(r"^(\S+?):\d+:\d+: error", run.stderr, re.M)).items():
            print(f"{file}: {count} places are not in the format of .clang-format")
        print("Repeat with: python3 tools/check_format.py; mend with: make format")
        return 1
    print(f"{len(files)} files are in the format of .clang-format")
    return 0


if __name__ == "__main__":
    sys.exit(main())
