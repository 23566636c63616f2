// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Problems with their places.

#include "problems_json.h"

#include <utility>

namespace ullage::cli {

nlohmann::ordered_json problems_as_json(const host::DataError *error) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    if (error == nullptr) return {{"problems", list}, {"problem_count", 0}};
    for (const host::Problem &problem : error->problems()) {
        nlohmann::ordered_json entry;
        if (problem.line > 0) entry["line"] = problem.line;
        if (problem.row > 0) entry["row"] = problem.row;
        if (!problem.columns.empty()) entry["columns"] = problem.columns;
        if (!problem.text.empty()) entry["text"] = problem.text;
        entry["message"] = problem.message;
        list.push_back(std::move(entry));
    }
    return {{"problems", std::move(list)}, {"problem_count", error->problem_count()}};
}

}  // namespace ullage::cli
