// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The table of the host library: columns of numbers with observed, missing and bounded cells, and the file's own text.

#ifndef ULLAGE_HOST_TABLE_TABLE_H
#define ULLAGE_HOST_TABLE_TABLE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ullage::host {

/**
 * WHAT HOLDS FOR ALL OF THIS
 *
 * Rows and columns are counted from 0 here and from 1 in messages. A "column" without more words is a column of
 * the model, an index into Table::columns; a "file column" is an index into FileText::names.
 *
 * Everything is in the units of the file. The model's units (transformed, centred, scaled) appear in scale.h only.
 */

/** What the data say of a cell. Missing and bounded cells are the hidden ones: they are imputed. */
enum class CellState : std::uint8_t { observed, missing, bounded };

/** What is done to the values of a column before the normal model sees them; logit is log(x / (1 - x)). */
enum class Transformation : std::uint8_t { none, log, sqrt, logit };

/** What the values of a column are, and so how they enter the model. */
enum class ColumnKind : std::uint8_t {
    number,   ///< continuous
    stepped,  ///< multiples of a step: counts, ages in whole years, heaped values
    binary,   ///< one of two words
    ordered,  ///< one of three or more words in an order
    nominal,  ///< one of three or more words without an order
};
inline constexpr std::array<const char *, 5> kColumnKindNames = {"number", "stepped", "binary", "ordered", "nominal"};
/** "number" */
[[nodiscard]] constexpr const char *name_of(ColumnKind kind) {
    return kColumnKindNames[static_cast<std::size_t>(kind)];
}

/** An open end of an interval. */
inline constexpr double kOpen = std::numeric_limits<double>::infinity();

/**
 * The file as it came, but that its decimal commas may have become points: its bytes, and where each cell begins.
 *
 * Cell (row, file column) lies from begin[row * (n + 1) + c] up to, and not including, begin[row * (n + 1) + c + 1] -
 * 1, with n the number of file columns: one byte, a separator or a line end, stands between two cells.
 */
struct FileText {
    std::string source;                  ///< name of the file, for messages
    std::string bytes;                   ///< the file
    std::string sha256;                  ///< of the file as it came
    char separator = ',';                ///< between cells
    std::vector<std::string> names;      ///< the header, quotes taken off; a column without a name has an empty one
    std::vector<std::string> raw_names;  ///< the header, byte for byte
    std::vector<std::size_t> begin;      ///< row_count * (names.size() + 1) places in bytes
    std::vector<std::uint32_t> line;     ///< line of the file on which each row begins, from 1; 0 if it has no lines

    [[nodiscard]] std::size_t row_count() const { return line.size(); }
    /** "line 13", or "row 12" if the file has no lines. */
    [[nodiscard]] std::string place_of(std::size_t row) const;
    /** The cell byte for byte, with the quotes that it has in the file. */
    [[nodiscard]] std::string_view raw(std::size_t row, std::size_t file_column) const {
        const std::size_t *place = begin.data() + row * (names.size() + 1) + file_column;
        return std::string_view(bytes).substr(place[0], place[1] - 1 - place[0]);
    }
    /** The cell with its quotes taken off. */
    [[nodiscard]] std::string text(std::size_t row, std::size_t file_column) const;
    /** The cell with its quotes and the blanks around it taken off; buffer holds it if it had quotes. */
    [[nodiscard]] std::string_view trimmed(std::size_t row, std::size_t file_column, std::string &buffer) const;
};

/**
 * A column of the model.
 *
 * One that holds words has in their stead the places of its words, from 0: in values, and in bounds, whose limits lie
 * half-way between two places.
 */
struct Column {
    std::string name;
    ColumnKind kind = ColumnKind::number;
    std::string kind_reason = {};         ///< why it is of that kind, for the user: "two words", "--nominal"
    double step = 0.0;                    ///< of a stepped column: the values are multiples of it
    std::vector<std::string> words = {};  ///< of a binary, ordered or nominal column; empty otherwise
    std::ptrdiff_t file_column = -1;      ///< where its cells stand; for a pair of limits the column of the lower ones
    std::ptrdiff_t upper_file_column = -1;  ///< for a pair of limits the column of the upper ones, otherwise -1
    Transformation transformation = Transformation::none;
    double lower = -kOpen;          ///< every cell of the column lies above it, or equals it if observed
    double upper = kOpen;           ///< every cell of the column lies below it, likewise
    std::vector<double> values;     ///< one per row; NaN where the cell is hidden
    std::vector<CellState> states;  ///< one per row

    [[nodiscard]] bool holds_words() const { return !words.empty(); }
};

/** One bound that a cell states in the file: the cell is below (is_upper) or above a number or another cell of its row.
 */
struct Bound {
    std::int32_t column;  ///< the cell's column
    std::int32_t other;   ///< the other cell's column, or -1 for a number
    double limit;         ///< the number, if it is one
    bool is_upper;
    bool or_equal = false;  ///< the cell may also equal it, which is the same for all but stepped columns
};

/** The rule first < second for the cells of every row; with or_equal two observed cells may also be equal. */
struct OrderRule {
    std::int32_t first;
    std::int32_t second;
    bool or_equal = false;
};

/** One column of the output. */
struct OutputColumn {
    std::ptrdiff_t file_column;  ///< carried along byte for byte, or -1
    std::ptrdiff_t column;       ///< a column of the model, or -1
    std::string reason = {};     ///< of a carried one, why it is not in the model, for the user: "--id", "dates"
    std::size_t blank = 0;       ///< of a carried one, its missing cells, which stay so
    bool is_found = false;       ///< of a carried one, whether its cells decided it, and no option or other column
    bool is_doubtful = false;    ///< of a carried one, whether it may belong into the model
};

/** A table, with the rules for its columns and rows. */
struct Table {
    FileText file;
    std::vector<Column> columns;       ///< the columns of the model, in the order of the file
    std::vector<OutputColumn> output;  ///< all columns, in the order of the file; a pair of limits comes last itself
    std::vector<Bound> bounds;         ///< the bounds that cells state, row by row
    std::vector<std::size_t> bound_begin;       ///< row_count + 1 places in bounds
    std::vector<OrderRule> order;               ///< rules for every row
    std::optional<std::size_t> id_file_column;  ///< the column whose text names the rows; without it their numbers do
    std::vector<std::string> levels;  ///< levels of the "by" column, in order of appearance; one level "" without
    std::vector<std::int32_t> level_of_row;  ///< one per row, an index into levels

    [[nodiscard]] std::size_t row_count() const { return file.row_count(); }
    [[nodiscard]] bool is_hidden(std::size_t row, std::size_t column) const {
        return columns[column].states[row] != CellState::observed;
    }
    /** The cell of a column as it is written; for a pair of limits both, as "lower .. upper". */
    [[nodiscard]] std::string cell_text(std::size_t row, std::size_t column) const;
    /** The cell in words for a message: line 13 (row 12), column "lead", "<0.5". */
    [[nodiscard]] std::string describe_cell(std::size_t row, std::size_t column) const;
    /** The row in words for a message: line 13 (row 12). */
    [[nodiscard]] std::string describe_row(std::size_t row) const;
    /** The column of that name, or nothing. */
    [[nodiscard]] std::optional<std::size_t> find_column(std::string_view name) const;
};

/** A hidden cell with the closed bounds: every number that follows from its row's data and rules. */
struct HiddenCell {
    std::int32_t row;
    std::int32_t column;
    double lower;                   ///< it lies above this; -kOpen if nothing is known
    double upper;                   ///< it lies below this; kOpen if nothing is known
    std::uint32_t reference_begin;  ///< its references in HiddenCells::references
    std::uint32_t reference_count;
};

/** A hidden cell lies below (is_upper) or above another hidden cell of its row. */
struct Reference {
    std::int32_t column;  ///< the other cell's column
    bool is_upper;
};

/**
 * All hidden cells, row by row and within a row by column.
 *
 * The bounds are closed: a reference stands for every pair of hidden cells of a row that is ordered directly or through
 * others, at both of its cells; and lower < upper holds for every cell, also behind the numbers of the cells that it is
 * ordered with. So however the hidden cells of a row are filled in one after the other, each strictly between its
 * bounds and the cells filled before it, the next one always has room.
 */
struct HiddenCells {
    std::vector<HiddenCell> cells;
    std::vector<Reference> references;
    std::vector<std::size_t> row_begin;  ///< row_count + 1 places in cells

    [[nodiscard]] std::span<const HiddenCell> of_row(std::size_t row) const {
        return std::span(cells).subspan(row_begin[row], row_begin[row + 1] - row_begin[row]);
    }
    [[nodiscard]] std::span<const Reference> references_of(const HiddenCell &cell) const {
        return std::span(references).subspan(cell.reference_begin, cell.reference_count);
    }
};

}  // namespace ullage::host

#endif
