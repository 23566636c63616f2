// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Whether imputations can be trusted: convergence of every parameter, missing information, enough imputations.

#ifndef ULLAGE_HOST_ANSWER_DIAGNOSTICS_H
#define ULLAGE_HOST_ANSWER_DIAGNOSTICS_H

#include <limits>
#include <string>
#include <vector>

#include "ullage/host/answer/cell_autocorrelation.h"
#include "ullage/host/numbers/convergence.h"
#include "ullage/host/run/completed_tables.h"
#include "ullage/host/run/parameter_file.h"

namespace ullage::host {

enum class ParameterKind { mean, variance, correlation, mixture };

/** A mean, variance or correlation of one level, or of a mixture what does not depend on how its components are
 * numbered (its own moments, log.likelihood, components), on the scale of the model (transformed, in the units of the
 * file). */
struct ParameterDiagnosis {
    std::string level = {};  ///< of the "by" column, or empty
    std::string name = {};   ///< mean(log(lead)), var(zinc), cor(zinc,log(lead))
    ParameterKind kind = ParameterKind::mean;
    Chains chains = {};                                                 ///< the draws
    double mean = 0.0;                                                  ///< of all draws
    double deviation = 0.0;                                             ///< standard deviation of all draws
    Convergence convergence = {};                                       ///< R-hat, bulk and tail effective size
    double error = 0.0;                                                 ///< Monte Carlo standard error of the mean
    double autocorrelation = std::numeric_limits<double>::quiet_NaN();  ///< at lag 1; NaN if the chains are shorter
    double autocorrelation_thin = std::numeric_limits<double>::quiet_NaN();  ///< from one imputation to the next
    double fmi = std::numeric_limits<double>::quiet_NaN();  ///< of a mean: fraction of missing information (rubin.h)
    bool bad = false;  ///< beyond kWorstRhat or kLeastEssPerChain (bulk or tail), or not to be judged though it varies
};

/** The weight of a variable in a linear combination of means. */
struct MeanWeight {
    std::string variable;
    double weight;
};

/**
 * The linear combination of the means of a level that the hidden cells hurt most, among the columns of numbers: of the
 * latent variables behind words even complete rows tell no more than signs.
 *
 * From the drawn parameters: the covariance T of the drawn means is, by the law of total variance, the average drawn
 * covariance over the number of rows, U, plus what the hidden cells add. The fraction of missing information of the
 * combination w is 1 - w'Uw / w'Tw; it is largest for an eigenvector of T^-1 U.
 */
struct WorstCombination {
    std::string level;
    double fmi;                       ///< from 0 to 1; NaN if there are too few draws to tell, or no numbers
    std::vector<MeanWeight> weights;  ///< one per column of numbers, of its mean in standard deviations; largest is 1
};

/** What a run's results say about themselves. */
struct Diagnosis {
    std::vector<ParameterDiagnosis> parameters;  ///< the worst first
    std::vector<WorstCombination> worst;         ///< one per level
    std::vector<CellAutocorrelation> cells;      ///< the worst of each column first
    int imputations = 0;                         ///< that there are
    double largest_fmi = 0.0;                    ///< of all means; NaN with fewer than 2 imputations
    int needed = 0;                              ///< imputations by the quadratic rule at largest_fmi; 0 if unknown
    double upper_fmi = 0.0;             ///< upper end of the 95% interval of largest_fmi, which the two-stage rule uses
    int recommended = 0;                ///< imputations by the two-stage rule: at upper_fmi, 0 if unknown
    std::vector<std::string> warnings;  ///< in words with advice; empty if all is well
    bool bad = false;  ///< a parameter is bad, cells keep too much, or there are fewer imputations than needed
};

/** Coefficient of variation of a standard error that repeated imputation may have. */
inline constexpr double kErrorVariation = 0.05;

/** Imputations for standard errors that repeat within kErrorVariation: 1 + (fmi / CV)^2 / 2, rounded up, at least 2
 * (von Hippel 2020, Sociological Methods & Research 49). */
[[nodiscard]] int needed_imputations(double fmi);

/** The upper end of the 95% interval of a fraction of missing information from m imputations: logit(fmi) has the
 * standard error sqrt(2 / m) (von Hippel 2020, equation 8). */
[[nodiscard]] double upper_fmi(double fmi, int imputations);

/** What the chains of every parameter say. */
[[nodiscard]] std::vector<ParameterConvergence> convergence_of(const Diagnosis &diagnosis);

/** Whether the chains of every parameter that varies reach a target; one that cannot be judged does not. */
[[nodiscard]] bool has_converged(const std::vector<ParameterDiagnosis> &parameters, const ConvergenceTarget &target);

/** Diagnose a run.
 * @param tables  may be null: then nothing is said about missing information of single means and imputations needed */
[[nodiscard]] Diagnosis diagnose(const RunRecord &record, const ParameterDraws &draws, const CompletedTables *tables);

}  // namespace ullage::host

#endif
