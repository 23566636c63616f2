// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// What the engine asks of an operating system. One implementation file per system; nothing else knows which it is.

#ifndef ULLAGE_PLATFORM_PLATFORM_H
#define ULLAGE_PLATFORM_PLATFORM_H

#include <cstddef>
#include <string_view>

// A text file that takes wide text and holds UTF-8 with LF.
struct TextStream;

// Create or empty the file at path; null if that fails.
TextStream *text_stream_open(const char16_t *path);

// Write wide text as UTF-8; a surrogate pair is one character, a lone surrogate becomes U+FFFD. Nothing is flushed, and
// failures to write are swallowed.
void text_stream_write(TextStream *stream, std::u16string_view text);

// Write what is buffered and close the file.
void text_stream_close(TextStream *stream);

// Write wide text to the standard error stream of the process, as UTF-8, in one piece up to 4096 bytes.
void write_standard_error(std::u16string_view text);

// Show a notice with a caption. Systems without message boxes write one line, "caption: text", to standard error.
void show_notice(const char16_t *caption, const char16_t *text);

#endif
