// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Files that appear whole or not at all, and the rows of completed tables.

#include "ullage/host/write_table.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "csv_text.h"
#include "ullage/host/error.h"
#include "ullage/host/interrupt.h"

namespace ullage::host {
namespace {

constexpr std::size_t kBufferSize = std::size_t{1} << 18;

[[noreturn]] void fail(const std::string &path) {
    const int reason = errno;
    const bool is_stdout = path == "-";
    if (is_stdout && reason == EPIPE) throw Error(Fault::closed_pipe, "standard output was closed");
    throw Error(Fault::cannot_create,
                fmt::format("{}: {}", is_stdout ? "standard output" : path, std::strerror(reason)));
}

}  // namespace

OutputFile::OutputFile(std::string path) : path_(std::move(path)) {
    buffer_.reserve(kBufferSize);
    if (path_ == "-") {
        descriptor_ = STDOUT_FILENO;
        return;
    }
    const std::filesystem::path target(path_);
    temporary_ = (target.parent_path() / fmt::format(".{}.XXXXXX", target.filename().string())).string();
    descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
    if (descriptor_ < 0) {
        temporary_.clear();
        fail(path_);
    }
    // mkostemp gives a file to its owner alone; an output has the permissions of any new file.
    const mode_t mask = umask(0);
    umask(mask);
    (void)fchmod(descriptor_, 0666 & ~mask);
}

OutputFile::~OutputFile() {
    if (temporary_.empty()) return;
    if (descriptor_ >= 0) close(descriptor_);
    unlink(temporary_.c_str());
}

void OutputFile::write(std::string_view text) {
    if (buffer_.size() + text.size() > kBufferSize) flush();
    buffer_ += text;
}

void OutputFile::flush() {
    std::string_view rest = buffer_;
    while (!rest.empty()) {
        check_interrupt();
        const ssize_t written = ::write(descriptor_, rest.data(), rest.size());
        if (written < 0 && errno != EINTR) fail(path_);
        if (written > 0) rest.remove_prefix(static_cast<std::size_t>(written));
    }
    buffer_.clear();
}

void OutputFile::commit() {
    flush();
    if (temporary_.empty()) return;
    if (fsync(descriptor_) != 0) fail(path_);
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (close(descriptor) != 0) fail(path_);
    check_interrupt();
    if (std::rename(temporary_.c_str(), path_.c_str()) != 0) fail(path_);
    temporary_.clear();
    // The new name lies in the directory, which has its own way to the disk; not every file system lets it be asked.
    const std::filesystem::path parent = std::filesystem::path(path_).parent_path();
    const int directory = open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        (void)fsync(directory);
        close(directory);
    }
}

std::string format_number(double value) {
    char digits[32];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value);
    return std::string(digits, end);
}

void write_header(OutputFile &file, const Table &table, bool is_long) {
    std::string line;
    for (const OutputColumn &column : table.output) {
        if (&column != table.output.data()) line += table.file.separator;
        if (column.file_column >= 0) {
            line += table.file.raw_names[static_cast<std::size_t>(column.file_column)];
            continue;
        }
        const Column &numbers = table.columns[static_cast<std::size_t>(column.column)];
        if (numbers.upper_file_column < 0) {
            line += table.file.raw_names[static_cast<std::size_t>(numbers.file_column)];
        } else {
            line += quote_cell(numbers.name, table.file.separator);
        }
    }
    if (is_long) line += fmt::format("{0}.imp{0}.id", table.file.separator);
    line += '\n';
    file.write(line);
}

void write_rows(OutputFile &file, const Table &table, const HiddenCells &hidden, std::span<const double> values,
                int imputation, bool is_long) {
    const FileText &text = table.file;
    std::string line;
    char digits[32];
    for (std::size_t row = 0; row < table.row_count(); ++row) {
        line.clear();
        std::size_t next_hidden = hidden.row_begin[row];
        for (const OutputColumn &column : table.output) {
            if (&column != table.output.data()) line += text.separator;
            if (column.file_column >= 0) {
                line += text.raw(row, static_cast<std::size_t>(column.file_column));
                continue;
            }
            const auto c = static_cast<std::size_t>(column.column);
            if (!table.is_hidden(row, c)) {
                line += text.raw(row, static_cast<std::size_t>(table.columns[c].file_column));
            } else if (values.empty()) {
                line += "NA";
            } else {
                const auto [end, error] = std::to_chars(digits, digits + sizeof digits, values[next_hidden++]);
                line.append(digits, end);
            }
        }
        if (is_long) {
            line += text.separator;
            line.append(digits, std::to_chars(digits, digits + sizeof digits, imputation).ptr);
            line += text.separator;
            if (table.id_file_column) {
                line += text.raw(row, *table.id_file_column);
            } else {
                line.append(digits, std::to_chars(digits, digits + sizeof digits, row + 1).ptr);
            }
        }
        line += '\n';
        file.write(line);
    }
}

}  // namespace ullage::host
