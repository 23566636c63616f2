// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The two calls that the operating system's loader makes. Declared here, defined by the library that is loaded.

#ifndef ULLAGE_PLATFORM_LIBRARY_HOOKS_H
#define ULLAGE_PLATFORM_LIBRARY_HOOKS_H

// Called once when the library is loaded, before any of its functions can be called.
void library_load();

// Called once when the library is unloaded or, if it still is loaded then, at normal process exit.
void library_unload();

#endif
