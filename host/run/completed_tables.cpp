// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading completed tables, and holding them against the record of their run.

#include "ullage/host/run/completed_tables.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <optional>
#include <unordered_map>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/words.h"
#include "ullage/host/run/carried_values.h"
#include "ullage/host/run/result_file.h"
#include "ullage/host/run/result_names.h"
#include "ullage/host/table/csv_rows.h"
#include "ullage/host/table/read_columns.h"
#include "ullage/host/table/word_places.h"

namespace ullage::host {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/** Complain of a row of a long file that is not where it belongs. */
void check_imputation(const CsvRows &file, std::string_view number) {
    const std::string_view text = file.cell(file.names().size() - 2);
    if (text != number) {
        throw file.broken(fmt::format("column .imp: expected {}, and there is {}", number, quote(text)));
    }
}

std::size_t hash_of_id(const CsvRows &file) {
    return std::hash<std::string_view>()(file.cell(file.names().size() - 1));
}

/** What the first table of a file is: the original one, with .imp and .id or without, or the first completed one. */
enum class FirstTable { original_of_long, original, completed };

/** From the rows of files to completed tables, in one pass, or of separate files in two. */
class TableBuilder {
public:
    explicit TableBuilder(const RunRecord &record)
        : record_(record),
          row_count_(static_cast<std::size_t>(record.rows)),
          imputations_(static_cast<std::size_t>(record.imputations)) {}

    CompletedTables from_long(CsvRows &file);
    CompletedTables from_cells(const std::string &directory);
    CompletedTables from_files(const std::string &directory);

private:
    /** What is read of one column of a file. */
    struct Place {
        std::size_t column;  // of the file
        CompletedColumn values;
        std::optional<std::size_t> in_model = {};  // its number there
        std::optional<WordPlaces> words = {};      // of a column of words of the model
        std::vector<double> imputed = {};          // of the model: its hidden cells in the imputation that is read
        std::vector<bool> differs = {};            // of the model, read from separate files: rows that do so in them
    };
    /** One outside the model. */
    struct CarriedPlace {
        std::size_t column;
        std::string name;
        CarriedValues values;
    };

    void take_header(const CsvRows &file, std::size_t width);
    void take_first_table(CsvRows &file, FirstTable kind);
    [[nodiscard]] double value(const CsvRows &file, const Place &place) const {
        return value(file, place, place.column);
    }
    [[nodiscard]] double value(const CsvRows &file, const Place &place, std::size_t column) const;
    void take_level(const CsvRows &file, std::size_t row);
    void check_levels(const CsvRows &file) const;
    void check_end(CsvRows &file, std::size_t tables, bool has_row, std::size_t rows_read) const;
    void take_imputation(CsvRows &file, std::size_t imputation);
    [[nodiscard]] bool next_drawn(CsvRows &file) const;
    void take_cells(CsvRows &file);
    void compare_with_first(CsvRows &file);
    void take_own_file(CsvRows &file);
    void hide_what_differs();
    void make_room_for_cells();
    void put_cells(std::size_t imputation);
    CompletedTables finish(std::string source, bool tells_hidden);

    const RunRecord &record_;
    std::size_t row_count_;
    std::size_t imputations_;
    std::vector<Place> model_;
    std::vector<CarriedPlace> carried_;
    std::optional<std::size_t> level_place_;
    std::unordered_map<std::string, std::int32_t> level_index_;
    std::vector<std::int32_t> level_of_row_;
    std::vector<std::int64_t> rows_of_level_;
    std::vector<std::size_t> ids_;  // hashed, of a long file
    DrawnCells drawn_;              // of the columns of the model
};

/** Find the columns of the model, that of the levels, and the others, in the first width columns of the file. */
void TableBuilder::take_header(const CsvRows &file, std::size_t width) {
    std::vector<bool> is_taken(file.names().size(), false);
    const auto make_place = [&](std::size_t column) {
        is_taken[column] = true;
        return Place{column, {file.names()[column], std::vector<double>(row_count_, kNaN), {}, {}}};
    };
    for (const RunColumn &column : record_.columns) {
        model_.push_back(make_place(file.place_of(column.name, "which run.json has in its model")));
        model_.back().in_model = model_.size() - 1;
        if (!column.holds_words()) continue;
        model_.back().values.words = column.words;
        model_.back().words.emplace(column.words);
    }
    for (const RunDerived &derived : record_.derived) {
        is_taken[file.place_of(derived.name, "which run.json has as a derived one")] = true;
    }
    for (std::size_t c = 0; c < width; ++c) {
        if (!is_taken[c]) carried_.push_back({c, file.names()[c], CarriedValues(row_count_)});
    }
    level_of_row_.assign(row_count_, 0);
    if (!record_.by) return;
    level_place_ = file.place_of(*record_.by, "whose levels run.json has");
    for (const RunLevel &level : record_.levels) {
        level_index_.emplace(level.name, static_cast<std::int32_t>(level_index_.size()));
    }
    rows_of_level_.assign(record_.levels.size(), 0);
}

/** Complain of a file with too few or too many rows; has_row is whether there is one more than rows_read. */
void TableBuilder::check_end(CsvRows &file, std::size_t tables, bool has_row, std::size_t rows_read) const {
    const std::size_t expected = tables * row_count_;
    if (has_row == (rows_read < expected)) return;
    throw Error(Fault::data,
                fmt::format("{}: {}, and not the {} of {} of {}; the file is cut off, or not of the run of run.json",
                            file.source(), has_row ? "more rows" : count_of(rows_read, "row"), expected,
                            count_of(tables, "table"), count_of(row_count_, "row")));
}

/** A cell of the model, in some column of a file: a number, or the place of its word. */
double TableBuilder::value(const CsvRows &file, const Place &place, std::size_t column) const {
    if (!place.words) return file.number(column);
    const std::string_view text = file.cell(column);
    if (const auto word = place.words->find(text)) return static_cast<double>(*word);
    throw file.broken(fmt::format("column {}: {} is none of the words that run.json gives it", quote(place.values.name),
                                  quote(text)));
}

/** The first table of a file; in an original one hidden cells are NA. */
void TableBuilder::take_first_table(CsvRows &file, FirstTable kind) {
    const bool is_long = kind == FirstTable::original_of_long;
    const bool is_original = kind != FirstTable::completed;
    const std::size_t tables = is_long ? imputations_ + 1 : 1;
    for (std::size_t row = 0; row < row_count_; ++row) {
        check_end(file, tables, file.next(), row);
        if (is_long) {
            check_imputation(file, "0");
            ids_.push_back(hash_of_id(file));
        }
        for (Place &place : model_) {
            if (is_original && file.cell(place.column) == "NA") {
                place.values.hidden.push_back(static_cast<std::int32_t>(row));
            } else {
                place.values.original[row] = value(file, place);
            }
        }
        for (CarriedPlace &place : carried_) place.values.take(row, file.cell(place.column));
        if (level_place_) take_level(file, row);
    }
    if (level_place_) check_levels(file);
}

void TableBuilder::take_level(const CsvRows &file, std::size_t row) {
    const std::string_view text = file.cell(*level_place_);
    const std::optional<std::string> &blank = record_.reading.by_blank;
    const bool is_blank = blank && is_missing(trim(text), record_.reading);
    const auto found = level_index_.find(is_blank ? *blank : std::string(trim(text)));
    if (found == level_index_.end()) {
        throw file.broken(fmt::format("column {}: run.json has no level {}", quote(*record_.by), quote(text)));
    }
    level_of_row_[row] = found->second;
    ++rows_of_level_[static_cast<std::size_t>(found->second)];
}

void TableBuilder::check_levels(const CsvRows &file) const {
    for (std::size_t l = 0; l < rows_of_level_.size(); ++l) {
        if (rows_of_level_[l] == record_.levels[l].rows) continue;
        throw Error(Fault::data,
                    fmt::format("{}: level {} has {}, and {} in run.json: these files are not of one run",
                                file.source(), quote(record_.levels[l].name),
                                count_of(static_cast<std::size_t>(rows_of_level_[l]), "row"), record_.levels[l].rows));
    }
}

/** Once all hidden cells are known. */
void TableBuilder::make_room_for_cells() {
    std::vector<std::size_t> cells;
    for (Place &place : model_) {
        cells.push_back(place.values.hidden.size());
        place.imputed.reserve(cells.back());
    }
    drawn_ = DrawnCells(cells, imputations_, {});
}

/** Those of an imputation that was read, which counts from 0. */
void TableBuilder::put_cells(std::size_t imputation) {
    for (std::size_t i = 0; i < model_.size(); ++i) {
        drawn_.put_column(imputation, i, model_[i].imputed);
        model_[i].imputed.clear();
    }
}

/** A table of a long file behind the original one; imputation counts from 0. */
void TableBuilder::take_imputation(CsvRows &file, std::size_t imputation) {
    const std::string number = std::to_string(imputation + 1);
    for (std::size_t row = 0; row < row_count_; ++row) {
        check_end(file, imputations_ + 1, file.next(), (imputation + 1) * row_count_ + row);
        check_imputation(file, number);
        if (hash_of_id(file) != ids_[row]) {
            throw file.broken("column .id: the rows are not in the order of the original table");
        }
        for (Place &place : model_) {
            const double own = value(file, place);
            if (std::isnan(place.values.original[row])) {
                place.imputed.push_back(own);
            } else if (own != place.values.original[row]) {
                throw file.broken(fmt::format("column {}: an observed cell is not that of the original table",
                                              quote(place.values.name)));
            }
        }
    }
    put_cells(imputation);
}

CompletedTables TableBuilder::from_long(CsvRows &file) {
    const std::size_t width = file.names().size();
    if (width < 3 || file.names()[width - 2] != ".imp" || file.names()[width - 1] != ".id") {
        throw Error(Fault::data, fmt::format("{}: its last columns are not .imp and .id", file.source()));
    }
    take_header(file, width - 2);
    take_first_table(file, FirstTable::original_of_long);
    make_room_for_cells();
    for (std::size_t k = 0; k < imputations_; ++k) take_imputation(file, k);
    check_end(file, imputations_ + 1, file.next(), row_count_ * (imputations_ + 1));
    return finish(file.source(), true);
}

/** Go on to the next line of a cell that was drawn. */
bool TableBuilder::next_drawn(CsvRows &file) const {
    while (file.next()) {
        const bool is_derived = std::ranges::any_of(
            record_.derived, [&](const RunDerived &derived) { return file.cell(1) == derived.name; });
        if (!is_derived) return true;
    }
    return false;
}

/** The hidden cells of all imputations, which come by imputations, rows and columns. */
void TableBuilder::take_cells(CsvRows &file) {
    if (file.names() != std::vector<std::string>{"row", "column", "imputation", "value"}) {
        throw Error(Fault::data, fmt::format("{}: its columns are not row, column, imputation, value", file.source()));
    }
    std::size_t hidden = 0;
    for (const Place &place : model_) hidden += place.values.hidden.size();
    const auto check_count = [&](bool is_right) {
        if (is_right) return;
        throw Error(Fault::data,
                    fmt::format("{}: there are not {} of {} as {} has them; the file is cut off, or of another run",
                                file.source(), count_of(imputations_, "imputation"), count_of(hidden, "hidden cell"),
                                kOriginalName));
    };
    std::vector<std::size_t> next(model_.size());
    for (std::size_t k = 0; k < imputations_; ++k) {
        next.assign(model_.size(), 0);
        for (std::size_t row = 0; row < row_count_; ++row) {
            for (std::size_t i = 0; i < model_.size(); ++i) {
                CompletedColumn &column = model_[i].values;
                if (next[i] == column.hidden.size() || column.hidden[next[i]] != static_cast<std::int32_t>(row)) {
                    continue;
                }
                check_count(next_drawn(file));
                if (file.number(0) != static_cast<double>(row + 1) || file.cell(1) != column.name ||
                    file.number(2) != static_cast<double>(k + 1)) {
                    throw file.broken(fmt::format("expected row {}, column {}, imputation {}, and there is {}, {}, {}",
                                                  row + 1, quote(column.name), k + 1, quote(file.cell(0)),
                                                  quote(file.cell(1)), quote(file.cell(2))));
                }
                model_[i].imputed.push_back(value(file, model_[i], 3));
                ++next[i];
            }
        }
        put_cells(k);
    }
    check_count(!next_drawn(file));
}

CompletedTables TableBuilder::from_cells(const std::string &directory) {
    const ResultRows original(directory, record_, kOriginalName, record_.separator);
    original.need_rows(static_cast<double>(row_count_));
    take_header(*original, original->names().size());
    take_first_table(*original, FirstTable::original);
    check_end(*original, 1, original->next(), row_count_);
    const ResultRows cells(directory, record_, kCellsName, record_.separator);
    for (Place &place : model_) {
        cells.need_rows(static_cast<double>(place.values.hidden.size()) * static_cast<double>(imputations_));
    }
    make_room_for_cells();
    take_cells(*cells);
    return finish(cells->source(), true);
}

/** A file of its own, of an imputation behind the first: what is not as in the first was imputed. */
void TableBuilder::compare_with_first(CsvRows &file) {
    for (std::size_t row = 0; row < row_count_; ++row) {
        check_end(file, 1, file.next(), row);
        for (Place &place : model_) {
            if (value(file, place) != place.values.original[row]) place.differs[row] = true;
        }
    }
    check_end(file, 1, file.next(), row_count_);
}

void TableBuilder::hide_what_differs() {
    for (Place &place : model_) {
        for (std::size_t row = 0; row < row_count_; ++row) {
            if (!place.differs[row]) continue;
            place.values.hidden.push_back(static_cast<std::int32_t>(row));
            place.values.original[row] = kNaN;
        }
        place.differs = {};
    }
}

/** The hidden cells of a file of its own. */
void TableBuilder::take_own_file(CsvRows &file) {
    for (std::size_t row = 0; row < row_count_; ++row) {
        check_end(file, 1, file.next(), row);
        for (Place &place : model_) {
            if (std::isnan(place.values.original[row])) place.imputed.push_back(value(file, place));
        }
    }
}

CompletedTables TableBuilder::from_files(const std::string &directory) {
    std::vector<std::string> header;
    const auto open = [&](std::size_t k) {
        return ResultRows(directory, record_, imputation_name(k + 1, imputations_), record_.separator);
    };
    for (std::size_t k = 0; k < imputations_; ++k) {
        const ResultRows file = open(k);
        if (k == 0) {
            header = file->names();
            file.need_rows(static_cast<double>(row_count_));
            take_header(*file, header.size());
            take_first_table(*file, FirstTable::completed);
            check_end(*file, 1, file->next(), row_count_);
            for (Place &place : model_) place.differs.assign(row_count_, false);
        } else if (file->names() != header) {
            throw Error(Fault::data, file->source() + ": the columns are not those of the first imputation");
        } else {
            compare_with_first(*file);
        }
    }
    hide_what_differs();
    make_room_for_cells();
    for (std::size_t k = 0; k < imputations_; ++k) {
        const ResultRows file = open(k);
        take_own_file(*file);
        put_cells(k);
    }
    return finish(path_in(directory, "imputation_*.csv"), false);
}

/** Put the columns in the order of the file, when all rows are read.
 * @param tells_hidden  whether the files themselves say which cells were hidden */
CompletedTables TableBuilder::finish(std::string source, bool tells_hidden) {
    CompletedTables result;
    result.source = std::move(source);
    result.rows = row_count_;
    result.imputations = imputations_;
    for (const RunLevel &level : record_.levels) result.levels.push_back(level.name);
    result.level_of_row = std::move(level_of_row_);
    for (std::size_t i = 0; i < model_.size(); ++i) {
        const RunColumn &column = record_.columns[i];
        CompletedColumn &values = model_[i].values;
        values.hidden.shrink_to_fit();
        values.imputed = ImputedCells(drawn_, i);
        if (!tells_hidden && imputations_ == 1) continue;
        // Of separate files, a cell whose draws are all the same is not known to be hidden, and steps and words repeat.
        const auto hidden = static_cast<std::int64_t>(values.hidden.size());
        const bool may_repeat = !tells_hidden && column.kind != ColumnKind::number;
        if (may_repeat ? hidden <= column.missing + column.bounded : hidden == column.missing + column.bounded)
            continue;
        throw Error(Fault::data, fmt::format("{}: {} of column {} were imputed, and {} by run.json: these files are "
                                             "not of one run",
                                             result.source, count_of(values.hidden.size(), "cell"), quote(column.name),
                                             column.missing + column.bounded));
    }
    for (CarriedPlace &place : carried_) {
        CompletedColumn column;
        column.name = place.name;
        if (place.values.finish(column)) {
            model_.push_back({place.column, std::move(column)});
        } else {
            result.other_columns.push_back(place.name);
        }
    }
    result.model.resize(record_.columns.size());
    std::vector<Place *> places;
    for (Place &place : model_) places.push_back(&place);
    std::sort(places.begin(), places.end(), [](const Place *a, const Place *b) { return a->column < b->column; });
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (places[i]->in_model) result.model[*places[i]->in_model] = i;
        result.columns.push_back(std::move(places[i]->values));
    }
    return result;
}

}  // namespace

std::vector<std::vector<double>> &ImputedCells::held() {
    for (std::size_t k = 0; k < drawn_.size(); ++k) held_.push_back(drawn_.of_column(k, column_));
    drawn_ = {};
    return held_;
}

std::span<const double> ImputedCells::operator[](std::size_t imputation) const {
    if (drawn_.size() == 0) return held_[imputation];
    if (last_ != imputation) {
        last_.reset();
        read_ = drawn_.of_column(imputation, column_);
        last_ = imputation;
    }
    return read_;
}

void CompletedColumn::copy_rows(std::size_t imputation, std::span<const std::int32_t> some_rows, double *out,
                                std::size_t step) const {
    if (some_rows.empty()) return;
    auto next = std::lower_bound(hidden.begin(), hidden.end(), some_rows.front());
    const std::span<const double> values = imputed.size() > 0 ? imputed[imputation] : std::span<const double>();
    for (const std::int32_t row : some_rows) {
        while (next != hidden.end() && *next < row) ++next;
        *out = next != hidden.end() && *next == row ? values[static_cast<std::size_t>(next - hidden.begin())]
                                                    : original[static_cast<std::size_t>(row)];
        out += step;
    }
}

const CompletedColumn &CompletedTables::column(std::string_view name) const {
    for (const CompletedColumn &column : columns) {
        if (column.name == name) return column;
    }
    if (std::find(other_columns.begin(), other_columns.end(), name) != other_columns.end()) {
        throw Error(Fault::usage,
                    fmt::format("column {} of {} does not hold numbers, and not 1 to {} different words either",
                                quote(name), source, kMostCarriedWords));
    }
    std::vector<std::string_view> names;
    for (const CompletedColumn &column : columns) names.push_back(column.name);
    throw Error(Fault::usage,
                fmt::format("{} has no column {}; its columns are {}", source, quote(name), fmt::join(names, ", ")));
}

const CompletedColumn &CompletedTables::column_of_numbers(std::string_view name) const {
    const CompletedColumn &found = column(name);
    if (!found.holds_words()) return found;
    throw Error(Fault::usage, fmt::format("column {} of {} holds words, and numbers are needed", quote(name), source));
}

std::vector<std::int32_t> CompletedTables::rows_of_level(std::size_t level) const {
    std::vector<std::int32_t> chosen;
    for (std::size_t row = 0; row < rows; ++row) {
        if (level_of_row[row] == static_cast<std::int32_t>(level)) chosen.push_back(static_cast<std::int32_t>(row));
    }
    return chosen;
}

CompletedTables read_completed_tables(const std::string &directory, const RunRecord &record) {
    TableBuilder builder(record);
    if (record.file(kCellsName) != nullptr) return builder.from_cells(directory);
    if (record.file(kLongTableName) == nullptr) return builder.from_files(directory);
    const ResultRows file(directory, record, kLongTableName, record.separator);
    file.need_rows(static_cast<double>(record.rows) * (record.imputations + 1.0));
    return builder.from_long(*file);
}

}  // namespace ullage::host
