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
  ullage pool results --logit 'ill ~ C(sex, ref=m) * age + I(age^2)' --robust
    a logistic regression with a column of words, a product and a square.
  ullage pool results --delta Ozone=0,5,10,20
    how far missing values would have to be off to change the answer.
  ullage pool --estimates fits.csv --df 40
    pools estimates made elsewhere: columns term, estimate, std.error, one
    row per imputation.)";

void add_regression(CLI::App &command, PoolOptions &pool) {
    const char *group = "Regressions";
    const auto add = [&](const char *name, std::string &value, const char *type, const char *text) {
        command.add_option(name, value, text)->type_name(type)->group(group);
    };
    add("--lm", pool.lm, "FORMULA", "linear regression, such as 'y ~ x1 + log(x2) + sex'");
    add("--logit", pool.logit, "FORMULA", "logistic regression: y is 0 or 1, or one of two words");
    add("--poisson", pool.poisson, "FORMULA", "Poisson regression with the logarithm as link");
    add_list(command, "--test", "TERMS", "joint Wald test of these terms or coefficients", group,
             [&pool](const std::vector<std::string> &words) { pool.tested = split(words); });
    add("--where", pool.where, "EXPR", "the rows in which this is true, such as \"age >= 18 & sex == 'f'\"");
    command.add_flag("--robust", pool.robust, "robust standard errors (HC3)")->group(group);
    add("--cluster", pool.cluster, "COL", "standard errors robust to clusters, which this column names");
}

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
    command
        .add_flag("--model-scale", pool.model_scale,
                  "these quantities on the scale of the model: of log(x) for columns with --log, and so on")
        ->group(group);
    add_list(command, "--derive", "NAME=EXPR", "compute a column in every table first, such as 'bmi = wgt / hgt^2'",
             group, [&pool](const std::vector<std::string> &words) { pool.derive = words; });
    add_list(command, "--delta", "COL=D,D",
             "what if missing cells of the column were larger by D, on the scale of the model: an answer for each D",
             group, [&pool](const std::vector<std::string> &words) {
                 for (const std::string &word : words) pool.deltas.push_back(host::parse_delta(word));
             });
    command.add_option("--estimates", pool.estimates, "pool this table of estimates instead; - reads standard input")
        ->type_name("FILE")
        ->group(group);
    command.add_option("--df", pool.complete_df, "complete-data degrees of freedom of --estimates (default: infinite)")
        ->type_name("N")
        ->group(group);
    add_regression(command, pool);
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
