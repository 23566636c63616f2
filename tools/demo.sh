#!/bin/sh
# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Show the program on the airquality measurements: demo.sh PROGRAM RESULTS, from the top folder.

set -eu
exec 2>&1

[ $# -eq 2 ] || { echo "usage: demo.sh PROGRAM RESULTS" >&2; exit 64; }
program=$1
results=$2
mkdir -p "$results"

run() {
    echo
    echo "\$ $program $*"
    "$program" "$@"
}

echo "1. Missing cells: 153 days of ozone, solar radiation, wind and temperature; 37 and 7 cells are missing."
run impute examples/airquality.csv -o "$results/airquality" --seed 1

# Columns 3 to 6 of parameters.csv are the means.
awk -F, '
    NR == 1 { for (i = 3; i <= 6; i++) name[i] = $i; next }
    { n++; for (i = 3; i <= 6; i++) { sum[i] += $i; squares[i] += $i * $i } }
    END {
        split("41.871 184.847 9.958 77.882", likelihood, " ")
        printf "\n%-16s %12s %12s %22s\n", "", "posterior", "std. dev.", "maximum likelihood"
        for (i = 3; i <= 6; i++) {
            mean = sum[i] / n
            printf "%-16s %12.3f %12.3f %22s\n", name[i], mean, sqrt(squares[i] / n - mean * mean), likelihood[i - 2]
        }
    }' "$results/airquality/parameters.csv"

echo
echo "2. Censored cells: the same days, with every ozone value below 20 written as <20."
run check examples/airquality_censored.csv
run impute examples/airquality_censored.csv -o "$results/airquality_censored" --seed 1 --log Ozone --thin 100

# The rows of the long table are the days in order, once for the original and once for each imputation.
awk -F, '
    FNR == 1 { file++; next }
    file == 1 { truth[FNR - 1] = $1; next }
    $5 == 0 { next }
    {
        day = $6
        if (truth[day] == "NA" || truth[day] >= 20) next
        n++; sum += $1; true_sum += truth[day]
        if ($1 >= 20) beyond++
        if ($1 < 10) low++
        if (truth[day] < 10) true_low++
    }
    END {
        printf "\nOzone on the days below 20        hidden truth      imputed\n"
        printf "mean                              %12.2f %12.2f\n", true_sum / n, sum / n
        printf "share below 10                    %12.2f %12.2f\n", true_low / n, low / n
        printf "imputed values at or above 20     %12s %12d\n", "", beyond
    }' examples/airquality.csv "$results/airquality_censored/imputations.csv"

echo
echo "The completed tables, the draws of the parameters and the record of each run are in $results."
