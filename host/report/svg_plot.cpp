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
    const std::string valid = valid_utf8(text);
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
    std::size_t characters = text.size();
    std::string cut;
    do {
        cut = shorten(text, --characters);
    } while (characters > 1 && text_width(cut) > width);
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
        fmt::format_to(std::back_inserter(svg), "<rect class=\"{}\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"/>",
                       bar.style, place(left), place(top), place(right - left), place(bottom - top));
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

}  // namespace

std::vector<Tick> round_ticks(double low, double high, std::size_t most, bool is_log) {
    std::vector<Tick> ticks;
    const auto power = [](double count, int exponent) {
        // Multiplied or divided once: the nearest double to what the label says.
        return exponent < 0 ? count / power_of_ten(-exponent) : count * power_of_ten(exponent);
    };
    if (is_log && high / low >= 10.0) {
        const int first = static_cast<int>(std::floor(std::log10(low)));
        const int last = static_cast<int>(std::ceil(std::log10(high)));
        const auto add = [&](double digit, int exponent) {
            const double value = power(digit, exponent);
            if (value >= low && value <= high) ticks.push_back({value, tick_label(value, exponent)});
        };
        for (int exponent = first; exponent <= last; ++exponent) {
            for (const double digit : {1.0, 2.0, 5.0}) add(digit, exponent);
        }
        if (ticks.size() <= most) return ticks;
        ticks.clear();
        const int step = 1 + (last - first) / static_cast<int>(most);
        for (int exponent = first; exponent <= last; ++exponent) {
            if (exponent % step == 0) add(1.0, exponent);
        }
        return ticks;
    }
    const double range = high - low;
    if (!(range > 0.0)) return {{low, fmt::format("{:g}", low)}};
    // The smallest round step that does not give too many ticks.
    int exponent = static_cast<int>(std::floor(std::log10(range / static_cast<double>(most))));
    for (std::size_t i = 0;; ++i) {
        constexpr int kDigits[] = {1, 2, 5};
        const int digit = kDigits[i % 3];
        if (i > 0 && i % 3 == 0) ++exponent;
        const auto at = [&](double count) { return power(count * digit, exponent); };
        const double first = std::ceil(low / at(1.0) - 1e-9);
        const double last = std::floor(high / at(1.0) + 1e-9);
        if (last - first + 1.0 > static_cast<double>(most)) continue;
        for (double count = first; count <= last; ++count) {
            ticks.push_back({at(count), tick_label(at(count), exponent)});
        }
        return ticks;
    }
}

std::string draw_plot(const Plot &plot) {
    const bool has_columns = !plot.x.categories.empty();
    const bool has_rows = !plot.y.categories.empty();
    const auto widest = [](const std::vector<std::string> &texts) {
        double width = 0.0;
        for (const std::string &text : texts) width = std::max(width, std::min(text_width(text), kMostLabelWidth));
        return width;
    };
    const double slant = kSlant * 3.14159265358979 / 180.0;
    const double head = plot.y.label.empty() ? 6.0 : kLineHeight + 6.0;
    const double top = has_columns ? widest(plot.x.categories) * std::sin(slant) + 2.0 * kTickGap : head;
    const double foot = has_columns ? 4.0 : (plot.x.has_ticks ? kLineHeight + kTickGap : 4.0);
    const double bottom = plot.height - foot - (plot.x.label.empty() ? 0.0 : kLineHeight + 2.0);

    std::vector<Tick> y_ticks;
    if (plot.y.has_ticks && !has_rows) {
        const auto most = static_cast<std::size_t>(std::max(2.0, (bottom - top) / 30.0));
        y_ticks = round_ticks(plot.y.low, plot.y.high, most, plot.y.is_log);
    }
    double left = has_rows ? widest(plot.y.categories) + 2.0 * kTickGap : 8.0;
    for (const Tick &tick : y_ticks) left = std::max(left, text_width(tick.label) + 2.0 * kTickGap);
    // A slanted name over the last column, or the last number below, hangs over.
    const double right = plot.width - (has_columns ? widest(plot.x.categories) * std::cos(slant) + 10.0 : 14.0);
    const Ruler x(plot.x, left, right);
    const Ruler y(plot.y, has_rows ? top : bottom, has_rows ? bottom : top);

    std::string svg =
        fmt::format("<svg viewBox=\"0 0 {0} {1}\" width=\"{0}\" height=\"{1}\" role=\"img\" aria-label=\"{2}\">",
                    place(plot.width), place(plot.height), html_escape(plot.description));
    auto out = std::back_inserter(svg);
    for (const Tick &tick : y_ticks) {
        if (!y.holds(tick.value)) continue;
        const std::string at = place(y.pixel(tick.value));
        fmt::format_to(out, "<line class=\"grid\" x1=\"{}\" y1=\"{}\" x2=\"{}\" y2=\"{}\"/>", place(left), at,
                       place(right), at);
        fmt::format_to(out, "<text x=\"{}\" y=\"{}\" text-anchor=\"end\" dy=\".35em\">{}</text>",
                       place(left - kTickGap), at, tick.label);
    }
    if (plot.x.has_ticks && !has_columns) {
        const auto most = static_cast<std::size_t>(std::max(2.0, (right - left) / 50.0));
        double free_from = -kMostLabelWidth;
        for (const Tick &tick : round_ticks(plot.x.low, plot.x.high, most, plot.x.is_log)) {
            if (!x.holds(tick.value)) continue;
            const double at = x.pixel(tick.value);
            fmt::format_to(out, "<line class=\"grid\" x1=\"{0}\" y1=\"{1}\" x2=\"{0}\" y2=\"{2}\"/>", place(at),
                           place(top), place(bottom));
            const double half = text_width(tick.label) / 2.0;
            if (at - half < free_from) continue;
            free_from = at + half + kTickGap;
            fmt::format_to(out, "<text x=\"{}\" y=\"{}\" text-anchor=\"middle\">{}</text>", place(at),
                           place(bottom + kLineHeight), tick.label);
        }
    }
    for (std::size_t i = 0; i < plot.x.categories.size(); ++i) {
        const double at = x.pixel(static_cast<double>(i) + 0.5);
        fmt::format_to(out, "<text x=\"{0}\" y=\"{1}\" transform=\"rotate(-{2} {0} {1})\" dy=\".35em\">{3}</text>",
                       place(at), place(top - kTickGap), place(kSlant),
                       fitting_text(plot.x.categories[i], kMostLabelWidth));
    }
    for (std::size_t i = 0; i < plot.y.categories.size(); ++i) {
        fmt::format_to(out, "<text x=\"{}\" y=\"{}\" text-anchor=\"end\" dy=\".35em\">{}</text>",
                       place(left - kTickGap), place(y.pixel(static_cast<double>(i) + 0.5)),
                       fitting_text(plot.y.categories[i], kMostLabelWidth));
    }
    draw_bars(plot, x, y, svg);
    draw_lines(plot, x, y, svg);
    if (!has_columns) {
        fmt::format_to(out, "<line class=\"axis\" x1=\"{0}\" y1=\"{2}\" x2=\"{1}\" y2=\"{2}\"/>", place(left),
                       place(right), place(bottom));
    }
    if (!plot.y.label.empty()) {
        fmt::format_to(out, "<text x=\"2\" y=\"{}\">{}</text>", place(kTextSize),
                       fitting_text(plot.y.label, plot.width - 4.0));
    }
    if (!plot.x.label.empty()) {
        fmt::format_to(out, "<text x=\"{}\" y=\"{}\" text-anchor=\"middle\">{}</text>", place((left + right) / 2.0),
                       place(plot.height - 4.0), fitting_text(plot.x.label, right - left));
    }
    return svg + "</svg>";
}

}  // namespace ullage::host
