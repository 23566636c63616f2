// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// How to reproduce a run.

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "ullage/host/report/html_text.h"
#include "ullage/host/report/page_pieces.h"
#include "ullage/host/report/sections.h"

namespace ullage::host {
namespace {

/** A word of a command as a shell takes it. */
std::string shell_word(const std::string &word) {
    const bool is_plain = !word.empty() && std::all_of(word.begin(), word.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
               std::string_view("-_./=,:+@%").find(c) != std::string_view::npos;
    });
    if (is_plain) return word;
    std::string quoted = "'";
    for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

}  // namespace

std::string how_to_reproduce(const RunRecord &record) {
    std::string html;
    if (!record.command.empty()) {
        std::vector<std::string> words;
        bool has_seed = false;
        for (const std::string &word : record.command) {
            words.push_back(shell_word(word));
            has_seed = has_seed || word.starts_with("--seed");
        }
        html += paragraph(has_seed ? "The command:" : "The command, with the seed that the program had chosen added:");
        if (!has_seed) words.push_back(fmt::format("--seed {}", record.seed));
        html += fmt::format("<pre tabindex=\"0\" aria-label=\"Command\"><code>{}</code></pre>\n",
                            html_escape(fmt::format("{}", fmt::join(words, " "))));
    }
    const std::vector<std::pair<std::string, std::string>> facts = {
        {"Program", "ullage " + record.version},
        {"Random streams", fmt::format("version {}", record.stream_version)},
        {"Seed", fmt::format("{}", record.seed)},
        {"Input", fmt::format("{}, {} bytes", record.input_name, record.input_bytes)},
        {"SHA-256", record.input_sha256},
        {"Chains", fmt::format("{}, burn-in {}, thinning {}", record.chains, record.burn_in, record.thin)},
        {"Imputations", fmt::format("{}", record.imputations)},
        {"Prior", record.prior},
        {"Time", fmt::format("{:.1f} s", record.seconds)}};
    html += "<dl>\n";
    for (const auto &[name, value] : facts) {
        html += fmt::format("<dt>{}</dt><dd>{}</dd>\n", name, html_escape(value));
    }
    return html + "</dl>\n" +
           paragraph(
               "This program, with the same input, settings and seed, gives the same imputations, whatever the number "
               "of processes, on every x86-64 processor with the same C library; another library may round exp and log "
               "differently in the last digit, and another version of the random streams draws other numbers.") +
           paragraph(
               "run.json has all settings, parameters.csv the draws of the parameters, bounds.csv what is known of "
               "bounded cells.");
}

}  // namespace ullage::host
