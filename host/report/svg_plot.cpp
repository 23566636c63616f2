// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Laying out plots and writing them as SVG.

#include "ullage/host/report/svg_plot.h"

#include <fmt/format.h>
#include <utf8.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "ullage/host/report/html_text.h"

namespace ullage::host {
namespace {

constexpr double kTextSize = 11.0;         // of labels and ticks; the style sheet must say the same
constexpr double kLineHeight = 15.0;       // of a line of such text
constexpr double kMostLabelWidth = 120.0;  // of a category
constexpr double kSlant = 60.0;            // of the categories above a plot, in degrees
constexpr double kTickGap = 5.0;           // between an axis and its labels

/** About how wide a text comes out; wide scripts count double, marks that combine not at all. */
double text_width(std::string_view text) {
    double width = 0.0;
    const std::string valid = showable(text);
    for (auto next = valid.begin(); next != valid.end();) {
        const auto code = utf8::unchecked::next(next);
        if (code >= 0x300 && code < 0x370) continue;
        width += (code >= 0x1100 ? 1.05 : 0.6) * kTextSize;
    }
    return width;
}

/** The text cut to a width, and as an element that says all of it if it was cut. */
std::string fitting_text(std::string_view text, double width) {
    if (text_width(text) <= width) return html_escape(text);
    // No character that counts is narrower than this, so a name of any length takes a few steps.
    auto characters = std::min(text.size(), static_cast<std::size_t>(width / (0.6 * kTextSize)) + 2);
    std::string cut = shorten(text, characters);
    while (characters > 1 && text_width(cut) > width) cut = shorten(text, --characters);
    return fmt::format("<title>{}</title>{}", html_escape(text), html_escape(cut));
}

/** Coordinates, to a tenth of a pixel. */
std::string place(double value) {
    std::string text = fmt::format("{:.1f}", value);
    if (text.ends_with(".0")) text.resize(text.size() - 2);
    return text == "-0" ? "0" : text;
}

/** A power of ten. Negative ones are taken as quotients, which are the nearest doubles. */
double power_of_ten(int exponent) {
    double power = 1.0;
    for (int i = 0; i < std::abs(exponent); ++i) power *= 10.0;
    return exponent < 0 ? 1.0 / power : power;
}

/** A number that is a multiple of a power of ten. */
std::string tick_label(double value, int exponent) {
    if (value == 0.0) return "0";
    const double magnitude = std::fabs(value);
    const int digits = std::clamp(static_cast<int>(std::floor(std::log10(magnitude))) - exponent + 1, 1, 15);
    const std::string text = magnitude >= 1e6 || magnitude < 1e-4
                                 ? fmt::format("{:.{}g}", magnitude, digits)
                                 : fmt::format("{:.{}f}", magnitude, std::max(0, -exponent));
    return value < 0.0 ? "\u2212" + text : text;
}

/** The scale from the units of an axis to pixels. */
struct Ruler {
    double low;
    double high;
    double start;  // pixel of low
    double end;    // pixel of high
    bool is_log;

    Ruler(const Axis &axis, double first, double last)
        : low(axis.categories.empty() ? axis.low : 0.0),
          high(axis.categories.empty() ? axis.high : static_cast<double>(axis.categories.size())),
          start(first),
          end(last),
          is_log(axis.is_log) {
        if (is_log) low = std::log10(low), high = std::log10(high);
    }
    [[nodiscard]] double pixel(double value) const {
        const double position = is_log ? (value > 0.0 ? std::log10(value) : low) : value;
        return start + (std::clamp(position, low, high) - low) / (high - low) * (end - start);
    }
    [[nodiscard]] bool holds(double value) const {
        const double position = is_log ? std::log10(value) : value;
        return position >= low && position <= high;
    }
};

void draw_bars(const Plot &plot, const Ruler &x, const Ruler &y, std::string &svg) {
    for (const Bar &bar : plot.bars) {
        const double left = x.pixel(bar.left);
        const double right = x.pixel(bar.right);
        const double top = std::min(y.pixel(bar.top), y.pixel(bar.bottom));
        const double bottom = std::max(y.pixel(bar.top), y.pixel(bar.bottom));
        fmt::format_to(std::back_inserter(svg), "<rect class=\"{}\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"{}/>",
                       bar.style, place(left), place(top), place(right - left), place(bottom - top),
                       bar.opacity < 1.0 ? fmt::format(" fill-opacity=\"{:.2f}\"", bar.opacity) : "");
        if (bar.text.empty()) continue;
        fmt::format_to(std::back_inserter(svg),
                       "<text class=\"{}\" x=\"{}\" y=\"{}\" text-anchor=\"middle\" dy=\".35em\">{}</text>", bar.style,
                       place((left + right) / 2.0), place((top + bottom) / 2.0), html_escape(bar.text));
    }
}

void draw_lines(const Plot &plot, const Ruler &x, const Ruler &y, std::string &svg) {
    for (const Line &line : plot.lines) {
        fmt::format_to(std::back_inserter(svg), "<polyline class=\"{}\" points=\"", line.style);
        for (std::size_t i = 0; i < line.x.size(); ++i) {
            fmt::format_to(std::back_inserter(svg), "{}{},{}", i > 0 ? " " : "", place(x.pixel(line.x[i])),
                           place(y.pixel(line.y[i])));
        }
        svg += "\"/>";
    }
}

/** Dots as one path of strokes without length, which round ends make visible. */
void draw_dots(const Plot &plot, const Ruler &x, const Ruler &y, std::string &svg) {
    for (const Line &dots : plot.dots) {
        fmt::format_to(std::back_inserter(svg), "<path class=\"{}\" d=\"", dots.style);
        for (std::size_t i = 0; i < dots.x.size(); ++i) {
            fmt::format_to(std::back_inserter(svg), "M{} {}h0", place(x.pixel(dots.x[i])), place(y.pixel(dots.y[i])));
        }
        svg += "\"/>";
    }
}

/** A multiple of a power of ten, multiplied or divided once: the nearest double to what its label says. */
double multiple(double count, int exponent) {
    return exponent < 0 ? count / power_of_ten(-exponent) : count * power_of_ten(exponent);
}

/** Powers of ten, as many as there is room for, and where there is room for more other digits between them. */
std::vector<Tick> log_ticks(double low, double high, std::size_t most) {
    const int first = static_cast<int>(std::floor(std::log10(low)));
    const int last = static_cast<int>(std::ceil(std::log10(high)));
    const auto ticks_of = [&](const std::vector<double> &digits, int step) {
        std::vector<Tick> ticks;
        for (int exponent = first; exponent <= last; ++exponent) {
            if (exponent % step != 0) continue;
            for (const double digit : digits) {
                const double value = multiple(digit, exponent);
                if (value >= low && value <= high) ticks.push_back({value, tick_label(value, exponent)});
            }
        }
        return ticks;
    };
    for (const std::vector<double> &digits : {std::vector{1.0, 2.0, 5.0}, {1.0, 3.0}}) {
        std::vector<Tick> ticks = ticks_of(digits, 1);
        if (ticks.size() <= most) return ticks;
    }
    int step = 1;
    while (ticks_of({1.0}, step).size() > most) ++step;
    return ticks_of({1.0}, step);
}

double widest(const std::vector<std::string> &texts) {
    double width = 0.0;
    for (const std::string &text : texts) width = std::max(width, std::min(text_width(text), kMostLabelWidth));
    return width;
}

/** Where the area within the axes lies, and the ticks of y, which take room at its left. */
struct Frame {
    double left;
    double right;
    double top;
    double bottom;
    std::vector<Tick> y_ticks;
};

Frame lay_out(const Plot &plot) {
    const bool has_columns = !plot.x.categories.empty();
    const bool has_rows = !plot.y.categories.empty();
    const double slant = kSlant * 3.14159265358979 / 180.0;
    const double head = plot.y.label.empty() ? 6.0 : kLineHeight + 6.0;
    const double foot = has_columns ? 4.0 : (plot.x.has_ticks ? kLineHeight + kTickGap : 4.0);
    Frame frame;
    frame.top = has_columns ? widest(plot.x.categories) * std::sin(slant) + 2.0 * kTickGap : head;
    frame.bottom = plot.height - foot - (plot.x.label.empty() ? 0.0 : kLineHeight + 2.0);
    if (plot.y.has_ticks && !has_rows) {
        const auto most = static_cast<std::size_t>(std::max(2.0, (frame.bottom - frame.top) / 30.0));
        frame.y_ticks = round_ticks(plot.y.low, plot.y.high, most, plot.y.is_log);
    }
    frame.left = has_rows ? widest(plot.y.categories) + 2.0 * kTickGap : 8.0;
    for (const Tick &tick : frame.y_ticks) {
        frame.left = std::max(frame.left, text_width(tick.label) + 2.0 * kTickGap);
    }
    // A slanted name over the last column, or the last number below, hangs over.
    frame.right = plot.width - (has_columns ? widest(plot.x.categories) * std::cos(slant) + 10.0 : 14.0);
    return frame;
}

void draw_y_ticks(const Frame &frame, const Ruler &y, std::string &svg) {
    for (const Tick &tick : frame.y_ticks) {
        if (!y.holds(tick.value)) continue;
        const std::string at = place(y.pixel(tick.value));
        fmt::format_to(std::back_inserter(svg),
                       "<line class=\"grid\" x1=\"{}\" y1=\"{}\" x2=\"{}\" y2=\"{}\"/>"
                       "<text x=\"{}\" y=\"{}\" text-anchor=\"end\" dy=\".35em\">{}</text>",
                       place(frame.left), at, place(frame.right), at, place(frame.left - kTickGap), at, tick.label);
    }
}

void draw_x_ticks(const Plot &plot, const Frame &frame, const Ruler &x, std::string &svg) {
    if (!plot.x.has_ticks || !plot.x.categories.empty()) return;
    const auto most = static_cast<std::size_t>(std::max(2.0, (frame.right - frame.left) / 50.0));
    double free_from = -kMostLabelWidth;
    for (const Tick &tick : round_ticks(plot.x.low, plot.x.high, most, plot.x.is_log)) {
        if (!x.holds(tick.value)) continue;
        const double at = x.pixel(tick.value);
        fmt::format_to(std::back_inserter(svg), "<line class=\"grid\" x1=\"{0}\" y1=\"{1}\" x2=\"{0}\" y2=\"{2}\"/>",
                       place(at), place(frame.top), place(frame.bottom));
        const double half = text_width(tick.label) / 2.0;
        if (at - half < free_from || at + half > plot.width) continue;
        free_from = at + half + kTickGap;
        fmt::format_to(std::back_inserter(svg), "<text x=\"{}\" y=\"{}\" text-anchor=\"middle\">{}</text>", place(at),
                       place(frame.bottom + kLineHeight), tick.label);
    }
}

void draw_categories(const Plot &plot, const Frame &frame, const Ruler &x, const Ruler &y, std::string &svg) {
    for (std::size_t i = 0; i < plot.x.categories.size(); ++i) {
        fmt::format_to(std::back_inserter(svg),
                       "<text x=\"{0}\" y=\"{1}\" transform=\"rotate(-{2} {0} {1})\" dy=\".35em\">{3}</text>",
                       place(x.pixel(static_cast<double>(i) + 0.5)), place(frame.top - kTickGap), place(kSlant),
                       fitting_text(plot.x.categories[i], kMostLabelWidth));
    }
    for (std::size_t i = 0; i < plot.y.categories.size(); ++i) {
        fmt::format_to(std::back_inserter(svg), "<text x=\"{}\" y=\"{}\" text-anchor=\"end\" dy=\".35em\">{}</text>",
                       place(frame.left - kTickGap), place(y.pixel(static_cast<double>(i) + 0.5)),
                       fitting_text(plot.y.categories[i], kMostLabelWidth));
    }
}

void draw_axis_labels(const Plot &plot, const Frame &frame, std::string &svg) {
    auto out = std::back_inserter(svg);
    if (plot.x.categories.empty()) {
        fmt::format_to(out, "<line class=\"axis\" x1=\"{0}\" y1=\"{2}\" x2=\"{1}\" y2=\"{2}\"/>", place(frame.left),
                       place(frame.right), place(frame.bottom));
    }
    if (!plot.y.label.empty()) {
        fmt::format_to(out, "<text x=\"2\" y=\"{}\">{}</text>", place(kTextSize),
                       fitting_text(plot.y.label, plot.width - 4.0));
    }
    if (!plot.x.label.empty()) {
        fmt::format_to(out, "<text x=\"{}\" y=\"{}\" text-anchor=\"middle\">{}</text>",
                       place((frame.left + frame.right) / 2.0), place(plot.height - 4.0),
                       fitting_text(plot.x.label, frame.right - frame.left));
    }
}

}  // namespace

bool can_be_drawn(const Axis &axis) {
    constexpr double most = 1e300;       // sums of a few such numbers are finite
    constexpr double least = 1e-290;     // steps between such numbers are not denormal
    constexpr double precision = 1e-13;  // of a number, steps that rounding leaves
    if (!axis.categories.empty()) return true;
    const double magnitude = std::max(std::fabs(axis.low), std::fabs(axis.high));
    if (!(axis.low < axis.high) || magnitude > most) return false;
    if (axis.is_log) return axis.low >= least && axis.high / axis.low > 1.0 + precision;
    return axis.high - axis.low >= std::max(least, precision * magnitude);
}

std::vector<Tick> round_ticks(double low, double high, std::size_t most, bool is_log) {
    if (is_log && high / low >= 10.0) return log_ticks(low, high, most);
    const std::vector<Tick> only = {{low, fmt::format("{:g}", low)}};
    const double range = high - low;
    if (!can_be_drawn({.low = low, .high = high})) return only;
    // The smallest round step that does not give too many ticks, from just below the one that gives the most.
    constexpr int kDigits[] = {1, 2, 5};
    const int below = static_cast<int>(std::floor(std::log10(range / static_cast<double>(most))));
    for (int i = 0; i < 9; ++i) {
        const int exponent = below + i / 3;
        const auto at = [&](double count) { return multiple(count * kDigits[i % 3], exponent); };
        const double first = std::ceil(low / at(1.0) - 1e-9);
        const double last = std::floor(high / at(1.0) + 1e-9);
        const double count = last - first + 1.0;
        if (!(count <= static_cast<double>(most))) continue;
        std::vector<Tick> ticks;
        for (std::size_t k = 0; k < static_cast<std::size_t>(std::max(count, 0.0)); ++k) {
            const double value = at(first + static_cast<double>(k));
            ticks.push_back({value, tick_label(value, exponent)});
        }
        return ticks.empty() ? only : ticks;
    }
    return only;
}

std::string draw_plot(const Plot &plot) {
    const Frame frame = lay_out(plot);
    const bool has_rows = !plot.y.categories.empty();
    const Ruler x(plot.x, frame.left, frame.right);
    const Ruler y(plot.y, has_rows ? frame.top : frame.bottom, has_rows ? frame.bottom : frame.top);
    std::string svg =
        fmt::format("<svg viewBox=\"0 0 {0} {1}\" width=\"{0}\" height=\"{1}\" role=\"img\" aria-label=\"{2}\">",
                    place(plot.width), place(plot.height), html_escape(plot.description));
    draw_y_ticks(frame, y, svg);
    draw_x_ticks(plot, frame, x, svg);
    draw_categories(plot, frame, x, y, svg);
    draw_bars(plot, x, y, svg);
    draw_lines(plot, x, y, svg);
    draw_dots(plot, x, y, svg);
    draw_axis_labels(plot, frame, svg);
    return svg + "</svg>";
}

}  // namespace ullage::host
