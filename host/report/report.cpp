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

/** What is known of each cell: column after column of the model, one element per row. */
KnownCells knowledge_of(const RunResults &results) {
    KnownCells knowledge;
    for (const std::size_t place : results.tables.model) {
        knowledge.emplace_back(results.tables.rows, Knowledge::observed);
        for (const std::int32_t row : results.tables.columns[place].hidden) {
            knowledge.back()[static_cast<std::size_t>(row)] = Knowledge::missing;
        }
    }
    for (const BoundedCell &cell : results.bounds) {
        knowledge[static_cast<std::size_t>(cell.column)][static_cast<std::size_t>(cell.row)] = cell.knowledge;
    }
    return knowledge;
}

}  // namespace

std::string make_report(const RunResults &results) {
    const RunRecord &record = results.record;
    const Diagnosis diagnosis = diagnose(record, results.draws, &results.tables);
    const KnownCells knowledge = knowledge_of(results);
    std::vector<std::string> warnings = record.input_warnings;
    warnings.insert(warnings.end(), diagnosis.warnings.begin(), diagnosis.warnings.end());
    const std::vector<Section> sections = {
        {"read", "What was read", what_was_read(results, knowledge)},
        {"patterns", "Patterns of missingness", patterns_of_missingness(results, knowledge)},
        {"assumed", "What was assumed", what_was_assumed(record, !results.bounds.empty())},
        {"converged", "Whether it converged", whether_it_converged(record, diagnosis)},
        {"imputed", "What was imputed", what_was_imputed(results)},
        {"pooled", "Pooled means and correlations", pooled_estimates(results, diagnosis)},
        {"warnings", "Warnings", warnings.empty() ? paragraph("None.") : list(warnings)},
        {"reproduce", "How to reproduce it", how_to_reproduce(record)},
    };
    std::string html = fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<meta name=\"color-scheme\" content=\"light dark\">\n"
        "<link rel=\"icon\" href=\"data:,\">\n<title>Imputation of {0}</title>\n<style>{1}</style>\n</head>\n<body>\n"
        "<a class=\"skip\" href=\"#content\">Skip to the content</a>\n"
        "<header>\n<h1>Imputation of {0}</h1>\n",
        html_escape(std::filesystem::path(record.input_name).filename().string()), kReportStyle);
    std::int64_t hidden = 0;
    for (const RunColumn &column : record.columns) hidden += column.missing + column.bounded;
    html += paragraph(fmt::format("{} were imputed {} by ullage {}.", count_words(hidden, "cell"),
                                  record.imputations == 1 ? "once" : fmt::format("{} times", record.imputations),
                                  record.version));
    html += warnings.empty() ? "<p class=\"verdict\">No warnings.</p>\n"
                             : fmt::format("<p class=\"verdict bad\"><a href=\"#warnings\">{}</a></p>\n",
                                           count_of(warnings.size(), "warning"));
    html += "</header>\n<nav aria-label=\"Sections\">\n<ol>\n";
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
