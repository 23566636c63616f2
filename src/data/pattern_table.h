// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The distinct patterns of unobserved cells of a group, found once at load.
//
// A pattern is one bit per variable, 1 for an unobserved cell, from the highest bit of its first word on. So patterns
// that are compared as numbers, word by word, stand in the order of their observed variables: those with a common
// beginning stand together.

#ifndef ULLAGE_DATA_PATTERN_TABLE_H
#define ULLAGE_DATA_PATTERN_TABLE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame/group.h"

[[nodiscard]] constexpr std::size_t words_per_pattern(std::int32_t variable_count) {
    return static_cast<std::size_t>(variable_count) / 64 + 1;
}

[[nodiscard]] inline const std::uint64_t *pattern_words(const Group &group, std::int32_t pattern_index) {
    return group.pattern_words.get() +
           static_cast<std::size_t>(pattern_index) * words_per_pattern(group.variable_count);
}

[[nodiscard]] inline bool is_unobserved(const std::uint64_t *pattern, std::int32_t variable) {
    return (pattern[variable / 64] >> (63 - variable % 64) & 1) != 0;
}

// Write the indices of the unobserved variables of a pattern, or of the observed ones, in ascending order; gives their
// number.
std::int32_t list_variables(const std::uint64_t *pattern, std::int32_t variable_count, bool unobserved,
                            std::int32_t *variables);

// Collects the patterns of a load: begin, mark_unobserved for each unobserved cell, find_or_add, for case after case.
class PatternCollector {
public:
    explicit PatternCollector(std::int32_t variable_count);

    void begin();
    void mark_unobserved(std::int32_t variable);

    // Index of the pattern in the order of first appearance.
    [[nodiscard]] std::int32_t find_or_add();

    // Hand the patterns to the group in ascending order; gives the new index of each.
    [[nodiscard]] std::vector<std::int32_t> sort_into(Group &group) const;

private:
    [[nodiscard]] const std::uint64_t *words_of(std::int32_t index) const;
    [[nodiscard]] bool is_present(std::int32_t index) const;
    void grow_slots();

    std::size_t word_count_;            // words of one pattern
    std::vector<std::uint64_t> words_;  // the patterns, then the one at hand
    std::int32_t pattern_count_ = 0;
    std::int32_t last_ = -1;           // the last answer, right again for most cases
    std::vector<std::int32_t> slots_;  // open addressing by hash, -1 where empty
};

#endif
