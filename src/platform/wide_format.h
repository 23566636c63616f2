// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Wide formatting with two directives, %s for a text and %d for a 32-bit number, without heap and without locale.

#ifndef ULLAGE_PLATFORM_WIDE_FORMAT_H
#define ULLAGE_PLATFORM_WIDE_FORMAT_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

// One argument of a format; it borrows its text.
struct FormatArgument {
    FormatArgument(std::u16string_view value) : text(value) {}
    FormatArgument(const char16_t *value) : text(value) {}
    FormatArgument(std::int32_t value) : number(value), is_number(true) {}

    std::u16string_view text;
    std::int32_t number = 0;
    bool is_number = false;
};

// Takes one piece of a formatted text; the piece is valid during the call only.
using FormatSink = void (*)(void *context, std::u16string_view piece);

// Hand the formatted text to the sink, piece after piece in reading order. The i-th directive takes the i-th argument,
// whose kind must agree. A '%' that begins no directive, or that finds no argument left, stands for itself.
void format_wide_pieces(std::u16string_view format, std::initializer_list<FormatArgument> arguments, FormatSink sink,
                        void *context);

// Format into buffer[capacity], capacity at least 1. The text is cut at capacity - 1 units and always terminated. Gives
// the number of units written, the terminator not counted.
std::size_t format_wide(char16_t *buffer, std::size_t capacity, std::u16string_view format,
                        std::initializer_list<FormatArgument> arguments);

#endif
