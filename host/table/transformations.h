// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The ranges of the transformations.

#ifndef ULLAGE_HOST_TABLE_TRANSFORMATIONS_H
#define ULLAGE_HOST_TABLE_TRANSFORMATIONS_H

#include <string_view>

#include "ullage/host/table/table.h"

namespace ullage::host {

/** Where a transformation is defined; hidden cells lie strictly inside. */
struct Range {
    double lower;
    double upper;
    bool holds_lower;           ///< an observed value may be the lower end itself
    std::string_view in_words;  ///< what the values must be

    [[nodiscard]] bool holds(double value) const {
        return (value > lower || (holds_lower && value == lower)) && value < upper;
    }
};

[[nodiscard]] inline Range range_of(Transformation transformation) {
    switch (transformation) {
        case Transformation::log:
            return {0.0, kOpen, false, "values above 0"};
        case Transformation::sqrt:
            return {0.0, kOpen, true, "values of 0 or above"};
        case Transformation::logit:
            return {0.0, 1.0, false, "values between 0 and 1, without the ends"};
        case Transformation::none:
            break;
    }
    return {-kOpen, kOpen, false, "numbers"};
}

}  // namespace ullage::host

#endif
