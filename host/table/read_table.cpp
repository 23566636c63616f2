// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading a table: which columns hold numbers, and what each of their cells says.

#include "ullage/host/table/read_table.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <unordered_map>
#include <unordered_set>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/problems.h"
#include "ullage/host/base/words.h"
#include "ullage/host/table/csv_text.h"
#include "ullage/host/table/read_cell.h"

namespace ullage::host {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Up to so many words each get a message of their own, even where they outnumber the numbers of their column.
constexpr std::size_t kMostStrayWords = 10;

// What many tables write for a missing number.
constexpr double kMissingCodes[] = {-99.0, -999.0, -9999.0};

// What a column of remarks holds, unless it has codes of its own.
constexpr std::string_view kRemarkSigns[] = {"<", ">", "<=", ">=", "≤", "≥"};

/** Whether a text is two numbers with a hyphen between them, as in "2-3". */
bool looks_like_range(std::string_view text) {
    const std::size_t hyphen = text.find('-', 1);
    return hyphen != std::string_view::npos && parse_number(text.substr(0, hyphen)) &&
           parse_number(text.substr(hyphen + 1));
}

/** What a column of the file is, besides its name. */
struct Candidate {
    std::string name;
    std::size_t file_column;
    std::optional<std::size_t> upper;   // column of the upper limits, if this is a pair
    std::optional<std::size_t> remark;  // column of the remarks
    std::optional<double> limit;        // behind the word for "below the limit"
    bool must_be_numbers = false;       // the user names it as a column of the model
    std::size_t numbers = 0;            // cells with a number in them
    std::size_t words = 0;              // cells that are neither numbers nor missing
    std::vector<double> values = {};
    std::vector<CellState> states = {};
    Problems problems = {};
};

class Reader {
public:
    Reader(FileText file, const ReadOptions &options, Notices &notices)
        : file_(std::move(file)), options_(options), notices_(notices) {}

    Table read();

private:
    [[nodiscard]] std::size_t file_column(const std::string &name, std::string_view option) const;
    void choose_candidates();
    void take_options_per_column();
    void read_cells();
    enum class Remark { observed, below, above };
    [[nodiscard]] std::optional<Remark> read_remark(std::size_t row, Candidate &candidate);
    void keep_bounds(std::size_t row, std::int32_t index, Candidate &candidate, const CellContent &content);
    void read_single(std::size_t row, std::int32_t index, Candidate &candidate);
    void read_pair(std::size_t row, std::int32_t index, Candidate &candidate);
    [[nodiscard]] std::string_view cell(std::size_t row, std::size_t file_column);
    [[nodiscard]] bool is_missing(std::string_view text) const;
    void add_problem(std::size_t row, Candidate &candidate, std::string message);
    void keep_columns(Table &table);
    void resolve_references(Table &table);
    void read_id(Table &table);
    void read_levels(Table &table);
    [[nodiscard]] bool holds_remarks(std::size_t file_column);
    void tell_about_columns(const Table &table);

    FileText file_;
    const ReadOptions &options_;
    Notices &notices_;
    std::vector<Candidate> candidates_;
    std::unordered_map<std::string, std::size_t> place_;  // of each name in the header
    // What a cell can refer to: a column of the file, or a pair of limits, counted behind the last of these.
    std::unordered_map<std::string, std::int32_t> operand_;
    std::vector<std::int32_t> kept_as_;  // of each candidate, the column; -1 if it is carried along
    std::vector<Bound> bounds_;          // other is what operand_ says until resolve_references
    std::vector<std::size_t> bound_begin_;
    std::string unquoted_;  // holds the text of cell() if it had quotes
    Problems problems_;
};

std::size_t Reader::file_column(const std::string &name, std::string_view option) const {
    const auto found = place_.find(name);
    if (found == place_.end()) {
        throw Error(Fault::usage, fmt::format("{}: {} has no column {}; its columns are {}", option, file_.source,
                                              quote(name), list_of(file_.names)));
    }
    return found->second;
}

void Reader::choose_candidates() {
    std::unordered_set<std::size_t> carried;
    std::unordered_set<std::string> named;
    const auto carry = [&](const std::string &name, std::string_view option) {
        carried.insert(file_column(name, option));
        named.insert(name);
    };
    for (const std::string &name : options_.carry) carry(name, "--carry");
    if (options_.id) carry(*options_.id, "--id");
    if (options_.by) carry(*options_.by, "--by");
    for (const auto &[column, remark] : options_.remarks) carry(remark, "--remark");
    if (options_.columns) named.insert(options_.columns->begin(), options_.columns->end());

    constexpr std::size_t none = static_cast<std::size_t>(-1);
    std::vector<std::size_t> upper_of(file_.names.size(), none);
    std::vector<std::size_t> lower_of(file_.names.size(), none);
    for (std::size_t c = 0; options_.pairs && c < file_.names.size(); ++c) {
        const std::string &name = file_.names[c];
        if (!name.ends_with(options_.lower_suffix) || name.size() == options_.lower_suffix.size()) continue;
        const std::string stem = name.substr(0, name.size() - options_.lower_suffix.size());
        const auto upper = place_.find(stem + options_.upper_suffix);
        if (upper == place_.end() || upper->second == c || place_.contains(stem)) continue;
        if (named.contains(name) || named.contains(upper->first)) continue;
        upper_of[c] = upper->second;
        lower_of[upper->second] = c;
    }
    for (std::size_t c = 0; c < file_.names.size(); ++c) {
        const std::string &name = file_.names[c];
        if (name.empty()) {
            notices_.push_back({true, fmt::format("column {} has no name and is carried along unchanged", c + 1)});
            continue;
        }
        Candidate candidate{.name = name, .file_column = c, .upper = {}, .remark = {}, .limit = {}};
        if (upper_of[c] != none || lower_of[c] != none) {
            const std::size_t lower = upper_of[c] != none ? c : lower_of[c];
            const std::size_t upper = upper_of[c] != none ? upper_of[c] : c;
            if (c != std::max(lower, upper)) continue;  // the pair stands where the later of its columns does
            candidate.name = file_.names[lower].substr(0, file_.names[lower].size() - options_.lower_suffix.size());
            candidate.file_column = lower;
            candidate.upper = upper;
        }
        if (!candidate.upper && carried.contains(c)) continue;
        if (options_.columns) {
            const auto &wanted = *options_.columns;
            if (std::find(wanted.begin(), wanted.end(), candidate.name) == wanted.end()) continue;
            candidate.must_be_numbers = true;
        }
        candidates_.push_back(std::move(candidate));
    }
    if (options_.columns) {
        for (const std::string &name : *options_.columns) {
            const auto is_it = [&](const Candidate &c) { return c.name == name; };
            if (std::any_of(candidates_.begin(), candidates_.end(), is_it)) continue;
            (void)file_column(name, "--columns");
            throw Error(Fault::usage,
                        fmt::format("--columns: column {} is carried along by another option", quote(name)));
        }
    }
}

void Reader::take_options_per_column() {
    const auto candidate = [&](const std::string &name, std::string_view option) -> Candidate & {
        const auto found =
            std::find_if(candidates_.begin(), candidates_.end(), [&](const Candidate &c) { return c.name == name; });
        if (found == candidates_.end()) {
            (void)file_column(name, option);
            throw Error(Fault::usage, fmt::format("{}: column {} is not read as numbers", option, quote(name)));
        }
        if (found->upper) {
            throw Error(Fault::usage, fmt::format("{}: {} is a pair of limits already", option, quote(name)));
        }
        return *found;
    };
    for (const auto &[column, remark] : options_.remarks) {
        Candidate &target = candidate(column, "--remark");
        if (target.remark) throw Error(Fault::usage, fmt::format("--remark: {} is given twice", quote(column)));
        target.remark = file_column(remark, "--remark");
    }
    for (const auto &[column, limit] : options_.limits) {
        Candidate &target = candidate(column, "--nd");
        if (target.limit) throw Error(Fault::usage, fmt::format("--nd: {} is given twice", quote(column)));
        target.limit = limit;
    }
}

std::string_view Reader::cell(std::size_t row, std::size_t file_column) {
    const std::string_view raw = file_.raw(row, file_column);
    if (!raw.starts_with('"')) return trim(raw);
    unquoted_ = file_.text(row, file_column);
    return trim(unquoted_);
}

bool Reader::is_missing(std::string_view text) const {
    return text.empty() || std::find(options_.missing.begin(), options_.missing.end(), text) != options_.missing.end();
}

void Reader::add_problem(std::size_t row, Candidate &candidate, std::string message) {
    std::string text = file_.text(row, candidate.file_column);
    if (candidate.upper) text += " .. " + file_.text(row, *candidate.upper);
    candidate.problems.add({.line = file_.line[row],
                            .row = static_cast<std::int64_t>(row + 1),
                            .columns = {candidate.name},
                            .text = std::move(text),
                            .message = std::move(message)});
}

/** What the remark on a cell says, or nothing and a problem. */
std::optional<Reader::Remark> Reader::read_remark(std::size_t row, Candidate &candidate) {
    if (!candidate.remark) return Remark::observed;
    const std::string_view text = cell(row, *candidate.remark);
    if (text == options_.remark_observed || is_missing(text)) return Remark::observed;
    if (text == options_.remark_below || (options_.remark_below == "<" && (text == "<=" || text == "≤"))) {
        return Remark::below;
    }
    if (text == options_.remark_above || (options_.remark_above == ">" && (text == ">=" || text == "≥"))) {
        return Remark::above;
    }
    add_problem(row, candidate,
                fmt::format("the remark {} in column {} is none of {} (below), {} (above) and {} (observed); "
                            "--remark-codes declares others",
                            quote(text), quote(file_.names[*candidate.remark]), quote(options_.remark_below),
                            quote(options_.remark_above), quote(options_.remark_observed)));
    return std::nullopt;
}

/** Keep the bounds that a cell states, unless one refers to what is not there. */
void Reader::keep_bounds(std::size_t row, std::int32_t index, Candidate &candidate, const CellContent &content) {
    const std::size_t first = bounds_.size();
    std::string message;
    for (const StatedBound &bound : content.bounds) {
        std::int32_t other = -1;
        if (!bound.other.empty()) {
            const auto found = operand_.find(std::string(bound.other));
            if (found == operand_.end()) {
                message = quote(bound.other) + " is neither a number nor the name of a column";
            } else if (found->second == static_cast<std::int32_t>(candidate.file_column)) {
                message = "the cell refers to its own column";
            } else {
                other = found->second;
            }
        }
        if (!message.empty()) break;
        bounds_.push_back({index, other, bound.limit, bound.is_upper});
    }
    if (message.empty()) {
        ++candidate.numbers;
        candidate.states[row] = CellState::bounded;
    } else {
        bounds_.resize(first);
        ++candidate.words;
        add_problem(row, candidate, std::move(message));
    }
}

void Reader::read_single(std::size_t row, std::int32_t index, Candidate &candidate) {
    const std::optional<Remark> remark = read_remark(row, candidate);
    if (!remark) return;
    const std::string_view text = cell(row, candidate.file_column);
    if (is_missing(text)) {
        if (*remark != Remark::observed) {
            add_problem(row, candidate,
                        "the remark says below or above, and there is no number; clear the remark if nothing is known");
        }
        return;
    }
    const auto bound_by_number = [&](double limit, bool is_upper) {
        ++candidate.numbers;
        candidate.states[row] = CellState::bounded;
        bounds_.push_back({index, -1, limit, is_upper});
    };
    const bool is_nondetect = text == options_.nondetect;
    if (is_nondetect && candidate.limit) {  // the word may look like a number: 0 in a column that is cut off at 0
        bound_by_number(*candidate.limit, true);
    } else if (const auto number = parse_number(text); number && *remark != Remark::observed) {
        bound_by_number(*number, *remark == Remark::below);
    } else if (number) {
        ++candidate.numbers;
        candidate.values[row] = *number;
        candidate.states[row] = CellState::observed;
    } else if (is_nondetect) {
        ++candidate.words;
        add_problem(row, candidate,
                    fmt::format("not detected, but below which limit? --nd '{}=LIMIT' tells", candidate.name));
    } else {
        const CellContent content = parse_cell(text);
        if (content.kind == CellKind::word) {
            ++candidate.words;
            add_problem(row, candidate,
                        looks_like_range(text)
                            ? "two numbers; write an interval as 2..3"
                            : fmt::format("no number; correct it, or give --na if it means missing, or --carry '{}' if "
                                          "the column is not to be imputed",
                                          in_list(candidate.name)));
        } else if (content.kind == CellKind::malformed) {
            (content.is_number_like ? candidate.numbers : candidate.words) += 1;
            add_problem(row, candidate, content.message);
        } else if (content.kind == CellKind::bounds && *remark != Remark::observed) {
            add_problem(row, candidate, "a remark and a bound in one cell; write one of the two");
        } else if (content.kind == CellKind::bounds) {
            keep_bounds(row, index, candidate, content);
        }
    }
}

void Reader::read_pair(std::size_t row, std::int32_t index, Candidate &candidate) {
    double ends[2] = {-kOpen, kOpen};
    bool has_number = false;
    for (int side = 0; side < 2; ++side) {
        const std::string_view text = cell(row, side == 0 ? candidate.file_column : *candidate.upper);
        if (is_missing(text)) continue;
        if (const auto number = parse_number(text)) {
            ends[side] = *number;
            has_number = true;
        } else if (parse_infinity(text) != ends[side]) {
            std::string message = explain_number(text);
            (message.empty() ? candidate.words : candidate.numbers) += 1;
            if (message.empty()) message = quote(text) + " is no limit; write a number, or leave an open end empty";
            add_problem(row, candidate, std::move(message));
            return;
        }
    }
    if (!has_number) return;
    ++candidate.numbers;
    if (ends[0] > ends[1]) {
        add_problem(row, candidate, "the lower limit is above the upper one; exchange them");
    } else if (ends[0] == ends[1]) {
        candidate.values[row] = ends[0];
        candidate.states[row] = CellState::observed;
    } else {
        candidate.states[row] = CellState::bounded;
        if (ends[0] > -kOpen) bounds_.push_back({index, -1, ends[0], false});
        if (ends[1] < kOpen) bounds_.push_back({index, -1, ends[1], true});
    }
}

void Reader::read_cells() {
    const std::size_t rows = file_.row_count();
    for (Candidate &candidate : candidates_) {
        candidate.values.assign(rows, kNaN);
        candidate.states.assign(rows, CellState::missing);
    }
    bound_begin_.reserve(rows + 1);
    for (std::size_t row = 0; row < rows; ++row) {
        if (row % 4096 == 0) check_interrupt();
        bound_begin_.push_back(bounds_.size());
        for (std::size_t i = 0; i < candidates_.size(); ++i) {
            const auto index = static_cast<std::int32_t>(i);
            if (candidates_[i].upper) {
                read_pair(row, index, candidates_[i]);
            } else {
                read_single(row, index, candidates_[i]);
            }
        }
    }
    bound_begin_.push_back(bounds_.size());
}

/** Drop the candidates without a single number; what is left becomes the columns, and the rest is carried along. */
void Reader::keep_columns(Table &table) {
    kept_as_.assign(candidates_.size(), -1);
    for (std::size_t i = 0; i < candidates_.size(); ++i) {
        Candidate &candidate = candidates_[i];
        if (candidate.numbers == 0) {
            if (candidate.must_be_numbers) {
                problems_.add(
                    {.columns = {candidate.name}, .message = "the column holds no number; leave it out of --columns"});
            }
            continue;
        }
        if (candidate.words > candidate.numbers && candidate.words > kMostStrayWords) {
            Problem first = candidate.problems.list.front();
            first.message = fmt::format(
                "{} of this column hold words and {} numbers, this is the first; give --na if the "
                "words mean missing, or --carry '{}' if the column is not to be imputed",
                count_of(candidate.words, "cell"), candidate.numbers, in_list(candidate.name));
            problems_.add(std::move(first));
            continue;
        }
        for (Problem &problem : candidate.problems.list) problems_.list.push_back(std::move(problem));
        problems_.count += candidate.problems.count;
        kept_as_[i] = static_cast<std::int32_t>(table.columns.size());
        table.columns.push_back(
            {.name = candidate.name,
             .file_column = static_cast<std::ptrdiff_t>(candidate.file_column),
             .upper_file_column = candidate.upper ? static_cast<std::ptrdiff_t>(*candidate.upper) : -1,
             .values = std::move(candidate.values),
             .states = std::move(candidate.states)});
    }
    if (table.columns.empty() && problems_.count == 0) {
        problems_.add({.message = "no column holds a number"});
    }

    std::vector<std::ptrdiff_t> column_at(file_.names.size(), -1);
    std::vector<std::ptrdiff_t> pair_behind(file_.names.size(), -1);
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        const Column &column = table.columns[i];
        const bool is_pair = column.upper_file_column >= 0;
        const std::ptrdiff_t place = std::max(column.file_column, column.upper_file_column);
        (is_pair ? pair_behind : column_at)[static_cast<std::size_t>(place)] = static_cast<std::ptrdiff_t>(i);
    }
    for (std::size_t c = 0; c < file_.names.size(); ++c) {
        if (column_at[c] >= 0) {
            table.output.push_back({-1, column_at[c]});
        } else {
            table.output.push_back({static_cast<std::ptrdiff_t>(c), -1});
        }
        if (pair_behind[c] >= 0) table.output.push_back({-1, pair_behind[c]});
    }

    std::size_t kept = 0;
    for (std::size_t row = 0; row < file_.row_count(); ++row) {
        const std::size_t begin = bound_begin_[row];
        bound_begin_[row] = kept;
        for (std::size_t b = begin; b < bound_begin_[row + 1]; ++b) {
            Bound bound = bounds_[b];
            bound.column = kept_as_[static_cast<std::size_t>(bound.column)];
            if (bound.column >= 0) bounds_[kept++] = bound;
        }
    }
    bound_begin_.back() = kept;
    bounds_.resize(kept);
    bounds_.shrink_to_fit();
}

/** Turn file columns behind references into columns, or into the number that a column outside the model holds. */
void Reader::resolve_references(Table &table) {
    std::vector<std::int32_t> column_of(file_.names.size() + candidates_.size(), -1);
    for (std::size_t i = 0; i < candidates_.size(); ++i) {
        column_of[candidates_[i].upper ? file_.names.size() + i : candidates_[i].file_column] = kept_as_[i];
    }
    for (std::size_t row = 0; row < file_.row_count(); ++row) {
        for (std::size_t b = bound_begin_[row]; b < bound_begin_[row + 1]; ++b) {
            Bound &bound = bounds_[b];
            if (bound.other < 0) continue;
            const auto other = static_cast<std::size_t>(bound.other);
            if (column_of[other] >= 0) {
                bound.other = column_of[other];
                continue;
            }
            const Column &column = table.columns[static_cast<std::size_t>(bound.column)];
            const bool is_pair = other >= file_.names.size();
            const auto number = is_pair ? std::nullopt : parse_number(cell(row, other));
            if (number) {
                bound.other = -1;
                bound.limit = *number;
            } else {
                problems_.add({.line = file_.line[row],
                               .row = static_cast<std::int64_t>(row + 1),
                               .columns = {column.name},
                               .text = file_.text(row, static_cast<std::size_t>(column.file_column)),
                               .message = is_pair
                                              ? fmt::format("{} holds no number at all",
                                                            quote(candidates_[other - file_.names.size()].name))
                                              : fmt::format("column {} is not in the model, and its cell {} is no "
                                                            "number",
                                                            quote(file_.names[other]), quote(file_.text(row, other)))});
            }
        }
    }
}

void Reader::read_id(Table &table) {
    if (!options_.id) return;
    const std::size_t column = file_column(*options_.id, "--id");
    table.id_file_column = column;
    std::unordered_map<std::string, std::size_t> first_row;
    for (std::size_t row = 0; row < file_.row_count(); ++row) {
        const auto [entry, is_new] = first_row.try_emplace(std::string(cell(row, column)), row);
        if (is_new && !entry->first.empty()) continue;
        problems_.add({.line = file_.line[row],
                       .row = static_cast<std::int64_t>(row + 1),
                       .columns = {*options_.id},
                       .text = file_.text(row, column),
                       .message = entry->first.empty()
                                      ? "the row has no id"
                                      : fmt::format("line {} has the same id", file_.line[entry->second])});
    }
}

void Reader::read_levels(Table &table) {
    table.level_of_row.assign(file_.row_count(), 0);
    if (!options_.by) {
        table.levels = {""};
        return;
    }
    const std::size_t column = file_column(*options_.by, "--by");
    std::unordered_map<std::string, std::int32_t> index;
    for (std::size_t row = 0; row < file_.row_count(); ++row) {
        const std::string_view text = cell(row, column);
        if (is_missing(text)) {
            problems_.add({.line = file_.line[row],
                           .row = static_cast<std::int64_t>(row + 1),
                           .columns = {*options_.by},
                           .text = file_.text(row, column),
                           .message = "the row has no level; fill it in"});
            continue;
        }
        const auto [entry, is_new] =
            index.try_emplace(std::string(text), static_cast<std::int32_t>(table.levels.size()));
        if (is_new) table.levels.push_back(entry->first);
        table.level_of_row[row] = entry->second;
    }
}

/** Whether every cell of a column of the file is a sign of comparison or missing, and not all are missing. */
bool Reader::holds_remarks(std::size_t file_column) {
    bool has_sign = false;
    for (std::size_t row = 0; row < file_.row_count(); ++row) {
        const std::string_view text = cell(row, file_column);
        if (is_missing(text)) continue;
        if (std::find(std::begin(kRemarkSigns), std::end(kRemarkSigns), text) == std::end(kRemarkSigns)) return false;
        has_sign = true;
    }
    return has_sign;
}

void Reader::tell_about_columns(const Table &table) {
    std::vector<std::string> without_number;
    for (const Candidate &candidate : candidates_) {
        if (candidate.numbers > 0) continue;
        if (!candidate.upper && holds_remarks(candidate.file_column)) {
            notices_.push_back(
                {true, fmt::format("column {} holds nothing but signs such as < and >: if they belong to the values of "
                                   "another column, --remark 'COLUMN={}' reads these as bounds; now they count as "
                                   "measured",
                                   quote(candidate.name), candidate.name)});
        }
        without_number.push_back(quote(candidate.name));
    }
    if (!without_number.empty()) {
        notices_.push_back(
            {false, fmt::format("carried along unchanged, as there is no number in {}: {}",
                                without_number.size() == 1 ? "it" : "them", fmt::join(without_number, ", "))});
    }
    std::vector<bool> has_censored(table.columns.size(), false);
    for (const Bound &bound : bounds_) {
        if (bound.is_upper && bound.other < 0) has_censored[static_cast<std::size_t>(bound.column)] = true;
    }
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        const Column &column = table.columns[i];
        if (column.upper_file_column >= 0) {
            notices_.push_back(
                {false,
                 fmt::format("columns {} and {} are read as the limits of {} (--limits none reads them as they are)",
                             quote(file_.names[static_cast<std::size_t>(column.file_column)]),
                             quote(file_.names[static_cast<std::size_t>(column.upper_file_column)]),
                             quote(column.name))});
        }
        double lowest = kOpen;
        std::size_t lowest_count = 0;
        std::size_t lowest_row = 0;
        bool counts_rows = true;
        for (std::size_t row = 0; row < column.values.size(); ++row) {
            const double value = column.values[row];
            if (value != static_cast<double>(row + 1)) counts_rows = false;
            if (value < lowest) {
                lowest = value;
                lowest_count = 1;
                lowest_row = row;
            } else if (value == lowest) {
                ++lowest_count;
            }
        }
        if (counts_rows && column.values.size() > 2 && !options_.columns) {
            notices_.push_back({true, fmt::format("column {} only counts the rows; --id '{}' keeps it out of the model",
                                                  quote(column.name), column.name)});
        }
        if (lowest_count > 1 &&
            std::find(std::begin(kMissingCodes), std::end(kMissingCodes), lowest) != std::end(kMissingCodes)) {
            const std::string_view text = cell(lowest_row, static_cast<std::size_t>(column.file_column));
            notices_.push_back(
                {true, fmt::format("column {} has {} as its lowest value, {} times: if that means missing, "
                                   "--na '{}{}{}' says so",
                                   quote(column.name), text, lowest_count, fmt::join(options_.missing, ","),
                                   options_.missing.empty() ? "" : ",", text)});
        } else if (has_censored[i] && lowest_count > 1) {
            notices_.push_back(
                {true,
                 fmt::format("column {} has cells below a limit, and its lowest value {} stands there {} times: if "
                             "that is a limit that was filled in, write <{} in these cells",
                             quote(column.name), lowest, lowest_count, lowest)});
        }
    }
}

Table Reader::read() {
    for (std::size_t c = 0; c < file_.names.size(); ++c) {
        if (!file_.names[c].empty()) place_[file_.names[c]] = c;
    }
    choose_candidates();
    take_options_per_column();
    for (const auto &[name, place] : place_) operand_[name] = static_cast<std::int32_t>(place);
    for (std::size_t i = 0; i < candidates_.size(); ++i) {
        if (candidates_[i].upper) operand_[candidates_[i].name] = static_cast<std::int32_t>(file_.names.size() + i);
    }
    read_cells();
    Table table;
    keep_columns(table);
    resolve_references(table);
    read_id(table);
    read_levels(table);
    std::stable_sort(problems_.list.begin(), problems_.list.end(),
                     [](const Problem &a, const Problem &b) { return a.line < b.line; });
    if (problems_.list.size() > DataError::kMostProblems) problems_.list.resize(DataError::kMostProblems);
    problems_.throw_if_any(file_.source);
    tell_about_columns(table);
    table.bounds = std::move(bounds_);
    table.bound_begin = std::move(bound_begin_);
    table.file = std::move(file_);
    return table;
}

}  // namespace

Table read_table(std::string source, std::string bytes, const ReadOptions &options, Notices &notices) {
    return Reader(find_cells(std::move(source), std::move(bytes), options.separator), options, notices).read();
}

}  // namespace ullage::host
