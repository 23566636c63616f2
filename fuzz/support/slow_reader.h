// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A second reader of the data text, slow and plain, as the oracle of the engine's.

#ifndef ULLAGE_FUZZ_SUPPORT_SLOW_READER_H
#define ULLAGE_FUZZ_SUPPORT_SLOW_READER_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace slow {

constexpr double kUndefined = 1e300;
constexpr double kOpenEnd = std::numeric_limits<double>::max();

// Numbers of DS_ConstraintTypeScalar.
enum class State { observed = 0, missing = 1, bounded = 3 };

struct Bound {
    bool is_upper;
    double number;
    std::optional<std::size_t> variable;  // the bound is its value in the first copy of the case; else the number
};

struct Cell {
    double value = kUndefined;
    State state = State::missing;
    std::vector<Bound> bounds;
};

struct Case {
    std::int32_t group_id = 0;
    std::size_t first_copy = 0;  // index of the case that bounds of this one refer to
    std::vector<Cell> cells;
};

struct Variable {
    std::u16string name;
    int key_slot;
};

struct Options {
    bool mixture = false;
    bool rank_order = false;
    std::optional<std::u16string> weight_name;
    std::u16string group_name;
    std::vector<std::pair<std::u16string, int>> key_names;  // name and slot, in the order of their definition
};

enum class Outcome {
    accepted,
    bad_header,  // nothing is known of the table
    no_weight,   // the weight variable is not among the names
    bad_record,  // the cases before it stay
    too_many,    // more cells than this reader takes on; nothing else is known
};

struct Table {
    Outcome outcome = Outcome::bad_header;
    std::vector<Variable> variables;  // without the weight variable
    std::vector<int> used_slots;      // key slots that some variable was matched to
    std::vector<Case> cases;
    std::size_t case_count = 0;
    std::vector<std::u16string> error_log;  // message by message
    std::vector<std::u16string> trace_log;
    std::optional<std::u16string> last_error;
};

// A number as a whole text, or nothing.
std::optional<double> read_number(std::u16string_view text);

// Whether two names are the same but for A to Z and a to z.
bool same_name(std::u16string_view left, std::u16string_view right);

Table read(std::u16string_view text, const Options &options);

struct Interval {
    double lower;
    double upper;
};

// The interval of a cell where the first copy of its case holds these values.
Interval interval(const Cell &cell, double own_value, const std::vector<double> &first_copy_values);

}  // namespace slow

#endif
