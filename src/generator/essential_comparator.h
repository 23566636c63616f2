// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A comparison of computed numbers with expected ones, by the texts of their leading digits.

#ifndef ULLAGE_GENERATOR_ESSENTIAL_COMPARATOR_H
#define ULLAGE_GENERATOR_ESSENTIAL_COMPARATOR_H

#include <cstddef>
#include <cstdint>
#include <memory>

// Counts differences, and shows one notice at its end if there were any.
struct EssentialComparator {
    static constexpr std::size_t kTextCapacity = 40;

    // compared names what is compared, and is copied. Throws std::bad_alloc.
    explicit EssentialComparator(const char16_t *compared);
    ~EssentialComparator();
    EssentialComparator(const EssentialComparator &) = delete;
    EssentialComparator &operator=(const EssentialComparator &) = delete;

    // Compare two numbers in scientific notation with this many digits behind the point, each text cut to its buffer.
    // A negative number of digits means 6.
    void compare_numbers(double value, double expected, std::int32_t digits);

    // Compare two zero-terminated texts unit by unit.
    void compare_texts(const char16_t *value, const char16_t *expected);

    std::int32_t error_count = 0;
    std::unique_ptr<char16_t[]> value_text;     // kTextCapacity units
    std::unique_ptr<char16_t[]> expected_text;  // kTextCapacity units
    std::unique_ptr<char16_t[]> name;           // zero-terminated
};

#endif
