// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// What a session should answer to any call, but for the numbers that are drawn: groups, keys, tables, counts.

#ifndef ULLAGE_FUZZ_SUPPORT_SESSION_MODEL_H
#define ULLAGE_FUZZ_SUPPORT_SESSION_MODEL_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/slow_reader.h"

struct ModelGroup {
    std::int32_t key_count = 0;
    std::int32_t dictionary_capacity = 0;
    std::int32_t dictionary_count = 0;
    std::size_t name_units = 0;  // of the 20,000
    bool definition_tried = false;
    slow::Options options;
    slow::Table table;  // values as they are now
    std::vector<std::int32_t> current_ids;
    std::optional<std::size_t> next;

    bool is_loaded() const { return definition_tried && table.outcome == slow::Outcome::accepted; }
    std::int32_t variable_count() const { return static_cast<std::int32_t>(table.variables.size()); }
    std::int32_t case_count() const { return static_cast<std::int32_t>(table.case_count); }
    bool has_case(std::int32_t number) const { return is_loaded() && number >= 1 && number <= case_count(); }
    bool has_variable(std::int32_t number) const { return number >= 1 && number <= variable_count(); }
};

// Every function gives the result that the export should give.
class SessionModel {
public:
    void open();
    void close();
    int create_group(std::int32_t key_count, std::int32_t dictionary_capacity, bool has_output);
    int go_to(std::int32_t group_number);
    int define_key(std::int32_t slot, const std::u16string &name);
    int name_weight(const std::u16string &name);
    int load(const std::u16string &name, const std::u16string &text);

    // The group after a move to it; null if there is none.
    ModelGroup *enter(std::int32_t group_number);

    // The current group; null if there is none.
    ModelGroup *current();

    std::int32_t listed_group_count() const;
    bool is_selected(const ModelGroup &group, std::size_t case_index, std::int32_t group_number) const;

    std::int32_t mixture_mode = 0;
    bool rank_order = false;
    std::int32_t test_word = 0;
    std::u16string last_error;
    std::int32_t prepared_order = -1;  // of the covariance that the workspaces hold, -1 if they hold none

private:
    // Take room for texts among the names of a group.
    static bool take_name_units(ModelGroup &group, std::size_t units);

    bool is_open_ = false;
    std::int32_t workspace_order_ = 0;
    std::vector<ModelGroup> groups_;
    std::optional<std::size_t> head_;
    std::optional<std::size_t> current_;
    std::optional<std::u16string> weight_name_;
};

#endif
