// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What is known of each transformation, in one list.

#include "ullage/host/table/transformations.h"

#include <fmt/format.h>

#include <algorithm>

namespace ullage::host {
namespace {

struct Entry {
    std::string_view name;
    std::string_view noun;
    Range range;
};

const Entry &entry_of(Transformation transformation) {
    static constexpr std::array<Entry, kTransformations.size()> kEntries = {{
        {"none", "value", {-kOpen, kOpen, false, "numbers"}},
        {"log", "logarithm", {0.0, kOpen, false, "values above 0"}},
        {"sqrt", "square root", {0.0, kOpen, true, "values of 0 or above"}},
        {"logit", "logit", {0.0, 1.0, false, "values between 0 and 1, without the ends"}},
    }};
    return kEntries[static_cast<std::size_t>(transformation)];
}

}  // namespace

std::string_view name_of(Transformation transformation) {
    return entry_of(transformation).name;
}

std::optional<Transformation> transformation_named(std::string_view name) {
    const auto found = std::ranges::find(kTransformations, name, [](Transformation known) { return name_of(known); });
    if (found == kTransformations.end()) return std::nullopt;
    return *found;
}

std::string_view noun_of(Transformation transformation) {
    return entry_of(transformation).noun;
}

std::string unambiguous_name(std::string_view column) {
    if (column.find_first_of("(),`") == std::string_view::npos) return std::string(column);
    std::string name = "`";
    for (const char c : column) name += c == '`' ? "``" : std::string(1, c);
    return name + '`';
}

std::string transformed_name(Transformation transformation, std::string_view column) {
    if (transformation == Transformation::none) return unambiguous_name(column);
    return fmt::format("{}({})", name_of(transformation), unambiguous_name(column));
}

Range range_of(Transformation transformation) {
    return entry_of(transformation).range;
}

}  // namespace ullage::host
