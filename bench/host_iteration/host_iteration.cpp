// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What does an iteration of data augmentation cost, against the engine's pass and moments that it cannot do without?
//
// Both run in turn, over the same table in the same process: the engine with all rows in one group, fixed parameters
// and a light source; the chain with its streams, blocks and draws of the parameters. The counters are medians and
// their ratio, with the quartiles of the ratios of neighbouring runs.

#include <benchmark/benchmark.h>
#include <ullage/engine.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/draw/table_of.h"
#include "light_source.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/draw/chain.h"
#include "ullage/host/draw/engine_text.h"
#include "ullage/host/draw/local_team.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/numbers/moments.h"
#include "ullage/host/run/write_table.h"

namespace {

using namespace ullage::host;

enum class Kind { missing, censored };

// Correlated normal columns as CSV. missing: 30% of the cells. censored: two columns below their lower quartiles, a
// quarter of a third known by an interval, a tenth of all cells missing.
std::string make_csv(std::size_t rows, std::size_t columns, Kind kind) {
    constexpr double kCorrelation = 0.6;
    constexpr double kLimit = -0.674;
    LightSource source(7);
    std::string csv;
    for (std::size_t j = 0; j < columns; ++j) {
        csv += 'x';
        csv += std::to_string(j);
        csv += j + 1 < columns ? ',' : '\n';
    }
    for (std::size_t row = 0; row < rows; ++row) {
        double value = 0.0;
        for (std::size_t j = 0; j < columns; ++j) {
            const double z = source.normal(source.generator);
            value = j == 0 ? z : kCorrelation * value + std::sqrt(1.0 - kCorrelation * kCorrelation) * z;
            const double written = std::nearbyint(value * 1e4) / 1e4;
            if (source.generator.uniform() < (kind == Kind::missing ? 0.3 : 0.1)) {
                csv += "NA";
            } else if (kind == Kind::censored && j < 2 && value < kLimit) {
                csv += '<';
                csv += format_number(kLimit);
            } else if (kind == Kind::censored && j == 2 && source.generator.uniform() < 0.25) {
                const double lower = std::floor(2.0 * value) / 2.0;
                csv += format_number(lower) + ".." + format_number(lower + 0.5);
            } else {
                csv += format_number(written);
            }
            csv += j + 1 < columns ? ',' : '\n';
        }
    }
    return csv;
}

// The whole table as one more group of the chain's session.
std::int32_t load_whole(const ReadyTable &ready) {
    std::vector<std::int32_t> all(ready.table.row_count());
    std::iota(all.begin(), all.end(), 0);
    std::int32_t group = 0;
    if (DS_CreateGroup(0, &group, 1, 1, 0) != 0 || DS_KeyGroupDef(u"all", engine_text(ready.model, all).c_str()) != 0) {
        throw std::runtime_error("the table does not load");
    }
    return group;
}

double quantile(std::vector<double> values, double probability) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(probability * static_cast<double>(values.size() - 1))];
}

void iteration(benchmark::State &state, Kind kind) {
    const auto rows = static_cast<std::size_t>(state.range(0));
    const auto columns = static_cast<std::size_t>(state.range(1));
    const auto ready = table_of(make_csv(rows, columns, kind));
    Chain chain(ready->model, 1, 1);
    const std::int32_t group = load_whole(*ready);
    chain.iterate();
    const Parameters parameters = chain.parameters()[0];
    LightSource source(3);
    std::vector<double> mean(columns);
    std::vector<double> covariance(packed_size(columns));
    const auto pass = [&] {
        if (DS_Impute(group, parameters.mean.data(), parameters.covariance.data(), 0, 0, &source) != 0 ||
            DS_SampleMoments(group, mean.data(), covariance.data(), 0) != 0) {
            throw std::runtime_error("a pass failed");
        }
    };
    pass();  // the start of the chains of cases
    std::vector<double> engine_times;
    std::vector<double> chain_times;
    std::vector<double> ratios;
    // Time of the processor, as the machine may be shared; the engine and the chain have one thread.
    const auto milliseconds = [] { return static_cast<double>(std::clock()) * 1e3 / CLOCKS_PER_SEC; };
    for (auto _ : state) {
        const auto start = milliseconds();
        pass();
        const auto between = milliseconds();
        chain.iterate();
        const auto end = milliseconds();
        engine_times.push_back(between - start);
        chain_times.push_back(end - between);
        ratios.push_back(chain_times.back() / engine_times.back());
    }
    state.counters["engine_ms"] = quantile(engine_times, 0.5);
    state.counters["iteration_ms"] = quantile(chain_times, 0.5);
    state.counters["ratio"] = quantile(chain_times, 0.5) / quantile(engine_times, 0.5);
    state.counters["ratio_q1"] = quantile(ratios, 0.25);
    state.counters["ratio_q3"] = quantile(ratios, 0.75);
}

BENCHMARK_CAPTURE(iteration, W1, Kind::missing)->Args({10000, 20})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(iteration, W1b, Kind::missing)->Args({100000, 10})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(iteration, W2, Kind::censored)->Args({10000, 6})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(iteration, small, Kind::censored)->Args({150, 4})->Unit(benchmark::kMillisecond);

// The wall time of an iteration of a chain that a team draws, on as many idle processors.
void team_iteration(benchmark::State &state) {
    constexpr int kIterations = 10;
    const auto members = static_cast<std::size_t>(state.range(0));
    const auto ready = table_of(make_csv(1'000'000, 20, Kind::missing));
    double seconds = 0.0;
    for (auto _ : state) {
        run_team(members, exchange_capacity(ready->model), 0, [&](Team &team) {
            Chain chain(ready->model, 1, 1, team);
            chain.iterate();  // the start of the chains of cases
            const auto begin = std::chrono::steady_clock::now();
            for (int i = 0; i < kIterations; ++i) chain.iterate();
            seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        });
        state.SetIterationTime(seconds / kIterations);
    }
}
BENCHMARK(team_iteration)->Arg(1)->Arg(2)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// The time that the members of a team need to tell each other the moments of 20 columns, of ten nodes of the tree each.
void team_exchange(benchmark::State &state) {
    constexpr int kExchanges = 10000;
    const auto members = static_cast<std::size_t>(state.range(0));
    double seconds = 0.0;
    for (auto _ : state) {
        const std::vector<double> numbers(10 * (3 + 20 + packed_size(20)));
        run_team(members, numbers.size(), 0, [&](Team &team) {
            (void)team.exchange(numbers);
            const auto begin = std::chrono::steady_clock::now();
            for (int i = 0; i < kExchanges; ++i) benchmark::DoNotOptimize(team.exchange(numbers));
            seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        });
        state.SetIterationTime(seconds / kExchanges);
    }
}
BENCHMARK(team_exchange)->Arg(2)->UseManualTime()->Iterations(5)->Unit(benchmark::kMicrosecond);

}  // namespace
