// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The two stages of loading a group: its variable table, then its cases.

#ifndef ULLAGE_DATA_LOAD_H
#define ULLAGE_DATA_LOAD_H

#include "data/data_text_reader.h"
#include "frame/group.h"

// Read the names line into the group's variable table and take the weight variable out of it. 1 if that variable is not
// there, after a message to the error log.
[[nodiscard]] int read_variable_table(Group &group, DataTextReader &reader, bool mixture_mode);

// Read the records into the group's cases. On 1, after a message to the error log, the cases read so far stay.
[[nodiscard]] int load_group_cases(Group &group, DataTextReader &reader, bool mixture_mode);

#endif
