// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading a prior and bringing it into the model's units.

#include "ullage/host/model/prior.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <string_view>

#include "ullage/host/base/error.h"
#include "ullage/host/base/input_file.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/numbers/moments.h"
#include "ullage/host/numbers/triangular.h"

namespace ullage::host {
namespace {

[[noreturn]] void refuse(const std::string &message) {
    throw Error(Fault::usage, message);
}

double parse_cases(std::string_view text) {
    const std::optional<double> cases = parse_number(text);
    if (!cases || !(*cases > 0.0)) {
        refuse(fmt::format("the ridge prior needs a number of cases above 0, as in ridge=2, not \"{}\"", text));
    }
    return *cases;
}

void check_file(const PriorChoice &choice, const std::string &path) {
    const std::size_t n = choice.columns.size();
    if (choice.mean.size() != n || choice.covariance.size() != n ||
        std::any_of(choice.covariance.begin(), choice.covariance.end(),
                    [&](const auto &row) { return row.size() != n; })) {
        refuse(
            fmt::format("{}: with {} columns, mean needs {} numbers and covariance {} rows of {}", path, n, n, n, n));
    }
    if (!(choice.mean_cases >= 0.0) || !(choice.covariance_cases > 0.0)) {
        refuse(fmt::format("{}: mean_cases must be 0 or more, covariance_cases above 0", path));
    }
    double largest = 0.0;
    double asymmetry = 0.0;
    std::vector<double> lower;
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j <= i; ++j) {
            lower.push_back(choice.covariance[i][j]);
            largest = std::max(largest, std::fabs(choice.covariance[i][j]));
            asymmetry = std::max(asymmetry, std::fabs(choice.covariance[i][j] - choice.covariance[j][i]));
        }
    }
    if (asymmetry > 1e-9 * largest || !take_root(lower, n)) {
        refuse(fmt::format("{}: covariance must be symmetric and positive definite", path));
    }
}

/** So many cases with the variances given, uncorrelated but within a nominal column: there the words' utilities, the
 * most frequent one's included, are independent, so that no word is special. */
Prior uncorrelated_cases(double cases, const Table &table, const Variables &variables,
                         std::span<const double> variances) {
    Prior prior;
    prior.covariance_cases = cases;
    prior.scatter.assign(packed_size(variables.list.size()), 0.0);
    for (std::size_t i = 0; i < variables.list.size(); ++i) {
        prior.scatter[packed_index(i, i)] = cases * variances[i];
        const std::size_t column = variables.list[i].column;
        if (table.columns[column].kind != ColumnKind::nominal || !variables.columns[column].is_latent) continue;
        for (std::size_t j = variables.columns[column].first; j < i; ++j) {
            prior.scatter[packed_index(i, j)] = 0.5 * cases;
        }
    }
    return prior;
}

}  // namespace

PriorChoice parse_prior(const std::string &text) {
    PriorChoice choice;
    if (text == "default") return choice;
    if (text == "jeffreys") {
        choice.kind = PriorChoice::Kind::jeffreys;
        return choice;
    }
    constexpr std::string_view kRidge = "ridge=";
    if (text.starts_with(kRidge)) {
        choice.kind = PriorChoice::Kind::ridge;
        choice.ridge_cases = parse_cases(std::string_view(text).substr(kRidge.size()));
        return choice;
    }
    if (text == "ridge") refuse("the ridge prior needs a number of cases, as in ridge=2");
    choice.kind = PriorChoice::Kind::file;
    const std::string bytes = read_file(text);
    try {
        const auto json = nlohmann::json::parse(bytes);
        json.at("columns").get_to(choice.columns);
        json.at("mean").get_to(choice.mean);
        json.at("mean_cases").get_to(choice.mean_cases);
        json.at("covariance").get_to(choice.covariance);
        json.at("covariance_cases").get_to(choice.covariance_cases);
    } catch (const nlohmann::json::exception &error) {
        refuse(fmt::format("{}: not a prior: {}", text, error.what()));
    }
    if (choice.columns.empty()) refuse(fmt::format("{}: columns is empty; name the columns of the model", text));
    check_file(choice, text);
    return choice;
}

Prior make_prior(const PriorChoice &choice, const Table &table, const Variables &variables,
                 std::span<const double> variances) {
    const std::size_t n = variables.list.size();
    const bool has_words = std::ranges::any_of(table.columns, &Column::holds_words);
    Prior prior;
    if (choice.kind == PriorChoice::Kind::jeffreys && has_words) {
        refuse(
            "under the prior jeffreys nothing tells the scale behind a column of words; use the default prior, or "
            "leave these columns out of the model (--carry)");
    }
    if (choice.kind == PriorChoice::Kind::jeffreys) return prior;
    if (choice.kind != PriorChoice::Kind::file) {
        const double standard = has_words ? kLatentCases : kDefaultCases;
        return uncorrelated_cases(choice.kind == PriorChoice::Kind::ridge ? choice.ridge_cases : standard, table,
                                  variables, variances);
    }
    prior.scatter.assign(packed_size(n), 0.0);
    // The file may hold the columns in any order.
    std::vector<std::size_t> place(n);
    for (std::size_t i = 0; i < n; ++i) {
        const auto found = std::find(choice.columns.begin(), choice.columns.end(), variables.list[i].name);
        if (found == choice.columns.end())
            refuse(fmt::format("the prior's file lacks the column \"{}\"", variables.list[i].name));
        place[i] = static_cast<std::size_t>(found - choice.columns.begin());
    }
    if (choice.columns.size() != n) {
        refuse(fmt::format("the prior's file has {} columns, the model {}", choice.columns.size(), n));
    }
    prior.mean_cases = choice.mean_cases;
    prior.covariance_cases = choice.covariance_cases;
    for (std::size_t i = 0; i < n; ++i) {
        prior.mean.push_back((choice.mean[place[i]] - variables.scales[i].centre) / variables.scales[i].scale);
        for (std::size_t j = 0; j <= i; ++j) {
            prior.scatter[packed_index(i, j)] = choice.covariance_cases * choice.covariance[place[i]][place[j]] /
                                                (variables.scales[i].scale * variables.scales[j].scale);
        }
    }
    return prior;
}

}  // namespace ullage::host
