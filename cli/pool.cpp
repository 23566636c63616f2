// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The command "ullage pool": one answer from all completed tables.

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <span>
#include <utility>

#include "commands.h"
#include "talk.h"
#include "text_table.h"
#include "ullage/host/answer/derive.h"
#include "ullage/host/answer/pool_estimates.h"
#include "ullage/host/answer/pool_moments.h"
#include "ullage/host/answer/pool_regression.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/input_file.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/output_file.h"
#include "ullage/host/run/write_table.h"
#include "ullage/host/table/read_table.h"

namespace ullage::cli {
namespace {

using host::Error;
using host::Fault;
using host::Pooled;
using host::PooledRow;

/** All that was pooled. */
struct Answer {
    int imputations = 0;  // 0 if the estimates come from elsewhere
    std::vector<PooledRow> quantities;
    std::vector<host::PooledRegression> regressions;
    std::vector<std::string> warnings;  // those of the run about convergence
};

std::string short_p(double p) {
    if (std::isnan(p)) return "-";
    return p < 0.0001 ? "<0.0001" : fmt::format("{:.4f}", p);
}

/** Degrees of freedom; how many there are beyond 10,000 makes no difference. */
std::string short_df(double df) {
    return df > 10000.0 ? ">10000" : fmt::format("{:.1f}", df);
}

std::string table_of(const std::vector<PooledRow> &rows, double confidence) {
    const bool has_levels = std::any_of(rows.begin(), rows.end(), [](const auto &row) { return !row.level.empty(); });
    TextTable table = {{"quantity", "estimate", "std.error", fmt::format("{:g}% lower", 100.0 * confidence), "upper",
                        "df", "p", "FMI", "efficiency"}};
    const bool has_deltas = std::any_of(rows.begin(), rows.end(), [](const auto &row) { return !row.delta.empty(); });
    if (has_deltas) table[0].insert(table[0].begin(), "delta");
    if (has_levels) table[0].insert(table[0].begin(), "level");
    for (const PooledRow &row : rows) {
        const Pooled &pooled = row.pooled;
        table.push_back({row.name, short_number(pooled.estimate), short_number(pooled.standard_error),
                         short_number(pooled.lower), short_number(pooled.upper), short_df(pooled.df), short_p(pooled.p),
                         fmt::format("{:.3f}", pooled.fmi), fmt::format("{:.3f}", pooled.relative_efficiency)});
        if (has_deltas) table.back().insert(table.back().begin(), row.delta);
        if (has_levels) table.back().insert(table.back().begin(), row.level);
    }
    return in_columns(table, 1 + (has_levels ? 1 : 0) + (has_deltas ? 1 : 0));
}

/** The formula that was given, of whichever family. */
const std::string &formula_of(const PoolOptions &pool) {
    return !pool.lm.empty() ? pool.lm : !pool.logit.empty() ? pool.logit : pool.poisson;
}

/** What a regression is besides its formula: family, rows, standard errors. */
std::string kind_of(const PoolOptions &pool) {
    std::string text = !pool.logit.empty() ? " (logistic)" : !pool.poisson.empty() ? " (Poisson)" : "";
    if (!pool.where.empty()) text += " where " + pool.where;
    if (pool.robust) text += ", robust standard errors (HC3)";
    if (!pool.cluster.empty()) text += ", standard errors robust to clusters of " + pool.cluster;
    return text;
}

std::string in_words(const host::CoefficientTest &test) {
    const std::string names = fmt::format("{}", fmt::join(test.names, ", "));
    const host::WaldTest &wald = test.wald;
    return fmt::format("Wald test (D1) of {}: F({}, {}) = {}, p {}\n",
                       test.term.empty() || test.term == names ? names : fmt::format("{} ({})", test.term, names),
                       wald.df1, short_df(wald.df2), short_number(wald.statistic),
                       wald.p < 0.0001 ? short_p(wald.p) : "= " + short_p(wald.p));
}

/** Rows of one name side by side, in the order in which names come first. */
std::vector<PooledRow> gathered(std::vector<PooledRow> rows) {
    std::map<std::pair<std::string, std::string>, std::size_t> places;
    for (const PooledRow &row : rows) places.try_emplace({row.level, row.name}, places.size());
    std::ranges::stable_sort(rows, {}, [&](const PooledRow &row) { return places.at({row.level, row.name}); });
    return rows;
}

/** The regressions of one level, of which there are several with --delta. */
std::string in_words(std::span<const host::PooledRegression> regressions, const Answer &answer,
                     const Options &options) {
    const host::PooledRegression &first = regressions.front();
    std::size_t rows = first.rows;
    std::size_t most_rows = first.most_rows;
    std::vector<PooledRow> coefficients;
    std::string tests;
    for (const host::PooledRegression &regression : regressions) {
        rows = std::min(rows, regression.rows);
        most_rows = std::max(most_rows, regression.most_rows);
        const auto &own = regression.coefficients;
        coefficients.insert(coefficients.end(), own.begin(), own.end());
        for (const host::CoefficientTest &test : regression.tests) {
            const std::string &delta = own.front().delta;
            tests += (delta.empty() ? "" : "delta " + delta + ": ") + in_words(test);
        }
    }
    return fmt::format("{}{}{}: {} rows, {} imputations, residual df {}\n{}{}", formula_of(options.pool),
                       kind_of(options.pool), first.level.empty() ? "" : ", level " + first.level,
                       rows == most_rows ? fmt::format("{}", rows) : fmt::format("{} to {}", rows, most_rows),
                       answer.imputations, first.residual_df,
                       table_of(gathered(std::move(coefficients)), options.pool.confidence), tests);
}

std::string in_words(const Answer &answer, const Options &options) {
    std::string text;
    if (!answer.quantities.empty()) text += table_of(answer.quantities, options.pool.confidence);
    const std::span all = answer.regressions;
    for (std::size_t begin = 0, end = 0; begin < all.size(); begin = end) {
        while (end < all.size() && all[end].level == all[begin].level) ++end;
        if (!text.empty()) text += '\n';
        text += in_words(all.subspan(begin, end - begin), answer, options);
    }
    return text;
}

std::string as_csv(const Answer &answer) {
    TextTable table = {{"level", "term", "estimate", "std.error", "lower", "upper", "statistic", "df", "p", "fmi",
                        "relative_efficiency"}};
    std::vector<PooledRow> rows = answer.quantities;
    for (const auto &regression : answer.regressions) {
        rows.insert(rows.end(), regression.coefficients.begin(), regression.coefficients.end());
    }
    const bool has_deltas = std::any_of(rows.begin(), rows.end(), [](const auto &row) { return !row.delta.empty(); });
    if (has_deltas) table[0].insert(table[0].begin(), "delta");
    for (const PooledRow &row : rows) {
        const Pooled &p = row.pooled;
        table.push_back({row.level, row.name});
        if (has_deltas) table.back().insert(table.back().begin(), row.delta);
        for (const double number :
             {p.estimate, p.standard_error, p.lower, p.upper, p.statistic, p.df, p.p, p.fmi, p.relative_efficiency}) {
            table.back().push_back(std::isnan(number) ? "" : host::format_number(number));
        }
    }
    return cli::as_csv(table);
}

nlohmann::ordered_json as_json(const PooledRow &row) {
    const Pooled &p = row.pooled;
    nlohmann::ordered_json json;
    if (!row.delta.empty()) json["delta"] = row.delta;
    json.update({{"level", row.level},
                 {"name", row.name},
                 {"estimate", number_or_null(p.estimate)},
                 {"standard_error", number_or_null(p.standard_error)},
                 {"lower", number_or_null(p.lower)},
                 {"upper", number_or_null(p.upper)},
                 {"statistic", number_or_null(p.statistic)},
                 {"df", number_or_null(p.df)},
                 {"p", number_or_null(p.p)},
                 {"fmi", number_or_null(p.fmi)},
                 {"relative_efficiency", number_or_null(p.relative_efficiency)},
                 {"within", number_or_null(p.within)},
                 {"between", number_or_null(p.between)},
                 {"total", number_or_null(p.total)},
                 {"riv", number_or_null(p.riv)},
                 {"lambda", number_or_null(p.lambda)}});
    return json;
}

nlohmann::ordered_json as_json(const std::vector<PooledRow> &rows) {
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
    for (const PooledRow &row : rows) json.push_back(as_json(row));
    return json;
}

nlohmann::ordered_json as_json(const Answer &answer, const Options &options) {
    nlohmann::ordered_json json;
    if (answer.imputations > 0) json["imputations"] = answer.imputations;
    json["confidence"] = options.pool.confidence;
    json["quantities"] = as_json(answer.quantities);
    json["regressions"] = nlohmann::ordered_json::array();
    for (const host::PooledRegression &regression : answer.regressions) {
        nlohmann::ordered_json tests = nlohmann::ordered_json::array();
        for (const host::CoefficientTest &test : regression.tests) {
            tests.push_back({{"term", test.term},
                             {"names", test.names},
                             {"statistic", number_or_null(test.wald.statistic)},
                             {"df1", test.wald.df1},
                             {"df2", number_or_null(test.wald.df2)},
                             {"p", number_or_null(test.wald.p)},
                             {"riv", number_or_null(test.wald.riv)}});
        }
        const PoolOptions &pool = options.pool;
        json["regressions"].push_back({{"formula", formula_of(pool)},
                                       {"family", !pool.logit.empty()     ? "binomial"
                                                  : !pool.poisson.empty() ? "poisson"
                                                                          : "normal"},
                                       {"where", pool.where},
                                       {"errors", pool.robust            ? "HC3"
                                                  : pool.cluster.empty() ? "model"
                                                                         : "cluster"},
                                       {"cluster", pool.cluster},
                                       {"level", regression.level},
                                       {"rows", regression.rows},
                                       {"most_rows", regression.most_rows},
                                       {"residual_df", regression.residual_df},
                                       {"coefficients", as_json(regression.coefficients)},
                                       {"tests", std::move(tests)}});
    }
    json["warnings"] = answer.warnings;
    return json;
}

/** The regression that the options ask for, if they do. The columns of the model are those of a "." in the formula. */
std::optional<host::Regression> regression_of(const PoolOptions &pool, const host::RunRecord &record) {
    const auto given = !pool.lm.empty() + !pool.logit.empty() + !pool.poisson.empty();
    if (given > 1) throw Error(Fault::usage, "give one of --lm, --logit and --poisson at a time");
    if (given == 0) {
        const char *extra = !pool.tested.empty()    ? "--test"
                            : !pool.where.empty()   ? "--where"
                            : pool.robust           ? "--robust"
                            : !pool.cluster.empty() ? "--cluster"
                                                    : nullptr;
        if (extra == nullptr) return {};
        throw Error(Fault::usage, fmt::format("{} is about a regression; give --lm, --logit or --poisson too", extra));
    }
    if (pool.robust && !pool.cluster.empty()) {
        throw Error(Fault::usage, "standard errors are robust by --robust or by --cluster; leave out one of them");
    }
    std::vector<std::string> columns;
    for (const host::RunColumn &column : record.columns) columns.push_back(column.name);
    host::Regression regression;
    regression.formula = host::parse_formula(formula_of(pool), columns);
    regression.family = !pool.logit.empty()     ? host::Family::binomial
                        : !pool.poisson.empty() ? host::Family::poisson
                                                : host::Family::normal;
    if (!pool.where.empty()) regression.where = host::parse_expression("--where", pool.where);
    regression.robust = pool.robust;
    regression.cluster = pool.cluster;
    regression.tested = pool.tested;
    regression.confidence = pool.confidence;
    return regression;
}

Answer pool_directory(const Options &options) {
    const PoolOptions &pool = options.pool;
    const host::RunRecord record = host::read_run_record(options.input);
    // A formula that cannot be read is told before large files are.
    const std::optional<host::Regression> regression = regression_of(pool, record);
    std::vector<host::Derivation> derivations = host::derivations_of(record);
    std::ranges::move(host::parse_derivations(pool.derive), std::back_inserter(derivations));
    host::PoolRequest request = pool.request;
    if (!regression && !request.means && !request.variances && !request.covariances && !request.correlations &&
        request.quantiles.empty()) {
        request.means = true;
    }
    if (pool.model_scale) {
        for (const host::RunColumn &column : record.columns) request.scale.push_back(column.transformation);
    }
    const std::vector<host::Scenario> scenarios = host::scenarios_of(pool.deltas);
    host::CompletedTables drawn = host::read_completed_tables(options.input, record);
    const std::vector<host::BoundedCell> bounds =
        pool.deltas.empty() ? std::vector<host::BoundedCell>() : host::read_bounded_cells(options.input, record);
    Answer answer;
    answer.imputations = record.imputations;
    answer.warnings = record.warnings;
    for (const host::Scenario &scenario : scenarios) {
        host::CompletedTables tables = scenarios.size() > 1 ? drawn : std::move(drawn);
        host::shift_missing(tables, record, bounds, pool.deltas, scenario);
        for (const host::Derivation &derivation : derivations) host::add_derived(tables, derivation);
        const std::string delta = host::name_of(pool.deltas, scenario);
        for (PooledRow &row : host::pool_moments(tables, request, pool.confidence)) {
            answer.quantities.push_back(std::move(row));
            answer.quantities.back().delta = delta;
        }
        if (!regression) continue;
        for (host::PooledRegression &pooled : host::pool_regression(tables, *regression)) {
            for (PooledRow &row : pooled.coefficients) row.delta = delta;
            answer.regressions.push_back(std::move(pooled));
        }
    }
    answer.quantities = gathered(std::move(answer.quantities));
    const auto place = [&](const host::PooledRegression &pooled) {
        return std::ranges::find(record.levels, pooled.level, &host::RunLevel::name) - record.levels.begin();
    };
    std::ranges::stable_sort(answer.regressions, {}, place);
    return answer;
}

}  // namespace

int run_pool(const Options &options) {
    const PoolOptions &pool = options.pool;
    if (options.json && pool.csv)
        throw Error(Fault::usage, "the output is either JSON or CSV: leave out --json or --csv");
    if (!pool.deltas.empty() && !pool.estimates.empty()) {
        throw Error(Fault::usage,
                    "--delta shifts cells of a run, and estimates made elsewhere have none: leave it out");
    }
    if (options.input.empty() == pool.estimates.empty()) {
        throw Error(Fault::usage, "pool takes either the directory of a run, or --estimates FILE");
    }
    Answer answer;
    if (pool.estimates.empty()) {
        answer = pool_directory(options);
    } else {
        const std::string source = pool.estimates == "-" ? "standard input" : pool.estimates;
        answer.quantities =
            host::pool_estimates(source, host::read_file(pool.estimates), pool.complete_df, pool.confidence);
    }
    host::OutputFile out("-");
    out.write(options.json ? as_json(answer, options).dump(2) + "\n"
              : pool.csv   ? as_csv(answer)
                           : in_words(answer, options));
    out.commit();
    host::Notices notices;
    for (const std::string &warning : answer.warnings) notices.push_back({true, warning});
    say(options, notices);
    return 0;
}

}  // namespace ullage::cli
