// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A group of cases with its variable table, its key dictionary and its names.

#include "frame/group.h"

#include <algorithm>

#include "frame/log.h"
#include "frame/session_state.h"

namespace {

char16_t fold(char16_t unit) {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
}

bool equal_names(std::u16string_view left, const char16_t *right) {
    for (char16_t unit : left) {
        if (fold(unit) != fold(*right) || *right == 0) return false;
        ++right;
    }
    return *right == 0;
}

// Fowler, Noll and Vo's function 1a, with units for bytes.
std::uint64_t hash_name(std::u16string_view name) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (char16_t unit : name) hash = (hash ^ fold(unit)) * 0x100000001B3;
    return hash;
}

// By hash, so that long names with a common beginning are seldom compared; by name, so that names that were made to
// collide are found as fast; by index, so that the first of a name stands first.
bool stands_before(const NamedVariable &left, const NamedVariable &right) {
    if (left.hash != right.hash) return left.hash < right.hash;
    const auto is_less = [](char16_t a, char16_t b) { return fold(a) < fold(b); };
    const auto less = [&](std::u16string_view a, std::u16string_view b) {
        return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), is_less);
    };
    if (less(left.name, right.name)) return true;
    return !less(right.name, left.name) && left.index < right.index;
}

}  // namespace

Group *group_construct(Group *previous, std::int32_t key_count, std::int32_t dictionary_capacity) {
    auto group = std::make_unique<Group>();
    group->strings.text = std::make_unique_for_overwrite<char16_t[]>(StringPool::kTextCapacity);
    group->strings.text[0] = 0;
    group->strings.index = std::make_unique_for_overwrite<char16_t *[]>(StringPool::kIndexCapacity);
    group->group_name = u"";
    group->key_count = key_count;
    group->weight_index = -1;
    group->key_flags = std::make_unique<std::int32_t[]>(static_cast<std::size_t>(key_count));
    group->dictionary = std::make_unique<KeyDictionary>();
    group->dictionary->capacity = dictionary_capacity;
    group->dictionary->entries =
        std::make_unique_for_overwrite<DictionaryEntry[]>(static_cast<std::size_t>(dictionary_capacity));

    // Nothing below can run out of memory.
    if (previous != nullptr) previous->next = group.get();
    state.weight_variable = nullptr;
    group->construction_failed = dictionary_add(*group->dictionary, u"\\default", &group->key_flags[0]) != 0;
    return group.release();
}

int dictionary_add(KeyDictionary &dictionary, const char16_t *name, std::int32_t *flag) {
    if (dictionary.count == dictionary.capacity) {
        log_printf(state.ErrorLog, u"Too many items for dictionary.");
        return 1;
    }
    dictionary.entries[static_cast<std::size_t>(dictionary.count++)] = {name, flag};
    return 0;
}

std::int32_t *dictionary_find(const KeyDictionary &dictionary, std::u16string_view name) {
    const DictionaryEntry *first = dictionary.entries.get();
    const DictionaryEntry *last = first + dictionary.count;
    const DictionaryEntry *found =
        std::find_if(first, last, [&](const DictionaryEntry &entry) { return equal_names(name, entry.name); });
    return found == last ? nullptr : found->flag;
}

bool string_pool_has_room(const StringPool &pool, std::size_t units, std::int32_t strings) {
    return units <= static_cast<std::size_t>(StringPool::kTextCapacity - pool.used) &&
           strings <= StringPool::kIndexCapacity - pool.count;
}

const char16_t *string_pool_add(StringPool &pool, std::u16string_view text) {
    char16_t *copy = pool.text.get() + pool.used;
    pool.index[static_cast<std::size_t>(pool.count++)] = copy;
    *std::copy(text.begin(), text.end(), copy) = 0;
    pool.used += static_cast<std::int32_t>(text.size()) + 1;
    return copy;
}

void index_variables(Group &group) {
    group.variables_by_name.clear();
    for (std::int32_t i = 0; i < group.variable_count; ++i) {
        const std::u16string_view name = group.variables[static_cast<std::size_t>(i)].name;
        group.variables_by_name.push_back({hash_name(name), name, i});
    }
    std::sort(group.variables_by_name.begin(), group.variables_by_name.end(), stands_before);
}

std::int32_t variable_index(const Group &group, std::u16string_view name) {
    const auto last = group.variables_by_name.end();
    const auto found =
        std::lower_bound(group.variables_by_name.begin(), last, NamedVariable{hash_name(name), name, 0}, stands_before);
    if (found == last) return -1;
    return equal_names(name, group.variables[static_cast<std::size_t>(found->index)].name) ? found->index : -1;
}
