// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The command "ullage apply": new rows completed under the parameters that a run has drawn.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

#include "commands.h"
#include "option_words.h"
#include "problems_json.h"
#include "talk.h"
#include "ullage/host/answer/derive.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/input_file.h"
#include "ullage/host/base/output_file.h"
#include "ullage/host/base/words.h"
#include "ullage/host/run/applied_run.h"
#include "ullage/host/run/result_directory.h"
#include "ullage/host/run/result_file.h"
#include "ullage/host/run/result_names.h"
#include "ullage/host/run/write_table.h"
#include "ullage/host/table/csv_parts.h"
#include "ullage/host/table/read_stat_file.h"

namespace ullage::cli {

void add_apply_options(CLI::App &command, Options &options) {
    command.add_option("RUN", options.apply.run, "directory that ullage impute -o wrote")
        ->required()
        ->type_name("")
        ->configurable(false);
    command.add_option("FILE", options.input, "new rows: CSV, or .sav .dta .xpt .sas7bdat; - reads standard input")
        ->required()
        ->type_name("")
        ->configurable(false);
    add_cell_options(command, options.read);
    const char *group = "Results";
    command.add_option("-o,--output", options.apply.output, "directory for imputation_1.csv, ...")
        ->required()
        ->type_name("DIR")
        ->group(group);
    command.add_option("-m,--imputations", options.apply.imputations, "completed tables (default: as many as the run)")
        ->check(whole_number<int>(1))
        ->type_name("N")
        ->group(group);
    command.add_option("--seed", options.apply.seed, "of the random numbers (default: that of the run)")
        ->check(whole_number<std::uint64_t>(0))
        ->type_name("N")
        ->group(group);
    command.add_flag("--json", options.json, "print what was done, or where the table is wrong, as JSON")
        ->group("Talk");
    add_quiet(command, options);
    command.footer(R"(Example:
  ullage apply results new.csv -o completed
    completes the rows of new.csv, imputation i under the parameters that
    results holds for its imputation i. Nothing is estimated again.)");
}

namespace {

using host::Error;
using host::Fault;

constexpr std::size_t kPartRows = 4096;  // part of what a seed means

/** The parts of the input: read piece by piece if it is a CSV file of its own, else from memory. */
class Input {
public:
    explicit Input(const std::string &path) {
        constexpr std::array<std::string_view, 3> endings = {".csv", ".tsv", ".txt"};
        if (std::ranges::any_of(endings, [&](std::string_view end) { return path.ends_with(end); })) {
            file_.emplace(path);
            text_.source = path;
            parts_.emplace([this](char *buffer, std::size_t size) { return file_->read(buffer, size); }, kPartRows);
            return;
        }
        text_ = host::read_input(path);
        parts_.emplace([this](char *buffer, std::size_t size) { return read_bytes(buffer, size); }, kPartRows);
    }

    [[nodiscard]] bool next(host::CsvPart &part) { return parts_->next(part); }
    [[nodiscard]] host::InputText text_of(const host::CsvPart &part) const {
        return {text_.source, part.bytes, text_.separator, text_.has_lines};
    }

private:
    std::size_t read_bytes(char *buffer, std::size_t size) {
        const std::size_t count = text_.bytes.copy(buffer, size, place_);
        place_ += count;
        return count;
    }

    std::optional<host::InputFile> file_;
    host::InputText text_;
    std::size_t place_ = 0;
    std::optional<host::CsvParts> parts_;
};

/** Read a part; what is wrong with it names rows and lines of the whole file. */
host::NewRows read_part(const host::AppliedRun &run, const Input &input, const host::CsvPart &part,
                        const host::ReadOptions &options, host::Notices &notices) {
    try {
        host::NewRows rows = run.read(input.text_of(part), options, notices);
        for (std::uint32_t &line : rows.table.file.line) {
            if (line > 0) line += static_cast<std::uint32_t>(part.lines_before);
        }
        return rows;
    } catch (const host::DataError &error) {
        std::vector<host::Problem> problems = error.problems();
        for (host::Problem &problem : problems) {
            if (problem.line > 0) problem.line += part.lines_before;
            if (problem.row > 0) problem.row += part.rows_before;
        }
        throw host::DataError(input.text_of({}).source, std::move(problems), error.problem_count());
    }
}

/** How cells are written: as the run's were, but for what is given now. */
host::ReadOptions reading_of(const host::RunRecord &record, const host::ReadOptions &given) {
    const host::ReadOptions unchanged;
    host::ReadOptions reading = record.reading;
    const auto take = [&](auto... members) {
        const auto take_one = [&](auto member) {
            if (given.*member != unchanged.*member) reading.*member = given.*member;
        };
        (take_one(members), ...);
    };
    using Read = host::ReadOptions;
    take(&Read::separator, &Read::decimal_comma, &Read::missing, &Read::pairs, &Read::lower_suffix, &Read::upper_suffix,
         &Read::remarks, &Read::remark_below, &Read::remark_above, &Read::remark_observed, &Read::remarks_in_cells,
         &Read::units, &Read::nondetect, &Read::limits);
    return reading;
}

int count_imputations(const ApplyOptions &apply, const host::RunRecord &record) {
    if (apply.imputations.value_or(0) <= record.imputations) return apply.imputations.value_or(record.imputations);
    throw Error(Fault::usage, fmt::format("-m: {} has drawn parameters for {} imputations, and apply draws none",
                                          apply.run, record.imputations));
}

/** The files of the completed tables, where nothing is that they would replace. */
host::ResultDirectory open_directory(const Options &options, const std::vector<std::string> &names) {
    const std::string &output = options.apply.output;
    if (output == "-") throw Error(Fault::usage, "apply writes a file for each imputation: give -o a directory");
    if (std::filesystem::exists(host::path_in(output, host::kRecordName))) {
        throw Error(Fault::cannot_create, output + " holds the results of a run; give another directory");
    }
    return {output, names, {options.input}};
}

struct Done {
    std::size_t rows = 0;
    std::size_t cells = 0;
};

Done complete_parts(const Options &options, const host::AppliedRun &run, const host::RunRecord &record,
                    const std::vector<std::string> &names, host::ResultDirectory &directory) {
    const std::vector<host::Derivation> derivations = host::derivations_of(record);
    const host::ReadOptions reading = reading_of(record, options.read);
    Input input(options.input);
    Done done;
    host::CsvPart part;
    for (std::uint64_t number = 1; input.next(part); ++number) {
        host::Notices notices;
        const host::NewRows some = read_part(run, input, part, reading, notices);
        const host::Deriver deriver(some.table, some.hidden, derivations, part.rows_before);
        if (number == 1) {
            say(options, notices);
            for (const std::string &name : names) {
                host::write_header(directory.file(name), some.table, deriver.original(), false);
            }
        }
        run.complete(some, names.size(), options.apply.seed.value_or(record.seed), number,
                     [&](std::size_t k, std::span<const double> values) {
                         host::write_rows(directory.file(names[k]), some.table, some.hidden, values,
                                          deriver.of(k + 1, values), static_cast<int>(k) + 1, false);
                     });
        done.rows += some.table.row_count();
        done.cells += some.hidden.cells.size();
    }
    return done;
}

void print(const nlohmann::ordered_json &json) {
    host::OutputFile out("-");
    out.write(json.dump(2) + "\n");
    out.commit();
}

/** Complete the file, and give what is to be printed of that. */
nlohmann::ordered_json complete_file(const Options &options) {
    const ApplyOptions &apply = options.apply;
    const host::RunRecord record = host::read_run_record(apply.run);
    const auto imputations = static_cast<std::size_t>(count_imputations(apply, record));
    std::vector<std::string> names;
    for (std::size_t i = 1; i <= imputations; ++i) names.push_back(host::imputation_name(i, imputations));
    const host::ParameterDraws draws = host::read_parameters(apply.run, record);
    const host::AppliedRun run(record, draws);
    host::ResultDirectory directory = open_directory(options, names);
    const Done done = complete_parts(options, run, record, names, directory);
    directory.commit_files();
    say(options, fmt::format("{} with {} completed {} times; results in {}", host::count_of(done.rows, "row"),
                             host::count_of(done.cells, "hidden cell"), imputations, apply.output));
    if (!record.warnings.empty()) {
        say(options,
            {{true, fmt::format("the run has warnings, which hold for these tables too; ullage diagnose {} shows them",
                                apply.run)}});
    }
    nlohmann::ordered_json json = {{"rows", done.rows}, {"cells", done.cells}, {"imputations", imputations}};
    json.update(problems_as_json(nullptr));
    return json;
}

}  // namespace

int run_apply(const Options &options) {
    try {
        const nlohmann::ordered_json json = complete_file(options);
        if (options.json) print(json);
    } catch (const host::DataError &error) {
        if (options.json) print(problems_as_json(&error));
        throw;
    }
    return 0;
}

}  // namespace ullage::cli
