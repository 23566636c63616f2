// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What was assumed: model, prior, transformations and rules in words.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "ullage/host/base/words.h"
#include "ullage/host/model/prior.h"
#include "ullage/host/report/page_pieces.h"
#include "ullage/host/report/sections.h"
#include "ullage/host/table/transformations.h"

namespace ullage::host {
namespace {

std::string prior_words(const RunRecord &record) {
    const bool has_words = std::ranges::any_of(record.columns, &RunColumn::holds_words);
    if (record.components > 1) {
        return "Fraley and Raftery's (2007) weak prior for each component, and a Dirichlet prior of the weights under "
               "which superfluous components are empty.";
    }
    if (record.prior == "default" && has_words) {
        return fmt::format(
            "An inverse Wishart prior worth {:g} cases of uncorrelated columns, as the scale behind words is not in "
            "the data; nothing is assumed of means.",
            kLatentCases);
    }
    if (record.prior == "default") {
        return fmt::format(
            "A weak inverse Wishart prior worth {:g} cases of uncorrelated columns; nothing is assumed of means.",
            kDefaultCases);
    }
    if (record.prior == "jeffreys")
        return "Jeffreys' prior: nothing is assumed of means and covariance before the data.";
    if (record.prior.starts_with("ridge=")) {
        return fmt::format(
            "A ridge prior worth {} cases of uncorrelated columns: it draws the correlations towards zero by that "
            "much.",
            record.prior.substr(6));
    }
    return fmt::format("A normal / inverse Wishart prior that the user gave in the file {}.", quote(record.prior));
}

}  // namespace

std::string what_was_assumed(const RunRecord &record, bool has_bounded_cells) {
    const std::size_t n = record.columns.size();
    std::vector<std::string> items;
    items.push_back(fmt::format(
        "Model: the rows are independent draws from {} of {}{}.",
        record.components == 1
            ? "a multivariate normal distribution"
            : fmt::format("a mixture of at most {} multivariate normal distributions, of which {:.1f} hold rows on "
                          "average over the draws,",
                          record.components, record.levels[0].filled),
        n == 1 ? "the column" : fmt::format("the {} columns together", n),
        record.by ? fmt::format(", with means and covariance of its own for each level of {}", quote(*record.by))
                  : ""));
    items.emplace_back(
        "Missing cells: whether a cell is missing may depend on the observed cells of its row, not on its own value.");
    if (has_bounded_cells) {
        items.emplace_back(
            "Bounded cells: each is drawn from its exact conditional distribution between its bounds, jointly with the "
            "other hidden cells of its row. No value is moved to a bound.");
    }
    const auto of_kind = [&](ColumnKind kind, const char *words) {
        std::vector<std::string> names;
        for (const RunColumn &column : record.columns) {
            if (column.kind == kind) names.push_back(column.name);
        }
        if (!names.empty()) items.push_back(fmt::format("{}: {}.", words, join_names(names)));
    };
    of_kind(ColumnKind::stepped, "Steps: a value stands for the interval half a step to either side, of");
    of_kind(ColumnKind::binary, "Two words: the sign of a normal variable that is not seen decides, of");
    of_kind(ColumnKind::ordered,
            "Words in order: the interval that a normal variable which is not seen lies in decides, of");
    of_kind(ColumnKind::nominal,
            "Words without order: the largest of normal variables that are not seen, one per word, decides, of");
    items.push_back("Prior: " + prior_words(record));
    for (const Transformation transformation : kTransformations) {
        std::vector<std::string> names;
        for (const RunColumn &column : record.columns) {
            if (column.transformation == transformation) names.push_back(column.name);
        }
        if (names.empty() || transformation == Transformation::none) continue;
        items.push_back(fmt::format("Transformation: the {} is modelled, and taken back in all results, of {}.",
                                    noun_of(transformation), join_names(names)));
    }
    for (const RunColumn &column : record.columns) {
        const bool has_lower = std::isfinite(column.lower);
        const bool has_upper = std::isfinite(column.upper);
        if (!has_lower && !has_upper) continue;
        items.push_back(fmt::format("Bounds: every value of {} lies {}.", column.name,
                                    has_lower && has_upper
                                        ? fmt::format("between {} and {}", number(column.lower), number(column.upper))
                                    : has_lower ? "above " + number(column.lower)
                                                : "below " + number(column.upper)));
    }
    for (const std::string &rule : record.order) items.push_back(fmt::format("Order in every row: {}.", rule));
    for (const RunLevel &level : record.levels) {
        if (std::isnan(level.refused)) continue;
        items.push_back(fmt::format(
            "Rules: the rows are those of a normal distribution that obey all bounds and orders; {:.1f}% of its "
            "rows{} break them. The parameters are those of the distribution before it is cut.",
            100.0 * level.refused, level.name.empty() ? "" : fmt::format(", in level {},", quote(level.name))));
    }
    for (const RunDerived &derived : record.derived) {
        items.push_back(
            fmt::format("Computed in every completed table, and no part of the model: {}.", derived.derivation));
    }
    items.push_back(fmt::format(
        "Computation: Bayesian data augmentation in {}, each from a start of its own; {} that did not count, then an "
        "imputation every {}{}.",
        count_words(record.chains, "chain"), count_words(record.burn_in, "iteration"),
        record.thin == 1 ? "iteration" : fmt::format("{} iterations", record.thin),
        record.most_sweeps == 1 ? std::string()
                                : fmt::format("; cells that are drawn one at a time were drawn up to {} times in each",
                                              record.most_sweeps)));
    return list(items);
}

}  // namespace ullage::host
