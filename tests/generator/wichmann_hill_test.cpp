// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The generator: tables that are shared, known seeds, the fold, and memory that runs out.

#include "generator/wichmann_hill.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <new>

#include "generator/essential_comparator.h"

namespace {

int blocks_alive = 0;
int allocations_left = -1;  // the allocation that finds 0 fails; below 0 none does

void *allocate(std::size_t size) {
    if (allocations_left == 0) throw std::bad_alloc();
    if (allocations_left > 0) --allocations_left;
    void *block = std::malloc(size > 0 ? size : 1);
    if (block == nullptr) throw std::bad_alloc();
    ++blocks_alive;
    return block;
}

void release(void *block) {
    if (block == nullptr) return;
    --blocks_alive;
    std::free(block);
}

}  // namespace

void *operator new(std::size_t size) {
    return allocate(size);
}
void *operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void *block) noexcept {
    release(block);
}
void operator delete[](void *block) noexcept {
    release(block);
}
void operator delete(void *block, std::size_t) noexcept {
    release(block);
}
void operator delete[](void *block, std::size_t) noexcept {
    release(block);
}

namespace {

TEST(WichmannHill, TablesAreSharedUntilTheLastGeneratorIsGone) {
    WichmannHillGenerator first;
    WichmannHillGenerator second;
    testing::internal::CaptureStderr();
    generator_construct(first);
    const MultiplicationTables tables = multiplication_tables;
    generator_construct(second);
    EXPECT_EQ(multiplication_tables.reference_count, 2);
    EXPECT_EQ(multiplication_tables.stream1, tables.stream1) << "built twice";
    generator_destroy(first);
    EXPECT_EQ(multiplication_tables.reference_count, 1);
    EXPECT_EQ(multiplication_tables.stream3, tables.stream3);

    std::int32_t seeds[3];
    get_seeds(second, seeds[0], seeds[1], seeds[2]);
    for (const std::int32_t seed : seeds) EXPECT_EQ(seed, 1000) << "the self-test gives the seeds back";

    generator_destroy(second);
    EXPECT_EQ(multiplication_tables.reference_count, 0);
    EXPECT_EQ(multiplication_tables.stream1, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "a sound build shows no notice";
}

TEST(WichmannHill, KnownSeedsAndValues) {
    acquire_tables();
    WichmannHillGenerator generator;
    set_seeds(generator, 1, 2, 3);
    for (int step = 0; step < 1001; ++step) {
        generator_step(generator);
        const double u = generator_uniform(generator);
        ASSERT_TRUE(u >= 0.0 && u < 1.0) << "step " << step;
    }
    EXPECT_EQ(generator.seed1, 14944);
    EXPECT_EQ(generator.seed2, 25306);
    EXPECT_EQ(generator.seed3, 25974);
    EXPECT_EQ(generator_uniform(generator), 0x1.7b702ea1c86p-3) << "one bit below the rounded 0.1852725642320792";

    set_seeds(generator, 0, 0, 5);
    for (int step = 0; step < 10; ++step) generator_step(generator);
    EXPECT_EQ(generator.seed1, 0) << "zero stays zero";
    EXPECT_EQ(generator.seed2, 0);
    EXPECT_NE(generator.seed3, 5);
    release_tables();
}

TEST(WichmannHill, TheFold) {
    // A seed at its modulus is outside the contract of the tables, but gives sums that are exactly whole.
    volatile double r1 = 3.3037100664045725e-5;
    volatile double r2 = 3.2995677566238825e-5;
    const struct {
        std::int32_t seed1, seed2, seed3;
        double expected;
    } rows[] = {
        {0, 0, 0, 0.0},         {0, 30306, 0, 30306 * r2},  {0, 30307, 0, 0.0}, {1, 30307, 0, (1.0 + r1) - 1.0},
        {30269, 30307, 0, 0.0}, {30269, 30307, 30323, 1.0},
    };
    for (const auto &row : rows) {
        const WichmannHillGenerator generator = {row.seed1, row.seed2, row.seed3};
        EXPECT_EQ(generator_uniform(generator), row.expected) << row.seed1 << ' ' << row.seed2 << ' ' << row.seed3;
    }
}

TEST(WichmannHill, ABrokenTableShowsOneNotice) {
    acquire_tables();
    multiplication_tables.stream2[2] += 1;
    WichmannHillGenerator generator = {7, 8, 9};
    testing::internal::CaptureStderr();
    EXPECT_EQ(self_test(generator), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "EssentialComparator: EssentialComparator errors occurred.\n");
    EXPECT_EQ(generator.seed1, 7);
    EXPECT_EQ(generator.seed2, 8);
    EXPECT_EQ(generator.seed3, 9);
    release_tables();

    generator_construct(generator);
    EXPECT_EQ(self_test(generator), 0) << "the tables were built anew";
    generator_destroy(generator);
}

TEST(WichmannHill, MemoryThatRunsOutLeavesNothingBehind) {
    for (const std::int32_t held : {0, 1}) {
        if (held > 0) acquire_tables();
        const int alive = blocks_alive;
        int failures = 0;
        for (bool done = false; !done; ++failures) {
            WichmannHillGenerator generator;
            allocations_left = failures;
            try {
                generator_construct(generator);
                done = true;
            } catch (const std::bad_alloc &) {
            }
            allocations_left = -1;
            if (done) {
                EXPECT_EQ(multiplication_tables.reference_count, held + 1);
                generator_destroy(generator);
            }
            ASSERT_EQ(multiplication_tables.reference_count, held) << "allocation " << failures;
            ASSERT_EQ(multiplication_tables.stream1 == nullptr, held == 0);
            ASSERT_EQ(blocks_alive, alive) << "allocation " << failures;
        }
        EXPECT_EQ(failures, held > 0 ? 4 : 7) << "three tables, three buffers of the comparator, then success";
        if (held > 0) release_tables();
    }
}

}  // namespace
