// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Text streams, standard error and notices on systems with POSIX file names and stdio.

#include <climits>
#include <cstdio>

#include "platform/platform.h"
#include "platform/utf8.h"
#include "platform/wide_format.h"

namespace {

// Gathers the bytes of one message, so that it goes to the file in one piece up to this size.
struct MessageBuffer {
    explicit MessageBuffer(std::FILE *target) : file(target) {}

    std::FILE *file;
    std::size_t used = 0;
    char bytes[4096];  // not cleared: a log line fills little of it
};

void message_flush(MessageBuffer &message) {
    // A failed write has nobody to be told to.
    (void)std::fwrite(message.bytes, 1, message.used, message.file);
    message.used = 0;
}

void message_append(void *context, std::u16string_view text) {
    MessageBuffer &message = *static_cast<MessageBuffer *>(context);
    while (true) {
        message.used += utf8_convert(text, message.bytes + message.used, sizeof message.bytes - message.used);
        if (text.empty()) break;
        message_flush(message);
    }
}

void write_message(std::FILE *file, std::u16string_view text) {
    MessageBuffer message(file);
    message_append(&message, text);
    message_flush(message);
}

// A text stream is a stdio stream under another name.
std::FILE *file_of(TextStream *stream) {
    return reinterpret_cast<std::FILE *>(stream);
}

}  // namespace

TextStream *text_stream_open(const char16_t *path) {
    char bytes[PATH_MAX];
    std::u16string_view rest = path;
    const std::size_t length = utf8_convert(rest, bytes, sizeof bytes - 1);
    if (!rest.empty()) return nullptr;  // The system would refuse so long a path as well.
    bytes[length] = '\0';
    // "e" closes the file in programs that the host starts.
    return reinterpret_cast<TextStream *>(std::fopen(bytes, "we"));
}

void text_stream_write(TextStream *stream, std::u16string_view text) {
    write_message(file_of(stream), text);
}

void text_stream_close(TextStream *stream) {
    (void)std::fclose(file_of(stream));
}

void write_standard_error(std::u16string_view text) {
    write_message(stderr, text);
}

void show_notice(const char16_t *caption, const char16_t *text) {
    MessageBuffer message(stderr);
    format_wide_pieces(u"%s: %s\n", {caption, text}, message_append, &message);
    message_flush(message);
}
