// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Region pools: what is handed out, where, and what a release gives back. Built once for each form of the pool.

#include "frame/region_pool.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <vector>

namespace {

int allocations_until_failure = -1;
int live_allocations = 0;

class RegionPoolTest : public testing::Test {
protected:
    RegionPoolTest() { pool_construct(pool); }
    ~RegionPoolTest() override {
        pool_destroy(pool);
        pool_destroy(pool);  // a second time is harmless
        EXPECT_EQ(live_allocations, live_before);
    }

    std::byte *take(std::size_t size) { return static_cast<std::byte *>(pool_alloc(pool, size)); }

    const int live_before = live_allocations;
    RegionPool pool{};
};

TEST_F(RegionPoolTest, EveryPieceIsAlignedAndItsOwnUntilTheRelease) {
    struct Piece {
        std::byte *place;
        std::size_t size;
        unsigned char fill;
    };
    std::vector<std::vector<Piece>> levels(1);
    std::mt19937 random(7);
    for (unsigned step = 0; step < 3000; ++step) {
        const unsigned choice = random() % 8;
        if (choice == 0 && levels.size() < 6) {
            pool_mark(pool);
            levels.emplace_back();
        } else if (choice == 1 && levels.size() > 1) {
            for (const Piece &piece : levels.back()) {
                for (std::size_t i = 0; i < piece.size; ++i) ASSERT_EQ(piece.place[i], std::byte{piece.fill});
            }
            pool_release(pool);
            levels.pop_back();
        } else if (choice == 2) {
            // Room is good until the next operation, and leaves what was taken alone.
            const std::size_t size = random() % 1500;
            std::memset(pool_reserve(pool, size), 0xee, size);
        } else {
            const std::size_t size = random() % 40 == 0 ? 5000 : random() % 300;
            std::byte *place = take(size);
            ASSERT_EQ(reinterpret_cast<std::uintptr_t>(place) % alignof(double), 0u);
            ASSERT_EQ(reinterpret_cast<std::uintptr_t>(place) % alignof(void *), 0u);
            const auto fill = static_cast<unsigned char>(step);
            std::memset(place, fill, size);
            levels.back().push_back({place, size, fill});
        }
    }
    while (levels.size() > 1) {
        pool_release(pool);
        levels.pop_back();
    }
    EXPECT_EQ(pool.top_mark, nullptr);
    for (const Piece &piece : levels[0]) {
        for (std::size_t i = 0; i < piece.size; ++i) ASSERT_EQ(piece.place[i], std::byte{piece.fill});
    }
}

TEST_F(RegionPoolTest, AGuardReleasesItsMarkWhenAnExceptionPasses) {
    pool_mark(pool);
    MarkFrame *outer = pool.top_mark;
    try {
        pool_mark(pool);
        const PoolMarkGuard release(pool);
        (void)take(2000);
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ(pool.top_mark, outer);
    pool_release(pool);
    EXPECT_EQ(pool.top_mark, nullptr);
}

TEST_F(RegionPoolTest, WhereTheHeapFailsNothingHasChanged) {
    std::memset(take(800), 1, 800);
    pool_mark(pool);
    const RegionPool before = pool;
    for (const auto &operation :
         {+[](RegionPool &p) { (void)pool_alloc(p, 100000); }, +[](RegionPool &p) { (void)pool_reserve(p, 100000); }}) {
        allocations_until_failure = 0;
        EXPECT_THROW(operation(pool), std::bad_alloc);
        allocations_until_failure = -1;
        EXPECT_EQ(std::memcmp(&pool, &before, sizeof pool), 0);
    }
    std::memset(take(100000), 2, 100000);
    pool_release(pool);
}

TEST(ArrayBytes, RefusesWhatCannotBeCounted) {
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max() / 4;
    EXPECT_EQ(checked_product(most / 8, 8), most / 8 * 8);
    EXPECT_THROW((void)checked_product(most / 8 + 1, 8), std::bad_alloc);
    EXPECT_THROW((void)checked_product(std::numeric_limits<std::size_t>::max(), 8), std::bad_alloc);
    EXPECT_EQ(checked_product(0, 8), 0u);
}

#ifndef ULLAGE_POOL_BLOCK_PER_ALLOCATION

TEST_F(RegionPoolTest, ABlockTakesExactlyWhatItHas) {
    const PoolBlock *first = pool.frontier_block;
    std::byte *start = take(800);
    EXPECT_EQ(pool.frontier_block, first) << "a fresh block takes a request of its whole payload";
    EXPECT_EQ(pool.next_free, pool.frontier_block->end);
    (void)take(801);
    EXPECT_EQ(pool.frontier_block->previous, first);
    EXPECT_EQ(pool.frontier_block->end - reinterpret_cast<std::byte *>(pool.frontier_block + 1), 808);
    EXPECT_EQ(start, reinterpret_cast<const std::byte *>(first + 1));
}

TEST_F(RegionPoolTest, NothingTakesNothing) {
    (void)take(16);
    std::byte *here = take(0);
    EXPECT_EQ(take(0), here);
    EXPECT_EQ(take(1), here);
    EXPECT_EQ(take(0), here + 8);
}

TEST_F(RegionPoolTest, AReleaseComesBackToTheBlockThatTheMarkMovedTo) {
    (void)take(790);
    pool_mark(pool);
    std::byte *behind_mark = take(8);
    const PoolBlock *second = pool.current_block;
    EXPECT_NE(second->previous, nullptr);
    pool_release(pool);
    EXPECT_EQ(pool.current_block, second) << "the rest of the block before it stays empty";
    EXPECT_EQ(take(8) + sizeof(MarkFrame), behind_mark);
}

TEST_F(RegionPoolTest, AReleasePassesOverABlockThatIsTooSmallAndKeepsTheBytes) {
    (void)take(100);
    pool_mark(pool);
    (void)take(790);                // second block, of 800
    std::byte *large = take(3000);  // third block
    std::memset(large, 0x5a, 3000);
    pool_release(pool);
    pool_mark(pool);
    EXPECT_EQ(take(2000), large) << "the second block is too small, the third one begins anew";
    EXPECT_EQ(large[1999], std::byte{0x5a}) << "nothing is cleared";
    EXPECT_EQ(take(1000), large + 2000) << "a large block serves small requests";
    pool_release(pool);
}

TEST_F(RegionPoolTest, TheSteadyStateMakesNoHeapCall) {
    const auto pass = [this] {
        pool_mark(pool);
        for (std::size_t size : {10, 700, 900, 3, 5000, 64}) (void)take(size);
        (void)pool_reserve(pool, 6000);
        pool_release(pool);
    };
    pass();
    allocations_until_failure = 0;
    for (int i = 0; i < 100; ++i) pass();
    allocations_until_failure = -1;
}

#else

TEST_F(RegionPoolTest, EveryAllocationIsAHeapBlockOfItsSize) {
    pool_mark(pool);
    const int before = live_allocations;
    for (std::size_t size : {1, 8, 100, 801}) {
        std::byte *place = take(size);
        EXPECT_EQ(place, reinterpret_cast<std::byte *>(pool.current_block + 1));
        EXPECT_EQ(pool.current_block->end - place, static_cast<std::ptrdiff_t>((size + 7) / 8 * 8));
    }
    EXPECT_EQ(live_allocations, before + 4);
    pool_release(pool);
    EXPECT_LT(live_allocations, before) << "the release frees the mark and all behind it";
}

#endif

}  // namespace

void *operator new(std::size_t size) {
    if (allocations_until_failure == 0) throw std::bad_alloc();
    if (allocations_until_failure > 0) --allocations_until_failure;
    void *memory = std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    ++live_allocations;
    return memory;
}

void operator delete(void *memory) noexcept {
    if (memory != nullptr) --live_allocations;
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept {
    operator delete(memory);
}
