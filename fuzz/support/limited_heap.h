// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A heap that gives out only so much to the engine, so that a text that asks for terabytes ends in std::bad_alloc at
// once, with and without a sanitizer.

#ifndef ULLAGE_FUZZ_SUPPORT_LIMITED_HEAP_H
#define ULLAGE_FUZZ_SUPPORT_LIMITED_HEAP_H

#include <cstddef>

// Set what the engine may take from now on, in bytes; what it has counts as nothing.
void set_heap_budget(std::size_t bytes);

// While one exists, operator new takes from the budget and operator delete gives back. One at a time.
class EngineHeapScope {
public:
    EngineHeapScope();
    EngineHeapScope(const EngineHeapScope &) = delete;
    EngineHeapScope &operator=(const EngineHeapScope &) = delete;
    ~EngineHeapScope();
};

#endif
