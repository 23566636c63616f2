// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The distinct patterns of unobserved cells of a group.

#include "data/pattern_table.h"

#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <numeric>

namespace {

constexpr int kRecentBits = 11;

// A pattern in a sort: one of its words and where it was collected.
struct SortEntry {
    std::uint64_t word;
    std::int32_t index;
};

// Sort by those bytes of the words in which any two differ, from the last byte to the first. Equal words keep their
// order.
void sort_by_word(std::vector<SortEntry> &entries, std::vector<SortEntry> &spare, std::uint64_t differing_bits) {
    for (int shift = 0; shift < 64; shift += 8) {
        if ((differing_bits >> shift & 0xFF) == 0) continue;
        std::array<std::size_t, 256> positions{};
        for (const SortEntry &entry : entries) ++positions[entry.word >> shift & 0xFF];
        std::exclusive_scan(positions.begin(), positions.end(), positions.begin(), std::size_t{0});
        for (const SortEntry &entry : entries) spare[positions[entry.word >> shift & 0xFF]++] = entry;
        entries.swap(spare);
    }
}

}  // namespace

std::int32_t list_variables(const std::uint64_t *pattern, std::int32_t variable_count, bool unobserved,
                            std::int32_t *variables) {
    std::int32_t *next = variables;
    for (std::int32_t begin = 0; begin < variable_count; begin += 64) {
        std::uint64_t word = unobserved ? pattern[begin / 64] : ~pattern[begin / 64];
        const std::int32_t length = std::min(variable_count - begin, std::int32_t{64});
        if (length < 64) word &= ~(~std::uint64_t{0} >> length);
        for (; word != 0; ++next) {
            const int leading = std::countl_zero(word);
            *next = begin + leading;
            word &= ~(std::uint64_t{1} << (63 - leading));
        }
    }
    return static_cast<std::int32_t>(next - variables);
}

PatternCollector::PatternCollector(std::int32_t variable_count)
    : variable_count_(variable_count),
      word_count_(words_per_pattern(variable_count)),
      recent_(std::size_t{1} << kRecentBits) {}

const std::uint64_t *PatternCollector::words_of(std::int32_t index) const {
    return words_.data() + static_cast<std::size_t>(index) * word_count_;
}

bool PatternCollector::are_equal(std::int32_t left, std::int32_t right) const {
    const std::uint64_t *left_words = words_of(left);
    const std::uint64_t *right_words = words_of(right);
    std::size_t i = 0;
    while (i < word_count_ && left_words[i] == right_words[i]) ++i;
    return i == word_count_;
}

void PatternCollector::add(CaseRecord &record) {
    const auto index = static_cast<std::int32_t>(words_.size() / word_count_);
    words_.resize(words_.size() + word_count_);
    std::uint64_t *words = words_.data() + words_.size() - word_count_;
    std::uint64_t hash = 0;
    for (std::int32_t begin = 0; begin < variable_count_; begin += 64) {
        const std::int32_t end = std::min(variable_count_, begin + 64);
        std::uint64_t word = 0;
        for (std::int32_t i = begin; i < end; ++i) word = word << 1 | (record.states[i] != nullptr ? 1U : 0U);
        word <<= 64 - (end - begin);
        words[begin / 64] = word;
        // The product's high bits, which choose the slot, depend on all bits of the word and of the words before.
        hash = (hash >> 32 ^ hash ^ word) * 0x9E3779B97F4A7C15;
    }
    Recent &recent = recent_[hash >> (64 - kRecentBits)];
    if (recent.index < 0 || !are_equal(recent.index, index)) {
        recent = {index, nullptr};
    } else {
        words_.resize(words_.size() - word_count_);
    }
    record.pattern_index = recent.index;
    if (record.bounded_count > 0) return;
    if (recent.states == nullptr) recent.states = record.states;
    record.states = recent.states;
}

// A table can have as many patterns as cases, so they are sorted in a time in proportion to their words, whatever the
// patterns are.
std::vector<std::int32_t> PatternCollector::sort_into(Group &group) const {
    std::vector<SortEntry> entries(words_.size() / word_count_);
    for (std::size_t i = 0; i < entries.size(); ++i) entries[i].index = static_cast<std::int32_t>(i);
    std::vector<SortEntry> spare(entries.size());
    for (std::size_t word = word_count_; word-- > 0;) {
        std::uint64_t differing_bits = 0;
        for (SortEntry &entry : entries) {
            entry.word = words_of(entry.index)[word];
            differing_bits |= entry.word ^ entries.front().word;
        }
        sort_by_word(entries, spare, differing_bits);
    }

    std::vector<std::int32_t> new_index(entries.size());
    std::vector<std::int32_t> first_of_each;
    for (const SortEntry &entry : entries) {
        if (first_of_each.empty() || !are_equal(first_of_each.back(), entry.index))
            first_of_each.push_back(entry.index);
        new_index[static_cast<std::size_t>(entry.index)] = static_cast<std::int32_t>(first_of_each.size()) - 1;
    }
    const std::size_t count = first_of_each.size();
    auto sorted = std::make_unique_for_overwrite<std::uint64_t[]>(count * word_count_);
    for (std::size_t i = 0; i < count; ++i) {
        std::copy_n(words_of(first_of_each[i]), word_count_, sorted.get() + i * word_count_);
    }
    group.pattern_places = std::make_unique<std::uint32_t[]>(count);
    group.pattern_words = std::move(sorted);
    group.pattern_count = static_cast<std::int32_t>(count);
    return new_index;
}
