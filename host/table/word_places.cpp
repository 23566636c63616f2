// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The place of a text among the words of a column.

#include "ullage/host/table/word_places.h"

#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"

namespace ullage::host {

WordPlaces::WordPlaces(std::span<const std::string> words) {
    for (std::size_t i = 0; i < words.size(); ++i) {
        by_text_.emplace(words[i], i);
        if (const auto number = parse_number(words[i])) by_number_.emplace(*number, i);
    }
}

std::optional<std::size_t> WordPlaces::find(std::string_view text) const {
    text = trim(text);
    if (const auto found = by_text_.find(text); found != by_text_.end()) return found->second;
    if (by_number_.empty()) return std::nullopt;
    const auto number = parse_number(text);
    const auto found = number ? by_number_.find(*number) : by_number_.end();
    return found != by_number_.end() ? std::optional(found->second) : std::nullopt;
}

}  // namespace ullage::host
