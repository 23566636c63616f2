// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Mark-and-release arenas: memory is taken by moving a pointer and given back only as a whole.

#ifndef ULLAGE_FRAME_REGION_POOL_H
#define ULLAGE_FRAME_REGION_POOL_H

#include <cstddef>
#include <cstdint>

// Header of a heap block; the payload starts directly behind it.
struct PoolBlock {
    PoolBlock *previous;
    PoolBlock *following;
    std::byte *end;
};

// Lives inside the pool, at the place of the allocation pointer when the mark was set.
struct MarkFrame {
    PoolBlock *saved_block;
    std::byte *saved_next_free;
    MarkFrame *previous_mark;
};

struct RegionPool {
    PoolBlock *current_block;
    std::byte *next_free;
    MarkFrame *top_mark;
    std::uint32_t block_size;   // payload of a new block, unless a request is larger
    PoolBlock *frontier_block;  // moves ahead of current_block only while pool_reserve searches
};

// Build a pool with one empty block.
void pool_construct(RegionPool &pool);

// Free all blocks. A pool that was never constructed is left alone.
void pool_destroy(RegionPool &pool);

// Take memory, aligned for doubles and pointers and not cleared.
[[nodiscard]] void *pool_alloc(RegionPool &pool, std::size_t size);

// Find room without taking it: it is the caller's until the next operation on the pool.
[[nodiscard]] void *pool_reserve(RegionPool &pool, std::size_t size);

void pool_mark(RegionPool &pool);

// Give back everything taken since the last mark, the mark included.
void pool_release(RegionPool &pool);

// A size that is the product of two; throws std::bad_alloc where no memory could have it.
[[nodiscard]] std::size_t checked_product(std::size_t count, std::size_t element_size);

// Take an array of count elements, uninitialised.
template <typename Element>
[[nodiscard]] Element *pool_array(RegionPool &pool, std::size_t count) {
    return static_cast<Element *>(pool_alloc(pool, checked_product(count, sizeof(Element))));
}

// Releases the mark that its owner has just set, on every way out.
class PoolMarkGuard {
public:
    explicit PoolMarkGuard(RegionPool &pool) : pool_(pool) {}
    PoolMarkGuard(const PoolMarkGuard &) = delete;
    PoolMarkGuard &operator=(const PoolMarkGuard &) = delete;
    ~PoolMarkGuard() { pool_release(pool_); }

private:
    RegionPool &pool_;
};

#endif
