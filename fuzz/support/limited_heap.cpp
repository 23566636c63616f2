// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The replaced operator new and operator delete of every harness.

#include "support/limited_heap.h"

#include <malloc.h>

#include <cstdlib>
#include <new>

namespace {

bool counting = false;
std::size_t left = 0;

}  // namespace

void set_heap_budget(std::size_t bytes) {
    left = bytes;
}

EngineHeapScope::EngineHeapScope() {
    counting = true;
}

EngineHeapScope::~EngineHeapScope() {
    counting = false;
}

void *operator new(std::size_t size) {
    if (counting && size > left) throw std::bad_alloc();
    void *memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    if (counting) {
        const std::size_t taken = malloc_usable_size(memory);
        left -= taken < left ? taken : left;
    }
    return memory;
}

void *operator new[](std::size_t size) {
    return operator new(size);
}

void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

void *operator new[](std::size_t size, const std::nothrow_t &nothrow) noexcept {
    return operator new(size, nothrow);
}

void operator delete(void *memory) noexcept {
    if (counting && memory != nullptr) left += malloc_usable_size(memory);
    std::free(memory);
}

void operator delete[](void *memory) noexcept {
    operator delete(memory);
}

void operator delete(void *memory, const std::nothrow_t &) noexcept {
    operator delete(memory);
}

void operator delete[](void *memory, const std::nothrow_t &) noexcept {
    operator delete(memory);
}

void operator delete(void *memory, std::size_t) noexcept {
    operator delete(memory);
}

void operator delete[](void *memory, std::size_t) noexcept {
    operator delete(memory);
}
