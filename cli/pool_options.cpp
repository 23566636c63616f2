// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The options of "ullage pool".

#include "commands.h"
#include "option_words.h"

namespace ullage::cli {
namespace {

constexpr const char *kHelp = R"(Examples:
  ullage pool results --lm 'Ozone ~ Temp + log(Wind)'
    fits the regression to each completed table and pools by Rubin's rules.
  ullage pool --estimates fits.csv --df 40
    pools estimates made elsewhere: columns term, estimate, std.error, one
    row per imputation.)";

}  // namespace

void add_pool_options(CLI::App &command, Options &options) {
    PoolOptions &pool = options.pool;
    add_directory(command, options, false);
    const char *group = "Quantities";
    command.add_flag("--means", pool.request.means, "means (the default)")->group(group);
    command.add_flag("--variances", pool.request.variances, "variances")->group(group);
    command.add_flag("--covariances", pool.request.covariances, "covariances")->group(group);
    command.add_flag("--correlations", pool.request.correlations, "correlations, by Fisher's z")->group(group);
    add_list(command, "--quantiles", "P,P", "quantiles of these probabilities", group,
             [&pool](const std::vector<std::string> &words) {
                 for (const std::string &word : split(words))
                     pool.request.quantiles.push_back(number_of("--quantiles", word));
             });
    command.add_option("--lm", pool.formula, "linear regression, such as 'y ~ x1 + log(x2)'")
        ->type_name("FORMULA")
        ->group(group);
    add_list(command, "--test", "TERMS", "joint Wald test of these coefficients of --lm", group,
             [&pool](const std::vector<std::string> &words) { pool.tested = split(words); });
    command.add_option("--estimates", pool.estimates, "pool this table of estimates instead; - reads standard input")
        ->type_name("FILE")
        ->group(group);
    command.add_option("--df", pool.complete_df, "complete-data degrees of freedom of --estimates (default: infinite)")
        ->type_name("N")
        ->group(group);
    group = "Results";
    command.add_option("--confidence", pool.confidence, "of the intervals")
        ->type_name("P")
        ->capture_default_str()
        ->group(group);
    command.add_flag("--json", options.json, "print everything as JSON")->group(group);
    command.add_flag("--csv", pool.csv, "print as CSV")->group(group);
    add_quiet(command, options);
    command.footer(kHelp);
}

}  // namespace ullage::cli
