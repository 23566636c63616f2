// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Formatting blocks of rows side by side and writing them in their order.

#include "ullage/host/table/write_columns.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <future>
#include <memory>
#include <thread>

#include "ullage/host/base/csv_quoting.h"
#include "ullage/host/base/error.h"

namespace ullage::host {
namespace {

constexpr std::size_t kBlockRows = 1U << 14U;
constexpr std::size_t kMostThreads = 8;
constexpr std::size_t kMostDigits = 32;  // of a double or an int64 at its shortest

template <typename Number>
void append(std::string &text, Number value) {
    char digits[kMostDigits];
    text.append(digits, std::to_chars(digits, digits + kMostDigits, value).ptr);
}

/** "<2", ">1" or "1..2"; equal ends are a value. */
void append_bounds(std::string &text, double lower, double upper) {
    const bool has_lower = !std::isnan(lower) && lower != -HUGE_VAL;
    const bool has_upper = !std::isnan(upper) && upper != HUGE_VAL;
    if (has_lower && has_upper && lower == upper) return append(text, lower);
    if (has_lower && !has_upper) text += '>';
    if (has_upper && !has_lower) text += '<';
    if (has_lower) append(text, lower);
    if (has_lower && has_upper) text += "..";
    if (has_upper) append(text, upper);
}

/** Put commas for the points of the cell behind a place, and quotes around it. */
void write_with_commas(std::string &text, std::size_t begin) {
    for (std::size_t at = begin; at < text.size(); ++at) {
        if (text[at] != '.') continue;
        if (at + 1 < text.size() && text[at + 1] == '.')
            ++at;  // between two bounds
        else
            text[at] = ',';
    }
    text.insert(begin, 1, '"') += '"';
}

struct AppendCell {
    std::string &text;
    std::size_t row;

    void operator()(const Numbers &numbers) const {
        if (!std::isnan(numbers.values[row])) return append(text, numbers.values[row]);
        append_bounds(text, numbers.lower.empty() ? NAN : numbers.lower[row],
                      numbers.upper.empty() ? NAN : numbers.upper[row]);
    }
    void operator()(const WholeNumbers &numbers) const { append(text, numbers[row]); }
    void operator()(const Words &words) const {
        if (words.places[row] >= 0) text += words.words[static_cast<std::size_t>(words.places[row])];
    }
};

std::string block_text(const std::vector<Cells> &columns, std::size_t begin, std::size_t end, char decimal) {
    std::string text;
    text.reserve((end - begin) * columns.size() * 12);
    for (std::size_t row = begin; row < end; ++row) {
        const std::size_t line = text.size();
        for (const Cells &cells : columns) {
            const std::size_t cell = text.size();
            std::visit(AppendCell{text, row}, cells);
            if (decimal == ',' && std::holds_alternative<Numbers>(cells)) write_with_commas(text, cell);
            text += ',';
        }
        text.pop_back();
        if (text.size() == line) text += "\"\"";  // a blank line would be skipped
        text += '\n';
    }
    return text;
}

std::string header(const std::vector<std::string> &names) {
    std::string text;
    for (const std::string &name : names) text += quote_cell(name, ",;\t|") + ',';
    text.back() = '\n';
    return text;
}

}  // namespace

void write_columns(const std::string &path, const std::vector<std::string> &names, const std::vector<Cells> &columns,
                   std::size_t rows, char decimal) {
    const auto fail = [&] { throw Error(Fault::cannot_create, path + " cannot be written"); };
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> file(std::fopen(path.c_str(), "wb"), &std::fclose);
    if (!file) fail();
    const auto write = [&](const std::string &text) {
        if (std::fwrite(text.data(), 1, text.size(), file.get()) != text.size()) fail();
    };
    write(header(names));
    const std::size_t threads = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, kMostThreads);
    for (std::size_t first = 0; first < rows; first += threads * kBlockRows) {
        std::vector<std::future<std::string>> blocks;
        for (std::size_t begin = first; begin < std::min(rows, first + threads * kBlockRows); begin += kBlockRows) {
            blocks.push_back(std::async(rows > kBlockRows ? std::launch::async : std::launch::deferred, [&, begin] {
                return block_text(columns, begin, std::min(rows, begin + kBlockRows), decimal);
            }));
        }
        for (auto &block : blocks) write(block.get());
    }
    if (std::fflush(file.get()) != 0) fail();
}

}  // namespace ullage::host
