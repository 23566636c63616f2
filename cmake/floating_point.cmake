# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# The floating-point rules of the engine, as one target that every engine target and every test of arithmetic links.

# One input and one random stream give one result, bit for bit, from every compiler and optimisation level. So each
# operation is rounded once, in the order in which it is written.
#
#   -ffp-contract=off   No fused multiply-add: a*b+c has two roundings. The ISO language mode does not switch this off
#                       for C++, and x86-64 without -march hides the fault, as it has no such instruction.
#   (no fast-math)      -ffast-math, -Ofast, -fassociative-math, -freciprocal-math and -funsafe-math-optimizations
#                       reorder sums, drop NaN, or flush denormals. None may be added, not even for one file.
#   -fno-trapping-math  Allowed: it lets the compiler compute a value that is then not used, as a vectorised selection
#                       does. Values do not change; only floating-point exception flags do, which nobody reads.
#   -fno-math-errno     Allowed: sqrt becomes one instruction, correctly rounded as the function is. Only errno changes.
add_library(ullage_floating_point INTERFACE)
target_compile_options(
    ullage_floating_point
    INTERFACE $<$<COMPILE_LANG_AND_ID:C,GNU,Clang,AppleClang>:-ffp-contract=off;-fno-trapping-math;-fno-math-errno>
              $<$<COMPILE_LANG_AND_ID:CXX,GNU,Clang,AppleClang>:-ffp-contract=off;-fno-trapping-math;-fno-math-errno>
              $<$<COMPILE_LANG_AND_ID:CXX,MSVC>:/fp:strict>)
