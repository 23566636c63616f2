// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Files of statistics packages as text, by ReadStat.

#include "ullage/host/table/read_stat_file.h"

#include <fmt/format.h>
#include <readstat.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <exception>
#include <limits>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include "ullage/host/base/csv_quoting.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/input_file.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/words.h"
#include "ullage/host/table/read_cell.h"

namespace ullage::host {
namespace {

using Parse = readstat_error_t (*)(readstat_parser_t *, const char *, void *);

constexpr std::array<std::pair<std::string_view, Parse>, 5> kReaders = {{{".sav", readstat_parse_sav},
                                                                         {".zsav", readstat_parse_sav},
                                                                         {".dta", readstat_parse_dta},
                                                                         {".xpt", readstat_parse_xport},
                                                                         {".sas7bdat", readstat_parse_sas7bdat}}};

/** Whatever separates cells: the text is read without being told which it is. */
constexpr std::string_view kSeparators = ",;|\t";

/** The text that a file becomes, and the exception that a callback must not let into the C library. */
struct Reading {
    std::string text;
    int columns = 0;
    std::exception_ptr failure;
};

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

template <typename Number>
void append_number(std::string &out, Number number) {
    std::array<char, 32> digits{};
    out.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
}

void append_value(std::string &out, readstat_value_t value, readstat_variable_t *variable) {
    if (readstat_value_is_missing(value, variable) != 0) return;
    switch (readstat_value_type(value)) {
        case READSTAT_TYPE_STRING:
        case READSTAT_TYPE_STRING_REF:
            if (const char *text = readstat_string_value(value)) out += quote_cell(text, kSeparators);
            break;
        case READSTAT_TYPE_INT8:
        case READSTAT_TYPE_INT16:
        case READSTAT_TYPE_INT32:
            append_number(out, readstat_int32_value(value));
            break;
        case READSTAT_TYPE_FLOAT:
            append_number(out, readstat_float_value(value));
            break;
        case READSTAT_TYPE_DOUBLE:
            append_number(out, readstat_double_value(value));
            break;
    }
}

int on_variable(int index, readstat_variable_t *variable, const char *, void *context) {
    Reading &reading = *static_cast<Reading *>(context);
    return guarded(reading.failure, [&] {
        if (index > 0) reading.text += ',';
        reading.text += quote_cell(readstat_variable_get_name(variable), kSeparators);
        reading.columns = index + 1;
    });
}

int on_value(int, readstat_variable_t *variable, readstat_value_t value, void *context) {
    Reading &reading = *static_cast<Reading *>(context);
    return guarded(reading.failure, [&] {
        const int index = readstat_variable_get_index(variable);
        if (index == 0) check_interrupt();
        reading.text += index == 0 ? '\n' : ',';
        const std::size_t before = reading.text.size();
        append_value(reading.text, value, variable);
        // A blank line would be no row.
        if (reading.columns == 1 && reading.text.size() == before) reading.text += "NA";
    });
}

}  // namespace

std::string read_input(const std::string &path) {
    const auto reader =
        std::find_if(kReaders.begin(), kReaders.end(), [&](const auto &known) { return path.ends_with(known.first); });
    if (reader == kReaders.end()) return read_file(path);
    const std::unique_ptr<readstat_parser_t, void (*)(readstat_parser_t *)> parser(readstat_parser_init(),
                                                                                   readstat_parser_free);
    if (!parser) throw std::bad_alloc();
    readstat_set_variable_handler(parser.get(), on_variable);
    readstat_set_value_handler(parser.get(), on_value);
    Reading reading;
    const readstat_error_t error = reader->second(parser.get(), path.c_str(), &reading);
    if (reading.failure) std::rethrow_exception(reading.failure);
    if (error == READSTAT_ERROR_MALLOC) throw std::bad_alloc();
    if (error != READSTAT_OK) {
        throw Error(error == READSTAT_ERROR_OPEN ? Fault::no_input : Fault::data,
                    fmt::format("{}: {}", path, readstat_error_message(error)));
    }
    reading.text += '\n';
    return std::move(reading.text);
}

}  // namespace ullage::host
