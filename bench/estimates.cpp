// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// What do the moments and the likelihoods of a large table cost?

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>
#include <vector>

#include "roads.h"

namespace {

void run_moments(benchmark::State &state, const std::string &road) {
    const LoadedTable &table = loaded_table("W5", road, [] { return missing_at_random(1'000'000, 20, 0.0); });
    std::vector<double> means(table.means().size());
    std::vector<double> covariance(table.covariance().size());
    for (auto _ : state) {
        table.engine()->DS_SampleMoments(1, means.data(), covariance.data(), 0);
        benchmark::DoNotOptimize(covariance.data());
    }
}

void run_likelihoods(benchmark::State &state, const std::string &road) {
    const LoadedTable &table = loaded_table("W6", road, [] { return missing_at_random(1'000'000, 10, 0.0); });
    std::vector<double> likelihoods(table.case_count());
    for (auto _ : state) {
        table.engine()->DS_GetLikelihoods(0, table.means().data(), table.covariance().data(), likelihoods.data());
        benchmark::DoNotOptimize(likelihoods.data());
    }
}

const bool added = [] {
    for (const std::string road : kRoads) {
        const auto add = [&](const std::string &workload, auto run) {
            return benchmark::RegisterBenchmark((workload + "/" + road).c_str(), run)->Unit(benchmark::kMillisecond);
        };
        add("W5", [=](benchmark::State &state) { run_moments(state, road); });
        add("W6", [=](benchmark::State &state) { run_likelihoods(state, road); });
    }
    return true;
}();

}  // namespace
