// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// One chain of Bayesian data augmentation under a mixture of normals.

#ifndef ULLAGE_HOST_DRAW_MIXTURE_CHAIN_H
#define ULLAGE_HOST_DRAW_MIXTURE_CHAIN_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "ullage/host/draw/engine_session.h"
#include "ullage/host/model/mixture.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/numbers/random_stream.h"

namespace ullage::host {

/**
 * One chain of data augmentation under a mixture of normals (Diebolt and Robert 1994), with its own engine session, in
 * mixture mode.
 *
 * An iteration draws for every row the component that it belongs to, given the parameters and what is known of the row;
 * then the hidden cells of each row under its component; then weights and parameters given the completed rows. What the
 * engine draws next without regard to its last draw is integrated out when the component is drawn, as given its own
 * last draws a row would hardly leave a component far from the others (van Dyk and Park 2008, JASA 103, 790-796): all
 * hidden cells of a row with missing cells alone or with a single bounded one; and in a row that is a Gibbs chain
 * within the engine, having several hidden cells and a bound, the first one, with which each sweep begins. If its cells
 * refer to each other (a < b), its component is drawn given the completed row.
 *
 * The chain starts from centres among the rows, completed under one normal distribution, that are chosen far from each
 * other (Arthur and Vassilvitskii 2007).
 */
class MixtureChain {
public:
    /** Open the engine and load all rows.
     * @param model   of one level of columns of numbers, with ModelTable::mixture
     * @param number  from 1
     * @throws Error  internal if the process has an engine session already, or the engine refuses a row */
    MixtureChain(const ModelTable &model, std::uint64_t seed, std::uint64_t number);

    /** @throws Error  data if the completed rows or the parameters have become unusable */
    void iterate();

    /** In the model's units: the last drawn, or the start. */
    [[nodiscard]] const Mixture &mixture() const { return mixture_; }

    /** Rows in each component. */
    [[nodiscard]] const std::vector<std::size_t> &sizes() const { return sizes_; }

    /** Components that have rows. */
    [[nodiscard]] std::size_t filled() const { return sizes_.size() - std::ranges::count(sizes_, std::size_t{0}); }

    /** Log likelihood of the parameters from which the cells were last drawn, up to a constant and in the model's
     * units: of what is known of each row, and of those of its draws given which its component is drawn. */
    [[nodiscard]] double log_likelihood() const { return log_likelihood_; }

    /** Copy the hidden cells' present draws, in the model's units, in the order of HiddenCells::cells. */
    void copy_hidden(std::span<double> values);

private:
    /** Rows, side by side in the engine, whose component is drawn in one way. */
    struct Run {
        std::size_t first;
        std::size_t last;  ///< one behind
        bool is_collapsed;
        std::vector<std::size_t> given;      ///< variables whose values count
        std::optional<std::size_t> bounded;  ///< the only other variable that is not merely missing
    };

    void load_rows();
    void find_runs();
    void start();
    void draw_components();
    void weigh_components();
    [[nodiscard]] double log_probability(const MarginalNormal &density, std::size_t i, std::size_t variable) const;
    void draw_cells(std::int32_t component, const Parameters &parameters);
    void draw_parameters();

    const ModelTable &model_;
    std::uint64_t seed_;
    std::uint64_t number_;
    std::uint64_t iteration_ = 0;
    EngineSession engine_;
    RandomStream random_;
    std::vector<std::int32_t> rows_;  ///< of the table, in the order of the engine's cases
    std::vector<Run> runs_;
    std::vector<double> log_weight_;       ///< case after case, one per component
    std::vector<std::int32_t> component_;  ///< of each case, from 1
    std::vector<std::size_t> sizes_;
    Mixture mixture_;
    double log_likelihood_ = 0.0;
};

}  // namespace ullage::host

#endif
