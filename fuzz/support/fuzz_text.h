// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Wide texts out of bytes, and back to UTF-8 for comparing logs and printing.

#ifndef ULLAGE_FUZZ_SUPPORT_FUZZ_TEXT_H
#define ULLAGE_FUZZ_SUPPORT_FUZZ_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>

// Bytes below 0x80 are themselves, so that ASCII inputs can be read. 0x80 to 0xEF are units that matter outside ASCII.
// 0xFk repeats the next unit: 1 + 4 * k^3 times, up to 13,501, which reaches every limit of the reader from short
// inputs.
std::u16string text_from_bytes(std::basic_string_view<std::uint8_t> bytes);

// UTF-8; a surrogate pair is one character, a lone surrogate U+FFFD.
std::string to_utf8(std::u16string_view text);

#endif
