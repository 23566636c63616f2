// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Whole sessions as a host writes them, against the shared library, with golden results. Each test is a process.

#include <gtest/gtest.h>
#include <ullage/random_source.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <ios>
#include <vector>

#include "support/bits.h"
#include "support/random_sources.h"
#include "support/temp_folder.h"
#include "support/utf16.h"

namespace {

using Numbers = std::vector<double>;

// A congruential generator with normal numbers that need + - * alone, so that golden values hold everywhere.
struct PlainSource final : TestSource {
    std::uint64_t state = 20261122;

    double uniform() {
        state = state * 6364136223846793005U + 1442695040888963407U;
        return static_cast<double>(state >> 11) * 0x1p-53;
    }
    double normal() {
        double sum = uniform();
        for (int i = 1; i < 12; ++i) sum += uniform();
        return sum - 6.0;
    }
    std::int32_t NextUniform(double *out) override {
        *out = uniform();
        return 0;
    }
    std::int32_t NextStandardNormal(double *out) override {
        *out = normal();
        return 0;
    }
    std::int32_t NextMultivariateNormal(std::int32_t n, double *out, const double *mean, const double *root) override {
        Numbers z;
        for (std::int32_t i = 0; i < n; ++i) {
            z.push_back(normal());
            out[i] = mean[i];
            for (double number : z) out[i] += *root++ * number;
        }
        return 0;
    }
};

// All numbers that a session gave back, in order.
struct Results {
    Numbers numbers;

    void add(const Numbers &more) { numbers.insert(numbers.end(), more.begin(), more.end()); }

    std::uint64_t hash() const {  // FNV-1a over the bits, low byte first
        std::uint64_t value = 14695981039346656037U;
        for (double number : numbers) {
            for (int shift = 0; shift < 64; shift += 8) {
                value = (value ^ ((std::bit_cast<std::uint64_t>(number) >> shift) & 0xff)) * 1099511628211U;
            }
        }
        return value;
    }
};

// The first numbers in clear, so that a mismatch can be read, and a hash of all.
void expect_golden(const Results &results, const Numbers &first, std::uint64_t hash) {
    for (std::size_t i = 0; i < first.size(); ++i) {
        SCOPED_TRACE(i);
        CHECK_BITS(results.numbers[i], first[i]);
    }
    EXPECT_EQ(results.hash(), hash) << std::hex << "now 0x" << results.hash();
}

// A loaded group and the alternation that a host runs on it: impute, take the moments as the next parameters.
struct Host {
    std::int32_t group_number;
    std::int32_t nv;
    std::int32_t cases;
    Numbers means;
    Numbers covariance;
    PlainSource &source;
    Results &results;

    void round(std::int32_t id, double ridge) {
        const auto n = static_cast<std::size_t>(nv);
        ASSERT_EQ(DS_Impute(id, means.data(), covariance.data(), 0, 0, &source), 0);
        Numbers values(n * static_cast<std::size_t>(cases));
        ASSERT_EQ(DS_DataMatrix(id, values.data()), 0);
        ASSERT_EQ(DS_SampleMoments(id, means.data(), covariance.data(), 0), 0);
        results.add(values);
        results.add(means);
        results.add(covariance);
        for (std::size_t i = 0, t = 0; i < n; t += i + 2, ++i) covariance[t] += ridge;
    }
};

std::int32_t open_and_load(const TempFolder &folder, const std::u16string &text, const char16_t *weight = nullptr) {
    DS_GibbsOpen(folder.wide_path("trace").c_str(), folder.wide_path("error").c_str());
    std::int32_t count = 0;
    if (DS_CreateGroup(0, &count, 2, 8, 0) != 0 || DS_KeyVariableDef(1, u"x") != 0) return 1;
    if (weight != nullptr && DS_KeyWeight(weight) != 0) return 1;
    if (DS_KeyGroupDef(u"session", text.c_str()) != 0) return 1;
    return DS_KeyEnd();
}

const char16_t *const kMissingTable =
    u"8\t4\nx\ty\tz\tw\n1.5\t2\t*\t4\n0.5\t*\t1\t*\n-1\t0\t2\t3.25\n*\t*\t*\t*\n2.5\t1\t1.25\t*\n0\t-1.5\t*\t2\n"
    u"*\t0.75\t0.5\t1\n1\t1\t*\t*\n";

const char16_t *const kBoundedTable =
    u"6\t4\nx\ty\tz\tw\n<1\t2\t-1<<0.5\t4\n0.5\t*\t1<\t*\n*\t<y;<3\t0<\t3.25\n1.25\t<0.25\t2\t1.5<<1.75\n<0;-1\t;1\t;"
    u"2\t3\n"
    u"*\t0.5\t1.5<\t2<\n";

// Parameters go round without exp and log: every bit holds on every machine.
TEST(Scenario, MissingCellsAndMoments) {
    TempFolder folder;
    ASSERT_EQ(open_and_load(folder, kMissingTable), 0);
    PlainSource source;
    Results results;
    Host host{1, 4, 8, {0, 0, 1, 2}, {1, 0.25, 1, 0, 0.5, 2, 0.25, 0, 0.5, 1.5}, source, results};
    for (int i = 0; i < 6; ++i) host.round(1, 0.25);
    expect_golden(results,
                  {1.5, 2, 0x1.6ebb941ccadf6p+1, 0x1.0000000000000p+2, 0x1.0000000000000p-1, 0x1.38da7eab40ab9p+1,
                   0x1.0000000000000p+0, 0x1.45d4ff6e0e445p+1},
                  0xdc6ddb07bf2d75ecU);
    DS_GibbsClose();
}

// The same cells through the chain, where open ends need no exp and no log either.
TEST(Scenario, MissingCellsThroughTheChain) {
    TempFolder folder;
    DS_ForceGibbs();
    ASSERT_EQ(open_and_load(folder, kMissingTable), 0);
    PlainSource source;
    Results results;
    Host host{1, 4, 8, {0, 0, 1, 2}, {1, 0.25, 1, 0, 0.5, 2, 0.25, 0, 0.5, 1.5}, source, results};
    for (int i = 0; i < 6; ++i) host.round(1, 0.25);
    expect_golden(results,
                  {1.5, 2, 0x1.66590510b5480p+0, 0x1.0000000000000p+2, 0x1.0000000000000p-1, 0x1.83b9ebc7d0959p-2,
                   0x1.0000000000000p+0, 0x1.47a207a0bca91p+1},
                  0x1ba7592caf5aa20eU);
    DS_GibbsClose();
}

// Mixture mode with weights: memberships move between the rounds.
TEST(Scenario, MixtureOfTwoGroups) {
    TempFolder folder;
    DS_SetMixtureModeling(1);
    ASSERT_EQ(
        open_and_load(
            folder,
            u"6\t3\ngrp\tx\tcount\ty\n1\t0.5\t2\t*\n2\t*\t1\t1.5\n0\t1\t3\t*\n0\t*\t1\t2\n2\t-1\t2\t-2\n1\t*\t1\t*\n",
            u"Count"),
        0);
    PlainSource source;
    Results results;
    const std::int32_t memberships[2][10] = {{9, 9, 9, 1, 2, 1, 2, 9, 9, 9}, {9, 9, 9, 2, 2, 1, 1, 9, 9, 9}};
    Host first{1, 2, 10, {0, 0}, {1, 0.5, 2}, source, results};
    Host second{2, 2, 10, {1, 1}, {2, -0.5, 1}, source, results};
    for (const auto &ids : memberships) {
        ASSERT_EQ(DS_ImputeGroupMembership(ids), 0);
        std::int32_t size = 0;
        ASSERT_EQ(DS_GetSampleSize(1, &size), 0);
        results.add({static_cast<double>(size)});
        first.round(1, 0.5);
        second.round(2, 0.5);
    }
    expect_golden(results,
                  {0x1.4000000000000p+2, 0x1.0000000000000p-1, 0x1.413e6d4baa41ep-1, 0x1.0000000000000p-1,
                   0x1.d3a96d5d32d5fp+1, 0x1.7e43c8800759cp+996},
                  0xbbef270fe48566f2U);
    DS_GibbsClose();
}

// Bounded cells of all kinds. exp and log take part; the values were made with the GNU C library 2.36, and only their
// bounds are checked elsewhere.
TEST(Scenario, BoundedCellsAndLikelihoods) {
    TempFolder folder;
    DS_AllowRankOrder();
    ASSERT_EQ(open_and_load(folder, kBoundedTable), 0);
    PlainSource source;
    Results results;
    Host host{1, 4, 6, {0, 0, 1, 2}, {1, 0.25, 1, 0, 0.5, 2, 0.25, 0, 0.5, 1.5}, source, results};
    for (int i = 0; i < 6; ++i) {
        host.round(1, 0.25);
        const double *v = results.numbers.data() + results.numbers.size() - 38;
        EXPECT_LE(v[0], 1);
        EXPECT_TRUE(v[2] >= -1 && v[2] <= 0.5);
        EXPECT_GE(v[6], 1);
        EXPECT_TRUE(v[15] >= 1.5 && v[15] <= 1.75);
        EXPECT_GE(v[23], 2);
    }
    Numbers likelihoods(6);
    ASSERT_EQ(DS_GetLikelihoods(0, host.means.data(), host.covariance.data(), likelihoods.data()), 0);
    results.add(likelihoods);
#ifdef __GLIBC__
    expect_golden(results,
                  {0x1.4c7d2922ef628p-1, 0x1.0000000000000p+1, -0x1.a0390cddbcd3cp-1, 0x1.0000000000000p+2,
                   0x1.0000000000000p-1, -0x1.68a3726c737cap-1},
                  0x3e908de4492d58b5U);
#endif
    DS_GibbsClose();
}

TEST(Switches, StartOffAndOutlastTheSession) {
    TempFolder folder;
    EXPECT_EQ(DS_GetTest(), 0);
    std::int32_t count;
    EXPECT_EQ(DS_CreateGroup(0, &count, 1, 1, 0), 1);
    EXPECT_EQ(DS_GoToGroup(1), 1) << "mixture mode is off";
    EXPECT_EQ(open_and_load(folder, u"1\t2\nx\ty\n<y\t1\n"), 1) << "rank order is off";
    DS_AllowRankOrder();
    DS_SetTest(INT32_MIN);
    DS_SetMixtureModeling(INT32_MIN);
    DS_GibbsClose();
    ASSERT_EQ(open_and_load(folder, u"2\t2\ng\tx\ty\n1\t<y\t1\n2\t*\t1\n"), 0);
    EXPECT_EQ(DS_GetTest(), INT32_MIN);
    EXPECT_EQ(DS_GetSampleSize(2, &count), 0);
    EXPECT_EQ(count, 1);
    const double means[] = {0, 0};
    const double covariance[] = {1, 0, 1};
    ScriptedSource source(Numbers(100, 0.5));
    EXPECT_EQ(DS_Impute(2, means, covariance, 0, 0, &source), 0);
    DS_ForceGibbs();
    DS_ForceMC();
    DS_GibbsClose();
    DS_GibbsClose();
    ASSERT_EQ(open_and_load(folder, u"1\t2\ng\tx\ty\n2\t*\t1\n"), 0);
    DS_ForceMC();
    EXPECT_EQ(DS_Impute(2, means, covariance, 0, 0, &source), 0);
    EXPECT_EQ(source.calls, "M" + std::string(22, 'N'));
}

TEST(Logs, AFullDiskIsSwallowed) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no device that is always full";
    DS_GibbsOpen(u"/dev/full", u"/dev/full");
    std::int32_t count;
    ASSERT_EQ(DS_CreateGroup(0, &count, 1, 8, 0), 0);
    for (int i = 0; i < 20000; ++i) EXPECT_EQ(DS_KeyEnd(), 0);
    EXPECT_EQ(DS_KeyGroupDef(u"g", u"1\t1\nx\n2\n"), 0);
    double value;
    EXPECT_EQ(DS_DataScalar(1, 1, 1, &value), 0);
    EXPECT_EQ(value, 2);
}

// Every export that needs a group or cases, on a session in each state where it has none.
void expect_refusals(bool group_exists) {
    double number = 7.5;
    std::int32_t word = 77;
    char16_t unit = u'?';
    const double one = 1.0;
    EXPECT_EQ(DS_KeyVariableDef(0, nullptr), group_exists ? 0 : 1);
    EXPECT_EQ(DS_KeyWeight(nullptr), group_exists ? 0 : 1);
    EXPECT_EQ(DS_KeyEnd(), group_exists ? 0 : 1);
    for (const std::int32_t group_number : {0, 1}) {
        EXPECT_EQ(DS_VariableNameLength(group_number, 1, &word), 1);
        EXPECT_EQ(DS_VariableNameW(group_number, 1, &unit), 1);
        EXPECT_EQ(DS_DataScalar(group_number, 1, 1, &number), 1);
        EXPECT_EQ(DS_ConstraintTypeScalar(group_number, 1, 1, &word), 1);
        EXPECT_EQ(DS_DataVector(group_number, 1, &number), 1);
        EXPECT_EQ(DS_DataMatrix(group_number, &number), 1);
        EXPECT_EQ(DS_SampleMoments(group_number, &number, &number, 0), 1);
        EXPECT_EQ(DS_Impute(group_number, &one, &one, 0, 0, nullptr), 1);
        if (!group_exists) {
            EXPECT_EQ(DS_NVariables(group_number, &word), 1);
            EXPECT_EQ(DS_GetSampleSize(group_number, &word), 1);
        }
    }
    EXPECT_EQ(DS_GetLikelihoods(0, &one, &one, &number), 1);
    EXPECT_EQ(DS_ImputeGroupMembership(&word), 1);
    if (!group_exists) {
        EXPECT_EQ(DS_GetGroupOneTotalSampleSize(&word), 1);
    }
    EXPECT_EQ(number, 7.5);
    EXPECT_EQ(word, 77);
    EXPECT_EQ(unit, u'?');
}

TEST(Refusals, WithoutAGroupOrCasesNothingIsTouched) {
    expect_refusals(false);
    EXPECT_EQ(DS_KeyGroupDef(u"g", u"0\n0\nx\n"), 1);
    TempFolder folder;
    DS_GibbsOpen(folder.wide_path("trace").c_str(), folder.wide_path("error").c_str());
    expect_refusals(false);
    std::int32_t size = 77;
    ASSERT_EQ(DS_CreateGroup(0, &size, 1, 8, 0), 0);
    expect_refusals(true);
    EXPECT_EQ(DS_NVariables(0, &size), 0);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(DS_GetGroupOneTotalSampleSize(&size), 0);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(DS_KeyGroupDef(u"g", u"2\t1\nx\n1\nbad\n"), 1);
    DS_SetMixtureModeling(1);
    EXPECT_EQ(DS_GetSampleSize(0, &size), 1) << "a group that is not loaded has no ids to count";
    DS_SetMixtureModeling(0);
    DS_GibbsClose();
    expect_refusals(false);
    EXPECT_EQ(DS_CreateGroup(0, &size, 1, 1, 0), 1) << "after the close";
}

}  // namespace
