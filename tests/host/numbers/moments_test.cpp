// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The tree in which moments are put together, whole and in the hands of several.

#include "ullage/host/numbers/moments.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "ullage/host/numbers/random_stream.h"

namespace {

using namespace ullage::host;

// The tree as it is defined, with all parts at hand.
Moments reference_tree(const std::vector<Moments> &parts, std::size_t first, std::size_t size) {
    if (size == 1) return parts[first];
    const std::size_t half = size / 2;
    if (first + half >= parts.size()) return reference_tree(parts, first, half);
    std::vector<TreeNode> two = {{0, reference_tree(parts, first, half)},
                                 {1, reference_tree(parts, first + half, half)}};
    return combine_nodes(std::move(two), 2);
}

TEST(MomentsTree, GivesTheSameBitsInWhateverHandsThePartsAre) {
    RandomStream random({1, StreamPurpose::overimpute, 1, 1, 1});
    for (std::size_t total = 1; total <= 40; ++total) {
        std::vector<Moments> parts;
        for (std::size_t p = 0; p < total; ++p) {
            std::vector<double> rows;
            for (std::size_t i = 0; i < 2 * (p % 4); ++i) rows.push_back(100.0 * random.normal());
            parts.push_back(moments_of_rows(rows, 2));
        }
        const Moments whole = combine(parts);
        const Moments expected = reference_tree(parts, 0, 64);
        EXPECT_EQ(whole.scatter, expected.scatter) << total;
        EXPECT_EQ(whole.mean, expected.mean) << total;
        EXPECT_EQ(whole.count, expected.count) << total;
        for (std::size_t members = 1; members <= std::min<std::size_t>(total, 9); ++members) {
            std::vector<std::size_t> cuts = {0, total};
            for (std::size_t m = 1; m < members; ++m) cuts.push_back(random() % (total + 1));
            std::ranges::sort(cuts);
            std::vector<TreeNode> nodes;
            for (std::size_t m = 0; m < members; ++m) {
                auto own = combine_within({parts.begin() + static_cast<std::ptrdiff_t>(cuts[m]),
                                           parts.begin() + static_cast<std::ptrdiff_t>(cuts[m + 1])},
                                          cuts[m], total);
                EXPECT_LE(own.size(), 12);  // two per level of a tree of 64
                nodes.insert(nodes.end(), own.begin(), own.end());
            }
            const Moments together = combine_nodes(std::move(nodes), total);
            EXPECT_EQ(together.scatter, whole.scatter) << total << " in " << members;
            EXPECT_EQ(together.mean, whole.mean) << total << " in " << members;
        }
    }
}

}  // namespace
