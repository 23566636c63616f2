// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Where messages go: the two logs, the last error text, and standard error for the reader of the data text.

#ifndef ULLAGE_FRAME_LOG_H
#define ULLAGE_FRAME_LOG_H

#include <initializer_list>

#include "platform/platform.h"
#include "platform/wide_format.h"

// Write formatted text of any length to a log; nothing where the log is not open.
void log_printf(TextStream *log, const char16_t *format, std::initializer_list<FormatArgument> arguments = {});

// Format into LastErrorText, cut to its size, and write that text to ErrorLog.
void record_last_error(const char16_t *format, std::initializer_list<FormatArgument> arguments = {});

// Write Error{...} around formatted text, cut to the size of ReaderErrorText, to standard error.
void report_reader_error(const char16_t *format, std::initializer_list<FormatArgument> arguments = {});

void report_reader_error_pair(const char16_t *first, const char16_t *second);

#endif
