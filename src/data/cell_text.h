// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The language of a cell: a number, nothing, or inequalities with numbers and other variables of the case.
//
//   cell  = piece { ";" piece }          worked through from the last piece to the first
//   piece = "" | number | chain
//   chain = list "<" list { "<" list }   each pair of neighbours is one link
//   list  = term { "|" term }            a link holds for every pair of its terms
//   term  = "" | number | name           empty: the variable of the cell itself

#ifndef ULLAGE_DATA_CELL_TEXT_H
#define ULLAGE_DATA_CELL_TEXT_H

#include <cstdint>
#include <string_view>

#include "frame/group.h"

// Set value, state and bounds of a cell of the current case from its text, which holds no blanks. A text can also bound
// other cells of the case. 1 after a message to the error log.
[[nodiscard]] int parse_cell(const Group &group, std::u16string_view text, std::int32_t cell);

#endif
