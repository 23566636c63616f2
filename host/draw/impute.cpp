// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The work of a chain's process, and the gathering of its results.

#include "ullage/host/draw/impute.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "ullage/host/base/error.h"
#include "ullage/host/draw/mixture_chain.h"
#include "ullage/host/draw/sweeps.h"
#include "ullage/host/draw/worker.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/numbers/moments.h"

namespace ullage::host {
namespace {

/** Blocks that a process of a team has to draw at least: fewer take hardly longer than meeting the others. */
constexpr std::size_t kLeastBlocks = 2;

std::size_t draw_size(const ModelTable &model) {
    const std::size_t n = model.variables.list.size();
    const std::size_t normal = n + packed_size(n);
    return model.mixture ? normal + 2 + model.component_count() * (1 + normal) : normal;
}

// Append means and covariance as they are reported: identified, in the units of the transformed columns.
void append_draw(const ModelTable &model, const Parameters &parameters, std::vector<double> &draws) {
    const std::size_t n = model.variables.list.size();
    const std::vector<double> factors = identifying_factors(*model.table, model.variables, parameters.covariance);
    for (std::size_t i = 0; i < n; ++i) {
        draws.push_back(model.variables.scales[i].centre + factors[i] * parameters.mean[i]);
    }
    std::size_t place = 0;
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j <= i; ++j, ++place) {
            draws.push_back(parameters.covariance[place] * factors[i] * factors[j]);
        }
    }
}

void append_draws(const ModelTable &model, const Chain &chain, std::vector<double> &draws) {
    for (const Parameters &parameters : chain.parameters()) append_draw(model, parameters, draws);
}

void append_draws(const ModelTable &model, const MixtureChain &chain, std::vector<double> &draws) {
    const Mixture &mixture = chain.mixture();
    append_draw(model, moments_of_mixture(mixture), draws);
    draws.push_back(chain.log_likelihood());
    draws.push_back(static_cast<double>(chain.filled()));
    for (std::size_t k = 0; k < mixture.weights.size(); ++k) {
        draws.push_back(mixture.weights[k]);
        append_draw(model, mixture.components[k], draws);
    }
}

// Whether words are hidden, whose variables move in smaller steps.
bool has_hidden_words(const ModelTable &model) {
    for (std::size_t c = 0; c < model.table->columns.size(); ++c) {
        if (model.table->columns[c].holds_words() && model.variables.columns[c].is_latent) return true;
    }
    return false;
}

// Iterations between two imputations of a chain, of twenty from four chains.
int usual_thin(const ModelTable &model) {
    return model.mixture || has_hidden_words(model) ? 200 : ImputeSettings().thin;
}

// The sweeps of each block from the end of the burn-in on. They don't depend on the thinning, so that chains which
// imputations are taken from more rarely are the same chains.
std::vector<int> choose_sweeps(const ModelTable &model, const Chain &chain, const ImputeSettings &settings) {
    if (settings.sweeps) return std::vector<int>(model.blocks.size(), *settings.sweeps);
    return needed_sweeps(model, chain.parameters(), usual_thin(model));
}

// The iterations of one chain that follow those which are done, in one process of its team. The first member speaks: it
// sends the results.
template <typename AnyChain>
void run_round(AnyChain &chain, const ModelTable &model, const ImputeSettings &settings, int done, std::size_t index,
               FrameWriter &writer, bool speaks) {
    std::vector<double> numbers;
    for (int iteration = done + 1; iteration <= settings.total(); ++iteration) {
        if constexpr (requires { chain.set_sweeps({}); }) {
            if (iteration == settings.burn_in + 1 && !model.blocks.empty()) {
                std::vector<int> sweeps = choose_sweeps(model, chain, settings);
                if (speaks) writer.write(FrameKind::sweeps, static_cast<std::uint32_t>(std::ranges::max(sweeps)));
                chain.set_sweeps(std::move(sweeps));
            }
        }
        chain.iterate();
        const int kept = iteration - settings.burn_in;
        if (kept > 0 && speaks) {
            numbers.clear();
            append_draws(model, chain, numbers);
            writer.write(FrameKind::parameters, 0, numbers);
            if constexpr (requires { chain.refused(); }) {
                if (!chain.refused().empty()) writer.write(FrameKind::refused, 0, chain.refused());
            }
        }
        const int imputation = (kept / settings.thin - 1) * settings.chains + static_cast<int>(index);
        if (kept > 0 && kept % settings.thin == 0 && imputation < settings.imputations) {
            numbers.resize(model.hidden->cells.size());
            chain.copy_hidden(numbers);
            if (!speaks) continue;
            restore(*model.table, *model.hidden, model.scales, numbers);
            writer.write(FrameKind::imputation, static_cast<std::uint32_t>(imputation), numbers);
        }
        if (speaks) writer.write(FrameKind::progress, static_cast<std::uint32_t>(iteration));
    }
}

// One chain, in one process of its team.
template <typename AnyChain>
void run_chain(AnyChain chain, const ModelTable &model, ImputeSettings settings, bool in_rounds, std::size_t index,
               FrameWriter &writer, Team &team) {
    const bool speaks = team.number() == 0;
    int done = 0;
    for (;;) {
        run_round(chain, model, settings, done, index, writer, speaks);
        if (!in_rounds) return;
        const double own = speaks && writer.rest() ? 1.0 : 0.0;
        if (team.exchange({&own, 1})[0][0] == 0.0) return;
        done = settings.total();
        settings.thin *= 2;
    }
}

// Processes that share a chain: those that would find no chain of their own, as far as there is work for them.
// A mixture is drawn by one.
std::size_t team_size(const ModelTable &model, const ImputeSettings &settings) {
    if (model.mixture) return 1;
    const auto jobs = static_cast<std::size_t>(settings.jobs / (settings.only ? 1 : settings.chains));
    return std::clamp<std::size_t>(jobs, 1, std::max<std::size_t>(1, model.blocks.size() / kLeastBlocks));
}

// Double the thinning: every second imputation of a chain takes the place of one before it.
void lengthen(ImputeSettings &settings, Imputations &result) {
    const auto chains = static_cast<std::size_t>(settings.chains);
    for (std::size_t k = 0; 2 * k + 1 < static_cast<std::size_t>(settings.per_chain()); ++k) {
        for (std::size_t chain = 0; chain < chains; ++chain) {
            result.values.put(k * chains + chain, result.values[(2 * k + 1) * chains + chain]);
        }
    }
    settings.thin *= 2;
    result.thin = settings.thin;
}

void check_settings(const ImputeSettings &settings) {
    const auto at_least = [](const char *name, int value, int least) {
        if (value < least) {
            throw Error(Fault::usage, fmt::format("{} must be at least {}, and not {}", name, least, value));
        }
    };
    at_least("the number of imputations", settings.imputations, 1);
    at_least("the burn-in", settings.burn_in, 0);
    at_least("the thinning", settings.thin, 1);
    if (settings.sweeps) at_least("the number of sweeps", *settings.sweeps, 1);
    at_least("the number of chains", settings.chains, 1);
    at_least("the number of jobs", settings.jobs, 1);
    if (settings.only && (*settings.only < 0 || *settings.only >= settings.chains)) {
        throw Error(Fault::usage, fmt::format("there is no chain {} of {}", *settings.only + 1, settings.chains));
    }
    const std::int64_t total = std::int64_t{settings.per_chain()} * settings.thin + settings.burn_in;
    if (total > std::numeric_limits<int>::max()) throw Error(Fault::usage, "the chains would be too long");
}

}  // namespace

ImputeSettings default_settings(const ModelTable &model, int imputations, int chains) {
    ImputeSettings settings;
    const int usual = settings.per_chain();
    settings.imputations = imputations;
    settings.chains = chains;
    settings.thin = usual_thin(model);
    if (settings.thin > ImputeSettings().thin) settings.burn_in = 1000;
    if (imputations < 1 || chains < 1) return settings;  // impute() says so
    const int own = settings.per_chain();
    if (own < usual) settings.thin = (settings.thin * usual + own - 1) / own;
    return settings;
}

std::span<const double> Imputations::draw(const ModelTable &model, std::size_t chain, std::size_t iteration,
                                          std::size_t level) const {
    const std::size_t size = draw_size(model);
    return std::span(draws[chain]).subspan((iteration * model.levels.size() + level) * size, size);
}

void Imputations::find_shares(const ModelTable &model, const ImputeSettings &settings) {
    refused.clear();
    for (std::size_t level = 0; level < refused_rows[0].size(); ++level) {
        double count = 0.0;
        for (const std::vector<double> &of_chain : refused_rows) count += of_chain[level];
        const double obeying = static_cast<double>(model.levels[level].row_count) * settings.kept() * settings.chains;
        refused.push_back(count / (count + obeying));
    }
}

Imputations impute(const ModelTable &model, const ImputeSettings &given,
                   const std::function<void(const ImputeProgress &)> &progress, const DrawPlace &place,
                   const GoesOn &goes_on) {
    check_settings(given);
    ImputeSettings settings = given;
    // What no chain but the first few would have as its last imputation, all have as one before it in the next round.
    if (goes_on) settings.imputations = settings.per_chain() * settings.chains;
    const auto chains = static_cast<std::size_t>(settings.chains);
    Imputations result;
    result.thin = settings.thin;
    result.values = DrawnCells(*model.hidden, static_cast<std::size_t>(settings.imputations), place);
    result.draws.resize(chains);
    const std::size_t members = team_size(model, settings);
    std::vector<std::int64_t> done(chains);
    result.refused_rows.resize(chains);
    result.sweeps.assign(chains, 1);
    std::int64_t all_done = 0;
    const auto first = static_cast<std::size_t>(settings.only.value_or(0));
    const std::size_t count = settings.only ? 1 : chains;
    run_workers(
        first, count, static_cast<std::size_t>(settings.jobs),
        [&](std::size_t chain, FrameWriter &writer) {
            if (model.mixture) {
                Team alone;
                run_chain(MixtureChain(model, settings.seed, chain + 1), model, settings, static_cast<bool>(goes_on),
                          chain, writer, alone);
                return;
            }
            run_team(members, exchange_capacity(model), members > 1 ? model.hidden->cells.size() : 0, [&](Team &team) {
                run_chain(Chain(model, settings.seed, chain + 1, team), model, settings, static_cast<bool>(goes_on),
                          chain, writer, team);
            });
        },
        [&](std::size_t chain, const Frame &frame) {
            if (frame.head.kind == FrameKind::imputation) {
                result.values.put(frame.head.argument, frame.numbers());
            } else if (frame.head.kind == FrameKind::parameters) {
                const std::vector<double> numbers = frame.numbers();
                result.draws[chain].insert(result.draws[chain].end(), numbers.begin(), numbers.end());
            } else if (frame.head.kind == FrameKind::sweeps) {
                result.sweeps[chain] = static_cast<int>(frame.head.argument);
            } else if (frame.head.kind == FrameKind::refused) {
                const std::vector<double> numbers = frame.numbers();
                std::vector<double> &sums = result.refused_rows[chain];
                sums.resize(numbers.size());
                std::ranges::transform(numbers, sums, sums.begin(), std::plus<>());
            } else {
                all_done += frame.head.argument - done[chain];
                done[chain] = frame.head.argument;
                if (progress) progress({all_done, std::int64_t{settings.total()} * static_cast<std::int64_t>(count)});
            }
        },
        [&] {
            if (!goes_on || !goes_on(result)) return false;
            lengthen(settings, result);
            return true;
        });
    result.values.keep(static_cast<std::size_t>(given.imputations));
    if (!settings.only) result.find_shares(model, settings);
    return result;
}

}  // namespace ullage::host
