// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// When the chains of a run go on.

#include "rounds.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "talk.h"
#include "ullage/host/answer/diagnostics.h"
#include "ullage/host/base/error.h"
#include "ullage/host/run/run_results.h"

namespace ullage::cli {

std::optional<host::UntilConverged> until_converged(const ImputeOptions &options,
                                                    const host::ImputeSettings &settings) {
    if (!options.until_converged) return std::nullopt;
    const std::int64_t total = std::int64_t{settings.per_chain()} * settings.thin + settings.burn_in;
    if (total > std::numeric_limits<int>::max()) return std::nullopt;  // impute() says so
    const int most = options.max_iterations.value_or(std::max(kMostIterations, static_cast<int>(total)));
    if (total > most) {
        throw host::Error(host::Fault::usage,
                          fmt::format("--max-iterations {} is less than the {} iterations of each chain that the "
                                      "imputations take: --burn-in {}, and {} times --thin {}",
                                      most, total, settings.burn_in, settings.per_chain(), settings.thin));
    }
    return host::UntilConverged{options.target, most, false};
}

host::GoesOn make_rounds(const Options &options, const Run &run) {
    if (!run.until) return {};
    return [&options, &run](const host::Imputations &drawn) {
        const host::RunRecord record = describe(options, run, drawn.thin, 0.0);
        const host::Diagnosis diagnosis = host::diagnose(record, host::gather_draws(run.model, drawn), nullptr);
        const host::Convergence worst = host::worst_of(host::convergence_of(diagnosis));
        const bool converged = host::has_converged(diagnosis.parameters, run.until->target);
        const std::int64_t next = std::int64_t{record.burn_in} + 2 * (std::int64_t{record.iterations} - record.burn_in);
        const bool goes_on = !converged && next <= run.until->max_iterations;
        say(options, fmt::format("after {} iterations: worst R-hat {:.3f}, least effective size {:.0f}{}",
                                 record.iterations, worst.rhat, std::fmin(worst.ess_bulk, worst.ess_tail),
                                 goes_on ? fmt::format("; going on to {}", next) : ""));
        return goes_on;
    };
}

}  // namespace ullage::cli
