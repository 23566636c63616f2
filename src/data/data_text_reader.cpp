// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A cursor over the data text of a group.

#include "data/data_text_reader.h"

#include <cmath>

#include "data/number_text.h"
#include "frame/log.h"

static_assert(kHeaderItemLimit <= kNumberTextLimit && kRecordItemLimit <= kNumberTextLimit);

namespace {

constexpr char16_t kEndMark = 0xFFFF;  // ends the names line as the end of the text does

// A header item that is a number of 32 bits.
bool read_header_number(DataTextReader &reader, std::int32_t &number) {
    double value;
    return read_numeric_item(reader, kHeaderItemLimit, value) && truncate_to_int32(value, number);
}

// Count the names and their units up to the end of the line.
int measure_names(DataTextReader &reader) {
    for (;;) {
        const std::size_t start = reader.position;
        char16_t delimiter;
        const std::u16string_view name = read_item(reader, delimiter);
        if (delimiter == 0 || name.find(kEndMark) != std::u16string_view::npos) {
            report_reader_error(u"No data in data file.");
            return 1;
        }
        const std::size_t units = reader.position - start;  // the delimiter counts as the name's terminator
        if (units == 1) {
            report_reader_error(u"In the file, %s,\nvariable number %d has an empty string for a name.\n",
                                {kReaderLabel, static_cast<std::int32_t>(reader.name_count + 1)});
            return 1;
        }
        ++reader.name_count;
        reader.name_units += units;
        if (delimiter == u'\n') return 0;
    }
}

// Lines and items are counted from the new place.
void rewind_to(DataTextReader &reader, std::size_t position) {
    reader.position = position;
    reader.record_number = 0;
    reader.item_number = 0;
    reader.last_delimiter = 0;
    reader.at_end = false;
}

// Count the item that last_delimiter has ended. False after a report that it ends a line too early; the counters stay.
bool count_item(DataTextReader &reader) {
    if (!reader_at_line_end(reader)) {
        ++reader.item_number;
        return true;
    }
    if (reader.item_number >= 1 && reader.item_number + 1 < reader.variable_count) {
        report_reader_error(u"Record number %d\nof the file, %s,\nhas only %d items. There should be %d.\n",
                            {reader.record_number + 1, kReaderLabel, reader.item_number + 1, reader.variable_count});
        return false;
    }
    reader.item_number = 0;
    ++reader.record_number;
    return true;
}

}  // namespace

int reader_open(DataTextReader &reader, const char16_t *text) {
    reader = {};
    reader.text = text;
    if (!read_header_number(reader, reader.case_count)) {
        report_reader_error(u"The number of cases was not found in the file, %s,\n", {kReaderLabel});
        return 1;
    }
    if (!read_header_number(reader, reader.variable_count)) {
        report_reader_error(u"The number of variables was not found in the file, %s,\n", {kReaderLabel});
        return 1;
    }
    reader.names_start = reader.position;
    if (measure_names(reader) != 0) return 1;
    reader.records_start = reader.position;
    return 0;
}

void reader_rewind_to_names(DataTextReader &reader) {
    rewind_to(reader, reader.names_start);
}

void reader_rewind_to_records(DataTextReader &reader) {
    rewind_to(reader, reader.records_start);
}

std::u16string_view read_item(DataTextReader &reader, char16_t &delimiter) {
    const char16_t *const start = reader.text + reader.position;
    const char16_t *end = start;
    while (*end != u'\t' && *end != u'\n' && *end != 0) ++end;
    delimiter = *end;
    const auto length = static_cast<std::size_t>(end - start);
    reader.position += length + (delimiter != 0 ? 1 : 0);
    return {start, length};
}

bool read_numeric_item(DataTextReader &reader, std::size_t item_limit, double &value) {
    char16_t delimiter;
    const std::u16string_view item = read_item(reader, delimiter);
    if (item.size() > item_limit) return false;
    value = 0.0;
    return item.empty() || parse_strict_number(item, value);
}

ItemStatus read_data_item(DataTextReader &reader, std::size_t item_limit, std::u16string_view &item) {
    item = {};
    if (reader.at_end) return ItemStatus::nothing_read;
    item = read_item(reader, reader.last_delimiter);
    if (item.size() > item_limit) return ItemStatus::text;
    if (item.empty()) {
        reader.last_delimiter = u'\n';
        reader.at_end = true;
    }
    if (!count_item(reader)) return ItemStatus::wrong_item_count;
    if (item.empty()) return ItemStatus::nothing_read;
    if (item == u"*") {
        item = {};
        return ItemStatus::star;
    }
    return ItemStatus::text;
}

PlainItem read_plain_item(DataTextReader &reader, double &value) {
    if (reader.at_end) return PlainItem::none;
    const char16_t *const item = reader.text + reader.position;
    const bool is_star = *item == u'*';
    double number;
    const char16_t *const end = is_star ? item + 1 : parse_plain_number(item, number);
    if (end == nullptr || (*end != u'\t' && *end != u'\n')) return PlainItem::none;
    reader.last_delimiter = *end;
    reader.position += static_cast<std::size_t>(end - item) + 1;
    (void)count_item(reader);
    if (is_star) return PlainItem::star;
    value = number;
    return PlainItem::number;
}

bool truncate_to_int32(double value, std::int32_t &result) {
    const double whole = std::trunc(value);
    if (!(whole >= -2147483648.0 && whole <= 2147483647.0)) return false;
    result = static_cast<std::int32_t>(whole);
    return true;
}
