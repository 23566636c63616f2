// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The comparison of numbers by their digits, against the C library's formatting, and the notice at its end.

#include "generator/essential_comparator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "support/german_locale.h"

namespace {

constexpr char kNotice[] = "EssentialComparator: EssentialComparator errors occurred.\n";

std::string narrow(const std::u16string &text) {
    return {text.begin(), text.end()};
}

std::string scientific(EssentialComparator &comparator, double value, std::int32_t digits) {
    comparator.compare_numbers(value, value, digits);
    EXPECT_EQ(comparator.error_count, 0) << "a number differs from itself";
    return narrow(comparator.value_text.get());
}

TEST(EssentialComparator, DigitsDecide) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const struct {
        const char *what;
        double value, expected;
        std::int32_t digits, errors;
    } rows[] = {
        {"equal", 0.1852725642320792, 0.1852725642320792, 13, 0},
        {"15th digit", 0.185272564232081, 0.185272564232079, 13, 0},
        {"15th digit, rounding apart", 0.185272564232076, 0.185272564232074, 13, 1},
        {"14th digit", 0.18527256423208, 0.18527256423209, 13, 1},
        {"one more digit asked for", 0.185272564232081, 0.185272564232079, 14, 1},
        {"rounding carries into the exponent", 9.99999999999999999, 10.0, 13, 0},
        {"only the sign", -1.0, 1.0, 13, 1},
        {"the sign of zero", -0.0, 0.0, 13, 1},
        {"only the exponent", 1e-300, 1e-301, 13, 1},
        {"no digits behind the point", 1.4, 0.96, 0, 0},
        {"infinity and the largest", infinity, 1.7976931348623157e308, 13, 1},
        {"both infinite", infinity, infinity, 13, 0},
        {"both not a number", nan, nan, 13, 0},
        {"not a number", nan, 0.0, 13, 1},
    };
    for (const auto &row : rows) {
        testing::internal::CaptureStderr();
        {
            EssentialComparator comparator(u"row");
            comparator.compare_numbers(row.value, row.expected, row.digits);
            EXPECT_EQ(comparator.error_count, row.errors) << row.what;
        }
        EXPECT_EQ(testing::internal::GetCapturedStderr(), row.errors > 0 ? kNotice : "") << row.what;
    }
}

TEST(EssentialComparator, TextsAreThoseOfPrintfCutToTheBuffer) {
    EssentialComparator comparator(u"texts");
    std::mt19937_64 random(6128);
    for (int round = 0; round < 300; ++round) {
        const std::uint64_t bits = random();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        if (std::isnan(value)) continue;
        for (const std::int32_t digits : {-1, 0, 1, 13, 16, 31, 32, 33, 37, 38, 39, 100, 766, 767, 1000}) {
            char expected[EssentialComparator::kTextCapacity];
            std::snprintf(expected, sizeof expected, "%.*le", digits, value);
            ASSERT_EQ(scientific(comparator, value, digits), expected) << std::hexfloat << value << ' ' << digits;
        }
    }
}

TEST(EssentialComparator, TextsDifferUpToTheTerminator) {
    const struct {
        const char16_t *value, *expected;
        std::int32_t errors;
    } rows[] = {
        {u"", u"", 0}, {u"ab", u"ab", 0}, {u"ab", u"a", 1}, {u"a", u"ab", 1}, {u"", u"a", 1}, {u"\xD83D", u"\xD83E", 1},
    };
    std::int32_t errors = 0;
    testing::internal::CaptureStderr();
    {
        std::u16string name = u"many differences";
        EssentialComparator comparator(name.c_str());
        name.assign(name.size(), u'x');
        EXPECT_EQ(std::u16string(comparator.name.get()), u"many differences");
        for (const auto &row : rows) {
            comparator.compare_texts(row.value, row.expected);
            EXPECT_EQ(comparator.error_count, errors += row.errors);
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), kNotice) << "one notice for all differences";
}

TEST(EssentialComparator, TheLocaleChangesNoByte) {
    const GermanLocale locale;
    if (!locale.available()) GTEST_SKIP() << "localedef cannot make de_DE.ISO-8859-1; install the package \"locales\"";
    EssentialComparator comparator(u"locale");
    EXPECT_EQ(scientific(comparator, 0.1852725642320792, 13), "1.8527256423208e-01");
}

}  // namespace
