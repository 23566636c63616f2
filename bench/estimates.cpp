// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// What do the moments and the likelihoods of a large table cost, and what does it cost to load one?

#include <benchmark/benchmark.h>
#include <time.h>

#include <cstddef>
#include <string>
#include <vector>

#include "roads.h"

namespace {

std::u16string numbers(std::size_t case_count, std::size_t variable_count, int digits) {
    return make_text(case_count, variable_count, 11, [=](std::u16string &text, std::size_t, const auto &values) {
        for (double value : values) {
            append_number(text, value, digits);
            text += u'\t';
        }
    });
}

void run_moments(benchmark::State &state, const std::string &road) {
    const LoadedTable &table = loaded_table("W5", road, [] { return numbers(1'000'000, 20, 5); });
    std::vector<double> means(table.means().size());
    std::vector<double> covariance(table.covariance().size());
    for (auto _ : state) {
        table.engine()->DS_SampleMoments(1, means.data(), covariance.data(), 0);
        benchmark::DoNotOptimize(covariance.data());
    }
}

void run_likelihoods(benchmark::State &state, const std::string &road) {
    const LoadedTable &table = loaded_table("W6", road, [] { return numbers(1'000'000, 10, 5); });
    std::vector<double> likelihoods(table.case_count());
    for (auto _ : state) {
        table.engine()->DS_GetLikelihoods(0, table.means().data(), table.covariance().data(), likelihoods.data());
        benchmark::DoNotOptimize(likelihoods.data());
    }
}

double thread_seconds() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// Each load in a library that is loaded anew, as cases stay in memory until the unload.
void run_load(benchmark::State &state, const std::string &road, int digits) {
    static int made_digits = 0;
    static std::u16string text;
    if (made_digits != digits) text = numbers(100'000, 10, made_digits = digits);
    for (auto _ : state) {
        const EngineLibrary engine(library_of(road));
        std::int32_t group_count = 0;
        engine->DS_GibbsOpen(u"/dev/null", u"/dev/null");
        engine->DS_CreateGroup(0, &group_count, 1, 2, 0);
        const double start = thread_seconds();
        if (engine->DS_KeyGroupDef(u"bench", text.c_str()) != 0) state.SkipWithError("the table does not load");
        state.SetIterationTime(thread_seconds() - start);
    }
}

const bool added = [] {
    for (const std::string road : kRoads) {
        const auto add = [&](const std::string &workload, auto run) {
            return benchmark::RegisterBenchmark((workload + "/" + road).c_str(), run)->Unit(benchmark::kMillisecond);
        };
        add("W5", [=](benchmark::State &state) { run_moments(state, road); });
        add("W6", [=](benchmark::State &state) { run_likelihoods(state, road); });
        add("W7short", [=](benchmark::State &state) { run_load(state, road, 5); })->UseManualTime();
        add("W7long", [=](benchmark::State &state) { run_load(state, road, 17); })->UseManualTime();
    }
    return true;
}();

}  // namespace
