// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Completed tables as a file of a statistics package, by ReadStat.

#include "ullage/host/run/write_stat_file.h"

#include <fmt/format.h>
#include <readstat.h>
#include <utf8.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/output_file.h"
#include "ullage/host/base/problems.h"
#include "ullage/host/base/words.h"

namespace ullage::host {
namespace {

/** What a format can hold. */
struct Limits {
    std::string_view package;
    std::size_t name;   // bytes
    std::size_t label;  // bytes
    std::size_t label_characters;
    std::size_t text;  // bytes
    std::size_t columns;
};

const Limits &limits_of(StatFormat format) {
    static constexpr Limits kStata = {"Stata", 32, 320, 80, 2045, 32767};
    static constexpr Limits kSpss = {"SPSS", 64, 255, 255, 32767, std::numeric_limits<int>::max()};
    return format == StatFormat::dta ? kStata : kSpss;
}

/** As much of a name as a label holds. */
std::string label_of(const std::string &name, const Limits &limits) {
    auto end = name.begin();
    for (std::size_t characters = 0; end != name.end() && characters < limits.label_characters; ++characters) {
        auto next = end;
        utf8::unchecked::next(next);
        if (next - name.begin() > static_cast<std::ptrdiff_t>(limits.label)) break;
        end = next;
    }
    return {name.begin(), end};
}

/** Do the work of a callback. */
template <typename Work>
int guarded(std::exception_ptr &failure, const Work &work) {
    try {
        work();
        return READSTAT_HANDLER_OK;
    } catch (...) {
        failure = std::current_exception();
        return READSTAT_HANDLER_ABORT;
    }
}

/** What is written, and the exception that a callback must not let into the C library. */
struct Writing {
    OutputFile &file;
    std::exception_ptr failure;
};

ssize_t on_bytes(const void *bytes, std::size_t size, void *context) {
    Writing &writing = *static_cast<Writing *>(context);
    const int result =
        guarded(writing.failure, [&] { writing.file.write(std::string_view(static_cast<const char *>(bytes), size)); });
    return result == READSTAT_HANDLER_OK ? static_cast<ssize_t>(size) : -1;
}

/** Makes names that the package allows, each of them once, whatever its case. */
class Names {
public:
    explicit Names(StatFormat format) : format_(format), limit_(limits_of(format).name) {}

    std::string allowed(const std::string &name) {
        std::string base;
        for (const char c : name) base += is_letter(c) || is_digit(c) ? c : '_';
        if (base.empty() || !is_letter(base[0])) base.insert(0, "v");
        if (is_reserved(lower(base))) base += '_';
        base.resize(std::min(base.size(), limit_));
        std::string result = base;
        for (int number = 2; !taken_.insert(lower(result)).second; ++number) {
            const std::string ending = fmt::format("_{}", number);
            result = base.substr(0, limit_ - ending.size()) + ending;
        }
        return result;
    }

private:
    static bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
    static bool is_digit(char c) { return c >= '0' && c <= '9'; }
    static std::string lower(std::string text) {
        for (char &c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        return text;
    }
    [[nodiscard]] bool is_reserved(const std::string &name) const {
        static const std::set<std::string> stata = {"byte", "double", "float", "if",    "in",  "int",
                                                    "long", "using",  "with",  "alias", "strl"};
        static const std::set<std::string> spss = {"all", "and", "by",  "eq", "ge", "gt",  "le",
                                                   "lt",  "ne",  "not", "or", "to", "with"};
        if (format_ == StatFormat::sav) return spss.contains(name);
        // str1, str2, ... are types of Stata.
        const bool is_type =
            name.size() > 3 && name.starts_with("str") && std::all_of(name.begin() + 3, name.end(), is_digit);
        return is_type || stata.contains(name);
    }

    StatFormat format_;
    std::size_t limit_;
    std::set<std::string> taken_;
};

/** A column of the file that is written. */
struct StatColumn {
    std::string name;
    std::ptrdiff_t file_column = -1;  // its cells stand there, or
    std::ptrdiff_t column = -1;       // it is a column of numbers of the table
    std::size_t width = 0;            // of its texts; 0 if it holds numbers
    bool is_derived = false;
    readstat_variable_t *variable = nullptr;
};

/** A column that is carried along: numbers if it holds nothing else. */
StatColumn carried(const Table &table, std::size_t file_column) {
    StatColumn column{table.file.names[file_column], static_cast<std::ptrdiff_t>(file_column)};
    std::size_t width = 1;
    bool has_word = false;
    bool has_number = false;
    for (std::size_t row = 0; row < table.row_count(); ++row) {
        const std::string text = table.file.text(row, file_column);
        width = std::max(width, text.size());
        if (trim(text).empty() || trim(text) == "NA") continue;
        (parse_number(text) ? has_number : has_word) = true;
    }
    column.width = has_number && !has_word ? 0 : width;
    return column;
}

class StatWriter {
public:
    StatWriter(OutputFile &file, StatFormat format, const Table &table)
        : writing_{file, nullptr},
          format_(format),
          table_(table),
          writer_(readstat_writer_init(), readstat_writer_free) {
        if (!writer_) throw std::bad_alloc();
    }

    void write(const HiddenCells &hidden, const DrawnCells &values, const Derive &derive) {
        std::vector<CompletedColumn> derived = derive(0, {});
        for (const OutputColumn &column : table_.output) {
            if (column.column >= 0) {
                columns_.push_back({table_.columns[static_cast<std::size_t>(column.column)].name, -1, column.column});
            } else {
                columns_.push_back(carried(table_, static_cast<std::size_t>(column.file_column)));
            }
        }
        for (const CompletedColumn &column : derived) {
            columns_.push_back({column.name});
            columns_.back().is_derived = true;
            for (const std::string &word : column.words)
                columns_.back().width = std::max(columns_.back().width, word.size());
        }
        StatColumn id;
        if (table_.id_file_column) id = carried(table_, *table_.id_file_column);
        Names names(format_);
        // The two columns of the imputation have the first choice of their names.
        const std::string imputation_name = names.allowed(format_ == StatFormat::dta ? "imp_" : "Imputation_");
        id.name = names.allowed("id_");

        check(readstat_set_data_writer(writer_.get(), on_bytes));
        // No clock: the same tables give the same bytes.
        check(readstat_writer_set_file_timestamp(writer_.get(), 0));
        if (format_ == StatFormat::sav) {
            check(readstat_writer_set_compression(writer_.get(), READSTAT_COMPRESS_ROWS));
        }
        for (StatColumn &column : columns_) {
            const std::string name = names.allowed(column.name);
            column.variable = add(name, column.width);
            if (column.column >= 0) label_words(table_.columns[static_cast<std::size_t>(column.column)], column);
            if (name != column.name)
                readstat_variable_set_label(column.variable, label_of(column.name, limits_of(format_)).c_str());
        }
        readstat_variable_t *imputation = add(imputation_name, 0);
        id.variable = add(id.name, id.width);

        const std::size_t rows = table_.row_count() * (values.size() + 1);
        const auto begin = format_ == StatFormat::dta ? readstat_begin_writing_dta : readstat_begin_writing_sav;
        check(begin(writer_.get(), &writing_, static_cast<long>(rows)));
        for (std::size_t k = 0; k <= values.size(); ++k) {
            const std::vector<double> own = k == 0 ? std::vector<double>() : values[k - 1];
            if (k > 0) derived = derive(k, own);
            for (std::size_t row = 0; row < table_.row_count(); ++row) {
                check(readstat_begin_row(writer_.get()));
                std::size_t next_hidden = hidden.row_begin[row];
                std::size_t next_derived = 0;
                for (const StatColumn &column : columns_) {
                    if (column.is_derived) {
                        insert_derived(column, derived[next_derived++], row);
                    } else if (column.column >= 0 && table_.is_hidden(row, static_cast<std::size_t>(column.column))) {
                        insert(column, k == 0 ? kNaN : own[next_hidden]);
                        ++next_hidden;
                    } else {
                        insert_cell(column, row);
                    }
                }
                check(readstat_insert_double_value(writer_.get(), imputation, static_cast<double>(k)));
                if (table_.id_file_column) {
                    insert_cell(id, row);
                } else {
                    insert(id, static_cast<double>(row + 1));
                }
                check(readstat_end_row(writer_.get()));
            }
        }
        check(readstat_end_writing(writer_.get()));
    }

private:
    static constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

    readstat_variable_t *add(const std::string &name, std::size_t width) {
        readstat_variable_t *variable = readstat_add_variable(
            writer_.get(), name.c_str(), width > 0 ? READSTAT_TYPE_STRING : READSTAT_TYPE_DOUBLE, width);
        if (variable == nullptr) throw std::bad_alloc();
        if (width == 0) readstat_variable_set_format(variable, format_ == StatFormat::dta ? "%10.0g" : "F16.6");
        return variable;
    }

    /** Words are written as 1, 2, ..., with the words as labels of these values. */
    void label_words(const Column &column, const StatColumn &stat) {
        if (!column.holds_words()) return;
        const bool is_stata = format_ == StatFormat::dta;
        readstat_label_set_t *labels =
            readstat_add_label_set(writer_.get(), is_stata ? READSTAT_TYPE_INT32 : READSTAT_TYPE_DOUBLE,
                                   fmt::format("words{}", ++label_sets_).c_str());
        if (labels == nullptr) throw std::bad_alloc();
        for (std::size_t word = 0; word < column.words.size(); ++word) {
            const std::string label = label_of(column.words[word], limits_of(format_));
            if (is_stata) {
                readstat_label_int32_value(labels, static_cast<std::int32_t>(word + 1), label.c_str());
            } else {
                readstat_label_double_value(labels, static_cast<double>(word + 1), label.c_str());
            }
        }
        readstat_variable_set_label_set(stat.variable, labels);
        readstat_variable_set_measure(
            stat.variable, column.kind == ColumnKind::ordered ? READSTAT_MEASURE_ORDINAL : READSTAT_MEASURE_NOMINAL);
        readstat_variable_set_format(stat.variable, is_stata ? "%10.0g" : "F8.0");
    }

    void insert_derived(const StatColumn &column, const CompletedColumn &derived, std::size_t row) {
        const auto place = static_cast<std::int32_t>(row);
        double value = 0.0;
        derived.copy_rows(0, {&place, 1}, &value);
        if (column.width == 0) {
            insert(column, value);
        } else {
            const std::string word = std::isnan(value) ? "" : derived.words[static_cast<std::size_t>(value)];
            check(readstat_insert_string_value(writer_.get(), column.variable, word.c_str()));
        }
    }

    void insert_cell(const StatColumn &column, std::size_t row) {
        if (column.column >= 0) {
            insert(column, table_.columns[static_cast<std::size_t>(column.column)].values[row]);
            return;
        }
        const std::string text = table_.file.text(row, static_cast<std::size_t>(column.file_column));
        if (column.width > 0) {
            check(readstat_insert_string_value(writer_.get(), column.variable, text.c_str()));
        } else {
            insert(column, parse_number(text).value_or(kNaN));
        }
    }

    void insert(const StatColumn &column, double value) {
        if (column.column >= 0 && table_.columns[static_cast<std::size_t>(column.column)].holds_words()) value += 1.0;
        check(std::isnan(value) ? readstat_insert_missing_value(writer_.get(), column.variable)
                                : readstat_insert_double_value(writer_.get(), column.variable, value));
    }

    void check(readstat_error_t error) const {
        if (error == READSTAT_OK) return;
        if (writing_.failure) std::rethrow_exception(writing_.failure);
        if (error == READSTAT_ERROR_MALLOC) throw std::bad_alloc();
        throw Error(Fault::data, fmt::format("a file of {} cannot hold this table: {}; use --format long",
                                             limits_of(format_).package, readstat_error_message(error)));
    }

    Writing writing_;
    StatFormat format_;
    const Table &table_;
    std::unique_ptr<readstat_writer_t, void (*)(readstat_writer_t *)> writer_;
    std::vector<StatColumn> columns_;
    int label_sets_ = 0;
};

}  // namespace

void check_stat_file(StatFormat format, const Table &table, DerivedColumns derived, std::size_t imputations) {
    const Limits &limits = limits_of(format);
    const auto refuse = [&](std::size_t count, std::string_view what, std::size_t most) {
        throw Error(Fault::data,
                    fmt::format("{}: {} {} are more than the {} that a file of {} holds; leave out --format",
                                table.file.source, count, what, most, limits.package));
    };
    constexpr std::size_t most_rows = std::numeric_limits<int>::max();
    const std::size_t rows = table.row_count() * (imputations + 1);
    if (rows > most_rows) refuse(rows, "rows", most_rows);
    const std::size_t columns = table.output.size() + derived.size() + 2;
    if (columns > limits.columns) refuse(columns, "columns", limits.columns);
    Problems problems;
    for (const OutputColumn &output : table.output) {
        check_interrupt();
        if (output.file_column < 0) continue;
        const auto column = static_cast<std::size_t>(output.file_column);
        if (carried(table, column).width <= limits.text) continue;
        for (std::size_t row = 0; row < table.row_count(); ++row) {
            const std::string text = table.file.text(row, column);
            if (text.size() <= limits.text) continue;
            problems.add(
                {.line = table.file.line[row],
                 .row = static_cast<std::int64_t>(row + 1),
                 .columns = {table.file.names[column]},
                 .text = text,
                 .message = fmt::format("a text of {} bytes, and a file of {} holds {} at most; shorten it, or "
                                        "leave out --format",
                                        text.size(), limits.package, limits.text)});
        }
    }
    problems.throw_if_any(table.file.source);
}

void write_stat_file(OutputFile &file, StatFormat format, const Table &table, const HiddenCells &hidden,
                     const DrawnCells &values, const Derive &derive) {
    StatWriter(file, format, table).write(hidden, values, derive);
}

}  // namespace ullage::host
