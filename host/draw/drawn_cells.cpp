// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The file of the drawn values.

#include "ullage/host/draw/drawn_cells.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <system_error>

#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"

namespace ullage::host {

/** A file without a name, of numbers as they lie in memory. */
class DrawnCells::File {
public:
    explicit File(const DrawPlace &place) : name_(place.name) {
        std::string path = place.prefix;
        if (path.empty()) {
            std::error_code none;
            const std::filesystem::path directory = std::filesystem::temp_directory_path(none);
            path = ((none ? std::filesystem::path("/tmp") : directory) / "ullage").string();
            if (name_.empty()) name_ = path;
        }
        path += ".XXXXXX";
        descriptor_ = mkostemp(path.data(), O_CLOEXEC);
        if (descriptor_ < 0) fail();
        unlink(path.c_str());
    }
    ~File() { close(descriptor_); }
    File(const File &) = delete;
    File &operator=(const File &) = delete;

    void put(std::size_t begin, std::span<const double> values) const {
        const auto *bytes = reinterpret_cast<const char *>(values.data());
        for (std::size_t done = 0; done < values.size_bytes();) {
            check_interrupt();
            const ssize_t count = pwrite(descriptor_, bytes + done, std::min(kPiece, values.size_bytes() - done),
                                         static_cast<off_t>(begin * sizeof(double) + done));
            if (count < 0 && errno != EINTR) fail();
            if (count > 0) done += static_cast<std::size_t>(count);
        }
    }

    void get(std::size_t begin, std::span<double> values) const {
        auto *bytes = reinterpret_cast<char *>(values.data());
        for (std::size_t done = 0; done < values.size_bytes();) {
            check_interrupt();
            const ssize_t count = pread(descriptor_, bytes + done, std::min(kPiece, values.size_bytes() - done),
                                        static_cast<off_t>(begin * sizeof(double) + done));
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) {
                throw Error(Fault::internal, fmt::format("{}: the drawn values cannot be read back: {}", name_,
                                                         count < 0 ? std::strerror(errno) : "the file was cut off"));
            }
            done += static_cast<std::size_t>(count);
        }
    }

private:
    static constexpr std::size_t kPiece = std::size_t{1} << 24;  // bytes from one look for signals to the next

    [[noreturn]] void fail() const {
        throw Error(Fault::cannot_create,
                    fmt::format("{}: the drawn values cannot be kept there: {}", name_, std::strerror(errno)));
    }

    std::string name_;
    int descriptor_;
};

DrawnCells::DrawnCells(const HiddenCells &hidden, std::size_t imputations, const DrawPlace &place)
    : hidden_(&hidden), imputations_(imputations), column_begin_(1), file_(std::make_shared<File>(place)) {
    for (const HiddenCell &cell : hidden.cells) {
        const auto column = static_cast<std::size_t>(cell.column);
        if (column + 2 > column_begin_.size()) column_begin_.resize(column + 2);
        ++column_begin_[column + 1];
    }
    std::partial_sum(column_begin_.begin(), column_begin_.end(), column_begin_.begin());
}

DrawnCells::DrawnCells(std::span<const std::size_t> cells_of_columns, std::size_t imputations, const DrawPlace &place)
    : imputations_(imputations), column_begin_(1), file_(std::make_shared<File>(place)) {
    for (const std::size_t cells : cells_of_columns) column_begin_.push_back(column_begin_.back() + cells);
}

void DrawnCells::put_column(std::size_t imputation, std::size_t column, std::span<const double> values) {
    file_->put(imputation * column_begin_.back() + column_begin_[column], values);
}

void DrawnCells::put(std::size_t imputation, std::span<const double> values) {
    std::vector<double> by_columns(values.size());
    std::vector<std::size_t> next = column_begin_;
    for (std::size_t i = 0; i < values.size(); ++i) {
        by_columns[next[static_cast<std::size_t>(hidden_->cells[i].column)]++] = values[i];
    }
    file_->put(imputation * values.size(), by_columns);
}

std::vector<double> DrawnCells::read(std::size_t imputation, std::size_t begin, std::size_t end) const {
    std::vector<double> values(end - begin);
    file_->get(imputation * column_begin_.back() + begin, values);
    return values;
}

std::vector<double> DrawnCells::operator[](std::size_t imputation) const {
    const std::vector<double> by_columns = read(imputation, 0, hidden_->cells.size());
    std::vector<double> values(by_columns.size());
    std::vector<std::size_t> next = column_begin_;
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = by_columns[next[static_cast<std::size_t>(hidden_->cells[i].column)]++];
    }
    return values;
}

std::vector<double> DrawnCells::of_column(std::size_t imputation, std::size_t column) const {
    if (column + 1 >= column_begin_.size()) return {};
    return read(imputation, column_begin_[column], column_begin_[column + 1]);
}

std::vector<double> DrawnCells::of_cell(std::size_t place) const {
    const std::int32_t column = hidden_->cells[place].column;
    std::size_t in_file = column_begin_[static_cast<std::size_t>(column)];
    for (std::size_t i = 0; i < place; ++i) in_file += hidden_->cells[i].column == column ? 1 : 0;
    std::vector<double> values;
    for (std::size_t k = 0; k < imputations_; ++k) values.push_back(read(k, in_file, in_file + 1).front());
    return values;
}

}  // namespace ullage::host
