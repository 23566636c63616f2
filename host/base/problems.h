// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A list of problems that grows up to its limit and counts on.

#ifndef ULLAGE_HOST_BASE_PROBLEMS_H
#define ULLAGE_HOST_BASE_PROBLEMS_H

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "ullage/host/base/error.h"

namespace ullage::host {

struct Problems {
    std::vector<Problem> list;  ///< the first DataError::kMostProblems
    std::size_t count = 0;      ///< of all

    void add(Problem problem) {
        if (list.size() < DataError::kMostProblems) list.push_back(std::move(problem));
        ++count;
    }
    void throw_if_any(const std::string &source) const {
        if (count > 0) throw DataError(source, list, count);
    }
};

[[noreturn]] inline void throw_problem(const std::string &source, Problem problem) {
    throw DataError(source, {std::move(problem)}, 1);
}

}  // namespace ullage::host

#endif
