#!/bin/sh
# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Install the Debian packages that a purpose needs and that are missing: install_packages.sh PURPOSE...
# With --list in front, print their names instead.

set -eu

packages() {
    case $1 in
        engine) echo cmake ninja-build g++ ;;
        program) packages engine; echo libboost-dev libcli11-dev libcsv-dev libeigen3-dev libfmt-dev librandom123-dev \
                                       libreadstat-dev libssl-dev libutfcpp-dev nlohmann-json3-dev ;;
        python) packages program; echo python3 python3-dev python3-venv ;;
        r) packages program; echo make pkgconf r-base-core r-cran-cli r-cran-cpp11 r-cran-generics r-cran-jsonlite r-cran-processx ;;
        examples) packages engine; echo pkgconf libboost-dev libeigen3-dev librandom123-dev liblapacke-dev libblas-dev ;;
        test) packages program; packages r; packages examples
              echo binutils chromium clang-format iproute2 libgtest-dev libmpich-dev mpich locales python3 python3-dev python3-venv
              echo r-cran-broom r-cran-data.table r-cran-dplyr r-cran-haven r-cran-knitr r-cran-mice r-cran-mitml r-cran-mitools \
                   r-cran-posterior r-cran-rmarkdown r-cran-survival r-cran-testthat r-cran-tibble r-cran-tidyr r-cran-withr ;;
        check) packages test; packages fuzz ;;
        bench) packages program; echo libbenchmark-dev python3 ;;
        fuzz) packages engine; echo clang libclang-rt-14-dev ;;
        format) echo clang-format python3 ;;
        tidy) packages program; echo clang clang-tidy ;;
        *) echo "install_packages.sh: unknown purpose '$1'; known are engine, program, python, r, examples, test, check, bench," \
                "fuzz, format, tidy" >&2; exit 64 ;;
    esac
}

only_list=no
if [ "${1:-}" = --list ]; then
    only_list=yes
    shift
fi
[ $# -gt 0 ] || { echo "usage: install_packages.sh [--list] PURPOSE..." >&2; exit 64; }

wanted=
for purpose; do
    wanted="$wanted $(packages "$purpose")"
done
wanted=$(printf '%s\n' $wanted | sort -u)
if [ $only_list = yes ]; then
    echo $wanted
    exit 0
fi

if ! command -v dpkg-query >/dev/null; then
    echo "install_packages.sh: this is not a Debian system; make sure that these are installed:" $wanted >&2
    exit 0
fi

missing=
for package in $wanted; do
    state=$(dpkg-query --show --showformat='${db:Status-Abbrev}' "$package" 2>/dev/null || true)
    case $state in
        ii*) ;;
        *) missing="$missing $package" ;;
    esac
done
[ -n "$missing" ] || exit 0

if [ "$(id -u)" -eq 0 ]; then
    as_root=
elif command -v sudo >/dev/null; then
    as_root=sudo
else
    echo "install_packages.sh: not root and no sudo; as root, run: apt-get install --no-install-recommends$missing" >&2
    exit 1
fi

echo "Installing:$missing"
$as_root apt-get update
$as_root env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 install --yes --no-install-recommends $missing
