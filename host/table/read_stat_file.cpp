// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Files of statistics packages as text, by ReadStat.

#include "ullage/host/table/read_stat_file.h"

#include <fmt/format.h>
#include <readstat.h>
#include <utf8.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <exception>
#include <memory>
#include <string_view>
#include <utility>

#include "ullage/host/base/csv_quoting.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/input_file.h"
#include "ullage/host/base/interrupt.h"

namespace ullage::host {
namespace {

using Parse = readstat_error_t (*)(readstat_parser_t *, const char *, void *);

constexpr std::array<std::pair<std::string_view, Parse>, 5> kReaders = {{{".sav", readstat_parse_sav},
                                                                         {".zsav", readstat_parse_sav},
                                                                         {".dta", readstat_parse_dta},
                                                                         {".xpt", readstat_parse_xport},
                                                                         {".sas7bdat", readstat_parse_sas7bdat}}};

constexpr char kSeparator = ',';

/** A file, the text that it becomes, and the exception that a callback must not let into the C library. */
struct Reading {
    const std::string &path;
    std::string bytes;
    std::size_t place = 0;  // in bytes, of the next read
    std::string text = {};
    int columns = 0;
    bool has_name = false;  // a variable
    std::exception_ptr failure = nullptr;
};

/** Do the work of a callback. */
template <typename Work>
int guarded(void *context, const Work &work) {
    Reading &reading = *static_cast<Reading *>(context);
    try {
        work(reading);
        return READSTAT_HANDLER_OK;
    } catch (...) {
        reading.failure = std::current_exception();
        return READSTAT_HANDLER_ABORT;
    }
}

template <typename Number>
void append_number(std::string &out, Number number) {
    std::array<char, 32> digits{};
    out.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
}

void append_text(Reading &reading, const char *text, const std::string &what) {
    if (text == nullptr) return;
    const std::string_view view(text);
    if (!utf8::is_valid(view.begin(), view.end())) {
        throw Error(Fault::data,
                    fmt::format("{}: the {} is not in the character set that the file claims; open the file in its "
                                "package and export it as CSV in UTF-8",
                                reading.path, what));
    }
    reading.text += quote_cell(view, kSeparator);
}

void append_value(Reading &reading, int row, readstat_value_t value, readstat_variable_t *variable) {
    if (readstat_value_is_missing(value, variable) != 0) return;
    switch (readstat_value_type(value)) {
        case READSTAT_TYPE_STRING:
        case READSTAT_TYPE_STRING_REF:
            append_text(
                reading, readstat_string_value(value),
                fmt::format("text of variable {} in row {}", readstat_variable_get_index(variable) + 1, row + 1));
            break;
        case READSTAT_TYPE_INT8:
        case READSTAT_TYPE_INT16:
        case READSTAT_TYPE_INT32:
            append_number(reading.text, readstat_int32_value(value));
            break;
        case READSTAT_TYPE_FLOAT:
            if (!std::isnan(readstat_float_value(value))) append_number(reading.text, readstat_float_value(value));
            break;
        case READSTAT_TYPE_DOUBLE:
            if (!std::isnan(readstat_double_value(value))) append_number(reading.text, readstat_double_value(value));
            break;
    }
}

int on_variable(int index, readstat_variable_t *variable, const char *, void *context) {
    return guarded(context, [&](Reading &reading) {
        check_interrupt();
        if (index > 0) reading.text += kSeparator;
        const std::size_t before = reading.text.size();
        append_text(reading, readstat_variable_get_name(variable), fmt::format("name of variable {}", index + 1));
        reading.has_name = reading.has_name || reading.text.size() > before;
        reading.columns = index + 1;
    });
}

int on_value(int row, readstat_variable_t *variable, readstat_value_t value, void *context) {
    return guarded(context, [&](Reading &reading) {
        const int index = readstat_variable_get_index(variable);
        if (index == 0) check_interrupt();
        reading.text += index == 0 ? '\n' : kSeparator;
        const std::size_t before = reading.text.size();
        append_value(reading, row, value, variable);
        // A blank line would be no row.
        if (reading.columns == 1 && reading.text.size() == before) reading.text += "\"\"";
    });
}

// The library reads from memory: what a file is and whether it can be read has been seen by then.

int open_bytes(const char *, void *) {
    return 0;
}

int close_bytes(void *) {
    return 0;
}

readstat_off_t seek_bytes(readstat_off_t offset, readstat_io_flags_t from, void *context) {
    Reading &reading = *static_cast<Reading *>(context);
    const auto size = static_cast<readstat_off_t>(reading.bytes.size());
    const readstat_off_t base = from == READSTAT_SEEK_SET   ? 0
                                : from == READSTAT_SEEK_CUR ? static_cast<readstat_off_t>(reading.place)
                                                            : size;
    if (offset < -base || offset > size - base) return -1;
    reading.place = static_cast<std::size_t>(base + offset);
    return base + offset;
}

ssize_t read_bytes(void *out, std::size_t size, void *context) {
    Reading &reading = *static_cast<Reading *>(context);
    if (interrupt_signal() != 0) return -1;
    const std::size_t count = std::min(size, reading.bytes.size() - reading.place);
    std::memcpy(out, reading.bytes.data() + reading.place, count);
    reading.place += count;
    return static_cast<ssize_t>(count);
}

readstat_error_t update_nothing(long, readstat_progress_handler, void *, void *) {
    return READSTAT_OK;
}

/** What a failure of the library says of the file. */
std::string_view explain(readstat_error_t error) {
    switch (error) {
        case READSTAT_ERROR_READ:
        case READSTAT_ERROR_SEEK:
        case READSTAT_ERROR_ROW_COUNT_MISMATCH:
        case READSTAT_ERROR_COLUMN_COUNT_MISMATCH:
        case READSTAT_ERROR_ROW_WIDTH_MISMATCH:
            return "the file is shorter or longer than it claims to be: it was cut off or is damaged";
        case READSTAT_ERROR_MALLOC:
            return "the file claims to be larger than the memory of this machine: it is damaged, or too large";
        case READSTAT_ERROR_UNSUPPORTED_FILE_FORMAT_VERSION:
            return "this version of the format is not known, or the file is damaged";
        case READSTAT_ERROR_UNSUPPORTED_COMPRESSION:
            return "the file is compressed in a way that is not known, or damaged";
        case READSTAT_ERROR_UNSUPPORTED_CHARSET:
        case READSTAT_ERROR_CONVERT:
        case READSTAT_ERROR_CONVERT_BAD_STRING:
        case READSTAT_ERROR_CONVERT_SHORT_STRING:
        case READSTAT_ERROR_CONVERT_LONG_STRING:
            return "a text is not in the character set that the file claims, or that is not known";
        default:
            return "the file is damaged, or not of the kind that its name says";
    }
}

}  // namespace

InputText read_input(const std::string &path) {
    const std::string source = path == "-" ? "standard input" : path;
    const auto reader =
        std::find_if(kReaders.begin(), kReaders.end(), [&](const auto &known) { return path.ends_with(known.first); });
    if (reader == kReaders.end()) return {source, read_file(path)};
    const std::unique_ptr<readstat_parser_t, void (*)(readstat_parser_t *)> parser(readstat_parser_init(),
                                                                                   readstat_parser_free);
    if (!parser) throw std::bad_alloc();
    readstat_set_variable_handler(parser.get(), on_variable);
    readstat_set_value_handler(parser.get(), on_value);
    readstat_set_open_handler(parser.get(), open_bytes);
    readstat_set_close_handler(parser.get(), close_bytes);
    readstat_set_seek_handler(parser.get(), seek_bytes);
    readstat_set_read_handler(parser.get(), read_bytes);
    readstat_set_update_handler(parser.get(), update_nothing);
    Reading reading{path, read_file(path)};
    readstat_set_io_ctx(parser.get(), &reading);
    const readstat_error_t error = reader->second(parser.get(), path.c_str(), &reading);
    if (reading.failure) std::rethrow_exception(reading.failure);
    check_interrupt();
    if (error != READSTAT_OK) {
        throw Error(Fault::data,
                    fmt::format("{}: {}; if its package still opens it, export it as CSV", path, explain(error)));
    }
    if (!reading.has_name) throw Error(Fault::data, fmt::format("{}: the file holds no variable with a name", path));
    reading.text += '\n';
    return {source, std::move(reading.text), kSeparator, false};
}

}  // namespace ullage::host
