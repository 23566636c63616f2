// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The names of the files of a run.

#ifndef ULLAGE_HOST_RUN_RESULT_NAMES_H
#define ULLAGE_HOST_RUN_RESULT_NAMES_H

#include <cstddef>
#include <string>
#include <string_view>

namespace ullage::host {

inline constexpr std::string_view kRecordName = "run.json";
inline constexpr std::string_view kParametersName = "parameters.csv";
inline constexpr std::string_view kBoundsName = "bounds.csv";
inline constexpr std::string_view kLongTableName = "imputations.csv";
inline constexpr std::string_view kOriginalName = "original.csv";
inline constexpr std::string_view kCellsName = "cells.csv";
inline constexpr std::string_view kPartName = "chain.part";
inline constexpr std::string_view kCheckpointName = "run.checkpoint";
inline constexpr std::string_view kReportName = "report.html";
inline constexpr std::string_view kOverimputationName = "overimputation.csv";

/** "imputation_07.csv" for the 7th of 20. */
[[nodiscard]] std::string imputation_name(std::size_t number, std::size_t imputations);

/** Whether a run gives a file this name; run.json, which lists them, is not among them. */
[[nodiscard]] bool is_result_name(std::string_view name);

}  // namespace ullage::host

#endif
