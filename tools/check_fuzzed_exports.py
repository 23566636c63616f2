# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Check that every exported function is called by a fuzz harness or stands, with a reason, on the list of exceptions."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
EXCEPTIONS = ROOT / "fuzz" / "unfuzzed_exports.txt"


def listed(path):
    """Map the names of a list to what stands behind them; comments and empty lines are left out."""
    lines = (line.strip() for line in path.read_text(encoding="utf-8").splitlines())
    entries = (line.partition(" ") for line in lines if line and not line.startswith("#"))
    return {name: reason.strip() for name, _, reason in entries}


def main():
    exports = set(listed(ROOT / "tools" / "exports.txt"))
    exceptions = listed(EXCEPTIONS) if EXCEPTIONS.exists() else {}
    sources = "".join(path.read_text(encoding="utf-8") for path in sorted((ROOT / "fuzz").rglob("*.cpp")))
    called = {name for name in exports if re.search(rf"\b{name}\(", sources)}

    complaints = [f"{name} is called by no harness: call it in fuzz/session.cpp, or list it in {EXCEPTIONS.name} "
                  "with the reason" for name in sorted(exports - called - set(exceptions))]
    complaints += [f"{name} is listed in {EXCEPTIONS.name} without a reason"
                   for name, reason in sorted(exceptions.items()) if not reason]
    complaints += [f"{name} is listed in {EXCEPTIONS.name} and need not be"
                   for name in sorted(set(exceptions) & called | set(exceptions) - exports)]
    for complaint in complaints:
        print(complaint)
    if complaints:
        print("Repeat this check with: python3 tools/check_fuzzed_exports.py")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
