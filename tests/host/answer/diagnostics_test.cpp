// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Diagnoses of draws whose verdict is known, and the number of imputations.

#include "ullage/host/answer/diagnostics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "ullage/host/numbers/random_stream.h"

namespace ullage::host {
namespace {

TEST(NeededImputations, QuadraticRule) {
    const struct {
        double fmi;
        int needed;
    } rows[] = {{0.0, 2}, {0.05, 2}, {0.1, 3}, {0.3, 19}, {0.301, 20}, {0.5, 51}, {1.0, 201}};
    for (const auto &row : rows) EXPECT_EQ(needed_imputations(row.fmi), row.needed) << row.fmi;
}

TEST(NeededImputations, UpperEndOfTheFraction) {
    // logit(0.5) = 0, so the end is the logistic function of 1.96 sqrt(2 / 20).
    EXPECT_NEAR(upper_fmi(0.5, 20), 1.0 / (1.0 + std::exp(-1.959963984540054 * std::sqrt(0.1))), 1e-15);
    EXPECT_EQ(upper_fmi(0.0, 20), 0.0);
    EXPECT_EQ(upper_fmi(1.0, 20), 1.0);
    EXPECT_GT(upper_fmi(0.3, 5), upper_fmi(0.3, 50));
}

constexpr std::size_t kDraws = 1000;

/** Two columns of 100 rows; the parameters are drawn independently, the mean of b with the part missing hidden. */
struct DrawnRun {
    RunRecord record;
    ParameterDraws draws;
};

DrawnRun independent_run(double missing) {
    DrawnRun run;
    run.record.imputations = 1000;
    run.record.chains = 4;
    run.record.thin = 4;
    run.record.columns = {{.name = "a"}, {.name = "b", .transformation = Transformation::log}};
    run.record.variables = {{"a", "a"}, {"log(b)", "b"}};
    run.record.levels = {{"", 100, 50}};
    run.draws.names = {"mean(a)", "mean(log(b))", "var(a)", "cov(log(b),a)", "var(log(b))"};
    run.draws.draws.assign(1, std::vector<Chains>(5, Chains(4)));
    RandomStream random({11, StreamPurpose::start, 1, 0, 0});
    for (std::size_t chain = 0; chain < 4; ++chain) {
        for (std::size_t i = 0; i < kDraws; ++i) {
            const double variance_a = 4.0 * std::exp(0.01 * random.normal());
            const double variance_b = std::exp(0.01 * random.normal());
            const double numbers[] = {0.2 * random.normal(), 0.1 * random.normal() / std::sqrt(1.0 - missing),
                                      variance_a, 0.5 * std::sqrt(variance_a * variance_b), variance_b};
            for (std::size_t p = 0; p < 5; ++p) run.draws.draws[0][p][chain].push_back(numbers[p]);
        }
    }
    return run;
}

const ParameterDiagnosis &find(const Diagnosis &diagnosis, const std::string &name) {
    const auto found = std::find_if(diagnosis.parameters.begin(), diagnosis.parameters.end(),
                                    [&](const ParameterDiagnosis &parameter) { return parameter.name == name; });
    EXPECT_NE(found, diagnosis.parameters.end()) << name;
    return found != diagnosis.parameters.end() ? *found : diagnosis.parameters.front();
}

TEST(Diagnose, IndependentDrawsAreGood) {
    const DrawnRun run = independent_run(0.0);
    const Diagnosis diagnosis = diagnose(run.record, run.draws, nullptr);
    EXPECT_EQ(diagnosis.parameters.size(), 5u);
    const ParameterDiagnosis &mean = find(diagnosis, "mean(a)");
    EXPECT_FALSE(mean.bad);
    // The bounds are some four standard errors of 4000 independent draws.
    EXPECT_NEAR(mean.mean, 0.0, 4.0 * 0.2 / std::sqrt(4000.0));
    EXPECT_NEAR(mean.deviation, 0.2, 4.0 * 0.2 / std::sqrt(8000.0));
    EXPECT_NEAR(mean.error, 0.2 / std::sqrt(4000.0), 0.15 * 0.2 / std::sqrt(4000.0));
    EXPECT_NEAR(mean.autocorrelation, 0.0, 4.0 / std::sqrt(4000.0));
    EXPECT_TRUE(std::isnan(mean.fmi)) << "no tables were given";
    EXPECT_EQ(diagnosis.needed, 0);
    // The correlation is always 0.5: nothing to judge, nothing bad, but rounding may make it vary.
    EXPECT_NEAR(find(diagnosis, "cor(a,log(b))").mean, 0.5, 1e-12);
}

TEST(Diagnose, WorstCombinationFindsTheHiddenColumn) {
    // The drawn means are independent, but their complete-data covariance has the correlation 0.5 over 100 rows:
    // 1 - w'Uw / w'Tw is largest for w = (1, -1) in standard deviations, where it is 1 - 0.5 = 0.5.
    const DrawnRun even = independent_run(0.0);
    const WorstCombination worst = diagnose(even.record, even.draws, nullptr).worst.at(0);
    EXPECT_NEAR(worst.fmi, 0.5, 0.05);
    EXPECT_NEAR(std::min(worst.weights.at(0).weight, worst.weights.at(1).weight), -1.0, 0.1);
    // With 90% of b missing the worst is near b itself, and above 0.9.
    const DrawnRun hidden = independent_run(0.9);
    const WorstCombination of_b = diagnose(hidden.record, hidden.draws, nullptr).worst.at(0);
    EXPECT_GT(of_b.fmi, 0.9);
    EXPECT_EQ(diagnose(even.record, even.draws, nullptr).worst.size(), 1u);
}

TEST(Diagnose, ChainsApartComeFirst) {
    DrawnRun run = independent_run(0.0);
    for (double &draw : run.draws.draws[0][0][2]) draw += 0.5;
    const Diagnosis diagnosis = diagnose(run.record, run.draws, nullptr);
    EXPECT_EQ(diagnosis.parameters.front().name, "mean(a)");
    EXPECT_TRUE(diagnosis.parameters.front().bad);
    EXPECT_TRUE(diagnosis.bad);
    ASSERT_FALSE(diagnosis.warnings.empty());
    EXPECT_NE(diagnosis.warnings[0].find("for mean(a)"), std::string::npos) << diagnosis.warnings[0];
}

TEST(Diagnose, TheCureFollowsFromWhyChainsAreApart) {
    const auto advice = [](const auto &shift) {
        DrawnRun run = independent_run(0.0);
        run.record.burn_in = 200;
        for (std::size_t i = 0; i < kDraws; ++i) run.draws.draws[0][0][2][i] += shift(i);
        return diagnose(run.record, run.draws, nullptr).warnings.at(0);
    };
    // A chain that comes from afar in its first draws, and one that never comes.
    EXPECT_NE(advice([](std::size_t i) { return i < 400 ? 2.0 : 0.0; }).find("remember their start"),
              std::string::npos);
    const std::string slow = advice([](std::size_t) { return 1.0; });
    EXPECT_NE(slow.find("move slowly: run again with --thin"), std::string::npos) << slow;
}

TEST(Diagnose, TailsAndMeanAreJudgedByTheirOwnSizes) {
    DrawnRun run = independent_run(0.0);
    RandomStream random({12, StreamPurpose::start, 1, 0, 0});
    for (std::size_t chain = 0; chain < 4; ++chain) {
        std::size_t spell = 0;
        for (std::size_t i = 0; i < kDraws; ++i) {
            // Once in each of two chains, 100 in a row lie in the lower tail: few independent draws for its quantile
            // alone.
            if (i == 0) spell = static_cast<std::size_t>(900.0 * random.uniform());
            const bool in_spell = chain < 2 && i >= spell && i < spell + 100;
            run.draws.draws[0][0][chain][i] = in_spell ? -2.0 - std::fabs(random.normal()) : random.normal();
            // Ten in a hundred lie far out, one after the other: few for the mean, though the ranks hardly show it.
            run.draws.draws[0][1][chain][i] = random.normal() + (i % 100 < 10 ? 50.0 : 0.0);
        }
    }
    const Diagnosis diagnosis = diagnose(run.record, run.draws, nullptr);
    const ParameterDiagnosis &tails = find(diagnosis, "mean(a)");
    EXPECT_GT(tails.convergence.ess_bulk, 100.0);
    EXPECT_LT(tails.convergence.ess_tail, 100.0);
    EXPECT_LT(tails.convergence.rhat, 1.05);
    EXPECT_TRUE(tails.bad);
    const ParameterDiagnosis &mean = find(diagnosis, "mean(log(b))");
    EXPECT_GT(mean.error, 1.5 * mean.deviation / std::sqrt(mean.convergence.ess_bulk));
}

TEST(Diagnose, DrawsThatCannotBeAreNamedWithTheirCure) {
    DrawnRun run = independent_run(0.0);
    run.record.columns[0].missing = 2;
    CompletedTables tables;
    tables.rows = 4;
    tables.imputations = 2;
    tables.levels = {""};
    tables.level_of_row = {0, 0, 0, 0};
    tables.model = {0, 1};
    tables.columns.push_back({"a", {std::nan(""), 0.2, 0.4, std::nan("")}, {0, 3}, {{0.1, 0.2}, {0.3, -0.1}}});
    tables.columns.push_back({"b", {1, 2, 3, 4}, {}, {{}, {}}});
    const auto says = [&](const std::string &words) {
        for (const std::string &warning : diagnose(run.record, run.draws, &tables).warnings) {
            if (warning.find(words) != std::string::npos) return true;
        }
        return false;
    };
    EXPECT_TRUE(says("25% of the values drawn for \"a\" are below 0")) << "one of four";
    EXPECT_TRUE(says("--log 'a'"));
    tables.columns[0].imputed = {{0.1, 1.2}, {0.3, -0.1}};
    EXPECT_TRUE(says("50% of the values drawn for \"a\" are below 0 or above 1"));
    tables.columns[0].original[1] = -0.2;
    EXPECT_FALSE(says("values drawn for")) << "an observed value is below 0, too";
}

TEST(Diagnose, ShortChainsCannotBeJudged) {
    DrawnRun run = independent_run(0.0);
    for (Chains &parameter : run.draws.draws[0]) {
        for (auto &chain : parameter) chain.resize(3);
    }
    const Diagnosis diagnosis = diagnose(run.record, run.draws, nullptr);
    EXPECT_TRUE(diagnosis.bad);
    EXPECT_TRUE(std::isnan(diagnosis.parameters.front().convergence.rhat));
    EXPECT_TRUE(std::isnan(find(diagnosis, "mean(a)").autocorrelation_thin)) << "the lag is beyond the chain";
}

TEST(CellAutocorrelations, AreOfCellsThatAreHiddenBesideOthers) {
    constexpr std::size_t imputations = 40;
    RunRecord record;
    record.chains = 4;
    record.thin = 10;
    CompletedTables tables;
    tables.rows = 300;
    tables.imputations = imputations;
    tables.model = {0, 1, 2};
    RandomStream random({12, StreamPurpose::start, 1, 0, 0});
    // a is hidden alone in the first hundred rows, where it hardly moves; a and b in the second, and all in the third.
    const double kept[3][3] = {{0.99, 0.6, 0.0}, {0.0, 0.0, 0.3}, {0.0, 0.0, 0.0}};
    for (std::size_t c = 0; c < 3; ++c) {
        CompletedColumn column{std::string(1, static_cast<char>('a' + c)), std::vector<double>(300, 0.0), {}, {}};
        for (std::size_t row = 100 * c; row < 300; ++row) column.hidden.push_back(static_cast<std::int32_t>(row));
        std::vector<std::vector<double>> draws(imputations);
        for (std::size_t k = 0; k < imputations; ++k) {
            for (const std::int32_t row : column.hidden) {
                const double share = kept[c][row / 100];
                double draw = 5.0 + std::sqrt(1.0 - share * share) * random.normal();
                if (k < 4) draw = 5.0 + random.normal();
                if (k >= 4) draw += share * (draws[k - 4][draws[k].size()] - 5.0);
                draws[k].push_back(1e200 * draw);
            }
            for (double &draw : draws[k]) draw /= 1e200;
        }
        column.imputed.held() = draws;
        tables.columns.push_back(std::move(column));
    }
    const std::vector<CellAutocorrelation> cells = cell_autocorrelations(record, tables);
    ASSERT_EQ(cells.size(), 3U);
    EXPECT_EQ(cells[0].column, "a");
    EXPECT_EQ(cells[0].beside, std::vector<std::string>{"b"});
    EXPECT_EQ(cells[0].cells, 100U);
    // Less than 0.6, as the means and deviations of the cells are of few draws.
    EXPECT_NEAR(cells[0].autocorrelation, 0.55, 0.05);
    EXPECT_TRUE(keep_too_much(cells[0]));
    EXPECT_EQ(cells[1].column, "b");
    EXPECT_EQ(cells[1].beside, (std::vector<std::string>{"a", "c"}));
    EXPECT_NEAR(cells[1].autocorrelation, 0.27, 0.06);
    EXPECT_EQ(cells[2].column, "c");
    EXPECT_NEAR(cells[2].autocorrelation, 0.0, 4.0 * cells[2].error);
    EXPECT_LT(cells[2].error, 0.05);
    EXPECT_FALSE(keep_too_much(cells[2]));
    record.chains = 33;
    EXPECT_TRUE(cell_autocorrelations(record, tables).empty());  // 7 pairs of imputations
}

TEST(Autocorrelation, OfAKnownSeries) {
    // 1, 2, 3, 4 about 2.5: the products at lag 1 are 0.75, -0.25 and 0.75, 1.25 / 3 on average, and the squares 5 / 4.
    EXPECT_NEAR(autocorrelation({{1, 2, 3, 4}}, 1), 1.0 / 3.0, 1e-15);
    // Two chains apart: about 1.5 the products are all 2.25, and so are the squares.
    EXPECT_NEAR(autocorrelation({{0, 0, 0}, {3, 3, 3}}, 2), 1.0, 1e-15);
    EXPECT_TRUE(std::isnan(autocorrelation({{7, 7, 7, 7}}, 1)));
}

}  // namespace
}  // namespace ullage::host
