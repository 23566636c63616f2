// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Autocorrelations pooled over the cells of a pattern.

#include "ullage/host/answer/cell_autocorrelation.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <utility>

#include "ullage/host/base/interrupt.h"

namespace ullage::host {
namespace {

constexpr double kChance = 4.0;         // standard errors
constexpr std::size_t kLeastPairs = 8;  // of imputations that follow each other in a chain

/** Which columns of the model are hidden in each row that has several hidden cells. */
class Patterns {
public:
    explicit Patterns(const CompletedTables &tables) : of_row_(tables.rows, 0) {
        // A pattern is that of the columns before, and whether this one is hidden as well.
        std::map<std::pair<std::uint32_t, std::size_t>, std::uint32_t> known;
        for (std::size_t c = 0; c < tables.model.size(); ++c) {
            for (const std::int32_t row : tables.columns[tables.model[c]].hidden) {
                std::uint32_t &pattern = of_row_[static_cast<std::size_t>(row)];
                const auto [found, is_new] =
                    known.try_emplace({pattern, c}, static_cast<std::uint32_t>(columns_.size()));
                if (is_new) {
                    columns_.push_back(columns_[pattern]);
                    columns_.back().push_back(c);
                }
                pattern = found->second;
            }
        }
    }

    [[nodiscard]] std::uint32_t of_row(std::int32_t row) const { return of_row_[static_cast<std::size_t>(row)]; }
    [[nodiscard]] const std::vector<std::size_t> &columns(std::uint32_t pattern) const { return columns_[pattern]; }

private:
    std::vector<std::uint32_t> of_row_;
    std::vector<std::vector<std::size_t>> columns_ = {{}};
};

/** The cells of a pattern, and of each imputation the products of their draws and those of the imputation before it. */
struct Products {
    std::size_t cells = 0;
    std::vector<double> of_imputation = {};

    void add(const Products &other) {
        cells += other.cells;
        of_imputation.resize(other.of_imputation.size(), 0.0);
        for (std::size_t k = 0; k < of_imputation.size(); ++k) of_imputation[k] += other.of_imputation[k];
    }
};

/** Act on the draws of some cells, imputation after imputation. */
template <typename Act>
void for_each_imputation(const CompletedColumn &column, std::span<const std::size_t> places, const Act &act) {
    std::vector<double> draws(places.size());
    for (std::size_t k = 0; k < column.imputed.size() && !places.empty(); ++k) {
        check_interrupt();
        const std::span<const double> imputation = column.imputed[k];
        std::ranges::transform(places, draws.begin(), [&](std::size_t place) { return imputation[place]; });
        act(k, draws);
    }
}

/** Of the cells of a column whose rows have several hidden ones, by patterns. Draws are taken in standard deviations of
 * their cell about its mean, so that every cell counts the same. */
std::map<std::uint32_t, Products> products_of(const CompletedColumn &column, const Patterns &patterns,
                                              std::size_t chains) {
    std::vector<std::size_t> places;
    for (std::size_t h = 0; h < column.hidden.size(); ++h) {
        if (patterns.columns(patterns.of_row(column.hidden[h])).size() > 1) places.push_back(h);
    }
    const auto imputations = static_cast<double>(column.imputed.size());
    std::vector<double> mean(places.size(), 0.0);
    for_each_imputation(column, places, [&](std::size_t, std::span<const double> draws) {
        for (std::size_t i = 0; i < draws.size(); ++i) mean[i] += draws[i] / imputations;
    });
    std::vector<double> variance(places.size(), 0.0);
    for_each_imputation(column, places, [&](std::size_t, std::span<const double> draws) {
        for (std::size_t i = 0; i < draws.size(); ++i) {
            variance[i] += (draws[i] - mean[i]) * (draws[i] - mean[i]) / imputations;
        }
    });
    std::map<std::uint32_t, Products> products;
    std::vector<Products *> of_cell;  // none for one that does not vary
    for (std::size_t i = 0; i < places.size(); ++i) {
        of_cell.push_back(nullptr);
        if (!(variance[i] > 0.0) || !std::isfinite(variance[i])) continue;
        of_cell.back() = &products[patterns.of_row(column.hidden[places[i]])];
        ++of_cell.back()->cells;
        of_cell.back()->of_imputation.resize(column.imputed.size(), 0.0);
    }
    std::vector<std::vector<double>> before(chains, std::vector<double>(places.size(), 0.0));
    for_each_imputation(column, places, [&](std::size_t k, std::span<const double> draws) {
        std::vector<double> &last = before[k % chains];
        for (std::size_t i = 0; i < draws.size(); ++i) {
            if (of_cell[i] == nullptr) continue;
            const double off = draws[i] - mean[i];
            of_cell[i]->of_imputation[k] += off * last[i] / variance[i];  // 0 for the first of the chain
            last[i] = off;
        }
    });
    return products;
}

/** Of cells that stand together. The error is that which the products of different imputations show, as cells of a
 * column move together with its parameters, but at least that of independent cells. */
CellAutocorrelation judge(const std::string &column, const Products &products, std::size_t chains) {
    const auto cells = static_cast<double>(products.cells);
    const auto imputations = static_cast<double>(products.of_imputation.size());
    const double pairs = imputations - static_cast<double>(chains);
    double mean = 0.0;
    for (std::size_t k = chains; k < products.of_imputation.size(); ++k) {
        mean += products.of_imputation[k] / cells / pairs;
    }
    double variance = 0.0;
    for (std::size_t k = chains; k < products.of_imputation.size(); ++k) {
        const double off = products.of_imputation[k] / cells - mean;
        variance += off * off / (pairs - 1.0);
    }
    return {column,
            {},
            products.cells,
            mean + 1.0 / (imputations - 1.0),
            std::sqrt(std::max(variance, 1.0 / cells) / pairs)};
}

double sure(const CellAutocorrelation &cells) {
    return cells.autocorrelation - kChance * cells.error;
}

}  // namespace

std::vector<CellAutocorrelation> cell_autocorrelations(const RunRecord &record, const CompletedTables &tables) {
    std::vector<CellAutocorrelation> found;
    const auto chains = static_cast<std::size_t>(record.chains);
    if (tables.imputations < chains + kLeastPairs) return found;
    const Patterns patterns(tables);
    for (const std::size_t place : tables.model) {
        const CompletedColumn &column = tables.columns[place];
        std::optional<CellAutocorrelation> worst;
        const auto take = [&](const Products &products, const std::vector<std::size_t> &hidden) {
            if (products.cells < kLeastCells) return;
            CellAutocorrelation own = judge(column.name, products, chains);
            if (worst && sure(own) <= sure(*worst)) return;
            for (const std::size_t other : hidden) {
                const std::string &name = tables.columns[tables.model[other]].name;
                if (name != column.name) own.beside.push_back(name);
            }
            worst = std::move(own);
        };
        Products rare;
        for (const auto &[pattern, products] : products_of(column, patterns, chains)) {
            if (products.cells < kLeastCells) rare.add(products);
            take(products, patterns.columns(pattern));
        }
        take(rare, {});
        if (worst) found.push_back(std::move(*worst));
    }
    std::ranges::stable_sort(found, std::ranges::greater(), sure);
    return found;
}

bool keep_too_much(const CellAutocorrelation &cells) {
    return sure(cells) > kWorstCells;
}

}  // namespace ullage::host
