// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What a table says of each cell, and the patterns that this makes of its rows.

#ifndef ULLAGE_HOST_TABLE_KNOWLEDGE_H
#define ULLAGE_HOST_TABLE_KNOWLEDGE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/table/table.h"

namespace ullage::host {

/** What a table says of a cell; rules of columns do not count. */
enum class Knowledge : std::uint8_t {
    observed,
    missing,
    below,     ///< a number
    above,     ///< a number
    interval,  ///< between two numbers
    ordered,   ///< refers to another cell, or says nothing and its column is in an order rule
};
inline constexpr std::size_t kKnowledgeCount = 6;
inline constexpr std::array<const char *, kKnowledgeCount> kKnowledgeNames = {"observed", "missing",  "below",
                                                                              "above",    "interval", "ordered"};
/** One character for each, in pictures of patterns. */
inline constexpr std::string_view kKnowledgeSigns = "#.<>=~";

/** What the table says of every cell: one vector per column of the model, with one element per row. */
using KnownCells = std::vector<std::vector<Knowledge>>;

[[nodiscard]] KnownCells find_knowledge(const Table &table);

/** Rows of which the table says the same. */
struct Pattern {
    std::string signs;  ///< one per column
    std::size_t rows;
};

/** The patterns of the rows, the most frequent first; among equals by their signs. */
[[nodiscard]] std::vector<Pattern> count_patterns(const KnownCells &knowledge);

}  // namespace ullage::host

#endif
