// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The fast road and the plain road, side by side through their exported functions: the same values, the same calls of
// the source with the same arguments, the same results and the same logs. The fast road runs with each instruction set.

#include <gtest/gtest.h>
#include <ullage/random_source.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "support/engine_functions.h"
#include "support/random_sources.h"
#include "support/temp_folder.h"
#include "support/utf16.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// What a session leaves behind. NaNs are kept as one value.
struct Transcript {
    std::vector<std::uint64_t> words;
    std::string logs;

    void add(double value) { words.push_back(std::isnan(value) ? 1 : std::bit_cast<std::uint64_t>(value)); }
    void add(const std::vector<double> &values) {
        for (double value : values) add(value);
    }
};

// A seeded source that notes what it is asked for.
struct NotingSource final : TestSource {
    NotingSource(std::uint64_t seed, int failing_call, Transcript &notes)
        : numbers(seed, failing_call), transcript(notes) {}

    SeededSource numbers;
    Transcript &transcript;

    std::int32_t NextUniform(double *out) override {
        transcript.words.push_back('U');
        return numbers.NextUniform(out);
    }
    std::int32_t NextStandardNormal(double *out) override {
        transcript.words.push_back('N');
        return numbers.NextStandardNormal(out);
    }
    std::int32_t NextMultivariateNormal(std::int32_t n, double *out, const double *mean, const double *root) override {
        transcript.words.push_back('M');
        for (std::int32_t i = 0; i < n; ++i) transcript.add(mean[i]);
        for (std::int32_t i = 0; i < n * (n + 1) / 2; ++i) transcript.add(root[i]);
        return numbers.NextMultivariateNormal(n, out, mean, root);
    }
};

enum class Cells { missing, mixed };
enum class Covariance { factor, singular, nearly_singular, spread, indefinite, with_nan, with_infinity };

struct Scenario {
    int variables;
    int cases;
    Cells cells;
    Covariance covariance;
    bool force_gibbs = false;
    int failing_call = 0;
};

std::ostream &operator<<(std::ostream &out, const Scenario &scenario) {
    return out << scenario.variables << " variables, " << scenario.cases << " cases, cells "
               << static_cast<int>(scenario.cells) << ", covariance " << static_cast<int>(scenario.covariance)
               << (scenario.force_gibbs ? ", chains" : "") << ", failing call " << scenario.failing_call;
}

std::string cell_text(std::mt19937_64 &engine, Cells cells, int column, int variables) {
    const auto kind = engine() % 10;
    const std::string number = std::to_string(static_cast<double>(engine() % 4001) / 1000.0 - 2.0);
    if (kind < 4) return "*";
    if (cells == Cells::missing || kind < 6) return number;
    if (kind == 6) return "<" + number;
    if (kind == 7) return number + "<";
    if (kind == 8) return "-1<<" + std::to_string(static_cast<int>(engine() % 4) - 1);  // now and then contradictory
    return "<v" + std::to_string((column + 1) % variables);
}

std::u16string data_text(std::mt19937_64 &engine, const Scenario &scenario) {
    std::string text = std::to_string(scenario.cases) + "\t" + std::to_string(scenario.variables) + "\n";
    for (int j = 0; j < scenario.variables; ++j) text += (j == 0 ? "v" : "\tv") + std::to_string(j);
    text += "\n";
    for (int i = 0; i < scenario.cases; ++i) {
        for (int j = 0; j < scenario.variables; ++j) {
            if (j > 0) text += "\t";
            text += cell_text(engine, scenario.cells, j, scenario.variables);
        }
        text += "\n";
    }
    return wide(text);
}

std::vector<double> covariance_of(const Scenario &scenario) {
    std::vector<double> packed;
    const int n = scenario.variables;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j <= i; ++j) {
            double element = i == j ? 1.0 + 0.1 * i : 0.4;
            switch (scenario.covariance) {
                case Covariance::factor:
                    break;
                case Covariance::singular:
                    element = 1.0;
                    break;
                case Covariance::nearly_singular:
                    element = i == j ? 1.0 + 1e-15 * (i % 3) : 1.0;
                    break;
                case Covariance::spread:
                    element *= std::ldexp(1.0, 40 * (i % 5 - 2) + 40 * (j % 5 - 2));
                    break;
                case Covariance::indefinite:
                    element = i == j ? 1.0 : 0.9 - 1.8 * ((i + j) % 2);
                    break;
                case Covariance::with_nan:
                    element = i == n / 2 && j == 0 ? kNaN : element;
                    break;
                case Covariance::with_infinity:
                    element = i == j && i == n / 2 ? kInfinity : element;
                    break;
            }
            packed.push_back(element);
        }
    }
    return packed;
}

Transcript run(const char *library, const Scenario &scenario) {
    Transcript transcript;
    const TempFolder folder;
    const std::u16string trace = folder.wide_path("trace.log");
    const std::u16string error = folder.wide_path("error.log");
    {
        std::optional<EngineLibrary> engine(std::in_place, library);
        const EngineFunctions &ds = engine->functions();
        std::mt19937_64 numbers(1234);
        const auto nv = static_cast<std::size_t>(scenario.variables);
        const auto cell_count = static_cast<std::size_t>(scenario.cases) * nv;
        const std::vector<double> covariance = covariance_of(scenario);
        std::vector<double> means(nv, 0.125);
        std::vector<double> values(cell_count), likelihoods(static_cast<std::size_t>(scenario.cases));
        std::vector<double> moments(nv), moment_covariance(covariance.size());
        NotingSource source(99, scenario.failing_call, transcript);

        ds.DS_GibbsOpen(trace.c_str(), error.c_str());
        ds.DS_AllowRankOrder();
        if (scenario.force_gibbs) ds.DS_ForceGibbs();
        std::int32_t group_count;
        ds.DS_CreateGroup(0, &group_count, 1, 1, 0);
        EXPECT_EQ(ds.DS_KeyGroupDef(u"g", data_text(numbers, scenario).c_str()), 0);
        for (const std::int32_t first : {1, scenario.cases / 2, 0}) {
            try {
                transcript.words.push_back(
                    static_cast<std::uint64_t>(ds.DS_Impute(1, means.data(), covariance.data(), first, 0, &source)));
            } catch (const ullage::RandomSourceError &failure) {
                transcript.words.push_back(static_cast<std::uint64_t>(failure.status()));
            }
            ds.DS_DataMatrix(1, values.data());
            ds.DS_SampleMoments(1, moments.data(), moment_covariance.data(), first);
            ds.DS_GetLikelihoods(0, means.data(), covariance.data(), likelihoods.data());
            transcript.add(values);
            transcript.add(moments);
            transcript.add(moment_covariance);
            transcript.add(likelihoods);
        }
        ds.DS_GibbsClose();
    }
    transcript.logs = folder.text("trace.log") + "\n--\n" + folder.text("error.log");
    return transcript;
}

void expect_same(const Scenario &scenario) {
    SCOPED_TRACE(scenario);
    const Transcript plain = run(ULLAGE_PLAIN_LIBRARY, scenario);
    EXPECT_GT(plain.words.size(), static_cast<std::size_t>(scenario.cases));
    for (const char *library : {ULLAGE_FAST_LIBRARIES}) {
        SCOPED_TRACE(library);
        const Transcript fast = run(library, scenario);
        EXPECT_EQ(fast.logs, plain.logs);
        ASSERT_EQ(fast.words.size(), plain.words.size());
        for (std::size_t i = 0; i < plain.words.size(); ++i) ASSERT_EQ(fast.words[i], plain.words[i]) << "word " << i;
    }
}

TEST(RoadBits, AllSizesAndCovariances) {
    for (int variables : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}) {
        for (Covariance covariance :
             {Covariance::factor, Covariance::singular, Covariance::nearly_singular, Covariance::spread,
              Covariance::indefinite, Covariance::with_nan, Covariance::with_infinity}) {
            expect_same({variables, 40, Cells::missing, covariance});
            expect_same({variables, 40, Cells::mixed, covariance});
            expect_same({variables, 40, Cells::missing, covariance, true});
        }
    }
}

TEST(RoadBits, PatternsOfMoreThanOneWord) {
    expect_same({64, 60, Cells::missing, Covariance::factor});
    expect_same({65, 60, Cells::missing, Covariance::factor});
    expect_same({130, 30, Cells::missing, Covariance::singular});
}

TEST(RoadBits, MoreModelsThanAChunkHolds) {
    expect_same({20, 4000, Cells::missing, Covariance::factor});
}

TEST(RoadBits, FewerCopiesThanThePatternsWant) {
    expect_same({600, 12, Cells::missing, Covariance::factor});
}

TEST(RoadBits, ASourceThatFailsInTheMiddle) {
    for (int call : {1, 2, 7, 40, 300}) expect_same({5, 40, Cells::mixed, Covariance::factor, false, call});
}

}  // namespace
