// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The distinct patterns of unobserved cells of a group.

#include "data/pattern_table.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <numeric>

namespace {

constexpr std::int32_t kEmpty = -1;

std::uint64_t hash_words(const std::uint64_t *words, std::size_t count) {
    std::uint64_t hash = 0;
    for (std::size_t i = 0; i < count; ++i) {
        hash = (hash ^ words[i]) * 0x9E3779B97F4A7C15;  // multiplication moves every bit upward,
        hash ^= hash >> 32;                             // and the shift brings it back to the low bits that are used
    }
    return hash;
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
    : word_count_(words_per_pattern(variable_count)), words_(word_count_), slots_(64, kEmpty) {}

void PatternCollector::begin() {
    std::fill(words_.end() - static_cast<std::ptrdiff_t>(word_count_), words_.end(), 0);
}

void PatternCollector::mark_unobserved(std::int32_t variable) {
    words_[words_.size() - word_count_ + static_cast<std::size_t>(variable) / 64] |= std::uint64_t{1}
                                                                                     << (63 - variable % 64);
}

const std::uint64_t *PatternCollector::words_of(std::int32_t index) const {
    return words_.data() + static_cast<std::size_t>(index) * word_count_;
}

bool PatternCollector::is_present(std::int32_t index) const {
    return std::equal(words_of(index), words_of(index) + word_count_, words_of(pattern_count_));
}

std::int32_t PatternCollector::find_or_add() {
    if (last_ >= 0 && is_present(last_)) return last_;
    const std::size_t mask = slots_.size() - 1;
    std::size_t slot = hash_words(words_of(pattern_count_), word_count_) & mask;
    while (slots_[slot] != kEmpty && !is_present(slots_[slot])) slot = (slot + 1) & mask;
    if (slots_[slot] == kEmpty) {
        words_.resize(words_.size() + word_count_);  // the pattern at hand stays, behind it is room for the next
        slots_[slot] = pattern_count_++;
        last_ = slots_[slot];
        if (static_cast<std::size_t>(pattern_count_) * 2 > slots_.size()) grow_slots();
        return last_;
    }
    last_ = slots_[slot];
    return last_;
}

void PatternCollector::grow_slots() {
    std::vector<std::int32_t> slots(slots_.size() * 2, kEmpty);
    const std::size_t mask = slots.size() - 1;
    for (std::int32_t index = 0; index < pattern_count_; ++index) {
        std::size_t slot = hash_words(words_of(index), word_count_) & mask;
        while (slots[slot] != kEmpty) slot = (slot + 1) & mask;
        slots[slot] = index;
    }
    slots_.swap(slots);
}

std::vector<std::int32_t> PatternCollector::sort_into(Group &group) const {
    const auto count = static_cast<std::size_t>(pattern_count_);
    std::vector<std::int32_t> order(count);
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(), [this](std::int32_t left, std::int32_t right) {
        return std::lexicographical_compare(words_of(left), words_of(left) + word_count_, words_of(right),
                                            words_of(right) + word_count_);
    });
    auto sorted = std::make_unique_for_overwrite<std::uint64_t[]>(count * word_count_);
    std::vector<std::int32_t> new_index(count);
    for (std::size_t i = 0; i < count; ++i) {
        std::copy_n(words_of(order[i]), word_count_, sorted.get() + i * word_count_);
        new_index[static_cast<std::size_t>(order[i])] = static_cast<std::int32_t>(i);
    }
    group.pattern_places = std::make_unique<std::uint32_t[]>(count);
    group.pattern_words = std::move(sorted);
    group.pattern_count = pattern_count_;
    return new_index;
}
