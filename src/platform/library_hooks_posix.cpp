// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Calls the library's load and unload from the loader's own tables of an ELF or Mach-O file.

#include "platform/library_hooks.h"

// No exception may pass through the loader, so running out of memory here ends the process with the usual message. The
// loader runs the destructor once: at dlclose, or at exit behind the host's own exit handlers.
[[gnu::constructor]] static void on_load() noexcept {
    library_load();
}

[[gnu::destructor]] static void on_unload() noexcept {
    library_unload();
}
