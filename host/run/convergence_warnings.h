// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What the convergence of a run gives cause to warn of.

#ifndef ULLAGE_HOST_RUN_CONVERGENCE_WARNINGS_H
#define ULLAGE_HOST_RUN_CONVERGENCE_WARNINGS_H

#include <span>
#include <string>
#include <vector>

#include "ullage/host/numbers/convergence.h"

namespace ullage::host {

/** What is worth a warning, in words with advice; empty if all is well. */
[[nodiscard]] std::vector<std::string> convergence_warnings(std::span<const ParameterConvergence> parameters,
                                                            int chains);

}  // namespace ullage::host

#endif
