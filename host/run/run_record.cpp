// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Writing and reading the record of a run.

#include "ullage/host/run/run_record.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"
#include "ullage/host/model/parameter_names.h"
#include "ullage/host/model/scale.h"
#include "ullage/host/run/result_file.h"
#include "ullage/host/table/transformations.h"

namespace ullage::host {
namespace {

using Json = nlohmann::ordered_json;  // members in the order in which they are written

// JSON has no infinities and no NaN.
Json number_or_null(double number) {
    return std::isfinite(number) ? Json(number) : Json(nullptr);
}

Json describe_column(const ModelTable &model, std::size_t index) {
    const Column &column = model.table->columns[index];
    std::array<std::int64_t, 3> counts{};
    for (const CellState state : column.states) ++counts[static_cast<std::size_t>(state)];
    return {{"name", column.name},
            {"observed", counts[static_cast<std::size_t>(CellState::observed)]},
            {"missing", counts[static_cast<std::size_t>(CellState::missing)]},
            {"bounded", counts[static_cast<std::size_t>(CellState::bounded)]},
            {"lower", number_or_null(column.lower)},
            {"upper", number_or_null(column.upper)},
            {"transformation", name_of(column.transformation)},
            {"centre", model.scales[index].centre},
            {"scale", model.scales[index].scale}};
}

/** The members of run.json, each with its kind checked. */
class Members {
public:
    Members(const std::string &source, const Json &json, std::string path = "")
        : source_(source), json_(json), path_(std::move(path)) {}

    [[nodiscard]] const Json &at(const std::string &name) const {
        const auto found = json_.is_object() ? json_.find(name) : json_.end();
        if (!json_.is_object() || found == json_.end()) throw broken(name, "is missing");
        return *found;
    }
    [[nodiscard]] Members object(const std::string &name) const { return {source_, at(name), path_ + name + "."}; }
    [[nodiscard]] std::vector<Members> list(const std::string &name) const {
        const Json &array = at(name);
        if (!array.is_array()) throw broken(name, "is no list");
        std::vector<Members> all;
        for (std::size_t i = 0; i < array.size(); ++i) {
            all.emplace_back(source_, array[i], fmt::format("{}{}[{}].", path_, name, i));
        }
        return all;
    }
    [[nodiscard]] std::string text(const std::string &name) const {
        if (!at(name).is_string()) throw broken(name, "is no text");
        return at(name).get<std::string>();
    }
    [[nodiscard]] std::vector<std::string> texts(const std::string &name) const {
        std::vector<std::string> all;
        if (!at(name).is_array()) throw broken(name, "is no list");
        for (const Json &text : at(name)) {
            if (!text.is_string()) throw broken(name, "holds something else than texts");
            all.push_back(text.get<std::string>());
        }
        return all;
    }
    [[nodiscard]] std::int64_t count(const std::string &name, std::int64_t least, std::int64_t most) const {
        const Json &number = at(name);
        if (!number.is_number_integer() || (number.is_number_unsigned() && number.get<std::uint64_t>() > INT64_MAX) ||
            number.get<std::int64_t>() < least || number.get<std::int64_t>() > most) {
            throw broken(name, fmt::format("is no whole number from {} to {}", least, most));
        }
        return number.get<std::int64_t>();
    }
    /** An end of an interval, where null is open. */
    [[nodiscard]] double end(const std::string &name, double open) const {
        if (at(name).is_null()) return open;
        if (!at(name).is_number()) throw broken(name, "is no number");
        return at(name).get<double>();
    }
    [[nodiscard]] Error broken(const std::string &name, const std::string &why) const {
        return {Fault::data,
                fmt::format("{}: {}{} {}; this is not the record of a run of this program", source_, path_, name, why)};
    }

private:
    const std::string &source_;
    const Json &json_;
    std::string path_;
};

Transformation transformation_of(const Members &column) {
    if (const auto known = transformation_named(column.text("transformation"))) return *known;
    throw column.broken("transformation", "is none that is known");
}

}  // namespace

std::string RunColumn::transformed_name() const {
    return host::transformed_name(transformation, name);
}

double RunColumn::transform(double value) const {
    return to_model({transformation, 0.0, 1.0}, value);
}

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

RunRecord read_run_record(const std::string &directory) {
    const std::string source = path_in(directory, "run.json");
    const Json json = Json::parse(read_result(directory, "run.json"), nullptr, false);
    if (json.is_discarded()) throw Error(Fault::data, source + ": this is no JSON text; the file is broken");
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
    const Members top(source, json);
    RunRecord record;
    record.version = top.text("version");
    record.stream_version = static_cast<std::uint32_t>(top.count("stream_version", 0, most));
    record.command = top.texts("command");
    if (!top.at("seed").is_number_unsigned()) throw top.broken("seed", "is no whole number from 0");
    record.seed = top.at("seed").get<std::uint64_t>();
    const Members input = top.object("input");
    record.input_name = input.text("name");
    record.input_bytes = input.count("bytes", 0, INT64_MAX);
    record.input_sha256 = input.text("sha256");
    record.input_warnings = input.texts("warnings");
    record.rows = input.count("rows", 1, most);
    const std::string separator = input.text("separator");
    if (separator.size() != 1) throw input.broken("separator", "is no single character");
    record.separator = separator[0];
    const Members settings = top.object("settings");
    record.imputations = static_cast<int>(settings.count("imputations", 1, most));
    record.chains = static_cast<int>(settings.count("chains", 1, most));
    record.burn_in = static_cast<int>(settings.count("burn_in", 0, most));
    record.thin = static_cast<int>(settings.count("thin", 1, most));
    record.prior = settings.text("prior");
    if (!top.at("by").is_null()) record.by = top.text("by");
    for (const Members &column : top.list("columns")) {
        record.columns.push_back({column.text("name"), column.count("observed", 0, most),
                                  column.count("missing", 0, most), column.count("bounded", 0, most),
                                  column.end("lower", -kOpen), column.end("upper", kOpen), transformation_of(column)});
    }
    if (record.columns.empty()) throw top.broken("columns", "is empty");
    record.order = top.texts("order");
    for (const Members &level : top.list("levels")) {
        record.levels.push_back(
            {level.text("name"), level.count("rows", 0, most), level.count("complete_rows", 0, most)});
    }
    if (record.levels.empty()) throw top.broken("levels", "is empty");
    if (!record.by && record.levels.size() > 1) throw top.broken("by", "is null, and there are several levels");
    record.warnings = top.texts("warnings");
    const Json &seconds = top.object("timings").at("seconds");
    if (!seconds.is_number()) throw top.broken("timings.seconds", "is no number");
    record.seconds = seconds.get<double>();
    return record;
}

}  // namespace ullage::host
