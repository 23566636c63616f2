// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The normal variables of the model: columns of numbers, and the latent variables behind words.

#ifndef ULLAGE_HOST_MODEL_LATENT_COLUMNS_H
#define ULLAGE_HOST_MODEL_LATENT_COLUMNS_H

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "ullage/host/model/scale.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** A variable of the normal model. A column of numbers is one itself; words are decided by latent ones. */
struct Variable {
    std::string name;        ///< "lead", "stage"; of a word that has a variable of its own "smoker=yes"
    std::size_t column = 0;  ///< of the table
    std::optional<std::string> word = std::nullopt;  ///< the word that it speaks for
};

/**
 * How a column enters the model.
 *
 * A binary column is the sign of one variable, positive for its second word. The variable of an ordered column lies
 * between the two cut points of its word; the first two cut points are 0 and 1, which leaves mean and variance free
 * (Albert and Chib 1993; Nandram and Chen 1996), and any others are fixed at the normal scores of the observed shares
 * on that scale. A nominal column has one variable per word but the most frequent one: a word holds where its variable
 * is the largest and above 0, the most frequent one where all are below 0 (the multinomial probit model; McCulloch and
 * Rossi 1994).
 *
 * Nothing of this is needed where no cell of the column is hidden: the rows are then told apart by its words as they
 * stand, with a variable per word but the most frequent one that is 1 where the word stands and 0 elsewhere; and steps
 * are numbers. What the words have to do with the other columns is then a regression on these indicators.
 */
struct ColumnVariables {
    std::size_t first = 0;                ///< of its variables
    std::size_t count = 1;                ///< number of its variables
    std::size_t reference = 0;            ///< binary, nominal, indicators: the word which has no variable
    bool is_latent = false;               ///< its values, also observed ones, are no single numbers but intervals
    bool are_indicators = false;          ///< of words, all of them observed
    std::vector<double> cuts = {};        ///< ordered: the points between the words, one less than these
    std::vector<double> score_mean = {};  ///< words: for each variable a rough mean, from the observed shares

    /** The variable of a word that is not the reference. */
    [[nodiscard]] std::size_t variable_of(std::size_t word) const { return first + word - (word > reference ? 1 : 0); }
    /** The word of a variable. */
    [[nodiscard]] std::size_t word_of(std::size_t variable) const {
        const std::size_t place = variable - first;
        return place + (place >= reference ? 1 : 0);
    }
};

/** The variables of a table, column after column, those of nominal columns that are latent behind all others. */
struct Variables {
    std::vector<Variable> list;
    std::vector<ColumnVariables> columns;  ///< one per column of the table
    std::vector<Scale> scales;             ///< one per variable
};

/** Lay out the variables of a table.
 * @param scales  one per column of the table (choose_scales) */
[[nodiscard]] Variables lay_out_variables(const Table &table, std::span<const Scale> scales);

/** The value of a variable that is not latent, in the model's units; NaN where the cell is hidden. */
[[nodiscard]] double observed_value(const Table &table, const Variables &variables, std::size_t variable,
                                    std::size_t row);

/** The ends of an interval, in the model's units; infinite where it is open. */
struct Interval {
    double lower;
    double upper;
};

/** The limits of an observed cell of a stepped or ordered column: half a step, or half a place, to either side, cut to
 * the column's own bounds and to where its transformation is defined. */
[[nodiscard]] std::pair<double, double> cell_limits(const Column &column, double value);

/** The interval of a cell of a stepped or ordered column whose value lies between two limits.
 * @param lower, upper  in the units of Column::values */
[[nodiscard]] Interval interval_of(const Column &column, const ColumnVariables &variables, const Scale &scale,
                                   double lower, double upper);

/** The place of the word that the values of a column's variables decide for.
 * @param values  of the column's variables, in the model's units */
[[nodiscard]] std::size_t word_of(const Column &column, const ColumnVariables &variables, const Scale &scale,
                                  std::span<const double> values);

/**
 * What the parameters of each variable are multiplied with to be identified, and in the units of the file. No data tell
 * the scale of a binary column's variable, so its variance becomes 1; that of a nominal column's variables is known
 * (UtilityBlock).
 *
 * @param covariance  packed, in the model's units
 */
[[nodiscard]] std::vector<double> identifying_factors(const Table &table, const Variables &variables,
                                                      std::span<const double> covariance);

}  // namespace ullage::host

#endif
