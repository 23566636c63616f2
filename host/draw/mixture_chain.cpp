// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Components, cells and parameters by turns.

#include "ullage/host/draw/mixture_chain.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/draw/chain_errors.h"
#include "ullage/host/draw/engine_text.h"

namespace ullage::host {
namespace {

bool has_bounds(const HiddenCell &cell) {
    return std::isfinite(cell.lower) || std::isfinite(cell.upper) || cell.reference_count > 0;
}

// A place chosen with probabilities in proportion to the weights.
std::size_t choose(std::span<const double> weights, RandomStream &random) {
    double rest = random.uniform() * std::accumulate(weights.begin(), weights.end(), 0.0);
    std::size_t place = 0;
    while (place + 1 < weights.size() && (weights[place] == 0.0 || rest >= weights[place])) rest -= weights[place++];
    return place;
}

}  // namespace

MixtureChain::MixtureChain(const ModelTable &model, std::uint64_t seed, std::uint64_t number)
    : model_(model), seed_(seed), number_(number), random_({seed, StreamPurpose::start, number, 0, 0}) {
    load_rows();
    find_runs();
    start();
}

void MixtureChain::load_rows() {
    for (const Block &block : model_.blocks) rows_.insert(rows_.end(), block.rows.begin(), block.rows.end());
    engine_.expect_components();
    try {
        (void)engine_.load_group(engine_text(model_, rows_, true));
    } catch (const EngineError &error) {
        throw refused_row(model_, rows_, error);
    }
    const std::size_t k = model_.mixture->components;
    log_weight_.resize(rows_.size() * k);
    component_.assign(rows_.size(), 0);
    sizes_.assign(k, 0);
}

// Rows with the same hidden cells stand together, but some of them may have bounds.
void MixtureChain::find_runs() {
    const std::size_t n = model_.variables.list.size();
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        const auto cells = model_.hidden->of_row(static_cast<std::size_t>(rows_[i]));
        const bool refers = std::ranges::any_of(cells, [](const HiddenCell &cell) { return cell.reference_count > 0; });
        Run run{i, i + 1, !cells.empty() && (!refers || cells.size() == 1), {}, std::nullopt};
        if (run.is_collapsed) {
            const bool is_chain = cells.size() > 1 && std::ranges::any_of(cells, has_bounds);
            const auto first = static_cast<std::size_t>(cells[0].column);
            for (std::size_t j = 0; j < n; ++j) {
                const bool is_hidden = model_.table->is_hidden(static_cast<std::size_t>(rows_[i]), j);
                if (!is_hidden || (is_chain && j != first)) run.given.push_back(j);
            }
            if (has_bounds(cells[0])) run.bounded = first;
        }
        if (!runs_.empty() && runs_.back().is_collapsed == run.is_collapsed && runs_.back().given == run.given &&
            runs_.back().bounded == run.bounded) {
            runs_.back().last = i + 1;
        } else {
            runs_.push_back(std::move(run));
        }
    }
}

void MixtureChain::start() {
    const std::size_t n = model_.variables.list.size();
    const std::size_t k = model_.mixture->components;
    const Level &level = model_.levels[0];
    Parameters whole{level.mean, std::vector<double>(packed_size(n), 0.0)};
    for (std::size_t j = 0; j < n; ++j) whole.covariance[packed_index(j, j)] = level.variance[j];
    draw_cells(0, whole);
    std::vector<double> values(rows_.size() * model_.variables.list.size());
    engine_.values(1, values);
    random_.restart({seed_, StreamPurpose::start, number_, 0, 0});
    std::vector<double> distance(rows_.size(), 1.0);
    mixture_.weights.assign(k, 1.0 / static_cast<double>(k));
    for (std::size_t c = 0; c < k; ++c) {
        check_interrupt();
        const double *centre = values.data() + choose(distance, random_) * n;
        Parameters own{{centre, centre + n}, model_.mixture->component.scatter};
        for (std::size_t i = 0; i < rows_.size(); ++i) {
            double square = 0.0;
            for (std::size_t j = 0; j < n; ++j) {
                const double step = values[i * n + j] - centre[j];
                square += step * step / level.variance[j];
            }
            distance[i] = c == 0 ? square : std::min(distance[i], square);
        }
        mixture_.components.push_back(std::move(own));
    }
}

void MixtureChain::iterate() {
    ++iteration_;
    draw_components();
    for (std::size_t c = 0; c < mixture_.components.size(); ++c) {
        draw_cells(static_cast<std::int32_t>(c) + 1, mixture_.components[c]);
    }
    draw_parameters();
}

void MixtureChain::draw_components() {
    weigh_components();
    const std::size_t k = mixture_.components.size();
    std::vector<double> weights(k);
    log_likelihood_ = 0.0;
    sizes_.assign(k, 0);
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        if (i % kBlockRows == 0) {
            check_interrupt();
            random_.restart({seed_, StreamPurpose::components, number_, iteration_, i / kBlockRows});
        }
        const std::span own = std::span(log_weight_).subspan(i * k, k);
        const double most = *std::ranges::max_element(own);
        std::ranges::transform(own, weights.begin(), [&](double weight) { return std::exp(weight - most); });
        log_likelihood_ += most + std::log(std::accumulate(weights.begin(), weights.end(), 0.0));
        const std::size_t c = choose(weights, random_);
        component_[i] = static_cast<std::int32_t>(c) + 1;
        ++sizes_[c];
    }
    engine_.put_into_components(component_);
}

// The log of weight times density, of each row and component.
void MixtureChain::weigh_components() {
    const std::size_t n = model_.variables.list.size();
    const std::size_t k = mixture_.components.size();
    std::vector<double> completed(rows_.size() * model_.variables.list.size());
    engine_.values(1, completed);
    std::vector<std::size_t> all(n);
    std::iota(all.begin(), all.end(), std::size_t{0});
    std::vector<double> likelihoods(rows_.size());
    for (std::size_t c = 0; c < k; ++c) {
        const double log_share = std::log(mixture_.weights[c]);
        engine_.likelihoods(mixture_.components[c].mean, mixture_.components[c].covariance, likelihoods);
        MarginalNormal whole(mixture_.components[c], all, std::nullopt);
        for (const Run &run : runs_) {
            check_interrupt();
            std::optional<MarginalNormal> part;
            if (run.is_collapsed) part.emplace(mixture_.components[c], run.given, run.bounded);
            for (std::size_t i = run.first; i < run.last; ++i) {
                double &log_weight = log_weight_[i * k + c];
                const std::span row = std::span(completed).subspan(i * n, n);
                if (!run.is_collapsed) {
                    // Far from a component the engine's likelihood is 0, and its logarithm is still wanted.
                    log_weight = likelihoods[i] > 0.0 ? std::log(likelihoods[i]) : whole.log_density(row);
                } else {
                    log_weight = part->log_density(row);
                    if (run.bounded) log_weight += log_probability(*part, i, *run.bounded);
                }
                log_weight += log_share;
            }
        }
    }
}

double MixtureChain::log_probability(const MarginalNormal &density, std::size_t i, std::size_t variable) const {
    const HiddenCell &cell = model_.hidden->of_row(static_cast<std::size_t>(rows_[i]))[0];
    const Interval limits = interval_of(model_.table->columns[variable], model_.variables.columns[variable],
                                        model_.variables.scales[variable], cell.lower, cell.upper);
    return density.log_probability_of_next(limits.lower, limits.upper);
}

void MixtureChain::draw_cells(std::int32_t component, const Parameters &parameters) {
    for (std::size_t first = 0; first < rows_.size(); first += kBlockRows) {
        check_interrupt();
        const auto stream = static_cast<std::uint64_t>(component);
        random_.restart({seed_, StreamPurpose::cells, number_, iteration_,
                         first / kBlockRows * (model_.mixture->components + 1) + stream});
        try {
            engine_.impute_component(component, parameters.mean, parameters.covariance, first,
                                     std::min(first + kBlockRows, rows_.size()), random_);
        } catch (const EngineError &error) {
            throw no_draw(model_, rows_, model_.levels[0], iteration_, number_, error);
        }
    }
}

void MixtureChain::draw_parameters() {
    const std::size_t n = model_.variables.list.size();
    std::vector<Moments> moments;
    for (std::size_t c = 0; c < sizes_.size(); ++c) {
        Moments own{static_cast<double>(sizes_[c]), std::vector<double>(n), std::vector<double>(packed_size(n))};
        engine_.sample_moments(static_cast<std::int32_t>(c) + 1, own.mean, own.scatter);
        for (double &element : own.scatter) element *= own.count;
        moments.push_back(std::move(own));
    }
    random_.restart({seed_, StreamPurpose::parameters, number_, iteration_, 0});
    try {
        mixture_ = draw_mixture(moments, *model_.mixture, random_);
    } catch (const UnusableMoments &why) {
        throw explain_unusable(model_, model_.levels[0], why);
    }
}

void MixtureChain::copy_hidden(std::span<double> values) {
    const std::size_t n = model_.variables.list.size();
    std::vector<double> completed(rows_.size() * model_.variables.list.size());
    engine_.values(1, completed);
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        const auto row = static_cast<std::size_t>(rows_[i]);
        double *out = values.data() + model_.hidden->row_begin[row];
        for (const HiddenCell &cell : model_.hidden->of_row(row)) {
            *out++ = completed[i * n + static_cast<std::size_t>(cell.column)];
        }
    }
}

}  // namespace ullage::host
