// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The rate of a Gibbs chain over the hidden cells of a row.

#include "ullage/host/draw/sweeps.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/numbers/moments.h"
#include "ullage/host/numbers/triangular.h"

namespace ullage::host {
namespace {

constexpr double kMayKeep = 0.05;  // over so many iterations
constexpr int kTrialSweeps = 60;
constexpr int kLastSweeps = 20;  // of the trial, from which the rate is taken

/** The inverse of a regular covariance, packed; empty if it is singular within rounding. */
std::vector<double> precision_of(const std::vector<double> &covariance, std::size_t n) {
    std::vector<double> root = covariance;
    if (!take_root(root, n)) return {};
    std::vector<double> inverse(packed_size(n), 0.0);
    for (std::size_t i = 0; i < n; ++i) inverse[packed_index(i, i)] = 1.0;
    divide_from_right(inverse, root, n);
    std::vector<double> precision(packed_size(n), 0.0);
    for (std::size_t k = 0; k < n; ++k) {
        const double *row = inverse.data() + packed_index(k, 0);
        for (std::size_t i = 0; i <= k; ++i) {
            for (std::size_t j = 0; j <= i; ++j) precision[packed_index(i, j)] += row[i] * row[j];
        }
    }
    return precision;
}

/** What is drawn of some rows with the same variables to draw. */
struct FreeVariables {
    std::vector<std::size_t> list;  // ascending
    std::vector<double> width;      // of the widest interval of each
    bool has_bounds = false;
};

class RowVariables {
public:
    explicit RowVariables(const ModelTable &model) : model_(model) {}

    [[nodiscard]] FreeVariables of(std::size_t row) const {
        FreeVariables free;
        std::vector<std::pair<std::size_t, double>> found;
        for (std::size_t c = 0; c < model_.table->columns.size(); ++c) {
            const ColumnVariables &own = model_.variables.columns[c];
            const bool is_hidden = model_.table->is_hidden(row, c);
            if (own.are_indicators || (!is_hidden && !own.is_latent)) continue;
            const Interval limits = limits_of(row, c, is_hidden);
            free.has_bounds = free.has_bounds || !is_hidden || is_bounded(row, c);
            for (std::size_t j = 0; j < own.count; ++j) found.emplace_back(own.first + j, limits.upper - limits.lower);
        }
        std::ranges::sort(found);
        for (const auto &[variable, width] : found) {
            free.list.push_back(variable);
            free.width.push_back(width);
        }
        return free;
    }

private:
    [[nodiscard]] const HiddenCell &cell(std::size_t row, std::size_t c) const {
        return *std::ranges::lower_bound(model_.hidden->of_row(row), static_cast<std::int32_t>(c), {},
                                         &HiddenCell::column);
    }
    [[nodiscard]] bool is_bounded(std::size_t row, std::size_t c) const {
        const HiddenCell &own = cell(row, c);
        return std::isfinite(own.lower) || std::isfinite(own.upper) || own.reference_count > 0;
    }
    /** In the model's units; of words that are not ordered a half-line at the least. */
    [[nodiscard]] Interval limits_of(std::size_t row, std::size_t c, bool is_hidden) const {
        const Column &column = model_.table->columns[c];
        const ColumnVariables &own = model_.variables.columns[c];
        if (column.kind == ColumnKind::binary || column.kind == ColumnKind::nominal) return {-kOpen, kOpen};
        auto [lower, upper] =
            is_hidden ? std::pair(cell(row, c).lower, cell(row, c).upper) : cell_limits(column, column.values[row]);
        return interval_of(column, own, model_.variables.scales[own.first], lower, upper);
    }

    const ModelTable &model_;
};

int sweeps_for(std::span<const double> precision, const FreeVariables &free, int iterations) {
    std::vector<double> added(free.width.size());
    std::ranges::transform(free.width, added.begin(), [](double width) { return 12.0 / (width * width); });
    const double kept = kept_by_sweep(precision, free.list, added);
    if (!(kept < 1.0)) return kMostSweeps;
    const double needed = std::ceil(std::log(kMayKeep) / (static_cast<double>(iterations) * std::log(kept)));
    return static_cast<int>(std::clamp(needed, 1.0, static_cast<double>(kMostSweeps)));
}

}  // namespace

double kept_by_sweep(std::span<const double> precision, std::span<const std::size_t> free,
                     std::span<const double> added) {
    const std::size_t n = free.size();
    std::vector<double> matrix(n * n);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < n; ++j) {
            matrix[i * n + j] = precision[packed_index(std::max(free[i], free[j]), std::min(free[i], free[j]))];
        }
        const double diagonal = matrix[i * n + i] + added[i];
        for (std::size_t j = 0; j < n; ++j) matrix[i * n + j] /= diagonal;
    }
    // The mean of a normal chain moves as the chain does, so sweeps of means find the slowest direction.
    std::vector<double> means(n);
    for (std::size_t i = 0; i < n; ++i) means[i] = 1.0 + std::fmod(0.618 * static_cast<double>(i + 1), 1.0);
    double log_kept = 0.0;  // by the last sweeps
    for (int sweep = 0; sweep < kTrialSweeps; ++sweep) {
        for (std::size_t i = 0; i < n; ++i) {
            double mean = 0.0;
            for (std::size_t j = 0; j < n; ++j) mean -= j == i ? 0.0 : matrix[i * n + j] * means[j];
            means[i] = mean;
        }
        double size = 0.0;
        for (const double mean : means) size = std::max(size, std::fabs(mean));
        if (size == 0.0) return 0.0;
        for (double &mean : means) mean /= size;
        if (sweep >= kTrialSweeps - kLastSweeps) log_kept += std::log(size) / kLastSweeps;
    }
    return std::exp(log_kept);
}

std::vector<int> needed_sweeps(const ModelTable &model, std::span<const Parameters> parameters, int iterations) {
    const std::size_t n = model.variables.list.size();
    std::vector<std::vector<double>> precisions;
    for (const Parameters &own : parameters) precisions.push_back(precision_of(own.covariance, n));
    const RowVariables variables(model);
    std::vector<int> sweeps;
    for (const Block &block : model.blocks) {
        check_interrupt();
        int &most = sweeps.emplace_back(1);
        const std::vector<double> &precision = precisions[block.level];
        FreeVariables alike;  // of the rows one after the other with the same variables to draw
        const auto count = [&] {
            if (alike.list.size() > 1 && !precision.empty())
                most = std::max(most, sweeps_for(precision, alike, iterations));
        };
        for (const std::int32_t row : block.rows) {
            FreeVariables own = variables.of(static_cast<std::size_t>(row));
            if (!own.has_bounds) continue;
            if (own.list != alike.list) {
                count();
                alike = std::move(own);
            } else {
                std::ranges::transform(alike.width, own.width, alike.width.begin(),
                                       [](double a, double b) { return std::max(a, b); });
            }
        }
        count();
    }
    return sweeps;
}

}  // namespace ullage::host
