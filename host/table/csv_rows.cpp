// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The rows of a CSV file, part by part, by libcsv.

#include "ullage/host/table/csv_rows.h"

#include <csv.h>
#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <utility>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"

namespace ullage::host {
namespace {

constexpr std::size_t kPart = std::size_t{1} << 18;

void free_parser(csv_parser *parser) {
    csv_free(parser);
    delete parser;
}

}  // namespace

CsvRows::CsvRows(std::string source, Read read, char separator)
    : source_(std::move(source)), read_(std::move(read)), parser_(nullptr, free_parser), bytes_(kPart) {
    auto parser = std::make_unique<csv_parser>();
    if (csv_init(parser.get(), CSV_STRICT | CSV_STRICT_FINI) != 0) {
        throw Error(Fault::internal, "libcsv cannot be started");
    }
    parser_.reset(parser.release());
    csv_set_delim(parser_.get(), static_cast<unsigned char>(separator));
    csv_set_space_func(parser_.get(), [](unsigned char) { return 0; });
    rows_.push_back({0, 1});
    while (rows_.size() == 1 && !at_end_) fill();
    if (rows_.size() == 1) throw Error(Fault::data, source_ + ": the file is empty");
    for (std::size_t c = 0; c < rows_[1].first_cell; ++c) names_.emplace_back(trim(cell(c)));
}

CsvRows::~CsvRows() = default;

std::size_t CsvRows::place_of(std::string_view name, std::string_view why) const {
    const auto found = std::find(names_.begin(), names_.end(), name);
    if (found == names_.end()) {
        throw Error(Fault::data, fmt::format("{}: there is no column {}, {}", source_, quote(name), why));
    }
    return static_cast<std::size_t>(found - names_.begin());
}

bool CsvRows::next() {
    ++row_;
    while (row_ + 1 == rows_.size()) {
        if (at_end_) return false;
        fill();
    }
    const std::size_t cells = rows_[row_ + 1].first_cell - rows_[row_].first_cell;
    if (cells == names_.size()) return true;
    throw broken(fmt::format("{}, and the header has {}", count_of(cells, "cell"), names_.size()));
}

double CsvRows::number(std::size_t column) const {
    const auto number = parse_number(cell(column));
    if (!number) throw broken(fmt::format("column {}: {} is no number", quote(names_[column]), quote(cell(column))));
    return *number;
}

Error CsvRows::broken(std::string_view message) const {
    return {Fault::data, fmt::format("{}: line {}: {}", source_, rows_[row_].line, message)};
}

/** Let go of the rows that were read, and read the next part of the file. */
void CsvRows::fill() {
    check_interrupt();
    if (row_ > 0) keep_unfinished_row();
    const std::size_t size = read_(bytes_.data(), bytes_.size());
    at_end_ = size == 0;
    parse(size);
}

void CsvRows::keep_unfinished_row() {
    const Row last = rows_.back();
    const std::size_t begin = last.first_cell == 0 ? 0 : ends_[last.first_cell - 1];
    text_.erase(0, begin);
    ends_.erase(ends_.begin(), ends_.begin() + static_cast<std::ptrdiff_t>(last.first_cell));
    for (std::size_t &end : ends_) end -= begin;
    rows_.assign(1, {0, last.line});
    row_ = 0;
}

void CsvRows::parse(std::size_t size) {
    // Nothing may be thrown through the parser, which is C.
    const auto on_cell = [](void *cell, std::size_t length, void *data) {
        auto &rows = *static_cast<CsvRows *>(data);
        try {
            rows.text_.append(static_cast<const char *>(cell), length);
            rows.ends_.push_back(rows.text_.size());
        } catch (const std::bad_alloc &) {
            rows.out_of_memory_ = true;
        }
    };
    const auto on_row = [](int, void *data) {
        auto &rows = *static_cast<CsvRows *>(data);
        const Row &row = rows.rows_.back();
        const std::size_t begin = row.first_cell == 0 ? 0 : rows.ends_[row.first_cell - 1];
        const auto lines = std::count(rows.text_.begin() + static_cast<std::ptrdiff_t>(begin), rows.text_.end(), '\n');
        try {
            rows.rows_.push_back({rows.ends_.size(), row.line + 1 + lines});
        } catch (const std::bad_alloc &) {
            rows.out_of_memory_ = true;
        }
    };
    const bool parsed = size > 0 ? csv_parse(parser_.get(), bytes_.data(), size, on_cell, on_row, this) == size
                                 : csv_fini(parser_.get(), on_cell, on_row, this) == 0;
    if (out_of_memory_ || (!parsed && csv_error(parser_.get()) == CSV_ENOMEM)) throw std::bad_alloc();
    if (!parsed) {
        throw Error(Fault::data, fmt::format("{}: a quote that stands or is missing in the row of line {}", source_,
                                             rows_.back().line));
    }
}

}  // namespace ullage::host
