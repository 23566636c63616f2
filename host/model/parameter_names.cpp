// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The names of parameters.

#include "ullage/host/model/parameter_names.h"

#include <fmt/format.h>

#include "ullage/host/model/model_table.h"
#include "ullage/host/table/transformations.h"

namespace ullage::host {

std::vector<std::string> variable_names(const ModelTable &model) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < model.variables.list.size(); ++i) {
        names.push_back(transformed_name(model.variables.scales[i].transformation, model.variables.list[i].name));
    }
    return names;
}

std::vector<std::string> parameter_names(const ModelTable &model) {
    return parameter_names(variable_names(model), model.component_count());
}

std::vector<std::string> parameter_names(std::span<const std::string> variables, std::size_t components) {
    std::vector<std::string> names;
    for (const std::string &variable : variables) names.push_back(fmt::format("mean({})", variable));
    for (std::size_t i = 0; i < variables.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) names.push_back(fmt::format("cov({},{})", variables[i], variables[j]));
        names.push_back(fmt::format("var({})", variables[i]));
    }
    if (components == 1) return names;
    const std::vector<std::string> of_component = names;
    names.insert(names.end(), {"log.likelihood", "components"});
    for (std::size_t k = 1; k <= components; ++k) {
        names.push_back(fmt::format("weight[{}]", k));
        for (const std::string &name : of_component) names.push_back(fmt::format("{}[{}]", name, k));
    }
    return names;
}

}  // namespace ullage::host
