# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# CC and CXX are honoured or refused, never passed over: a preset or an older configuration may hold other compilers.

# To be included before project(), which sets the variables itself.
set(ullage_asked_C "$ENV{CC}")
set(ullage_asked_CXX "$ENV{CXX}")

# ullage_check_compiler(LANGUAGE VARIABLE): whether the compiler is that of the environment's VARIABLE, if it names one.
function(ullage_check_compiler language variable)
    separate_arguments(asked UNIX_COMMAND "${ullage_asked_${language}}")
    if(NOT asked)
        return()
    endif()
    list(GET asked 0 asked)
    find_program(path ${asked} NO_CACHE)
    file(REAL_PATH "${path}" wanted)
    file(REAL_PATH "${CMAKE_${language}_COMPILER}" used)
    if(NOT wanted STREQUAL used)
        cmake_path(GET CMAKE_BINARY_DIR FILENAME folder)
        message(FATAL_ERROR "${variable} is ${asked}, but the build in ${folder} is one with "
                            "${CMAKE_${language}_COMPILER}. Unset ${variable}, take another preset "
                            "(cmake --list-presets), or remove ${CMAKE_BINARY_DIR}.")
    endif()
endfunction()
