// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The slow reader: splits texts into lists of texts, converts numbers by regular expression and strtod, and keeps
// bounds by variable number instead of by address.

#include "support/slow_reader.h"

#include <regex.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "support/utf16.h"

namespace slow {

namespace {

using Text = std::u16string;

constexpr std::size_t kMostCells = 20000;
constexpr std::size_t kMostHeaderUnits = 500;
constexpr std::size_t kMostItemUnits = 1005;
constexpr std::size_t kMostErrorUnits = 499;

Text plain(const char *text) {
    return Text(text, text + std::char_traits<char>::length(text));
}

Text plain(std::size_t number) {
    return plain(std::to_string(number).c_str());
}

class Pattern {
public:
    explicit Pattern(const char *pattern) {
        if (regcomp(&expression_, pattern, REG_EXTENDED | REG_NOSUB) != 0) std::abort();
    }
    Pattern(const Pattern &) = delete;
    Pattern &operator=(const Pattern &) = delete;
    ~Pattern() { regfree(&expression_); }

    bool matches(const std::string &text) const { return regexec(&expression_, text.c_str(), 0, nullptr, 0) == 0; }

private:
    regex_t expression_;
};

#define SPACE "[\t\n\v\f\r ]*"

std::optional<std::int32_t> truncate(double value) {
    if (std::isnan(value) || std::fabs(value) > 1e10) return {};
    const auto whole = static_cast<std::int64_t>(value);
    if (whole < std::numeric_limits<std::int32_t>::min() || whole > std::numeric_limits<std::int32_t>::max()) return {};
    return static_cast<std::int32_t>(whole);
}

std::vector<Text> split(const Text &text, char16_t separator) {
    std::vector<Text> parts(1);
    for (char16_t unit : text) {
        if (unit == separator) {
            parts.emplace_back();
        } else {
            parts.back().push_back(unit);
        }
    }
    return parts;
}

class Reader {
public:
    Reader(std::u16string_view text, const Options &options)
        : text_(text.substr(0, text.find(u'\0'))), options_(options) {}

    Table read() {
        if (read_header()) read_body();
        return std::move(table_);
    }

private:
    struct Item {
        Text text;
        char16_t end;  // TAB, LF or 0
    };

    Item next_item() {
        Item item{{}, 0};
        while (position_ < text_.size() && item.end == 0) {
            const char16_t unit = text_[position_++];
            if (unit == u'\t' || unit == u'\n') {
                item.end = unit;
            } else {
                item.text.push_back(unit);
            }
        }
        return item;
    }

    static std::optional<double> item_number(const Text &item, std::size_t limit) {
        if (item.size() > limit) return {};
        if (item.empty()) return 0.0;
        return read_number(item);
    }

    std::optional<std::int32_t> header_number() {
        const std::optional<double> value = item_number(next_item().text, kMostHeaderUnits);
        return value ? truncate(*value) : std::nullopt;
    }

    // Header and names line, up to the variable table; false if nothing can be known of the table.
    bool read_header() {
        const std::optional<std::int32_t> lines = header_number();
        if (!lines) return false;
        const std::optional<std::int32_t> columns = header_number();
        if (!columns) return false;
        std::vector<Text> names;
        for (Item item{{}, u'\t'}; item.end != u'\n';) {
            item = next_item();
            if (item.end == 0 || item.text.empty() || item.text.find(u'\uffff') != Text::npos) return false;
            names.push_back(item.text == u"*" ? Text() : item.text);
        }
        if (options_.mixture) names.erase(names.begin());
        if (*columns < 0 || names.size() < static_cast<std::size_t>(*columns)) return false;
        lines_ = *lines;
        columns_ = static_cast<std::size_t>(*columns);
        names.resize(columns_);
        for (const Text &name : names) table_.variables.push_back({name, key_slot(name)});
        return true;
    }

    int key_slot(const Text &name) const {
        for (const auto &[key, slot] : options_.key_names) {
            if (same_name(key, name)) return slot;
        }
        return 0;
    }

    void read_body() {
        for (std::size_t i = 0; i < columns_; ++i) {
            log(plain(i + 1) + u" [" + table_.variables[i].name + u"]\n");
            table_.used_slots.push_back(table_.variables[i].key_slot);
        }
        if (options_.weight_name) {
            const std::optional<std::size_t> found = find_variable(*options_.weight_name);
            if (!found) {
                log(u"The variable, '" + *options_.weight_name +
                    u"', is named as a case weight variable, but it doesn't exist in the data file, 'dtz.dtz'.\n");
                table_.outcome = Outcome::no_weight;
                return;
            }
            weight_column_ = *found;
            table_.variables.erase(table_.variables.begin() + static_cast<std::ptrdiff_t>(*found));
        }
        for (std::int32_t line = 0; line < lines_; ++line) {
            if ((table_.cases.size() + 1) * (columns_ + 1) > kMostCells) {
                table_.outcome = Outcome::too_many;
                return;
            }
            if (!read_record()) {
                if (table_.outcome == Outcome::too_many) return;
                log(u"An error occurred during KeyFinishUp");
                table_.last_error = u"An error occurred during KeyFinishUp";
                table_.outcome = Outcome::bad_record;
                return;
            }
        }
        table_.trace_log.push_back(u"Group 1 (" + options_.group_name + u")\n");
        for (const Variable &variable : table_.variables) table_.trace_log.push_back(variable.name + u"\n");
        table_.outcome = Outcome::accepted;
    }

    // The next item of a line; too long a one is given as it is.
    Item next_data_item() {
        if (at_end_) return {{}, u'\n'};
        Item item = next_item();
        if (item.text.size() > kMostItemUnits) return item;
        if (item.text.empty()) {
            at_end_ = true;
            item.end = u'\n';
        }
        if (item.end != u'\n') {
            ++items_in_line_;
        } else if (items_in_line_ == 0 || items_in_line_ + 1 >= columns_) {
            items_in_line_ = 0;
            ++finished_lines_;
        }
        if (item.text == u"*") item.text.clear();
        return item;
    }

    bool read_record() {
        Case record;
        record.first_copy = table_.cases.size();
        record.cells.resize(table_.variables.size());
        if (options_.mixture) {
            const std::optional<double> value = item_number(next_item().text, kMostItemUnits);
            const std::optional<std::int32_t> id = value ? truncate(*value + 0.01) : std::nullopt;
            if (!id) return fail_with_error(u"There was a failed attempt to read a group ID in read_one_record.");
            record.group_id = *id;
        }
        std::int32_t weight = 1;
        std::size_t cell = 0;
        for (std::size_t column = 0; column < columns_; ++column) {
            Item item = next_data_item();
            if (item.text.size() > kMostItemUnits) return false;
            if (column + 1 == columns_ && item.end != u'\n') {
                return fail_with_log(u"Data record number " + plain(finished_lines_ + 1) +
                                     u" is too long in the file dtz.dtz.\n");
            }
            if (column + 1 != columns_ && item.end == u'\n') {
                return fail_with_log(u"A data record in group " + options_.group_name + u" is too short.\n");
            }
            std::erase(item.text, u' ');
            if (column == weight_column_) {
                const std::optional<std::int32_t> whole = read_whole_number(item.text);
                if (!whole || *whole <= 0) {
                    return fail_with_log(u"The string, '" + item.text + u"', can't be interpreted as a case weight.\n");
                }
                weight = *whole;
            } else if (!read_cell(item.text, cell++, record)) {
                return false;
            }
        }
        if (static_cast<std::size_t>(weight) * (columns_ + 1) > kMostCells) {
            table_.outcome = Outcome::too_many;
            return false;
        }
        table_.cases.insert(table_.cases.end(), static_cast<std::size_t>(weight), record);
        table_.case_count += static_cast<std::size_t>(weight);
        return true;
    }

    static std::optional<std::int32_t> read_whole_number(const Text &text) {
        const std::string digits = narrow(text);
        static const Pattern whole_number("^" SPACE "[+-]?[0-9]+$");
        if (!whole_number.matches(digits)) return {};
        const long double value = std::strtold(digits.c_str(), nullptr);
        if (value < -2147483648.0L || value > 2147483647.0L) return {};
        return static_cast<std::int32_t>(value);
    }

    bool read_cell(const Text &text, std::size_t own, Case &record) {
        Cell &cell = record.cells[own];
        cell.state = State::missing;
        cell.bounds.clear();
        const std::vector<Text> pieces = split(text, u';');
        for (std::size_t i = pieces.size(); i-- > 0;) {
            const Text &piece = pieces[i];
            if (piece.find(u'<') != Text::npos) {
                if (!read_chain(piece, own, record)) return false;
                continue;
            }
            cell.state = State::missing;
            cell.bounds.clear();
            if (piece.empty()) continue;
            const std::optional<double> number = read_number(piece);
            if (!number) {
                return fail_with_error(u"The value, " + piece + u", of the variable, " + table_.variables[own].name +
                                       u", can't be interpreted.\n");
            }
            cell.value = *number;
            cell.state = State::observed;
        }
        return true;
    }

    bool read_chain(const Text &chain, std::size_t own, Case &record) {
        const std::vector<Text> lists = split(chain, u'<');
        for (std::size_t link = 0; link + 1 < lists.size(); ++link) {
            const std::vector<Text> left = split(lists[link], u'|');
            const std::vector<Text> right = split(lists[link + 1], u'|');
            for (std::size_t i = left.size(); i-- > 0;) {
                for (std::size_t j = right.size(); j-- > 0;) {
                    if (!add_inequality(left[i], right[j], own, record)) return false;
                }
            }
        }
        return true;
    }

    struct Term {
        std::optional<std::size_t> variable;
        double number = 0.0;
    };

    std::optional<Term> resolve(const Text &text, std::size_t own) {
        if (text.empty()) return Term{own};
        if (const std::optional<double> number = read_number(text)) return Term{{}, *number};
        if (const std::optional<std::size_t> variable = find_variable(text)) return Term{variable};
        log(u"The string, " + text + u", is not a variable name.\n");
        return {};
    }

    bool add_inequality(const Text &left_text, const Text &right_text, std::size_t own, Case &record) {
        const std::optional<Term> left = resolve(left_text, own);
        if (!left) return false;
        const std::optional<Term> right = resolve(right_text, own);
        if (!right) return false;
        std::size_t receiver;
        Bound bound;
        if (!left->variable && !right->variable) {
            return fail_with_log(u"You are not allowed to specify an inequality between the strings, " + left_text +
                                 u" and " + right_text + u".\n");
        }
        if (!left->variable) {
            receiver = *right->variable;
            bound = {false, left->number, {}};
        } else if (!right->variable) {
            receiver = *left->variable;
            bound = {true, right->number, {}};
        } else if (!options_.rank_order) {
            return fail_with_error(u"The data file may not specify that the value of one variable (" +
                                   table_.variables[*left->variable].name +
                                   u") is less than the value of another variable (" +
                                   table_.variables[*right->variable].name + u").\n");
        } else if (*left->variable == own) {
            receiver = own;
            bound = {true, 0.0, right->variable};
        } else {
            receiver = *right->variable;
            bound = {false, 0.0, left->variable};
        }
        record.cells[receiver].state = State::bounded;
        record.cells[receiver].bounds.push_back(bound);
        return true;
    }

    std::optional<std::size_t> find_variable(const Text &name) const {
        for (std::size_t i = 0; i < table_.variables.size(); ++i) {
            if (same_name(table_.variables[i].name, name)) return i;
        }
        return {};
    }

    void log(Text message) { table_.error_log.push_back(std::move(message)); }

    bool fail_with_log(Text message) {
        log(std::move(message));
        return false;
    }

    // A message that goes through the last error text, which cuts it.
    bool fail_with_error(Text message) {
        message.resize(std::min(message.size(), kMostErrorUnits));
        return fail_with_log(std::move(message));
    }

    std::u16string_view text_;
    const Options &options_;
    Table table_;
    std::size_t position_ = 0;
    std::int32_t lines_ = 0;
    std::size_t columns_ = 0;
    std::optional<std::size_t> weight_column_;
    bool at_end_ = false;
    std::size_t items_in_line_ = 0;
    std::size_t finished_lines_ = 0;
};

}  // namespace

std::optional<double> read_number(std::u16string_view text) {
    std::string digits = narrow(text);
    static const Pattern number("^" SPACE "[+-]?([0-9]+[.]?[0-9]*|[.][0-9]+)([eEdD][+-]?[0-9]+)?$");
    if (!number.matches(digits)) return {};
    std::replace(digits.begin(), digits.end(), 'd', 'e');
    std::replace(digits.begin(), digits.end(), 'D', 'e');
    return std::strtod(digits.c_str(), nullptr);
}

bool same_name(std::u16string_view left, std::u16string_view right) {
    const auto lower = [](char16_t unit) {
        return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit - u'A' + u'a') : unit;
    };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [&](char16_t l, char16_t r) { return lower(l) == lower(r); });
}

Table read(std::u16string_view text, const Options &options) {
    return Reader(text, options).read();
}

Interval interval(const Cell &cell, double own_value, const std::vector<double> &first_copy_values) {
    if (cell.state == State::observed) return {own_value, own_value};
    Interval ends{-kOpenEnd, kOpenEnd};
    // The newest bound first: of two zeros that differ in sign the first one met stays.
    for (auto bound = cell.bounds.rbegin(); bound != cell.bounds.rend(); ++bound) {
        const double value = bound->variable ? first_copy_values[*bound->variable] : bound->number;
        if (value == kUndefined || std::isnan(value)) continue;
        if (bound->is_upper) {
            ends.upper = std::min(ends.upper, value);
        } else {
            ends.lower = std::max(ends.lower, value);
        }
    }
    return ends;
}

}  // namespace slow
