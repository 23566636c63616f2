// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The conversion to UTF-8: every unit, surrogates in every place, and every size of the receiving buffer.

#include "platform/utf8.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

constexpr char kLone[] = "\xEF\xBF\xBD";

// The whole text through a buffer of this capacity; bytes behind the capacity must stay as they are.
std::string convert(std::u16string_view text, std::size_t capacity) {
    std::string all;
    std::string buffer(capacity + 1, '\x7E');
    while (!text.empty()) {
        const std::size_t before = text.size();
        const std::size_t used = utf8_convert(text, buffer.data(), capacity);
        EXPECT_LE(used, capacity);
        EXPECT_EQ(buffer[capacity], '\x7E');
        if (text.size() == before) {
            ADD_FAILURE() << "no progress at capacity " << capacity;
            break;
        }
        all.append(buffer, 0, used);
    }
    return all;
}

TEST(Utf8, TableThroughEveryBuffer) {
    const std::string lone = kLone;
    const struct {
        std::u16string_view text;
        std::string bytes;
    } rows[] = {
        {u"", ""},
        {u"plain 123 %s", "plain 123 %s"},
        {{u"a\0b", 3}, {"a\0b", 3}},
        {u"\x7F\x80\x7FF\x800\xD7FF\xE000\xFFFF",
         "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"},
        {u"\xD800\xDC00\xDBFF\xDFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
        {u"\xD83D\xDE00", "\xF0\x9F\x98\x80"},
        {u"\xD800", lone},
        {u"\xDC00", lone},
        {{u"\xD83D\xDE00", 1}, lone},
        {u"x\xDBFF", "x" + lone},
        {u"\xDFFFx", lone + "x"},
        {u"\xD83Dx\xDE00", lone + "x" + lone},
        {u"\xDE00\xD83D", lone + lone},
        {u"\xD83D\xD83D\xDE00\xDE00", lone + "\xF0\x9F\x98\x80" + lone},
    };
    for (const auto &row : rows) {
        for (std::size_t capacity = 4; capacity <= 16; ++capacity) {
            EXPECT_EQ(convert(row.text, capacity), row.bytes) << "capacity " << capacity;
        }
    }
}

TEST(Utf8, EveryUnitDecodesToItself) {
    for (unsigned code = 0; code < 0x10000; ++code) {
        const char16_t unit = static_cast<char16_t>(code);
        const std::string bytes = convert({&unit, 1}, 16);
        if (code >= 0xD800 && code < 0xE000) {
            ASSERT_EQ(bytes, kLone) << code;
            continue;
        }
        ASSERT_EQ(bytes.size(), code < 0x80 ? 1u : code < 0x800 ? 2u : 3u) << code;
        unsigned decoded = static_cast<unsigned char>(bytes[0]);
        if (bytes.size() > 1) decoded &= bytes.size() == 2 ? 0x1F : 0x0F;
        for (std::size_t i = 1; i < bytes.size(); ++i)
            decoded = decoded * 64 + (static_cast<unsigned char>(bytes[i]) - 0x80);
        ASSERT_EQ(decoded, code);
    }
}

}  // namespace
