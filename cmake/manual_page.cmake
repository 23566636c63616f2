# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Write the manual page PAGE of what PROGRAM --help prints, for the program and for each of its commands.

# say(OUT argument...): what the program prints, as text of a page that is kept as it stands.
function(say out)
    execute_process(COMMAND ${PROGRAM} ${ARGN} OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
    string(REPLACE "\\" "\\e" text "${text}")
    string(REPLACE "-" "\\-" text "${text}")
    string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
    set(${out} ".nf\n${text}.fi\n" PARENT_SCOPE)
endfunction()

execute_process(COMMAND ${PROGRAM} --version OUTPUT_VARIABLE version COMMAND_ERROR_IS_FATAL ANY
                OUTPUT_STRIP_TRAILING_WHITESPACE)
say(help --help)
string(APPEND page ".TH ULLAGE 1 \"\" \"${version}\" \"User Commands\"\n.SH NAME\n"
                   "ullage \\- impute cells that are missing or known by bounds\n.SH SYNOPSIS\n"
                   ".B ullage\n.I COMMAND\n[options]\n.SH DESCRIPTION\n${help}")
foreach(command check impute diagnose pool report)
    say(help ${command} --help)
    string(TOUPPER ${command} title)
    string(APPEND page ".SH \"ULLAGE ${title}\"\n${help}")
endforeach()
file(WRITE ${PAGE} "${page}")
