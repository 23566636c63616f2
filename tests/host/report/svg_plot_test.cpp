// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Ticks that people count in, texts that may hold anything, and what a plot is made of.

#include "ullage/host/report/svg_plot.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ullage/host/report/html_text.h"

namespace ullage::host {
namespace {

std::string labels(const std::vector<Tick> &ticks) {
    std::string text;
    for (const Tick &tick : ticks) text += (text.empty() ? "" : " ") + tick.label;
    return text;
}

TEST(SvgPlot, TicksAreRoundAndWithinTheirAxis) {
    const struct {
        double low, high;
        std::size_t most;
        bool is_log;
        const char *labels;
    } cases[] = {
        {0.0, 10.0, 6, false, "0 2 4 6 8 10"},
        {0.0, 10.0, 5, false, "0 5 10"},
        {0.1, 0.9, 5, false, "0.2 0.4 0.6 0.8"},
        {-0.3, 0.3, 4, false, "\u22120.2 0 0.2"},  // a zero without a sign, whatever it was counted from
        {0.3, 0.6, 4, false, "0.3 0.4 0.5 0.6"},   // ends that no double holds exactly
        {-1600.0, -900.0, 5, false, "\u22121600 \u22121400 \u22121200 \u22121000"},
        {0.0, 3e7, 4, false, "0 1e+07 2e+07 3e+07"},
        {0.0, 2e-5, 3, false, "0 1e-05 2e-05"},
        {1e10, 1e10 + 4, 5, false, "10000000000 10000000001 10000000002 10000000003 10000000004"},
        {7.0, 7.0, 5, false, "7"},
        {0.5, 120.0, 9, true, "0.5 1 2 5 10 20 50 100"},
        {0.5, 120.0, 5, true, "1 3 10 30 100"},
        {0.5, 120.0, 3, true, "1 10 100"},
        {0.02, 40.0, 3, true, "0.1 1 10"},
        {1e-3, 1e9, 4, true, "1 10000 1e+08"},
        {2.0, 8.0, 4, true, "2 4 6 8"},
    };
    for (const auto &c : cases) {
        const std::vector<Tick> ticks = round_ticks(c.low, c.high, c.most, c.is_log);
        EXPECT_EQ(labels(ticks), c.labels) << c.low << " to " << c.high;
        for (const Tick &tick : ticks) {
            EXPECT_GE(tick.value, c.low - 1e-9 * std::fabs(c.high));
            EXPECT_LE(tick.value, c.high * (1.0 + 1e-9) + 1e-12);
        }
    }
}

TEST(SvgPlot, TicksOfAnyRangeEndAndAreFew) {
    for (int exponent = -300; exponent <= 300; exponent += 7) {
        const double scale = std::pow(10.0, exponent);
        for (const double low : {-3.7, 0.0, 1.3}) {
            for (const double width : {1.0, 2.5, 9.99}) {
                const auto ticks = round_ticks(low * scale, (low + width) * scale, 6);
                EXPECT_GE(ticks.size(), 1U) << scale << ' ' << low << ' ' << width;
                EXPECT_LE(ticks.size(), 6U) << scale << ' ' << low << ' ' << width;
            }
        }
    }
    // Ends between which no steps can be counted.
    for (const auto &[low, high] : {std::pair(1e-308, 2e-308),
                                    {0.0, 5e-324},
                                    {1.0, std::nextafter(1.0, 2.0)},
                                    {1e200, 1e200 * (1.0 + 1e-15)},
                                    {-1.797e308, 1.797e308}}) {
        EXPECT_EQ(round_ticks(low, high, 6).size(), 1U) << low;
        EXPECT_FALSE(can_be_drawn({.low = low, .high = high})) << low;
    }
    EXPECT_LE(round_ticks(5e-324, 1.797e308, 6, true).size(), 6U);
    EXPECT_TRUE(can_be_drawn({.low = -1e200, .high = 1e200}));
    EXPECT_FALSE(can_be_drawn({.low = 3.0, .high = 3.0}));
}

TEST(SvgPlot, AnyTextStandsForItself) {
    const struct {
        std::string text, html;
    } cases[] = {
        {"<b class=\"x\">&'", "&lt;b class=&quot;x&quot;&gt;&amp;&#39;"},
        {"größe 日本 \U0001F600", "größe 日本 \U0001F600"},
        {std::string("a\0b\x1b\x7f\n", 6), "a b   "},
        {"\xff<\xc3", "\uFFFD&lt;\uFFFD"},
        {"a\u202Eb\u2066\u061C", "a[U+202E]b[U+2066][U+061C]"},  // what would turn the text behind it
        {"\u0085a\u2028b \u05E9\u05DD", " a b \u05E9\u05DD"},
    };
    for (const auto &c : cases) EXPECT_EQ(html_escape(c.text), c.html);
    EXPECT_EQ(breakable("metal_10_<b>"), "metal_<wbr>10_&lt;b&gt;");
    EXPECT_EQ(breakable("Benzo(a)pyrene, total"), "Benzo(a)<wbr>pyrene, total");
    EXPECT_EQ(breakable(std::string(41, 'x')), std::string(20, 'x') + "<wbr>" + std::string(20, 'x') + "<wbr>x");
}

TEST(SvgPlot, ShortTextsStayAndLongOnesAreCutAtACharacter) {
    EXPECT_EQ(shorten("größe", 5), "größe");
    EXPECT_EQ(shorten("größer", 5), "größ\u2026");
    EXPECT_EQ(shorten("日本語", 2), "日\u2026");
    EXPECT_EQ(shorten("", 3), "");
    EXPECT_EQ(shorten("ab", 1), "\u2026");
}

TEST(SvgPlot, APlotKeepsWhatIsOutsideItsAxesWithinThePicture) {
    Plot plot;
    plot.description = "a \"plot\" <of> x";
    plot.x = {.label = "x & y", .low = 1.0, .high = 100.0, .is_log = true};
    plot.y = {.label = "", .low = 0.0, .high = 1.0};
    plot.bars = {{0.0, 1e6, -5.0, 0.5, "observed", "<"}};
    plot.lines = {{{-1.0, 10.0, 1e9}, {2.0, 0.5, -3.0}, "missing"}};
    const std::string svg = draw_plot(plot);
    EXPECT_NE(svg.find("aria-label=\"a &quot;plot&quot; &lt;of&gt; x\""), std::string::npos);
    EXPECT_NE(svg.find(">x &amp; y</text>"), std::string::npos);
    EXPECT_NE(svg.find(">&lt;</text>"), std::string::npos);
    EXPECT_EQ(svg.find("nan"), std::string::npos);
    EXPECT_EQ(svg.find("inf"), std::string::npos);
    // The line runs from the upper left corner of the axes through their middle to the lower right one.
    const std::size_t begin = svg.find("points=\"") + 8;
    double x[3];
    double y[3];
    ASSERT_EQ(std::sscanf(svg.c_str() + begin, "%lf,%lf %lf,%lf %lf,%lf", &x[0], &y[0], &x[1], &y[1], &x[2], &y[2]), 6);
    EXPECT_NEAR(x[1], (x[0] + x[2]) / 2.0, 0.11);
    EXPECT_NEAR(y[1], (y[0] + y[2]) / 2.0, 0.11);
    EXPECT_GE(x[0], 0.0);
    EXPECT_LE(x[2], plot.width);
    EXPECT_LT(y[0], y[2]);
    EXPECT_LE(y[2], plot.height);
}

TEST(SvgPlot, LongCategoriesAreShortenedAndSaidInFull) {
    Plot plot;
    plot.x.categories = {"a name that is much too long to be written at a slant"};
    plot.y.categories = {"short"};
    plot.bars = {{0.0, 1.0, 0.0, 1.0, "pattern"}};
    const std::string svg = draw_plot(plot);
    EXPECT_NE(svg.find("<title>a name that is much too long to be written at a slant</title>a name"),
              std::string::npos);
    EXPECT_EQ(svg.find("<title>short"), std::string::npos);
}

/** The numbers of an attribute of all elements that begin with some text, in their order. */
std::vector<double> attributes(const std::string &svg, const std::string &element, const std::string &name) {
    std::vector<double> numbers;
    for (std::size_t at = svg.find(element); at != std::string::npos; at = svg.find(element, at + 1)) {
        numbers.push_back(std::stod(svg.substr(svg.find(' ' + name + "=\"", at) + name.size() + 3)));
    }
    return numbers;
}

TEST(SvgPlot, CategoriesOfRowsRunDownAndNumbersUp) {
    Plot plot;
    plot.y.categories = {"first", "second", "third"};
    for (double i = 0.0; i < 3.0; ++i) plot.bars.push_back({0.0, 1.0, i, i + 1.0, "bar"});
    const std::string rows = draw_plot(plot);
    const std::vector<double> tops = attributes(rows, "<rect class=\"bar\"", "y");
    EXPECT_TRUE(tops.size() == 3 && tops[0] < tops[1] && tops[1] < tops[2]) << rows;
    // Each name stands beside its own bar.
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t name = rows.find(plot.y.categories[i]);
        const double at = attributes(rows.substr(rows.rfind("<text", name)), "<text", "y").front();
        EXPECT_GT(at, tops[i]);
        EXPECT_LT(at, tops[i] + attributes(rows, "<rect class=\"bar\"", "height")[i]);
    }
    plot.y.categories = {};
    plot.y.high = 3.0;
    const std::vector<double> numbers = attributes(draw_plot(plot), "<rect class=\"bar\"", "y");
    EXPECT_TRUE(numbers[0] > numbers[1] && numbers[1] > numbers[2]);
}

TEST(SvgPlot, DotsStandWhereLinesWouldPass) {
    Plot plot;
    plot.lines = {{{0.25, 0.75}, {0.1, 0.9}, "line"}};
    plot.dots = {{{0.25, 0.75}, {0.1, 0.9}, "dots"}};
    const std::string svg = draw_plot(plot);
    double x[2];
    double y[2];
    ASSERT_EQ(std::sscanf(svg.c_str() + svg.find("points=\"") + 8, "%lf,%lf %lf,%lf", &x[0], &y[0], &x[1], &y[1]), 4);
    std::ostringstream path;
    path << "d=\"M" << x[0] << ' ' << y[0] << "h0M" << x[1] << ' ' << y[1] << "h0\"";
    EXPECT_NE(svg.find(path.str()), std::string::npos) << svg;
}

}  // namespace
}  // namespace ullage::host
