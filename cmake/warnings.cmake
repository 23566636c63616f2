# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# The warnings that every target of this project is built with, as one target to link privately.

# clang counts signs among -Wconversion and g++ does not; indices are int32_t throughout, so signs are left out of both.
# -Wrestrict is off for g++, whose version 12 sees overlaps within std::string's operator+ that are not there (GCC bug
# 105651).
add_library(ullage_warnings INTERFACE)
target_compile_options(
    ullage_warnings INTERFACE $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-Wall;-Wextra;-Wpedantic;-Wconversion;-Wshadow;
                              -Wno-sign-conversion;-Werror> $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
