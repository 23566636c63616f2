// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Letters and digits at the borders of the categories, and the lookup of every unit.

#include "platform/character_class.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "platform/character_table.h"

namespace {

TEST(CharacterClass, BordersOfTheCategories) {
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
        {u'@', false, "below A"},
        {u'A', true, "A"},
        {u'Z', true, "Z"},
        {u'[', false, "above Z"},
        {u'_', false, "underscore"},
        {u'`', false, "below a"},
        {u'a', true, "a"},
        {u'z', true, "z"},
        {u'{', false, "above z"},
        {0x007F, false, "delete"},
        {0x0080, false, "the first unit behind ASCII"},
        {0x00A0, false, "no-break space"},
        {0x00AA, true, "feminine ordinal indicator (Lo)"},
        {0x00B2, false, "superscript two (No)"},
        {0x00B5, true, "micro sign (Ll)"},
        {0x00D7, false, "multiplication sign (Sm)"},
        {0x00DF, true, "sharp s (Ll)"},
        {0x01C5, true, "D with small z (Lt)"},
        {0x02B0, true, "modifier letter small h (Lm)"},
        {0x02C2, false, "modifier letter left arrowhead (Sk)"},
        {0x0301, false, "combining acute accent (Mn)"},
        {0x0378, false, "unassigned"},
        {0x0410, true, "Cyrillic A (Lu)"},
        {0x05D0, true, "alef (Lo)"},
        {0x065F, false, "wavy hamza below (Mn)"},
        {0x0660, true, "Arabic-Indic digit zero (Nd)"},
        {0x0669, true, "Arabic-Indic digit nine (Nd)"},
        {0x066A, false, "Arabic percent sign (Po)"},
        {0x0966, true, "Devanagari digit zero (Nd)"},
        {0x2080, false, "subscript zero (No)"},
        {0x2160, false, "Roman numeral one (Nl)"},
        {0x3007, false, "ideographic number zero (Nl)"},
        {0x3042, true, "Hiragana a (Lo)"},
        {0x4E00, true, "first unified ideograph (Lo)"},
        {0x9FFF, true, "last of them, new in Unicode 14"},
        {0xA000, true, "Yi syllable it (Lo)"},
        {0xAC00, true, "first Hangul syllable (Lo)"},
        {0xD7A3, true, "last Hangul syllable (Lo)"},
        {0xD7A4, false, "unassigned behind it"},
        {0xD800, false, "first high surrogate"},
        {0xDBFF, false, "last high surrogate"},
        {0xDC00, false, "first low surrogate"},
        {0xDFFF, false, "last low surrogate"},
        {0xE000, false, "private use"},
        {0xF900, true, "compatibility ideograph (Lo)"},
        {0xFF10, true, "fullwidth digit zero (Nd)"},
        {0xFF19, true, "fullwidth digit nine (Nd)"},
        {0xFF1A, false, "fullwidth colon (Po)"},
        {0xFFDC, true, "last letter of 16 bits (Lo)"},
        {0xFFDD, false, "behind it"},
        {0xFFFD, false, "replacement character (So)"},
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
