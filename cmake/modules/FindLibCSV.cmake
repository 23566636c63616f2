# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# The library csv: the target LibCSV::LibCSV. Installed with the host library, whose users link it too.

find_path(LibCSV_INCLUDE_DIR csv.h)
find_library(LibCSV_LIBRARY csv)
mark_as_advanced(LibCSV_INCLUDE_DIR LibCSV_LIBRARY)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibCSV REQUIRED_VARS LibCSV_LIBRARY LibCSV_INCLUDE_DIR)
if(LibCSV_FOUND AND NOT TARGET LibCSV::LibCSV)
    add_library(LibCSV::LibCSV UNKNOWN IMPORTED)
    set_target_properties(LibCSV::LibCSV PROPERTIES IMPORTED_LOCATION "${LibCSV_LIBRARY}"
                                                    INTERFACE_INCLUDE_DIRECTORIES "${LibCSV_INCLUDE_DIR}")
endif()
