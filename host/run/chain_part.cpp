// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The results of one chain of a run, and all chains together.

#include "ullage/host/run/chain_part.h"

#include <fmt/format.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/input_file.h"
#include "ullage/host/model/parameter_names.h"
#include "ullage/host/run/result_file.h"
#include "ullage/host/run/result_names.h"

namespace ullage::host {
namespace {

/** Numbers of a file, one list after the other. */
class NumberFile {
public:
    NumberFile(const ChainPart &part) : file_(open_result(part.directory, part.record, kPartName)) {}

    std::vector<double> read(std::size_t count) {
        std::vector<double> numbers(count);
        char *bytes = reinterpret_cast<char *>(numbers.data());
        for (std::size_t done = 0; done < count * sizeof(double);) {
            done += file_->read(bytes + done, count * sizeof(double) - done);
        }
        return numbers;
    }
    /** Refuse a file of another size, before anything is read. */
    void need(double count) const {
        if (static_cast<double>(file_->size()) == count * sizeof(double)) return;
        throw Error(Fault::data, fmt::format("{}: there are not the {} numbers of the run", file_->path(), count));
    }

private:
    std::unique_ptr<InputFile> file_;
};

void write_numbers(OutputFile &file, std::span<const double> numbers) {
    file.write(std::string_view(reinterpret_cast<const char *>(numbers.data()), numbers.size_bytes()));
}

}  // namespace

std::vector<ChainPart> read_chain_parts(const std::vector<std::string> &directories) {
    std::vector<ChainPart> given;
    for (const std::string &directory : directories) {
        given.push_back({directory, read_run_record(directory)});
        if (given.back().record.chain) continue;
        throw Error(Fault::data,
                    fmt::format("{}: these are the results of a whole run, and not those of one chain", directory));
    }
    for (const ChainPart &part : given) {
        if (const auto what = difference(given.front().record, part.record)) {
            throw Error(Fault::data, fmt::format("{} and {} are not parts of one run: their {} differ",
                                                 given.front().directory, part.directory, *what));
        }
    }
    const int chains = given.empty() ? 0 : given.front().record.chains;
    std::vector<ChainPart> parts;
    for (int chain = 1; chain <= chains; ++chain) {
        const ChainPart *found = nullptr;
        for (const ChainPart &part : given) {
            if (part.record.chain != chain) continue;
            if (found != nullptr) {
                throw Error(Fault::data, fmt::format("{} and {} are both chain {} of {}", found->directory,
                                                     part.directory, chain, chains));
            }
            found = &part;
        }
        if (found == nullptr) {
            throw Error(Fault::data, fmt::format("chain {0} of {1} is missing: give the directory that ullage impute "
                                                 "--chain {0}/{1} wrote, besides {2} and the like",
                                                 chain, chains, given.front().directory));
        }
        parts.push_back(*found);
    }
    return parts;
}

void check_part_of(const ChainPart &part, const RunRecord &run) {
    if (const auto what = difference(part.record, run)) {
        throw Error(Fault::data,
                    fmt::format("{} is not a part of a run of {} as it is now with the options of that part: the {} "
                                "differ",
                                part.directory, run.input_name, *what));
    }
}

void write_chain_part(OutputFile &file, const ImputeSettings &settings, const Imputations &imputations) {
    const auto chain = static_cast<std::size_t>(settings.only.value());
    write_numbers(file, imputations.draws[chain]);
    write_numbers(file, imputations.refused_rows[chain]);
    for (std::size_t i = chain; i < imputations.values.size(); i += static_cast<std::size_t>(settings.chains)) {
        write_numbers(file, imputations.values[i]);
    }
}

Imputations gather_chain_parts(const std::vector<ChainPart> &parts, const ModelTable &model,
                               const ImputeSettings &settings, const DrawPlace &place) {
    const std::size_t levels = model.levels.size();
    const std::size_t draws = static_cast<std::size_t>(settings.kept()) * levels * parameter_names(model).size();
    const std::size_t refused = model.region.is_everywhere() || model.mixture ? 0 : levels;
    const std::size_t cells = model.hidden->cells.size();
    const auto imputations = static_cast<std::size_t>(settings.imputations);
    Imputations result;
    result.thin = settings.thin;
    result.values = DrawnCells(*model.hidden, imputations, place);
    for (std::size_t chain = 0; chain < parts.size(); ++chain) {
        NumberFile file(parts[chain]);
        const std::size_t own = (imputations + parts.size() - 1 - chain) / parts.size();
        file.need(static_cast<double>(draws + refused) + static_cast<double>(own) * static_cast<double>(cells));
        result.draws.push_back(file.read(draws));
        result.refused_rows.push_back(file.read(refused));
        result.sweeps.push_back(parts[chain].record.most_sweeps);
        for (std::size_t i = chain; i < imputations; i += parts.size()) result.values.put(i, file.read(cells));
    }
    result.find_shares(model, settings);
    return result;
}

}  // namespace ullage::host
