// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading a table of estimates, and pooling it.

#include "ullage/host/answer/pool_estimates.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"
#include "ullage/host/table/csv_text.h"

namespace ullage::host {

std::vector<PooledRow> pool_estimates(const std::string &source, std::string bytes, double complete_df,
                                      double confidence) {
    const FileText file = find_cells({source, std::move(bytes)});
    const auto place_of = [&](std::initializer_list<std::string_view> names) -> std::optional<std::size_t> {
        for (const std::string_view name : names) {
            const auto found = std::find(file.names.begin(), file.names.end(), name);
            if (found != file.names.end()) return static_cast<std::size_t>(found - file.names.begin());
        }
        return std::nullopt;
    };
    const auto term = place_of({"term", "name"});
    const auto estimate = place_of({"estimate"});
    const auto error = place_of({"std.error", "standard_error", "se"});
    const auto df = place_of({"df"});
    if (!estimate || !error) {
        throw Error(Fault::data,
                    fmt::format("{}: there is no column {}; needed are estimate and std.error (or se), and "
                                "useful term and df",
                                source, estimate ? "std.error" : "estimate"));
    }
    const auto number_at = [&](std::size_t row, std::size_t column, double least) {
        const std::string text = file.text(row, column);
        const auto number = parse_number(text);
        const bool open = least > 0.0 && parse_infinity(trim(text)) == kInfiniteDf;
        if (!open && (!number || *number < least)) {
            throw Error(Fault::data, fmt::format("{}: line {}: column {}: {} is no number{}", source, file.line[row],
                                                 quote(file.names[column]), quote(text),
                                                 least == -kOpen ? ""
                                                 : least > 0.0   ? " of at least 1"
                                                                 : " of 0 or above"));
        }
        return open ? kInfiniteDf : *number;
    };
    struct Quantity {
        Pieces pieces;
        double df;
    };
    std::vector<std::string> order;
    std::map<std::string, Quantity> quantities;
    for (std::size_t row = 0; row < file.row_count(); ++row) {
        const std::string name = term ? std::string(trim(file.text(row, *term))) : "estimate";
        const double row_df = df ? number_at(row, *df, 1.0) : complete_df;
        const auto [entry, is_new] = quantities.try_emplace(name, Quantity{{}, row_df});
        if (is_new) order.push_back(name);
        if (entry->second.df != row_df) {
            throw Error(Fault::data, fmt::format("{}: line {}: {} has other degrees of freedom before", source,
                                                 file.line[row], quote(name)));
        }
        const double standard_error = number_at(row, *error, 0.0);
        entry->second.pieces.estimates.push_back(number_at(row, *estimate, -kOpen));
        entry->second.pieces.variances.push_back(standard_error * standard_error);
        if (entry->second.pieces.variances.back() == 0.0 && standard_error > 0.0) {
            throw Error(Fault::data, fmt::format("{}: line {}: the square of the standard error {} is beyond the range "
                                                 "of double precision; give the estimates in other units",
                                                 source, file.line[row], standard_error));
        }
    }
    const std::size_t imputations = quantities.at(order[0]).pieces.estimates.size();
    std::vector<PooledRow> rows;
    for (const std::string &name : order) {
        const Quantity &quantity = quantities.at(name);
        const std::size_t count = quantity.pieces.estimates.size();
        if (count != imputations || count < 2) {
            throw Error(Fault::data,
                        fmt::format("{}: {} for {}{}; every term needs one row per imputation, and at least 2", source,
                                    count_of(count, "row"), quote(name),
                                    count != imputations ? fmt::format(", and {} for {}", imputations, quote(order[0]))
                                                         : std::string()));
        }
        try {
            rows.push_back(pool_pieces("", name, quantity.pieces, quantity.df, confidence));
        } catch (const Error &failure) {
            throw Error(failure.fault(), fmt::format("{}: {}", source, failure.what()));
        }
    }
    return rows;
}

}  // namespace ullage::host
