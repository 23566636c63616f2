// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The command line, by CLI11.

#include "command_line.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <limits>
#include <map>

#include "ullage/host/base/error.h"
#include "ullage/host/base/number_text.h"

namespace ullage::cli {
namespace {

using host::Error;
using host::Fault;

constexpr const char *kExitCodes = R"(Exit codes:
   0  done                        65  the table or its rules are wrong
  64  wrong options               66  an input cannot be read
  70  internal fault              73  an output cannot be written
 130  interrupted                141  the reader of standard output went away)";

constexpr const char *kCheckExample = R"(--config FILE reads these options from a file, one name = value per line.

Example:
  ullage check lead.csv --order 'dissolved<total'
    shows what is missing or bounded in lead.csv, in which patterns, and
    whether cells and rules contradict each other.)";

constexpr const char *kImputeExample = R"(--config FILE reads these options from a file, one name = value per line.

Example:
  ullage impute lead.csv -o results --seed 1 --log lead --log zinc
    completes lead.csv 20 times and writes results/imputations.csv,
    results/parameters.csv, results/run.json and results/report.html.)";

constexpr const char *kDiagnoseExample =
    R"(The exit code is 0, also if the diagnostics are bad; with --strict it is then 1.

Example:
  ullage diagnose results --strict
    shows R-hat, effective sample sizes and missing information of every
    parameter, the worst first, and how many imputations are needed.)";

constexpr const char *kPoolExample = R"(Examples:
  ullage pool results --lm 'lead ~ zinc + log(depth)'
    fits the regression to each completed table and pools by Rubin's rules.
  ullage pool --estimates fits.csv --df 40
    pools estimates made elsewhere: columns term, estimate, std.error, one
    row per imputation.)";

constexpr const char *kReportExample = R"(Example:
  ullage report results
    writes results/report.html again, as ullage impute does.)";

/** The words of options that are not yet what they mean. */
struct Words {
    std::vector<std::string> missing;
    std::vector<std::string> columns;
    std::vector<std::string> carry;
    std::vector<std::string> lower;
    std::vector<std::string> upper;
    std::vector<std::string> remarks;
    std::vector<std::string> remark_codes;
    std::vector<std::string> limits_of_nondetects;
    std::vector<std::string> log;
    std::vector<std::string> sqrt;
    std::vector<std::string> logit;
    std::vector<std::string> quantiles;
    std::vector<std::string> tested;
    std::string separator;
    std::string pair_suffixes;
};

/** A file with the same options as the command line, one "name = value" per line, for whichever command runs. */
class ConfigFile : public CLI::ConfigBase {
public:
    explicit ConfigFile(const CLI::App &app) : app_(app) {}

    std::vector<CLI::ConfigItem> from_config(std::istream &input) const override {
        std::vector<CLI::ConfigItem> given = ConfigBase::from_config(input);
        const std::vector<CLI::App *> chosen = app_.get_subcommands();
        if (chosen.empty()) return {};
        std::vector<CLI::ConfigItem> known;
        for (CLI::ConfigItem &item : given) {
            const std::string name = (item.name.size() == 1 ? "-" : "--") + item.name;
            if (item.parents.empty() && chosen.front()->get_option_no_throw(name) != nullptr) {
                item.parents = {chosen.front()->get_name()};
                known.push_back(std::move(item));
                continue;
            }
            // One file serves all commands: what only another command knows is not for this one.
            const auto all = app_.get_subcommands([](const CLI::App *) { return true; });
            if (!item.parents.empty() || std::none_of(all.begin(), all.end(), [&](const CLI::App *command) {
                    return command->get_option_no_throw(name) != nullptr;
                })) {
                throw CLI::ConfigError("there is no option " + item.fullname());
            }
        }
        return known;
    }

private:
    const CLI::App &app_;
};

/** Take "a,b" apart; a comma between double quotes belongs to its name. */
std::vector<std::string> split(const std::vector<std::string> &lists) {
    std::vector<std::string> names;
    for (const std::string &list : lists) {
        std::string name;
        bool quoted = false;
        for (const char c : list) {
            if (c == '"') {
                quoted = !quoted;
            } else if (c == ',' && !quoted) {
                names.push_back(std::move(name));
                name.clear();
            } else {
                name += c;
            }
        }
        names.push_back(std::move(name));
    }
    return names;
}

std::pair<std::string, std::string> split_pair(const std::string &option, const std::string &text, const char *form) {
    const std::size_t sign = text.rfind('=');
    if (sign == std::string::npos || sign == 0) {
        throw Error(Fault::usage, option + " is given as " + form + ", not as \"" + text + "\"");
    }
    return {text.substr(0, sign), text.substr(sign + 1)};
}

double number_of(const std::string &option, const std::string &text) {
    if (const auto number = host::parse_number(text)) return *number;
    throw Error(Fault::usage, option + ": \"" + text + "\" is no number");
}

std::vector<std::pair<std::string, double>> numbers_of(const std::string &option,
                                                       const std::vector<std::string> &words) {
    std::vector<std::pair<std::string, double>> result;
    for (const std::string &word : words) {
        const auto [column, text] = split_pair(option, word, "COLUMN=NUMBER");
        result.emplace_back(column, number_of(option, text));
    }
    return result;
}

char separator_of(const std::string &word) {
    if (word == "tab" || word == "\\t") return '\t';
    if (word == "space") return ' ';
    constexpr std::string_view never = "\"\r\n.+-0123456789";
    if (word.size() != 1 || static_cast<unsigned char>(word[0]) >= 128 || never.find(word[0]) != never.npos) {
        throw Error(Fault::usage, "--sep is one character such as ; or the word tab or space, not \"" + word + "\"");
    }
    return word[0];
}

void take_words(const Words &words, Options &options) {
    host::ReadOptions &read = options.read;
    if (!words.missing.empty()) read.missing = split(words.missing);
    if (!words.columns.empty()) read.columns = split(words.columns);
    read.carry = split(words.carry);
    if (!words.separator.empty()) read.separator = separator_of(words.separator);
    if (words.pair_suffixes == "none") {
        read.pairs = false;
    } else if (!words.pair_suffixes.empty()) {
        const std::vector<std::string> suffixes = split({words.pair_suffixes});
        if (suffixes.size() != 2 || suffixes[0].empty() || suffixes[1].empty() || suffixes[0] == suffixes[1]) {
            throw Error(Fault::usage, "--limits takes two endings such as _lo,_hi, or none");
        }
        read.lower_suffix = suffixes[0];
        read.upper_suffix = suffixes[1];
    }
    for (const std::string &word : words.remarks) {
        read.remarks.push_back(split_pair("--remark", word, "COLUMN=REMARKS"));
    }
    for (const std::string &code : split(words.remark_codes)) {
        const auto [meaning, text] = split_pair("--remark-codes", code, "below=CODE,above=CODE,observed=CODE");
        if (meaning == "below") {
            read.remark_below = text;
        } else if (meaning == "above") {
            read.remark_above = text;
        } else if (meaning == "observed") {
            read.remark_observed = text;
        } else {
            throw Error(Fault::usage, "--remark-codes knows below, above and observed, not \"" + meaning + "\"");
        }
    }
    read.limits = numbers_of("--nd", words.limits_of_nondetects);
    options.rules.lower = numbers_of("--lower", words.lower);
    options.rules.upper = numbers_of("--upper", words.upper);
    options.rules.log = split(words.log);
    options.rules.sqrt = split(words.sqrt);
    options.rules.logit = split(words.logit);
    for (const std::string &word : split(words.quantiles)) {
        options.pool.request.quantiles.push_back(number_of("--quantiles", word));
    }
    options.pool.tested = split(words.tested);
    const std::string &prior = options.impute.prior;
    std::error_code ignored;
    if (prior != "default" && prior != "jeffreys" && prior != "-" && !prior.starts_with("ridge") &&
        !std::filesystem::exists(prior, ignored)) {
        throw Error(
            Fault::no_input,
            fmt::format("--prior: \"{}\" is none of default, jeffreys and ridge=CASES, and there is no such file",
                        prior));
    }
}

/** A check that refuses all but whole numbers that T can hold. What passes is written anew, as CLI11 would take 010 for
 * octal. */
template <typename T>
CLI::Validator whole_number(T least) {
    return {[least](std::string &text) {
                T value{};
                const char *end = text.data() + text.size();
                const auto [stop, error] = std::from_chars(text.data(), end, value);
                if (error != std::errc() || stop != end || value < least) {
                    return fmt::format("\"{}\" is no whole number from {} to {}", text, least,
                                       std::numeric_limits<T>::max());
                }
                text = std::to_string(value);
                return std::string();
            },
            ""};
}

/** A check that takes a word for the number of what it stands for. */
template <typename T>
CLI::Validator word_of(const std::map<std::string, T> &meanings) {
    return {[meanings](std::string &word) {
                const auto found = meanings.find(word);
                if (found == meanings.end()) {
                    std::vector<std::string> words;
                    for (const auto &[known, meaning] : meanings) words.push_back(known);
                    return fmt::format("\"{}\" is none of {}", word, fmt::join(words, ", "));
                }
                word = std::to_string(static_cast<int>(found->second));
                return std::string();
            },
            ""};
}

/** An option that may be given several times, one value each time. */
void add_list(CLI::App *command, const std::string &name, std::vector<std::string> &target, const std::string &value,
              const std::string &text, const char *group) {
    command->add_option(name, target, text)->type_name(value)->allow_extra_args(false)->group(group);
}

void add_table_options(CLI::App *command, Options &options, Words &words) {
    command
        ->add_option("FILE", options.input, "table to read: CSV, or .sav .dta .xpt .sas7bdat; - reads standard input")
        ->required()
        ->type_name("")
        ->configurable(false);

    const char *group = "Reading";
    command->add_option("--sep", words.separator, "character between cells, or tab, space (default: from the header)")
        ->type_name("C")
        ->group(group);
    add_list(command, "--na", words.missing, "WORDS", "words for a missing cell (default: NA,.,*)", group);
    add_list(command, "--columns", words.columns, "COLS", "columns of the model (default: all with numbers)", group);
    add_list(command, "--carry", words.carry, "COLS", "columns to carry along unchanged", group);
    command->add_option("--id", options.read.id, "column that names the rows; carried along")
        ->type_name("COL")
        ->group(group);
    command->add_option("--by", options.read.by, "column of groups, each with parameters of its own; carried along")
        ->type_name("COL")
        ->group(group);
    command
        ->add_option("--limits", words.pair_suffixes,
                     "endings of the columns with the limits of a value, or none "
                     "(default: _lo,_hi)")
        ->type_name("LO,HI")
        ->group(group);
    add_list(command, "--remark", words.remarks, "COL=COL", "column of the remarks (<, >, empty) on a column", group);
    add_list(command, "--remark-codes", words.remark_codes, "CODES", "other remarks: below=1,above=2,observed=0",
             group);
    add_list(command, "--nd", words.limits_of_nondetects, "COL=V", "the limit behind the word ND in a column", group);
    command->add_option("--nd-word", options.read.nondetect, "the word for \"not detected\" (default: ND)")
        ->type_name("WORD")
        ->group(group);

    group = "Rules";
    add_list(command, "--lower", words.lower, "COL=V", "imputed cells of the column lie above V", group);
    add_list(command, "--upper", words.upper, "COL=V", "imputed cells of the column lie below V", group);
    add_list(command, "--order", options.rules.order, "a<b", "order of columns, in every row; also a<b<c, a<=b", group);
    add_list(command, "--log", words.log, "COLS", "model the logarithm", group);
    add_list(command, "--sqrt", words.sqrt, "COLS", "model the square root", group);
    add_list(command, "--logit", words.logit, "COLS", "model the logit, log(x / (1 - x))", group);
}

void add_quiet(CLI::App *command, Options &options) {
    command->add_flag("--quiet", options.quiet, "say only warnings and errors")->group("Talk");
}

void add_impute_options(CLI::App *command, Options &options) {
    ImputeOptions &impute = options.impute;
    const CLI::Validator from_zero = whole_number(0);
    const CLI::Validator from_one = whole_number(1);
    command
        ->add_option("-o,--output", impute.output, "directory for the results; - writes the tables to standard output")
        ->required()
        ->type_name("DIR")
        ->group("Results");
    const std::map<std::string, Format> formats = {
        {"long", Format::long_table}, {"files", Format::files}, {"dta", Format::dta}, {"sav", Format::sav}};
    command
        ->add_option("--format", impute.format,
                     "long: one file with .imp and .id; files: one per imputation; dta, sav: long, and for Stata or "
                     "SPSS besides")
        ->transform(word_of(formats))
        ->type_name("long|files|dta|sav")
        ->group("Results");
    command->add_flag("--json", options.json, "print the run record to standard output")->group("Results");
    // The help would show a flag that is bound to the value as --no-report{false}.
    command
        ->add_flag_callback(
            "--no-report", [&impute] { impute.report = false; }, "do not write report.html")
        ->group("Results");

    const char *group = "Imputation";
    const auto add_count = [&](const std::string &name, int &target, const std::string &text,
                               const CLI::Validator &range) {
        CLI::Option *option = command->add_option(name, target, text)->transform(range)->type_name("N")->group(group);
        if (target > 0) option->capture_default_str();
    };
    add_count("-m,--imputations", impute.imputations, "completed tables", from_one);
    command->add_option("--seed", impute.seed, "of the random numbers (default: chosen, printed and recorded)")
        ->transform(whole_number<std::uint64_t>(0))
        ->type_name("N")
        ->group(group);
    add_count("--burn-in", impute.burn_in, "iterations of each chain before its first imputation", from_zero);
    add_count("--thin", impute.thin, "iterations between two imputations of a chain", from_one);
    add_count("--chains", impute.chains, "independent chains", from_one);
    add_count("-j,--jobs", impute.jobs, "processes that share the work (default: one per processor)", from_one);
    command->add_option("--prior", impute.prior, "default, jeffreys, ridge=CASES, or a file with a full prior")
        ->type_name("PRIOR")
        ->capture_default_str()
        ->group(group);

    command
        ->add_flag("--overimpute", impute.overimpute,
                   "hide observed cells in turn, impute them too, and say how often the intervals cover them")
        ->group(group);

    add_quiet(command, options);
    const std::map<std::string, Progress> kinds = {
        {"auto", Progress::automatic}, {"none", Progress::none}, {"json", Progress::json}};
    command->add_option("--progress", options.progress, "on standard error (default: auto, a bar on a terminal)")
        ->transform(word_of(kinds))
        ->type_name("auto|none|json")
        ->group("Talk");
}

void add_directory(CLI::App *command, Options &options, bool required) {
    command->add_option("DIR", options.input, "directory that ullage impute -o wrote")
        ->required(required)
        ->type_name("")
        ->configurable(false);
}

void add_diagnose_options(CLI::App *command, Options &options) {
    add_directory(command, options, true);
    command->add_flag("--strict", options.strict, "exit with code 1 if the diagnostics are bad")->group("Results");
    command->add_flag("--json", options.json, "print everything as JSON")->group("Results");
    add_quiet(command, options);
}

void add_pool_options(CLI::App *command, Options &options, Words &words) {
    PoolOptions &pool = options.pool;
    add_directory(command, options, false);
    const char *group = "Quantities";
    command->add_flag("--means", pool.request.means, "means (the default)")->group(group);
    command->add_flag("--variances", pool.request.variances, "variances")->group(group);
    command->add_flag("--covariances", pool.request.covariances, "covariances")->group(group);
    command->add_flag("--correlations", pool.request.correlations, "correlations, by Fisher's z")->group(group);
    add_list(command, "--quantiles", words.quantiles, "P,P", "quantiles of these probabilities", group);
    command->add_option("--lm", pool.formula, "linear regression, such as 'y ~ x1 + log(x2)'")
        ->type_name("FORMULA")
        ->group(group);
    add_list(command, "--test", words.tested, "TERMS", "joint Wald test of these coefficients of --lm", group);
    command->add_option("--estimates", pool.estimates, "pool this table of estimates instead; - reads standard input")
        ->type_name("FILE")
        ->group(group);
    command->add_option("--df", pool.complete_df, "complete-data degrees of freedom of --estimates (default: infinite)")
        ->type_name("N")
        ->group(group);
    group = "Results";
    command->add_option("--confidence", pool.confidence, "of the intervals")
        ->type_name("P")
        ->capture_default_str()
        ->group(group);
    command->add_flag("--json", options.json, "print everything as JSON")->group(group);
    command->add_flag("--csv", pool.csv, "print as CSV")->group(group);
    add_quiet(command, options);
}

void add_report_options(CLI::App *command, Options &options) {
    add_directory(command, options, true);
    command->add_option("-o,--output", options.report_output, "file to write instead of DIR/report.html, or -")
        ->type_name("FILE")
        ->group("Results");
    add_quiet(command, options);
}

}  // namespace

CommandLine parse_command_line(int argc, char **argv) {
    CommandLine result;
    Words words;
    CLI::App app("Imputes cells that are missing, below or above a limit, within an interval, or known by their order.",
                 "ullage");
    app.set_version_flag("--version", "ullage " ULLAGE_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(kExitCodes);
    app.set_config("--config", "", "file with options, one name = value per line");
    app.get_config_ptr()->type_name("FILE");
    app.config_formatter(std::make_shared<ConfigFile>(app));
    app.allow_config_extras(CLI::config_extras_mode::error);

    CLI::App *check =
        app.add_subcommand("check", "Show what is observed, missing and bounded, and look for contradictions");
    add_table_options(check, result.options, words);
    add_quiet(check, result.options);
    check->add_flag("--json", result.options.json, "print everything as JSON")->group("Talk");
    check->footer(kCheckExample);

    CLI::App *impute = app.add_subcommand("impute", "Complete the table by multiple imputation");
    add_table_options(impute, result.options, words);
    add_impute_options(impute, result.options);
    impute->footer(kImputeExample);

    CLI::App *diagnose = app.add_subcommand("diagnose", "Show whether the results of impute can be trusted");
    add_diagnose_options(diagnose, result.options);
    diagnose->footer(kDiagnoseExample);

    CLI::App *pool = app.add_subcommand("pool", "Give one answer from all completed tables, by Rubin's rules");
    add_pool_options(pool, result.options, words);
    pool->footer(kPoolExample);

    CLI::App *report = app.add_subcommand("report", "Write the report of a run again");
    add_report_options(report, result.options);
    report->footer(kReportExample);

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &success) {
        (void)app.exit(success);
        if (!std::cout.flush()) throw Error(Fault::cannot_create, "standard output cannot be written");
        return result;
    } catch (const CLI::ConfigError &error) {
        throw Error(Fault::usage, std::string("--config: ") + error.what());
    } catch (const CLI::FileError &error) {
        throw Error(Fault::no_input, error.what());
    } catch (const CLI::ParseError &error) {
        const std::vector<std::string> unknown = app.remaining();
        if (app.get_subcommands().empty() && !unknown.empty() && !unknown[0].starts_with('-')) {
            throw Error(
                Fault::usage,
                fmt::format("there is no command \"{}\"; ullage --help shows those that there are", unknown[0]));
        }
        throw Error(Fault::usage, std::string(error.what()) + "\nullage --help and ullage COMMAND --help tell more");
    }
    take_words(words, result.options);
    result.options.command.assign(argv, argv + argc);
    result.run = check->parsed()      ? run_check
                 : impute->parsed()   ? run_impute
                 : diagnose->parsed() ? run_diagnose
                 : pool->parsed()     ? run_pool
                                      : run_report;
    return result;
}

}  // namespace ullage::cli
