// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The drawn values of the hidden cells, all imputations of them, in a file rather than in memory.

#ifndef ULLAGE_HOST_DRAW_DRAWN_CELLS_H
#define ULLAGE_HOST_DRAW_DRAWN_CELLS_H

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "ullage/host/table/table.h"

namespace ullage::host {

/** Where a file without a name is to lie. */
struct DrawPlace {
    std::string prefix = {};  ///< of its path until it is open; empty for the directory of temporary files
    std::string name = {};    ///< what messages call it; empty for its path
};

/**
 * One value per hidden cell and imputation, in the units of the file.
 *
 * They lie in a file that has lost its name, so that it goes when the last copy of the object or the process does,
 * however that ends. Within an imputation the cells lie by columns; what is put in and given back whole is in the
 * order of HiddenCells::cells, where these are known. Copies share the file.
 */
class DrawnCells {
public:
    /** No imputation. */
    DrawnCells() = default;
    /**
     * @param hidden       must outlive the object and its copies
     * @param imputations  all of zeros until they are put
     * @throws Error  cannot_create
     */
    DrawnCells(const HiddenCells &hidden, std::size_t imputations, const DrawPlace &place);
    /**
     * Of columns that have so many hidden cells each, to be put and read column by column.
     * @param imputations  all of zeros until they are put
     * @throws Error  cannot_create
     */
    DrawnCells(std::span<const std::size_t> cells_of_columns, std::size_t imputations, const DrawPlace &place);

    [[nodiscard]] std::size_t size() const { return imputations_; }

    /** Put the values of an imputation.
     * @throws Error  cannot_create if the disk is full or the like; interrupted */
    void put(std::size_t imputation, std::span<const double> values);

    /** Put those of the hidden cells of one column, by rows.
     * @throws Error  as put */
    void put_column(std::size_t imputation, std::size_t column, std::span<const double> values);

    /** Forget all imputations but the first. @pre there are as many */
    void keep(std::size_t imputations) { imputations_ = imputations; }

    /** The values of an imputation.
     * @throws Error  internal if they cannot be read; interrupted */
    [[nodiscard]] std::vector<double> operator[](std::size_t imputation) const;

    /** Those of the hidden cells of one column, by rows.
     * @throws Error  as operator[] */
    [[nodiscard]] std::vector<double> of_column(std::size_t imputation, std::size_t column) const;

    /** Those of one cell, a place in HiddenCells::cells, in all imputations.
     * @throws Error  as operator[] */
    [[nodiscard]] std::vector<double> of_cell(std::size_t place) const;

    /** From one imputation to the next, reading each as it comes. */
    struct Iterator {
        const DrawnCells *cells;
        std::size_t imputation;
        std::vector<double> operator*() const { return (*cells)[imputation]; }
        Iterator &operator++() {
            ++imputation;
            return *this;
        }
        bool operator==(const Iterator &) const = default;
    };
    [[nodiscard]] Iterator begin() const { return {this, 0}; }
    [[nodiscard]] Iterator end() const { return {this, imputations_}; }

private:
    class File;
    [[nodiscard]] std::vector<double> read(std::size_t imputation, std::size_t begin, std::size_t end) const;

    const HiddenCells *hidden_ = nullptr;
    std::size_t imputations_ = 0;
    std::vector<std::size_t> column_begin_;  // one more than columns
    std::shared_ptr<File> file_;
};

}  // namespace ullage::host

#endif
