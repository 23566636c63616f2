// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The engine behind its session: known truncated distributions, and failures.

#include "ullage/host/draw/engine_session.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace ullage::host;

namespace {

constexpr std::int32_t kCases = 20000;
constexpr int kPasses = 50;

std::u16string repeated(const std::u16string &head, const std::u16string &record) {
    std::u16string text = head;
    for (std::int32_t i = 0; i < kCases; ++i) text += record;
    return text;
}

// Means and covariance over many passes, of cases that are all alike.
struct Sampled {
    std::vector<double> mean;
    std::vector<double> covariance;
};

Sampled sample(const std::u16string &text, const std::vector<double> &means, const std::vector<double> &covariance) {
    EngineSession engine;
    const std::int32_t group = engine.load_group(text);
    const std::size_t n = means.size();
    std::vector<double> mean(n);
    std::vector<double> moments(covariance.size());
    Sampled sum{std::vector<double>(n, 0.0), std::vector<double>(covariance.size(), 0.0)};
    for (int pass = 1; pass <= kPasses; ++pass) {
        RandomStream random({17, StreamPurpose::cells, 1, static_cast<std::uint64_t>(pass), 0});
        engine.impute(group, means, covariance, random);
        engine.sample_moments(group, mean, moments);
        for (std::size_t i = 0; i < n; ++i) sum.mean[i] += mean[i] / kPasses;
        for (std::size_t i = 0; i < moments.size(); ++i) sum.covariance[i] += moments[i] / kPasses;
    }
    return sum;
}

// A million draws, whose dependence within a case is worth no more than a factor of five: standard errors below 0.0017
// for means, below 0.0015 for covariances. Five of them.
constexpr double kMeanTolerance = 0.0085;
constexpr double kCovarianceTolerance = 0.0075;

TEST(EngineSession, OrderedNormals) {
    const Sampled got = sample(repeated(u"20000\t3\nv1\tv2\tv3\n", u"<v2;<v3\tv1<;<v3\tv1<;v2<\n"), {0.0, 0.0, 0.0},
                               {1.0, 0.0, 1.0, 0.0, 0.0, 1.0});
    EXPECT_NEAR(got.mean[0], -0.8462843753, kMeanTolerance);
    EXPECT_NEAR(got.mean[1], 0.0, kMeanTolerance);
    EXPECT_NEAR(got.mean[2], 0.8462843753, kMeanTolerance);
    EXPECT_NEAR(got.covariance[0], 0.5594672038, kCovarianceTolerance);
    EXPECT_NEAR(got.covariance[1], 0.2756644477, kCovarianceTolerance);
    EXPECT_NEAR(got.covariance[2], 0.4486711046, kCovarianceTolerance);
    EXPECT_NEAR(got.covariance[3], 0.1648683485, kCovarianceTolerance);
    EXPECT_NEAR(got.covariance[4], 0.2756644477, kCovarianceTolerance);
    EXPECT_NEAR(got.covariance[5], 0.5594672038, kCovarianceTolerance);
}

TEST(EngineSession, PositiveOrthant) {
    const Sampled got = sample(repeated(u"20000\t2\nv1\tv2\n", u"0<\t0<\n"), {0.0, 0.0}, {1.0, 0.5, 1.0});
    EXPECT_NEAR(got.mean[0], 0.8976201, kMeanTolerance);
    EXPECT_NEAR(got.mean[1], 0.8976201, kMeanTolerance);
}

TEST(EngineSession, OneAtATime) {
    {
        const EngineSession first;
        EXPECT_THROW(EngineSession(), Error);
    }
    EXPECT_NO_THROW(EngineSession());
}

TEST(EngineSession, FailuresTellWhereAndWhat) {
    EngineSession engine;
    try {
        (void)engine.load_group(u"3\t2\nv1\tv2\n1\t2\n3\t4\n5\tx\n");
        FAIL() << "loaded";
    } catch (const EngineError &error) {
        EXPECT_EQ(error.case_number(), 3);
        EXPECT_NE(error.engine_text().find("The value, x, of the variable, v2,"), std::string::npos)
            << error.engine_text();
    }
}

TEST(EngineSession, AFailedDrawNamesItsCase) {
    EngineSession engine;
    const std::int32_t group = engine.load_group(u"3\t2\nv1\tv2\n1\t2\n3\t4\n*\t<0\n");
    // The case with both cells hidden meets the whole covariance, which is singular.
    const std::vector<double> means{0.0, 0.0};
    const std::vector<double> covariance{1.0, 1.0, 1.0};
    for (int round = 0; round < 2; ++round) {
        RandomStream random({1, StreamPurpose::cells, 1, 1, 0});
        try {
            engine.impute(group, means, covariance, random);
            FAIL() << "drawn";
        } catch (const EngineError &error) {
            EXPECT_EQ(error.group(), group);
            EXPECT_EQ(error.case_number(), 3);
            EXPECT_NE(error.engine_text().find("invert"), std::string::npos) << error.engine_text();
        }
    }
}

}  // namespace
