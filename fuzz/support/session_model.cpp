// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The model of a session.

#include "support/session_model.h"

namespace {

constexpr std::size_t kMostNameUnits = 20000;
constexpr std::u16string_view kDataLabel = u"dtz.dtz";

}  // namespace

void SessionModel::open() {
    is_open_ = true;
    head_.reset();
    current_.reset();
    workspace_order_ = 1;
    prepared_order = -1;
}

void SessionModel::close() {
    is_open_ = false;
    head_.reset();
    current_.reset();
    workspace_order_ = 0;
    prepared_order = -1;
}

int SessionModel::create_group(std::int32_t key_count, std::int32_t dictionary_capacity, bool has_output) {
    if (!is_open_ || !has_output || key_count < 1 || dictionary_capacity < 0) return 1;
    const std::size_t made = groups_.size();
    ModelGroup &group = groups_.emplace_back();
    group.key_count = key_count;
    group.dictionary_capacity = dictionary_capacity;
    group.dictionary_count = dictionary_capacity == 0 ? 0 : 1;
    if (current_) groups_[*current_].next = made;
    if (!head_) head_ = made;
    current_ = made;
    weight_name_.reset();
    return dictionary_capacity == 0 ? 1 : 0;
}

std::int32_t SessionModel::listed_group_count() const {
    std::int32_t count = 0;
    for (std::optional<std::size_t> group = head_; group; group = groups_[*group].next) ++count;
    return count;
}

int SessionModel::go_to(std::int32_t group_number) {
    if (group_number == 0 || mixture_mode != 0) return 0;
    current_ = head_;
    for (std::int32_t i = 1; i < group_number && current_; ++i) current_ = groups_[*current_].next;
    return current_ ? 0 : 1;
}

ModelGroup *SessionModel::current() {
    return current_ ? &groups_[*current_] : nullptr;
}

ModelGroup *SessionModel::enter(std::int32_t group_number) {
    return go_to(group_number) == 0 ? current() : nullptr;
}

bool SessionModel::take_name_units(ModelGroup &group, std::size_t units) {
    if (units > kMostNameUnits - group.name_units) return false;
    group.name_units += units;
    return true;
}

int SessionModel::define_key(std::int32_t slot, const std::u16string &name) {
    ModelGroup *group = current();
    if (group == nullptr || slot < 0 || slot >= group->key_count) return 1;
    if (!take_name_units(*group, name.size() + 1)) return 1;
    if (group->dictionary_count == group->dictionary_capacity) return 1;
    ++group->dictionary_count;
    group->options.key_names.emplace_back(name, slot);
    return 0;
}

int SessionModel::name_weight(const std::u16string &name) {
    ModelGroup *group = current();
    if (group == nullptr || !take_name_units(*group, name.size() + 1)) return 1;
    weight_name_ = name;
    return 0;
}

int SessionModel::load(const std::u16string &name, const std::u16string &text) {
    ModelGroup *group = current();
    if (group == nullptr || group->definition_tried) return 1;
    group->definition_tried = true;
    if (!take_name_units(*group, name.size() + kDataLabel.size() + 2)) return 1;
    group->options.mixture = mixture_mode != 0;
    group->options.rank_order = rank_order;
    group->options.weight_name = weight_name_;
    group->options.group_name = name;
    slow::Table &table = group->table;
    table = slow::read(text, group->options);
    for (const slow::Case &record : table.cases) group->current_ids.push_back(record.group_id);
    if (table.last_error) last_error = *table.last_error;
    const bool reached_records = table.outcome == slow::Outcome::accepted || table.outcome == slow::Outcome::bad_record;
    if (reached_records && group->variable_count() > workspace_order_) {
        workspace_order_ = group->variable_count();
        prepared_order = -1;
    }
    return group->is_loaded() ? 0 : 1;
}

bool SessionModel::is_selected(const ModelGroup &group, std::size_t case_index, std::int32_t group_number) const {
    return mixture_mode == 0 || group.current_ids[case_index] == group_number;
}
