// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Why chains are apart, and how long they should be.

#include "ullage/host/answer/convergence_warnings.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "ullage/host/base/words.h"

namespace ullage::host {
namespace {

std::string full_name(const ParameterDiagnosis &parameter) {
    return parameter.level.empty() ? parameter.name
                                   : fmt::format("{} in level {}", parameter.name, quote(parameter.level));
}

/** The smaller of the effective sizes. */
double effective_size(const ParameterDiagnosis &parameter) {
    return std::fmin(parameter.convergence.ess_bulk, parameter.convergence.ess_tail);
}

/** The halves of chains that come last. */
Chains second_halves(const Chains &chains) {
    Chains halves;
    for (const std::vector<double> &chain : chains) {
        halves.emplace_back(chain.begin() + static_cast<std::ptrdiff_t>(chain.size() / 2), chain.end());
    }
    return halves;
}

bool agree(const Chains &chains, double least_size) {
    const Convergence convergence = judge_convergence(chains);
    return convergence.rhat <= kWorstRhat && convergence.ess_bulk >= least_size;
}

/** A number of iterations times a factor, in one digit, rounded up. */
double lengthened(int iterations, double factor) {
    const double wanted = std::max(1.0, static_cast<double>(iterations) * factor);
    const double unit = std::pow(10.0, std::floor(std::log10(wanted)));
    return std::ceil(wanted / unit) * unit;
}

}  // namespace

std::vector<std::string> convergence_warnings(const std::vector<ParameterDiagnosis> &parameters,
                                              const RunRecord &record) {
    const ParameterDiagnosis *worst = nullptr;
    const ParameterDiagnosis *poorest = nullptr;
    int apart = 0;
    int poor = 0;
    int unknown = 0;
    const double least = kLeastEssPerChain * record.chains;
    for (const ParameterDiagnosis &parameter : parameters) {
        const double size = effective_size(parameter);
        if (!std::isfinite(parameter.convergence.rhat) || !std::isfinite(size)) {
            ++unknown;
            continue;
        }
        if (parameter.convergence.rhat > kWorstRhat) {
            ++apart;
            if (worst == nullptr || parameter.convergence.rhat > worst->convergence.rhat) worst = &parameter;
        }
        if (size < least) {
            ++poor;
            if (poorest == nullptr || size < effective_size(*poorest)) poorest = &parameter;
        }
    }
    std::vector<std::string> warnings;
    // Twice what the estimate says: where chains are apart, the sizes are guesses.
    const double factor = poorest == nullptr ? 2.0 : std::clamp(2.0 * least / effective_size(*poorest), 2.0, 100.0);
    const std::string longer = fmt::format("--thin {:.0f} --burn-in {:.0f}", lengthened(record.thin, factor),
                                           lengthened(std::max(record.burn_in, record.thin), factor));
    const bool is_start = worst != nullptr && agree(second_halves(worst->chains), least / 2.0);
    if (worst != nullptr) {
        warnings.push_back(fmt::format(
            "the chains have not met: R-hat is above {} for {} of {} parameters, worst {:.3f} for {}. Do not use these "
            "imputations; {}",
            kWorstRhat, apart, parameters.size(), worst->convergence.rhat, full_name(*worst),
            is_start ? fmt::format("the chains still remember their start: run again with --burn-in {:.0f}",
                                   lengthened(record.burn_in + record.thin, 4.0))
                     : "the chains move slowly: run again with " + longer));
    }
    if (poorest != nullptr) {
        warnings.push_back(fmt::format(
            "the draws depend on each other too much: the effective sample size is below {:.0f} for {} of {} "
            "parameters, least {:.0f} for {}, so that imputations of one chain resemble each other{}",
            least, poor, parameters.size(), effective_size(*poorest), full_name(*poorest),
            worst == nullptr ? "; run again with " + longer : std::string()));
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
