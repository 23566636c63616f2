// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Writing parameters and the run record.

#include "ullage/host/run/run_record.h"

#include <csv.h>
#include <fmt/format.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <nlohmann/json.hpp>

#include "ullage/host/base/error.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/output_file.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/model/parameter_names.h"

namespace ullage::host {
namespace {

using Json = nlohmann::ordered_json;

// JSON has no infinities and no NaN.
Json number_or_null(double number) {
    return std::isfinite(number) ? Json(number) : Json(nullptr);
}

// A cell of a CSV file, in quotes if it needs them.
std::string quoted(const std::string &text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string cell(2 * text.size() + 2, '\0');
    cell.resize(csv_write(cell.data(), cell.size(), text.data(), text.size()));
    return cell;
}

Json describe_column(const ModelTable &model, std::size_t index) {
    constexpr std::array<const char *, 4> kTransformations = {"none", "log", "sqrt", "logit"};
    const Column &column = model.table->columns[index];
    std::array<std::int64_t, 3> counts{};
    for (const CellState state : column.states) ++counts[static_cast<std::size_t>(state)];
    return {{"name", column.name},
            {"observed", counts[static_cast<std::size_t>(CellState::observed)]},
            {"missing", counts[static_cast<std::size_t>(CellState::missing)]},
            {"bounded", counts[static_cast<std::size_t>(CellState::bounded)]},
            {"lower", number_or_null(column.lower)},
            {"upper", number_or_null(column.upper)},
            {"transformation", kTransformations[static_cast<std::size_t>(column.transformation)]},
            {"centre", model.scales[index].centre},
            {"scale", model.scales[index].scale}};
}

}  // namespace

std::string_view library_version() {
    return ULLAGE_VERSION;
}

std::string sha256(std::string_view bytes) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
        throw Error(Fault::internal, "the checksum of the input could not be computed");
    }
    std::string text;
    for (unsigned int i = 0; i < size; ++i) text += fmt::format("{:02x}", digest[i]);
    return text;
}

void write_parameters(OutputFile &file, const ModelTable &model, const Imputations &result) {
    const bool by = !(model.levels.size() == 1 && model.levels[0].name.empty());
    const std::vector<std::string> names = parameter_names(model);
    std::string line = by ? ".chain,.iteration,.level" : ".chain,.iteration";
    for (const std::string &name : names) line += ',' + quoted(name);
    file.write(line + '\n');
    const std::size_t iterations = result.draws[0].size() / (names.size() * model.levels.size());
    for (std::size_t chain = 0; chain < result.draws.size(); ++chain) {
        for (std::size_t iteration = 0; iteration < iterations; ++iteration) {
            for (std::size_t level = 0; level < model.levels.size(); ++level) {
                line = fmt::format("{},{}", chain + 1, iteration + 1);
                if (by) line += ',' + quoted(model.levels[level].name);
                for (const double number : result.draw(model, chain, iteration, level)) {
                    line += ',' + format_number(number);
                }
                file.write(line + '\n');
            }
        }
    }
}

std::string run_record(const ModelTable &model, const RunFacts &facts,
                       std::span<const ParameterConvergence> convergence, std::span<const std::string> warnings) {
    const Table &table = *model.table;
    const ImputeSettings &settings = facts.settings;
    Json record;
    record["program"] = "ullage";
    record["version"] = library_version();
    record["stream_version"] = kStreamVersion;
    record["command"] = facts.command;
    record["seed"] = settings.seed;
    record["input"] = {{"name", table.file.source},
                       {"bytes", table.file.bytes.size()},
                       {"sha256", sha256(table.file.bytes)},
                       {"rows", table.row_count()},
                       {"separator", std::string(1, table.file.separator)},
                       {"warnings", facts.input_warnings}};
    record["settings"] = {{"imputations", settings.imputations},
                          {"chains", settings.chains},
                          {"burn_in", settings.burn_in},
                          {"thin", settings.thin},
                          {"iterations", settings.total()},
                          {"block_rows", kBlockRows},
                          {"prior", facts.prior}};
    for (std::size_t i = 0; i < table.columns.size(); ++i) record["columns"].push_back(describe_column(model, i));
    record["order"] = Json::array();
    for (const OrderRule &rule : table.order) {
        record["order"].push_back(table.columns[static_cast<std::size_t>(rule.first)].name +
                                  (rule.or_equal ? "<=" : "<") +
                                  table.columns[static_cast<std::size_t>(rule.second)].name);
    }
    record["by"] = facts.by ? Json(*facts.by) : Json(nullptr);
    record["levels"] = Json::array();
    for (const Level &level : model.levels) {
        record["levels"].push_back({{"name", level.name},
                                    {"rows", level.row_count},
                                    {"complete_rows", static_cast<std::int64_t>(level.complete.count)}});
    }
    record["convergence"] = Json::array();
    for (const ParameterConvergence &parameter : convergence) {
        record["convergence"].push_back({{"level", parameter.level},
                                         {"parameter", parameter.name},
                                         {"rhat", number_or_null(parameter.convergence.rhat)},
                                         {"ess_bulk", number_or_null(parameter.convergence.ess_bulk)},
                                         {"ess_tail", number_or_null(parameter.convergence.ess_tail)}});
    }
    record["warnings"] = warnings;
    const double iterations = static_cast<double>(settings.total()) * settings.chains;
    record["timings"] = {{"seconds", facts.seconds},
                         {"jobs", settings.jobs},
                         {"iterations_per_second", facts.seconds > 0.0 ? iterations / facts.seconds : 0.0}};
    // A name that is no valid UTF-8 is recorded with replacement characters.
    return record.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace ullage::host
