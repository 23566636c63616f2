// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The mean of a column of numbers, pooled over 20 imputations by the host library: pooled_mean TABLE COLUMN

#include <ullage/host/base/error.h>
#include <ullage/host/draw/impute.h>
#include <ullage/host/model/model_table.h>
#include <ullage/host/numbers/rubin.h>
#include <ullage/host/table/closure.h>
#include <ullage/host/table/read_stat_file.h>
#include <ullage/host/table/read_table.h>

#include <cstdio>
#include <vector>

using namespace ullage::host;

int main(int argc, char **argv) {
    if (argc != 3) return std::fputs("usage: pooled_mean TABLE COLUMN\n", stderr), 64;
    try {
        Notices notices;
        const Table table = read_table(read_input(argv[1]), {}, notices);
        const std::size_t column = table.find_column(argv[2]).value();
        const HiddenCells hidden = close_bounds(table);
        const ModelTable model = prepare_model(table, hidden, parse_prior("default"));
        const Imputations result = impute(model, {.seed = 1}, {});

        const auto rows = static_cast<double>(table.row_count());
        std::vector<double> means, variances;
        for (const std::vector<double> &drawn : result.values) {
            std::vector<double> completed = table.columns[column].values;
            for (std::size_t i = 0; i < drawn.size(); ++i) {
                const HiddenCell &cell = hidden.cells[i];
                if (static_cast<std::size_t>(cell.column) == column)
                    completed[static_cast<std::size_t>(cell.row)] = drawn[i];
            }
            double sum = 0.0, squares = 0.0;
            for (const double value : completed) sum += value;
            for (const double value : completed) squares += (value - sum / rows) * (value - sum / rows);
            means.push_back(sum / rows);
            variances.push_back(squares / (rows - 1.0) / rows);
        }
        const Pooled pooled = pool_scalar(means, variances, rows - 1.0);
        std::printf("mean of %s: %.6g, standard error %.6g\n", argv[2], pooled.estimate, pooled.standard_error);
    } catch (const std::exception &error) {
        return std::fprintf(stderr, "pooled_mean: %s\n", error.what()), 65;
    }
}
