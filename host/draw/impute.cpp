// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The work of a chain's process, and the gathering of its results.

#include "ullage/host/draw/impute.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "ullage/host/base/error.h"
#include "ullage/host/draw/crew.h"
#include "ullage/host/draw/frames.h"
#include "ullage/host/draw/mixture_chain.h"
#include "ullage/host/draw/sweeps.h"
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

// Iterations of one chain, behind the first of them up to the second, in one process of its team. The first member
// speaks: it sends the results.
template <typename AnyChain>
void run_round(AnyChain &chain, const ModelTable &model, const ImputeSettings &settings, std::pair<int, int> segment,
               std::size_t index, FrameWriter &writer, bool speaks) {
    std::vector<double> numbers;
    for (int iteration = segment.first + 1; iteration <= segment.second; ++iteration) {
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
        run_round(chain, model, settings, {done, settings.total()}, index, writer, speaks);
        if (!in_rounds) return;
        const double own = speaks && writer.rest() ? 1.0 : 0.0;
        if (team.exchange({&own, 1})[0][0] == 0.0) return;
        done = settings.total();
        settings.thin *= 2;
    }
}

// One segment of a chain, in one process of its team.
void run_segment(Chain chain, const ModelTable &model, const ImputeSettings &settings, std::pair<int, int> segment,
                 std::span<const double> state, std::size_t index, FrameWriter &writer, Team &team) {
    const bool speaks = team.number() == 0;
    if (segment.first > 0) chain.resume(static_cast<std::uint64_t>(segment.first), state);
    run_round(chain, model, settings, segment, index, writer, speaks);
    if (speaks) writer.write(FrameKind::state, 0, chain.state());
}

// Processes that have work in one chain. A mixture is drawn by one.
std::size_t most_members(const ModelTable &model) {
    return model.mixture ? 1 : std::max<std::size_t>(1, model.blocks.size() / kLeastBlocks);
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
    if (settings.renew_every) at_least("the number of iterations between renewals", *settings.renew_every, 1);
    if (settings.only && (*settings.only < 0 || *settings.only >= settings.chains)) {
        throw Error(Fault::usage, fmt::format("there is no chain {} of {}", *settings.only + 1, settings.chains));
    }
    const std::int64_t total = std::int64_t{settings.per_chain()} * settings.thin + settings.burn_in;
    if (total > std::numeric_limits<int>::max()) throw Error(Fault::usage, "the chains would be too long");
}

// A result without draws. Who does not lead has no place for values.
Imputations empty_result(const ModelTable &model, const ImputeSettings &settings, const DrawPlace *place) {
    const auto chains = static_cast<std::size_t>(settings.chains);
    Imputations result;
    result.thin = settings.thin;
    if (place != nullptr) {
        result.values = DrawnCells(*model.hidden, static_cast<std::size_t>(settings.imputations), *place);
    }
    result.draws.resize(chains);
    result.refused_rows.resize(chains);
    result.sweeps.assign(chains, 1);
    return result;
}

// Put a frame of a chain into the result.
void take_frame(std::size_t chain, const Frame &frame, Imputations &result) {
    switch (frame.head.kind) {
        case FrameKind::imputation:
            result.values.put(frame.head.argument, frame.numbers());
            break;
        case FrameKind::parameters: {
            const std::vector<double> numbers = frame.numbers();
            result.draws[chain].insert(result.draws[chain].end(), numbers.begin(), numbers.end());
            break;
        }
        case FrameKind::sweeps:
            result.sweeps[chain] = static_cast<int>(frame.head.argument);
            break;
        case FrameKind::refused: {
            const std::vector<double> numbers = frame.numbers();
            std::vector<double> &sums = result.refused_rows[chain];
            sums.resize(numbers.size());
            std::ranges::transform(numbers, sums, sums.begin(), std::plus<>());
            break;
        }
        default:
            break;
    }
}

// All that is to be run. What it refers to must outlive it; settings and result change with the rounds.
ChainWork chains_of(const ModelTable &model, ImputeSettings &settings, const GoesOn &goes_on,
                    const std::function<void(const ImputeProgress &)> &progress, Imputations &result) {
    ChainWork work;
    work.first = static_cast<std::size_t>(settings.only.value_or(0));
    work.count = settings.only ? 1 : static_cast<std::size_t>(settings.chains);
    work.most_members = most_members(model);
    work.capacity = exchange_capacity(model);
    work.cells = model.hidden->cells.size();
    work.draw = [&model, first = settings, in_rounds = static_cast<bool>(goes_on)](std::size_t chain, Team &team,
                                                                                   FrameWriter &writer) {
        if (model.mixture) {
            run_chain(MixtureChain(model, first.seed, chain + 1), model, first, in_rounds, chain, writer, team);
        } else {
            run_chain(Chain(model, first.seed, chain + 1, team), model, first, in_rounds, chain, writer, team);
        }
    };
    work.take = [&settings, &progress, &result, count = work.count, all_done = std::int64_t{0},
                 done = std::vector<std::int64_t>(result.draws.size())](std::size_t chain, const Frame &frame) mutable {
        if (frame.head.kind != FrameKind::progress) return take_frame(chain, frame, result);
        all_done += frame.head.argument - done[chain];
        done[chain] = frame.head.argument;
        if (progress) progress({all_done, std::int64_t{settings.total()} * static_cast<std::int64_t>(count)});
    };
    if (goes_on) {
        work.again = [&settings, &goes_on, &result] {
            if (!goes_on(result)) return false;
            lengthen(settings, result);
            return true;
        };
    }
    return work;
}

// Where the processes begin: what the one that leads knows, all others take from it.
void share(Crew &crew, RunState &state) {
    std::vector<double> iterations = {static_cast<double>(state.iterations)};
    crew.share(iterations);
    state.iterations = static_cast<int>(iterations[0]);
    for (std::vector<double> &chain : state.chains) crew.share(chain);
}

// Chains whose cells are renewed, segment by segment.
void run_segments(Crew &crew, const ModelTable &model, ImputeSettings &settings,
                  const std::function<void(const ImputeProgress &)> &progress, Imputations &result) {
    const bool is_kept = settings.keeper != nullptr && crew.leads();
    RunState state{0, std::vector<std::vector<double>>(result.draws.size())};
    if (is_kept) state = settings.keeper->restore(result);
    share(crew, state);
    const int resumed = state.iterations;
    while (state.iterations < settings.total()) {
        const int length = std::min(settings.total() - state.iterations, *settings.renew_every);
        const std::pair segment(state.iterations, state.iterations + length);
        std::vector<std::vector<double>> ends(state.chains.size());
        const std::function<void(const ImputeProgress &)> show = [&](const ImputeProgress &of_run) {
            const std::int64_t chains = of_run.total / settings.total();
            const std::int64_t done = std::max(segment.first * chains, of_run.done);
            if (progress) progress({done, of_run.total, resumed * chains});
        };
        ChainWork work = chains_of(model, settings, {}, show, result);
        work.draw = [&](std::size_t chain, Team &team, FrameWriter &writer) {
            run_segment(Chain(model, settings.seed, chain + 1, team), model, settings, segment, state.chains[chain],
                        chain, writer, team);
        };
        work.take = [&ends, take = work.take](std::size_t chain, const Frame &frame) {
            if (frame.head.kind == FrameKind::state) {
                ends[chain] = frame.numbers();
            } else {
                take(chain, frame);
            }
        };
        (void)crew.run(work);
        state = {segment.second, std::move(ends)};
        share(crew, state);
        if (is_kept) settings.keeper->keep(state, result);
    }
}

}  // namespace

std::vector<std::size_t> drawn_imputations(const ImputeSettings &settings, int iterations) {
    const int of_each = std::max(0, iterations - settings.burn_in) / settings.thin;
    std::vector<std::size_t> drawn;
    for (int i = 0; i < std::min(settings.imputations, of_each * settings.chains); ++i) {
        if (!settings.only || i % settings.chains == *settings.only) drawn.push_back(static_cast<std::size_t>(i));
    }
    return drawn;
}

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
    if (given.renew_every && (goes_on || model.mixture)) {
        throw Error(Fault::usage, "the cells of a mixture, and of chains that run in rounds, cannot be renewed");
    }
    ImputeSettings settings = given;
    // What no chain but the first few would have as its last imputation, all have as one before it in the next round.
    if (goes_on) settings.imputations = settings.per_chain() * settings.chains;
    LocalCrew local(static_cast<std::size_t>(settings.jobs));
    Crew &crew = settings.crew != nullptr ? *settings.crew : local;
    Imputations result = empty_result(model, settings, crew.leads() ? &place : nullptr);
    std::size_t rounds = 0;
    if (settings.renew_every) {
        run_segments(crew, model, settings, progress, result);
    } else {
        rounds = crew.run(chains_of(model, settings, goes_on, progress, result));
    }
    if (!crew.leads()) {
        for (std::size_t round = 0; round < rounds; ++round) result.thin *= 2;
        return result;
    }
    result.values.keep(static_cast<std::size_t>(given.imputations));
    if (!settings.only) result.find_shares(model, settings);
    return result;
}

}  // namespace ullage::host
