// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading completed tables, and holding them against the record of their run.

#include "ullage/host/run/completed_tables.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <unordered_map>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"
#include "ullage/host/run/result_file.h"
#include "ullage/host/table/csv_text.h"
#include "ullage/host/table/read_cell.h"

namespace ullage::host {
namespace {

namespace fs = std::filesystem;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::string_view kMissingWords[] = {"", "NA", ".", "*"};

/** From files of cells to completed tables. A block is the rows of one table within a file. */
class TableBuilder {
public:
    explicit TableBuilder(const RunRecord &record) : record_(record) {
        result_.rows = static_cast<std::size_t>(record.rows);
        result_.imputations = static_cast<std::size_t>(record.imputations);
        for (const RunLevel &level : record.levels) result_.levels.push_back(level.name);
    }

    CompletedTables from_long(const FileText &file);
    CompletedTables from_files(const std::string &directory);

private:
    void take_header(const FileText &file, std::size_t width);
    void take_carried(const FileText &file);
    void take_levels(const FileText &file);
    void check_counts() const;

    const RunRecord &record_;
    CompletedTables result_;
    std::vector<std::size_t> model_place_;   // of each column of the model, in the file
    std::vector<std::size_t> column_place_;  // of each column of the result, in the file
};

/** Find the columns of the model, and those besides that hold numbers, in the first width columns of the file. */
void TableBuilder::take_header(const FileText &file, std::size_t width) {
    result_.source = file.source;
    for (const RunColumn &column : record_.columns) {
        model_place_.push_back(place_of(file, column.name, "which run.json has in its model"));
    }
    std::string buffer;
    for (std::size_t c = 0; c < width; ++c) {
        const bool in_model = std::find(model_place_.begin(), model_place_.end(), c) != model_place_.end();
        bool has_number = in_model;
        bool has_word = false;
        for (std::size_t row = 0; row < result_.rows && !in_model && !has_word; ++row) {
            const std::string_view text = cell_of(file, row, c, buffer);
            if (std::find(std::begin(kMissingWords), std::end(kMissingWords), text) != std::end(kMissingWords))
                continue;
            (parse_number(text) ? has_number : has_word) = true;
        }
        if (!has_number || has_word) {
            result_.other_columns.push_back(file.names[c]);
            continue;
        }
        column_place_.push_back(c);
        result_.columns.push_back({file.names[c], std::vector<double>(result_.rows, kNaN), {}, {}});
    }
    for (const std::size_t place : model_place_) {
        const auto found = std::find(column_place_.begin(), column_place_.end(), place);
        result_.model.push_back(static_cast<std::size_t>(found - column_place_.begin()));
        result_.columns[result_.model.back()].imputed.resize(result_.imputations);
    }
}

/** Read the columns outside the model from the first table. */
void TableBuilder::take_carried(const FileText &file) {
    std::string buffer;
    for (std::size_t i = 0; i < result_.columns.size(); ++i) {
        if (std::find(result_.model.begin(), result_.model.end(), i) != result_.model.end()) continue;
        for (std::size_t row = 0; row < result_.rows; ++row) {
            result_.columns[i].original[row] =
                parse_number(cell_of(file, row, column_place_[i], buffer)).value_or(kNaN);
        }
    }
}

void TableBuilder::take_levels(const FileText &file) {
    result_.level_of_row.assign(result_.rows, 0);
    if (!record_.by) return;
    const std::size_t column = place_of(file, *record_.by, "whose levels run.json has");
    std::unordered_map<std::string, std::int32_t> index;
    for (std::size_t l = 0; l < result_.levels.size(); ++l) index[result_.levels[l]] = static_cast<std::int32_t>(l);
    std::vector<std::int64_t> rows(result_.levels.size(), 0);
    std::string buffer;
    for (std::size_t row = 0; row < result_.rows; ++row) {
        const auto found = index.find(std::string(cell_of(file, row, column, buffer)));
        if (found == index.end()) {
            throw broken_row(
                file, row,
                fmt::format("column {}: run.json has no level {}", quote(*record_.by), quote(file.text(row, column))));
        }
        result_.level_of_row[row] = found->second;
        ++rows[static_cast<std::size_t>(found->second)];
    }
    for (std::size_t l = 0; l < rows.size(); ++l) {
        if (rows[l] == record_.levels[l].rows) continue;
        throw Error(Fault::data,
                    fmt::format("{}: level {} has {}, and {} in run.json: these files are not of one run", file.source,
                                quote(result_.levels[l]), count_of(static_cast<std::size_t>(rows[l]), "row"),
                                record_.levels[l].rows));
    }
}

void TableBuilder::check_counts() const {
    for (std::size_t i = 0; i < record_.columns.size(); ++i) {
        const RunColumn &column = record_.columns[i];
        const std::size_t hidden = result_.columns[result_.model[i]].hidden.size();
        if (static_cast<std::int64_t>(hidden) == column.missing + column.bounded) continue;
        throw Error(
            Fault::data,
            fmt::format("{}: {} of column {} were imputed, and {} by run.json: these files are not of one run",
                        result_.source, count_of(hidden, "cell"), quote(column.name), column.missing + column.bounded));
    }
}

CompletedTables TableBuilder::from_long(const FileText &file) {
    const std::size_t width = file.names.size();
    if (width < 3 || file.names[width - 2] != ".imp" || file.names[width - 1] != ".id") {
        throw Error(Fault::data, fmt::format("{}: its last columns are not .imp and .id", file.source));
    }
    const std::size_t rows = result_.rows;
    if (file.row_count() != rows * (result_.imputations + 1)) {
        throw Error(
            Fault::data,
            fmt::format("{}: {}, and not the {} of {} and the original table of {}; the file is cut off, or not "
                        "of the run of run.json",
                        file.source, count_of(file.row_count(), "row"), rows * (result_.imputations + 1),
                        count_of(result_.imputations, "imputation"), count_of(rows, "row")));
    }
    std::string buffer;
    for (std::size_t row = 0; row < file.row_count(); ++row) {
        if (parse_number(cell_of(file, row, width - 2, buffer)) != static_cast<double>(row / rows)) {
            throw broken_row(
                file, row,
                fmt::format("column .imp: expected {}, and there is {}", row / rows, quote(file.text(row, width - 2))));
        }
        if (file.raw(row, width - 1) != file.raw(row % rows, width - 1)) {
            throw broken_row(file, row, "column .id: the rows are not in the order of the original table");
        }
    }
    take_header(file, width - 2);
    take_carried(file);
    take_levels(file);
    for (std::size_t i = 0; i < model_place_.size(); ++i) {
        CompletedColumn &column = result_.columns[result_.model[i]];
        const std::size_t c = model_place_[i];
        for (std::size_t row = 0; row < rows; ++row) {
            if (file.raw(row, c) == "NA") {
                column.hidden.push_back(static_cast<std::int32_t>(row));
                continue;
            }
            column.original[row] = number_of(file, row, c);
            for (std::size_t k = 1; k <= result_.imputations; ++k) {
                if (file.raw(k * rows + row, c) == file.raw(row, c)) continue;
                throw broken_row(
                    file, k * rows + row,
                    fmt::format("column {}: an observed cell is not that of the original table", quote(file.names[c])));
            }
        }
        for (std::size_t k = 0; k < result_.imputations; ++k) {
            column.imputed[k].reserve(column.hidden.size());
            for (const std::int32_t row : column.hidden) {
                column.imputed[k].push_back(number_of(file, (k + 1) * rows + static_cast<std::size_t>(row), c));
            }
        }
    }
    check_counts();
    return std::move(result_);
}

CompletedTables TableBuilder::from_files(const std::string &directory) {
    const std::size_t digits = std::to_string(result_.imputations).size();
    std::vector<std::string> header;
    for (std::size_t k = 0; k < result_.imputations; ++k) {
        const std::string name = fmt::format("imputation_{:0{}}.csv", k + 1, digits);
        const FileText file = find_cells(path_in(directory, name), read_result(directory, name), record_.separator);
        if (file.row_count() != result_.rows) {
            throw Error(Fault::data, fmt::format("{}: {}, and {} in run.json: these files are not of one run",
                                                 file.source, count_of(file.row_count(), "row"), result_.rows));
        }
        if (k == 0) {
            header = file.names;
            take_header(file, file.names.size());
            take_carried(file);
            take_levels(file);
        } else if (file.names != header) {
            throw Error(Fault::data, file.source + ": the columns are not those of the first imputation");
        }
        for (std::size_t i = 0; i < model_place_.size(); ++i) {
            std::vector<double> &values = result_.columns[result_.model[i]].imputed[k];
            for (std::size_t row = 0; row < result_.rows; ++row) {
                values.push_back(number_of(file, row, model_place_[i]));
            }
        }
    }
    result_.source = path_in(directory, "imputation_*.csv");
    for (const std::size_t place : result_.model) {
        CompletedColumn &column = result_.columns[place];
        column.original = column.imputed[0];
        for (std::size_t row = 0; row < result_.rows; ++row) {
            if (std::all_of(column.imputed.begin(), column.imputed.end(),
                            [&](const std::vector<double> &values) { return values[row] == column.original[row]; })) {
                continue;
            }
            column.hidden.push_back(static_cast<std::int32_t>(row));
            column.original[row] = kNaN;
        }
        for (std::vector<double> &values : column.imputed) {
            for (std::size_t h = 0; h < column.hidden.size(); ++h) {
                values[h] = values[static_cast<std::size_t>(column.hidden[h])];
            }
            values.resize(column.hidden.size());
        }
    }
    if (result_.imputations > 1) check_counts();
    return std::move(result_);
}

}  // namespace

void CompletedColumn::copy_rows(std::size_t imputation, std::span<const std::int32_t> some_rows, double *out,
                                std::size_t step) const {
    if (some_rows.empty()) return;
    auto next = std::lower_bound(hidden.begin(), hidden.end(), some_rows.front());
    for (const std::int32_t row : some_rows) {
        while (next != hidden.end() && *next < row) ++next;
        *out = next != hidden.end() && *next == row
                   ? imputed[imputation][static_cast<std::size_t>(next - hidden.begin())]
                   : original[static_cast<std::size_t>(row)];
        out += step;
    }
}

const CompletedColumn &CompletedTables::column(std::string_view name) const {
    for (const CompletedColumn &column : columns) {
        if (column.name == name) return column;
    }
    if (std::find(other_columns.begin(), other_columns.end(), name) != other_columns.end()) {
        throw Error(Fault::usage, fmt::format("column {} of {} does not hold numbers", quote(name), source));
    }
    std::vector<std::string_view> names;
    for (const CompletedColumn &column : columns) names.push_back(column.name);
    throw Error(Fault::usage, fmt::format("{} has no column {}; its columns of numbers are {}", source, quote(name),
                                          fmt::join(names, ", ")));
}

std::vector<std::int32_t> CompletedTables::rows_of_level(std::size_t level) const {
    std::vector<std::int32_t> chosen;
    for (std::size_t row = 0; row < rows; ++row) {
        if (level_of_row[row] == static_cast<std::int32_t>(level)) chosen.push_back(static_cast<std::int32_t>(row));
    }
    return chosen;
}

CompletedTables read_completed_tables(const std::string &directory, const RunRecord &record) {
    std::error_code ignored;
    TableBuilder builder(record);
    const std::string path = path_in(directory, "imputations.csv");
    const auto digits = std::to_string(record.imputations).size();
    if (!fs::exists(path, ignored) &&
        fs::exists(path_in(directory, fmt::format("imputation_{:0{}}.csv", 1, digits)), ignored)) {
        return builder.from_files(directory);
    }
    return builder.from_long(find_cells(path, read_result(directory, "imputations.csv"), record.separator));
}

}  // namespace ullage::host
