#!/bin/sh
# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Test the R package with what a build has made: test_r.sh BUILD tests|check
# Either the package's tests and the examples of docs/r.md, or R CMD check with all that it looks at.

set -eu

mkdir -p "$1/r"
build=$(cd "$1" && pwd)
root=$(cd "$(dirname "$0")/.." && pwd)
place=$build/r/$2
prefix=$place/prefix
library=$place/library

skip() {
    echo "SKIPPED: $1, so the R package was not tested"
    exit 77
}

command -v Rscript >/dev/null || skip "there is no R (on Debian: tools/install_packages.sh test)"
lacking=$(Rscript -e 'for (p in c("cli", "cpp11", "generics", "jsonlite", "processx", "testthat", "withr")) if (!requireNamespace(p, quietly = TRUE)) cat(p, "")')
[ -z "$lacking" ] || skip "R has no package $lacking"

# A copy of the package, so that nothing is written beside the sources.
rm -rf "$place"
mkdir -p "$library" "$place/source"
for component in engine host program; do
    cmake --install "$build" --component $component --prefix "$prefix" >/dev/null
done
(cd "$root/r" && tar cf - --exclude=./inst/bin --exclude=./inst/lib --exclude=./src/prefix --exclude='./src/*.o' --exclude='./src/*.so' .) |
    tar xf - -C "$place/source"
export PKG_CONFIG_PATH="$prefix/lib/pkgconfig"
unset ULLAGE_PROGRAM ULLAGE_SOURCE
cd "$place"

if [ "$2" = check ]; then
    R CMD build source
    _R_CHECK_FORCE_SUGGESTS_=false R CMD check --no-manual ullage_*.tar.gz
    ! grep -E '^Status:.*(ERROR|WARNING|NOTE)' ullage.Rcheck/00check.log
    exit
fi
R CMD INSTALL --no-docs --library="$library" source >install.log 2>&1 || { cat install.log; exit 1; }
export R_LIBS="$library"
cd source/tests
NOT_CRAN=true Rscript testthat.R
Rscript "$root/tests/r/check_page.R" "$root/docs/r.md"
