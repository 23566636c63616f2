// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Numbers, paragraphs, tables, keys and figures as the page has them.

#include "ullage/host/report/page_pieces.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/words.h"
#include "ullage/host/report/html_text.h"

namespace ullage::host {
namespace {

constexpr std::size_t kLongTable = 40;   // rows above which a table is folded
constexpr std::size_t kMostRows = 1000;  // of a table
constexpr std::size_t kMostNames = 200;  // of a list within a sentence
constexpr double kWideFigure = 360.0;    // pixels above which a figure may scroll

/** One cell, in the column c of a row that so many are left of; nothing where a header above spans it. */
std::string table_cell(const Cell &cell, std::size_t c, std::size_t texts, std::size_t rows_left) {
    if (cell.rows == 0) return "";
    const std::string span = cell.rows > 1 ? fmt::format(" rowspan=\"{}\"", std::min(cell.rows, rows_left)) : "";
    const char *begin = c == 0        ? "<th scope=\"row\""
                        : c < texts   ? "<td class=\"text\""
                        : cell.is_bad ? "<td class=\"bad\""
                                      : "<td";
    return fmt::format("{}{}>{}{}", begin, span, breakable(cell.text), c == 0 ? "</th>" : "</td>");
}

}  // namespace

std::string number(double value) {
    if (std::isnan(value)) return "\u2013";
    if (std::isinf(value)) return value < 0.0 ? "\u2212\u221e" : "\u221e";
    const double magnitude = std::fabs(value);
    const std::string digits =
        magnitude >= 1000.0 && magnitude < 1e7 ? fmt::format("{:.0f}", magnitude) : fmt::format("{:.4g}", magnitude);
    return (value < 0.0 && digits != "0" ? "\u2212" : "") + digits;
}

std::string fixed(double value, int decimals) {
    if (!std::isfinite(value)) return number(value);
    const std::string digits = fmt::format("{:.{}f}", std::fabs(value), decimals);
    return (value < 0.0 && digits.find_first_of("123456789") != std::string::npos ? "\u2212" : "") + digits;
}

std::string percent(double part, double whole) {
    return whole > 0.0 ? fmt::format("{:.1f}%", 100.0 * part / whole) : "\u2013";
}

std::string fraction(double value) {
    return std::isfinite(value) ? fmt::format("{:.1f}%", 100.0 * value) : "\u2013";
}

std::string degrees_of_freedom(double value) {
    return value > 10000.0 ? ">10000" : fixed(value, 1);
}

std::string ordinal(std::size_t number) {
    const std::size_t last = number % 10;
    const bool is_teen = number / 10 % 10 == 1;
    const char *ending = is_teen ? "th" : last == 1 ? "st" : last == 2 ? "nd" : last == 3 ? "rd" : "th";
    return fmt::format("{}{}", number, ending);
}

std::string count_words(std::int64_t count, std::string_view noun) {
    return count_of(static_cast<std::size_t>(count), noun);
}

std::string paragraph(std::string_view text) {
    return fmt::format("<p>{}</p>\n", html_escape(text));
}

std::string soft_paragraph(std::string_view text) {
    return fmt::format("<p class=\"soft\">{}</p>\n", html_escape(text));
}

std::string list(const std::vector<std::string> &items) {
    std::string html = "<ul>\n";
    for (const std::string &item : items) html += fmt::format("<li>{}</li>\n", html_escape(item));
    return html + "</ul>\n";
}

std::string join_names(const std::vector<std::string> &names) {
    if (names.size() <= kMostNames) return fmt::format("{}", fmt::join(names, ", "));
    return fmt::format("{} and {} more", fmt::join(names.begin(), names.begin() + kMostNames, ", "),
                       names.size() - kMostNames);
}

std::string make_table(const std::string &caption, const std::vector<std::string> &head,
                       const std::vector<std::vector<Cell>> &rows, std::size_t texts) {
    std::string html = fmt::format(
        "<div class=\"scroll\" role=\"region\" aria-label=\"{}\" tabindex=\"0\"><table><caption>{}</caption>\n"
        "<thead><tr>",
        html_escape(caption), breakable(caption));
    for (std::size_t c = 0; c < head.size(); ++c) {
        html += fmt::format("<th scope=\"col\"{}>{}</th>", c < texts ? " class=\"text\"" : "", breakable(head[c]));
    }
    html += "</tr></thead>\n<tbody>\n";
    const std::size_t shown = std::min(rows.size(), kMostRows);
    for (std::size_t r = 0; r < shown; ++r) {
        check_interrupt();
        html += "<tr>";
        for (std::size_t c = 0; c < rows[r].size(); ++c) html += table_cell(rows[r][c], c, texts, shown - r);
        html += "</tr>\n";
    }
    html += "</tbody></table></div>\n";
    if (shown < rows.size()) html += soft_paragraph(fmt::format("The first {} of {} rows.", shown, rows.size()));
    return rows.size() <= kLongTable ? html : folded(fmt::format("{} ({} rows)", caption, rows.size()), html);
}

void drop_columns_of(std::string_view text, std::vector<std::string> &head, std::vector<std::vector<Cell>> &rows) {
    for (std::size_t c = head.size() - 1; c > 0; --c) {
        if (std::any_of(rows.begin(), rows.end(), [&](const auto &row) { return row[c].text != text; })) continue;
        const auto place = static_cast<std::ptrdiff_t>(c);
        head.erase(head.begin() + place);
        for (std::vector<Cell> &row : rows) row.erase(row.begin() + place);
    }
}

std::string folded(std::string_view summary, std::string_view html) {
    return fmt::format("<details><summary>{}</summary>\n{}</details>\n", html_escape(summary), html);
}

std::string heading(std::string_view text) {
    return fmt::format("<h3>{}</h3>\n", breakable(text));
}

std::string make_figure(const Plot &plot, std::string_view title, std::string_view words) {
    std::string html;
    for (const Axis *axis : {&plot.x, &plot.y}) {
        if (!html.empty() || can_be_drawn(*axis)) continue;
        html =
            paragraph(fmt::format("Not drawn: numbers from {} to {} cannot be told apart on an axis, as they are too "
                                  "large, too small or too close to each other. {}",
                                  number(axis->low), number(axis->high), plot.description));
    }
    if (html.empty()) html = draw_plot(plot);
    if (plot.width > kWideFigure) {
        html = fmt::format("<div class=\"scroll\" role=\"region\" aria-label=\"Figure\" tabindex=\"0\">{}</div>", html);
    }
    if (!title.empty() || !words.empty()) {
        html += fmt::format("<figcaption>{}{}</figcaption>",
                            title.empty() ? "" : fmt::format("<b>{}</b> ", breakable(title)), html_escape(words));
    }
    return fmt::format("<figure>{}</figure>\n", html);
}

std::string side_by_side(std::string_view figures) {
    return figures.empty() ? std::string() : fmt::format("<div class=\"figures\">\n{}</div>\n", figures);
}

std::string make_keys(const std::vector<std::pair<std::string, std::string>> &keys) {
    std::string html = "<ul class=\"keys\" aria-label=\"Key\">";
    for (const auto &[style, words] : keys) {
        const std::string sample =
            style.starts_with("line ") ? fmt::format("<polyline class=\"{}\" points=\"0,6 14,6\"/>", style.substr(5))
            : style.starts_with("dot ")
                ? fmt::format("<path class=\"{}\" d=\"M7 6h0\"/>", style.substr(4))
                : fmt::format("<rect class=\"{}\" x=\"0\" y=\"0\" width=\"14\" height=\"12\"/>", style);
        html += fmt::format("<li><svg width=\"14\" height=\"12\" aria-hidden=\"true\">{}</svg>{}</li>", sample,
                            html_escape(words));
    }
    return html + "</ul>\n";
}

std::string verdict(bool is_bad, std::string_view text) {
    return fmt::format("<p class=\"verdict{}\">{}</p>\n", is_bad ? " bad" : "", html_escape(text));
}

}  // namespace ullage::host
