// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What the library wants to tell the user without stopping.

#ifndef ULLAGE_HOST_BASE_NOTICE_H
#define ULLAGE_HOST_BASE_NOTICE_H

#include <string>
#include <vector>

namespace ullage::host {

/** A sentence for the user, without a trailing line feed; a warning is about something that may be wrong. */
struct Notice {
    bool is_warning = false;
    std::string text;
};

using Notices = std::vector<Notice>;

}  // namespace ullage::host

#endif
