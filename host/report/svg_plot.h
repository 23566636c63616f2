// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Plots as inline SVG: axes with round ticks, bars, lines and dots whose looks are left to the style sheet of the page.

#ifndef ULLAGE_HOST_REPORT_SVG_PLOT_H
#define ULLAGE_HOST_REPORT_SVG_PLOT_H

#include <cstddef>
#include <string>
#include <vector>

namespace ullage::host {

/** A place on an axis and what is written there. */
struct Tick {
    double value;
    std::string label;
};

/**
 * Places at 1, 2 or 5 times a power of ten within [low, high]: steps that people count in.
 *
 * @param low, high  finite; ends that no round steps lie between, equal ones among them, give one tick
 * @param most       the greatest number of ticks, at least 2
 * @param is_log     the axis shows logarithms, low above 0: then powers of ten, with 2 and 5 or with 3 between them
 *                   where there is room; less than a decade is ticked like a plain axis
 */
[[nodiscard]] std::vector<Tick> round_ticks(double low, double high, std::size_t most, bool is_log = false);

/** One axis, from low to high. */
struct Axis {
    std::string label = {};  ///< shown with the axis; may be empty
    double low = 0.0;
    double high = 1.0;                         ///< above low, both finite
    bool is_log = false;                       ///< distances are of logarithms; low is above 0
    bool has_ticks = true;                     ///< without, the axis is a bare line
    std::vector<std::string> categories = {};  ///< if there are any, number i stands at i + 0.5, and low and high are
                                               ///< 0 and their number
};

/** Whether double precision tells the places of an axis apart: ends that are not too large, too small or too close. */
[[nodiscard]] bool can_be_drawn(const Axis &axis);

/** A rectangle in the units of the axes. */
struct Bar {
    double left;
    double right;
    double bottom;
    double top;
    std::string style;      ///< class of the style sheet
    std::string text = {};  ///< written in its middle
    double opacity = 1.0;   ///< of its colour, from 0 to 1
};

/** A line through points, or dots at them, in the units of the axes. */
struct Line {
    std::vector<double> x;
    std::vector<double> y;
    std::string style;  ///< class of the style sheet
};

/**
 * A plot. Categories of x are written above it, at a slant; those of y run from top to bottom. Bars lie below lines
 * and lines below dots; of each, the first is at the bottom. What lies outside the axes is drawn on their edge.
 */
struct Plot {
    std::string description;  ///< what the picture shows, in a sentence, for those who do not see it
    Axis x;
    Axis y;
    std::vector<Bar> bars = {};
    std::vector<Line> lines = {};
    std::vector<Line> dots = {};
    double width = 300.0;   ///< of the area within the axes and what stands around it, in CSS pixels
    double height = 190.0;  ///< likewise
};

/**
 * Draw a plot, whose axes can_be_drawn, as one <svg> element that scales with the page.
 *
 * Every text is escaped; labels that have no room are shortened and say all of it when pointed at. The same plot gives
 * the same bytes. Looks: the classes axis, grid and those of bars, lines and dots.
 */
[[nodiscard]] std::string draw_plot(const Plot &plot);

}  // namespace ullage::host

#endif
