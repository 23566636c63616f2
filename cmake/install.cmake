# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# What is installed of the engine: library, headers, CMake package and pkg-config file. The result can be moved.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ullage)
install(TARGETS ullage EXPORT ullageTargets COMPONENT engine)
install(DIRECTORY include/ullage TYPE INCLUDE COMPONENT engine FILES_MATCHING PATTERN "*.h")
install(EXPORT ullageTargets NAMESPACE ullage:: DESTINATION ${package_dir} COMPONENT engine)

configure_package_config_file(cmake/ullageConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/ullageConfig.cmake
                              INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
# Before 1.0 a minor version may change the interface.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/ullageConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ullageConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/ullageConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT engine)

file(RELATIVE_PATH pc_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH pc_libdir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH pc_includedir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/ullage.pc.in ullage.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ullage.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT engine)
