// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The names line of a data text.

#include <algorithm>
#include <limits>
#include <string_view>

#include "data/load.h"
#include "frame/log.h"
#include "frame/session_state.h"
#include "platform/character_class.h"

namespace {

void check_variable_name(std::u16string_view name) {
    const bool is_allowed =
        std::all_of(name.begin(), name.end(), [](char16_t unit) { return is_letter_or_digit(unit) || unit == u'_'; });
    if (is_allowed) return;
    report_reader_error(u"The string, '%s',\nin the file, %s, is not allowed as a variable name.\n",
                        {name, kReaderLabel});
}

// Nothing that is wrong with a name ends the load; only standard error shows it.
std::u16string_view read_name_item(DataTextReader &reader) {
    const std::int32_t name_number = reader.item_number + 1;
    std::u16string_view name;
    const ItemStatus status = read_data_item(reader, std::numeric_limits<std::size_t>::max(), name);
    check_variable_name(name);
    if (status == ItemStatus::nothing_read) report_reader_error_pair(u"temp", u"unexpected end of file");
    if (status == ItemStatus::star) {
        report_reader_error(u"In the file, %s,\nvariable number %d has an empty string for a name.\n",
                            {kReaderLabel, name_number});
    }
    return name;
}

void read_names(Group &group, DataTextReader &reader, bool mixture_mode) {
    const auto variable_count = static_cast<std::size_t>(reader.variable_count);
    group.name_text = std::make_unique_for_overwrite<char16_t[]>(reader.name_units);
    group.variables = std::make_unique<VariableEntry[]>(variable_count);
    group.variable_count = reader.variable_count;
    reader_rewind_to_names(reader);
    if (mixture_mode) (void)read_name_item(reader);  // the group id column: its name is checked and dropped
    char16_t *place = group.name_text.get();
    for (std::size_t i = 0; i < variable_count; ++i) {
        const std::u16string_view name = read_name_item(reader);
        std::int32_t *key = dictionary_find(*group.dictionary, name);
        if (key == nullptr) key = &group.key_flags[0];
        *key = 1;
        group.variables[i] = {key, place};
        place = std::copy(name.begin(), name.end(), place);
        *place++ = 0;
    }
}

void remove_variable(Group &group, std::int32_t index) {
    VariableEntry *variables = group.variables.get();
    std::copy(variables + index + 1, variables + group.variable_count, variables + index);
    --group.variable_count;
    index_variables(group);
}

}  // namespace

int read_variable_table(Group &group, DataTextReader &reader, bool mixture_mode) {
    read_names(group, reader, mixture_mode);
    index_variables(group);
    for (std::int32_t i = 0; i < group.variable_count; ++i) {
        log_printf(state.ErrorLog, u"%d [%s]\n", {i + 1, group.variables[static_cast<std::size_t>(i)].name});
    }
    if (state.weight_variable == nullptr) return 0;
    group.weight_index = variable_index(group, state.weight_variable);
    if (group.weight_index < 0) {
        log_printf(state.ErrorLog,
                   u"The variable, '%s', is named as a case weight variable, but it doesn't exist in the data file, "
                   u"'%s'.\n",
                   {state.weight_variable, kLoadLabel});
        return 1;
    }
    remove_variable(group, group.weight_index);
    return 0;
}
