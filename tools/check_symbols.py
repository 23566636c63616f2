# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Check that libullage exports exactly the functions of tools/exports.txt and can be unloaded.

Beside the functions it may export the type information of ullage::RandomSourceError. Nothing may pin it in a process:
no unique symbols, no thread-locals with destructors, no thread runtime.
"""

import argparse
import pathlib
import subprocess
import sys

EXCEPTION_TYPE = {"_ZTIN6ullage17RandomSourceErrorE", "_ZTSN6ullage17RandomSourceErrorE"}
PINNING = ("__cxa_thread_atexit", "__tls_get_addr", "GOMP_", "__kmpc_", "pthread_create")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("library")
    arguments = parser.parse_args()
    root = pathlib.Path(__file__).resolve().parents[1]
    lines = (root / "tools/exports.txt").read_text(encoding="utf-8").splitlines()
    wanted = {line for line in lines if line.startswith("DS_")}

    listing = subprocess.run(["nm", "-D", "--format=posix", arguments.library], capture_output=True, text=True,
                             check=True).stdout
    symbols = [line.split()[:2] for line in listing.splitlines()]
    exported = {name for name, kind in symbols if kind not in "Uwv"}

    faults = [f"exported, but not in tools/exports.txt: {name}" for name in sorted(exported - wanted - EXCEPTION_TYPE)]
    faults += [f"not exported: {name}" for name in sorted((wanted | EXCEPTION_TYPE) - exported)]
    faults += [f"unique symbol, which pins the library: {name}" for name, kind in symbols if kind == "u"]
    faults += [f"pins the library: {name}" for name, kind in symbols if kind in "Uw" and name.startswith(PINNING)]
    if faults:
        print("\n".join(faults))
        print(f"Repeat with: python3 tools/check_symbols.py {arguments.library}")
        return 1
    print(f"{len(wanted)} functions exported, and the type information of the exception")
    return 0


if __name__ == "__main__":
    sys.exit(main())
