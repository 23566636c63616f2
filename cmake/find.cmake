# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Finding what is not ours, with the name of its Debian package where it is not there.

set(CMAKE_FIND_PACKAGE_TARGETS_GLOBAL ON)
list(APPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR}/modules)

# ullage_find(PACKAGE DEBIAN argument...): find_package(PACKAGE argument...), which the package DEBIAN makes succeed.
macro(ullage_find package debian)
    find_package(${package} ${ARGN} QUIET)
    if(NOT ${package}_FOUND)
        message(FATAL_ERROR "${package} was not found. On Debian: apt-get install ${debian}")
    endif()
endmacro()

# ullage_find_header(VARIABLE HEADER DEBIAN): set VARIABLE to the folder of HEADER, which the package DEBIAN brings.
function(ullage_find_header variable header debian)
    find_path(${variable} ${header})
    mark_as_advanced(${variable})
    if(NOT ${variable})
        message(FATAL_ERROR "${header} was not found. On Debian: apt-get install ${debian}")
    endif()
endfunction()
