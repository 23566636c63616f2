// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// An output array of an export with guards around it and a pattern in it.

#ifndef ULLAGE_FUZZ_SUPPORT_GUARDED_OUTPUT_H
#define ULLAGE_FUZZ_SUPPORT_GUARDED_OUTPUT_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <vector>

#include "support/failure.h"

template <typename Element>
class GuardedOutput {
public:
    explicit GuardedOutput(std::size_t count) : memory_(count + 2 * kGuardCount) {
        std::memset(memory_.data(), kPattern, memory_.size() * sizeof(Element));
    }

    Element *data() { return memory_.data() + kGuardCount; }

    std::span<const Element> elements() const {
        return {memory_.data() + kGuardCount, memory_.size() - 2 * kGuardCount};
    }

    // Fail if a guard was written; and, where the call gave nothing, if the array was.
    void check(bool must_be_untouched, const char *what) const {
        if (!is_pattern(0, kGuardCount) || !is_pattern(memory_.size() - kGuardCount, kGuardCount)) {
            fail("%s wrote outside its output", what);
        }
        if (must_be_untouched && !is_pattern(kGuardCount, elements().size())) {
            fail("%s failed and changed its output", what);
        }
    }

private:
    static constexpr std::size_t kGuardCount = 4;
    static constexpr unsigned char kPattern = 0xA5;

    bool is_pattern(std::size_t first, std::size_t count) const {
        const auto *bytes = reinterpret_cast<const unsigned char *>(memory_.data() + first);
        return std::all_of(bytes, bytes + count * sizeof(Element), [](unsigned char byte) { return byte == kPattern; });
    }

    std::vector<Element> memory_;
};

#endif
