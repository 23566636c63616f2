// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Moments, likelihoods and membership on groups small enough to work out by hand.

#include <cmath>
#include <vector>

#include "support/bits.h"
#include "support/engine_test.h"

namespace {

using Numbers = std::vector<double>;

void expect_bits(const Numbers &got, const Numbers &expected) {
    ASSERT_EQ(got.size(), expected.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        SCOPED_TRACE(i);
        CHECK_BITS(got[i], expected[i]);
    }
}

// Means, then the packed covariance.
Numbers moments(std::int32_t group_number, std::int32_t nv, std::int32_t divisor_flag) {
    const auto n = static_cast<std::size_t>(nv);
    Numbers all(n + n * (n + 1) / 2, 77);
    EXPECT_EQ(DS_SampleMoments(group_number, all.data(), all.data() + n, divisor_flag), 0);
    return all;
}

const double kNaN = std::nan("");

TEST(SampleMoments, ByHand) {
    LoadedEngine engine;
    ASSERT_EQ(create_and_load(u"4\t2\nx\ty\n1\t2\n3\t-2\n5\t6\n7\t2\n"), 0);
    expect_bits(moments(1, 2, 0), {4, 2, 5, 2, 8});
    // Divided by 3 as a product with the reciprocal: 20, 8 and 32 times the double next to 1/3.
    const double third = 0x1.5555555555555p-2;
    expect_bits(moments(0, 2, -1), {4, 2, 20 * third, 8 * third, 32 * third});
}

TEST(SampleMoments, MeansAreProductsWithTheReciprocal) {
    // 1/49 is not a double, and 49 * (1/49) falls short of 1.
    std::u16string text = u"49\t1\nx\n";
    for (int i = 0; i < 49; ++i) text += u"1\n";
    LoadedEngine engine;
    ASSERT_EQ(create_and_load(text), 0);
    CHECK_BITS(moments(1, 1, 0)[0], 0x1.fffffffffffffp-1);
}

TEST(SampleMoments, OfNoCaseAndOfOne) {
    LoadedEngine engine;
    ASSERT_EQ(create_and_load(u"0\t2\nx\ty\n"), 0);
    expect_bits(moments(1, 2, 0), {kNaN, kNaN, kNaN, kNaN, kNaN});
    expect_bits(moments(1, 2, 1), {kNaN, kNaN, -0.0, -0.0, -0.0});
    ASSERT_EQ(create_and_load(u"1\t2\nx\ty\n3\t4\n"), 0);
    expect_bits(moments(2, 2, 0), {3, 4, 0, 0, 0});
    expect_bits(moments(2, 2, 1), {3, 4, kNaN, kNaN, kNaN});
    double untouched = 77;
    EXPECT_EQ(DS_SampleMoments(3, &untouched, &untouched, 0), 1);
    EXPECT_EQ(DS_SampleMoments(2, nullptr, &untouched, 0), 1);
    EXPECT_EQ(DS_SampleMoments(2, &untouched, nullptr, 0), 1);
    EXPECT_EQ(untouched, 77);
}

TEST(SampleMoments, AWeightIsTheRecordWrittenOut) {
    LoadedEngine engine;
    EXPECT_EQ(create_group(), 0);
    EXPECT_EQ(DS_KeyWeight(u"w"), 0);
    ASSERT_EQ(load(u"2\t3\nx\tw\ty\n0.1\t3\t0.7\n0.2\t1\t1e9\n"), 0);
    const Numbers weighted = moments(1, 2, 1);
    ASSERT_EQ(create_and_load(u"4\t2\nx\ty\n0.1\t0.7\n0.1\t0.7\n0.1\t0.7\n0.2\t1e9\n"), 0);
    expect_bits(moments(2, 2, 1), weighted);
}

TEST(SampleMoments, CellsThatWereNeverImputedCountAsTheyAre) {
    LoadedEngine engine;
    ASSERT_EQ(create_and_load(u"2\t2\nx\ty\n*\t1\n;4\t1\n"), 0);
    const Numbers all = moments(1, 2, 0);
    CHECK_BITS(all[0], 5e299);
    EXPECT_EQ(all[2], INFINITY);
    EXPECT_EQ(all[4], 0.0);
}

TEST(Membership, MovesFreeCasesAndSelectsByThePresentId) {
    LoadedEngine engine;
    DS_SetMixtureModeling(1);
    EXPECT_EQ(create_group(), 0);
    EXPECT_EQ(DS_KeyWeight(u"w"), 0);
    ASSERT_EQ(load(u"4\t2\ng\tx\tw\n1\t2\t1\n0\t4\t2\n-5.5\t8\t1\n0.98\t16\t1\n"), 0);
    const std::int32_t ids[] = {9, 1, -5, 9, INT32_MIN};
    expect_bits(moments(0, 1, 0), {8, 32});  // the free ones, 4, 4 and 16
    EXPECT_EQ(DS_ImputeGroupMembership(ids), 0);
    expect_bits(moments(1, 1, 0), {3, 1});
    expect_bits(moments(-5, 1, 0), {6, 4});
    expect_bits(moments(INT32_MIN, 1, 0), {16, 0});
    expect_bits(moments(0, 1, 1), {kNaN, -0.0});
    const std::int32_t again[] = {0, 2, 2, 2, 2};
    EXPECT_EQ(DS_ImputeGroupMembership(again), 0) << "a free case stays free";
    std::int32_t count;
    EXPECT_EQ(DS_GetSampleSize(2, &count), 0);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(DS_ImputeGroupMembership(nullptr), 1);
    DS_SetMixtureModeling(0);
    expect_bits(moments(1, 1, 0),
                {0x1.b333333333334p+2, 0x1.8f5c28f5c28f6p+4});  // 2, 4, 4, 8, 16 by the reciprocal of 5
}

TEST(Likelihoods, ByHand) {
    LoadedEngine engine;
    ASSERT_EQ(create_and_load(u"3\t2\nx\ty\n1\t2\n3\t2\n1\t*\n"), 0);
    ASSERT_EQ(create_and_load(u"1\t1\nx\n1\n"), 0);
    const double means[] = {1, 2};
    const double regular[] = {4, 0, 16};
    double likelihoods[4] = {77, 77, 77, 77};
    EXPECT_EQ(DS_GetLikelihoods(12345, means, regular, likelihoods), 0) << "of the first group";
    CHECK_BITS(likelihoods[0], 0.125);                              // at the means: 1 / sqrt(64)
    CHECK_LIBM_BITS(likelihoods[1], 0x1.368b2fc6f960ap-1 * 0.125);  // exp(-0.5) / 8
    CHECK_BITS(likelihoods[2], 0.0);                                // 1e300 squared overflows
    EXPECT_EQ(likelihoods[3], 77);
    std::int32_t nv;
    EXPECT_EQ(DS_NVariables(0, &nv), 0);
    EXPECT_EQ(nv, 2) << "the first group stays current";

    const double zeros[] = {0, 0, 0};
    EXPECT_EQ(DS_GetLikelihoods(0, means, zeros, likelihoods), 0);
    EXPECT_EQ(likelihoods[0], 1.0);
    EXPECT_EQ(likelihoods[1], 1.0);
    EXPECT_EQ(likelihoods[2], 1.0);
    const double negative[] = {-4, 0, 16};
    EXPECT_EQ(DS_GetLikelihoods(0, means, negative, likelihoods), 0);
    EXPECT_EQ(likelihoods[1], 0.25) << "the failed variable has no weight";
    EXPECT_EQ(DS_GetLikelihoods(0, nullptr, regular, likelihoods), 1);
    EXPECT_EQ(DS_GetLikelihoods(0, means, nullptr, likelihoods), 1);
    EXPECT_EQ(DS_GetLikelihoods(0, means, regular, nullptr), 1);
    EXPECT_EQ(likelihoods[1], 0.25);
    EXPECT_EQ(engine.error_log(),
              "1 [x]\n2 [y]\n1 [x]\nEstimated covariance matrix is singular.\nEstimated covariance matrix is "
              "singular.\n");
}

TEST(Likelihoods, InMixtureModeOfEveryCaseWhateverItsId) {
    LoadedEngine engine;
    DS_SetMixtureModeling(1);
    ASSERT_EQ(create_and_load(u"2\t1\ng\tx\n7\t3\n0\t3\n"), 0);
    const double mean = 3;
    const double variance = 0.25;
    double likelihoods[3] = {77, 77, 77};
    EXPECT_EQ(DS_GetLikelihoods(0, &mean, &variance, likelihoods), 0);
    expect_bits({likelihoods, likelihoods + 3}, {2, 2, 77});
    ASSERT_EQ(create_and_load(u"0\t1\ng\tx\n"), 0);
    EXPECT_EQ(DS_GetLikelihoods(0, &mean, &variance, likelihoods), 0);
    expect_bits({likelihoods, likelihoods + 3}, {2, 2, 77});  // no case: nothing is written
}

}  // namespace
