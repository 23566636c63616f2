// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// What does one pass of DS_Impute cost, and how does that grow with cases and variables?
//
// W1, W1pat, W1b, W1c and W8: only missing cells, which are drawn directly. W2, W3 and W9: bounded cells, so a chain,
// in a pass after the start. The numbers of the source are part of the time; draws_bench says what they cost.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "roads.h"

namespace {

constexpr double kMissingShare = 0.3;

using MakeText = std::function<std::u16string()>;

// The same share of missing cells in a few patterns.
std::u16string missing_by_pattern(std::size_t case_count, std::size_t variable_count, std::size_t pattern_count) {
    Xoshiro holes(3);
    std::vector<std::vector<bool>> patterns(pattern_count, std::vector<bool>(variable_count));
    for (auto &pattern : patterns) {
        for (std::size_t i = 0; i < variable_count; ++i) pattern[i] = holes.uniform() < kMissingShare;
    }
    return make_text(case_count, variable_count, 4, [&](std::u16string &text, std::size_t, const auto &values) {
        const std::vector<bool> &pattern = patterns[holes() % pattern_count];
        for (std::size_t i = 0; i < variable_count; ++i) {
            if (pattern[i]) {
                text += u'*';
            } else {
                append_number(text, values[i]);
            }
            text += u'\t';
        }
    });
}

// Six variables: two below a detection limit in a quarter of the cases, one known by an interval of width 0.5 in a
// quarter, and a tenth of the cells of all six missing.
std::u16string censored(std::size_t case_count) {
    constexpr double kLimit = -0.674;  // the lower quartile
    Xoshiro holes(5);
    return make_text(case_count, 6, 6, [&](std::u16string &text, std::size_t, const auto &values) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (holes.uniform() < 0.1) {
                text += u'*';
            } else if (i < 2 && values[i] < kLimit) {
                text += u'<';
                append_number(text, kLimit);
            } else if (i == 2 && holes.uniform() < 0.25) {
                const double lower = std::floor(2.0 * values[i]) / 2.0;
                append_number(text, lower);
                text += u"<<";
                append_number(text, lower + 0.5);
            } else {
                append_number(text, values[i]);
            }
            text += u'\t';
        }
    });
}

// Five variables, in every other case the first three known only by their order.
std::u16string ordered(std::size_t case_count) {
    return make_text(case_count, 5, 7, [](std::u16string &text, std::size_t row, std::vector<double> &values) {
        std::sort(values.begin(), values.begin() + 3);
        if (row % 2 == 0) text += u"<x2\tx1<<x3\tx2<\t";
        for (std::size_t i = row % 2 == 0 ? 3 : 0; i < values.size(); ++i) {
            append_number(text, values[i]);
            text += u'\t';
        }
    });
}

// Cases of one variable, all with the same bounds.
std::u16string one_cell(const char16_t *bounds) {
    return make_text(4096, 1, 8, [=](std::u16string &text, std::size_t, const auto &) {
        text += bounds;
        text += u'\t';
    });
}

enum class Work { pass, pass_and_moments };

void run_passes(benchmark::State &state, const std::string &workload, const std::string &road, const MakeText &make,
                Work work, benchmark::TimeUnit unit) {
    LoadedTable &table = loaded_table(workload, road, make);
    std::vector<double> means(table.means().size());
    std::vector<double> covariance(table.covariance().size());
    table.impute();  // the start of the chains, and the room that the passes need
    for (auto _ : state) {
        table.impute();
        if (work == Work::pass_and_moments) {
            table.engine()->DS_SampleMoments(1, means.data(), covariance.data(), 0);
            benchmark::DoNotOptimize(covariance.data());
        }
    }
    if (unit == benchmark::kNanosecond) {  // then the time is of one draw
        state.counters["draws"] = static_cast<double>(table.case_count());
    }
}

void add(const std::string &workload, const MakeText &make, Work work = Work::pass,
         benchmark::TimeUnit unit = benchmark::kMillisecond) {
    for (const std::string road : kRoads) {
        benchmark::RegisterBenchmark((workload + "/" + road).c_str(), [=](benchmark::State &state) {
            run_passes(state, workload, road, make, work, unit);
        })->Unit(unit);
    }
}

const bool added = [] {
    add("W1", [] { return missing_at_random(10'000, 20, kMissingShare); });
    add("W1pat", [] { return missing_by_pattern(10'000, 20, 20); });
    add("W1b", [] { return missing_at_random(100'000, 10, kMissingShare); });
    add("W1c", [] { return missing_at_random(2'000, 100, kMissingShare); });
    add("W2", [] { return censored(10'000); });
    add("W3", [] { return ordered(2'000); });
    add(
        "W8", [] { return missing_at_random(100'000, 10, kMissingShare); }, Work::pass_and_moments);
    const auto add_one_cell = [](const std::string &workload, const char16_t *bounds) {
        add(
            workload, [=] { return one_cell(bounds); }, Work::pass, benchmark::kNanosecond);
    };
    add_one_cell("W9limit", u"<-0.5");
    add_one_cell("W9central", u"-1<<1.5");
    add_one_cell("W9narrow", u"2<<2.1");
    add_one_cell("W9tail", u"4<");
    for (std::size_t patterns : {1, 10, 100, 1'000, 10'000}) {
        add("patterns_" + std::to_string(patterns), [=] { return missing_by_pattern(10'000, 20, patterns); });
    }
    for (std::size_t cases : {1'000, 10'000, 100'000, 1'000'000}) {
        add("cases_" + std::to_string(cases), [=] { return missing_at_random(cases, 10, kMissingShare); });
    }
    for (std::size_t variables : {2, 5, 10, 20, 50, 100, 200}) {
        add("variables_" + std::to_string(variables), [=] { return missing_at_random(200, variables, kMissingShare); });
    }
    return true;
}();

}  // namespace
