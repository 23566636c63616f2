// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// From the bytes of a CSV file to the places of its cells, by libcsv.

#include "ullage/host/table/csv_text.h"

#include <csv.h>
#include <fmt/format.h>
#include <utf8.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <set>

#include "ullage/host/base/checksum.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/problems.h"
#include "ullage/host/base/words.h"
#include "ullage/host/table/read_cell.h"

namespace ullage::host {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/** Do the work for pieces of some bytes, none of which ends within a character, until it is done or a signal comes. */
template <typename Work>
void for_pieces(std::string_view bytes, const Work &work) {
    constexpr std::size_t piece = std::size_t{1} << 20;
    for (std::size_t begin = 0; begin < bytes.size();) {
        check_interrupt();
        std::size_t end = std::min(begin + piece, bytes.size());
        while (end < bytes.size() && (static_cast<unsigned char>(bytes[end]) & 0xC0) == 0x80) ++end;
        work(begin, bytes.substr(begin, end - begin));
        begin = end;
    }
}

/** The line of a byte, from 1. */
std::int64_t line_of(std::string_view bytes, std::size_t place) {
    return 1 + std::count(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(place), '\n');
}

void check_encoding(const std::string &source, const std::string &bytes) {
    if (bytes.empty()) throw_problem(source, {.message = "the file is empty"});
    if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) {
        throw_problem(source, {.message = "this is UTF-16 text; save it as UTF-8"});
    }
    for_pieces(bytes, [&](std::size_t begin, std::string_view piece) {
        const auto invalid = utf8::find_invalid(piece.begin(), piece.end());
        if (invalid != piece.end()) {
            const std::size_t place = begin + static_cast<std::size_t>(invalid - piece.begin());
            throw_problem(source, {.line = line_of(bytes, place),
                                   .message = fmt::format("byte 0x{:02X} is no UTF-8; save the file as UTF-8",
                                                          static_cast<unsigned char>(bytes[place]))});
        }
        const std::size_t nul = piece.find('\0');
        if (nul != std::string_view::npos) {
            throw_problem(source,
                          {.line = line_of(bytes, begin + nul), .message = "a zero byte: this is no text file"});
        }
    });
}

char find_separator(std::string_view bytes) {
    constexpr std::string_view candidates = ",;\t|";
    std::size_t counts[candidates.size()] = {};
    bool quoted = false;
    for (const char c : bytes) {
        if (c == '"') quoted = !quoted;
        if (quoted) continue;
        if (c == '\n' || c == '\r') break;
        const std::size_t which = candidates.find(c);
        if (which != std::string_view::npos) ++counts[which];
    }
    return candidates[static_cast<std::size_t>(std::max_element(std::begin(counts), std::end(counts)) - counts)];
}

/**
 * Follows libcsv through the bytes. The parser tells the lengths of cells and the ends of rows, in order; with blanks
 * kept and quotes checked strictly, these give the place of every cell. Nothing here throws into the parser: the
 * vectors have their room beforehand.
 */
struct Walk {
    struct RaggedRow {
        std::int64_t line;
        std::size_t cell_count;
    };

    FileText &file;
    std::size_t place;         // the byte behind the last cell or separator
    std::int64_t line = 1;     // the line of that byte
    std::size_t cells = 0;     // cells of the present row so far
    std::size_t width = 0;     // cells of the header; 0 before its end
    std::size_t row_line = 1;  // the line on which the present row begins
    std::vector<std::size_t> header;
    std::vector<RaggedRow> ragged;
    std::size_t ragged_count = 0;

    void skip_line_ends() {
        const std::string &bytes = file.bytes;
        for (; place < bytes.size() && (bytes[place] == '\n' || bytes[place] == '\r'); ++place) {
            if (bytes[place] == '\n' || place + 1 == bytes.size() || bytes[place + 1] != '\n') ++line;
        }
    }

    void cell(std::size_t length) {
        const std::string &bytes = file.bytes;
        if (cells == 0) {
            skip_line_ends();
            row_line = static_cast<std::size_t>(line);
        }
        (width == 0 ? header : file.begin).push_back(place);
        ++cells;
        if (place < bytes.size() && bytes[place] == '"') {
            std::size_t left = length;
            for (++place; left > 0; --left, ++place) {
                if (bytes[place] == '"') ++place;
                if (bytes[place] == '\n') ++line;
            }
            ++place;
        } else {
            place += length;
        }
        ++place;
    }

    void row_end() {
        std::vector<std::size_t> &begin = width == 0 ? header : file.begin;
        begin.push_back(place);
        --place;
        if (width == 0) {
            width = cells;
        } else if (cells == width) {
            file.line.push_back(static_cast<std::uint32_t>(row_line));
        } else {
            begin.resize(begin.size() - cells - 1);
            if (ragged.size() < DataError::kMostProblems)
                ragged.push_back({static_cast<std::int64_t>(row_line), cells});
            ++ragged_count;
        }
        cells = 0;
    }
};

void run_parser(Walk &walk) {
    FileText &file = walk.file;
    csv_parser parser;
    if (csv_init(&parser, CSV_STRICT | CSV_STRICT_FINI) != 0) throw Error(Fault::internal, "libcsv cannot be started");
    const std::unique_ptr<csv_parser, void (*)(csv_parser *)> release(&parser, csv_free);
    csv_set_delim(&parser, static_cast<unsigned char>(file.separator));
    csv_set_space_func(&parser, [](unsigned char) { return 0; });
    const auto on_cell = [](void *, std::size_t length, void *data) { static_cast<Walk *>(data)->cell(length); };
    const auto on_row = [](int, void *data) { static_cast<Walk *>(data)->row_end(); };

    const std::size_t start = walk.place;
    for_pieces(std::string_view(file.bytes).substr(start), [&](std::size_t begin, std::string_view piece) {
        const std::size_t done = csv_parse(&parser, piece.data(), piece.size(), on_cell, on_row, &walk);
        if (done == piece.size()) return;
        if (csv_error(&parser) != CSV_EPARSE) throw std::bad_alloc();
        throw_problem(file.source, {.line = line_of(file.bytes, start + begin + done),
                                    .message = "a quote within a cell; put the whole cell between double quotes and "
                                               "write the quote itself twice"});
    });
    if (csv_fini(&parser, on_cell, on_row, &walk) != 0) {
        if (walk.cells == 0) walk.skip_line_ends();
        throw_problem(file.source, {.line = walk.line, .message = "a quote that opens here or below is never closed"});
    }
}

void take_header(FileText &file, const std::vector<std::size_t> &places, std::int64_t line) {
    std::set<std::string> seen;
    bool all_numbers = true;
    Problems problems;
    FileText head;  // the header as if it were a row, for its raw() and text()
    head.bytes = file.bytes.substr(0, std::min(places.back(), file.bytes.size()));
    head.begin = places;
    head.names.resize(places.size() - 1);
    for (std::size_t c = 0; c + 1 < places.size(); ++c) {
        file.raw_names.emplace_back(head.raw(0, c));
        file.names.emplace_back(trim(head.text(0, c)));
        const std::string &name = file.names.back();
        if (!name.empty() && !parse_number(name)) all_numbers = false;
        if (!name.empty() && !seen.insert(name).second) {
            problems.add(
                {.line = line, .columns = {name}, .message = "this name stands twice in the header; rename one"});
        }
    }
    if (all_numbers) {
        problems.add({.line = line, .message = "the first line must hold the names of the columns, and here are none"});
    }
    problems.throw_if_any(file.source);
}

}  // namespace

FileText find_cells(InputText input) {
    FileText file;
    file.source = std::move(input.source);
    file.bytes = std::move(input.bytes);
    check_encoding(file.source, file.bytes);
    file.sha256 = sha256(file.bytes);
    const std::size_t start = file.bytes.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    file.separator =
        input.separator != 0 ? input.separator : find_separator(std::string_view(file.bytes).substr(start));

    std::size_t separators = 0;
    std::size_t line_ends = 1;
    for_pieces(file.bytes, [&](std::size_t, std::string_view piece) {
        separators += static_cast<std::size_t>(std::ranges::count(piece, file.separator));
        line_ends += static_cast<std::size_t>(std::ranges::count(piece, '\n') + std::ranges::count(piece, '\r'));
    });
    if (line_ends > std::numeric_limits<std::int32_t>::max()) {
        throw_problem(file.source, {.message = "more than 2,147,483,646 lines"});
    }
    Walk walk{.file = file, .place = start, .header = {}, .ragged = {}};
    file.begin.reserve(separators + 2 * line_ends);
    file.line.reserve(line_ends);
    walk.header.reserve(separators + 2);
    walk.ragged.reserve(DataError::kMostProblems);
    run_parser(walk);

    if (walk.width == 0) throw_problem(file.source, {.message = "the file is empty"});
    take_header(file, walk.header, input.has_lines ? 1 : 0);
    if (walk.ragged_count > 0) {
        Problems problems;
        for (const Walk::RaggedRow &row : walk.ragged) {
            problems.add({.line = row.line,
                          .message = fmt::format("{}, and the header has {} (separator {}); a cell that holds the "
                                                 "separator must stand between double quotes",
                                                 count_of(row.cell_count, "cell"), walk.width,
                                                 file.separator == '\t' ? "TAB" : quote({&file.separator, 1}))});
        }
        throw DataError(file.source, problems.list, walk.ragged_count);
    }
    if (file.line.empty()) throw_problem(file.source, {.message = "there is no row below the header"});
    file.begin.shrink_to_fit();
    file.line.shrink_to_fit();
    if (!input.has_lines) std::ranges::fill(file.line, 0);
    return file;
}

}  // namespace ullage::host
