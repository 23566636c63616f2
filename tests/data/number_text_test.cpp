// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// From text to number: hard values, what is a number at all, and random texts against the C library's conversion.

#include "data/number_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include "support/bits.h"
#include "support/german_locale.h"
#include "support/utf16.h"

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

double number(const std::string &text) {
    double value = -77.0;
    const std::u16string units = wide(text);
    EXPECT_TRUE(parse_strict_number(units, value)) << text;
    double plain = -77.0;
    const char16_t *end = parse_plain_number(units.c_str(), plain);
    if (end == units.c_str() + units.size()) {
        CHECK_BITS(plain, value);
    } else if (end == nullptr) {
        EXPECT_EQ(plain, -77.0) << text;
    }
    return value;
}

// The digits of 5^n, by hand.
std::string power_of_five(int n) {
    std::string digits = "1";
    for (; n > 0; --n) {
        int carry = 0;
        for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
            const int product = (*digit - '0') * 5 + carry;
            *digit = static_cast<char>('0' + product % 10);
            carry = product / 10;
        }
        if (carry > 0) digits.insert(digits.begin(), static_cast<char>('0' + carry));
    }
    return digits;
}

TEST(NumberText, HardValuesAreRoundedToTheNearest) {
    struct Row {
        std::string text;
        double expected;
    };
    const std::string zeros1000(990, '0');
    const std::string half_smallest = power_of_five(1075);  // 2^-1075 is this by 10^-1075
    const Row rows[] = {
        {"3.5", 3.5},
        {".5", 0.5},
        {"5.", 5.0},
        {"-0", -0.0},
        {"+0.000e99999999999999999999", 0.0},
        {"-0e-99999999999999999999", -0.0},
        {"\t\n\v\f\r 7", 7.0},
        {"1e3", 1000.0},
        {"1E+3", 1000.0},
        {"1d3", 1000.0},
        {"1D-3", 0.001},
        {"0.1", 0x1.999999999999ap-4},
        {"1e22", 1e22},
        {"1e23", 0x1.52d02c7e14af6p+76},  // just below a tie
        {"123456789012345678e-5", 0x1.1f71fb04cb74fp+40},
        {"9007199254740992", 0x1p53},
        {"9007199254740993", 0x1p53},  // a tie, to even
        {"9007199254740993.0000000000000000000000000000001", 0x1.0000000000001p53},
        {"9007199254740995", 0x1.0000000000002p53},  // a tie, to even, upward
        {"18446744073709551615", 0x1p64},
        {"18446744073709551616", 0x1p64},
        {"0.500000000000000166533453693773481063544750213623046875", 0x1.0000000000002p-1},  // a tie: to even
        {"3.5844466002796428e298", 0x1.b67769db917d9p+991},
        {"2.2250738585072014e-308", 0x1p-1022},
        {"2.2250738585072011e-308", 0x0.fffffffffffffp-1022},
        {"4.9406564584124654e-324", 0x1p-1074},
        {"2.4703282292062328e-324", 0x1p-1074},  // above half of the smallest
        {"2.4703282292062327e-324", 0.0},        // below half
        {half_smallest + "e-1075", 0.0},         // half of it, a tie: to even
        {half_smallest + "1e-1076", 0x1p-1074},
        {half_smallest + std::string(200, '0') + "1e-1276", 0x1p-1074},
        {"1.7976931348623157e308", 0x1.fffffffffffffp1023},
        {"1.7976931348623158e308", 0x1.fffffffffffffp1023},
        {"1.7976931348623159e308", kInfinity},
        {"-1e309", -kInfinity},
        {"1e-400", 0.0},
        {"-1e-400", -0.0},
        {"1e99999999999999999999", kInfinity},
        {"1e-99999999999999999999", 0.0},
        {"0." + zeros1000 + "1e991", 1.0},  // a small mantissa and a large exponent are no overflow
        {"1" + zeros1000 + "e-990", 1.0},
        {"0." + zeros1000 + "1", 0.0},
        {"1" + zeros1000, kInfinity},
        {std::string(990, '0') + "1.5", 1.5},
        {"1." + zeros1000, 1.0},
        {"9007199254740993." + zeros1000.substr(20) + "1", 0x1.0000000000001p53},  // the 988th digit decides
        {std::string(1005, '9'), kInfinity},
        {"." + std::string(1004, '9'), 1.0},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text.substr(0, 60));
        CHECK_BITS(number(row.text), row.expected);
        const bool takes_sign = row.text.size() < 1005 && row.text.find_first_of("+- \t") > 0;
        if (takes_sign) {
            CHECK_BITS(number("-" + row.text), -row.expected);
        }
    }
}

TEST(NumberText, WhatIsNoNumberIsRefused) {
    for (const char *text :
         {"",     " ",    "+",        "-",   ".",      "+.",    "e5",    ".e5",   "1e",  "1e+",  "1d-",
          "1e1.", "1e 5", "1 ",       "1 2", "1,5",    "1.2.3", "--1",   "+-1",   "- 1", "0x10", "0x1p3",
          "inf",  "INF",  "infinity", "nan", "NaN(1)", "1f",    "1e5e5", "1e0x2", "$1",  "1\r",  "1_000"}) {
        double value = 0.0;
        const std::u16string units = wide(text);
        EXPECT_FALSE(parse_strict_number(units, value)) << "'" << text << "'";
        EXPECT_NE(parse_plain_number(units.c_str(), value), units.c_str() + units.size()) << "'" << text << "'";
    }
    double value = 0.0;
    for (const char16_t *text : {u"\u0661", u"\uFF11", u"1\u00A0", u"\u00A01", u"\u20071", u"\u22121",
                                 u"\x01"
                                 u"1",
                                 u"\xD83D\xDE00", u"\x0131",
                                 u"1\x0165"
                                 u"5"}) {
        EXPECT_FALSE(parse_strict_number(text, value)) << narrow(text) << ": only ASCII digits and spaces count";
    }
}

// A text that is likely to be hard: near ties, many digits, exponents near the ends of the range.
std::string random_number_text(std::mt19937_64 &random) {
    const auto below = [&](std::uint64_t n) { return random() % n; };
    std::string text;
    char buffer[2000];
    switch (below(4)) {
        case 0: {  // any bits, with enough digits or with all of them
            const double value = std::bit_cast<double>(random() & ~(std::uint64_t{1} << 63));
            if (!std::isfinite(value)) return "1";
            std::snprintf(buffer, sizeof buffer, below(2) == 0 ? "%.17g" : "%.40e", value);
            return buffer;
        }
        case 1: {  // the middle between two neighbours, exactly, a digit above or a digit less
            const double value =
                std::ldexp(static_cast<double>((random() >> 11) | 1), static_cast<int>(below(130)) - 90);
            std::snprintf(buffer, sizeof buffer, "%.200f", value * 0.5 * (1.0 + 0x1p-52));
            text = buffer;
            if (below(3) == 0) text += "1";
            if (below(3) == 0) text.resize(text.size() - 150);
            return text;
        }
        default:
            break;
    }
    const std::uint64_t digits = 1 + below(below(4) == 0 ? 900 : 25);
    const std::uint64_t point = below(digits + 1);
    for (std::uint64_t i = 0; i < digits; ++i) {
        if (i == point && below(4) != 0) text += '.';
        text += static_cast<char>('0' + (below(5) == 0 ? 9 : below(10)));
    }
    if (below(2) == 0) {
        text += "eE"[below(2)];
        text += std::to_string(static_cast<int>(below(700)) - 350);
    }
    return text;
}

TEST(NumberText, AgreesWithTheCLibraryOnRandomTexts) {
    constexpr std::uint64_t kSeed = 20260311;
    std::mt19937_64 random(kSeed);
    for (int i = 0; i < 100000; ++i) {
        const std::string text = random_number_text(random);
        ASSERT_PRED_FORMAT2(same_bits, number(text), std::strtod(text.c_str(), nullptr)) << text << " seed " << kSeed;
    }
}

TEST(NumberText, TheLocaleOfTheProcessPlaysNoPart) {
    const GermanLocale locale;
    if (!locale.available()) GTEST_SKIP() << "no locale with a decimal comma can be made here";
    CHECK_BITS(number("1234.5678901234567890123"), 0x1.34a4584fd0fe0p+10);
    double value;
    EXPECT_FALSE(parse_strict_number(u"1,5", value));
    EXPECT_FALSE(parse_strict_number(u"\u00A01", value));
}

TEST(WholeNumberText, TakesThirtyTwoBitsAndNothingElse) {
    struct Row {
        const char *text;
        std::int64_t expected;  // INT64_MIN: refused
    };
    for (const Row &row : {Row{"0", 0},
                           {"+7", 7},
                           {"-7", -7},
                           {" \t\r\n7", 7},
                           {"007", 7},
                           {"2147483647", 2147483647},
                           {"-2147483648", -2147483648LL},
                           {"2147483648", INT64_MIN},
                           {"-2147483649", INT64_MIN},
                           {"99999999999999999999999999", INT64_MIN},
                           {"", INT64_MIN},
                           {"+", INT64_MIN},
                           {"1.5", INT64_MIN},
                           {"1.", INT64_MIN},
                           {"1e3", INT64_MIN},
                           {"7 ", INT64_MIN},
                           {"0x7", INT64_MIN},
                           {"- 7", INT64_MIN}}) {
        std::int32_t value = 12345;
        EXPECT_EQ(parse_whole_number(wide(row.text), value), row.expected != INT64_MIN) << row.text;
        EXPECT_EQ(value, row.expected == INT64_MIN ? 12345 : row.expected) << row.text;
    }
}

}  // namespace
