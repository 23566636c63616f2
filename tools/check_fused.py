# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Check that objects built for a processor with fused multiply-add hold no such instruction:
check_fused.py [--wider] OBJECT...

With --wider they must hold AVX-512 arithmetic too.
"""

import re
import subprocess
import sys

FUSED = re.compile(r"\bvf(n?m(add|sub)|maddsub|msubadd)\w+")
ARITHMETIC = re.compile(r"\bv(mul|add)[sp]d\b")


def main():
    objects = sys.argv[1:]
    wanted = ["AVX"]
    if objects[:1] == ["--wider"]:
        wanted.append("AVX-512")
        del objects[0]
    faults, counts = [], {"AVX": 0, "AVX-512": 0}
    for path in objects:
        run = subprocess.run(["objdump", "--disassemble", "--demangle", "--no-show-raw-insn", path],
                             capture_output=True, text=True)
        if run.returncode != 0:
            faults.append(run.stderr.strip())
        function = "?"
        for line in run.stdout.splitlines():
            if line.endswith(">:"):
                function = line.split("<", 1)[1][:-2]
            elif FUSED.search(line):
                faults.append(f"{path}: {function}: {line.split(chr(9), 1)[-1].strip()}")
            elif ARITHMETIC.search(line):
                counts["AVX-512" if "%zmm" in line else "AVX"] += 1
    for name in wanted:
        if counts[name] == 0:
            faults.append(f"the objects were not built for such a processor: they hold no {name} arithmetic at all")
    if faults:
        print("\n".join(faults[:20]))
        print(f"{len(faults)} faults. Repeat with: python3 tools/check_fused.py {' '.join(sys.argv[1:])}")
        return 1
    print(f"{sum(counts.values())} AVX instructions, {counts['AVX-512']} of them AVX-512, in {len(objects)} objects; "
          "none is fused")
    return 0


if __name__ == "__main__":
    sys.exit(main())
