// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A cursor over the data text of a group: a header, a line of names, a line for each case.

#ifndef ULLAGE_DATA_DATA_TEXT_READER_H
#define ULLAGE_DATA_DATA_TEXT_READER_H

#include <cstddef>
#include <cstdint>
#include <string_view>

// Fixed texts that name the data text in messages.
inline constexpr const char16_t *kReaderLabel = u"dty.dty";
inline constexpr const char16_t *kLoadLabel = u"dtz.dtz";

inline constexpr std::size_t kHeaderItemLimit = 500;
inline constexpr std::size_t kRecordItemLimit = 1005;

struct DataTextReader {
    std::int32_t case_count;      // of the header
    std::int32_t variable_count;  // of the header, the weight variable included
    std::size_t name_units;       // room that all names of the line need with their terminators
    char16_t last_delimiter;      // TAB, LF or 0, which ended the last item of read_data_item
    const char16_t *text;
    std::size_t position;        // of the next unit
    std::int32_t record_number;  // lines finished by read_data_item
    std::int32_t item_number;    // items taken by read_data_item in the present line
    bool at_end;                 // set by an empty item; read_data_item reads nothing any more
    std::size_t records_start;
    std::size_t names_start;
    std::size_t name_count;  // names on the line, also beyond what the header announces
};

enum class ItemStatus {
    wrong_item_count,  // reported; the counters stay
    nothing_read,      // end of the data, the item is empty
    star,              // the item is empty
    text,
};

// Measure header and names line. 1 after a report on standard error, and then the reader must not be used.
[[nodiscard]] int reader_open(DataTextReader &reader, const char16_t *text);

// Go on with the first name, or the first record, with all counters at 0.
void reader_rewind_to_names(DataTextReader &reader);
void reader_rewind_to_records(DataTextReader &reader);

[[nodiscard]] inline bool reader_at_line_end(const DataTextReader &reader) {
    return reader.last_delimiter == u'\n';
}

// Whether the text has nothing more to give, not even to read_numeric_item.
[[nodiscard]] inline bool reader_is_at_text_end(const DataTextReader &reader) {
    return reader.text[reader.position] == 0;
}

// The units up to the next delimiter, which is passed unless it is the end of the text.
[[nodiscard]] std::u16string_view read_item(DataTextReader &reader, char16_t &delimiter);

// Read an item that is a number as a whole; an empty item is 0. Leaves last_delimiter and the counters alone.
[[nodiscard]] bool read_numeric_item(DataTextReader &reader, std::size_t item_limit, double &value);

// Read the next item of a line. The first empty item ends the data. An item beyond item_limit is given without a
// report.
ItemStatus read_data_item(DataTextReader &reader, std::size_t item_limit, std::u16string_view &item);

enum class PlainItem { none, star, number };

// The short way for most items: read the next one as read_data_item does if it is a star or a plain number that a TAB
// or LF ends. Otherwise nothing is read, and value is untouched.
[[nodiscard]] PlainItem read_plain_item(DataTextReader &reader, double &value);

// Truncate toward zero; false if the result does not fit.
[[nodiscard]] bool truncate_to_int32(double value, std::int32_t &result);

#endif
