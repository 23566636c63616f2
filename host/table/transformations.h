// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The names and the ranges of the transformations.

#ifndef ULLAGE_HOST_TABLE_TRANSFORMATIONS_H
#define ULLAGE_HOST_TABLE_TRANSFORMATIONS_H

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "ullage/host/table/table.h"

namespace ullage::host {

inline constexpr std::array kTransformations = {Transformation::none, Transformation::log, Transformation::sqrt,
                                                Transformation::logit};

/** "none", "log", "sqrt" or "logit": in options, in names of parameters and in the record of a run. */
[[nodiscard]] std::string_view name_of(Transformation transformation);
/** The transformation of that name, or nothing. */
[[nodiscard]] std::optional<Transformation> transformation_named(std::string_view name);
/** In a sentence: "logarithm", "square root". */
[[nodiscard]] std::string_view noun_of(Transformation transformation);
/** The name of a column as names that are made of it have it: between backquotes, its own doubled, if a parenthesis, a
 * comma or a backquote stands in it. So mean(log(a)) is of the logarithm of a, mean(`log(a)`) of a column log(a). */
[[nodiscard]] std::string unambiguous_name(std::string_view column);
/** The name of a column on the scale of the model: "lead", "log(lead)". */
[[nodiscard]] std::string transformed_name(Transformation transformation, std::string_view column);

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

[[nodiscard]] Range range_of(Transformation transformation);

}  // namespace ullage::host

#endif
