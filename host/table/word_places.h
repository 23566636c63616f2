// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The place of a text among the words of a column.

#ifndef ULLAGE_HOST_TABLE_WORD_PLACES_H
#define ULLAGE_HOST_TABLE_WORD_PLACES_H

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

namespace ullage::host {

/** The words of a column by their text. Words that are numbers are also found by their value: "1" and "1.0" are one. */
class WordPlaces {
public:
    explicit WordPlaces(std::span<const std::string> words);

    /** The place of a text, without the blanks around it; nothing if it is none of the words. */
    [[nodiscard]] std::optional<std::size_t> find(std::string_view text) const;

private:
    struct Hash : std::hash<std::string_view> {
        using is_transparent = void;
    };
    std::unordered_map<std::string, std::size_t, Hash, std::equal_to<>> by_text_;
    std::unordered_map<double, std::size_t> by_number_;
};

}  // namespace ullage::host

#endif
