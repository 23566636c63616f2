// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A table ready for the model, from CSV text, for tests.

#ifndef ULLAGE_TESTS_CHAINS_TABLE_OF_H
#define ULLAGE_TESTS_CHAINS_TABLE_OF_H

#include <memory>
#include <string>

#include "ullage/host/draw/chain.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/table/closure.h"
#include "ullage/host/table/read_table.h"
#include "ullage/host/table/rules.h"

struct ReadyTable {
    ullage::host::Table table;
    ullage::host::HiddenCells hidden;
    ullage::host::ModelTable model;
};

inline std::unique_ptr<ReadyTable> table_of(std::string csv, const std::string &prior = "jeffreys",
                                            const ullage::host::ReadOptions &options = {},
                                            const ullage::host::Rules &rules = {}) {
    using namespace ullage::host;
    auto ready = std::make_unique<ReadyTable>();  // the model refers to the table: neither moves
    Notices notices;
    ready->table = read_table({"test.csv", std::move(csv)}, options, notices);
    apply_rules(ready->table, rules, notices);
    ready->hidden = close_bounds(ready->table);
    ready->model = prepare_model(ready->table, ready->hidden, parse_prior(prior));
    return ready;
}

#endif
