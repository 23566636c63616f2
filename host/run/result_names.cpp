// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The names of the files of a run.

#include "ullage/host/run/result_names.h"

#include <fmt/format.h>

namespace ullage::host {

std::string imputation_name(std::size_t number, std::size_t imputations) {
    return fmt::format("imputation_{:0{}}.csv", number, std::to_string(imputations).size());
}

bool is_result_name(std::string_view name) {
    constexpr std::string_view before = "imputation_";
    constexpr std::string_view behind = ".csv";
    if (name.starts_with(before) && name.ends_with(behind) && name.size() > before.size() + behind.size()) {
        name.remove_prefix(before.size());
        name.remove_suffix(behind.size());
        return name.find_first_not_of("0123456789") == std::string_view::npos;
    }
    return name == kLongTableName || name == "imputations.dta" || name == "imputations.sav" || name == kOriginalName ||
           name == kCellsName || name == kPartName || name == kParametersName || name == kBoundsName ||
           name == kOverimputationName || name == kReportName;
}

}  // namespace ullage::host
