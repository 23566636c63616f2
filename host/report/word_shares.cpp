// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Tables and figures of shares of words.

#include "ullage/host/report/word_shares.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace ullage::host {
namespace {

/** How often each word stands among values. */
Values count_words(const ValuePasses &values, std::size_t words) {
    Values counts(words, 0.0);
    values.for_each([&](double value) { ++counts[static_cast<std::size_t>(value)]; });
    return counts;
}

/** The cells of one kind, with the class of their bars. */
struct Kind {
    const ValuePasses *values;
    const char *name;
    const char *style;
};

std::vector<Kind> kinds_of(const ColumnValues &values) {
    std::vector<Kind> kinds;
    for (const Kind &kind :
         {Kind{&values.observed, "observed", "observed"}, Kind{&values.missing, "imputed, missing", "missing"},
          Kind{&values.bounded, "imputed, bounded", "bounded"}}) {
        if (!kind.values->empty()) kinds.push_back(kind);
    }
    return kinds;
}

}  // namespace

std::string word_figure(const ColumnValues &values) {
    const std::vector<std::string> &words = values.record->words;
    const std::vector<Kind> kinds = kinds_of(values);
    Plot plot;
    plot.y.categories = words;
    const double height = 0.8 / static_cast<double>(kinds.size());
    std::vector<std::string> told;
    double most = 0.0;
    for (std::size_t k = 0; k < kinds.size(); ++k) {
        const Values counts = count_words(*kinds[k].values, words.size());
        std::vector<std::string> shares;
        for (std::size_t word = 0; word < words.size(); ++word) {
            const double share = 100.0 * counts[word] / static_cast<double>(kinds[k].values->size());
            const double top = static_cast<double>(word) + 0.1 + static_cast<double>(k) * height;
            plot.bars.push_back({0.0, share, top, top + height, kinds[k].style});
            shares.push_back(fmt::format("{} {:.1f}%", words[word], share));
            most = std::max(most, share);
        }
        told.push_back(fmt::format("{}: {}", kinds[k].name, fmt::join(shares, ", ")));
    }
    plot.x = {.label = "% of the cells of each kind", .high = 1.05 * most};
    plot.height = 45.0 + std::max(2.0, static_cast<double>(words.size())) * 26.0;
    plot.description = fmt::format("Shares of the words of {}. {}.", values.column->name, fmt::join(told, "; "));
    return make_figure(plot, values.column->name);
}

void add_word_shares(const ColumnValues &values, std::vector<std::vector<Cell>> &rows) {
    const std::vector<std::string> &words = values.record->words;
    const std::array cells = {&values.observed, &values.missing, &values.bounded};
    std::array<Values, cells.size()> counts;
    std::ranges::transform(cells, counts.begin(),
                           [&](const ValuePasses *kind) { return count_words(*kind, words.size()); });
    for (std::size_t word = 0; word < words.size(); ++word) {
        std::vector<Cell> row = {{values.column->name, false, word == 0 ? words.size() : 0}, {words[word]}};
        for (std::size_t k = 0; k < cells.size(); ++k) {
            const double count = counts[k][word];
            row.push_back({cells[k]->empty() ? std::string("\u2013")
                                             : fmt::format("{:.0f} ({})", count,
                                                           percent(count, static_cast<double>(cells[k]->size())))});
        }
        rows.push_back(std::move(row));
    }
}

std::string word_share_table(const std::vector<std::vector<Cell>> &rows) {
    return make_table("Words of observed and imputed cells of each column",
                      {"Column", "Word", "Observed", "Imputed, missing", "Imputed, bounded"}, rows, 2);
}

}  // namespace ullage::host
