// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The acceptance tests of rejection sampling, by exp and log alone.

#ifndef ULLAGE_IMPUTE_ACCEPTANCE_H
#define ULLAGE_IMPUTE_ACCEPTANCE_H

#include <cmath>

// exp(y) > v
inline bool exp_exceeds(double y, double v) {
    return std::exp(y) > v;
}

// y > ln v
inline bool exceeds_log(double y, double v) {
    return y > std::log(v);
}

#endif
