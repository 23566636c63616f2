// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// From the options to a table that is ready for the model.

#include "input.h"

#include <fmt/format.h>

#include <algorithm>

#include "talk.h"
#include "text_table.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/words.h"
#include "ullage/host/model/prior.h"
#include "ullage/host/table/closure.h"
#include "ullage/host/table/column_notices.h"
#include "ullage/host/table/read_stat_file.h"
#include "ullage/host/table/read_table.h"

namespace ullage::cli {

std::string kinds_in_words(const host::Table &table, std::size_t most) {
    TextTable lines = {{"column", "kind", "why"}};
    const std::vector<host::ColumnLine> columns = host::describe_columns(table);
    for (const host::ColumnLine &column : columns) {
        if (lines.size() > most) break;
        lines.push_back({host::brief(column.name), column.kind, host::harmless(column.why)});
    }
    std::string text = in_columns(lines, 3);
    if (columns.size() >= lines.size()) {
        text += fmt::format("and {} more (ullage check shows them all)\n", columns.size() - lines.size() + 1);
    }
    return text;
}

namespace {

/** Names that the long format needs for itself, and the word that it and the original of the hidden cells need. */
void refuse_names_of_format(const host::Table &table, Format format) {
    if (format == Format::files) return;
    for (const std::string &name : table.file.names) {
        if (format == Format::cells) break;
        if (name != ".imp" && name != ".id") continue;
        throw host::Error(host::Fault::data, table.file.source + ": the long format adds a column " + name +
                                                 ", and there is one already; rename it, or use --format files");
    }
    for (const host::Column &column : table.columns) {
        if (std::find(column.words.begin(), column.words.end(), "NA") == column.words.end()) continue;
        throw host::Error(host::Fault::data,
                          fmt::format("{}: column {} has the word NA, which this format writes for a hidden cell; "
                                      "give --na NA if it means missing, or use --format files",
                                      table.file.source, host::quote(column.name)));
    }
}

}  // namespace

Input load_input(const Options &options) {
    Input input;
    host::ReadOptions read = options.read;
    // A prior can tell what a column without a value does not, if the column is asked for.
    read.keep_blank = host::parse_prior(options.impute.prior).kind == host::PriorChoice::Kind::file;
    input.table = host::read_table(host::read_input(options.input), read, input.notices);
    host::apply_rules(input.table, options.rules, input.notices);
    say(options, input.notices);
    refuse_names_of_format(input.table, options.impute.format);
    input.hidden = host::close_bounds(input.table);
    return input;
}

}  // namespace ullage::cli
