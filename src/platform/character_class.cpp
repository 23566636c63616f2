// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Which characters count as letters and digits, on every machine and in every locale.

#include "platform/character_class.h"

#include <algorithm>
#include <iterator>

#include "platform/character_table.h"

bool is_letter_or_digit(char16_t unit) {
    if (unit < 0x80) {
        const char16_t lower = unit | 0x20;
        return (unit >= u'0' && unit <= u'9') || (lower >= u'a' && lower <= u'z');
    }
    // The edges at or below the unit: an odd number of them means that the last one began a run.
    const char16_t *above = std::upper_bound(std::begin(kLetterDigitEdges), std::end(kLetterDigitEdges), unit);
    return (above - std::begin(kLetterDigitEdges)) % 2 == 1;
}
