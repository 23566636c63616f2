// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What is noticed about the columns of a table.

#include "ullage/host/table/column_notices.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/words.h"
#include "ullage/host/table/column_kinds.h"
#include "ullage/host/table/read_columns.h"
#include "ullage/host/table/transformations.h"

namespace ullage::host {
namespace {

// What many tables write for a missing number.
constexpr double kMissingCodes[] = {-99.0, -999.0, -9999.0};

// Codes that laboratories put beside a number: what it is an upper limit of, and what was measured all the same.
constexpr std::string_view kBelowCodes[] = {"U", "UJ", "ND", "BDL", "BLQ", "BQL", "<DL", "<LOD", "<LOQ"};
constexpr std::string_view kObservedCodes[] = {"J", "J+", "J-", "B", "E", "D", "="};

bool is_among(std::span<const std::string_view> codes, std::string_view text) {
    return std::ranges::find(codes, text) != codes.end();
}

/** The codes of a column that holds codes of laboratories alone; none if it holds something else, or none for "below".
 */
std::vector<std::string> laboratory_codes(const FileText &file, std::size_t file_column, const ReadOptions &options) {
    std::set<std::string, std::less<>> codes;
    bool has_below = false;
    std::string buffer;
    for (std::size_t row = 0; row < file.row_count(); ++row) {
        const std::string_view text = file.trimmed(row, file_column, buffer);
        const bool is_below = is_among(kBelowCodes, text);
        if (!is_below && !is_among(kObservedCodes, text)) {
            if (is_missing(text, options)) continue;
            return {};
        }
        has_below = has_below || is_below;
        if (!codes.contains(text)) codes.emplace(text);
    }
    if (!has_below) return {};
    return {codes.begin(), codes.end()};
}

/** The column of numbers that a column of codes belongs to: the one whose name its own begins or ends with, or else its
 * neighbour on the left; null if there is none. */
const Column *remarked_column(const Table &table, std::size_t file_column) {
    const std::string &name = table.file.names[file_column];
    const Column *found = nullptr;
    for (const Column &column : table.columns) {
        if (column.holds_words()) continue;
        if (name.starts_with(column.name) || name.ends_with(column.name)) return &column;
        if (column.file_column + 1 == static_cast<std::ptrdiff_t>(file_column)) found = &column;
    }
    return found;
}

/** Of codes beside numbers, as they would otherwise be words of their own and the numbers measured values. */
void warn_of_codes(const Table &table, const ReadOptions &options, Notices &notices) {
    for (std::size_t c = 0; c < table.file.names.size(); ++c) {
        const std::string &name = table.file.names[c];
        const auto is_remark = [&](const auto &remark) { return remark.second == name; };
        const bool is_told = std::ranges::count(options.kinds, name, &KindOption::column) > 0 ||
                             std::ranges::count(options.carry, name) > 0 || name == options.id || name == options.by;
        if (is_told || std::ranges::any_of(options.remarks, is_remark)) continue;
        check_interrupt();
        const std::vector<std::string> codes = laboratory_codes(table.file, c, options);
        const Column *column = codes.empty() ? nullptr : remarked_column(table, c);
        if (column == nullptr) continue;
        std::vector<std::string> meanings;
        for (const std::string &code : codes) {
            meanings.push_back((is_among(kBelowCodes, code) ? "below=" : "observed=") + code);
        }
        notices.push_back(
            {true, fmt::format("column {} holds codes of laboratories ({}): if they are remarks on the values of {}, "
                               "--remark {} --remark-codes {} reads these so; now all of them count as measured",
                               quote(name), fmt::join(codes, ", "), quote(column->name),
                               shell_word(column->name + "=" + name),
                               shell_word(fmt::format("{}", fmt::join(meanings, ","))))});
    }
}

/** Of what may be otherwise than it looks among the columns that are carried along. */
void warn_of_carried(const Table &table, const ReadOptions &options, Notices &notices) {
    std::vector<std::string> blank;
    for (const OutputColumn &output : table.output) {
        if (output.file_column < 0) continue;
        const auto column = static_cast<std::size_t>(output.file_column);
        const std::string &name = table.file.names[column];
        if (output.is_found && holds_remarks(table.file, column, options)) {
            notices.push_back(
                {true, fmt::format("column {} holds nothing but signs such as < and >: if they belong to the values of "
                                   "another column, --remark {} reads these as bounds; now they count as "
                                   "measured",
                                   quote(name), shell_word("COLUMN=" + name))});
        } else if (output.is_doubtful) {
            notices.push_back(
                {true, fmt::format("column {} has {} and is carried along, not modelled: --nominal {} "
                                   "models its words all the same, --carry {} says that it is meant so",
                                   quote(name), output.reason, shell_word(in_list(name)), shell_word(in_list(name)))});
        }
        if (output.blank > 0 && output.is_found && output.blank < table.row_count()) {
            blank.push_back(fmt::format("{} ({})", quote(name), output.blank));
        }
    }
    if (blank.empty() || !options.find_kinds) return;
    notices.push_back({true, fmt::format("carried along with missing cells, which no completed table fills: {}",
                                         fmt::join(blank, ", "))});
}

/** Without kinds, a column without a number is no part of the model. */
void tell_what_is_carried(const Table &table, const ReadOptions &options, Notices &notices) {
    std::vector<std::string> names;
    for (const OutputColumn &output : table.output) {
        if (output.file_column < 0 || options.find_kinds || output.reason != kNoNumber) continue;
        names.push_back(quote(table.file.names[static_cast<std::size_t>(output.file_column)]));
    }
    if (names.empty()) return;
    notices.push_back({false, fmt::format("carried along unchanged, as there is no number in {}: {}",
                                          names.size() == 1 ? "it" : "them", fmt::join(names, ", "))});
}

void tell_of_pair(const Table &table, const Column &column, Notices &notices) {
    if (column.upper_file_column < 0) return;
    const std::vector<std::string> &names = table.file.names;
    notices.push_back(
        {false, fmt::format("columns {} and {} are read as the limits of {} (--limits none reads them as they are)",
                            quote(names[static_cast<std::size_t>(column.file_column)]),
                            quote(names[static_cast<std::size_t>(column.upper_file_column)]), quote(column.name))});
}

void warn_of_row_numbers(const Column &column, Notices &notices) {
    if (column.values.size() <= 2) return;
    for (std::size_t row = 0; row < column.values.size(); ++row) {
        if (column.values[row] != static_cast<double>(row + 1)) return;
    }
    notices.push_back({true, fmt::format("column {} only counts the rows; --id {} keeps it out of the model",
                                         quote(column.name), shell_word(column.name))});
}

/** The lowest observed value of a column. */
struct Lowest {
    double value = kOpen;
    std::size_t count = 0;
    std::size_t row = 0;
};

Lowest find_lowest(const Column &column) {
    Lowest lowest;
    for (std::size_t row = 0; row < column.values.size(); ++row) {
        if (column.values[row] < lowest.value) {
            lowest = {column.values[row], 1, row};
        } else if (column.values[row] == lowest.value) {
            ++lowest.count;
        }
    }
    return lowest;
}

/**
 * Whether a value stands more often at the lowest place than rounding explains. Its neighbours are the next ten
 * different values above it. It must stand there twice as often as any of these, and more often than by chance if it
 * and the observations of the neighbourhood fell evenly on the values that rounding leaves there: the probability of
 * that many is at most exp(-n D) for n observations, D being the divergence of the shares (Chernoff 1952).
 */
bool stands_out(const Column &column, const Lowest &lowest) {
    constexpr std::size_t kNeighbours = 10;
    constexpr double kProbability = 0.05;
    std::vector<double> above;
    std::ranges::copy_if(column.values, std::back_inserter(above), [&](double value) { return value > lowest.value; });
    std::ranges::sort(above);
    std::size_t neighbours = 0;  // different values
    std::size_t most = 0;        // observations of one of them
    double step = kOpen;         // the smallest between two
    double last = lowest.value;
    std::size_t i = 0;
    for (; i < above.size() && neighbours < kNeighbours; ++neighbours) {
        const std::size_t first = i;
        while (i < above.size() && above[i] == above[first]) ++i;
        most = std::max(most, i - first);
        step = std::min(step, above[first] - last);
        last = above[first];
    }
    if (neighbours == 0) return true;
    const auto count = static_cast<double>(lowest.count);
    const auto all = static_cast<double>(lowest.count + i);
    const double share = count / all;
    const double expected = 1.0 / (1.0 + (last - lowest.value) / step);
    if (lowest.count < 2 * most || share <= expected) return false;
    const double divergence =
        share * std::log(share / expected) + (1.0 - share) * std::log((1.0 - share) / (1.0 - expected));
    return std::exp(-all * divergence) < kProbability;
}

/** Ask whether a lowest value that stands several times is a code for missing or a limit that was filled in. */
void warn_of_lowest(const Table &table, const Column &column, bool has_cells_below, const ReadOptions &options,
                    Notices &notices) {
    const Lowest lowest = find_lowest(column);
    if (lowest.count < 2) return;
    if (std::find(std::begin(kMissingCodes), std::end(kMissingCodes), lowest.value) != std::end(kMissingCodes)) {
        std::string buffer;
        const auto text = table.file.trimmed(lowest.row, static_cast<std::size_t>(column.file_column), buffer);
        std::vector<std::string> words = options.missing;
        words.emplace_back(text);
        notices.push_back({true, fmt::format("column {} has {} as its lowest value, {} times: if that means missing, "
                                             "--na {} says so",
                                             quote(column.name), text, lowest.count,
                                             shell_word(fmt::format("{}", fmt::join(words, ","))))});
    } else if (has_cells_below && stands_out(column, lowest)) {
        notices.push_back(
            {true, fmt::format("column {} has cells below a limit, and its lowest value {} stands there {} times, more "
                               "often than its neighbours: if that is a limit that was filled in, write <{} in these "
                               "cells",
                               quote(column.name), lowest.value, lowest.count, lowest.value)});
    }
}

}  // namespace

void tell_about_columns(const Table &table, const ReadOptions &options, Notices &notices) {
    warn_of_carried(table, options, notices);
    if (options.find_kinds) warn_of_codes(table, options, notices);
    tell_what_is_carried(table, options, notices);
    std::vector<bool> has_cells_below(table.columns.size(), false);
    for (const Bound &bound : table.bounds) {
        if (bound.is_upper && bound.other < 0) has_cells_below[static_cast<std::size_t>(bound.column)] = true;
    }
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        check_interrupt();
        const Column &column = table.columns[i];
        tell_of_pair(table, column, notices);
        if (!options.columns && !options.find_kinds) warn_of_row_numbers(column, notices);
        if (!column.holds_words()) warn_of_lowest(table, column, has_cells_below[i], options, notices);
    }
}

std::vector<ColumnLine> describe_columns(const Table &table) {
    std::vector<ColumnLine> lines;
    for (const OutputColumn &output : table.output) {
        if (output.column < 0) {
            lines.push_back({table.file.names[static_cast<std::size_t>(output.file_column)], "carried", output.reason});
            if (output.blank > 0) lines.back().why += fmt::format("; {} missing", count_of(output.blank, "cell"));
            continue;
        }
        const Column &column = table.columns[static_cast<std::size_t>(output.column)];
        ColumnLine line{column.name, kColumnKindNames[static_cast<std::size_t>(column.kind)], column.kind_reason};
        if (column.holds_words()) line.why += ": " + list_of(column.words);
        if (column.kind == ColumnKind::stepped) line.why += fmt::format(", in steps of {}", column.step);
        if (column.transformation != Transformation::none) {
            line.why += ", modelled as " + transformed_name(column.transformation, column.name);
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace ullage::host
