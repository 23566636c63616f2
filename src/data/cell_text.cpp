// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The language of a cell.

#include "data/cell_text.h"

#include "data/case_record.h"
#include "data/number_text.h"
#include "frame/log.h"

namespace {

constexpr std::int32_t kNumberTerm = -1;

struct Term {
    std::int32_t index;  // of the variable, or kNumberTerm
    double number;
};

int resolve_term(const Group &group, std::u16string_view text, std::int32_t cell, Term &term) {
    term = {cell, 0.0};
    if (text.empty()) return 0;
    if (parse_strict_number(text, term.number)) {
        term.index = kNumberTerm;
        return 0;
    }
    term.index = variable_index(group, text);
    if (term.index >= 0) return 0;
    log_printf(state.ErrorLog, u"The string, %s, is not a variable name.\n", {text});
    return 1;
}

void add_bound(std::int32_t cell, bool is_upper, double constant, const double *operand) {
    auto *node = pool_array<BoundNode>(state.DataPool, 1);
    *node = {is_upper, constant, operand, state.current_states[cell]};
    state.current_states[cell] = node;
}

int add_inequality(const Group &group, std::u16string_view left_text, std::u16string_view right_text,
                   std::int32_t cell) {
    Term left;
    Term right;
    if (resolve_term(group, left_text, cell, left) != 0) return 1;
    if (resolve_term(group, right_text, cell, right) != 0) return 1;

    if (left.index == kNumberTerm && right.index == kNumberTerm) {
        log_printf(state.ErrorLog, u"You are not allowed to specify an inequality between the strings, %s and %s.\n",
                   {left_text, right_text});
        return 1;
    }
    if (left.index == kNumberTerm) {
        add_bound(right.index, false, left.number, &UnitValue);
        return 0;
    }
    if (right.index == kNumberTerm) {
        add_bound(left.index, true, right.number, &UnitValue);
        return 0;
    }
    if (state.allow_rank_order == 0) {
        const VariableEntry *variables = group.variables.get();
        record_last_error(
            u"The data file may not specify that the value of one variable (%s) is less than the value of another "
            u"variable (%s).\n",
            {variables[left.index].name, variables[right.index].name});
        return 1;
    }
    // The bound lands on the cell at hand if that is one of the two, and on the right one otherwise.
    if (left.index == cell) {
        add_bound(cell, true, 1.0, &state.current_values[right.index]);
    } else {
        add_bound(right.index, false, 1.0, &state.current_values[left.index]);
    }
    return 0;
}

// Remove the last part behind a separator from a list and give it; all that is left if there is no separator any more.
std::u16string_view take_last(std::u16string_view &list, char16_t separator, bool &is_first) {
    const std::size_t position = list.rfind(separator);
    is_first = position == std::u16string_view::npos;
    const std::u16string_view last = is_first ? list : list.substr(position + 1);
    list = is_first ? std::u16string_view() : list.substr(0, position);
    return last;
}

// Every term on the left against every term on the right, each list from its tail, so that on the cell's list, where
// the newest bound stands in front, they come out in the order in which they are written.
int parse_alternatives(const Group &group, std::u16string_view left, std::u16string_view right, std::int32_t cell) {
    for (bool left_done = false; !left_done;) {
        const std::u16string_view left_term = take_last(left, u'|', left_done);
        std::u16string_view right_rest = right;
        for (bool right_done = false; !right_done;) {
            const std::u16string_view right_term = take_last(right_rest, u'|', right_done);
            if (add_inequality(group, left_term, right_term, cell) != 0) return 1;
        }
    }
    return 0;
}

int parse_chain(const Group &group, std::u16string_view piece, std::int32_t cell) {
    std::size_t position = piece.find(u'<');
    std::u16string_view left = piece.substr(0, position);
    while (position != std::u16string_view::npos) {
        const std::size_t next = piece.find(u'<', position + 1);
        const std::u16string_view right = piece.substr(position + 1, next - position - 1);
        if (parse_alternatives(group, left, right, cell) != 0) return 1;
        left = right;
        position = next;
    }
    return 0;
}

int parse_piece(const Group &group, std::u16string_view piece, std::int32_t cell) {
    if (piece.find(u'<') != std::u16string_view::npos) return parse_chain(group, piece, cell);
    if (piece.empty()) {
        state.current_states[cell] = &MissingMarker;
        return 0;
    }
    if (parse_strict_number(piece, state.current_values[cell])) {
        state.current_states[cell] = nullptr;
        return 0;
    }
    record_last_error(u"The value, %s, of the variable, %s, can't be interpreted.\n",
                      {piece, group.variables[static_cast<std::size_t>(cell)].name});
    return 1;
}

}  // namespace

int parse_cell(const Group &group, std::u16string_view text, std::int32_t cell) {
    // Once for the text: a piece acts on what the pieces behind it have left.
    state.current_states[cell] = &MissingMarker;
    for (bool done = false; !done;) {
        const std::u16string_view piece = take_last(text, u';', done);
        if (parse_piece(group, piece, cell) != 0) return 1;
    }
    return 0;
}
