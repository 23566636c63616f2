# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Install the engine of the build tree BUILD and move it to PREFIX: what is installed must not know where it stands.

file(REMOVE_RECURSE ${PREFIX} ${PREFIX}.first)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --component engine --prefix ${PREFIX}.first
                COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${PREFIX}.first ${PREFIX})
