// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// From the engine's case back to the line of the file.

#include "ullage/host/draw/chain_errors.h"

#include <fmt/format.h>

#include <optional>
#include <string>

namespace ullage::host {
namespace {

std::optional<std::size_t> row_of(std::span<const std::int32_t> rows, const EngineError &error) {
    const auto number = static_cast<std::size_t>(error.case_number());
    if (number < 1 || number > rows.size()) return std::nullopt;
    return static_cast<std::size_t>(rows[number - 1]);
}

}  // namespace

Error refused_row(const ModelTable &model, std::span<const std::int32_t> rows, const EngineError &error) {
    const auto row = row_of(rows, error);
    return {Fault::internal, fmt::format("{}: {}: {}", row ? model.table->describe_row(*row) : std::string(),
                                         error.what(), error.engine_text())};
}

Error no_draw(const ModelTable &model, std::span<const std::int32_t> rows, const Level &level, std::uint64_t iteration,
              std::uint64_t chain, const EngineError &error) {
    const auto row = row_of(rows, error);
    if (!row) return error;
    std::string cells = model.hidden->of_row(*row).empty() ? model.table->describe_row(*row) : "";
    for (const HiddenCell &cell : model.hidden->of_row(*row)) {
        cells += (cells.empty() ? "" : "; ") + model.table->describe_cell(*row, static_cast<std::size_t>(cell.column));
    }
    return {Fault::data,
            fmt::format("{}: no draw is possible at iteration {} of chain {}{} (the engine says: {}). Columns of "
                        "very different spread, or that almost follow from each other, can cause this; a prior "
                        "that is worth some cases helps (--prior ridge=1)",
                        cells, iteration, chain, in_level(level), error.engine_text())};
}

Error too_many_refused(const ModelTable &model, const Level &level, const Parameters &parameters,
                       std::uint64_t iteration, std::uint64_t chain) {
    return {Fault::data,
            fmt::format("more than 99% of the rows of the fitted normal distribution break the rules (iteration {} of "
                        "chain {}{}): the data have another shape. {}",
                        iteration, chain, in_level(level),
                        advise_region(model.region, *model.table, model.variables, parameters))};
}

}  // namespace ullage::host
