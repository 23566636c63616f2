// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The engine's one conversion from wide text to UTF-8.

#include "platform/utf8.h"

#include <cstdint>

namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

bool is_high_surrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool is_low_surrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

}  // namespace

std::size_t utf8_convert(std::u16string_view &text, char *bytes, std::size_t capacity) {
    std::size_t used = 0;
    std::size_t taken = 0;
    while (taken < text.size()) {
        std::uint32_t code = text[taken];
        std::size_t units = 1;
        if (is_high_surrogate(text[taken]) && taken + 1 < text.size() && is_low_surrogate(text[taken + 1])) {
            code = 0x10000 + ((code - 0xD800) << 10) + (text[taken + 1] - 0xDC00u);
            units = 2;
        } else if (is_high_surrogate(text[taken]) || is_low_surrogate(text[taken])) {
            code = kReplacement;
        }

        const std::size_t size = code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
        if (size > capacity - used) break;
        if (size == 1) {
            bytes[used] = static_cast<char>(code);
        } else {
            // The lead byte begins with as many ones as the character has bytes; each further byte holds six bits.
            for (std::size_t i = size - 1; i > 0; --i) {
                bytes[used + i] = static_cast<char>(0x80 | (code & 0x3F));
                code >>= 6;
            }
            bytes[used] = static_cast<char>((0xF00u >> size) | code);
        }
        used += size;
        taken += units;
    }
    text.remove_prefix(taken);
    return used;
}
