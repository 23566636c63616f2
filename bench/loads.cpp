// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// What does it cost to load a table, and how does that grow with cases, variables and patterns?

#include <benchmark/benchmark.h>
#include <time.h>

#include <cstddef>
#include <string>

#include "roads.h"

namespace {

double thread_seconds() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

struct Workload {
    std::size_t case_count;
    std::size_t variable_count;
    int digits;
    double missing_share;
};

// Each load in a library that is loaded anew, as cases stay in memory until the unload. The reader is the same on both
// roads, so one of them is enough.
void run_load(benchmark::State &state, const std::string &name, const Workload &workload, benchmark::TimeUnit unit) {
    static std::string kept_name;
    static std::u16string text;
    if (name != kept_name) {
        text = missing_at_random(workload.case_count, workload.variable_count, workload.missing_share, workload.digits);
        kept_name = name;
    }
    for (auto _ : state) {
        const EngineLibrary engine(library_of("fast"));
        std::int32_t group_count = 0;
        engine->DS_GibbsOpen(u"/dev/null", u"/dev/null");
        engine->DS_CreateGroup(0, &group_count, 1, 2, 0);
        const double start = thread_seconds();
        if (engine->DS_KeyGroupDef(u"bench", text.c_str()) != 0) state.SkipWithError("the table does not load");
        state.SetIterationTime(thread_seconds() - start);
    }
    if (unit == benchmark::kNanosecond) {  // then the time is of one cell
        state.counters["cells"] = static_cast<double>(workload.case_count * workload.variable_count);
    }
}

void add(const std::string &name, const Workload &workload, benchmark::TimeUnit unit) {
    benchmark::RegisterBenchmark((name + "/fast").c_str(),
                                 [=](benchmark::State &state) { run_load(state, name, workload, unit); })
        ->Unit(unit)
        ->UseManualTime();
}

const bool added = [] {
    add("W7short", {100'000, 10, 5, 0.0}, benchmark::kMillisecond);
    add("W7long", {100'000, 10, 17, 0.0}, benchmark::kMillisecond);
    add("W7missing", {100'000, 10, 5, 0.3}, benchmark::kMillisecond);
    add("W7missinglong", {100'000, 10, 17, 0.3}, benchmark::kMillisecond);
    for (std::size_t cases : {20'000, 100'000, 1'000'000}) {
        for (std::size_t variables : {10, 15, 20, 30, 64}) {
            if (cases * variables > 20'000'000) continue;  // a gigabyte of text and table
            add("load_" + std::to_string(cases) + "_" + std::to_string(variables), {cases, variables, 5, 0.3},
                benchmark::kNanosecond);
        }
    }
    return true;
}();

}  // namespace
