// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Where messages go.

#include "frame/log.h"

#include <iterator>
#include <string_view>

#include "frame/session_state.h"

void log_printf(TextStream *log, const char16_t *format, std::initializer_list<FormatArgument> arguments) {
    if (log == nullptr) return;
    format_wide_pieces(
        format, arguments,
        [](void *stream, std::u16string_view piece) { text_stream_write(static_cast<TextStream *>(stream), piece); },
        log);
}

void record_last_error(const char16_t *format, std::initializer_list<FormatArgument> arguments) {
    format_wide(state.LastErrorText, std::size(state.LastErrorText), format, arguments);
    // The text is finished: a "%" in it came from the data.
    if (state.ErrorLog != nullptr) text_stream_write(state.ErrorLog, state.LastErrorText);
}

void report_reader_error(const char16_t *format, std::initializer_list<FormatArgument> arguments) {
    format_wide(state.ReaderErrorText, std::size(state.ReaderErrorText), format, arguments);
    char16_t line[std::size(state.ReaderErrorText) + std::size(u"Error{}")];
    const std::size_t length = format_wide(line, std::size(line), u"Error{%s}", {state.ReaderErrorText});
    write_standard_error({line, length});
}

void report_reader_error_pair(const char16_t *first, const char16_t *second) {
    report_reader_error(u"Error: [%s], [%s]\n", {first, second});
}
