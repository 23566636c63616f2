// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Wide formatting with two directives, %s for a text and %d for a 32-bit number, without heap and without locale.

#include "platform/wide_format.h"

#include <algorithm>
#include <cassert>
#include <charconv>

namespace {

void send_number(std::int32_t number, FormatSink sink, void *context) {
    char digits[11];  // "-2147483648"
    const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, number);
    char16_t wide[sizeof digits];
    std::copy(digits, end.ptr, wide);
    sink(context, {wide, static_cast<std::size_t>(end.ptr - digits)});
}

struct BoundedText {
    char16_t *units;
    std::size_t room;
    std::size_t used;
};

void append_bounded(void *context, std::u16string_view piece) {
    BoundedText &text = *static_cast<BoundedText *>(context);
    text.used += piece.copy(text.units + text.used, text.room - text.used);
}

}  // namespace

void format_wide_pieces(std::u16string_view format, std::initializer_list<FormatArgument> arguments, FormatSink sink,
                        void *context) {
    const FormatArgument *argument = arguments.begin();
    std::size_t sent = 0;  // Everything in front of this position has been handed on.
    for (std::size_t i = 0; i + 1 < format.size(); ++i) {
        if (argument == arguments.end()) break;
        if (format[i] != u'%' || (format[i + 1] != u's' && format[i + 1] != u'd')) continue;
        assert(argument->is_number == (format[i + 1] == u'd'));
        if (i > sent) sink(context, format.substr(sent, i - sent));
        if (argument->is_number) {
            send_number(argument->number, sink, context);
        } else {
            sink(context, argument->text);
        }
        ++argument;
        ++i;
        sent = i + 1;
    }
    if (sent < format.size()) sink(context, format.substr(sent));
}

std::size_t format_wide(char16_t *buffer, std::size_t capacity, std::u16string_view format,
                        std::initializer_list<FormatArgument> arguments) {
    BoundedText text = {buffer, capacity - 1, 0};
    format_wide_pieces(format, arguments, append_bounded, &text);
    buffer[text.used] = u'\0';
    return text.used;
}
