// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Lists, pairs and numbers in options.

#include "option_words.h"

#include "ullage/host/base/error.h"
#include "ullage/host/base/number_text.h"

namespace ullage::cli {

using host::Error;
using host::Fault;

std::vector<std::string> split(const std::vector<std::string> &lists) {
    std::vector<std::string> names;
    for (const std::string &list : lists) {
        std::string name;
        bool quoted = false;
        for (std::size_t i = 0; i < list.size(); ++i) {
            const char c = list[i];
            if (c == '"' && quoted && list.compare(i, 2, "\"\"") == 0) {
                name += list[i++];
            } else if (c == '"' && (quoted || i == 0 || list[i - 1] == ',' || list[i - 1] == '=')) {
                quoted = !quoted;
            } else if (c == ',' && !quoted) {
                names.push_back(std::move(name));
                name.clear();
            } else {
                name += c;
            }
        }
        names.push_back(std::move(name));
    }
    return names;
}

std::pair<std::string, std::string> split_pair(const std::string &option, const std::string &text, const char *form) {
    const std::size_t sign = text.rfind('=');
    if (sign == std::string::npos || sign == 0) {
        throw Error(Fault::usage, option + " is given as " + form + ", not as \"" + text + "\"");
    }
    return {text.substr(0, sign), text.substr(sign + 1)};
}

double number_of(const std::string &option, const std::string &text) {
    if (const auto number = host::parse_number(text)) return *number;
    throw Error(Fault::usage, option + ": \"" + text + "\" is no number");
}

std::vector<std::pair<std::string, double>> numbers_of(const std::string &option,
                                                       const std::vector<std::string> &words) {
    std::vector<std::pair<std::string, double>> result;
    for (const std::string &word : split(words)) {
        const auto [column, text] = split_pair(option, word, "COLUMN=NUMBER");
        result.emplace_back(column, number_of(option, text));
    }
    return result;
}

void add_list(CLI::App &command, const std::string &name, const char *value, const std::string &text, const char *group,
              const TakeWords &take) {
    command.add_option_function<std::vector<std::string>>(name, take, text)
        ->type_name(value)
        ->allow_extra_args(false)
        ->group(group);
}

void add_directory(CLI::App &command, Options &options, bool required) {
    command.add_option("DIR", options.input, "directory that ullage impute -o wrote")
        ->required(required)
        ->type_name("")
        ->configurable(false);
}

void add_quiet(CLI::App &command, Options &options) {
    command.add_flag("--quiet", options.quiet, "say only warnings and errors")->group("Talk");
}

}  // namespace ullage::cli
