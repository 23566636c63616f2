// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Chains of mixtures: what they find in tables that were made from known ones.

#include "ullage/host/model/mixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "rank_counts.h"
#include "table_of.h"
#include "ullage/host/draw/mixture_chain.h"
#include "ullage/host/numbers/triangular.h"

namespace {

using namespace ullage::host;

std::unique_ptr<ReadyTable> ready_for(const std::string &csv, std::size_t components) {
    auto ready = table_of(csv, "default");
    ready->model = prepare_model(ready->table, ready->hidden, parse_prior("default"), components);
    return ready;
}

RandomStream stream(std::uint64_t number) {
    return RandomStream({77, StreamPurpose::overimpute, 1, 1, number});
}

TEST(MarginalNormal, IsTheDensityAndTheProbabilityOfTheConditional) {
    const Parameters parameters{{1.0, -2.0, 0.5}, {4.0, 1.0, 2.0, -0.5, 0.3, 1.0}};
    const std::vector<std::size_t> observed = {0, 2};
    MarginalNormal density(parameters, observed, 1);
    const std::array<double, 3> row = {2.0, 1e300, 0.0};
    // Variables 0 and 2: determinant 3.75, deviations 1 and -0.5, and the third regressed on both.
    const double determinant = 4.0 - 0.25;
    const double square = (1.0 * 1.0 + 2.0 * 0.5 * 1.0 * -0.5 + 4.0 * 0.25) / determinant;
    EXPECT_NEAR(density.log_density(row), -0.5 * std::log(determinant) - 0.5 * square, 1e-13);
    const double b0 = (1.0 * 1.0 + 0.5 * 0.3) / determinant;
    const double b2 = (0.5 * 1.0 + 4.0 * 0.3) / determinant;
    const double mean = -2.0 + b0 - 0.5 * b2;
    const double spread = std::sqrt(2.0 - b0 * 1.0 - b2 * 0.3);
    const auto tail = [](double z) { return 0.5 * std::erfc(z / std::sqrt(2.0)); };
    const auto expect = [&](double lower, double upper, double log_probability) {
        EXPECT_NEAR(density.log_probability_of_next(mean + lower * spread, mean + upper * spread), log_probability,
                    1e-9 * std::max(1.0, std::fabs(log_probability)));
    };
    expect(-1.0, 2.0, std::log(tail(-1.0) - tail(2.0)));
    expect(-HUGE_VAL, -3.0, std::log(tail(3.0)));
    expect(3.0, 3.5, std::log(tail(3.0) - tail(3.5)));
    expect(40.0, HUGE_VAL, -804.608442013754);  // log of the upper tail at 40
    expect(-1e-7, 1e-7, std::log(2e-7 / std::sqrt(2.0 * M_PI)));
    expect(-40.0 - 1e-7, -40.0, -800.0 - 0.5 * std::log(2.0 * M_PI) + std::log(1e-7) - 2e-6);
}

// Two well separated humps in x, which y follows in each of them.
struct Humps {
    std::string csv = "x,y,w\n";
    double low_share = 0.0;
    std::array<double, 2> mean_of_y{};
};

Humps make_humps(std::size_t rows) {
    RandomStream random = stream(1);
    Humps humps;
    std::array<double, 2> count{};
    for (std::size_t i = 0; i < rows; ++i) {
        const bool is_low = random.uniform() < 0.4;
        const double x = (is_low ? 0.0 : 8.0) + random.normal();
        const double y = (is_low ? 2.0 + x : 5.0 - (x - 8.0)) + 0.5 * random.normal();
        const double w = random.normal() + (is_low ? 0.5 : 0.0);
        humps.low_share += is_low ? 1.0 / static_cast<double>(rows) : 0.0;
        humps.mean_of_y[is_low ? 0 : 1] += y;
        ++count[is_low ? 0 : 1];
        const auto number = [](double value) { return std::to_string(value); };
        humps.csv += (random.uniform() < 0.3 ? "" : number(x)) + ',' +
                     (random.uniform() < 0.3 ? "" : (y < 2.0 ? "<2" : number(y))) + ',' +
                     (random.uniform() < 0.3 ? "" : number(w)) + '\n';
    }
    for (std::size_t c = 0; c < 2; ++c) humps.mean_of_y[c] /= count[c];
    return humps;
}

TEST(MixtureChain, FindsTwoHumpsAndFillsBoth) {
    const Humps humps = make_humps(1500);
    const auto ready = ready_for(humps.csv, 2);
    for (std::uint64_t number = 1; number <= 2; ++number) {
        MixtureChain chain(ready->model, 5, number);
        std::vector<double> values(ready->hidden.cells.size());
        double share = 0.0;
        std::array<double, 2> y{};
        double near_low = 0.0;
        double near_high = 0.0;
        double between = 0.0;
        constexpr int burn_in = 100;
        constexpr int kept = 200;
        for (int i = 0; i < burn_in + kept; ++i) {
            chain.iterate();
            if (i < burn_in) continue;
            const Mixture &mixture = chain.mixture();
            const std::size_t low = mixture.components[0].mean[0] < mixture.components[1].mean[0] ? 0 : 1;
            share += mixture.weights[low] / kept;
            y[0] += from_model(ready->model.scales[1], mixture.components[low].mean[1]) / kept;
            y[1] += from_model(ready->model.scales[1], mixture.components[1 - low].mean[1]) / kept;
            chain.copy_hidden(values);
            for (std::size_t h = 0; h < values.size(); ++h) {
                if (ready->hidden.cells[h].column != 0) continue;
                const double x = from_model(ready->model.scales[0], values[h]);
                (x < 3.0 ? near_low : x > 5.0 ? near_high : between) += 1.0;
            }
        }
        const double all = near_low + near_high + between;
        EXPECT_NEAR(share, humps.low_share, 0.03);
        EXPECT_NEAR(y[0], humps.mean_of_y[0], 0.15);
        EXPECT_NEAR(y[1], humps.mean_of_y[1], 0.1);
        EXPECT_NEAR(near_low / all, 0.4, 0.05);
        EXPECT_NEAR(near_high / all, 0.6, 0.05);
        EXPECT_LT(between / all, 0.01);
    }
}

TEST(MixtureChain, MovesRowsBetweenHumpsThatAreFarApart) {
    // One column: a row whose cell is missing must not stay where its first draw fell.
    std::string csv = "x\n";
    RandomStream random = stream(2);
    for (int i = 0; i < 200; ++i) csv += std::to_string((i % 2 == 0 ? 0.0 : 50.0) + random.normal()) + '\n';
    for (int i = 0; i < 40; ++i) csv += i < 20 ? "NA\n" : ">-20\n";
    const auto ready = ready_for(csv, 2);
    MixtureChain chain(ready->model, 3, 1);
    std::vector<double> values(40);
    std::vector<double> high(40);
    constexpr int kept = 200;
    for (int i = 0; i < kept + 20; ++i) {
        chain.iterate();
        chain.copy_hidden(values);
        for (std::size_t h = 0; h < 40 && i >= 20; ++h) {
            high[h] += from_model(ready->model.scales[0], values[h]) > 25.0 ? 1.0 / kept : 0.0;
        }
    }
    for (std::size_t h = 0; h < 40; ++h) EXPECT_NEAR(high[h], 0.5, 0.2) << h;
}

TEST(MixtureChain, EmptiesSuperfluousComponents) {
    std::string csv = "x,y\n";
    RandomStream random = stream(3);
    for (int i = 0; i < 1000; ++i) {
        const double x = random.normal();
        csv += (i % 5 == 0 ? "NA" : std::to_string(x)) + ',' + std::to_string(x + random.normal()) + '\n';
    }
    const auto ready = ready_for(csv, 6);
    MixtureChain chain(ready->model, 4, 1);
    double outside = 0.0;  // rows that are not in the largest component
    constexpr int kept = 200;
    for (int i = 0; i < 400 + kept; ++i) {
        chain.iterate();
        if (i < 400) continue;
        outside += (1000.0 - static_cast<double>(*std::ranges::max_element(chain.sizes()))) / kept;
    }
    EXPECT_LT(outside, 100.0);
}

TEST(MixtureChain, RefusesWhatItIsNotFor) {
    const std::string csv = "x,g\n1,a\n2,a\n4,b\n3,b\n7,b\n9,a\n";
    ReadOptions by;
    by.by = "g";
    auto ready = table_of("x,g\n1,a\n2,a\n4,b\n3,b\n7,b\n9,a\n", "default", by);
    EXPECT_THROW((void)prepare_model(ready->table, ready->hidden, parse_prior("default"), 2), Error);
    ReadOptions kinds;
    kinds.find_kinds = true;
    ready = table_of(csv, "default", kinds);
    EXPECT_THROW((void)prepare_model(ready->table, ready->hidden, parse_prior("default"), 2), Error);
    EXPECT_THROW((void)ready_for("x\n1\n2\n3\n4\nNA\n", 2)->model.mixture.value().component.mean.at(1),
                 std::out_of_range);
}

// Simulation-based calibration (Talts and others 2018): parameters from the prior, a table from the parameters, and
// the rank of the truth among posterior draws, of quantities that do not depend on how components are numbered.
class Calibration {
public:
    static constexpr std::size_t kDraws = 15;
    static constexpr std::size_t kQuantities = 6;

    void run(std::uint64_t repetition) {
        RandomStream random = stream(1000 + repetition);
        const std::vector<Moments> none(2, Moments{0.0, {0.0, 0.0}, {0.0, 0.0, 0.0}});
        const Mixture truth = draw_mixture(none, prior_, random);
        const auto ready = ready_for(table_from(truth, random), 2);
        put_prior_into(ready->model);
        MixtureChain chain(ready->model, 9, repetition + 1);
        std::array<std::size_t, kQuantities> rank{};
        const auto expected = quantities(truth);
        for (int i = 1; i <= 150 + static_cast<int>(kDraws) * 15; ++i) {
            chain.iterate();
            if (i <= 150 || i % 15 != 0) continue;
            const auto drawn = quantities(in_file_units(ready->model, chain.mixture()));
            for (std::size_t q = 0; q < kQuantities; ++q) rank[q] += drawn[q] < expected[q] ? 1 : 0;
        }
        ranks_.add(rank);
    }

    [[nodiscard]] double p_value(std::size_t quantity) const { return ranks_.p_value(quantity); }

private:
    static constexpr std::size_t kRows = 50;

    static std::string table_from(const Mixture &truth, RandomStream &random) {
        std::string csv = "x,y\n";
        for (std::size_t i = 0; i < kRows; ++i) {
            const Parameters &own = truth.components[random.uniform() < truth.weights[0] ? 0 : 1];
            std::vector<double> root = own.covariance;
            EXPECT_TRUE(take_root(root, 2));
            const double first = random.normal();
            const double x = own.mean[0] + root[0] * first;
            const double y = own.mean[1] + root[1] * first + root[2] * random.normal();
            const auto cell = [&](double value) {
                const double chance = random.uniform();
                if (i > 5 && chance < 0.2) return std::string();
                // A bound at a place that does not depend on the value.
                if (i > 5 && chance < 0.5) return std::string(value < 0.3 ? "<0.3" : ">0.3");
                return std::to_string(value);
            };
            csv += cell(x) + ',' + cell(y) + '\n';
        }
        return csv;
    }

    void put_prior_into(ModelTable &model) const {
        MixturePrior prior = prior_;
        for (std::size_t i = 0; i < 2; ++i) {
            const Scale &own = model.variables.scales[i];
            prior.component.mean[i] = (prior.component.mean[i] - own.centre) / own.scale;
            for (std::size_t j = 0; j <= i; ++j) {
                prior.component.scatter[packed_index(i, j)] /= own.scale * model.variables.scales[j].scale;
            }
        }
        model.mixture = prior;
    }

    static Mixture in_file_units(const ModelTable &model, Mixture mixture) {
        for (Parameters &own : mixture.components) {
            for (std::size_t i = 0; i < 2; ++i) {
                const Scale &scale = model.variables.scales[i];
                own.mean[i] = scale.centre + scale.scale * own.mean[i];
                for (std::size_t j = 0; j <= i; ++j) {
                    own.covariance[packed_index(i, j)] *= scale.scale * model.variables.scales[j].scale;
                }
            }
        }
        return mixture;
    }

    static std::array<double, kQuantities> quantities(const Mixture &mixture) {
        const Parameters whole = moments_of_mixture(mixture);
        return {whole.mean[0],       whole.mean[1],       whole.covariance[0],
                whole.covariance[1], whole.covariance[2], std::fabs(mixture.weights[0] - 0.5)};
    }

    MixturePrior prior_{2, 2.0, {0.3, 6.0, {0.0, 1.0}, {3.0, 1.0, 4.0}, {}}};
    RankCounts<kQuantities, kDraws> ranks_;
};

TEST(MixtureChain, IsCalibrated) {
    Calibration calibration;
    for (std::uint64_t repetition = 0; repetition < 480; ++repetition) calibration.run(repetition);
    for (std::size_t q = 0; q < Calibration::kQuantities; ++q) EXPECT_GT(calibration.p_value(q), 1e-3) << q;
}

}  // namespace
