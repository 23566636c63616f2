// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The patterns of a load, also more of them than the collector remembers at a time.

#include "data/pattern_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

using Cells = std::vector<CellState>;

// Cases in the order of a load, with their states as they were before the patterns were collected.
struct Cases {
    std::vector<Cells> states;
    std::vector<Cells> own_states;
    std::vector<CaseRecord> records;
};

Cases make_cases(std::int32_t variable_count, std::size_t pattern_count, std::size_t case_count) {
    static BoundNode bound{};
    std::mt19937 random(static_cast<unsigned>(variable_count));
    std::vector<Cells> patterns(pattern_count, Cells(static_cast<std::size_t>(variable_count)));
    for (Cells &pattern : patterns) {
        for (CellState &cell : pattern) cell = random() % 3 == 0 ? &MissingMarker : nullptr;
    }
    Cases cases;
    for (std::size_t i = 0; i < case_count; ++i) {
        Cells states = patterns[random() % pattern_count];
        CaseRecord record{};
        for (CellState &cell : states) {
            if (cell == nullptr) continue;
            if (random() % 16 == 0) cell = &bound;
            ++(cell == &MissingMarker ? record.missing_count : record.bounded_count);
        }
        cases.states.push_back(states);
        cases.own_states.push_back(states);
        cases.records.push_back(record);
    }
    for (std::size_t i = 0; i < case_count; ++i) cases.records[i].states = cases.own_states[i].data();
    return cases;
}

bool has_pattern(const Cells &states, const std::uint64_t *pattern) {
    for (std::size_t i = 0; i < states.size(); ++i) {
        if (is_unobserved(pattern, static_cast<std::int32_t>(i)) != (states[i] != nullptr)) return false;
    }
    return true;
}

}  // namespace

TEST(PatternCollector, EveryCaseKeepsItsStatesAndFindsItsPattern) {
    struct Row {
        std::int32_t variable_count;
        std::size_t pattern_count;
        std::size_t case_count;
    };
    for (const Row &row : {Row{0, 1, 5}, Row{1, 2, 50}, Row{10, 800, 5000}, Row{20, 20000, 20000}, Row{63, 40, 300},
                           Row{64, 40, 300}, Row{65, 6000, 9000}, Row{200, 5000, 9000}}) {
        SCOPED_TRACE(row.variable_count);
        Cases cases = make_cases(row.variable_count, row.pattern_count, row.case_count);
        PatternCollector collector(row.variable_count);
        for (CaseRecord &record : cases.records) collector.add(record);
        Group group{};
        group.variable_count = row.variable_count;
        const std::vector<std::int32_t> new_index = collector.sort_into(group);

        for (std::size_t i = 0; i < row.case_count; ++i) {
            const CaseRecord &record = cases.records[i];
            const Cells &states = cases.states[i];
            ASSERT_TRUE(std::equal(states.begin(), states.end(), record.states)) << "case " << i;
            const std::int32_t index = new_index[static_cast<std::size_t>(record.pattern_index)];
            ASSERT_TRUE(has_pattern(states, pattern_words(group, index))) << "case " << i;
        }
        const std::size_t words = words_per_pattern(row.variable_count);
        for (std::int32_t i = 1; i < group.pattern_count; ++i) {
            const std::uint64_t *previous = pattern_words(group, i - 1);
            const std::uint64_t *pattern = pattern_words(group, i);
            ASSERT_TRUE(std::lexicographical_compare(previous, previous + words, pattern, pattern + words))
                << "pattern " << i;
        }
    }
}
