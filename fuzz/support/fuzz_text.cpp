// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Wide texts out of bytes, and back to UTF-8.

#include "support/fuzz_text.h"

#include <iterator>

namespace {

// Letters, a digit, spaces and signs beyond ASCII, both halves of surrogate pairs, and the last units of the plane.
constexpr char16_t kUnits[] = {0x00E9, 0x00DF, 0x0416, 0x0660, 0x00A0, 0x3000, 0x2212, 0x00B5,
                               0xFF11, 0x4E2D, 0xD83D, 0xDE00, 0xDFFF, 0xFEFF, 0xFFFE, 0xFFFF};

char16_t unit_of(std::uint8_t byte) {
    return byte < 0x80 ? static_cast<char16_t>(byte) : kUnits[byte % std::size(kUnits)];
}

}  // namespace

std::u16string text_from_bytes(std::basic_string_view<std::uint8_t> bytes) {
    std::u16string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] >= 0xF0 && i + 1 < bytes.size()) {
            const auto k = static_cast<std::size_t>(bytes[i] & 0x0F);
            text.append(1 + 4 * k * k * k, unit_of(bytes[++i]));
        } else {
            text.push_back(unit_of(bytes[i]));
        }
    }
    return text;
}

std::string to_utf8(std::u16string_view text) {
    std::string bytes;
    const auto put = [&](std::uint32_t byte) { bytes.push_back(static_cast<char>(byte)); };
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::uint32_t code = text[i];
        const bool pairs =
            code >= 0xD800 && code < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000;
        if (pairs) {
            code = 0x10000 + ((code - 0xD800) << 10) + (text[++i] - 0xDC00u);
        } else if (code >= 0xD800 && code < 0xE000) {
            code = 0xFFFD;
        }
        if (code < 0x80) {
            put(code);
        } else if (code < 0x800) {
            put(0xC0 | code >> 6);
            put(0x80 | (code & 0x3F));
        } else if (code < 0x10000) {
            put(0xE0 | code >> 12);
            put(0x80 | (code >> 6 & 0x3F));
            put(0x80 | (code & 0x3F));
        } else {
            put(0xF0 | code >> 18);
            put(0x80 | (code >> 12 & 0x3F));
            put(0x80 | (code >> 6 & 0x3F));
            put(0x80 | (code & 0x3F));
        }
    }
    return bytes;
}
