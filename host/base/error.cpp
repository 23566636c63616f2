// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The list of problems as one text.

#include "ullage/host/base/error.h"

#include <fmt/format.h>

#include "ullage/host/base/words.h"

namespace ullage::host {
namespace {

std::string in_words(const Problem &problem) {
    std::string place;
    const auto add = [&](const std::string &text) { place += (place.empty() ? "" : ", ") + text; };
    if (problem.line > 0 || problem.row > 0) add(place_in_words(problem.line, problem.row));
    for (std::size_t i = 0; i < problem.columns.size(); ++i) {
        const std::string_view word = i > 0 ? "" : problem.columns.size() > 1 ? "columns " : "column ";
        add(fmt::format("{}{}", word, quote(problem.columns[i])));
    }
    if (!problem.text.empty()) add(quote(problem.text));
    return place.empty() ? problem.message : place + ": " + problem.message;
}

std::string list(std::string_view source, const std::vector<Problem> &problems, std::size_t problem_count) {
    if (problem_count == 1) return fmt::format("{}: {}", source, in_words(problems.front()));
    std::string text = fmt::format("{}: {} problems", source, problem_count);
    if (problem_count > problems.size()) text += fmt::format(", of which these are the first {}", problems.size());
    text += ':';
    for (const Problem &problem : problems) text += "\n  " + in_words(problem);
    return text;
}

}  // namespace

std::string place_in_words(std::int64_t line, std::int64_t row) {
    if (line == 0) return fmt::format("row {}", row);
    return row > 0 ? fmt::format("line {} (row {})", line, row) : fmt::format("line {}", line);
}

DataError::DataError(std::string_view source, std::vector<Problem> problems, std::size_t problem_count)
    : Error(Fault::data, list(source, problems, problem_count)),
      problems_(std::move(problems)),
      problem_count_(problem_count) {}

}  // namespace ullage::host
