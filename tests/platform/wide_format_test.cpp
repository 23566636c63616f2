// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Wide formatting: directives, extreme numbers, and the cut at every capacity.

#include "platform/wide_format.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <string_view>

namespace {

void append(void *context, std::u16string_view piece) {
    static_cast<std::u16string *>(context)->append(piece);
}

const std::u16string kLong(100000, u'%');

TEST(WideFormat, PiecesAndCutTextsAgree) {
    const std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
    const std::int32_t highest = std::numeric_limits<std::int32_t>::max();
    const struct {
        std::u16string_view format;
        std::initializer_list<FormatArgument> arguments;
        std::u16string text;
    } rows[] = {
        {u"", {}, u""},
        {u"Too many items.", {}, u"Too many items."},
        {u"%s", {u""}, u""},
        {u"%s%s", {u"a", u"b"}, u"ab"},
        {u"Error: [%s], [%s]\n", {u"first", std::u16string_view(u"second", 3)}, u"Error: [first], [sec]\n"},
        {u"%d [%s]\n", {std::int32_t{7}, u"x"}, u"7 [x]\n"},
        {u"%d,%d,%d,%d", {lowest, highest, std::int32_t{0}, std::int32_t{-1}}, u"-2147483648,2147483647,0,-1"},
        {u"<%s>", {u"100%d %s %"}, u"<100%d %s %>"},
        {u"%", {u"unused"}, u"%"},
        {u"%d%", {std::int32_t{5}}, u"5%"},
        {u"%%s", {u"a"}, u"%a"},
        {u"%x %s", {u"a"}, u"%x a"},
        {u"%s %s", {u"a"}, u"a %s"},
        {u"[%s]", {std::u16string_view(kLong)}, u"[" + kLong + u"]"},
        {u"\xD83D%s", {u"\xDE00"}, u"\xD83D\xDE00"},
    };
    for (const auto &row : rows) {
        std::u16string whole;
        format_wide_pieces(row.format, row.arguments, append, &whole);
        EXPECT_EQ(whole, row.text);

        for (const std::size_t capacity : {1, 2, 3, 4, 5, 8, 13, 24, 200, 500}) {
            std::u16string buffer(capacity + 1, u'\xABCD');
            const std::size_t used = format_wide(buffer.data(), capacity, row.format, row.arguments);
            EXPECT_EQ(buffer.substr(0, used), row.text.substr(0, capacity - 1));
            EXPECT_EQ(buffer[used], u'\0');
            EXPECT_EQ(buffer[capacity], u'\xABCD') << "written behind capacity " << capacity;
        }
    }
}

}  // namespace
