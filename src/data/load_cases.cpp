// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The records of a data text.

#include <algorithm>
#include <limits>
#include <string_view>
#include <vector>

#include "data/case_record.h"
#include "data/cell_text.h"
#include "data/load.h"
#include "data/number_text.h"
#include "data/pattern_table.h"
#include "frame/log.h"

namespace {

// Room for cases that stand next to each other in memory, values behind values, so that the loops over cases run
// through contiguous numbers.
struct CaseRun {
    CaseRecord *records;
    double *values;
    CellState *states;
    std::size_t room;  // cases that still fit
};

CaseRun take_case_run(std::size_t case_count, std::size_t variable_count, bool with_states) {
    CaseRun run;
    run.records = pool_array<CaseRecord>(state.DataPool, case_count);
    run.values = pool_array<double>(state.DataPool, checked_product(case_count, variable_count));
    run.states =
        with_states ? pool_array<CellState>(state.DataPool, checked_product(case_count, variable_count)) : nullptr;
    run.room = case_count;
    return run;
}

// How many cases to make room for: as many again as there are, within limits that keep what stays unused small. All
// that are still to come where they need no text any more: they cost nothing but memory, and if that cannot be had it
// must show at once.
std::size_t run_length(const Group &group, const DataTextReader &reader, bool mixture_mode, std::size_t lines_left) {
    constexpr std::size_t kSmallestRun = 16;
    constexpr std::size_t kLargestRunBytes = std::size_t{1} << 20;
    const bool has_no_items = reader.variable_count == 0 && !mixture_mode;
    const bool can_lack_items = reader.variable_count <= 1 && group.weight_index < 0;
    // Group ids are read on after an empty item has ended the data.
    const bool is_data_over = reader_is_at_text_end(reader) || (reader.at_end && !mixture_mode);
    if (has_no_items || (can_lack_items && is_data_over)) return lines_left;
    const auto variable_count = static_cast<std::size_t>(group.variable_count);
    const std::size_t case_bytes = sizeof(CaseRecord) + variable_count * (sizeof(double) + sizeof(CellState));
    const std::size_t largest_run = std::max(kLargestRunBytes / case_bytes, std::size_t{1});
    const std::size_t loaded = std::max(static_cast<std::size_t>(group.case_count), kSmallestRun);
    return std::min({loaded, largest_run, lines_left});
}

// The next case of the run, every cell observed and undefined, linked behind the previous one.
CaseRecord *case_record_init(CaseRun &run, std::size_t variable_count, CaseRecord *previous) {
    CaseRecord *record = run.records++;
    *record = {};
    record->values = run.values;
    record->states = run.states;
    std::fill_n(record->values, variable_count, kUndefined);
    std::fill_n(record->states, variable_count, CellState{nullptr});
    run.values += variable_count;
    --run.room;
    if (previous != nullptr) previous->next = record;
    return record;
}

// The item without its blanks, in the buffer if there are any.
std::u16string_view strip_blanks(std::u16string_view item, char16_t *buffer) {
    if (item.find(u' ') == std::u16string_view::npos) return item;
    char16_t *end = std::copy_if(item.begin(), item.end(), buffer, [](char16_t unit) { return unit != u' '; });
    return {buffer, static_cast<std::size_t>(end - buffer)};
}

bool read_group_id(DataTextReader &reader, std::int32_t &id) {
    double value;
    return read_numeric_item(reader, kRecordItemLimit, value) && truncate_to_int32(value + 0.01, id);
}

bool read_case_weight(std::u16string_view text, std::int32_t &weight) {
    return parse_whole_number(text, weight) && weight > 0;
}

void tally_cell_states(CaseRecord &record, std::int32_t variable_count, PatternCollector &patterns) {
    std::int32_t unobserved_count = 0;
    for (std::int32_t i = 0; i < variable_count; ++i) {
        unobserved_count += record.states[i] != nullptr ? 1 : 0;
        record.missing_count += record.states[i] == &MissingMarker ? 1 : 0;
    }
    record.bounded_count = unobserved_count - record.missing_count;
    patterns.add(record);
}

// Read one line into the current case. Nothing is undone on 1.
int read_one_record(const Group &group, DataTextReader &reader, bool mixture_mode, PatternCollector &patterns,
                    std::int32_t &weight) {
    weight = 1;
    const bool has_weight = group.weight_index >= 0;
    const std::int32_t item_count = group.variable_count + (has_weight ? 1 : 0);
    CaseRecord &record = *state.current_record;
    if (mixture_mode) {
        if (!read_group_id(reader, record.fixed_group_id)) {
            record_last_error(u"There was a failed attempt to read a group ID in read_one_record.");
            return 1;
        }
        record.current_group_id = record.fixed_group_id;
    }
    for (std::int32_t column = 0; column < item_count; ++column) {
        const bool is_weight = column == group.weight_index;
        const std::int32_t cell = has_weight && column > group.weight_index ? column - 1 : column;
        std::u16string_view item;
        // Most items are plain numbers or stars.
        const PlainItem plain = is_weight ? PlainItem::none : read_plain_item(reader, record.values[cell]);
        if (plain == PlainItem::none) (void)read_data_item(reader, kRecordItemLimit, item);
        if (item.size() > kRecordItemLimit) return 1;
        // The record goes by the delimiter alone, not by the number of items that the reader has counted.
        const bool is_last = column == item_count - 1;
        if (is_last && !reader_at_line_end(reader)) {
            log_printf(state.ErrorLog, u"Data record number %d is too long in the file %s.\n",
                       {reader.record_number + 1, kLoadLabel});
            return 1;
        }
        if (!is_last && reader_at_line_end(reader)) {
            log_printf(state.ErrorLog, u"A data record in group %s is too short.\n", {group.group_name});
            return 1;
        }
        if (plain != PlainItem::none) {
            // Also where an earlier cell has bounded this one.
            record.states[cell] = plain == PlainItem::star ? &MissingMarker : nullptr;
            continue;
        }
        char16_t buffer[kRecordItemLimit];
        item = strip_blanks(item, buffer);
        if (is_weight) {
            if (!read_case_weight(item, weight)) {
                log_printf(state.ErrorLog, u"The string, '%s', can't be interpreted as a case weight.\n", {item});
                return 1;
            }
        } else if (parse_cell(group, item, cell) != 0) {
            return 1;
        }
    }
    tally_cell_states(record, group.variable_count, patterns);
    return 0;
}

// A copy of a case behind it, with values of its own and the source's states and bounds.
void case_record_copy(CaseRecord *record, double *values, std::size_t variable_count, CaseRecord *source) {
    *record = *source;
    record->values = values;
    record->next = nullptr;
    std::copy_n(source->values, variable_count, values);
    source->next = record;
}

void repeat_case(std::size_t copies, std::size_t variable_count) {
    CaseRun run = take_case_run(copies, variable_count, false);
    for (; run.room > 0; --run.room) {
        CaseRecord *record = run.records++;
        case_record_copy(record, run.values, variable_count, state.current_record);
        state.current_record = record;
        run.values += variable_count;
    }
}

CaseKind kind_of(const CaseRecord &record) {
    if (record.bounded_count > 0) return CaseKind::bounded;
    return record.missing_count > 0 ? CaseKind::missing : CaseKind::complete;
}

void index_cases(Group &group, const std::vector<std::int32_t> &new_pattern_index) {
    const auto case_count = static_cast<std::size_t>(group.case_count);
    auto index = std::make_unique_for_overwrite<CaseRecord *[]>(case_count);
    group.outlines = std::make_unique_for_overwrite<CaseOutline[]>(case_count);
    std::size_t i = 0;
    for (CaseRecord *record = group.first_case; record != nullptr; record = record->next, ++i) {
        record->pattern_index = new_pattern_index[static_cast<std::size_t>(record->pattern_index)];
        group.outlines[i] = {record->values, record->pattern_index, kind_of(*record)};
        index[i] = record;
    }
    group.case_index = std::move(index);
}

}  // namespace

int load_group_cases(Group &group, DataTextReader &reader, bool mixture_mode) {
    reader_rewind_to_records(reader);
    const auto variable_count = static_cast<std::size_t>(group.variable_count);
    state.current_record = nullptr;
    PatternCollector patterns(group.variable_count);
    CaseRun run{};
    for (std::int32_t line = 0; line < reader.case_count; ++line) {
        if (run.room == 0) {
            const auto lines_left = static_cast<std::size_t>(reader.case_count - line);
            run = take_case_run(run_length(group, reader, mixture_mode, lines_left), variable_count, true);
        }
        state.current_record = case_record_init(run, variable_count, state.current_record);
        state.current_values = state.current_record->values;
        state.current_states = state.current_record->states;
        if (line == 0) group.first_case = state.current_record;
        std::int32_t weight;
        if (read_one_record(group, reader, mixture_mode, patterns, weight) != 0) return 1;
        if (state.current_record->states == run.states) run.states += variable_count;
        if (weight > std::numeric_limits<std::int32_t>::max() - group.case_count) return 1;
        if (weight > 1) repeat_case(static_cast<std::size_t>(weight) - 1, variable_count);
        group.case_count += weight;
    }
    const std::vector<std::int32_t> new_index = patterns.sort_into(group);
    index_cases(group, new_index);
    return 0;
}
