// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Finding, writing and reading the bounded cells.

#include "ullage/host/run/bounded_cells.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "ullage/host/base/csv_quoting.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/output_file.h"
#include "ullage/host/base/words.h"
#include "ullage/host/run/result_file.h"
#include "ullage/host/run/result_names.h"
#include "ullage/host/table/read_cell.h"
#include "ullage/host/table/read_table.h"
#include "ullage/host/table/word_places.h"

namespace ullage::host {
namespace {

constexpr std::array<const char *, 5> kHeader = {"row", "column", "knowledge", "lower", "upper"};

std::string end_text(double end) {
    return std::isfinite(end) ? format_number(end) : end < 0.0 ? "-Inf" : "Inf";
}

/** Of a column of words the first word that a cell may have, or the last one. */
std::string_view word_at(const std::vector<std::string> &words, double end, bool is_lower) {
    const double place = is_lower ? std::ceil(end) : std::floor(end);
    return words[static_cast<std::size_t>(std::clamp(place, 0.0, static_cast<double>(words.size() - 1)))];
}

}  // namespace

std::vector<BoundedCell> find_bounded_cells(const Table &table, const HiddenCells &hidden) {
    const KnownCells knowledge = find_knowledge(table);
    std::vector<BoundedCell> cells;
    for (const HiddenCell &cell : hidden.cells) {
        const Knowledge known = knowledge[static_cast<std::size_t>(cell.column)][static_cast<std::size_t>(cell.row)];
        if (known != Knowledge::missing) cells.push_back({cell.row, cell.column, known, cell.lower, cell.upper});
    }
    return cells;
}

void write_bounded_cells(OutputFile &file, const Table &table, const std::vector<BoundedCell> &cells) {
    file.write(fmt::format("{}\n", fmt::join(kHeader, ",")));
    std::vector<std::string> names;
    for (const Column &column : table.columns) names.push_back(quote_cell(column.name, ','));
    for (const BoundedCell &cell : cells) {
        const Column &column = table.columns[static_cast<std::size_t>(cell.column)];
        const auto end = [&](double value, bool is_lower) {
            return column.holds_words() ? quote_cell(word_at(column.words, value, is_lower), ',') : end_text(value);
        };
        file.write(fmt::format("{},{},{},{},{}\n", cell.row + 1, names[static_cast<std::size_t>(cell.column)],
                               kKnowledgeNames[static_cast<std::size_t>(cell.knowledge)], end(cell.lower, true),
                               end(cell.upper, false)));
    }
}

std::vector<BoundedCell> read_bounded_cells(const std::string &directory, const RunRecord &record) {
    const ResultRows file(directory, record, kBoundsName, ',');
    if (!std::equal(kHeader.begin(), kHeader.end(), file->names().begin(), file->names().end())) {
        throw Error(Fault::data, fmt::format("{}: its columns are not {}", file->source(), fmt::join(kHeader, ", ")));
    }
    std::unordered_map<std::string, std::int32_t> columns;
    for (std::size_t c = 0; c < record.columns.size(); ++c) {
        columns[std::string(trim(record.columns[c].name))] = static_cast<std::int32_t>(c);
    }
    std::vector<BoundedCell> cells;
    while (file->next()) {
        const auto broken = [&](std::size_t column) {
            return file->broken(
                fmt::format("{} {} is not of the run of run.json", kHeader[column], quote(file->cell(column))));
        };
        const auto end = [&](std::size_t column, const std::vector<std::string> &words) {
            if (!words.empty()) {
                const auto word = WordPlaces(words).find(file->cell(column));
                if (!word) throw broken(column);
                return static_cast<double>(*word) + (column == 3 ? -0.5 : 0.5);
            }
            const auto number = parse_number(file->cell(column));
            const auto infinity = parse_infinity(file->cell(column));
            if (!number && !infinity) throw broken(column);
            return number ? *number : *infinity;
        };
        const double row = parse_number(file->cell(0)).value_or(0.0);
        if (row < 1.0 || row > static_cast<double>(record.rows) || row != std::floor(row)) throw broken(0);
        const auto column = columns.find(std::string(trim(file->cell(1))));
        if (column == columns.end()) throw broken(1);
        const auto name = std::find(kKnowledgeNames.begin() + 2, kKnowledgeNames.end(), file->cell(2));
        if (name == kKnowledgeNames.end()) throw broken(2);
        const std::vector<std::string> &words = record.columns[static_cast<std::size_t>(column->second)].words;
        cells.push_back({static_cast<std::int32_t>(row) - 1, column->second,
                         static_cast<Knowledge>(name - kKnowledgeNames.begin()), end(3, words), end(4, words)});
    }
    return cells;
}

}  // namespace ullage::host
