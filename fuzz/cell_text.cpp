// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Fuzzes the text of one cell among others that are given. Oracle: the slow reader.

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>

#include "support/byte_feed.h"
#include "support/check_load.h"
#include "support/fuzz_text.h"

namespace {

// Bytes from 0x80 on stand for pieces of the cell language, the others for themselves.
constexpr const char *kPieces[] = {"x",   "X",  "y",     "z",    "n_1", "1e5", "w",   "<",     "<<", "|",
                                   ";",   "*",  "1",     "-2.5", "1d3", ".5",  "5.",  "e",     "e+", "1e300",
                                   "inf", "-0", "1e999", "nan",  "0x1", "\r",  "\v3", "1e-400"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    ByteFeed feed(data, size);
    const std::uint8_t modes = feed.byte();
    const std::size_t own = feed.byte() % 3;

    // Two of the names differ only in their case, one reads as a number and one has a blank in it.
    static constexpr const char16_t *kNames = u"x\ty\tz\tX\t1e5\tn_1\tw w\tW\n";
    static constexpr const char16_t *kOthers[] = {u"1.5", u"*", u"<4", u" "};
    std::u16string cell;
    for (std::uint8_t byte : feed.rest()) {
        if (byte >= 0x80) {
            const char *piece = kPieces[byte % std::size(kPieces)];
            cell.append(piece, piece + std::char_traits<char>::length(piece));
        } else if (byte != '\t' && byte != '\n' && byte != 0) {
            cell.push_back(byte);
        }
    }
    std::u16string text = u"1\t8\n";
    text += kNames;
    for (std::size_t column = 0; column < 7; ++column) {
        text += column == own ? cell : kOthers[(column + modes) % std::size(kOthers)];
        text += u'\t';
    }
    text += u"2\n";

    slow::Options options;
    options.rank_order = (modes & 0x80) == 0;
    options.group_name = u"group";
    // The weight makes two cases of the record, whose bounds refer to the first of them.
    if ((modes & 0x40) != 0) options.weight_name = u"W";
    check_load(text, options);
    return 0;
}
