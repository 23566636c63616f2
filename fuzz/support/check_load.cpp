// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The comparison of a load by the engine with a load by the slow reader.

#include "support/check_load.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <new>
#include <vector>

#include "support/engine_inside.h"
#include "support/failure.h"
#include "support/fuzz_text.h"
#include "support/guarded_output.h"
#include "support/limited_heap.h"
#include "support/temp_folder.h"
#include "ullage/engine.h"

namespace {

constexpr std::size_t kHeapBudget = std::size_t{64} << 20;
constexpr std::int32_t kKeyCount = 4;
constexpr std::int32_t kLastErrorCapacity = 500;

std::string joined(const std::vector<std::u16string> &messages) {
    std::string text;
    for (const std::u16string &message : messages) text += to_utf8(message);
    return text;
}

void compare_number(const char *what, std::int64_t got, std::int64_t expected) {
    if (got != expected)
        fail("%s: got %lld, expected %lld", what, static_cast<long long>(got), static_cast<long long>(expected));
}

void compare_double(const char *what, std::size_t row, std::size_t column, double got, double expected) {
    if (std::bit_cast<std::uint64_t>(got) == std::bit_cast<std::uint64_t>(expected)) return;
    fail("%s of case %zu, variable %zu: got %a, expected %a", what, row + 1, column + 1, got, expected);
}

void compare_text(const char *what, const std::string &got, const std::string &expected) {
    if (got != expected) fail("%s:\n--- got\n%s\n--- expected\n%s\n---", what, got.c_str(), expected.c_str());
}

void check_names(const slow::Table &table) {
    std::int32_t variable_count = -1;
    compare_number("DS_NVariables", DS_NVariables(1, &variable_count), 0);
    compare_number("number of variables", variable_count, static_cast<std::int64_t>(table.variables.size()));
    for (std::int32_t number = 1; number <= variable_count; ++number) {
        const std::u16string &expected = table.variables[static_cast<std::size_t>(number - 1)].name;
        std::int32_t length = -1;
        compare_number("DS_VariableNameLength", DS_VariableNameLength(1, number, &length), 0);
        compare_number("length of a name", length, static_cast<std::int64_t>(expected.size()));
        GuardedOutput<char16_t> name(expected.size() + 1);
        compare_number("DS_VariableNameW", DS_VariableNameW(1, number, name.data()), 0);
        name.check(false, "DS_VariableNameW");
        if (name.data() != expected) fail("name %d differs", number);
    }
}

void check_cells(const slow::Table &table, bool mixture) {
    const std::size_t variable_count = table.variables.size();
    GuardedOutput<double> matrix(table.cases.size() * variable_count);
    compare_number("DS_DataMatrix", DS_DataMatrix(1, matrix.data()), 0);
    matrix.check(false, "DS_DataMatrix");
    for (std::size_t row = 0; row < table.cases.size(); ++row) {
        const auto case_number = static_cast<std::int32_t>(row + 1);
        for (std::size_t column = 0; column < variable_count; ++column) {
            const slow::Cell &cell = table.cases[row].cells[column];
            compare_double("value", row, column, matrix.elements()[row * variable_count + column], cell.value);
            std::int32_t type = -1;
            const auto variable_number = static_cast<std::int32_t>(column + 1);
            compare_number("DS_ConstraintTypeScalar", DS_ConstraintTypeScalar(1, case_number, variable_number, &type),
                           0);
            compare_number("state", type, static_cast<std::int64_t>(cell.state));
        }
        if (mixture) {
            const std::int32_t id = table.cases[row].group_id;
            const auto expected = std::count_if(table.cases.begin(), table.cases.end(),
                                                [&](const slow::Case &other) { return other.group_id == id; });
            std::int32_t size = -1;
            compare_number("DS_GetSampleSize", DS_GetSampleSize(id, &size), 0);
            compare_number("cases with a group id", size, expected);
        }
    }
}

void check_intervals(const slow::Table &table, const std::vector<std::vector<double>> &values) {
    for (std::size_t row = 0; row < table.cases.size(); ++row) {
        const slow::Case &record = table.cases[row];
        for (std::size_t column = 0; column < table.variables.size(); ++column) {
            const slow::Interval expected =
                slow::interval(record.cells[column], values[row][column], values[record.first_copy]);
            const CellInterval got = cell_interval(static_cast<std::int32_t>(row), static_cast<std::int32_t>(column));
            compare_double("lower bound", row, column, got.lower, expected.lower);
            compare_double("upper bound", row, column, got.upper, expected.upper);
        }
    }
}

// Bounds that refer to an undefined cell do not count, so they are seen only once the cells hold something.
void check_bounds(const slow::Table &table) {
    std::vector<std::vector<double>> values;
    for (const slow::Case &record : table.cases) {
        values.emplace_back();
        for (const slow::Cell &cell : record.cells) values.back().push_back(cell.value);
    }
    check_intervals(table, values);
    for (const double step : {1.0, -0.75}) {
        for (std::size_t row = 0; row < table.cases.size(); ++row) {
            for (std::size_t column = 0; column < table.variables.size(); ++column) {
                double &value = values[row][column];
                value = 0.125 + static_cast<double>(row) + step * static_cast<double>(column);
                set_cell_value(static_cast<std::int32_t>(row), static_cast<std::int32_t>(column), value);
            }
        }
        check_intervals(table, values);
    }
}

void open_and_load(const std::u16string &text, const slow::Options &options, const TempFolder &folder,
                   std::int32_t &result) {
    const EngineHeapScope limited;
    DS_GibbsOpen(folder.wide_path("trace").c_str(), folder.wide_path("error").c_str());
    DS_SetMixtureModeling(options.mixture ? 1 : 0);
    if (options.rank_order) DS_AllowRankOrder();
    std::int32_t group_count = 0;
    compare_number("DS_CreateGroup", DS_CreateGroup(0, &group_count, kKeyCount, 16, 0), 0);
    for (const auto &[name, slot] : options.key_names) {
        compare_number("DS_KeyVariableDef", DS_KeyVariableDef(slot, name.c_str()), 0);
    }
    if (options.weight_name) compare_number("DS_KeyWeight", DS_KeyWeight(options.weight_name->c_str()), 0);
    result = DS_KeyGroupDef(options.group_name.c_str(), text.c_str());
}

void check_loaded(const slow::Table &table, const slow::Options &options, std::int32_t result) {
    compare_number("DS_KeyGroupDef", result, table.outcome == slow::Outcome::accepted ? 0 : 1);
    std::int32_t case_count = -1;
    compare_number("DS_GetGroupOneTotalSampleSize", DS_GetGroupOneTotalSampleSize(&case_count), 0);
    compare_number("number of cases", case_count, static_cast<std::int64_t>(table.case_count));
    if (table.outcome != slow::Outcome::bad_header) check_names(table);

    char16_t last_error[kLastErrorCapacity];
    compare_number("DS_GetErrorMessageW", DS_GetErrorMessageW(last_error, kLastErrorCapacity), 0);
    compare_text("last error", to_utf8(last_error), to_utf8(table.last_error.value_or(u"")));

    compare_number("DS_KeyEnd", DS_KeyEnd(), 0);
    if (table.outcome != slow::Outcome::accepted) return;
    check_cells(table, options.mixture);
    check_bounds(table);
}

void add_unused_slots(slow::Table &table) {
    for (std::int32_t slot = 0; slot < kKeyCount; ++slot) {
        const auto &used = table.used_slots;
        if (std::find(used.begin(), used.end(), slot) != used.end()) continue;
        const std::string message = "Unused variable definition " + std::to_string(slot) + ".\n";
        table.error_log.emplace_back(message.begin(), message.end());
    }
}

}  // namespace

void check_load(const std::u16string &text, const slow::Options &options) {
    static const TempFolder folder;
    slow::Table table = slow::read(text, options);

    load_engine();
    set_heap_budget(kHeapBudget);
    bool known = table.outcome != slow::Outcome::too_many;
    try {
        std::int32_t result = -1;
        open_and_load(text, options, folder, result);
        if (known) check_loaded(table, options, result);
    } catch (const std::bad_alloc &) {
        if (known) fail("the engine ran out of memory on a table of %zu cases", table.case_count);
    }
    if (has_open_mark()) fail("a mark is left open");
    unload_engine();
    if (!known) return;
    add_unused_slots(table);
    compare_text("error log", folder.text("error"), joined(table.error_log));
    compare_text("trace log", folder.text("trace"), joined(table.trace_log));
}
