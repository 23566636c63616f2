// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The oracle of the harnesses that load a data text.

#ifndef ULLAGE_FUZZ_SUPPORT_CHECK_LOAD_H
#define ULLAGE_FUZZ_SUPPORT_CHECK_LOAD_H

#include <string>

#include "support/slow_reader.h"

// Load the text with a fresh engine and with the slow reader, and fail where they differ: accepted or refused, names,
// counts, group ids, values, states, intervals under several sets of values, last error text and both logs.
void check_load(const std::u16string &text, const slow::Options &options);

#endif
