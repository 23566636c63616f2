// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A group of cases with its variable table, its key dictionary and its names.

#ifndef ULLAGE_FRAME_GROUP_H
#define ULLAGE_FRAME_GROUP_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

struct CaseRecord;

// Entries of one key dictionary: a name that the dictionary does not own, and the key-use flag that it stands for.
struct DictionaryEntry {
    const char16_t *name;
    std::int32_t *flag;
};

// A table of fixed size with a linear search; the first entry is always "\default".
struct KeyDictionary {
    std::int32_t capacity;
    std::int32_t count;
    std::unique_ptr<DictionaryEntry[]> entries;
};

// Append-only store of wide strings. A stored string never moves.
struct StringPool {
    static constexpr std::int32_t kTextCapacity = 20000;
    static constexpr std::int32_t kIndexCapacity = 20000;

    std::unique_ptr<char16_t[]> text;
    std::unique_ptr<char16_t *[]> index;  // where each string begins
    std::int32_t used;                    // units taken, terminators included
    std::int32_t count;
};

struct VariableEntry {
    std::int32_t *key;
    const char16_t *name;
};

// Which cells of a case are to be drawn.
enum class CaseKind : std::int32_t {
    complete,  // none
    missing,   // missing ones only
    bounded,   // bounded ones, and perhaps missing ones
};

// What passes and estimates read of a case, apart from the rest of its record, of which they then read nothing.
struct CaseOutline {
    double *values;
    std::int32_t pattern_index;
    CaseKind kind;
};

// A variable among those sorted by name.
struct NamedVariable {
    std::uint64_t hash;  // of the name; names with the same one stand in their own order
    std::u16string_view name;
    std::int32_t index;
};

struct Group {
    std::int32_t variable_count;  // without the weight variable
    std::int32_t case_count;      // repeated cases included
    bool construction_failed;
    std::unique_ptr<KeyDictionary> dictionary;
    std::unique_ptr<char16_t[]> name_text;
    CaseRecord *first_case;
    std::unique_ptr<CaseRecord *[]> case_index;  // in load order; exists once the load has succeeded
    std::unique_ptr<CaseOutline[]> outlines;     // in the same order
    Group *next;
    StringPool strings;
    std::int32_t key_count;
    std::unique_ptr<std::int32_t[]> key_flags;
    std::unique_ptr<VariableEntry[]> variables;
    std::vector<NamedVariable> variables_by_name;
    const char16_t *group_name;
    std::int32_t weight_index;  // column of the weight variable, -1 if there is none

    bool definition_tried;  // DS_KeyGroupDef takes a group once, however that ends
    Group *created_before;  // the chain of all groups that exist, listed or not

    std::int32_t pattern_count;                       // distinct patterns of unobserved cells
    std::unique_ptr<std::uint64_t[]> pattern_words;   // the patterns in ascending order, see data/pattern_table.h
    std::unique_ptr<std::uint32_t[]> pattern_places;  // one word per pattern for the pass at hand
};

// Build a group and link it behind previous, if there is one. On std::bad_alloc nothing has changed.
[[nodiscard]] Group *group_construct(Group *previous, std::int32_t key_count, std::int32_t dictionary_capacity);

// 1 if the dictionary is full.
[[nodiscard]] int dictionary_add(KeyDictionary &dictionary, const char16_t *name, std::int32_t *flag);

// The flag of the first entry of that name, A to Z compared as a to z; null if there is none.
[[nodiscard]] std::int32_t *dictionary_find(const KeyDictionary &dictionary, std::u16string_view name);

// Whether strings of these many units in all, terminators included, still fit.
[[nodiscard]] bool string_pool_has_room(const StringPool &pool, std::size_t units, std::int32_t strings);

[[nodiscard]] const char16_t *string_pool_add(StringPool &pool, std::u16string_view text);

// Sort the variables by name for variable_index.
void index_variables(Group &group);

// Index of the first variable of that name, A to Z compared as a to z; -1 if there is none.
[[nodiscard]] std::int32_t variable_index(const Group &group, std::u16string_view name);

[[nodiscard]] inline bool is_loaded(const Group &group) {
    return group.case_index != nullptr;
}

#endif
