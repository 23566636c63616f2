# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Check that no file includes a folder which the table of tools/layers.txt keeps from it.

In src/, besides: a quoted include is written "folder/file.h", only standard headers are used (src/platform may use the
system's), kernels include nothing but kernels of their folder, and only src/platform asks which system it is on.
"""

import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')
SYSTEM_TEST = re.compile(r"\b(_WIN32|__linux__|__unix__|__APPLE__|_POSIX_VERSION|__MINGW32__)\b")
STANDARD_HEADER = re.compile(r"[a-z_0-9]+(\.h)?")
C_HEADERS = {"assert.h", "stddef.h", "stdint.h", "uchar.h"}
SEARCHED = ("include", "src", "cli")
ROOM_PREFIX = "ullage/host/"


def read_table(path):
    table = {}
    for line in path.read_text(encoding="utf-8").splitlines():
        if line and not line.startswith("#"):
            name, allowed = line.split(":")
            table[name] = set(allowed.split())
    return table


def layer_of(root, path, table):
    relative = path.relative_to(root).as_posix()
    return next((name for name in table if relative.startswith(name + "/")), None)


def target_of(root, includer, name):
    places = [includer.parent / name, *(root / folder / name for folder in SEARCHED)]
    if name.startswith(ROOM_PREFIX):
        places.append(root / "host" / name.removeprefix(ROOM_PREFIX))
    for candidate in map(pathlib.Path.resolve, places):
        if candidate.is_file() and candidate.is_relative_to(root):
            return candidate
    return None


def fault(root, path, layer, table, bracket, name):
    """What is wrong with one include, or None."""
    engine = layer.startswith("src/")
    target = target_of(root, path, name)
    if target is None:
        if bracket == '"' and engine:
            return "no such file below src/"
        if (engine and layer != "src/platform") or layer == "include":
            standard = STANDARD_HEADER.fullmatch(name) and (not name.endswith(".h") or name in C_HEADERS)
            return None if standard else "the engine uses the standard library alone"
        return None
    if engine and "/" not in name:
        return f'write it as "{target.relative_to(root / "src").as_posix()}"'
    to = layer_of(root, target, table)
    kernel = "_kernel." in path.name and layer + " kernels" in table
    if kernel and not (to == layer and "_kernel." in target.name):
        return "a kernel includes nothing of the engine but kernels"
    if to != layer and to not in table[layer]:
        return f"{layer} may include only: {', '.join(sorted(table[layer])) or 'nothing'}"
    return None


def check(root):
    root = root.resolve()
    table = read_table(root / "tools/layers.txt")
    faults, files = [], 0
    for layer, path in ((layer, path) for layer in table for path in sorted((root / layer).glob("**/*"))):
        if path.suffix not in {".h", ".cpp", ".c"}:
            continue
        files += 1
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            where = f"{path.relative_to(root)}:{number}: {line.strip()}"
            include = INCLUDE.match(line)
            if include and (why := fault(root, path, layer, table, *include.groups())):
                faults.append(f"{where}\n    {why}")
            if layer.startswith("src/") and layer != "src/platform" and SYSTEM_TEST.search(line):
                faults.append(f"{where}\n    only src/platform knows the operating system")
    return faults, files


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ".")
    faults, files = check(root)
    if faults or files == 0:
        print("\n".join(faults) or f"no source files below {root}")
        print("Repeat with: python3 tools/check_layers.py")
        return 1
    print(f"{files} files keep to tools/layers.txt")
    return 0


if __name__ == "__main__":
    sys.exit(main())
