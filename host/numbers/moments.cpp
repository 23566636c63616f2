// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The moments of rows, and of parts put together.

#include "ullage/host/numbers/moments.h"

#include <algorithm>
#include <utility>

namespace ullage::host {
namespace {

// Add moments of other rows.
void merge(Moments &into, const Moments &other) {
    if (other.count == 0.0) return;
    if (into.count == 0.0) {
        into = other;
        return;
    }
    const double count = into.count + other.count;
    const double weight = into.count * other.count / count;
    const double share = other.count / count;
    const std::size_t n = into.mean.size();
    std::vector<double> difference(n);
    for (std::size_t i = 0; i < n; ++i) difference[i] = other.mean[i] - into.mean[i];
    std::size_t place = 0;
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j <= i; ++j, ++place) {
            into.scatter[place] += other.scatter[place] + weight * difference[i] * difference[j];
        }
        into.mean[i] += share * difference[i];
    }
    into.count = count;
}

}  // namespace

double mean_of(std::span<const double> numbers) {
    double sum = 0.0;
    for (const double number : numbers) sum += number;
    return sum / static_cast<double>(numbers.size());
}

Moments moments_of_rows(std::span<const double> values, std::size_t n) {
    Moments moments;
    const std::size_t rows = n == 0 ? 0 : values.size() / n;
    moments.count = static_cast<double>(rows);
    moments.mean.assign(n, 0.0);
    moments.scatter.assign(packed_size(n), 0.0);
    if (rows == 0) return moments;
    for (std::size_t r = 0; r < rows; ++r) {
        for (std::size_t i = 0; i < n; ++i) moments.mean[i] += values[r * n + i];
    }
    for (double &mean : moments.mean) mean /= moments.count;
    std::vector<double> deviation(n);
    for (std::size_t r = 0; r < rows; ++r) {
        for (std::size_t i = 0; i < n; ++i) deviation[i] = values[r * n + i] - moments.mean[i];
        double *row = moments.scatter.data();
        for (std::size_t i = 0; i < n; row += ++i) {
            for (std::size_t j = 0; j <= i; ++j) row[j] += deviation[i] * deviation[j];
        }
    }
    return moments;
}

Moments combine(std::vector<Moments> parts) {
    const std::size_t count = parts.size();
    return combine_nodes(combine_within(std::move(parts), 0, count), count);
}

std::vector<TreeNode> combine_within(std::vector<Moments> parts, std::size_t first, std::size_t total) {
    const std::size_t end = first + parts.size();
    std::vector<bool> is_merged(parts.size(), false);
    for (std::size_t step = 1; step < total; step *= 2) {
        for (std::size_t i = (first + 2 * step - 1) / (2 * step) * (2 * step); i + step < end; i += 2 * step) {
            if (std::min(i + 2 * step, total) > end) continue;  // the right half is not all here
            merge(parts[i - first], parts[i + step - first]);
            is_merged[i + step - first] = true;
        }
    }
    std::vector<TreeNode> nodes;
    for (std::size_t i = first; i < end; ++i) {
        if (!is_merged[i - first]) nodes.push_back({i, std::move(parts[i - first])});
    }
    return nodes;
}

Moments combine_nodes(std::vector<TreeNode> nodes, std::size_t total) {
    for (std::size_t step = 1; step < total; step *= 2) {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            const std::size_t place = nodes[i].place;
            if (kept > 0 && place % (2 * step) == step && nodes[kept - 1].place == place - step) {
                merge(nodes[kept - 1].moments, nodes[i].moments);
            } else {
                if (kept != i) nodes[kept] = std::move(nodes[i]);
                ++kept;
            }
        }
        nodes.erase(nodes.begin() + static_cast<std::ptrdiff_t>(kept), nodes.end());
    }
    return std::move(nodes.front().moments);
}

}  // namespace ullage::host
