// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The names of parameters.

#ifndef ULLAGE_HOST_MODEL_PARAMETER_NAMES_H
#define ULLAGE_HOST_MODEL_PARAMETER_NAMES_H

#include <span>
#include <string>
#include <vector>

#include "ullage/host/model/model_table.h"

namespace ullage::host {

/** Names of the variables of the model, transformed: log(lead), stage=II. */
[[nodiscard]] std::vector<std::string> variable_names(const ModelTable &model);

/** Names of the parameters of one level: mean(a), mean(log(b)), ..., var(a), cov(log(b),a), var(log(b)), ... */
[[nodiscard]] std::vector<std::string> parameter_names(const ModelTable &model);
/** The same of variables given by their names. Of a mixture these are its own mean and covariance; there follow
 * log.likelihood, components (how many hold rows) and, of each component k from 1, weight[k], mean(a)[k], ...,
 * var(a)[k], ... */
[[nodiscard]] std::vector<std::string> parameter_names(std::span<const std::string> variables,
                                                       std::size_t components = 1);

}  // namespace ullage::host

#endif
