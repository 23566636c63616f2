// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Mark-and-release arenas.

#include "frame/region_pool.h"

#include <limits>
#include <new>

namespace {

constexpr std::uint32_t kBlockSize = 800;
constexpr std::size_t kAlignment = alignof(std::max_align_t) < 8 ? alignof(std::max_align_t) : 8;

static_assert(sizeof(PoolBlock) % kAlignment == 0 && sizeof(MarkFrame) % kAlignment == 0);

std::byte *payload(PoolBlock *block) {
    return reinterpret_cast<std::byte *>(block + 1);
}

// Add a block behind the frontier and move the frontier to it. Nothing changes if the heap has no memory.
void pool_grow(RegionPool &pool, std::size_t needed) {
    const std::size_t size = needed > pool.block_size ? needed : pool.block_size;
    auto *block = static_cast<PoolBlock *>(::operator new(sizeof(PoolBlock) + size));
    block->previous = pool.frontier_block;
    block->following = nullptr;
    block->end = payload(block) + size;
    if (pool.frontier_block != nullptr) pool.frontier_block->following = block;
    pool.frontier_block = block;
}

void *enter_frontier(RegionPool &pool) {
    pool.current_block = pool.frontier_block;
    pool.next_free = payload(pool.frontier_block);
    return pool.next_free;
}

#ifdef ULLAGE_POOL_BLOCK_PER_ALLOCATION
// For the address sanitizer: a block of its own for each request, freed at the release.

void *find_room(RegionPool &pool, std::size_t size) {
    const std::uint32_t block_size = pool.block_size;
    pool.block_size = 0;
    try {
        pool_grow(pool, size);
    } catch (...) {
        pool.block_size = block_size;
        throw;
    }
    pool.block_size = block_size;
    return enter_frontier(pool);
}

void leave_released_blocks(RegionPool &pool) {
    PoolBlock *kept = pool.current_block->previous;
    for (PoolBlock *block = kept->following; block != nullptr;) {
        PoolBlock *following = block->following;
        ::operator delete(block);
        block = following;
    }
    kept->following = nullptr;
    pool.current_block = kept;
    pool.next_free = kept->end;
    pool.frontier_block = kept;
}

#else

void *find_room(RegionPool &pool, std::size_t size) {
    if (size <= static_cast<std::size_t>(pool.frontier_block->end - pool.next_free)) return pool.next_free;
    PoolBlock *const start = pool.frontier_block;
    while (pool.frontier_block->following != nullptr) {
        pool.frontier_block = pool.frontier_block->following;
        const auto room = static_cast<std::size_t>(pool.frontier_block->end - payload(pool.frontier_block));
        if (size <= room) return enter_frontier(pool);
    }
    try {
        pool_grow(pool, size);
    } catch (...) {
        pool.frontier_block = start;
        throw;
    }
    return enter_frontier(pool);
}

void leave_released_blocks(RegionPool &) {}

#endif

}  // namespace

void pool_construct(RegionPool &pool) {
    pool.block_size = kBlockSize;
    pool.frontier_block = nullptr;
    pool.top_mark = nullptr;
    pool_grow(pool, 0);
    (void)enter_frontier(pool);
}

void pool_destroy(RegionPool &pool) {
    if (pool.frontier_block == nullptr) return;
    PoolBlock *block = pool.frontier_block;
    while (block->following != nullptr) block = block->following;
    while (block != nullptr) {
        PoolBlock *previous = block->previous;
        ::operator delete(block);
        block = previous;
    }
    pool = RegionPool{};
}

void *pool_reserve(RegionPool &pool, std::size_t size) {
    return find_room(pool, size);
}

void *pool_alloc(RegionPool &pool, std::size_t size) {
    // 0 stays 0: the subtraction wraps round and the addition wraps back.
    const std::size_t rounded = ((size - 1) & ~(kAlignment - 1)) + kAlignment;
    auto *memory = static_cast<std::byte *>(find_room(pool, rounded));
    pool.next_free = memory + rounded;
    pool.current_block = pool.frontier_block;
    return memory;
}

void pool_mark(RegionPool &pool) {
    auto *frame = static_cast<MarkFrame *>(find_room(pool, sizeof(MarkFrame)));
    *frame = {pool.current_block, pool.next_free, pool.top_mark};
    pool.top_mark = frame;
    pool.next_free += sizeof(MarkFrame);
}

void pool_release(RegionPool &pool) {
    const MarkFrame *frame = pool.top_mark;
    pool.current_block = frame->saved_block;
    pool.next_free = frame->saved_next_free;
    pool.top_mark = frame->previous_mark;
    pool.frontier_block = pool.current_block;
    leave_released_blocks(pool);
}

std::size_t checked_product(std::size_t count, std::size_t element_size) {
    // A quarter of the address space leaves room for headers and rounding.
    constexpr std::size_t kMostBytes = std::numeric_limits<std::size_t>::max() / 4;
    if (element_size != 0 && count > kMostBytes / element_size) throw std::bad_alloc();
    return count * element_size;
}
