// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The names of parameters.

#include "ullage/host/model/parameter_names.h"

#include <fmt/format.h>

#include "ullage/host/model/model_table.h"
#include "ullage/host/table/transformations.h"

namespace ullage::host {

std::vector<std::string> parameter_names(const ModelTable &model) {
    std::vector<std::string> columns;
    for (std::size_t i = 0; i < model.variables.list.size(); ++i) {
        columns.push_back(transformed_name(model.variables.scales[i].transformation, model.variables.list[i].name));
    }
    return parameter_names(columns);
}

std::vector<std::string> parameter_names(std::span<const std::string> columns) {
    std::vector<std::string> names;
    for (const std::string &column : columns) names.push_back(fmt::format("mean({})", column));
    for (std::size_t i = 0; i < columns.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) names.push_back(fmt::format("cov({},{})", columns[i], columns[j]));
        names.push_back(fmt::format("var({})", columns[i]));
    }
    return names;
}

}  // namespace ullage::host
