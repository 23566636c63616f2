// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Finding the kind of a column, and reading the cells of one with words.

#include "ullage/host/table/column_kinds.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"
#include "ullage/host/table/word_places.h"

namespace ullage::host {
namespace {

// From so many rows on, whole numbers that are all different are taken for names of the rows.
constexpr std::size_t kLeastNames = 20;

// What a column of remarks holds, unless it has codes of its own.
constexpr std::string_view kRemarkSigns[] = {"<", ">", "<=", ">=", "≤", "≥"};

/** The cells of a column of the file, without quotes and blanks, one after the other. */
template <typename Visit>
void for_each_text(const FileText &file, std::size_t file_column, const ReadOptions &options, const Visit &visit) {
    std::string unquoted;
    for (std::size_t row = 0; row < file.row_count(); ++row) {
        if (row % 4096 == 0) check_interrupt();
        const std::string_view text = file.trimmed(row, file_column, unquoted);
        if (!is_missing(text, options) && !visit(row, text)) return;
    }
}

/** Different texts of a column; looks no further once there are more than a number of them. */
std::set<std::string, std::less<>> different_texts(const FileText &file, std::size_t file_column,
                                                   const ReadOptions &options, std::size_t most) {
    std::set<std::string, std::less<>> texts;
    for_each_text(file, file_column, options, [&](std::size_t, std::string_view text) {
        if (!texts.contains(text)) texts.emplace(text);
        return texts.size() <= most;
    });
    return texts;
}

/** Texts as words in their order: by size if all are numbers, otherwise by their bytes. */
std::vector<std::string> in_order(const std::set<std::string, std::less<>> &texts) {
    std::vector<std::string> words(texts.begin(), texts.end());
    if (std::ranges::all_of(words, [](const std::string &word) { return parse_number(word).has_value(); })) {
        const auto number = [](const std::string &word) { return *parse_number(word); };
        std::ranges::stable_sort(words, {}, number);
        const auto is_same = [&](const std::string &a, const std::string &b) { return number(a) == number(b); };
        words.erase(std::unique(words.begin(), words.end(), is_same), words.end());  // "1" and "1.0" are one
    }
    return words;
}

/** Whether a text starts with so many digits; they are taken off. */
bool take_digits(std::string_view &text, std::size_t least, std::size_t most) {
    std::size_t count = 0;
    while (count < std::min(most, text.size()) && is_digit(text[count])) ++count;
    if (count < least) return false;
    text.remove_prefix(count);
    return true;
}

bool take_month_name(std::string_view &text) {
    std::size_t letters = 0;
    while (letters < text.size() && ((text[letters] | 0x20) >= 'a' && (text[letters] | 0x20) <= 'z')) ++letters;
    if (letters < 3 || letters > 9) return false;
    text.remove_prefix(letters);
    return true;
}

/** 2024-01-31, 31.1.2024, 1/31/24, 31-Jan-2024, 2024-01-31 12:30 and the like. */
bool looks_like_date(std::string_view text) {
    if (!take_digits(text, 1, 4) || text.empty()) return false;
    const char sign = text.front();
    if (std::string_view("-./ ").find(sign) == std::string_view::npos) return false;
    text.remove_prefix(1);
    if (!take_digits(text, 1, 2) && !take_month_name(text)) return false;
    if (text.empty() || text.front() != sign) return false;
    text.remove_prefix(1);
    if (!take_digits(text, 1, 4)) return false;
    return text.empty() || text.front() == ' ' || text.front() == 'T';
}

/** 20240131. */
bool is_date_number(double value) {
    const auto date = static_cast<std::int64_t>(value);
    const std::int64_t month = date / 100 % 100;
    const std::int64_t day = date % 100;
    return date >= 18000101 && date <= 21991231 && month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

bool holds_dates(const FileText &file, std::size_t file_column, const ReadOptions &options) {
    bool any = false;
    bool all = true;
    for_each_text(file, file_column, options, [&](std::size_t, std::string_view text) {
        any = true;
        return all = looks_like_date(text);
    });
    return any && all;
}

/** Why the numbers of a column are no measurements; empty if they may be. */
std::string why_no_measurements(const std::vector<double> &values) {
    std::vector<double> known;
    std::ranges::copy_if(values, std::back_inserter(known), [](double value) { return !std::isnan(value); });
    if (!std::ranges::all_of(known, [](double value) { return value == std::trunc(value); })) return {};
    if (known.size() > 2 && std::ranges::all_of(known, is_date_number)) return "its numbers are dates";
    if (known.size() < values.size() || known.size() < 3) return {};
    const auto counts = [&](std::size_t i) { return known[i] == known[0] + static_cast<double>(i); };
    bool is_count = true;
    for (std::size_t i = 1; i < known.size() && is_count; ++i) is_count = counts(i);
    if (is_count) return "its numbers count the rows";
    if (known.size() < kLeastNames) return {};
    std::ranges::sort(known);
    if (std::ranges::adjacent_find(known) != known.end()) return {};
    return "its whole numbers are all different, as names of the rows are";
}

/** Two values, each of them there more than once; otherwise nothing. */
std::optional<std::pair<double, double>> two_values(const CandidateCells &cells) {
    if (std::ranges::find(cells.states, CellState::bounded) != cells.states.end()) return std::nullopt;
    double values[2] = {};
    std::size_t counts[2] = {};
    for (const double value : cells.values) {
        if (std::isnan(value)) continue;
        const std::size_t which = counts[0] == 0 || value == values[0] ? 0 : 1;
        if (counts[which] > 0 && value != values[which]) return std::nullopt;
        values[which] = value;
        ++counts[which];
    }
    if (counts[0] < 2 || counts[1] < 2) return std::nullopt;
    return std::minmax(values[0], values[1]);
}

KindChoice kind_of_numbers(const FileText &file, const Candidate &candidate, const CandidateCells &cells,
                           const ReadOptions &options) {
    if (candidate.upper) return {.kind = ColumnKind::number, .reason = "a pair of limits"};
    if (candidate.remark) return {.kind = ColumnKind::number, .reason = "numbers with remarks"};
    if (two_values(cells)) {
        return {.kind = ColumnKind::binary,
                .words = in_order(different_texts(file, candidate.file_column, options, kMostWords)),
                .reason = "two values"};
    }
    const bool has_bounds = std::ranges::find(cells.states, CellState::bounded) != cells.states.end();
    std::string why = has_bounds || candidate.is_asked_for ? std::string() : why_no_measurements(cells.values);
    if (!why.empty()) return {.kind = std::nullopt, .reason = std::move(why)};
    return {.kind = ColumnKind::number, .reason = "numbers"};
}

/** Whether no text of a column stands in two cells. */
bool are_all_different(const FileText &file, std::size_t file_column, const ReadOptions &options) {
    std::unordered_set<std::string> texts;
    bool is_different = true;
    for_each_text(file, file_column, options,
                  [&](std::size_t, std::string_view text) { return is_different = texts.emplace(text).second; });
    return is_different;
}

KindChoice kind_of_words(const FileText &file, const Candidate &candidate, const ReadOptions &options) {
    const auto texts = different_texts(file, candidate.file_column, options, kMostWords);
    if (texts.empty() && candidate.is_asked_for && options.keep_blank) {
        return {.kind = ColumnKind::number, .reason = "all its cells are missing, and it is asked for"};
    }
    if (texts.empty()) return {.kind = std::nullopt, .reason = "all its cells are missing"};
    if (texts.size() == 1) return {.kind = std::nullopt, .reason = "it has a single word"};
    if (holds_remarks(file, candidate.file_column, options)) {
        return {.kind = std::nullopt, .reason = "nothing but signs of comparison"};
    }
    if (holds_dates(file, candidate.file_column, options)) return {.kind = std::nullopt, .reason = "dates"};
    if (texts.size() == 2) return {.kind = ColumnKind::binary, .words = in_order(texts), .reason = "two words"};
    if (are_all_different(file, candidate.file_column, options)) {
        return {.kind = std::nullopt, .reason = "its words are all different, as names of the rows are"};
    }
    if (texts.size() > kMostWords) {
        return {.kind = std::nullopt, .reason = fmt::format("more than {} words", kMostWords), .is_doubtful = true};
    }
    return {.kind = ColumnKind::nominal, .words = in_order(texts), .reason = fmt::format("{} words", texts.size())};
}

/** The kind that an option gives. */
KindChoice told_kind(const FileText &file, const Candidate &candidate, const KindOption &told,
                     const ReadOptions &options) {
    KindChoice choice{.kind = told.kind, .step = told.step, .words = told.words, .reason = option_of(told.kind)};
    if (told.kind == ColumnKind::number || told.kind == ColumnKind::stepped || !told.words.empty()) return choice;
    constexpr std::size_t most = 100;
    choice.words = in_order(different_texts(file, candidate.file_column, options, most));
    const bool is_binary = told.kind == ColumnKind::binary;
    if (choice.words.size() < 2 || choice.words.size() > (is_binary ? 2 : most)) {
        throw Error(Fault::usage, fmt::format("{}: column {} has {} different words, and not {}", choice.reason,
                                              quote(candidate.name),
                                              choice.words.size() > most ? fmt::format("more than {}", most)
                                                                         : fmt::format("{}", choice.words.size()),
                                              is_binary ? "2" : fmt::format("2 to {}", most)));
    }
    const auto is_number = [](const std::string &word) { return parse_number(word).has_value(); };
    if (told.kind == ColumnKind::ordered && !std::ranges::all_of(choice.words, is_number)) {
        throw Error(Fault::usage,
                    fmt::format("--ordered: give the words of {} in their order: --ordered {}", quote(candidate.name),
                                shell_word(fmt::format("{}={}", candidate.name, fmt::join(choice.words, ",")))));
    }
    if (choice.words.size() == 2) choice.kind = ColumnKind::binary;
    return choice;
}

/** Reads the cells of one column of words. */
class WordReader {
public:
    WordReader(const FileText &file, const Candidate &candidate, const KindChoice &choice)
        : file_(file), candidate_(candidate), choice_(choice), places_(choice.words) {
        cells_.values.assign(file.row_count(), std::numeric_limits<double>::quiet_NaN());
        cells_.states.assign(file.row_count(), CellState::missing);
    }

    void read(std::size_t row, std::string_view text) {
        if (const auto place = places_.find(text)) {
            cells_.values[row] = static_cast<double>(*place);
            cells_.states[row] = CellState::observed;
        } else if (choice_.kind != ColumnKind::ordered || !read_limits(row, text)) {
            cells_.problems.add({.line = file_.line[row],
                                 .row = static_cast<std::int64_t>(row + 1),
                                 .columns = {candidate_.name},
                                 .text = std::string(text),
                                 .message = fmt::format("none of its words, {}; correct it, or give --na if it means "
                                                        "missing",
                                                        fmt::join(choice_.words, ", "))});
        }
    }

    WordCells finish() { return std::move(cells_); }

private:
    /** <=WORD, <WORD, >=WORD, >WORD, WORD..WORD; false if it is none of these. */
    bool read_limits(std::size_t row, std::string_view text) {
        double lower = -0.5;
        double upper = static_cast<double>(choice_.words.size()) - 0.5;
        std::string_view rest = text;
        if (const bool is_upper = take(rest, "<"); is_upper || take(rest, ">") || take(rest, "≤") || take(rest, "≥")) {
            const bool is_below = text.starts_with('<') || text.starts_with("≤");
            const bool or_equal = take(rest, "=") || !(text.starts_with('<') || text.starts_with('>'));
            const auto place = places_.find(rest);
            if (!place) return false;
            const auto own = static_cast<double>(*place);
            if (is_below) upper = or_equal ? own + 0.5 : own - 0.5;
            if (!is_below) lower = or_equal ? own - 0.5 : own + 0.5;
        } else {
            const std::size_t dots = text.find("..");
            if (dots == std::string_view::npos) return false;
            const auto first = places_.find(text.substr(0, dots));
            const auto last = places_.find(text.substr(dots + 2));
            if (!first || !last) return false;
            lower = static_cast<double>(*first) - 0.5;
            upper = static_cast<double>(*last) + 0.5;
        }
        if (!(lower < upper)) return false;
        cells_.states[row] = CellState::bounded;
        cells_.limits.push_back({static_cast<std::int32_t>(row), lower, upper});
        return true;
    }

    const FileText &file_;
    const Candidate &candidate_;
    const KindChoice &choice_;
    WordPlaces places_;
    WordCells cells_;
};

}  // namespace

bool holds_remarks(const FileText &file, std::size_t file_column, const ReadOptions &options) {
    bool has_sign = false;
    std::string buffer;
    for (std::size_t row = 0; row < file.row_count(); ++row) {
        const std::string_view text = file.trimmed(row, file_column, buffer);
        if (is_missing(text, options)) continue;
        if (std::find(std::begin(kRemarkSigns), std::end(kRemarkSigns), text) == std::end(kRemarkSigns)) return false;
        has_sign = true;
    }
    return has_sign;
}

KindChoice choose_kind(const FileText &file, const Candidate &candidate, const CandidateCells &cells,
                       const ReadOptions &options) {
    const auto told = std::ranges::find(options.kinds, candidate.name, &KindOption::column);
    if (told != options.kinds.end()) return told_kind(file, candidate, *told, options);
    if (!options.find_kinds) {
        if (cells.numbers > 0 || (options.keep_blank && candidate.is_asked_for))
            return {.kind = ColumnKind::number, .reason = "numbers"};
        return {.kind = std::nullopt, .reason = kNoNumber};
    }
    return cells.numbers > 0 ? kind_of_numbers(file, candidate, cells, options)
                             : kind_of_words(file, candidate, options);
}

WordCells read_words(const FileText &file, const Candidate &candidate, const KindChoice &choice,
                     const ReadOptions &options) {
    WordReader reader(file, candidate, choice);
    for_each_text(file, candidate.file_column, options, [&](std::size_t row, std::string_view text) {
        reader.read(row, text);
        return true;
    });
    return reader.finish();
}

}  // namespace ullage::host
