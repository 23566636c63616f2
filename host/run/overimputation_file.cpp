// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Writing and reading overimputation.csv.

#include "ullage/host/run/overimputation_file.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

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

const std::vector<std::string> kNames = {"column", "cells", "in_50", "in_90", "hits", "expected_hits", "hit_error"};

}  // namespace

void write_overimputation(OutputFile &file, const std::vector<OverimputedColumn> &columns) {
    file.write(fmt::format("{}\n", fmt::join(kNames, ",")));
    for (const OverimputedColumn &column : columns) {
        file.write(fmt::format("{},{},", quote_cell(column.name, ','), column.cells));
        file.write(column.hits ? fmt::format(",,{},{},{}\n", format_number(column.hits->observed),
                                             format_number(column.hits->expected), format_number(column.hits->error))
                               : fmt::format("{},{},,,\n", column.in_50, column.in_90));
    }
}

std::optional<std::vector<OverimputedColumn>> read_overimputation(const std::string &directory,
                                                                  const RunRecord &record) {
    if (record.file(kOverimputationName) == nullptr) return std::nullopt;
    const ResultRows file(directory, record, kOverimputationName, ',');
    if (file->names() != kNames) {
        throw Error(Fault::data, fmt::format("{}: its columns are not {}", file->source(), fmt::join(kNames, ", ")));
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
        if (trim(file->cell(4)).empty()) {
            columns.push_back({std::move(column), cells, count(2, 0.0, all), count(3, 0.0, all)});
            continue;
        }
        const auto share = [&](std::size_t place) {
            const double number = parse_number(file->cell(place)).value_or(-1.0);
            if (number >= 0.0 && number <= all) return number;
            throw file->broken(
                fmt::format("{} {} is no number from 0 to {}", file->names()[place], quote(file->cell(place)), all));
        };
        columns.push_back({std::move(column), cells, 0, 0, OverimputedColumn::Hits{share(4), share(5), share(6)}});
    }
    return columns;
}

}  // namespace ullage::host
