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

#include "data/case_record.h"
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

// Collects the patterns of a load, case after case.
class PatternCollector {
public:
    explicit PatternCollector(std::int32_t variable_count);

    // Set the record's pattern_index to where its pattern was collected. A case without bounds takes the states of an
    // earlier one of its pattern if one is at hand: they are the same, and its own are free again.
    void add(CaseRecord &record);

    // Hand the distinct patterns to the group in ascending order; gives the new index of each that was collected.
    [[nodiscard]] std::vector<std::int32_t> sort_into(Group &group) const;

private:
    // A pattern that was collected, and the states of a case of that pattern without bounds, if there was one.
    struct Recent {
        std::int32_t index = -1;
        CellState *states = nullptr;
    };

    [[nodiscard]] const std::uint64_t *words_of(std::int32_t index) const;
    [[nodiscard]] bool are_equal(std::int32_t left, std::int32_t right) const;

    std::int32_t variable_count_;
    std::size_t word_count_;            // words of one pattern
    std::vector<std::uint64_t> words_;  // the patterns in the order of their cases, some of them more than once
    std::vector<Recent> recent_;        // by hash; a pattern that another one has replaced is collected again
};

#endif
