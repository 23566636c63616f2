#!/bin/sh
# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# The mean by the installed program, by the example built with CMake, and by the same built with pkg-config:
# check_pooled_mean.sh PREFIX LIBDIR HOSTS EXAMPLES COMPILER

set -eu
prefix=$1
libdir=$1/$2
hosts=$3
examples=$4
compiler=$5

export PKG_CONFIG_PATH="$libdir/pkgconfig"
flags=$(pkg-config --cflags --libs ullage-host)
eval "'$compiler' -std=c++20 '$examples/pooled_mean.cpp' -o '$hosts/pooled_mean_by_pkg_config' $flags \
      -Wl,-rpath,'$libdir'"

"$prefix/bin/ullage" impute "$examples/airquality.csv" -o "$hosts/results" --seed 1 --quiet
# quantity,estimate,std.error,...
set -- $("$prefix/bin/ullage" pool "$hosts/results" --csv | tr ',' ' ' | grep 'mean(Ozone)')
for program in pooled_mean pooled_mean_by_pkg_config; do
    got=$("$hosts/$program" "$examples/airquality.csv" Ozone)
    want="mean of Ozone: $(printf '%.6g, standard error %.6g' "$2" "$3")"
    [ "$got" = "$want" ] || { echo "$program prints \"$got\", the program's results say \"$want\""; exit 1; }
done
