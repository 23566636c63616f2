// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Which columns of a file are to be read as numbers, by the header and the options.

#ifndef ULLAGE_HOST_TABLE_COLUMN_CHOICE_H
#define ULLAGE_HOST_TABLE_COLUMN_CHOICE_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ullage/host/base/notice.h"
#include "ullage/host/table/read_options.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** The columns of a file by name. It refers to the file. */
class FileColumns {
public:
    explicit FileColumns(const FileText &file);
    [[nodiscard]] std::optional<std::size_t> find(std::string_view name) const;
    /** The column that an option names.
     * @throws Error  usage if there is none */
    [[nodiscard]] std::size_t get(std::string_view name, std::string_view option) const;

private:
    const FileText &file_;
    std::unordered_map<std::string_view, std::size_t> place_;
};

/** A column that the header and the options offer to the model. */
struct Candidate {
    std::string name;
    std::size_t file_column;                 ///< for a pair of limits the column of the lower ones
    std::optional<std::size_t> upper = {};   ///< for a pair of limits the column of the upper ones
    std::optional<std::size_t> remark = {};  ///< the column that remarks on its cells
    std::optional<double> limit = {};        ///< behind the word for "below the limit of the column"
    bool is_asked_for = false;               ///< the user names it as a column of the model, or gives its kind
};

/**
 * Choose the candidates, in the order of the file: all columns with a name, or those of options.columns, but for those
 * that other options carry along. Two columns with the limits of one value are one candidate, where the later of them
 * stands.
 *
 * @throws Error  usage if an option names a column that is not there or that is carried along, or gives a thing twice
 */
[[nodiscard]] std::vector<Candidate> choose_candidates(const FileText &file, const FileColumns &columns,
                                                       const ReadOptions &options, Notices &notices);

}  // namespace ullage::host

#endif
