// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What the convergence of a run gives cause to warn of.

#include "ullage/host/run/convergence_warnings.h"

#include <fmt/format.h>

#include <cmath>

namespace ullage::host {

std::vector<std::string> convergence_warnings(std::span<const ParameterConvergence> parameters, int chains) {
    const auto full_name = [](const ParameterConvergence &parameter) {
        return parameter.level.empty() ? parameter.name
                                       : fmt::format("{} in level \"{}\"", parameter.name, parameter.level);
    };
    std::vector<std::string> warnings;
    const ParameterConvergence *worst = nullptr;
    const ParameterConvergence *poorest = nullptr;
    int apart = 0;
    int poor = 0;
    int unknown = 0;
    const double least = kLeastEssPerChain * chains;
    for (const ParameterConvergence &parameter : parameters) {
        const Convergence &convergence = parameter.convergence;
        if (!std::isfinite(convergence.rhat) || !std::isfinite(convergence.ess_bulk)) {
            ++unknown;
            continue;
        }
        if (convergence.rhat > kWorstRhat) {
            ++apart;
            if (worst == nullptr || convergence.rhat > worst->convergence.rhat) worst = &parameter;
        }
        if (convergence.ess_bulk < least) {
            ++poor;
            if (poorest == nullptr || convergence.ess_bulk < poorest->convergence.ess_bulk) poorest = &parameter;
        }
    }
    if (worst != nullptr) {
        warnings.push_back(fmt::format(
            "the chains have not met: R-hat is above {} for {} of {} parameters, worst {:.3f} for {}. Do not use these "
            "imputations; run longer (--burn-in, --thin)",
            kWorstRhat, apart, parameters.size(), worst->convergence.rhat, full_name(*worst)));
    }
    if (poorest != nullptr) {
        warnings.push_back(fmt::format(
            "too few independent draws: the effective sample size is below {:.0f} for {} of {} parameters, least "
            "{:.0f} for {}. R-hat is less certain then, and imputations of one chain may resemble each other. Raise "
            "--thin",
            least, poor, parameters.size(), poorest->convergence.ess_bulk, full_name(*poorest)));
    }
    if (unknown > 0) {
        warnings.push_back(fmt::format(
            "convergence cannot be judged for {} of {} parameters: the chains are too short, or their draws are all "
            "the same",
            unknown, parameters.size()));
    }
    return warnings;
}

}  // namespace ullage::host
