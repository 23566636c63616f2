// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The options about a table: how to read it, and the rules for its columns.

#include <set>

#include "option_words.h"
#include "ullage/host/base/error.h"
#include "ullage/host/model/mixture.h"

namespace ullage::cli {
namespace {

using host::Error;
using host::Fault;
using Words = std::vector<std::string>;

char separator_of(const std::string &word) {
    if (word == "tab" || word == "\\t") return '\t';
    if (word == "space") return ' ';
    constexpr std::string_view never = "\"\r\n.+-0123456789";
    if (word.size() != 1 || static_cast<unsigned char>(word[0]) >= 128 || never.find(word[0]) != never.npos) {
        throw Error(Fault::usage, "--sep is one character such as ; or the word tab or space, not \"" + word + "\"");
    }
    return word[0];
}

void take_limits(const std::string &word, host::ReadOptions &read) {
    if (word == "none") {
        read.pairs = false;
        return;
    }
    const Words suffixes = split({word});
    if (suffixes.size() != 2 || suffixes[0].empty() || suffixes[1].empty() || suffixes[0] == suffixes[1]) {
        throw Error(Fault::usage, "--limits takes two endings such as _lo,_hi, or none");
    }
    read.lower_suffix = suffixes[0];
    read.upper_suffix = suffixes[1];
}

void take_remark_codes(const Words &words, host::ReadOptions &read) {
    // The first code of a meaning replaces the signs that it has by default.
    std::set<std::string> replaced;
    const auto add = [&](const std::string &meaning, std::vector<std::string> &codes, const std::string &text) {
        if (replaced.insert(meaning).second) codes.clear();
        codes.push_back(text);
    };
    read.remarks_in_cells = true;
    for (const std::string &code : split(words)) {
        const auto [meaning, text] = split_pair("--remark-codes", code, "below=CODE,above=CODE,observed=CODE");
        if (meaning == "below") {
            add(meaning, read.remark_below, text);
        } else if (meaning == "above") {
            add(meaning, read.remark_above, text);
        } else if (meaning == "observed") {
            add(meaning, read.remark_observed, text);
        } else {
            throw Error(Fault::usage, "--remark-codes knows below, above and observed, not \"" + meaning + "\"");
        }
    }
}

/** Give columns a kind. */
void take_kinds(const Words &words, host::ColumnKind kind, host::ReadOptions &read) {
    for (const std::string &column : split(words)) read.kinds.push_back({column, kind});
}

void take_steps(const Words &words, host::ReadOptions &read) {
    for (const auto &[column, step] : numbers_of("--step", words)) {
        if (!(step > 0.0)) throw Error(Fault::usage, "--step: the step of \"" + column + "\" must be above 0");
        read.kinds.push_back({column, host::ColumnKind::stepped, step});
    }
}

/** COLUMN=WORD,WORD,..., or COLUMN alone where the words are numbers. */
void take_ordered(const Words &words, host::ReadOptions &read) {
    for (const std::string &word : words) {
        const std::size_t sign = word.find('=');
        host::KindOption &kind =
            read.kinds.emplace_back(host::KindOption{word.substr(0, sign), host::ColumnKind::ordered});
        if (sign == std::string::npos) continue;
        kind.words = split({word.substr(sign + 1)});
        const std::set<std::string> different(kind.words.begin(), kind.words.end());
        if (kind.words.size() < 2 || different.size() < kind.words.size() || different.contains("")) {
            throw Error(Fault::usage,
                        "--ordered is given as COLUMN=WORD,WORD,... with two or more different words, the "
                        "lowest first, not as \"" +
                            word + "\"");
        }
    }
}

void add_kinds(CLI::App &command, host::ReadOptions &read) {
    const char *group = "Kinds of columns (found from the file where not given)";
    const auto add = [&](const char *name, host::ColumnKind kind, const char *text) {
        add_list(command, name, "COLS", text, group,
                 [&read, kind](const Words &words) { take_kinds(words, kind, read); });
    };
    add("--number", host::ColumnKind::number, "columns of continuous numbers");
    add_list(command, "--step", "COL=U", "numbers that are multiples of U: counts, ages in years", group,
             [&read](const Words &words) { take_steps(words, read); });
    add("--binary", host::ColumnKind::binary, "columns of two words, or two numbers");
    add_list(command, "--ordered", "COL=a,b,c", "a column of words in that order, the lowest first", group,
             [&read](const Words &words) { take_ordered(words, read); });
    add("--nominal", host::ColumnKind::nominal, "columns of words without order");
    add_list(command, "--carry", "COLS", "columns to carry along unchanged", group,
             [&read](const Words &words) { read.carry = split(words); });
}

void add_columns(CLI::App &command, host::ReadOptions &read) {
    const char *group = "Reading";
    add_list(command, "--columns", "COLS", "columns of the model (default: all but those found to be carried)", group,
             [&read](const Words &words) { read.columns = split(words); });
    command.add_option("--id", read.id, "column that names the rows; carried along")->type_name("COL")->group(group);
    CLI::Option *by =
        command.add_option("--by", read.by, "column of groups, each with parameters of its own; carried along")
            ->type_name("COL")
            ->group(group);
    command.add_option("--by-blank", read.by_blank, "name of a group of the rows whose cell of that column is missing")
        ->needs(by)
        ->check(CLI::Validator([](std::string &name) { return name.empty() ? "a name is needed" : ""; }, ""))
        ->type_name("NAME")
        ->group(group);
}

void add_rules(CLI::App &command, host::Rules &rules) {
    const char *group = "Rules";
    add_list(command, "--lower", "COL=V", "imputed cells of the column lie above V", group,
             [&rules](const Words &words) { rules.lower = numbers_of("--lower", words); });
    add_list(command, "--upper", "COL=V", "imputed cells of the column lie below V", group,
             [&rules](const Words &words) { rules.upper = numbers_of("--upper", words); });
    add_list(command, "--order", "a<b", "order of columns, in every row; also a<b<c, a<=b", group,
             [&rules](const Words &words) { rules.order = words; });
    add_list(command, "--log", "COLS", "model the logarithm", group,
             [&rules](const Words &words) { rules.log = split(words); });
    add_list(command, "--sqrt", "COLS", "model the square root", group,
             [&rules](const Words &words) { rules.sqrt = split(words); });
    add_list(command, "--logit", "COLS", "model the logit, log(x / (1 - x))", group,
             [&rules](const Words &words) { rules.logit = split(words); });
}

}  // namespace

void add_cell_options(CLI::App &command, host::ReadOptions &read) {
    const char *group = "Reading";
    command
        .add_option_function<std::string>(
            "--sep", [&read](const std::string &word) { read.separator = separator_of(word); },
            "character between cells, or tab, space (default: from the header)")
        ->type_name("C")
        ->group(group);
    const std::map<std::string, bool> decimals = {{"point", false}, {"comma", true}};
    command.add_option("--decimal", read.decimal_comma, "how numbers are written: 0.5 or 0,5 (results have points)")
        ->transform(word_of(decimals))
        ->type_name("point|comma")
        ->group(group);
    add_list(command, "--na", "WORDS", "words for a missing cell (default: NA,.,*)", group,
             [&read](const Words &words) { read.missing = split(words); });
    command
        .add_option_function<std::string>(
            "--limits", [&read](const std::string &word) { take_limits(word, read); },
            "endings of the columns with the limits of a value, or none (default: _lo,_hi)")
        ->type_name("LO,HI")
        ->group(group);
    add_list(command, "--remark", "COL=COL", "column of the remarks (<, >, empty) on a column", group,
             [&read](const Words &words) {
                 for (const std::string &word : words)
                     read.remarks.push_back(split_pair("--remark", word, "COLUMN=REMARKS"));
             });
    add_list(command, "--remark-codes", "CODES", "other remarks: below=U,below=UJ,observed=J; also behind a number",
             group, [&read](const Words &words) { take_remark_codes(words, read); });
    add_list(command, "--nd", "COL=V", "the limit behind the word ND in a column", group,
             [&read](const Words &words) { read.limits = numbers_of("--nd", words); });
    add_list(command, "--nd-word", "WORDS", "words for \"not detected\" (default: ND, BDL, <LOD and the like)", group,
             [&read](const Words &words) { read.nondetect = split(words); });
    add_list(command, "--unit", "WORDS", "words behind numbers to read past, such as mg/L", group,
             [&read](const Words &words) { read.units = split(words); });
}

void add_components(CLI::App &command, Options &options) {
    const CLI::Validator number(
        [](std::string &text) {
            if (text == "auto") text = std::to_string(host::kAutomaticComponents);
            std::string error = whole_number<std::size_t>(1)(text);
            if (error.empty() && std::stoull(text) <= host::kMostComponents) return std::string();
            return fmt::format("\"{}\" is neither auto nor a whole number from 1 to {}", text, host::kMostComponents);
        },
        "");
    command
        .add_option("--components", options.components,
                    fmt::format("model the rows as a mixture of at most K normal distributions; auto is {}",
                                host::kAutomaticComponents))
        ->transform(number)
        ->type_name("K|auto")
        ->group("Model");
}

void add_table_options(CLI::App &command, Options &options) {
    command
        .add_option("FILE", options.input, "table to read: CSV, or .sav .dta .xpt .sas7bdat; - reads standard input")
        ->required()
        ->type_name("")
        ->configurable(false);
    options.read.find_kinds = true;
    add_cell_options(command, options.read);
    add_columns(command, options.read);
    add_kinds(command, options.read);
    add_rules(command, options.rules);
}

}  // namespace ullage::cli
