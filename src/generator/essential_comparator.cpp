// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A comparison of computed numbers with expected ones, by the texts of their leading digits.

#include "generator/essential_comparator.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "platform/platform.h"

namespace {

// A double has at most 767 significant digits, so further ones are zeros far behind the cut.
constexpr std::int32_t kMostDigits = 770;

// The text of "%.*le", the same in every locale, cut to EssentialComparator::kTextCapacity with its terminator.
void format_scientific(char16_t *text, double value, std::int32_t digits) {
    char narrow[kMostDigits + 10];  // sign, first digit, point, and an exponent of up to five characters
    const std::to_chars_result end = std::to_chars(narrow, narrow + sizeof narrow, value, std::chars_format::scientific,
                                                   digits < 0 ? 6 : std::min(digits, kMostDigits));
    const std::size_t length =
        std::min(static_cast<std::size_t>(end.ptr - narrow), EssentialComparator::kTextCapacity - 1);
    std::copy_n(narrow, length, text);
    text[length] = u'\0';
}

std::unique_ptr<char16_t[]> copy_text(std::u16string_view text) {
    std::unique_ptr<char16_t[]> copy(new char16_t[text.size() + 1]);
    text.copy(copy.get(), text.size());
    copy[text.size()] = u'\0';
    return copy;
}

}  // namespace

EssentialComparator::EssentialComparator(const char16_t *compared)
    : value_text(new char16_t[kTextCapacity]), expected_text(new char16_t[kTextCapacity]), name(copy_text(compared)) {}

EssentialComparator::~EssentialComparator() {
    if (error_count > 0) show_notice(u"EssentialComparator", u"EssentialComparator errors occurred.");
}

void EssentialComparator::compare_numbers(double value, double expected, std::int32_t digits) {
    format_scientific(value_text.get(), value, digits);
    format_scientific(expected_text.get(), expected, digits);
    compare_texts(value_text.get(), expected_text.get());
}

void EssentialComparator::compare_texts(const char16_t *value, const char16_t *expected) {
    if (std::u16string_view(value) != expected) ++error_count;
}
