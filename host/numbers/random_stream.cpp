// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Philox streams and the samplers on top of them.

#include "ullage/host/numbers/random_stream.h"

#include <Random123/philox.h>

#include <boost/random/chi_squared_distribution.hpp>
#include <boost/random/normal_distribution.hpp>

namespace ullage::host {

void RandomStream::restart(const StreamKey &key) {
    key_ = {key.seed, static_cast<std::uint64_t>(kStreamVersion) << 32 | static_cast<std::uint64_t>(key.purpose)};
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

double RandomStream::normal() {
    return boost::random::normal_distribution<double>()(*this);
}

double RandomStream::chi_squared(double degrees) {
    return boost::random::chi_squared_distribution<double>(degrees)(*this);
}

}  // namespace ullage::host
