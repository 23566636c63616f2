// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Philox streams and the samplers on top of them.

#include "ullage/host/numbers/random_stream.h"

#include <Random123/philox.h>

#include <cmath>

#include "ullage/host/numbers/exp_log.h"

namespace ullage::host {
namespace {

// Where the lowest of 256 layers meets the tail, and the area of each layer under exp(-x^2/2): the lowest counts the
// tail beyond the edge, and with this edge the uppermost ends at the density's top.
constexpr double kTailEdge = 0x1.d3bb48209ad33p+1;
constexpr double kLayerArea = 0x1.43016a5a43732p-8;

constexpr double density(double x) {
    return arithmetic_exp(-0.5 * x * x);
}

// Newton's steps, which the compiler can take: std::sqrt is not for constant expressions.
constexpr double constant_sqrt(double x) {
    double root = 1.0 + x;
    for (int i = 0; i < 20; ++i) root = 0.5 * (root + x / root);
    return root;
}

// A layer reaches from the height of the density at its own edge to that at the next one's, and holds the area.
constexpr LayerEdges layer_edges() {
    LayerEdges edges{};
    edges[0] = kLayerArea / density(kTailEdge);
    edges[1] = kTailEdge;
    for (std::size_t i = 2; i < edges.size() - 1; ++i) {
        const double height = density(edges[i - 1]) + kLayerArea / edges[i - 1];
        edges[i] = constant_sqrt(-2.0 * arithmetic_log(height));
    }
    return edges;
}

}  // namespace

constexpr LayerEdges kLayerEdges = layer_edges();

void RandomStream::restart(const StreamKey &key) {
    key_ = {key.seed, static_cast<std::uint64_t>(kKeyVersion) << 32 | static_cast<std::uint64_t>(key.purpose)};
    counter_ = {0, key.chain, key.iteration, key.block};
    next_ = words_.size();
}

void RandomStream::refill() {
    const r123::Philox4x64::key_type key{{key_[0], key_[1]}};
    for (std::size_t i = 0; i < words_.size(); i += 4) {
        const r123::Philox4x64::ctr_type counter{{counter_[0], counter_[1], counter_[2], counter_[3]}};
        const auto random = r123::Philox4x64()(counter, key);
        for (std::size_t j = 0; j < 4; ++j) words_[i + j] = random[j];
        ++counter_[0];
    }
    next_ = 0;
}

// The part of a layer that the next one does not cover: the tail beyond the lowest (Marsaglia 1964), or the wedge
// between the two edges, where the density decides.
double RandomStream::normal_outside(std::size_t layer, double x) {
    if (layer == 0) {
        for (;;) {
            const double beyond = -arithmetic_log(uniform()) / kTailEdge;
            if (-2.0 * arithmetic_log(uniform()) > beyond * beyond) {
                return x < 0.0 ? -(kTailEdge + beyond) : kTailEdge + beyond;
            }
        }
    }
    const double bottom = density(kLayerEdges[layer]);
    const double top = density(kLayerEdges[layer + 1]);
    return bottom + uniform() * (top - bottom) < density(x) ? x : normal();
}

double RandomStream::chi_squared(double degrees) {
    // Twice a gamma variate of half the degrees. One of shape below 1 is one of shape + 1 times a power of a uniform.
    const double wanted = 0.5 * degrees;
    const double shape = wanted < 1.0 ? wanted + 1.0 : wanted;
    const double centre = shape - 1.0 / 3.0;
    const double width = 1.0 / std::sqrt(9.0 * centre);
    for (;;) {
        const double x = normal();
        const double root = 1.0 + width * x;
        if (!(root > 0.0)) continue;
        const double cube = root * root * root;
        const double u = uniform();
        const double square = x * x;
        if (u < 1.0 - 0.0331 * square * square ||
            arithmetic_log(u) < 0.5 * square + centre * (1.0 - cube + arithmetic_log(cube))) {
            const double chi_squared = 2.0 * centre * cube;
            return wanted < 1.0 ? chi_squared * arithmetic_exp(arithmetic_log(uniform()) / wanted) : chi_squared;
        }
    }
}

}  // namespace ullage::host
