// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Packed matrices, and the moments of rows.

#ifndef ULLAGE_HOST_NUMBERS_MOMENTS_H
#define ULLAGE_HOST_NUMBERS_MOMENTS_H

#include <cstddef>
#include <span>
#include <vector>

namespace ullage::host {

/** Elements of the lower triangle of a symmetric matrix of order n, by rows: the engine's packed form. */
[[nodiscard]] constexpr std::size_t packed_size(std::size_t n) {
    return n * (n + 1) / 2;
}
/** The place of element (i, j), j <= i. */
[[nodiscard]] constexpr std::size_t packed_index(std::size_t i, std::size_t j) {
    return i * (i + 1) / 2 + j;
}

/** The mean of at least one number. */
[[nodiscard]] double mean_of(std::span<const double> numbers);

/** Count, means, and packed sums of squares and products about the means, of some rows. */
struct Moments {
    double count = 0.0;
    std::vector<double> mean;
    std::vector<double> scatter;
};

/** Moments of rows, given one after the other with n values each. */
[[nodiscard]] Moments moments_of_rows(std::span<const double> values, std::size_t n);

/**
 * Put the moments of parts together, pairwise (Chan, Golub, LeVeque 1979), in a tree that depends on the number of
 * parts alone: the same parts in the same order give the same bits wherever each was computed.
 *
 * @param parts  at least one, all of one order; empty parts (count 0) are allowed
 */
[[nodiscard]] Moments combine(std::vector<Moments> parts);

/** A node of that tree: the moments of the parts from a place on, as many as the place and the tree allow. */
struct TreeNode {
    std::size_t place;
    Moments moments;
};

/**
 * The part of combine() that one can do who has some of the parts only.
 *
 * @param parts  those from the place first on
 * @param total  of the whole tree
 * @return the nodes that could not be merged, ascending; at most two per level of the tree
 */
[[nodiscard]] std::vector<TreeNode> combine_within(std::vector<Moments> parts, std::size_t first, std::size_t total);

/** The rest of combine(), with the bits of the whole.
 * @param nodes  what combine_within() gave for all parts, ascending */
[[nodiscard]] Moments combine_nodes(std::vector<TreeNode> nodes, std::size_t total);

}  // namespace ullage::host

#endif
