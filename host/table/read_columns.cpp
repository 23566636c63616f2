// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What each cell of a candidate says.

#include "ullage/host/table/read_columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"
#include "ullage/host/table/read_cell.h"

namespace ullage::host {
namespace {

/** Whether a text is two numbers with a hyphen between them, as in "2-3". */
bool looks_like_range(std::string_view text) {
    const std::size_t hyphen = text.find('-', 1);
    return hyphen != std::string_view::npos && parse_number(text.substr(0, hyphen)) &&
           parse_number(text.substr(hyphen + 1));
}

/** The last word of a text that is a number or a bound otherwise, as in "0.5 mg/L" and "0.5U". */
std::optional<std::string_view> word_behind(std::string_view text) {
    std::size_t end = text.find_last_of("0123456789.");
    if (const std::size_t blank = text.find_last_of(' '); blank != std::string_view::npos) end = blank;
    if (end == std::string_view::npos || end + 1 >= text.size()) return std::nullopt;
    const std::string_view head = trim(text.substr(0, end + 1));
    const CellContent content = parse_cell(head);
    const bool is_bound = content.kind == CellKind::bounds && content.bounds.front().other.empty();
    if (!parse_number(head) && !is_bound) return std::nullopt;
    const std::string_view word = trim(text.substr(end + 1));
    return parse_number(word) ? std::nullopt : std::optional(word);
}

/** How to read a text with a word behind its number; empty if there is none. */
std::string explain_word_behind(std::string_view text) {
    const auto word = word_behind(text);
    if (!word) return {};
    return fmt::format(
        "the word {} follows a number: --unit {} reads past it, and --remark-codes {} takes it for below", quote(*word),
        shell_word(*word), shell_word(fmt::format("below={}", *word)));
}

class CellReader {
public:
    CellReader(const FileText &file, const FileColumns &columns, const std::vector<Candidate> &candidates,
               const ReadOptions &options)
        : file_(file), columns_(columns), candidates_(candidates), options_(options) {
        for (std::size_t i = 0; i < candidates_.size(); ++i) {
            if (candidates_[i].upper) pairs_[candidates_[i].name] = file_.names.size() + i;
        }
    }

    ReadCells read();

private:
    enum class Remark { observed, below, above };
    [[nodiscard]] std::optional<Remark> meaning_of(std::string_view text) const;
    [[nodiscard]] std::optional<Remark> read_remark(std::size_t row, std::size_t index);
    [[nodiscard]] std::optional<Remark> take_word_behind(std::string_view &text) const;
    [[nodiscard]] bool is_nondetect(std::string_view text) const;
    [[nodiscard]] std::string_view without_words(std::string_view text, Remark &remark) const;
    void keep_bounds(std::size_t row, std::size_t index, const CellContent &content);
    void read_text(std::size_t row, std::size_t index, std::string_view text, Remark remark);
    void read_single(std::size_t row, std::size_t index);
    void read_pair(std::size_t row, std::size_t index);
    [[nodiscard]] std::optional<std::size_t> operand(std::string_view name) const;
    [[nodiscard]] std::string_view cell(std::size_t row, std::size_t file_column) {
        return file_.trimmed(row, file_column, unquoted_);
    }
    void add_bound(std::size_t row, std::size_t index, double limit, bool is_upper, bool or_equal);
    void add_problem(std::size_t row, std::size_t index, std::string message);

    const FileText &file_;
    const FileColumns &columns_;
    const std::vector<Candidate> &candidates_;
    const ReadOptions &options_;
    std::unordered_map<std::string_view, std::size_t> pairs_;  // as operands
    ReadCells result_;
    std::string unquoted_;  // holds the text of cell() if it had quotes
};

void CellReader::add_problem(std::size_t row, std::size_t index, std::string message) {
    const Candidate &candidate = candidates_[index];
    std::string text = file_.text(row, candidate.file_column);
    if (candidate.upper) text += " .. " + file_.text(row, *candidate.upper);
    result_.columns[index].problems.add({.line = file_.line[row],
                                         .row = static_cast<std::int64_t>(row + 1),
                                         .columns = {candidate.name},
                                         .text = std::move(text),
                                         .message = std::move(message)});
}

void CellReader::add_bound(std::size_t row, std::size_t index, double limit, bool is_upper, bool or_equal) {
    result_.columns[index].states[row] = CellState::bounded;
    result_.bounds.push_back({static_cast<std::int32_t>(index), -1, limit, is_upper, or_equal});
}

/** What a cell can refer to: a pair of limits by its own name, or a column of the file. */
std::optional<std::size_t> CellReader::operand(std::string_view name) const {
    const auto pair = pairs_.find(name);
    if (pair != pairs_.end()) return pair->second;
    return columns_.find(name);
}

bool is_among(std::string_view text, const std::vector<std::string> &words) {
    return std::find(words.begin(), words.end(), text) != words.end();
}

/** What a remark means, if it is a known one. */
std::optional<CellReader::Remark> CellReader::meaning_of(std::string_view text) const {
    if (is_among(text, options_.remark_observed)) return Remark::observed;
    if (is_among(text, options_.remark_below)) return Remark::below;
    if (is_among(text, options_.remark_above)) return Remark::above;
    return std::nullopt;
}

/** Take a unit, or where cells may have them a remark, off the end of a cell with a digit in it. What it means. */
std::optional<CellReader::Remark> CellReader::take_word_behind(std::string_view &text) const {
    std::string_view longest;
    const auto look = [&](const std::vector<std::string> &words) {
        for (const std::string &word : words) {
            // A code that is a number, such as 1, is none behind a number.
            if (word.size() <= longest.size() || parse_number(word) || !text.ends_with(word)) continue;
            const std::string_view rest = text.substr(0, text.size() - word.size());
            if (std::any_of(rest.begin(), rest.end(), is_digit)) longest = word;
        }
    };
    look(options_.units);
    if (options_.remarks_in_cells) {
        for (const auto *words : {&options_.remark_below, &options_.remark_above, &options_.remark_observed})
            look(*words);
    }
    if (longest.empty()) return std::nullopt;
    text = trim(text.substr(0, text.size() - longest.size()));
    return is_among(longest, options_.units) ? std::nullopt : meaning_of(longest);
}

/** Whether a cell says "below the limit of the column": the word alone, which is no reference to a column. */
bool CellReader::is_nondetect(std::string_view text) const {
    if (!is_among(text, options_.nondetect)) return false;
    return !(text.starts_with('<') && operand(trim(text.substr(1))));
}

/** What the remark on a cell says, or nothing and a problem. */
std::optional<CellReader::Remark> CellReader::read_remark(std::size_t row, std::size_t index) {
    const std::optional<std::size_t> column = candidates_[index].remark;
    if (!column) return Remark::observed;
    const std::string_view text = cell(row, *column);
    if (const auto meaning = meaning_of(text)) return meaning;
    if (is_missing(text, options_)) return Remark::observed;
    const std::string observed =
        options_.remark_observed.empty() ? "an empty cell" : list_of(options_.remark_observed) + ", an empty cell";
    add_problem(row, index,
                fmt::format("the remark {} in column {} is none of {} (below), {} (above) and {} (observed); "
                            "--remark-codes declares others, as below=U,below=UJ,observed=J",
                            quote(text), quote(file_.names[*column]), list_of(options_.remark_below),
                            list_of(options_.remark_above), observed));
    return std::nullopt;
}

/** Keep the bounds that a cell states, unless one refers to what is not there. */
void CellReader::keep_bounds(std::size_t row, std::size_t index, const CellContent &content) {
    const std::size_t first = result_.bounds.size();
    std::string message;
    for (const StatedBound &bound : content.bounds) {
        std::int32_t other = -1;
        if (!bound.other.empty()) {
            const auto found = operand(bound.other);
            if (!found) {
                message = explain_word_behind(bound.other);
                if (message.empty()) message = quote(bound.other) + " is neither a number nor the name of a column";
            } else if (*found == candidates_[index].file_column) {
                message = "the cell refers to its own column";
            } else {
                other = static_cast<std::int32_t>(*found);
            }
        }
        if (!message.empty()) break;
        result_.bounds.push_back(
            {static_cast<std::int32_t>(index), other, bound.limit, bound.is_upper, bound.or_equal});
    }
    CandidateCells &cells = result_.columns[index];
    if (message.empty()) {
        ++cells.numbers;
        cells.states[row] = CellState::bounded;
    } else {
        result_.bounds.resize(first);
        ++cells.words;
        add_problem(row, index, std::move(message));
    }
}

/** Read a cell that is neither a number, missing nor the word for a value below the limit. */
void CellReader::read_text(std::size_t row, std::size_t index, std::string_view text, Remark remark) {
    CandidateCells &cells = result_.columns[index];
    const CellContent content = parse_cell(text);
    if (content.kind == CellKind::word) {
        ++cells.words;
        add_problem(row, index,
                    looks_like_range(text) ? "two numbers; write an interval as 2..3"
                    : word_behind(text)
                        ? explain_word_behind(text)
                        : fmt::format("no number; correct it, or give --na if it means missing, or --carry {} if "
                                      "the column is not to be imputed",
                                      shell_word(in_list(candidates_[index].name))));
    } else if (content.kind == CellKind::malformed) {
        (content.is_number_like ? cells.numbers : cells.words) += 1;
        add_problem(row, index, content.message);
    } else if (content.kind == CellKind::bounds && remark != Remark::observed) {
        add_problem(row, index, "a remark and a bound in one cell; write one of the two");
    } else if (content.kind == CellKind::bounds) {
        keep_bounds(row, index, content);
    }
}

/** A cell without the word for "not detected" in front of a bound, and without a unit or remark behind a number. */
std::string_view CellReader::without_words(std::string_view text, Remark &remark) const {
    for (const std::string &word : options_.nondetect) {
        std::string_view rest = text;
        if (!take(rest, word) || !trim(rest).starts_with('<')) continue;
        text = trim(rest);
        break;
    }
    if (const auto meaning = take_word_behind(text); meaning && remark == Remark::observed) remark = *meaning;
    return text;
}

void CellReader::read_single(std::size_t row, std::size_t index) {
    const Candidate &candidate = candidates_[index];
    CandidateCells &cells = result_.columns[index];
    std::optional<Remark> remark = read_remark(row, index);
    if (!remark) return;
    std::string_view text = cell(row, candidate.file_column);
    if (is_missing(text, options_)) {
        if (*remark != Remark::observed) {
            add_problem(row, index,
                        "the remark says below or above, and there is no number; clear the remark if nothing is known");
        }
        return;
    }
    const bool is_below_limit = is_nondetect(text);
    if (!is_below_limit) text = without_words(text, *remark);
    if (is_below_limit && candidate.limit) {  // the word may look like a number: 0 in a column that is cut off at 0
        ++cells.numbers;
        add_bound(row, index, *candidate.limit, true, false);
    } else if (const auto number = parse_number(text)) {
        ++cells.numbers;
        if (*remark != Remark::observed) {
            add_bound(row, index, *number, *remark == Remark::below, false);
        } else {
            cells.values[row] = *number;
            cells.states[row] = CellState::observed;
        }
    } else if (is_below_limit) {
        ++cells.words;
        add_problem(
            row, index,
            fmt::format("not detected, but below which limit? --nd {} tells", shell_word(candidate.name + "=LIMIT")));
    } else {
        read_text(row, index, text, *remark);
    }
}

void CellReader::read_pair(std::size_t row, std::size_t index) {
    const Candidate &candidate = candidates_[index];
    CandidateCells &cells = result_.columns[index];
    double ends[2] = {-kOpen, kOpen};
    bool has_number = false;
    for (int side = 0; side < 2; ++side) {
        const std::string_view text = cell(row, side == 0 ? candidate.file_column : *candidate.upper);
        if (is_missing(text, options_)) continue;
        if (const auto number = parse_number(text)) {
            ends[side] = *number;
            has_number = true;
        } else if (parse_infinity(text) != ends[side]) {
            std::string message = explain_number(text);
            (message.empty() ? cells.words : cells.numbers) += 1;
            if (message.empty()) message = quote(text) + " is no limit; write a number, or leave an open end empty";
            add_problem(row, index, std::move(message));
            return;
        }
    }
    if (!has_number) return;
    ++cells.numbers;
    if (ends[0] > ends[1]) {
        add_problem(row, index, "the lower limit is above the upper one; exchange them");
    } else if (ends[0] == ends[1]) {
        cells.values[row] = ends[0];
        cells.states[row] = CellState::observed;
    } else {
        if (ends[0] > -kOpen) add_bound(row, index, ends[0], false, true);
        if (ends[1] < kOpen) add_bound(row, index, ends[1], true, true);
    }
}

ReadCells CellReader::read() {
    const std::size_t rows = file_.row_count();
    result_.columns.resize(candidates_.size());
    for (CandidateCells &cells : result_.columns) {
        cells.values.assign(rows, std::numeric_limits<double>::quiet_NaN());
        cells.states.assign(rows, CellState::missing);
    }
    result_.bound_begin.reserve(rows + 1);
    for (std::size_t row = 0; row < rows; ++row) {
        check_interrupt();
        result_.bound_begin.push_back(result_.bounds.size());
        for (std::size_t i = 0; i < candidates_.size(); ++i) {
            if (candidates_[i].upper) {
                read_pair(row, i);
            } else {
                read_single(row, i);
            }
        }
    }
    result_.bound_begin.push_back(result_.bounds.size());
    return std::move(result_);
}

}  // namespace

bool is_missing(std::string_view text, const ReadOptions &options) {
    return text.empty() || std::find(options.missing.begin(), options.missing.end(), text) != options.missing.end();
}

ReadCells read_columns(const FileText &file, const FileColumns &columns, const std::vector<Candidate> &candidates,
                       const ReadOptions &options) {
    return CellReader(file, columns, candidates, options).read();
}

}  // namespace ullage::host
