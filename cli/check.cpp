// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The command "ullage check": what a table holds, in which patterns, and whether it contradicts itself.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "input.h"
#include "option_words.h"
#include "problems_json.h"
#include "talk.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/output_file.h"
#include "ullage/host/base/words.h"
#include "ullage/host/draw/refused_rows.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/table/closure.h"
#include "ullage/host/table/column_notices.h"
#include "ullage/host/table/knowledge.h"
#include "ullage/host/table/read_stat_file.h"
#include "ullage/host/table/read_table.h"
#include "ullage/host/table/table.h"

namespace ullage::cli {
namespace {

constexpr std::size_t kMostPatterns = 30;   // in the text; JSON has them all
constexpr std::size_t kMostNameWidth = 72;  // of all names together, over the patterns

struct Summary {
    std::vector<std::array<std::size_t, host::kKnowledgeCount>> counts;  // per column
    std::vector<host::Pattern> patterns;
};

Summary summarise(const host::Table &table) {
    const host::KnownCells knowledge = host::find_knowledge(table);
    Summary summary{{}, host::count_patterns(knowledge)};
    for (const std::vector<host::Knowledge> &cells : knowledge) {
        std::array<std::size_t, host::kKnowledgeCount> &counts = summary.counts.emplace_back();
        for (const host::Knowledge known : cells) ++counts[static_cast<std::size_t>(known)];
    }
    return summary;
}

std::vector<std::string> carried_columns(const host::Table &table) {
    std::vector<std::string> names;
    for (const host::OutputColumn &column : table.output) {
        if (column.file_column >= 0) names.push_back(table.file.names[static_cast<std::size_t>(column.file_column)]);
    }
    return names;
}

/** The width of a text on the screen: characters, not bytes. */
std::size_t width_of(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string pad(std::string_view text, std::size_t width) {
    const std::size_t own = width_of(text);
    return std::string(text) + std::string(width > own ? width - own : 0, ' ');
}

/** How many rows and columns there are. */
std::string head_of(const host::Table &table) {
    const std::size_t carried = carried_columns(table).size();
    std::string text =
        fmt::format("{}: {}, {} in the model", host::harmless(table.file.source),
                    host::count_of(table.row_count(), "row"), host::count_of(table.columns.size(), "column"));
    if (carried > 0) text += fmt::format(", {} carried along", carried);
    if (table.levels.size() > 1 || !table.levels.front().empty()) {
        text += ", " + host::count_of(table.levels.size(), "level");
    }
    return text + "\n\n";
}

std::string counts_in_words(const std::vector<std::string> &names, const Summary &summary) {
    std::size_t name_width = 6;
    for (const std::string &name : names) name_width = std::max(name_width, width_of(name));
    std::string text = pad("column", name_width);
    for (const char *name : host::kKnowledgeNames) text += fmt::format("  {:>8}", name);
    text += '\n';
    for (std::size_t c = 0; c < names.size(); ++c) {
        text += pad(names[c], name_width);
        for (const std::size_t count : summary.counts[c]) text += fmt::format("  {:>8}", count);
        text += '\n';
    }
    return text;
}

std::string patterns_in_words(const std::vector<std::string> &names, const Summary &summary, std::size_t rows) {
    // Names stand over the signs while they fit on a line; otherwise the signs stand side by side, in column order.
    std::size_t names_width = 0;
    for (const std::string &name : names) names_width += width_of(name) + 2;
    const bool has_names = names_width <= kMostNameWidth;
    std::string text =
        "\npatterns    (# observed  . missing  < below  > above  = interval  ~ ordered)\n    rows      %";
    for (std::size_t c = 0; has_names && c < names.size(); ++c) text += "  " + names[c];
    text += has_names ? "\n" : "  columns from left to right as above\n";
    const auto share = [&](std::size_t count) {
        return fmt::format("{:>8}  {:>5.1f}", count, 100.0 * static_cast<double>(count) / static_cast<double>(rows));
    };
    const std::size_t shown = std::min(summary.patterns.size(), kMostPatterns);
    std::size_t other_rows = rows;
    for (std::size_t p = 0; p < shown; ++p) {
        const host::Pattern &pattern = summary.patterns[p];
        other_rows -= pattern.rows;
        std::string line = share(pattern.rows);
        if (!has_names) line += "  " + pattern.signs;
        for (std::size_t c = 0; has_names && c < names.size(); ++c) {
            line += "  " + pad({&pattern.signs[c], 1}, width_of(names[c]));
        }
        text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
    }
    if (other_rows > 0) {
        text += fmt::format("{}  in {}\n", share(other_rows),
                            host::count_of(summary.patterns.size() - shown, "other pattern"));
    }
    return text;
}

std::string in_words(const host::Table &table, const Summary &summary) {
    std::vector<std::string> names;
    for (const host::Column &column : table.columns) names.push_back(host::brief(column.name));
    return head_of(table) + kinds_in_words(table, table.output.size()) + '\n' + counts_in_words(names, summary) +
           patterns_in_words(names, summary, table.row_count());
}

nlohmann::ordered_json as_json(const host::Table &table, const Summary &summary) {
    nlohmann::ordered_json json;
    json["rows"] = table.row_count();
    json["columns"] = nlohmann::ordered_json::array();
    for (std::size_t c = 0; c < table.columns.size(); ++c) {
        nlohmann::ordered_json column = {{"name", table.columns[c].name}};
        for (std::size_t kind = 0; kind < host::kKnowledgeCount; ++kind)
            column[host::kKnowledgeNames[kind]] = summary.counts[c][kind];
        json["columns"].push_back(std::move(column));
    }
    json["carried"] = carried_columns(table);
    json["kinds"] = nlohmann::ordered_json::array();
    for (const host::ColumnLine &line : host::describe_columns(table)) {
        json["kinds"].push_back({{"name", line.name}, {"kind", line.kind}, {"why", line.why}});
    }
    json["levels"] = table.levels;
    json["patterns"] = nlohmann::ordered_json::array();
    for (const host::Pattern &pattern : summary.patterns) {
        json["patterns"].push_back({{"rows", pattern.rows}, {"cells", pattern.signs}});
    }
    return json;
}

nlohmann::ordered_json as_json(const host::Notices &notices) {
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
    for (const host::Notice &notice : notices) json.push_back({{"warning", notice.is_warning}, {"text", notice.text}});
    return json;
}

/** About how many rows the rules will refuse, if that can be told: a matter of the shape of the data. */
void note_refused(const host::Table &table, const host::HiddenCells &hidden, host::Notices &notices) {
    double worst = std::numeric_limits<double>::quiet_NaN();
    try {
        const host::ModelTable model = host::prepare_model(table, hidden, {});
        if (model.region.is_everywhere()) return;
        for (const double share : host::estimate_refused(model)) worst = std::fmax(worst, share);
    } catch (const host::Error &error) {
        if (error.fault() == host::Fault::interrupted) throw;
        notices.push_back(
            {true, fmt::format("ullage impute would stop here, under its default prior: {}", error.what())});
        return;
    }
    if (std::isnan(worst)) return;
    std::string text = fmt::format(
        "{} {:.0f}% of the rows of a normal distribution that fits the data break the rules "
        "(--lower, --upper, --order)",
        worst > host::kMostRefused ? "more than" : "about", 100.0 * std::min(worst, host::kMostRefused));
    if (worst > host::kMuchRefused) {
        text +=
            ". The data may have another shape: a transformation without limits (--log, --logit), or the "
            "difference of two columns in place of one of them, may describe them better";
    }
    notices.push_back({worst > host::kMuchRefused, std::move(text)});
}

}  // namespace

void add_check_options(CLI::App &command, Options &options) {
    add_table_options(command, options);
    add_components(command, options);
    add_quiet(command, options);
    command.add_flag("--json", options.json, "print everything as JSON")->group("Talk");
    command.footer(R"(--config FILE reads these options from a file, one name = value per line.

Example:
  ullage check examples/airquality_censored.csv --log Ozone
    shows what is missing or bounded in the table, in which patterns, and
    whether cells and rules contradict each other.)");
}

int run_check(const Options &options) {
    host::InputText input = host::read_input(options.input);
    const std::string source = input.source;
    host::Notices notices;
    std::optional<host::Table> table;
    std::optional<host::DataError> error;
    // A table that contradicts itself can still be shown; one that cannot be read cannot.
    try {
        table = host::read_table(std::move(input), options.read, notices);
        host::apply_rules(*table, options.rules, notices);
        if (options.components > 1) {
            host::check_mixture(*table, {});
            notices.push_back({false, fmt::format("the rows are modelled as a mixture of at most {} normal "
                                                  "distributions (--components)",
                                                  options.components)});
        }
        note_refused(*table, host::close_bounds(*table), notices);
    } catch (const host::DataError &data_error) {
        error = data_error;
    }
    say(options, notices);

    host::OutputFile out("-");
    if (options.json) {
        nlohmann::ordered_json json = {{"file", source}};
        if (table) json.update(as_json(*table, summarise(*table)));
        json["notices"] = as_json(notices);
        json.update(problems_as_json(error ? &*error : nullptr));
        out.write(json.dump(2) + "\n");
    } else if (table) {
        out.write(in_words(*table, summarise(*table)));
    }
    out.commit();
    if (error) throw *error;
    return 0;
}

}  // namespace ullage::cli
