// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A library whose load and unload each leave a line in the file that the environment names.

#include <cstdio>
#include <cstdlib>

#include "platform/library_hooks.h"

static void leave_line(const char *line) {
    std::FILE *file = std::fopen(std::getenv("HOOKED_MODULE_RECORD"), "a");
    std::fputs(line, file);
    std::fclose(file);
}

void library_load() {
    leave_line("load\n");
}

void library_unload() {
    leave_line("unload\n");
}
