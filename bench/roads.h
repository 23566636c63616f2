// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Both roads with the table of the workload at hand.

#ifndef ULLAGE_BENCH_ROADS_H
#define ULLAGE_BENCH_ROADS_H

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "tables.h"

inline constexpr const char *kRoads[] = {"fast", "plain"};

// Another library can take the place of the plain road, such as that of an earlier state.
inline const char *library_of(const std::string &road) {
    if (road == "fast") return ULLAGE_FAST_LIBRARY;
    const char *other = std::getenv("ULLAGE_BENCH_AGAINST");
    return other != nullptr ? other : ULLAGE_PLAIN_LIBRARY;
}

// The table of a workload in one road's library. The tables of the last workload are kept, so that repetitions of both
// roads can alternate without loading again.
inline LoadedTable &loaded_table(const std::string &workload, const std::string &road,
                                 const std::function<std::u16string()> &make) {
    static std::string kept_workload;
    static std::u16string text;
    static std::unique_ptr<LoadedTable> fast;
    static std::unique_ptr<LoadedTable> plain;
    if (workload != kept_workload) {
        fast.reset();
        plain.reset();
        text = make();
        kept_workload = workload;
    }
    std::unique_ptr<LoadedTable> &table = road == "fast" ? fast : plain;
    if (table == nullptr) table = std::make_unique<LoadedTable>(library_of(road), text);
    return *table;
}

#endif
