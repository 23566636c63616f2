// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Cut points, intervals and words of latent variables.

#include "ullage/host/model/latent_columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "ullage/host/numbers/moments.h"
#include "ullage/host/table/transformations.h"

namespace ullage::host {
namespace {

/** The standard normal quantile of a probability between 0 and 1, without the ends. */
double normal_quantile(double probability) {
    double low = -40.0;
    double high = 40.0;
    for (;;) {
        const double middle = 0.5 * (low + high);
        if (middle <= low || middle >= high) return middle;
        (0.5 * std::erfc(-middle * std::sqrt(0.5)) < probability ? low : high) = middle;
    }
}

std::vector<double> count_words(const Column &column) {
    std::vector<double> counts(column.words.size(), 0.0);
    for (const double place : column.values) {
        if (!std::isnan(place)) ++counts[static_cast<std::size_t>(place)];
    }
    return counts;
}

/** The share of the first against both, kept off 0 and 1 by half a case each. */
double share_of(double first, double second) {
    return (first + 0.5) / (first + second + 1.0);
}

/** Normal scores of the shares of the words up to each one but the last. */
std::vector<double> normal_scores(const std::vector<double> &counts) {
    double total = 0.0;
    for (const double count : counts) total += count + 0.5;
    std::vector<double> scores;
    double below = 0.0;
    for (std::size_t i = 0; i + 1 < counts.size(); ++i) {
        below += counts[i] + 0.5;
        scores.push_back(normal_quantile(below / total));
    }
    return scores;
}

void add_ordered(const Column &column, std::size_t place, Variables &variables) {
    ColumnVariables &own = variables.columns[place];
    const std::vector<double> scores = normal_scores(count_words(column));
    const double scale = 1.0 / (scores[1] - scores[0]);
    own.cuts = {0.0, 1.0};
    for (std::size_t i = 2; i < scores.size(); ++i) own.cuts.push_back((scores[i] - scores[0]) * scale);
    own.score_mean = {0.0};
    variables.list.push_back({column.name, place});
    variables.scales.push_back({Transformation::none, -scores[0] * scale, scale});
}

/** Add a variable for each word of a column but the reference: the first of two words, the most frequent of more.
 * @return the words that have one */
std::vector<std::size_t> add_words(const Column &column, std::size_t place, const std::vector<double> &counts,
                                   Variables &variables) {
    ColumnVariables &own = variables.columns[place];
    own.reference = column.kind == ColumnKind::binary
                        ? 0
                        : static_cast<std::size_t>(std::max_element(counts.begin(), counts.end()) - counts.begin());
    own.count = column.words.size() - 1;
    std::vector<std::size_t> words;
    for (std::size_t word = 0; word < column.words.size(); ++word) {
        if (word == own.reference) continue;
        words.push_back(word);
        variables.list.push_back({fmt::format("{}={}", column.name, column.words[word]), place, column.words[word]});
    }
    return words;
}

void add_utilities(const Column &column, std::size_t place, Variables &variables) {
    const std::vector<double> counts = count_words(column);
    ColumnVariables &own = variables.columns[place];
    for (const std::size_t word : add_words(column, place, counts, variables)) {
        own.score_mean.push_back(normal_quantile(share_of(counts[word], counts[own.reference])));
        variables.scales.emplace_back();
    }
}

/** Indicators of words, each scaled to its standard deviation. */
void add_indicators(const Column &column, std::size_t place, Variables &variables) {
    variables.columns[place].are_indicators = true;
    const std::vector<double> counts = count_words(column);
    for (const std::size_t word : add_words(column, place, counts, variables)) {
        const double share = counts[word] / static_cast<double>(column.values.size());
        const double deviation = std::sqrt(share * (1.0 - share));
        variables.scales.push_back({Transformation::none, share, deviation > 0.0 ? deviation : 1.0});
    }
}

double cut_at(const ColumnVariables &variables, double half_way) {
    if (half_way < 0.0) return -kOpen;
    const auto place = static_cast<std::size_t>(std::min(half_way, static_cast<double>(variables.cuts.size())));
    return place < variables.cuts.size() ? variables.cuts[place] : kOpen;
}

}  // namespace

Variables lay_out_variables(const Table &table, std::span<const Scale> scales) {
    Variables variables;
    variables.columns.resize(table.columns.size());
    for (std::size_t c = 0; c < table.columns.size(); ++c) {
        const Column &column = table.columns[c];
        const bool is_observed = std::ranges::count(column.states, CellState::observed) == std::ssize(column.states);
        variables.columns[c].is_latent = column.kind != ColumnKind::number && !is_observed;
    }
    for (const bool last : {false, true}) {
        for (std::size_t c = 0; c < table.columns.size(); ++c) {
            const Column &column = table.columns[c];
            const bool is_latent = variables.columns[c].is_latent;
            if ((column.kind == ColumnKind::nominal && is_latent) != last) continue;
            variables.columns[c].first = variables.list.size();
            if (column.holds_words() && !is_latent) {
                add_indicators(column, c, variables);
            } else if (column.kind == ColumnKind::ordered) {
                add_ordered(column, c, variables);
            } else if (column.holds_words()) {
                add_utilities(column, c, variables);
            } else {
                variables.list.push_back({column.name, c});
                variables.scales.push_back(scales[c]);
            }
        }
    }
    return variables;
}

double observed_value(const Table &table, const Variables &variables, std::size_t variable, std::size_t row) {
    const std::size_t c = variables.list[variable].column;
    const ColumnVariables &own = variables.columns[c];
    const double value = table.columns[c].values[row];
    if (!own.are_indicators) return to_model(variables.scales[variable], value);
    const bool holds = static_cast<std::size_t>(value) == own.word_of(variable);
    return to_model(variables.scales[variable], holds ? 1.0 : 0.0);
}

std::pair<double, double> cell_limits(const Column &column, double value) {
    const double half = column.kind == ColumnKind::stepped ? 0.5 * column.step : 0.5;
    const Range range = range_of(column.transformation);
    return {std::max({value - half, column.lower, range.lower}), std::min({value + half, column.upper, range.upper})};
}

Interval interval_of(const Column &column, const ColumnVariables &variables, const Scale &scale, double lower,
                     double upper) {
    if (column.kind == ColumnKind::ordered) {
        lower = cut_at(variables, lower);
        upper = cut_at(variables, upper);
    }
    return {to_model(scale, lower), to_model(scale, upper)};
}

std::size_t word_of(const Column &column, const ColumnVariables &variables, const Scale &scale,
                    std::span<const double> values) {
    if (column.kind == ColumnKind::ordered) {
        const auto is_above = [&](double cut) { return values[0] > to_model(scale, cut); };
        return static_cast<std::size_t>(std::ranges::count_if(variables.cuts, is_above));
    }
    const auto largest = static_cast<std::size_t>(std::ranges::max_element(values) - values.begin());
    if (!(values[largest] > 0.0)) return variables.reference;
    return largest + (largest >= variables.reference ? 1 : 0);
}

std::vector<double> identifying_factors(const Table &table, const Variables &variables,
                                        std::span<const double> covariance) {
    std::vector<double> factors;
    for (std::size_t j = 0; j < variables.list.size(); ++j) {
        const std::size_t column = variables.list[j].column;
        const bool is_binary = table.columns[column].kind == ColumnKind::binary && variables.columns[column].is_latent;
        factors.push_back(is_binary ? 1.0 / std::sqrt(covariance[packed_index(j, j)]) : variables.scales[j].scale);
    }
    return factors;
}

}  // namespace ullage::host
