// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Diagnosing every parameter of a run, and what its hidden cells cost.

#include "ullage/host/answer/diagnostics.h"

#include <fmt/format.h>

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <utility>

#include "ullage/host/answer/convergence_warnings.h"
#include "ullage/host/answer/pooled_row.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/words.h"
#include "ullage/host/numbers/moments.h"

namespace ullage::host {
namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

/** The draws of all chains, one after the other. */
Moments moments_of(std::span<const Chains> parameters) {
    std::vector<double> rows;
    for (std::size_t chain = 0; chain < parameters[0].size(); ++chain) {
        for (std::size_t i = 0; i < parameters[0][chain].size(); ++i) {
            for (const Chains &parameter : parameters) rows.push_back(parameter[chain][i]);
        }
    }
    return moments_of_rows(rows, parameters.size());
}

Chains correlation_of(const Chains &covariance, const Chains &first, const Chains &second) {
    Chains correlation = covariance;
    for (std::size_t chain = 0; chain < correlation.size(); ++chain) {
        for (std::size_t i = 0; i < correlation[chain].size(); ++i) {
            correlation[chain][i] /= std::sqrt(first[chain][i]) * std::sqrt(second[chain][i]);
        }
    }
    return correlation;
}

/** What of a value of a column the mean of a variable is about: the transformed number, the place of an ordered word,
 * or 1 where the variable's own word stands. */
double mean_of_interest(const RunColumn &column, const RunVariable &variable, double value) {
    if (!column.holds_words()) return column.transform(value);
    return variable.word ? (column.words[static_cast<std::size_t>(value)] == *variable.word ? 1.0 : 0.0) : value;
}

/** Fraction of missing information of the mean of a transformed column, of places of words, or of the share of one. */
double missing_information(const RunColumn &column, const RunVariable &variable, const std::string &level,
                           const CompletedColumn &values, std::span<const std::int32_t> rows, std::size_t imputations) {
    const auto n = static_cast<double>(rows.size());
    if (imputations < 2 || rows.size() < 2) return kUnknown;
    Pieces pieces;
    std::vector<double> transformed(rows.size());
    for (std::size_t k = 0; k < imputations; ++k) {
        check_interrupt();
        values.copy_rows(k, rows, transformed.data());
        for (double &value : transformed) value = mean_of_interest(column, variable, value);
        const Moments moments = moments_of_rows(transformed, 1);
        pieces.estimates.push_back(moments.mean[0]);
        pieces.variances.push_back(moments.scatter[0] / (n - 1.0) / n);
    }
    const std::string name = fmt::format("mean({})", variable.name);
    return pool_pieces(level, name, pieces, n - 1.0, kConfidence).pooled.fmi;
}

class LevelDiagnoser {
public:
    LevelDiagnoser(const RunRecord &record, const ParameterDraws &draws, std::size_t level)
        : record_(record),
          names_(draws.names),
          draws_(draws.draws[level]),
          level_(record.levels[level]),
          variables_(record.variable_names()) {}

    void parameters(const std::vector<double> &fmi, std::vector<ParameterDiagnosis> &out) const {
        const std::size_t n = variables_.size();
        for (std::size_t i = 0; i < n; ++i) out.push_back(judge(names_[i], ParameterKind::mean, draws_[i], fmi[i]));
        for (std::size_t i = 0; i < n; ++i) {
            // The variance of a latent binary variable is 1 by definition.
            const RunColumn &column = record_.column(record_.variables[i].column);
            if (column.kind == ColumnKind::binary && column.is_latent()) continue;
            const std::size_t place = n + packed_index(i, i);
            out.push_back(judge(names_[place], ParameterKind::variance, draws_[place], kUnknown));
        }
        for (std::size_t i = 1; i < n; ++i) {
            for (std::size_t j = 0; j < i; ++j) {
                out.push_back(judge(fmt::format("cor({},{})", variables_[j], variables_[i]), ParameterKind::correlation,
                                    correlation_of(covariance(i, j), covariance(i, i), covariance(j, j)), kUnknown));
            }
        }
        if (record_.components == 1) return;
        const std::size_t place = n + packed_size(n);
        out.push_back(judge(names_[place], ParameterKind::mixture, draws_[place], kUnknown));
        ParameterDiagnosis filled = judge(names_[place + 1], ParameterKind::mixture, draws_[place + 1], kUnknown);
        if (filled.deviation > 0.0) out.push_back(std::move(filled));  // a number that never changes is no news
    }

    [[nodiscard]] WorstCombination worst() const {
        std::vector<std::size_t> numbers;
        for (std::size_t i = 0; i < variables_.size(); ++i) {
            if (!record_.column(record_.variables[i].column).holds_words()) numbers.push_back(i);
        }
        const std::size_t n = numbers.size();
        const auto size = static_cast<Eigen::Index>(n);
        WorstCombination worst{level_.name, kUnknown, {}};
        if (n == 0) return worst;
        std::vector<Chains> means;
        for (const std::size_t i : numbers) means.push_back(draws_[i]);
        const Moments of_means = moments_of(means);
        const auto mean_covariance = [&](std::size_t i, std::size_t j) {
            return moments_of({&covariance(numbers[i], numbers[j]), 1}).mean[0];
        };
        if (of_means.count <= static_cast<double>(n) || level_.rows < 1) return worst;
        // In standard deviations of the columns, so that the weights can be compared.
        Eigen::VectorXd deviation(size);
        for (std::size_t i = 0; i < n; ++i) {
            deviation[static_cast<Eigen::Index>(i)] = std::sqrt(mean_covariance(i, i));
        }
        Eigen::MatrixXd total(size, size);
        Eigen::MatrixXd complete(size, size);
        for (Eigen::Index i = 0; i < size; ++i) {
            for (Eigen::Index j = 0; j <= i; ++j) {
                const auto row = static_cast<std::size_t>(i);
                const auto column = static_cast<std::size_t>(j);
                const double unit = deviation[i] * deviation[j];
                total(i, j) = of_means.scatter[packed_index(row, column)] / (of_means.count - 1.0) / unit;
                complete(i, j) = mean_covariance(row, column) / static_cast<double>(level_.rows) / unit;
            }
        }
        if (Eigen::LLT<Eigen::MatrixXd>(total).info() != Eigen::Success) return worst;
        const Eigen::GeneralizedSelfAdjointEigenSolver<Eigen::MatrixXd> solver(complete, total);
        if (solver.info() != Eigen::Success) return worst;
        worst.fmi = std::clamp(1.0 - solver.eigenvalues()[0], 0.0, 1.0);
        const Eigen::VectorXd vector = solver.eigenvectors().col(0);
        Eigen::Index largest = 0;
        vector.cwiseAbs().maxCoeff(&largest);
        for (std::size_t i = 0; i < n; ++i) {
            worst.weights.push_back({variables_[numbers[i]], vector[static_cast<Eigen::Index>(i)] / vector[largest]});
        }
        return worst;
    }

private:
    [[nodiscard]] const Chains &covariance(std::size_t i, std::size_t j) const {
        return draws_[variables_.size() + packed_index(i, j)];
    }

    [[nodiscard]] ParameterDiagnosis judge(std::string name, ParameterKind kind, Chains chains, double fmi) const {
        check_interrupt();
        const Moments moments = moments_of({&chains, 1});
        const double least = kLeastEssPerChain * record_.chains;
        const auto thin = static_cast<std::size_t>(record_.thin);
        ParameterDiagnosis diagnosis;
        diagnosis.level = level_.name;
        diagnosis.name = std::move(name);
        diagnosis.kind = kind;
        diagnosis.chains = std::move(chains);
        diagnosis.fmi = fmi;
        diagnosis.mean = moments.mean[0];
        diagnosis.deviation = std::sqrt(moments.scatter[0] / (moments.count - 1.0));
        diagnosis.convergence = judge_convergence(diagnosis.chains);
        diagnosis.error = diagnosis.deviation / std::sqrt(mean_effective_size(diagnosis.chains));
        const std::size_t length = diagnosis.chains[0].size();
        if (length > 1) diagnosis.autocorrelation = autocorrelation(diagnosis.chains, 1);
        if (length > thin) diagnosis.autocorrelation_thin = autocorrelation(diagnosis.chains, thin);
        const Convergence &convergence = diagnosis.convergence;
        // Written so that NaN, which is no verdict, counts as bad.
        diagnosis.bad = diagnosis.deviation != 0.0 && !(convergence.rhat <= kWorstRhat &&
                                                        convergence.ess_bulk >= least && convergence.ess_tail >= least);
        return diagnosis;
    }

    const RunRecord &record_;
    const std::vector<std::string> &names_;
    const std::vector<Chains> &draws_;
    const RunLevel &level_;
    std::vector<std::string> variables_;  // names
};

/** What is worth a warning besides what every run warns of. */
void add_warnings(const RunRecord &record, Diagnosis &diagnosis) {
    diagnosis.warnings = convergence_warnings(diagnosis.parameters, record);
    if (record.until_converged && !has_converged(diagnosis.parameters, record.until_converged->target)) {
        const auto &[target, most, converged] = *record.until_converged;
        const Convergence worst = worst_of(convergence_of(diagnosis));
        diagnosis.warnings.push_back(fmt::format(
            "the chains have not converged as far as --until-converged was to go: after {} iterations the worst R-hat "
            "is {:.3f} (wanted: below {:g}) and the least effective size {:.0f} (wanted: above {:g}), and twice the "
            "thinning needs more than --max-iterations {}; give more, or be content with less (--rhat-below, "
            "--ess-above)",
            record.iterations, worst.rhat, target.rhat_below, std::fmin(worst.ess_bulk, worst.ess_tail),
            target.ess_above, most));
    }
    for (const RunLevel &level : record.levels) {
        if (!(level.refused > kMuchRefused)) continue;
        diagnosis.warnings.push_back(fmt::format(
            "{:.0f}% of the rows of the fitted normal distribution{} break the rules (--lower, --upper, --order): the "
            "data tell little of it, and may have another shape. A transformation without limits (--log, --logit), or "
            "the difference of two columns in place of one of them, may describe them better",
            100.0 * level.refused, level.name.empty() ? "" : fmt::format(" of level {}", quote(level.name))));
    }
    if (diagnosis.imputations < diagnosis.needed) {
        diagnosis.warnings.push_back(fmt::format(
            "{} imputations are too few for standard errors that repeat within {:.0f}%: the fraction of missing "
            "information is up to {:.2f}, which needs {}, and to be on the safe side {}; run again with -m {}",
            diagnosis.imputations, 100.0 * kErrorVariation, diagnosis.largest_fmi, diagnosis.needed,
            diagnosis.recommended, diagnosis.recommended));
    }
}

/** Cells that resemble those of the imputation before. */
void warn_of_slow_cells(const RunRecord &record, Diagnosis &diagnosis) {
    if (diagnosis.cells.empty() || !keep_too_much(diagnosis.cells.front())) return;
    const CellAutocorrelation &worst = diagnosis.cells.front();
    // As if each of the iterations kept the same share, down to 5%. So few draws of a cell show less than is the case.
    const double factor = std::ceil(std::log(0.05) / std::log(std::min(worst.autocorrelation, 0.97)));
    diagnosis.warnings.push_back(fmt::format(
        "imputations of one chain resemble each other: {} of column {} keep {:.0f}% or more of where they are from one "
        "to the next{}; run again with --thin {:.0f}",
        count_of(worst.cells, "hidden cell"), quote(worst.column), 100.0 * worst.autocorrelation,
        worst.beside.empty() ? std::string() : ", hidden beside " + list_of(worst.beside),
        std::max(4.0, factor) * record.thin));
}

/** The range of the observed values of a column, and the shares of the drawn ones below 0 and above 1. */
struct Reach {
    double least = kOpen;
    double most = -kOpen;
    double below_0 = 0.0;
    double above_1 = 0.0;
};

Reach reach_of(const CompletedColumn &column, std::size_t imputations) {
    Reach reach;
    for (const double value : column.original) {
        if (std::isnan(value)) continue;
        reach.least = std::min(reach.least, value);
        reach.most = std::max(reach.most, value);
    }
    const double draws = static_cast<double>(column.hidden.size()) * static_cast<double>(imputations);
    for (std::size_t k = 0; k < imputations; ++k) {
        check_interrupt();
        for (const double value : column.imputed[k]) {
            reach.below_0 += value < 0.0 ? 1.0 / draws : 0.0;
            reach.above_1 += value > 1.0 ? 1.0 / draws : 0.0;
        }
    }
    return reach;
}

/** Columns whose observed values are all above 0, or all shares, and whose draws are not. */
void warn_of_impossible_draws(const RunRecord &record, const CompletedTables &tables, Diagnosis &diagnosis) {
    constexpr double most = 0.01;
    for (std::size_t c = 0; c < record.columns.size(); ++c) {
        const RunColumn &column = record.columns[c];
        const CompletedColumn &values = tables.columns[tables.model[c]];
        if (column.holds_words() || column.transformation != Transformation::none || values.hidden.empty()) continue;
        const Reach reach = reach_of(values, tables.imputations);
        if (!(reach.least > 0.0 && reach.least < kOpen)) continue;
        const std::string name = shell_word(in_list(column.name));
        if (reach.most < 1.0 && reach.above_1 > most) {
            diagnosis.warnings.push_back(
                fmt::format("{:.0f}% of the values drawn for {} are below 0 or above 1, and all observed ones lie "
                            "between: if these "
                            "are shares, --logit {} keeps them there",
                            100.0 * (reach.below_0 + reach.above_1), quote(column.name), name));
        } else if (reach.below_0 > most) {
            diagnosis.warnings.push_back(fmt::format(
                "{:.0f}% of the values drawn for {} are below 0, and all observed ones above it: if it cannot be "
                "negative, --log {} models its logarithm",
                100.0 * reach.below_0, quote(column.name), name));
        }
    }
}

}  // namespace

int needed_imputations(double fmi) {
    const double ratio = fmi / kErrorVariation;
    // The little that is taken off keeps a whole number from being rounded up.
    return std::max(2, static_cast<int>(std::ceil(1.0 + ratio * ratio / 2.0 - 1e-9)));
}

double upper_fmi(double fmi, int imputations) {
    if (!(fmi > 0.0 && fmi < 1.0)) return fmi;
    constexpr double two_sided = 1.959963984540054;  // of the standard normal, at 97.5%
    const double logit = std::log(fmi / (1.0 - fmi)) + two_sided * std::sqrt(2.0 / imputations);
    return 1.0 / (1.0 + std::exp(-logit));
}

std::vector<ParameterConvergence> convergence_of(const Diagnosis &diagnosis) {
    std::vector<ParameterConvergence> convergence;
    for (const ParameterDiagnosis &parameter : diagnosis.parameters) {
        convergence.push_back({parameter.level, parameter.name, parameter.convergence});
    }
    return convergence;
}

bool has_converged(const std::vector<ParameterDiagnosis> &parameters, const ConvergenceTarget &target) {
    return std::ranges::all_of(parameters, [&](const ParameterDiagnosis &parameter) {
        return parameter.deviation == 0.0 || target.is_reached_by(parameter.convergence);
    });
}

Diagnosis diagnose(const RunRecord &record, const ParameterDraws &draws, const CompletedTables *tables) {
    Diagnosis diagnosis;
    diagnosis.imputations = record.imputations;
    diagnosis.largest_fmi = kUnknown;
    diagnosis.upper_fmi = kUnknown;
    for (std::size_t level = 0; level < record.levels.size(); ++level) {
        std::vector<double> fmi(record.variables.size(), kUnknown);
        if (tables != nullptr) {
            const std::vector<std::int32_t> rows = tables->rows_of_level(level);
            for (std::size_t i = 0; i < fmi.size(); ++i) {
                const RunVariable &variable = record.variables[i];
                const RunColumn &column = record.column(variable.column);
                const auto place = static_cast<std::size_t>(&column - record.columns.data());
                fmi[i] = missing_information(column, variable, record.levels[level].name,
                                             tables->columns[tables->model[place]], rows, tables->imputations);
                diagnosis.largest_fmi = std::fmax(diagnosis.largest_fmi, fmi[i]);
            }
        }
        const LevelDiagnoser diagnoser(record, draws, level);
        diagnoser.parameters(fmi, diagnosis.parameters);
        diagnosis.worst.push_back(diagnoser.worst());
    }
    if (std::isfinite(diagnosis.largest_fmi)) {
        diagnosis.needed = needed_imputations(diagnosis.largest_fmi);
        diagnosis.upper_fmi = upper_fmi(diagnosis.largest_fmi, record.imputations);
        diagnosis.recommended = needed_imputations(diagnosis.upper_fmi);
    }
    std::stable_sort(diagnosis.parameters.begin(), diagnosis.parameters.end(),
                     [](const ParameterDiagnosis &a, const ParameterDiagnosis &b) {
                         if (a.bad != b.bad) return a.bad;
                         // A verdict that cannot be given is the worst.
                         const double first = std::isnan(a.convergence.rhat) ? kOpen : a.convergence.rhat;
                         const double second = std::isnan(b.convergence.rhat) ? kOpen : b.convergence.rhat;
                         return first > second;
                     });
    add_warnings(record, diagnosis);
    if (tables != nullptr) {
        diagnosis.cells = cell_autocorrelations(record, *tables);
        warn_of_slow_cells(record, diagnosis);
        warn_of_impossible_draws(record, *tables, diagnosis);
    }
    const bool has_slow_cells = !diagnosis.cells.empty() && keep_too_much(diagnosis.cells.front());
    diagnosis.bad = diagnosis.imputations < diagnosis.needed || diagnosis.parameters.front().bad || has_slow_cells;
    return diagnosis;
}

}  // namespace ullage::host
