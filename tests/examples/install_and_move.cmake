# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Install the COMPONENTS of the build tree BUILD and move them to PREFIX: what is installed must not know where it stands.

file(REMOVE_RECURSE ${PREFIX} ${PREFIX}.first)
foreach(component IN LISTS COMPONENTS)
    execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --component ${component} --prefix ${PREFIX}.first
                    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
file(RENAME ${PREFIX}.first ${PREFIX})
