// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Writing and reading the record of a run.

#include "ullage/host/run/run_record.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "ullage/host/base/checksum.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/input_file.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"
#include "ullage/host/model/parameter_names.h"
#include "ullage/host/model/scale.h"
#include "ullage/host/run/result_file.h"
#include "ullage/host/run/result_names.h"
#include "ullage/host/run/run_commit.h"
#include "ullage/host/table/transformations.h"

namespace ullage::host {
namespace {

using Json = nlohmann::ordered_json;  // members in the order in which they are written

constexpr std::int64_t kMostCount = std::numeric_limits<std::int32_t>::max();

/**
 * MEMBERS OF run.json
 *
 * describe() goes through all members of a record with a writer or a reader. Both have the same functions, one for each
 * kind of member; limits of counts and open ends concern the reader alone.
 */
class Writer {
public:
    explicit Writer(Json &json) : json_(json) {}

    void constant(const char *name, const char *value) { json_[name] = value; }
    void text(const char *name, const std::string &value) { json_[name] = value; }
    void texts(const char *name, const std::vector<std::string> &value) { json_[name] = value; }
    void text_or_null(const char *name, const std::optional<std::string> &value) {
        json_[name] = value ? Json(*value) : Json(nullptr);
    }
    void text_if_known(const char *name, const std::optional<std::string> &value) {
        if (value) json_[name] = *value;
    }
    void count_if_known(const char *name, const std::optional<int> &value, std::int64_t, std::int64_t) {
        if (value) json_[name] = *value;
    }
    void character(const char *name, char value) { json_[name] = std::string(1, value); }
    void word(const char *name, Transformation value) { json_[name] = name_of(value); }
    void word(const char *name, ColumnKind value) { json_[name] = name_of(value); }
    void natural(const char *name, std::uint64_t value) { json_[name] = value; }
    template <typename Count>
    void count(const char *name, Count value, std::int64_t, std::int64_t) {
        json_[name] = value;
    }
    /** Left out where it is what it usually is. */
    template <typename Count>
    void count_unless(Count usual, const char *name, Count value, std::int64_t, std::int64_t) {
        if (value != usual) json_[name] = value;
    }
    /** JSON has no infinities and no NaN. */
    void number(const char *name, double value, double) {
        json_[name] = std::isfinite(value) ? Json(value) : Json(nullptr);
    }
    void number_if_known(const char *name, double value) {
        if (!std::isnan(value)) json_[name] = value;
    }
    void numbers_if_any(const char *name, const std::vector<double> &value) {
        if (!value.empty()) json_[name] = value;
    }
    void flag(const char *name, bool value) { json_[name] = value; }
    void flag_if_set(const char *name, bool value) {
        if (value) json_[name] = value;
    }
    template <typename Members>
    void object_if_known(const char *name, const Members &members) {
        object(name, members);
    }
    template <typename Value, typename Members>
    void object_if_any(const char *name, const std::optional<Value> &value, const Members &members) {
        if (value) object(name, [&](Writer &writer) { members(writer, *value); });
    }
    template <typename Members>
    void object(const char *name, const Members &members) {
        Json object = Json::object();
        Writer writer(object);
        members(writer);
        json_[name] = std::move(object);
    }
    template <typename Item, typename Members>
    void list_if_any(const char *name, const std::vector<Item> &items, const Members &members) {
        if (!items.empty()) list(name, items, members);
    }
    template <typename Item, typename Members>
    void list(const char *name, const std::vector<Item> &items, const Members &members) {
        Json all = Json::array();
        for (const Item &item : items) {
            Json object = Json::object();
            Writer writer(object);
            members(writer, item);
            all.push_back(std::move(object));
        }
        json_[name] = std::move(all);
    }

private:
    Json &json_;
};

class Reader {
public:
    Reader(const std::string &source, const Json &json, std::string path = "")
        : source_(source), json_(json), path_(std::move(path)) {}

    void constant(const char *name, const char *value) const {
        if (at(name) != value) throw broken(name, fmt::format("is not \"{}\"", value));
    }
    void text(const char *name, std::string &value) const {
        if (!at(name).is_string()) throw broken(name, "is no text");
        value = at(name).get<std::string>();
    }
    void texts(const char *name, std::vector<std::string> &value) const {
        value.clear();
        for (const Json &text : array(name)) {
            if (!text.is_string()) throw broken(name, "holds something else than texts");
            value.push_back(text.get<std::string>());
        }
    }
    void text_or_null(const char *name, std::optional<std::string> &value) const {
        if (!at(name).is_null()) text(name, value.emplace());
    }
    void text_if_known(const char *name, std::optional<std::string> &value) const {
        if (has(name)) text(name, value.emplace());
    }
    void count_if_known(const char *name, std::optional<int> &value, std::int64_t least, std::int64_t most) const {
        if (has(name)) count(name, value.emplace(), least, most);
    }
    void character(const char *name, char &value) const {
        std::string characters;
        text(name, characters);
        if (characters.size() != 1) throw broken(name, "is no single character");
        value = characters[0];
    }
    void word(const char *name, Transformation &value) const {
        std::string word;
        text(name, word);
        const auto known = transformation_named(word);
        if (!known) throw broken(name, "is none that is known");
        value = *known;
    }
    void word(const char *name, ColumnKind &value) const {
        std::string word;
        text(name, word);
        const auto known = std::find(kColumnKindNames.begin(), kColumnKindNames.end(), word);
        if (known == kColumnKindNames.end()) throw broken(name, "is none that is known");
        value = static_cast<ColumnKind>(known - kColumnKindNames.begin());
    }
    void natural(const char *name, std::uint64_t &value) const {
        if (!at(name).is_number_unsigned()) throw broken(name, "is no whole number from 0");
        value = at(name).get<std::uint64_t>();
    }
    template <typename Count>
    void count(const char *name, Count &value, std::int64_t least, std::int64_t most) const {
        const Json &number = at(name);
        if (!number.is_number_integer() || (number.is_number_unsigned() && number.get<std::uint64_t>() > INT64_MAX) ||
            number.get<std::int64_t>() < least || number.get<std::int64_t>() > most) {
            throw broken(name, fmt::format("is no whole number from {} to {}", least, most));
        }
        value = static_cast<Count>(number.get<std::int64_t>());
    }
    template <typename Count>
    void count_unless(Count usual, const char *name, Count &value, std::int64_t least, std::int64_t most) const {
        value = usual;
        if (json_.is_object() && json_.contains(name)) count(name, value, least, most);
    }
    void number(const char *name, double &value, double if_null) const {
        if (!at(name).is_null() && !at(name).is_number()) throw broken(name, "is no number");
        value = at(name).is_null() ? if_null : at(name).get<double>();
    }
    void numbers_if_any(const char *name, std::vector<double> &value) const {
        if (!json_.is_object() || !json_.contains(name)) return;
        for (const Json &number : array(name)) {
            if (!number.is_number()) throw broken(name, "holds something else than numbers");
            value.push_back(number.get<double>());
        }
    }
    void number_if_known(const char *name, double &value) const {
        value = std::numeric_limits<double>::quiet_NaN();
        if (has(name)) number(name, value, value);
    }
    void flag_if_set(const char *name, bool &value) const {
        if (has(name)) flag(name, value);
    }
    void flag(const char *name, bool &value) const {
        if (!at(name).is_boolean()) throw broken(name, "is neither true nor false");
        value = at(name).get<bool>();
    }
    template <typename Members>
    void object_if_known(const char *name, const Members &members) const {
        if (json_.is_object() && json_.contains(name)) object(name, members);
    }
    template <typename Value, typename Members>
    void object_if_any(const char *name, std::optional<Value> &value, const Members &members) const {
        if (!has(name)) return;
        value = Value{};
        object(name, [&](Reader &reader) { members(reader, *value); });
    }
    template <typename Members>
    void object(const char *name, const Members &members) const {
        Reader reader(source_, at(name), path_ + name + ".");
        members(reader);
    }
    template <typename Item, typename Members>
    void list_if_any(const char *name, std::vector<Item> &items, const Members &members) const {
        if (has(name)) list(name, items, members);
    }
    template <typename Item, typename Members>
    void list(const char *name, std::vector<Item> &items, const Members &members) const {
        for (const Json &object : array(name)) {
            Reader reader(source_, object, fmt::format("{}{}[{}].", path_, name, items.size()));
            members(reader, items.emplace_back());
        }
    }
    [[nodiscard]] Error broken(const std::string &name, const std::string &why) const {
        return {Fault::data,
                fmt::format("{}: {}{} {}; this is not the record of a run of this program", source_, path_, name, why)};
    }

private:
    [[nodiscard]] bool has(const char *name) const { return json_.is_object() && json_.contains(name); }
    [[nodiscard]] const Json &at(const char *name) const {
        const auto found = json_.is_object() ? json_.find(name) : json_.end();
        if (!json_.is_object() || found == json_.end()) throw broken(name, "is missing");
        return *found;
    }
    [[nodiscard]] const Json &array(const char *name) const {
        if (!at(name).is_array()) throw broken(name, "is no list");
        return at(name);
    }

    const std::string &source_;
    const Json &json_;
    std::string path_;
};

template <typename Members, typename Options>
void describe_reading(Members &reading, Options &options) {
    reading.texts("missing", options.missing);
    reading.flag_if_set("decimal_comma", options.decimal_comma);
    reading.text_if_known("by_blank", options.by_blank);
    reading.flag("pairs", options.pairs);
    reading.text("lower_suffix", options.lower_suffix);
    reading.text("upper_suffix", options.upper_suffix);
    reading.list("remarks", options.remarks, [](auto &members, auto &remark) {
        members.text("column", remark.first);
        members.text("remarks", remark.second);
    });
    reading.texts("remark_below", options.remark_below);
    reading.texts("remark_above", options.remark_above);
    reading.texts("remark_observed", options.remark_observed);
    reading.flag("remarks_in_cells", options.remarks_in_cells);
    reading.texts("units", options.units);
    reading.texts("nondetect", options.nondetect);
    reading.list("limits", options.limits, [](auto &members, auto &limit) {
        members.text("column", limit.first);
        members.number("limit", limit.second, std::numeric_limits<double>::quiet_NaN());
    });
}

template <typename Members, typename Record>
void describe(Members &&top, Record &record) {
    constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
    top.constant("program", "ullage");
    top.text("version", record.version);
    top.count("stream_version", record.stream_version, 0, kMostCount);
    top.texts("command", record.command);
    top.natural("seed", record.seed);
    top.object("input", [&](auto &input) {
        input.text("name", record.input_name);
        input.count("bytes", record.input_bytes, 0, INT64_MAX);
        input.text("sha256", record.input_sha256);
        input.count("rows", record.rows, 1, kMostCount);
        input.character("separator", record.separator);
        input.texts("warnings", record.input_warnings);
    });
    top.object_if_known("reading", [&](auto &reading) { describe_reading(reading, record.reading); });
    top.object("settings", [&](auto &settings) {
        settings.count("imputations", record.imputations, 1, kMostCount);
        settings.count("chains", record.chains, 1, kMostCount);
        settings.count("burn_in", record.burn_in, 0, kMostCount);
        settings.count("thin", record.thin, 1, kMostCount);
        settings.count("iterations", record.iterations, 1, kMostCount);
        settings.object_if_any("until_converged", record.until_converged, [](auto &members, auto &until) {
            members.number("rhat_below", until.target.rhat_below, unknown);
            members.number("ess_above", until.target.ess_above, unknown);
            members.count("max_iterations", until.max_iterations, 1, kMostCount);
            members.flag("converged", until.converged);
        });
        settings.count_if_known("sweeps", record.sweeps, 1, kMostCount);
        settings.count_if_known("renew_every", record.renew_every, 1, kMostCount);
        settings.count_unless(1, "most_sweeps", record.most_sweeps, 1, kMostCount);
        settings.count("block_rows", record.block_rows, 1, kMostCount);
        settings.text("prior", record.prior);
        settings.count_unless(std::size_t{1}, "components", record.components, 1, kMostComponents);
        settings.text_if_known("prior_sha256", record.prior_sha256);
        settings.count_if_known("chain", record.chain, 1, record.chains);
    });
    top.list("columns", record.columns, [](auto &members, auto &column) {
        members.text("name", column.name);
        members.word("kind", column.kind);
        members.text("kind_reason", column.kind_reason);
        members.number("step", column.step, unknown);
        members.texts("words", column.words);
        members.count("observed", column.observed, 0, kMostCount);
        members.count("missing", column.missing, 0, kMostCount);
        members.count("bounded", column.bounded, 0, kMostCount);
        members.number("lower", column.lower, -kOpen);
        members.number("upper", column.upper, kOpen);
        members.word("transformation", column.transformation);
        members.number("centre", column.centre, unknown);
        members.number("scale", column.scale, unknown);
        members.numbers_if_any("cuts", column.cuts);
    });
    top.list("variables", record.variables, [](auto &members, auto &variable) {
        members.text("name", variable.name);
        members.text("column", variable.column);
        members.text_or_null("word", variable.word);
    });
    top.list("carried", record.carried, [](auto &members, auto &column) {
        members.text("name", column.name);
        members.count("blank", column.blank, 0, kMostCount);
        members.text("reason", column.reason);
    });
    top.list_if_any("derived", record.derived, [](auto &members, auto &column) {
        members.text("name", column.name);
        members.text("derivation", column.derivation);
    });
    top.texts("order", record.order);
    top.text_or_null("by", record.by);
    top.list("levels", record.levels, [](auto &members, auto &level) {
        members.text("name", level.name);
        members.count("rows", level.rows, 0, kMostCount);
        members.count("complete_rows", level.complete_rows, 0, kMostCount);
        members.number_if_known("refused", level.refused);
        members.number_if_known("components_filled", level.filled);
    });
    top.list("convergence", record.convergence, [](auto &members, auto &parameter) {
        members.text("level", parameter.level);
        members.text("parameter", parameter.name);
        members.number("rhat", parameter.convergence.rhat, unknown);
        members.number("ess_bulk", parameter.convergence.ess_bulk, unknown);
        members.number("ess_tail", parameter.convergence.ess_tail, unknown);
    });
    top.texts("warnings", record.warnings);
    top.object("timings", [&](auto &timings) {
        timings.number("seconds", record.seconds, unknown);
        timings.count("jobs", record.jobs, 1, kMostCount);
    });
    top.list("files", record.files, [](auto &members, auto &file) {
        members.text("name", file.name);
        members.count("bytes", file.bytes, 0, INT64_MAX);
        members.text("sha256", file.sha256);
    });
}

/** Hold the words of the columns, and the variables, against the kinds. */
void check_kinds(const RunRecord &record, const Reader &top) {
    std::map<std::string_view, std::size_t> variables;  // of each column
    for (std::size_t i = 0; i < record.columns.size(); ++i) {
        const RunColumn &column = record.columns[i];
        const std::string place = fmt::format("columns[{}]", i);
        const bool has_words = column.kind != ColumnKind::number && column.kind != ColumnKind::stepped;
        const std::size_t words = column.words.size();
        if (has_words ? words < 2 || (column.kind == ColumnKind::binary && words > 2) : words > 0) {
            throw top.broken(place + ".words", "are not as many as the kind has");
        }
        if (std::set(column.words.begin(), column.words.end()).size() != words) {
            throw top.broken(place + ".words", "are not all different");
        }
        if (column.kind == ColumnKind::stepped && !(column.step > 0.0 && std::isfinite(column.step))) {
            throw top.broken(place + ".step", "is no number above 0");
        }
        const bool has_cuts = column.kind == ColumnKind::ordered && column.is_latent() && !column.cuts.empty();
        if (column.cuts.size() != (has_cuts ? words - 1 : 0) ||
            !std::is_sorted(column.cuts.begin(), column.cuts.end())) {
            throw top.broken(place + ".cuts", "are not the points between the words");
        }
        const bool has_one = !column.holds_words() || (column.kind == ColumnKind::ordered && column.is_latent());
        variables[column.name] = has_one ? 1 : words - 1;
    }
    for (std::size_t i = 0; i < record.variables.size(); ++i) {
        const RunVariable &variable = record.variables[i];
        const std::string place = fmt::format("variables[{}]", i);
        const auto left = variables.find(variable.column);
        if (left == variables.end() || left->second-- == 0) {
            throw top.broken(place + ".column", "is none of columns, or has more variables than its kind has");
        }
        const RunColumn &column = record.column(variable.column);
        if (!column.holds_words() && variable.name != column.transformed_name()) {
            throw top.broken(place + ".name", fmt::format("is not {}", column.transformed_name()));
        }
        const std::vector<std::string> &words = column.words;
        if (variable.word && std::find(words.begin(), words.end(), *variable.word) == words.end()) {
            throw top.broken(place + ".word", "is no word of its column");
        }
    }
    for (const auto &[column, left] : variables) {
        if (left > 0) throw top.broken("variables", fmt::format("lack one of column {}", quote(column)));
    }
}

/** Hold what a record says against itself, before anything is sized by it. */
void check_record(const RunRecord &record, const Reader &top) {
    const std::int64_t per_chain = (std::int64_t{record.imputations} + record.chains - 1) / record.chains;
    if (record.iterations != record.burn_in + per_chain * record.thin) {
        throw top.broken("settings.iterations", "does not follow from the other settings");
    }
    const double draws = static_cast<double>(record.kept()) * record.chains * static_cast<double>(record.levels.size());
    if (draws > 0x1p53) throw top.broken("settings", "has more draws than a file can hold");
    const bool is_long = record.file(kLongTableName) != nullptr;
    if (record.columns.empty()) throw top.broken("columns", "is empty");
    std::set<std::string_view> names;
    for (std::size_t i = 0; i < record.columns.size(); ++i) {
        const RunColumn &column = record.columns[i];
        const std::string place = fmt::format("columns[{}]", i);
        if (!names.insert(column.name).second) throw top.broken(place + ".name", "stands there twice");
        if (is_long && (column.name == ".imp" || column.name == ".id")) {
            throw top.broken(place + ".name", "is that of a column which the tables have besides");
        }
        if (column.observed + column.missing + column.bounded != record.rows) {
            throw top.broken(place, "has other numbers of cells than there are rows");
        }
        if (!(column.lower < column.upper)) throw top.broken(place, "has bounds that leave no room");
    }
    for (std::size_t i = 0; i < record.derived.size(); ++i) {
        if (names.insert(record.derived[i].name).second) continue;
        throw top.broken(fmt::format("derived[{}].name", i), "stands there twice");
    }
    check_kinds(record, top);
    if (record.levels.empty()) throw top.broken("levels", "is empty");
    if (!record.by && record.levels.size() > 1) throw top.broken("by", "is null, and there are several levels");
    std::int64_t rows = 0;
    std::set<std::string_view> levels;
    for (const RunLevel &level : record.levels) {
        if (!levels.insert(level.name).second) throw top.broken("levels", "names a level twice");
        rows += level.rows;
        if (level.refused < 0.0 || level.refused >= 1.0) throw top.broken("levels", "have a share that is none");
    }
    if (rows != record.rows) throw top.broken("levels", "have other numbers of rows than the input");
    std::set<std::string_view> files;
    for (std::size_t i = 0; i < record.files.size(); ++i) {
        const std::string &name = record.files[i].name;
        if (is_result_name(name) && files.insert(name).second) continue;
        throw top.broken(fmt::format("files[{}].name", i), "is that of no file of a run, or stands there twice");
    }
    if (record.chain) {
        if (files == std::set<std::string_view>{kPartName}) return;
        throw top.broken("files", fmt::format("has not {} alone", kPartName));
    }
    if (is_long || (files.contains(kOriginalName) && files.contains(kCellsName))) return;
    for (int i = 1; i <= record.imputations; ++i) {
        const std::string name =
            imputation_name(static_cast<std::size_t>(i), static_cast<std::size_t>(record.imputations));
        if (files.contains(name)) continue;
        throw top.broken("files", fmt::format("has neither {} nor {}", kLongTableName, name));
    }
}

/** What the records of one run have in common, as text. */
std::string common_text(RunRecord record) {
    record.command.clear();
    record.input_name.clear();
    record.input_warnings.clear();
    record.warnings.clear();
    record.convergence.clear();
    record.files.clear();
    record.chain.reset();
    record.most_sweeps = 1;
    record.seconds = 0.0;
    record.jobs = 1;
    for (RunLevel &level : record.levels) level.refused = std::numeric_limits<double>::quiet_NaN();
    return run_record_text(record);
}

RunRecord parse_record(const std::string &source, std::string_view text, bool is_finished) {
    const Json json = Json::parse(text, nullptr, false);
    if (json.is_discarded()) throw Error(Fault::data, source + ": this is no JSON text; the file is broken");
    RunRecord record;
    const Reader top(source, json);
    describe(top, record);
    if (is_finished) check_record(record, top);
    return record;
}

}  // namespace

std::string_view library_version() {
    return ULLAGE_VERSION;
}

std::string RunColumn::transformed_name() const {
    return host::transformed_name(transformation, name);
}

double RunColumn::transform(double value) const {
    return to_model({transformation, 0.0, 1.0}, value);
}

const FileFacts *RunRecord::file(std::string_view name) const {
    const auto found =
        std::find_if(files.begin(), files.end(), [&](const FileFacts &facts) { return facts.name == name; });
    return found == files.end() ? nullptr : &*found;
}

const RunColumn &RunRecord::column(std::string_view name) const {
    return *std::find_if(columns.begin(), columns.end(), [&](const RunColumn &column) { return column.name == name; });
}

std::size_t RunRecord::variable_of(std::size_t column) const {
    const auto found = std::find_if(variables.begin(), variables.end(), [&](const RunVariable &variable) {
        return variable.column == columns[column].name;
    });
    return static_cast<std::size_t>(found - variables.begin());
}

std::vector<std::string> RunRecord::variable_names() const {
    std::vector<std::string> names;
    for (const RunVariable &variable : variables) names.push_back(variable.name);
    return names;
}

RunRecord describe_run(const ModelTable &model, const ImputeSettings &settings) {
    const Table &table = *model.table;
    RunRecord record;
    record.version = library_version();
    record.stream_version = kStreamVersion;
    record.seed = settings.seed;
    record.input_name = table.file.source;
    record.input_bytes = static_cast<std::int64_t>(table.file.bytes.size());
    record.input_sha256 = table.file.sha256;
    record.separator = table.file.separator;
    record.rows = static_cast<std::int64_t>(table.row_count());
    record.imputations = settings.imputations;
    record.chains = settings.chains;
    record.burn_in = settings.burn_in;
    record.thin = settings.thin;
    record.iterations = settings.total();
    record.sweeps = settings.sweeps;
    record.renew_every = settings.renew_every;
    record.block_rows = kBlockRows;
    record.components = model.component_count();
    record.jobs = settings.jobs;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        const Column &column = table.columns[i];
        const auto count = [&](CellState state) {
            return std::count(column.states.begin(), column.states.end(), state);
        };
        record.columns.push_back({column.name, column.kind, column.kind_reason, column.step, column.words,
                                  count(CellState::observed), count(CellState::missing), count(CellState::bounded),
                                  column.lower, column.upper, column.transformation, model.scales[i].centre,
                                  model.scales[i].scale, model.variables.columns[i].cuts});
    }
    const std::vector<std::string> names = variable_names(model);
    for (std::size_t i = 0; i < names.size(); ++i) {
        const Variable &variable = model.variables.list[i];
        record.variables.push_back({names[i], table.columns[variable.column].name, variable.word});
    }
    for (const OutputColumn &output : table.output) {
        if (output.file_column < 0) continue;
        const auto column = static_cast<std::size_t>(output.file_column);
        record.carried.push_back({table.file.names[column], static_cast<std::int64_t>(output.blank), output.reason});
    }
    for (const OrderRule &rule : table.order) {
        record.order.push_back(table.columns[static_cast<std::size_t>(rule.first)].name + (rule.or_equal ? "<=" : "<") +
                               table.columns[static_cast<std::size_t>(rule.second)].name);
    }
    for (const Level &level : model.levels) {
        record.levels.push_back(
            {level.name, static_cast<std::int64_t>(level.row_count), static_cast<std::int64_t>(level.complete.count)});
    }
    return record;
}

std::string run_record_text(const RunRecord &record) {
    Json json = Json::object();
    describe(Writer(json), record);
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

std::optional<std::string_view> difference(const RunRecord &one, const RunRecord &other) {
    if (one.version != other.version || one.stream_version != other.stream_version) return "versions of ullage";
    if (one.input_sha256 != other.input_sha256) return "inputs";
    if (one.seed != other.seed) return "seeds";
    if (one.chains != other.chains) return "numbers of chains";
    if (one.prior_sha256 != other.prior_sha256) return "prior files";
    if (common_text(one) != common_text(other)) return "options";
    return std::nullopt;
}

RunRecord run_record_of(const std::string &source, std::string_view text) {
    return parse_record(source, text, false);
}

RunRecord read_run_record(const std::string &directory) {
    std::error_code ignored;
    if (!std::filesystem::is_directory(directory, ignored)) {
        throw Error(Fault::no_input,
                    fmt::format("{}: there is no such directory; give the one that ullage impute -o wrote", directory));
    }
    finish_interrupted_commit(directory);
    const std::string source = path_in(directory, kRecordName);
    return parse_record(source, read_regular_file(source), true);
}

}  // namespace ullage::host
