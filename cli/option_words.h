// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What commands have in common in their options: lists, pairs, numbers and words, and the options that several have.

#ifndef ULLAGE_CLI_OPTION_WORDS_H
#define ULLAGE_CLI_OPTION_WORDS_H

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "options.h"

namespace ullage::cli {

/** Take lists such as a,b apart. An item, or what follows its =, may stand between double quotes; a comma there belongs
 * to it, and two of the quotes are one. */
[[nodiscard]] std::vector<std::string> split(const std::vector<std::string> &lists);

/**
 * Take "COLUMN=TEXT" apart, at its last "=".
 *
 * @throws host::Error  usage, with the form that is wanted, if there is none or nothing before it
 */
[[nodiscard]] std::pair<std::string, std::string> split_pair(const std::string &option, const std::string &text,
                                                             const char *form);

/** @throws host::Error  usage if the text is no finite number */
[[nodiscard]] double number_of(const std::string &option, const std::string &text);

/** Columns with a number each, of lists such as "COLUMN=1.5,COLUMN=2". */
[[nodiscard]] std::vector<std::pair<std::string, double>> numbers_of(const std::string &option,
                                                                     const std::vector<std::string> &words);

/**
 * A check that refuses all but whole numbers that T can hold. What passes is written anew, as CLI11 would take 010 for
 * octal.
 */
template <typename T>
CLI::Validator whole_number(T least) {
    return {[least](std::string &text) {
                T value{};
                const char *end = text.data() + text.size();
                const auto [stop, error] = std::from_chars(text.data(), end, value);
                if (error != std::errc() || stop != end || value < least) {
                    return fmt::format("\"{}\" is no whole number from {} to {}", text, least,
                                       std::numeric_limits<T>::max());
                }
                text = std::to_string(value);
                return std::string();
            },
            ""};
}

/** A check that takes a word for the number of what it stands for. */
template <typename T>
CLI::Validator word_of(const std::map<std::string, T> &meanings) {
    return {[meanings](std::string &word) {
                const auto found = meanings.find(word);
                if (found == meanings.end()) {
                    std::vector<std::string> words;
                    for (const auto &[known, meaning] : meanings) words.push_back(known);
                    return fmt::format("\"{}\" is none of {}", word, fmt::join(words, ", "));
                }
                word = std::to_string(static_cast<int>(found->second));
                return std::string();
            },
            ""};
}

/** Takes all that was given for an option. */
using TakeWords = std::function<void(const std::vector<std::string> &words)>;

/** An option that may be given several times, one value each time. */
void add_list(CLI::App &command, const std::string &name, const char *value, const std::string &text, const char *group,
              const TakeWords &take);

/** The table to read, how to read it, and the rules for its columns. */
void add_table_options(CLI::App &command, Options &options);

/** The components of a mixture. */
void add_components(CLI::App &command, Options &options);

/** Those about how cells are written. */
void add_cell_options(CLI::App &command, host::ReadOptions &read);

/** The directory of a run. */
void add_directory(CLI::App &command, Options &options, bool required);

void add_quiet(CLI::App &command, Options &options);

}  // namespace ullage::cli

#endif
