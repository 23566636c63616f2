// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Numbers, paragraphs, tables, keys and figures as the page has them.

#include "ullage/host/report/page_pieces.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cmath>

#include "ullage/host/base/words.h"
#include "ullage/host/report/html_text.h"

namespace ullage::host {
namespace {

constexpr std::size_t kLongTable = 60;  // rows above which a table is folded

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
    return fmt::format("{}", fmt::join(names, ", "));
}

std::string make_table(const std::string &caption, const std::vector<std::string> &head,
                       const std::vector<std::vector<Cell>> &rows, std::size_t texts) {
    std::string html = fmt::format(
        "<div class=\"scroll\" role=\"region\" aria-label=\"{0}\" tabindex=\"0\"><table><caption>{0}</caption>\n"
        "<thead><tr>",
        html_escape(caption));
    for (std::size_t c = 0; c < head.size(); ++c) {
        html += fmt::format("<th scope=\"col\"{}>{}</th>", c < texts ? " class=\"text\"" : "", html_escape(head[c]));
    }
    html += "</tr></thead>\n<tbody>\n";
    for (const std::vector<Cell> &row : rows) {
        html += "<tr>";
        for (std::size_t c = 0; c < row.size(); ++c) {
            const char *begin = c == 0          ? "<th scope=\"row\">"
                                : c < texts     ? "<td class=\"text\">"
                                : row[c].is_bad ? "<td class=\"bad\">"
                                                : "<td>";
            html += begin + html_escape(row[c].text) + (c == 0 ? "</th>" : "</td>");
        }
        html += "</tr>\n";
    }
    html += "</tbody></table></div>\n";
    if (rows.size() <= kLongTable) return html;
    return fmt::format("<details><summary>{} ({} rows)</summary>\n{}</details>\n", html_escape(caption), rows.size(),
                       html);
}

std::string make_figure(const Plot &plot, std::string_view caption) {
    const bool is_wide = plot.width > 360.0;
    const std::string svg = draw_plot(plot);
    return fmt::format(
        "<figure>{}<figcaption>{}</figcaption></figure>\n",
        is_wide
            ? fmt::format("<div class=\"scroll\" role=\"region\" aria-label=\"Figure\" tabindex=\"0\">{}</div>", svg)
            : svg,
        html_escape(caption));
}

std::string make_keys(const std::vector<std::pair<std::string, std::string>> &keys) {
    std::string html = "<ul class=\"keys\" aria-label=\"Key\">";
    for (const auto &[style, words] : keys) {
        const bool is_line = style.starts_with("line ");
        html +=
            fmt::format("<li><svg width=\"14\" height=\"12\" aria-hidden=\"true\">{}</svg>{}</li>",
                        is_line ? fmt::format("<polyline class=\"{}\" points=\"0,6 14,6\"/>", style.substr(5))
                                : fmt::format("<rect class=\"{}\" x=\"0\" y=\"0\" width=\"14\" height=\"12\"/>", style),
                        html_escape(words));
    }
    return html + "</ul>\n";
}

}  // namespace ullage::host
