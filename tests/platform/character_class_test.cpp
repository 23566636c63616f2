// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Letters and digits by category, and the lookup of every unit.

#include "platform/character_class.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "platform/character_table.h"

namespace {

TEST(CharacterClass, OneOfEachCategory) {
    const struct {
        char16_t unit;
        bool expected;
        const char *what;
    } rows[] = {
        {u'\0', false, "the terminator"},
        {u'/', false, "below 0"},
        {u'0', true, "0"},
        {u'9', true, "9"},
        {u':', false, "above 9"},
        {u'_', false, "underscore"},
        {0x00B2, false, "superscript two (No)"},
        {0x00B5, true, "micro sign (Ll)"},
        {0x0301, false, "combining acute accent (Mn)"},
        {0x0378, false, "unassigned"},
        {0x0660, true, "Arabic-Indic digit zero (Nd)"},
        {0x2160, false, "Roman numeral one (Nl)"},
        {0x4E00, true, "first unified ideograph (Lo)"},
        {0x9FFF, true, "last of them, new in Unicode 14"},
        {0xD800, false, "first high surrogate"},
        {0xDFFF, false, "last low surrogate"},
        {0xFF10, true, "fullwidth digit zero (Nd)"},
        {0xFFDC, true, "last letter of 16 bits (Lo)"},
        {0xFFFF, false, "no character"},
    };
    for (const auto &row : rows) EXPECT_EQ(is_letter_or_digit(row.unit), row.expected) << row.what;
}

TEST(CharacterClass, EveryUnitIsLookedUpAsAWalkAlongTheEdgesGivesIt) {
    ASSERT_TRUE(std::is_sorted(std::begin(kLetterDigitEdges), std::end(kLetterDigitEdges)));
    bool inside = false;
    const char16_t *edge = std::begin(kLetterDigitEdges);
    for (unsigned code = 0; code < 0x10000; ++code) {
        if (edge != std::end(kLetterDigitEdges) && *edge == code) {
            inside = !inside;
            ++edge;
        }
        ASSERT_EQ(is_letter_or_digit(static_cast<char16_t>(code)), inside) << std::hex << code;
    }
    EXPECT_EQ(edge, std::end(kLetterDigitEdges));
}

}  // namespace
