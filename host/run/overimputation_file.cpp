// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Writing and reading overimputation.csv.

#include "ullage/host/run/overimputation_file.h"

#include <fmt/format.h>

#include <cmath>
#include <utility>

#include "ullage/host/base/csv_quoting.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"
#include "ullage/host/run/result_file.h"
#include "ullage/host/run/result_names.h"

namespace ullage::host {
namespace {

constexpr const char *kHeader = "column,cells,in_50,in_90\n";

}  // namespace

void write_overimputation(OutputFile &file, const std::vector<OverimputedColumn> &columns) {
    file.write(kHeader);
    for (const OverimputedColumn &column : columns) {
        file.write(
            fmt::format("{},{},{},{}\n", quote_cell(column.name, ','), column.cells, column.in_50, column.in_90));
    }
}

std::optional<std::vector<OverimputedColumn>> read_overimputation(const std::string &directory,
                                                                  const RunRecord &record) {
    if (record.file(kOverimputationName) == nullptr) return std::nullopt;
    const ResultRows file(directory, record, kOverimputationName, ',');
    if (file->names() != std::vector<std::string>{"column", "cells", "in_50", "in_90"}) {
        throw Error(Fault::data, fmt::format("{}: its columns are not column, cells, in_50, in_90", file->source()));
    }
    std::vector<OverimputedColumn> columns;
    while (file->next()) {
        const auto count = [&](std::size_t column, double least, double most) {
            const double number = parse_number(file->cell(column)).value_or(-1.0);
            if (!(number >= least && number <= most && number == std::floor(number))) {
                throw file->broken(fmt::format("{} {} is no whole number from {} to {}", file->names()[column],
                                               quote(file->cell(column)), least, most));
            }
            return static_cast<std::size_t>(number);
        };
        std::string column(file->cell(0));
        const std::size_t cells = count(1, 1.0, 1e9);
        const auto all = static_cast<double>(cells);
        columns.push_back({std::move(column), cells, count(2, 0.0, all), count(3, 0.0, all)});
    }
    return columns;
}

}  // namespace ullage::host
