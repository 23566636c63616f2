// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// What does one truncated draw cost, its random numbers included, region by region? And what do those numbers cost?

#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "draw_loop.h"
#include "light_source.h"

namespace {

constexpr std::size_t kTaskCount = 4096;
constexpr double kOpen = std::numeric_limits<double>::infinity();

using Tasks = std::vector<DrawTask>;

Tasks below_detection_limit() {
    return Tasks(kTaskCount, {-kOpen, -0.5, 0.0, 1.0});
}

Tasks central() {
    return Tasks(kTaskCount, {-1.0, 1.5, 0.0, 1.0});
}

Tasks narrow() {
    return Tasks(kTaskCount, {2.0, 2.1, 0.0, 1.0});
}

Tasks tail() {
    return Tasks(kTaskCount, {4.0, kOpen, 0.0, 1.0});
}

// All of these with other ends, means and standard deviations, in an order that no branch predictor learns.
Tasks mixed() {
    Xoshiro numbers(21);
    const auto between = [&](double low, double high) { return low + (high - low) * numbers.uniform(); };
    Tasks tasks;
    while (tasks.size() < kTaskCount) {
        const double mean = between(-1.0, 1.0);
        const double sd = between(0.5, 2.0);
        double low = -kOpen;
        double high = kOpen;
        switch (numbers() % 4) {
            case 0:
                high = between(-2.0, 0.5);
                break;
            case 1:
                low = between(-2.0, 0.0);
                high = between(0.2, 2.0);
                break;
            case 2:
                low = between(-3.0, 3.0);
                high = low + between(0.02, 0.2);
                break;
            default:
                low = between(1.0, 6.0);
        }
        tasks.push_back({low * sd + mean, high * sd + mean, mean, sd});
    }
    return tasks;
}

using DrawLoop = decltype(&ullage_draw_loop);

DrawLoop draw_loop_of(const char *path) {
    void *library = dlopen(path, RTLD_NOW | RTLD_LOCAL);  // for the rest of the process
    if (library == nullptr) throw std::runtime_error(dlerror());
    return reinterpret_cast<DrawLoop>(dlsym(library, "ullage_draw_loop"));
}

// The table divides the time by this.
void count_draws(benchmark::State &state) {
    state.counters["draws"] = kTaskCount;
}

void run_draws(benchmark::State &state, DrawLoop draw_loop, const Tasks &tasks) {
    LightSource source(22);
    std::vector<double> out(tasks.size());
    for (auto _ : state) {
        draw_loop(tasks.data(), tasks.size(), out.data(), &source);
        benchmark::DoNotOptimize(out.data());
    }
    count_draws(state);
}

// Through the method table, as the engine calls it.
using NextNumber = std::int32_t (RandomSource::*)(double *);

void run_source(benchmark::State &state, NextNumber next) {
    LightSource light(23);
    RandomSource *source = &light;
    benchmark::DoNotOptimize(source);
    double number;
    for (auto _ : state) {
        for (std::size_t i = 0; i < kTaskCount; ++i) {
            (source->*next)(&number);
            benchmark::DoNotOptimize(number);
        }
    }
    count_draws(state);
}

const bool added = [] {
    const std::pair<const char *, DrawLoop> roads[] = {{"fast", draw_loop_of(ULLAGE_FAST_DRAWS)},
                                                       {"plain", draw_loop_of(ULLAGE_PLAIN_DRAWS)}};
    const std::pair<const char *, Tasks> regions[] = {{"limit", below_detection_limit()},
                                                      {"central", central()},
                                                      {"narrow", narrow()},
                                                      {"tail", tail()},
                                                      {"mixed", mixed()}};
    for (const auto &[region, tasks] : regions) {
        for (const auto &[road, draw_loop] : roads) {
            benchmark::RegisterBenchmark((std::string("W4") + region + "/" + road).c_str(),
                                         [=, tasks = tasks, draw_loop = draw_loop](benchmark::State &state) {
                                             run_draws(state, draw_loop, tasks);
                                         });
        }
    }
    benchmark::RegisterBenchmark("source_uniform/light",
                                 [](benchmark::State &state) { run_source(state, &RandomSource::NextUniform); });
    benchmark::RegisterBenchmark("source_normal/light",
                                 [](benchmark::State &state) { run_source(state, &RandomSource::NextStandardNormal); });
    return true;
}();

}  // namespace
