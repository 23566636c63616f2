// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The page of the report around its sections.

#include "ullage/host/report/report.h"

#include <fmt/format.h>

#include <filesystem>

#include "ullage/host/answer/diagnostics.h"
#include "ullage/host/base/words.h"
#include "ullage/host/report/html_text.h"
#include "ullage/host/report/page_pieces.h"
#include "ullage/host/report/report_style.h"
#include "ullage/host/report/sections.h"

namespace ullage::host {
namespace {

/** A section of the page. */
struct Section {
    const char *id;
    const char *title;
    std::string body = {};
};

/** Nothing is loaded or sent, and no script runs, whatever a name on the page may hold. */
constexpr const char *kContentPolicy =
    "default-src &#39;none&#39;; style-src &#39;unsafe-inline&#39;; img-src data:; base-uri &#39;none&#39;; "
    "form-action &#39;none&#39;";

std::string page_head(const std::string &title) {
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"{}\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<meta name=\"color-scheme\" content=\"light dark\">\n"
        "<link rel=\"icon\" href=\"data:,\">\n<title>{}</title>\n<style>{}</style>\n</head>\n",
        kContentPolicy, html_escape(title), kReportStyle);
}

std::string page_header(const RunRecord &record, const std::string &title, std::size_t warnings) {
    std::int64_t hidden = 0;
    for (const RunColumn &column : record.columns) hidden += column.missing + column.bounded;
    const std::string count = count_of(warnings, "warning");
    return fmt::format(
        "<header>\n<h1>{}</h1>\n{}{}</header>\n", html_escape(title),
        paragraph(fmt::format(
            "{} {} imputed {} by ullage {}.", count_words(hidden, "cell"), hidden == 1 ? "was" : "were",
            record.imputations == 1 ? "once" : fmt::format("{} times", record.imputations), record.version)),
        warnings == 0 ? verdict(false, "No warnings.")
                      : fmt::format("<p class=\"verdict bad\"><a href=\"#warnings\">{}</a></p>\n", count));
}

}  // namespace

std::string make_report(const RunResults &results) {
    const RunRecord &record = results.record;
    const Diagnosis diagnosis = diagnose(record, results.draws, &results.tables);
    const RunCells cells = run_cells(results);
    const std::vector<DrawnMoments> moments = drawn_moments(results);
    std::vector<std::string> warnings = record.input_warnings;
    warnings.insert(warnings.end(), record.warnings.begin(), record.warnings.end());
    const std::vector<Section> sections = {
        {"read", "What was read", what_was_read(results, cells)},
        {"patterns", "Patterns of missingness", patterns_of_missingness(results, cells)},
        {"assumed", "What was assumed", what_was_assumed(record, !results.bounds.empty())},
        {"converged", "Whether it converged", whether_it_converged(record, diagnosis)},
        {"imputed", "What was imputed", what_was_imputed(results, cells)},
        {"pairs", "Pairs of columns", pairs_of_columns(results, cells, moments)},
        {"fits", "Whether the model fits", whether_the_model_fits(results)},
        {"pooled", "Pooled means and correlations", pooled_estimates(results, diagnosis)},
        {"warnings", "Warnings", warnings.empty() ? paragraph("None.") : list(warnings)},
        {"reproduce", "How to reproduce it", how_to_reproduce(record)},
    };
    const std::string title = "Imputation of " + std::filesystem::path(record.input_name).filename().string();
    std::string html = page_head(title) + "<body>\n<a class=\"skip\" href=\"#content\">Skip to the content</a>\n" +
                       page_header(record, title, warnings.size()) + "<nav aria-label=\"Sections\">\n<ol>\n";
    for (const Section &section : sections) {
        html += fmt::format("<li><a href=\"#{}\">{}</a></li>\n", section.id, section.title);
    }
    html += "</ol>\n</nav>\n<main id=\"content\" tabindex=\"-1\">\n";
    for (const Section &section : sections) {
        html += fmt::format(
            "<section id=\"{0}\" aria-labelledby=\"{0}-title\">\n<h2 id=\"{0}-title\">{1}</h2>\n{2}"
            "</section>\n",
            section.id, section.title, section.body);
    }
    return html + "</main>\n</body>\n</html>\n";
}

}  // namespace ullage::host
