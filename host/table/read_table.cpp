// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading a table: what its cells say makes the candidates columns of the model or carries them along.

#include "ullage/host/table/read_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/problems.h"
#include "ullage/host/base/words.h"
#include "ullage/host/table/column_choice.h"
#include "ullage/host/table/column_kinds.h"
#include "ullage/host/table/column_notices.h"
#include "ullage/host/table/decimal_commas.h"
#include "ullage/host/table/read_columns.h"

namespace ullage::host {
namespace {

constexpr std::size_t kRowsBetweenInterrupts = 4096;

// Up to so many words each get a message of their own, even where they outnumber the numbers of their column.
constexpr std::size_t kMostStrayWords = 10;

Table without_columns(FileText file) {
    Table table;
    table.file = std::move(file);
    return table;
}

class Reader {
public:
    Reader(FileText file, const ReadOptions &options, Notices &notices)
        : options_(options), notices_(notices), table_(without_columns(std::move(file))), file_columns_(table_.file) {}

    Table read();

private:
    [[nodiscard]] bool has_numbers(std::size_t index);
    void keep_words(std::size_t index, KindChoice &choice);
    void keep_numbers(std::size_t index, const KindChoice &choice);
    void refuse_if_asked_for(std::size_t index, const KindChoice &choice);
    void keep_columns();
    [[nodiscard]] std::string why_carried(std::size_t file_column) const;
    [[nodiscard]] OutputColumn carry(std::size_t file_column);
    void lay_out();
    void keep_bounds();
    void refuse_comparison(std::size_t row, const Bound &bound, std::int32_t other);
    void resolve_references();
    void read_id();
    void read_levels();
    void throw_if_any_problem();
    [[nodiscard]] std::string_view cell(std::size_t row, std::size_t file_column) {
        return table_.file.trimmed(row, file_column, unquoted_);
    }

    const ReadOptions &options_;
    Notices &notices_;
    Table table_;
    FileColumns file_columns_;
    std::vector<Candidate> candidates_;
    ReadCells cells_;                                      // of the candidates
    std::vector<std::int32_t> kept_as_;                    // of each candidate, the column; -1 if it is carried along
    std::unordered_map<std::size_t, KindChoice> refused_;  // by file column, of the candidates that are carried along
    std::vector<std::vector<WordCells::Limits>> word_limits_;  // of each column, of its bounded cells by row
    std::string unquoted_;                                     // holds the text of cell() if it had quotes
    Problems problems_;
};

/** Whether a candidate becomes a column of the model, as its cells hold numbers. Adds what is wrong with it. */
bool Reader::has_numbers(std::size_t index) {
    const Candidate &candidate = candidates_[index];
    CandidateCells &cells = cells_.columns[index];
    const bool is_sure = candidate.is_asked_for && options_.keep_blank;
    if (cells.numbers == 0 && !is_sure) {
        if (candidate.is_asked_for) {
            problems_.add(
                {.columns = {candidate.name}, .message = "the column holds no number; leave it out of --columns"});
        }
        return false;
    }
    if (!is_sure && cells.words > cells.numbers && cells.words > kMostStrayWords) {
        Problem first = cells.problems.list.front();
        first.message = fmt::format(
            "{} of this column hold words and {} numbers, this is the first; give --na if the "
            "words mean missing, or --carry {} if the column is not to be imputed",
            count_of(cells.words, "cell"), cells.numbers, shell_word(in_list(candidate.name)));
        problems_.add(std::move(first));
        return false;
    }
    for (Problem &problem : cells.problems.list) problems_.list.push_back(std::move(problem));
    problems_.count += cells.problems.count;
    return true;
}

void Reader::keep_numbers(std::size_t index, const KindChoice &choice) {
    const Candidate &candidate = candidates_[index];
    table_.columns.push_back({.name = candidate.name,
                              .kind = *choice.kind,
                              .kind_reason = choice.reason,
                              .step = choice.step,
                              .file_column = static_cast<std::ptrdiff_t>(candidate.file_column),
                              .upper_file_column = candidate.upper ? static_cast<std::ptrdiff_t>(*candidate.upper) : -1,
                              .values = std::move(cells_.columns[index].values),
                              .states = std::move(cells_.columns[index].states)});
    word_limits_.emplace_back();
}

void Reader::keep_words(std::size_t index, KindChoice &choice) {
    const Candidate &candidate = candidates_[index];
    WordCells cells = read_words(table_.file, candidate, choice, options_);
    for (Problem &problem : cells.problems.list) problems_.list.push_back(std::move(problem));
    problems_.count += cells.problems.count;
    table_.columns.push_back({.name = candidate.name,
                              .kind = *choice.kind,
                              .kind_reason = choice.reason,
                              .words = std::move(choice.words),
                              .file_column = static_cast<std::ptrdiff_t>(candidate.file_column),
                              .values = std::move(cells.values),
                              .states = std::move(cells.states)});
    word_limits_.push_back(std::move(cells.limits));
}

void Reader::refuse_if_asked_for(std::size_t index, const KindChoice &choice) {
    const Candidate &candidate = candidates_[index];
    if (!candidate.is_asked_for) return;
    problems_.add(
        {.columns = {candidate.name},
         .message = options_.find_kinds
                        ? fmt::format("the column cannot be modelled: {}; leave it out of --columns", choice.reason)
                        : "the column holds no number; leave it out of --columns"});
}

/** Make columns of the candidates that can be modelled. */
void Reader::keep_columns() {
    kept_as_.assign(candidates_.size(), -1);
    for (std::size_t i = 0; i < candidates_.size(); ++i) {
        KindChoice choice = choose_kind(table_.file, candidates_[i], cells_.columns[i], options_);
        if (!choice.kind) {
            refuse_if_asked_for(i, choice);
            if (candidates_[i].upper) refused_.emplace(*candidates_[i].upper, choice);
            refused_.emplace(candidates_[i].file_column, std::move(choice));
            continue;
        }
        const bool are_words = !choice.words.empty();
        if (!are_words && !has_numbers(i)) continue;
        kept_as_[i] = static_cast<std::int32_t>(table_.columns.size());
        are_words ? keep_words(i, choice) : keep_numbers(i, choice);
    }
    if (table_.columns.empty() && problems_.count == 0) {
        problems_.add({.message = options_.find_kinds ? "no column can be modelled; see what ullage check says of them"
                                                      : "no column holds a number"});
    }
}

/** Why a column of the file that is not in the model is not there. */
std::string Reader::why_carried(std::size_t file_column) const {
    const std::string &name = table_.file.names[file_column];
    if (name.empty()) return "it has no name";
    if (options_.id == name) return "--id";
    if (options_.by == name) return "--by";
    for (const Column &column : table_.columns) {
        const auto place = static_cast<std::ptrdiff_t>(file_column);
        if (column.upper_file_column == place || column.file_column == place) return "a limit of " + quote(column.name);
    }
    for (const auto &[column, remark] : options_.remarks) {
        if (remark == name) return "remarks on " + quote(column);
    }
    if (std::ranges::find(options_.carry, name) != options_.carry.end()) return "--carry";
    return "not among --columns";
}

OutputColumn Reader::carry(std::size_t file_column) {
    OutputColumn output{static_cast<std::ptrdiff_t>(file_column), -1};
    if (const auto choice = refused_.find(file_column); choice != refused_.end()) {
        output.reason = choice->second.reason;
        output.is_found = true;
        output.is_doubtful = choice->second.is_doubtful;
    } else {
        output.reason = why_carried(file_column);
    }
    for (std::size_t row = 0; row < table_.row_count(); ++row) {
        if (row % kRowsBetweenInterrupts == 0) check_interrupt();
        if (is_missing(cell(row, file_column), options_)) ++output.blank;
    }
    return output;
}

/** Give every column of the file, and every pair of limits behind its later one, a place in the output. */
void Reader::lay_out() {
    std::vector<std::ptrdiff_t> column_at(table_.file.names.size(), -1);
    std::vector<std::ptrdiff_t> pair_behind(table_.file.names.size(), -1);
    for (std::size_t i = 0; i < table_.columns.size(); ++i) {
        const Column &column = table_.columns[i];
        const bool is_pair = column.upper_file_column >= 0;
        const std::ptrdiff_t place = std::max(column.file_column, column.upper_file_column);
        (is_pair ? pair_behind : column_at)[static_cast<std::size_t>(place)] = static_cast<std::ptrdiff_t>(i);
    }
    for (std::size_t c = 0; c < table_.file.names.size(); ++c) {
        if (column_at[c] >= 0) {
            table_.output.push_back({-1, column_at[c]});
        } else {
            table_.output.push_back(carry(c));
        }
        if (pair_behind[c] >= 0) table_.output.push_back({-1, pair_behind[c]});
    }
}

/** The limit of a cell in steps: half-way between the last step that obeys it and the next. */
double limit_between_steps(const Column &column, const Bound &bound) {
    const double steps = bound.limit / column.step;
    if (bound.is_upper) return ((bound.or_equal ? std::floor(steps) : std::ceil(steps) - 1.0) + 0.5) * column.step;
    return ((bound.or_equal ? std::ceil(steps) : std::floor(steps) + 1.0) - 0.5) * column.step;
}

/** Keep the bounds of the cells of columns; those of candidates that are carried along or hold words go. */
void Reader::keep_bounds() {
    std::vector<std::size_t> next(table_.columns.size(), 0);  // of the limits of a column of words
    std::vector<Bound> bounds;
    bounds.reserve(cells_.bounds.size());
    table_.bound_begin.reserve(table_.row_count() + 1);
    for (std::size_t row = 0; row < table_.row_count(); ++row) {
        table_.bound_begin.push_back(bounds.size());
        for (std::size_t b = cells_.bound_begin[row]; b < cells_.bound_begin[row + 1]; ++b) {
            Bound bound = cells_.bounds[b];
            bound.column = kept_as_[static_cast<std::size_t>(bound.column)];
            if (bound.column < 0 || table_.columns[static_cast<std::size_t>(bound.column)].holds_words()) continue;
            const Column &column = table_.columns[static_cast<std::size_t>(bound.column)];
            if (column.kind == ColumnKind::stepped && bound.other < 0) bound.limit = limit_between_steps(column, bound);
            bounds.push_back(bound);
        }
        for (std::size_t c = 0; c < next.size(); ++c) {
            if (next[c] == word_limits_[c].size()) continue;
            const WordCells::Limits &limits = word_limits_[c][next[c]];
            if (static_cast<std::size_t>(limits.row) != row) continue;
            bounds.push_back({static_cast<std::int32_t>(c), -1, limits.lower, false});
            bounds.push_back({static_cast<std::int32_t>(c), -1, limits.upper, true});
            ++next[c];
        }
    }
    table_.bound_begin.push_back(bounds.size());
    bounds.shrink_to_fit();
    table_.bounds = std::move(bounds);
    cells_.bounds = {};
}

/** Cells of columns of numbers alone are compared with each other. */
void Reader::refuse_comparison(std::size_t row, const Bound &bound, std::int32_t other) {
    for (const std::int32_t index : {bound.column, other}) {
        if (index < 0) continue;
        const Column &column = table_.columns[static_cast<std::size_t>(index)];
        if (column.kind == ColumnKind::number) continue;
        const Column &own = table_.columns[static_cast<std::size_t>(bound.column)];
        problems_.add(
            {.line = table_.file.line[row],
             .row = static_cast<std::int64_t>(row + 1),
             .columns = {own.name},
             .text = table_.file.text(row, static_cast<std::size_t>(own.file_column)),
             .message = fmt::format("{} is {}, and only columns of numbers are compared with each other; "
                                    "--number may make it one",
                                    quote(column.name), kColumnKindNames[static_cast<std::size_t>(column.kind)])});
    }
}

/** Turn operands into columns, or into the number that a column outside the model holds. */
void Reader::resolve_references() {
    const FileText &file = table_.file;
    std::vector<std::int32_t> column_of(file.names.size() + candidates_.size(), -1);
    for (std::size_t i = 0; i < candidates_.size(); ++i) {
        column_of[candidates_[i].upper ? file.names.size() + i : candidates_[i].file_column] = kept_as_[i];
    }
    for (std::size_t row = 0; row < table_.row_count(); ++row) {
        for (std::size_t b = table_.bound_begin[row]; b < table_.bound_begin[row + 1]; ++b) {
            Bound &bound = table_.bounds[b];
            if (bound.other < 0) continue;
            const auto other = static_cast<std::size_t>(bound.other);
            refuse_comparison(row, bound, column_of[other]);
            if (column_of[other] >= 0) {
                bound.other = column_of[other];
                continue;
            }
            const bool is_pair = other >= file.names.size();
            if (const auto number = is_pair ? std::nullopt : parse_number(cell(row, other))) {
                bound.other = -1;
                bound.limit = *number;
                continue;
            }
            const Column &column = table_.columns[static_cast<std::size_t>(bound.column)];
            problems_.add({.line = file.line[row],
                           .row = static_cast<std::int64_t>(row + 1),
                           .columns = {column.name},
                           .text = file.text(row, static_cast<std::size_t>(column.file_column)),
                           .message = is_pair
                                          ? fmt::format("{} holds no number at all",
                                                        quote(candidates_[other - file.names.size()].name))
                                          : fmt::format("column {} is not in the model, and its cell {} is no number",
                                                        quote(file.names[other]), quote(file.text(row, other)))});
        }
    }
}

void Reader::read_id() {
    if (!options_.id) return;
    const FileText &file = table_.file;
    const std::size_t column = file_columns_.get(*options_.id, "--id");
    table_.id_file_column = column;
    std::unordered_map<std::string, std::size_t> first_row;
    for (std::size_t row = 0; row < file.row_count(); ++row) {
        check_interrupt();
        const auto [entry, is_new] = first_row.try_emplace(std::string(cell(row, column)), row);
        if (is_new && !entry->first.empty()) continue;
        problems_.add({.line = file.line[row],
                       .row = static_cast<std::int64_t>(row + 1),
                       .columns = {*options_.id},
                       .text = file.text(row, column),
                       .message = entry->first.empty()
                                      ? "the row has no id"
                                      : fmt::format("{} has the same id", file.place_of(entry->second))});
    }
}

void Reader::read_levels() {
    const FileText &file = table_.file;
    table_.level_of_row.assign(file.row_count(), 0);
    if (!options_.by) {
        table_.levels = {""};
        return;
    }
    const std::size_t column = file_columns_.get(*options_.by, "--by");
    std::unordered_map<std::string, std::int32_t> index;
    for (std::size_t row = 0; row < file.row_count(); ++row) {
        check_interrupt();
        std::string_view text = cell(row, column);
        if (is_missing(text, options_) && options_.by_blank) {
            text = *options_.by_blank;
        } else if (is_missing(text, options_)) {
            problems_.add({.line = file.line[row],
                           .row = static_cast<std::int64_t>(row + 1),
                           .columns = {*options_.by},
                           .text = file.text(row, column),
                           .message = "the row has no level; fill it in, or give --by-blank NAME to make such rows a "
                                      "level of that name"});
            continue;
        }
        const auto [entry, is_new] =
            index.try_emplace(std::string(text), static_cast<std::int32_t>(table_.levels.size()));
        if (is_new) table_.levels.push_back(entry->first);
        table_.level_of_row[row] = entry->second;
    }
}

void Reader::throw_if_any_problem() {
    std::stable_sort(problems_.list.begin(), problems_.list.end(),
                     [](const Problem &a, const Problem &b) { return a.line < b.line; });
    if (problems_.list.size() > DataError::kMostProblems) problems_.list.resize(DataError::kMostProblems);
    problems_.throw_if_any(table_.file.source);
}

Table Reader::read() {
    candidates_ = choose_candidates(table_.file, file_columns_, options_, notices_);
    cells_ = read_columns(table_.file, file_columns_, candidates_, options_);
    keep_columns();
    lay_out();
    keep_bounds();
    resolve_references();
    read_id();
    read_levels();
    throw_if_any_problem();
    tell_about_columns(table_, options_, notices_);
    return std::move(table_);
}

/** Where numbers have decimal commas, a point in one is refused: 1.234 may be meant as a thousand. */
void point_all_decimals(FileText &file, const ReadOptions &options) {
    std::vector<bool> is_text;
    for (const std::string &name : file.names) {
        is_text.push_back(std::ranges::count(options.carry, name) > 0 || name == options.id || name == options.by);
    }
    Problems problems;
    for (std::size_t row = 0; row < file.row_count(); ++row) {
        if (row % 4096 == 0) check_interrupt();
        for (std::size_t column = 0; column < file.names.size(); ++column) {
            const std::string_view cell = file.raw(row, column);
            if (!is_text[column] && has_decimal_point(cell)) {
                problems.add({.line = file.line[row],
                              .row = static_cast<std::int64_t>(row + 1),
                              .columns = {file.names[column]},
                              .text = std::string(cell),
                              .message =
                                  "a point within a number, and --decimal comma is given; write it with a comma, or "
                                  "without a mark if it separates thousands"});
            }
            point_decimals({file.bytes.data() + (cell.data() - file.bytes.data()), cell.size()});
        }
    }
    problems.throw_if_any(file.source);
}

}  // namespace

Table read_table(InputText input, const ReadOptions &options, Notices &notices) {
    if (input.separator == 0) input.separator = options.separator;
    FileText file = find_cells(std::move(input));
    if (options.decimal_comma) point_all_decimals(file, options);
    return Reader(std::move(file), options, notices).read();
}

}  // namespace ullage::host
