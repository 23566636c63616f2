// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What is wrong with chains, and what to do about it.

#ifndef ULLAGE_HOST_ANSWER_CONVERGENCE_WARNINGS_H
#define ULLAGE_HOST_ANSWER_CONVERGENCE_WARNINGS_H

#include <string>
#include <vector>

#include "ullage/host/answer/diagnostics.h"
#include "ullage/host/run/run_record.h"

namespace ullage::host {

/**
 * Warnings about chains that have not met, that give too few independent draws, or that cannot be judged.
 *
 * Where chains are apart, the cure depends on why. If their second halves agree, it was the start: more burn-in. If
 * not, they move too slowly for their length: more iterations between imputations, so many that the effective sizes
 * become what is wanted.
 */
[[nodiscard]] std::vector<std::string> convergence_warnings(const std::vector<ParameterDiagnosis> &parameters,
                                                            const RunRecord &record);

}  // namespace ullage::host

#endif
