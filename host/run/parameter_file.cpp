// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Writing and reading the draws of the parameters.

#include "ullage/host/run/parameter_file.h"

#include <fmt/format.h>

#include <algorithm>

#include "ullage/host/base/csv_quoting.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"
#include "ullage/host/model/parameter_names.h"
#include "ullage/host/run/result_file.h"
#include "ullage/host/run/result_names.h"

namespace ullage::host {
void write_parameters(OutputFile &file, const ModelTable &model, const Imputations &result) {
    const bool by = !(model.levels.size() == 1 && model.levels[0].name.empty());
    const std::vector<std::string> names = parameter_names(model);
    std::string line = by ? ".chain,.iteration,.level" : ".chain,.iteration";
    for (const std::string &name : names) line += ',' + quote_cell(name, ',');
    file.write(line + '\n');
    const std::size_t iterations = result.draws[0].size() / (names.size() * model.levels.size());
    for (std::size_t chain = 0; chain < result.draws.size(); ++chain) {
        for (std::size_t iteration = 0; iteration < iterations; ++iteration) {
            for (std::size_t level = 0; level < model.levels.size(); ++level) {
                line = fmt::format("{},{}", chain + 1, iteration + 1);
                if (by) line += ',' + quote_cell(model.levels[level].name, ',');
                for (const double number : result.draw(model, chain, iteration, level)) {
                    line += ',' + format_number(number);
                }
                file.write(line + '\n');
            }
        }
    }
}

namespace {

/** Complain of columns that are not those that the record says. */
void check_columns(const CsvRows &file, const std::vector<std::string> &header) {
    for (std::size_t c = 0; c < std::max(header.size(), file.names().size()); ++c) {
        if (c < header.size() && c < file.names().size() && trim(header[c]) == file.names()[c]) continue;
        throw Error(Fault::data,
                    fmt::format("{}: its columns are not the parameters of run.json: column {} should be {}",
                                file.source(), c + 1, c < header.size() ? quote(header[c]) : std::string("none")));
    }
}

}  // namespace

ParameterDraws read_parameters(const std::string &directory, const RunRecord &record) {
    const ResultRows file(directory, record, kParametersName, ',');
    ParameterDraws result;
    result.names = parameter_names(record.variable_names(), record.components);
    std::vector<std::string> header = {".chain", ".iteration"};
    if (record.by) header.emplace_back(".level");
    const std::size_t first = header.size();
    header.insert(header.end(), result.names.begin(), result.names.end());
    check_columns(*file, header);
    const auto chains = static_cast<std::size_t>(record.chains);
    const std::size_t levels = record.levels.size();
    const auto per_chain = (static_cast<std::size_t>(record.imputations) + chains - 1) / chains;
    const std::size_t iterations = per_chain * static_cast<std::size_t>(record.thin);
    file.need_rows(static_cast<double>(chains) * static_cast<double>(iterations) * static_cast<double>(levels));
    const auto check_end = [&](bool has_row, std::size_t rows_read) {
        const std::size_t expected = chains * iterations * levels;
        if (has_row == (rows_read < expected)) return;
        throw Error(
            Fault::data,
            fmt::format("{}: {}, and not the {} of {} of {} and {}; the file is cut off, or not of "
                        "the run of run.json",
                        file->source(), has_row ? "more rows" : count_of(rows_read, "row"), expected,
                        count_of(chains, "chain"), count_of(iterations, "iteration"), count_of(levels, "level")));
    };
    result.draws.assign(levels, std::vector<Chains>(result.names.size(), Chains(chains)));
    std::size_t row = 0;
    for (std::size_t chain = 0; chain < chains; ++chain) {
        for (std::size_t iteration = 0; iteration < iterations; ++iteration) {
            for (std::size_t level = 0; level < levels; ++level, ++row) {
                check_end(file->next(), row);
                if (file->number(0) != static_cast<double>(chain + 1) ||
                    file->number(1) != static_cast<double>(iteration + 1) ||
                    (record.by && file->cell(2) != record.levels[level].name)) {
                    throw file->broken(
                        fmt::format("expected chain {}, iteration {}{}", chain + 1, iteration + 1,
                                    record.by ? ", level " + quote(record.levels[level].name) : std::string()));
                }
                for (std::size_t p = 0; p < result.names.size(); ++p) {
                    result.draws[level][p][chain].push_back(file->number(first + p));
                }
            }
        }
    }
    check_end(file->next(), row);
    return result;
}

bool is_beginning(const ParameterDraws &earlier, const ParameterDraws &longer) {
    const auto begins = [](const std::vector<double> &first, const std::vector<double> &second) {
        return first.size() <= second.size() && std::equal(first.begin(), first.end(), second.begin());
    };
    const auto all_begin = [&](const Chains &first, const Chains &second) {
        return std::ranges::equal(first, second, begins);
    };
    return earlier.names == longer.names &&
           std::ranges::equal(earlier.draws, longer.draws, [&](const auto &first, const auto &second) {
               return std::ranges::equal(first, second, all_begin);
           });
}

}  // namespace ullage::host
