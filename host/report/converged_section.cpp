// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Whether the chains converged.

#include <fmt/format.h>

#include <algorithm>

#include "ullage/host/base/words.h"
#include "ullage/host/report/page_pieces.h"
#include "ullage/host/report/sections.h"

namespace ullage::host {
namespace {

constexpr std::size_t kMostParameters = 10;  // rows of the table of the worst
constexpr std::size_t kMostTraces = 4;       // parameters whose chains are drawn
constexpr std::size_t kMostPoints = 250;     // of the line of one chain
constexpr std::size_t kMostLags = 100;       // of an autocorrelation

/** A parameter with its level. */
std::string full_name(const ParameterDiagnosis &parameter) {
    return parameter.level.empty() ? parameter.name : fmt::format("{}, {}", parameter.name, parameter.level);
}

/** The chains of a parameter against the iteration. */
std::string trace_figure(const ParameterDiagnosis &parameter) {
    Plot plot;
    const std::size_t length = parameter.chains.front().size();
    const std::size_t step = 1 + (length - 1) / kMostPoints;
    double low = kOpen;
    double high = -kOpen;
    for (std::size_t c = 0; c < parameter.chains.size(); ++c) {
        Line line{{}, {}, fmt::format("c{}", c % 4 + 1)};
        for (std::size_t i = 0; i < length; i += step) {
            line.x.push_back(static_cast<double>(i + 1));
            line.y.push_back(parameter.chains[c][i]);
            low = std::min(low, line.y.back());
            high = std::max(high, line.y.back());
        }
        plot.lines.push_back(std::move(line));
    }
    const double margin = high > low ? 0.05 * (high - low) : std::max(1e-3, 0.5 * std::fabs(high));
    plot.y = {.low = low - margin, .high = high + margin};
    plot.x = {.label = "iteration after burn-in", .low = 0.0, .high = static_cast<double>(length)};
    plot.description = fmt::format("Trace of {} in {}: the draws lie between {} and {}.", full_name(parameter),
                                   count_of(parameter.chains.size(), "chain"), number(low), number(high));
    return make_figure(plot, full_name(parameter),
                       fmt::format("R-hat {}, effective draws {}{}", fixed(parameter.convergence.rhat, 3),
                                   fixed(parameter.convergence.ess_bulk, 0),
                                   step > 1 ? fmt::format("; every {} draw", ordinal(step)) : ""));
}

std::string autocorrelation_figure(const ParameterDiagnosis &parameter, int thin) {
    const std::size_t length = parameter.chains.front().size();
    const std::size_t most = std::min({length - 1, kMostLags, static_cast<std::size_t>(std::max(20, 2 * thin))});
    Line line{{}, {}, "missing"};
    double low = 0.0;
    for (std::size_t lag = 0; lag <= most; ++lag) {
        line.x.push_back(static_cast<double>(lag));
        line.y.push_back(autocorrelation(parameter.chains, lag));
        low = std::min(low, line.y.back());
    }
    Plot plot;
    plot.x = {.label = "lag, iterations", .low = 0.0, .high = static_cast<double>(std::max<std::size_t>(most, 1))};
    plot.y = {.label = "autocorrelation", .low = std::min(-0.2, low), .high = 1.0};
    plot.lines.push_back({{0.0, plot.x.high}, {0.0, 0.0}, "axis"});
    const auto at = static_cast<double>(thin);
    if (static_cast<std::size_t>(thin) <= most) {
        plot.lines.push_back({{at, at}, {plot.y.low, 1.0}, "mark"});
    }
    plot.lines.push_back(std::move(line));
    plot.description = fmt::format(
        "Autocorrelation of {}: {} at lag 1, {} at lag {}, from one imputation of a chain to the next.",
        full_name(parameter), fixed(parameter.autocorrelation, 2), fixed(parameter.autocorrelation_thin, 2), thin);
    return make_figure(plot, full_name(parameter),
                       fmt::format("{} at lag {}", fixed(parameter.autocorrelation_thin, 2), thin));
}

/** The worst of all parameters, in words. */
std::string convergence_verdict(const Diagnosis &diagnosis, double least) {
    double rhat = 0.0;
    double bulk = kOpen;
    double tail = kOpen;
    std::size_t bad = 0;
    for (const ParameterDiagnosis &parameter : diagnosis.parameters) {
        // Comparisons that leave out what cannot be judged.
        if (parameter.convergence.rhat > rhat) rhat = parameter.convergence.rhat;
        if (parameter.convergence.ess_bulk < bulk) bulk = parameter.convergence.ess_bulk;
        if (parameter.convergence.ess_tail < tail) tail = parameter.convergence.ess_tail;
        bad += parameter.bad ? 1 : 0;
    }
    if (!(rhat > 0.0)) {
        return verdict(true,
                       "Convergence cannot be judged: the chains are too short, or their draws are all the same.");
    }
    return verdict(bad > 0,
                   fmt::format("{} Worst R-hat {} (good up to {}); least effective number of draws {} for the centre "
                               "and {} for the tails of a distribution (good from {:.0f}).",
                               bad == 0 ? fmt::format("All {} parameters pass.", diagnosis.parameters.size())
                                        : fmt::format("{} of {} parameters {} not pass.", bad,
                                                      diagnosis.parameters.size(), bad == 1 ? "does" : "do"),
                               fixed(rhat, 3), kWorstRhat, fixed(bulk, 0), fixed(tail, 0), least));
}

/** What ended the rounds, if there were any. */
std::string end_of_rounds(const RunRecord &record) {
    if (!record.until_converged) return "";
    const auto &[target, most, converged] = *record.until_converged;
    return paragraph(fmt::format(
        "The chains went on in rounds, each with twice the thinning of the one before, {} for every parameter "
        "R-hat was below {:g} and both effective numbers were above {:g}, after {} iterations{}.",
        converged ? "until" : "but did not come so far that", target.rhat_below, target.ess_above, record.iterations,
        converged ? "" : fmt::format(" of at most {}", most)));
}

std::string table_of_worst(const Diagnosis &diagnosis, double least, int thin) {
    std::vector<std::vector<Cell>> rows;
    for (std::size_t i = 0; i < std::min(kMostParameters, diagnosis.parameters.size()); ++i) {
        const ParameterDiagnosis &parameter = diagnosis.parameters[i];
        const Convergence &convergence = parameter.convergence;
        rows.push_back({{full_name(parameter)},
                        {number(parameter.mean)},
                        {number(parameter.error)},
                        {fixed(convergence.rhat, 3), convergence.rhat > kWorstRhat},
                        {fixed(convergence.ess_bulk, 0), convergence.ess_bulk < least},
                        {fixed(convergence.ess_tail, 0), convergence.ess_tail < least},
                        {fixed(parameter.autocorrelation, 2)},
                        {fixed(parameter.autocorrelation_thin, 2)}});
    }
    const std::string caption =
        rows.size() < diagnosis.parameters.size()
            ? fmt::format("The {} of {} parameters that are worst off", rows.size(), diagnosis.parameters.size())
            : std::string("All parameters, the worst first");
    return make_table(caption,
                      {"Parameter", "Mean", "Monte Carlo error", "R-hat", "Effective, centre", "Effective, tails",
                       "Autocorrelation at lag 1", fmt::format("at lag {}", thin)},
                      rows);
}

/** Of each column the hidden cells that resemble most those of the imputation before. */
std::string table_of_cells(const Diagnosis &diagnosis, int thin) {
    if (diagnosis.cells.empty()) return "";
    std::vector<std::vector<Cell>> rows;
    for (std::size_t i = 0; i < std::min(kMostParameters, diagnosis.cells.size()); ++i) {
        const CellAutocorrelation &cells = diagnosis.cells[i];
        rows.push_back({{cells.column},
                        {cells.beside.empty() ? std::string("several") : join_names(cells.beside)},
                        {fmt::format("{}", cells.cells)},
                        {fixed(cells.autocorrelation, 2), keep_too_much(cells)},
                        {fixed(cells.error, 2)}});
    }
    return make_table("Hidden cells that resemble most those of the imputation before",
                      {"Column", "Hidden beside", "Cells", fmt::format("Autocorrelation at lag {}", thin), "Error"},
                      rows, 2);
}

std::string chain_keys(int chains) {
    std::vector<std::pair<std::string, std::string>> keys;
    for (int chain = 1; chain <= std::min(chains, 4); ++chain) {
        keys.emplace_back(fmt::format("line c{}", chain), chains > 4
                                                              ? fmt::format("chains {}, {}, ...", chain, chain + 4)
                                                              : fmt::format("chain {}", chain));
    }
    return make_keys(keys);
}

}  // namespace

std::string whether_it_converged(const RunRecord &record, const Diagnosis &diagnosis) {
    const double least = kLeastEssPerChain * record.chains;
    std::string html = convergence_verdict(diagnosis, least) + end_of_rounds(record) +
                       soft_paragraph(
                           "Parameters are the means, variances and correlations on the scale of the model. R-hat "
                           "compares the chains with each other and is 1 when they agree; the effective number is that "
                           "of independent draws that would tell as much.") +
                       table_of_worst(diagnosis, least, record.thin) + table_of_cells(diagnosis, record.thin);
    std::string traces;
    std::string autocorrelations;
    for (std::size_t i = 0; i < std::min(kMostTraces, diagnosis.parameters.size()); ++i) {
        const ParameterDiagnosis &parameter = diagnosis.parameters[i];
        if (parameter.chains.front().size() < 2) break;
        traces += trace_figure(parameter);
        autocorrelations += autocorrelation_figure(parameter, record.thin);
    }
    if (traces.empty()) return html;
    return html + heading("Traces of the worst") + chain_keys(record.chains) + side_by_side(traces) +
           heading("Autocorrelations of the same") +
           soft_paragraph("From one imputation of a chain to the next the correlation is that at the dashed line.") +
           side_by_side(autocorrelations);
}

}  // namespace ullage::host
