#!/bin/sh
# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Check and test the Python package with what a build has made: test_python.sh BUILD PROGRAM [PYTHON]
# A virtual environment in BUILD/python is given what the package and its tests need, from PyPI.

set -eu

mkdir -p "$1/python"
build=$(cd "$1" && pwd)
program=$(realpath "$2")
python=${3:-python3}
root=$(cd "$(dirname "$0")/.." && pwd)
venv=$build/python/venv
prefix=$build/python/prefix

skip() {
    echo "SKIPPED: $1, so the Python package was not tested"
    exit 77
}

export PIP_DISABLE_PIP_VERSION_CHECK=1 PYTHONDONTWRITEBYTECODE=1
"$python" -m venv "$venv" || skip "$python makes no virtual environment (on Debian: apt-get install python3-venv)"
"$venv/bin/pip" install --quiet scikit-build-core nanobind matplotlib mypy numpy pandas pandas-stubs polars pyarrow pytest ruff \
    scikit-learn statsmodels tqdm || skip "PyPI cannot be reached"

for component in engine host; do
    cmake --install "$build" --component $component --prefix "$prefix" >/dev/null
done
CMAKE_PREFIX_PATH=$prefix "$venv/bin/pip" install --quiet --no-build-isolation --no-deps --force-reinstall \
    --config-settings=cmake.define.ULLAGE_PYTHON_INSTALLED=ON --config-settings=build-dir="$build/python/wheel" \
    "$root/python"

cd "$root/python"
"$venv/bin/ruff" check --no-cache .
"$venv/bin/mypy" --cache-dir="$build/python/mypy"
ULLAGE_PROGRAM=$program "$venv/bin/pytest" -q -p no:cacheprovider
