// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Fuzzes the data text: the first byte switches modes, the rest is the text. Oracle: the slow reader.

#include <cstddef>
#include <cstdint>

#include "support/byte_feed.h"
#include "support/check_load.h"
#include "support/fuzz_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    ByteFeed feed(data, size);
    const std::uint8_t modes = feed.byte();
    slow::Options options;
    options.mixture = (modes & 1) != 0;
    options.rank_order = (modes & 2) != 0;
    if ((modes & 4) != 0) options.weight_name = u"W";
    options.group_name = (modes & 8) != 0 ? u"100%s %d" : u"group";
    options.key_names = {{u"X", 1}, {u"y", 2}, {u"x", 3}};
    check_load(text_from_bytes(feed.rest()), options);
    return 0;
}
