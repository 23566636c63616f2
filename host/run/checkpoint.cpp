// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Writing and reading a checkpoint.

#include "ullage/host/run/checkpoint.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "ullage/host/base/checksum.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/input_file.h"

namespace ullage::host {
namespace {

constexpr std::string_view kTitle = "ullage checkpoint 1\n";
constexpr std::size_t kPiece = std::size_t{1} << 20;

Error broken(const std::string &path) {
    return {Fault::data, fmt::format("{}: this is no checkpoint, or it was changed or cut off; remove it, and the run "
                                     "begins at its start",
                                     path)};
}

/** A file whose last bytes are the checksum of those before. */
class SealedWriter {
public:
    explicit SealedWriter(OutputFile &file) : file_(file) {}

    void write(std::string_view bytes) {
        checksum_.add(bytes);
        file_.write(bytes);
    }
    void write(std::span<const double> numbers) {
        const auto count = static_cast<double>(numbers.size());
        write(std::string_view(reinterpret_cast<const char *>(&count), sizeof(count)));
        write(std::string_view(reinterpret_cast<const char *>(numbers.data()), numbers.size_bytes()));
    }
    void seal() { file_.write(checksum_.finish()); }

private:
    OutputFile &file_;
    Checksum checksum_;
};

/** A checkpoint that is whole, read from its record on. */
class SealedReader {
public:
    explicit SealedReader(const std::string &path) : file_(path) {
        check_seal();
        left_ = static_cast<std::size_t>(file_.size()) - kSealSize;
        std::string title(kTitle.size(), '\0');
        read(title.data(), title.size());
        if (title != kTitle) throw broken(file_.path());
        std::string digits;
        for (char next = 0; next != '\n'; digits.push_back(next)) read(&next, 1);
        std::size_t length = 0;
        const auto stop = std::from_chars(digits.data(), digits.data() + digits.size(), length);
        if (stop.ec != std::errc() || *stop.ptr != '\n' || length > left_) throw broken(file_.path());
        std::string text(length, '\0');
        read(text.data(), length);
        record_ = run_record_of(file_.path(), text);
    }

    [[nodiscard]] const RunRecord &record() const { return record_; }

    std::vector<double> read_list() {
        double count = 0.0;
        read(reinterpret_cast<char *>(&count), sizeof(count));
        if (!(count >= 0.0 && count <= static_cast<double>(left_ / sizeof(double)))) throw broken(file_.path());
        std::vector<double> numbers(static_cast<std::size_t>(count));
        read(reinterpret_cast<char *>(numbers.data()), numbers.size() * sizeof(double));
        return numbers;
    }
    /** A list of so many. */
    std::vector<double> read_list(std::size_t count) {
        std::vector<double> numbers = read_list();
        if (numbers.size() != count) throw broken(file_.path());
        return numbers;
    }
    void need_end() const {
        if (left_ > 0) throw broken(file_.path());
    }

private:
    static constexpr std::size_t kSealSize = 64;

    void check_seal() {
        if (file_.size() < static_cast<std::int64_t>(kSealSize + kTitle.size())) throw broken(file_.path());
        InputFile all(file_.path());
        Checksum checksum;
        std::string piece(kPiece, '\0');
        for (auto left = static_cast<std::size_t>(file_.size()) - kSealSize; left > 0;) {
            const std::size_t got = all.read(piece.data(), std::min(left, piece.size()));
            if (got == 0) throw broken(file_.path());
            checksum.add(std::string_view(piece).substr(0, got));
            left -= got;
        }
        if (all.read_all() != checksum.finish()) throw broken(file_.path());
    }
    void read(char *bytes, std::size_t size) {
        if (size > left_) throw broken(file_.path());
        left_ -= size;
        while (size > 0) {
            const std::size_t got = file_.read(bytes, size);
            if (got == 0) throw broken(file_.path());
            bytes += got;
            size -= got;
        }
    }

    InputFile file_;
    std::size_t left_ = 0;
    RunRecord record_;
};

/** The chains that are run. */
std::pair<std::size_t, std::size_t> chains_of(const ImputeSettings &settings) {
    if (settings.only) return {*settings.only, *settings.only + 1};
    return {0, settings.chains};
}

}  // namespace

void write_checkpoint(OutputFile &file, const RunRecord &record, const ImputeSettings &settings, const RunState &state,
                      const Imputations &result) {
    SealedWriter writer(file);
    const std::string text = run_record_text(record);
    writer.write(fmt::format("{}{}\n{}", kTitle, text.size(), text));
    const auto iterations = static_cast<double>(state.iterations);
    writer.write(std::span(&iterations, 1));
    const auto [first, last] = chains_of(settings);
    for (std::size_t chain = first; chain < last; ++chain) {
        writer.write(state.chains[chain]);
        writer.write(result.draws[chain]);
        writer.write(result.refused_rows[chain]);
        const auto sweeps = static_cast<double>(result.sweeps[chain]);
        writer.write(std::span(&sweeps, 1));
    }
    for (const std::size_t i : drawn_imputations(settings, state.iterations)) writer.write(result.values[i]);
    writer.seal();
}

RunRecord read_checkpoint_record(const std::string &path) {
    return SealedReader(path).record();
}

RunState read_checkpoint(const std::string &path, const RunRecord &record, const ModelTable &model,
                         const ImputeSettings &settings, Imputations &result) {
    SealedReader reader(path);
    auto what = difference(reader.record(), record);
    if (reader.record().chain != record.chain) what = "chains";
    if (what) {
        throw Error(Fault::data, fmt::format("{}: this checkpoint is not one of this run: their {} differ. Give the "
                                             "command that wrote it, with --resume; or remove it",
                                             path, *what));
    }
    RunState state{static_cast<int>(reader.read_list(1)[0]), std::vector<std::vector<double>>(result.draws.size())};
    if (state.iterations < 0 || state.iterations > settings.total()) throw broken(path);
    const auto [first, last] = chains_of(settings);
    for (std::size_t chain = first; chain < last; ++chain) {
        state.chains[chain] = reader.read_list();
        result.draws[chain] = reader.read_list();
        result.refused_rows[chain] = reader.read_list();
        result.sweeps[chain] = static_cast<int>(reader.read_list(1)[0]);
    }
    for (const std::size_t i : drawn_imputations(settings, state.iterations)) {
        result.values.put(i, reader.read_list(model.hidden->cells.size()));
    }
    reader.need_end();
    return state;
}

}  // namespace ullage::host
