// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// From the header and the options to the columns that are to be read as numbers.

#include "ullage/host/table/column_choice.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_set>

#include "ullage/host/base/error.h"
#include "ullage/host/base/words.h"

namespace ullage::host {
namespace {

/** What the options say of columns without asking for them. */
struct NamedColumns {
    std::unordered_set<std::size_t> carried;       // file columns
    std::unordered_set<std::string_view> by_name;  // no pair of limits takes a column that an option names
};

NamedColumns find_named(const FileColumns &columns, const ReadOptions &options) {
    NamedColumns named;
    const auto carry = [&](const std::string &name, std::string_view option) {
        named.carried.insert(columns.get(name, option));
        named.by_name.insert(name);
    };
    for (const std::string &name : options.carry) carry(name, "--carry");
    if (options.id) carry(*options.id, "--id");
    if (options.by) carry(*options.by, "--by");
    for (const auto &[column, remark] : options.remarks) carry(remark, "--remark");
    if (options.columns) named.by_name.insert(options.columns->begin(), options.columns->end());
    for (const KindOption &kind : options.kinds) named.by_name.insert(kind.column);
    return named;
}

/** The pairs of limits; each stands where the later of its columns does. */
std::unordered_map<std::size_t, Candidate> find_pairs(const FileText &file, const FileColumns &columns,
                                                      const NamedColumns &named, const ReadOptions &options) {
    std::unordered_map<std::size_t, Candidate> pairs;
    for (std::size_t c = 0; options.pairs && c < file.names.size(); ++c) {
        const std::string &name = file.names[c];
        if (!name.ends_with(options.lower_suffix) || name.size() == options.lower_suffix.size()) continue;
        const std::string stem = name.substr(0, name.size() - options.lower_suffix.size());
        const auto upper = columns.find(stem + options.upper_suffix);
        if (!upper || *upper == c || columns.find(stem)) continue;
        if (named.by_name.contains(name) || named.by_name.contains(file.names[*upper])) continue;
        pairs[std::max(c, *upper)] = {.name = stem, .file_column = c, .upper = upper};
    }
    return pairs;
}

void refuse_what_is_no_candidate(const std::vector<Candidate> &candidates, const FileColumns &columns,
                                 const std::vector<std::string> &wanted) {
    std::unordered_set<std::string_view> names;
    for (const Candidate &candidate : candidates) names.insert(candidate.name);
    for (const std::string &name : wanted) {
        if (names.contains(name)) continue;
        (void)columns.get(name, "--columns");
        throw Error(Fault::usage, fmt::format("--columns: column {} is carried along by another option", quote(name)));
    }
}

/** Give the candidates their remarks, limits and kinds. */
void take_options_per_column(std::vector<Candidate> &candidates, const FileColumns &columns,
                             const ReadOptions &options) {
    const auto candidate = [&](const std::string &name, std::string_view option) -> Candidate & {
        const auto found =
            std::find_if(candidates.begin(), candidates.end(), [&](const Candidate &c) { return c.name == name; });
        if (found == candidates.end()) {
            (void)columns.get(name, option);
            throw Error(Fault::usage,
                        fmt::format("{}: column {} is carried along by another option, or not among --columns", option,
                                    quote(name)));
        }
        if (found->upper) {
            throw Error(Fault::usage, fmt::format("{}: {} is a pair of limits already", option, quote(name)));
        }
        return *found;
    };
    for (const auto &[column, remark] : options.remarks) {
        Candidate &target = candidate(column, "--remark");
        if (target.remark) throw Error(Fault::usage, fmt::format("--remark: {} is given twice", quote(column)));
        target.remark = columns.get(remark, "--remark");
    }
    for (const auto &[column, limit] : options.limits) {
        Candidate &target = candidate(column, "--nd");
        if (target.limit) throw Error(Fault::usage, fmt::format("--nd: {} is given twice", quote(column)));
        target.limit = limit;
    }
    std::unordered_set<std::string_view> told;
    for (const KindOption &kind : options.kinds) {
        const std::string option = option_of(kind.kind);
        if (!told.insert(kind.column).second) {
            throw Error(Fault::usage, fmt::format("{}: the kind of {} is given twice", option, quote(kind.column)));
        }
        Candidate &target = candidate(kind.column, option);
        if ((target.remark || target.limit) && kind.kind != ColumnKind::number && kind.kind != ColumnKind::stepped) {
            throw Error(Fault::usage,
                        fmt::format("{}: column {} has numbers, as --remark or --nd says", option, quote(kind.column)));
        }
        target.is_asked_for = true;
    }
}

}  // namespace

FileColumns::FileColumns(const FileText &file) : file_(file) {
    for (std::size_t c = 0; c < file.names.size(); ++c) {
        if (!file.names[c].empty()) place_[file.names[c]] = c;
    }
}

std::optional<std::size_t> FileColumns::find(std::string_view name) const {
    const auto found = place_.find(name);
    if (found == place_.end()) return std::nullopt;
    return found->second;
}

std::size_t FileColumns::get(std::string_view name, std::string_view option) const {
    if (const auto column = find(name)) return *column;
    throw Error(Fault::usage, fmt::format("{}: {} has no column {}; its columns are {}", option, file_.source,
                                          quote(name), list_of(file_.names)));
}

std::vector<Candidate> choose_candidates(const FileText &file, const FileColumns &columns, const ReadOptions &options,
                                         Notices &notices) {
    const NamedColumns named = find_named(columns, options);
    const std::unordered_map<std::size_t, Candidate> pairs = find_pairs(file, columns, named, options);
    std::unordered_set<std::size_t> in_pairs;
    for (const auto &[place, pair] : pairs) in_pairs.insert({pair.file_column, *pair.upper});
    std::unordered_set<std::string_view> wanted;
    if (options.columns) wanted.insert(options.columns->begin(), options.columns->end());

    std::vector<Candidate> candidates;
    for (std::size_t c = 0; c < file.names.size(); ++c) {
        Candidate candidate{.name = file.names[c], .file_column = c};
        if (candidate.name.empty()) {
            notices.push_back({true, fmt::format("column {} has no name and is carried along unchanged", c + 1)});
            continue;
        }
        if (const auto pair = pairs.find(c); pair != pairs.end()) {
            candidate = pair->second;
        } else if (in_pairs.contains(c) || named.carried.contains(c)) {
            continue;
        }
        candidate.is_asked_for = wanted.contains(candidate.name);
        if (!options.columns || candidate.is_asked_for) candidates.push_back(std::move(candidate));
    }
    if (options.columns) refuse_what_is_no_candidate(candidates, columns, *options.columns);
    take_options_per_column(candidates, columns, options);
    return candidates;
}

}  // namespace ullage::host
