// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Multiple imputation: several chains in worker processes, and what they give.

#ifndef ULLAGE_HOST_DRAW_IMPUTE_H
#define ULLAGE_HOST_DRAW_IMPUTE_H

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/draw/chain.h"
#include "ullage/host/draw/drawn_cells.h"
#include "ullage/host/model/model_table.h"

namespace ullage::host {

class Crew;
struct RunKeeper;

/** How long to run and how often to draw. */
struct ImputeSettings {
    std::uint64_t seed = 0;
    int imputations = 20;  ///< at least 1
    int burn_in = 200;     ///< iterations of each chain before the first counts, at least 0
    int thin = 50;         ///< iterations from one imputation of a chain to the next, at least 1
    int chains = 4;        ///< at least 1
    int jobs = 1;          ///< processes that draw at a time, at least 1: chains, and where there are more, teams of
                           ///< them for each chain of a large table; no result depends on it
    std::optional<int> sweeps = {};       ///< of an iteration over the cells of a row that are drawn one at a time, at
                                          ///< least 1; chosen by each chain at the end of its burn-in if not given
    std::optional<int> only = {};         ///< the one of the chains, from 0, that is run; all if there is none
    std::optional<int> renew_every = {};  ///< iterations after which the cells are drawn anew from the parameters, each
                                          ///< time, at least 1; never if not given
    const RunKeeper *keeper = nullptr;    ///< who keeps what a run with renewals has drawn; nobody if there is none
    Crew *crew = nullptr;                 ///< who draws; if there is none, so many processes of this machine as jobs
                                          ///< says

    /** Imputations that each chain is run for: imputation i is the (i / chains)-th of chain i % chains, from 0. */
    [[nodiscard]] int per_chain() const { return (imputations + chains - 1) / chains; }
    /** Iterations that count, of each chain. */
    [[nodiscard]] int kept() const { return per_chain() * thin; }
    /** All iterations of each chain. */
    [[nodiscard]] int total() const { return burn_in + kept(); }
};

/** The defaults for a table and so many imputations and chains: five times the burn-in and four times the thinning
 * where words are hidden, whose variables move in smaller steps, and for mixtures; and for few imputations a thinning
 * under which each chain has as many draws as for twenty, so that it can be judged (docs/diagnostics.md has the
 * measurements). */
[[nodiscard]] ImputeSettings default_settings(const ModelTable &model, int imputations, int chains);

/** How far a run has come. */
struct ImputeProgress {
    std::int64_t done;  ///< iterations of all chains
    std::int64_t total;
    std::int64_t resumed = 0;  ///< of those done, the ones of an earlier process
};

/** What a run gives. */
struct Imputations {
    /** One per imputation: values of the hidden cells in the units of the file, in the order of HiddenCells::cells. */
    DrawnCells values;
    /**
     * Draws of the parameters, per chain: for each iteration that counts and each level the means and the packed
     * covariance of the transformed columns, in the units of the file. Of a mixture all that parameter_names() lists.
     */
    std::vector<std::vector<double>> draws;
    /** The thinning that there was in the end: that of the settings, or of the last round. */
    int thin = 0;
    /** Rows that broke the rules, per chain and level, summed over the iterations that count; none without rules. */
    std::vector<std::vector<double>> refused_rows;
    /** For each chain the most sweeps of an iteration that it chose; 1 for mixtures. */
    std::vector<int> sweeps;
    /** For each level the share of the rows of the normal distribution that break the rules, over the iterations that
     * count; none without rules. */
    std::vector<double> refused;

    /** Put what refused_rows of all chains says into refused. */
    void find_shares(const ModelTable &model, const ImputeSettings &settings);

    /** The draws of one chain, iteration (from 0) and level, in the order of parameter_names(). */
    [[nodiscard]] std::span<const double> draw(const ModelTable &model, std::size_t chain, std::size_t iteration,
                                               std::size_t level) const;
};

/** A run between two iterations at which its cells are renewed: all that it goes on from. */
struct RunState {
    int iterations = 0;                       ///< that each chain has done
    std::vector<std::vector<double>> chains;  ///< the state of each chain (Chain::state)
};

/** Who keeps what a run with renewals has drawn, so that another process can go on with it. Both are called in the
 * process that leads. */
struct RunKeeper {
    /** Called before the first iteration: gives where an earlier process was, whose draws it puts into the result; no
     * iterations if the run is to begin at its start. Chains are as many as those of the result. */
    std::function<RunState(Imputations &result)> restore;
    /** Called whenever the chains stand at a renewal, and at their end. */
    std::function<void(const RunState &state, const Imputations &result)> keep;
};

/** The places in Imputations::values that are drawn after so many iterations of each chain, ascending. */
[[nodiscard]] std::vector<std::size_t> drawn_imputations(const ImputeSettings &settings, int iterations);

/** Whether the chains go on, given what they have drawn so far; values are not to be looked at. */
using GoesOn = std::function<bool(const Imputations &)>;

/**
 * Run all chains and gather what they give. Without a crew each is run in a process of its own that is forked from this
 * one; as with every fork, no other thread of this process should be at work. In a process of a crew that does not lead
 * the result has its thinning and nothing else.
 *
 * The same model, seed and settings give the same bits for any number of jobs. All workers are gone when the function
 * returns or throws.
 *
 * With ImputeSettings::renew_every the chains are cut into segments; between two of them no chain draws, and their
 * state is the parameters, not the cells (Chain::resume). A mixture and rounds have no renewals.
 *
 * With goes_on the chains run in rounds, of which each has twice the thinning of the one before: imputation k of a
 * chain is then the one that was imputation 2k, so that nothing is drawn twice, and the result has the bits of a run
 * that was told the last thinning. All chains stay in memory, however many jobs there are.
 *
 * @param progress  called now and then; may be empty
 * @param place     where the values of the hidden cells are kept
 * @param goes_on   called at the end of each round while nothing is drawn; without it there is one round
 * @throws Error  what a worker threw (Chain, restore); cannot_create if there is no room for the values; internal if a
 * worker died or could not be started; usage if a setting is out of range; interrupted if a signal that
 * watch_interrupts() knows of asked to stop
 */
[[nodiscard]] Imputations impute(const ModelTable &model, const ImputeSettings &settings,
                                 const std::function<void(const ImputeProgress &)> &progress,
                                 const DrawPlace &place = {}, const GoesOn &goes_on = {});

}  // namespace ullage::host

#endif
