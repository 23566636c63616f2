# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# What is installed of the engine (library, headers, CMake package, pkg-config file), and the documents of all. The
# result can be moved.

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

# ullage_install_pkg_config(NAME COMPONENT): install NAME.pc, made of cmake/NAME.pc.in.
file(RELATIVE_PATH pc_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH pc_libdir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH pc_includedir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
function(ullage_install_pkg_config name component)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
            COMPONENT ${component})
endfunction()
ullage_install_pkg_config(ullage engine)

install(FILES LICENSE README.md CHANGELOG.md TYPE DOC COMPONENT engine)
install(DIRECTORY docs TYPE DOC COMPONENT engine FILES_MATCHING PATTERN "*.md")
