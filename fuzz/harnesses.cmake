# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# What the fuzzers and the replay of their corpora have in common: the harnesses, and how one becomes a program.

set(ullage_fuzz_harnesses data_text cell_text sampler session)
set(ullage_fuzz_folder ${CMAKE_CURRENT_LIST_DIR})

# ullage_fuzz_support(NAME): the object library NAME of what all harnesses stand on.
function(ullage_fuzz_support name)
    add_library(${name} OBJECT ${ullage_fuzz_folder}/support/check_load.cpp
                               ${ullage_fuzz_folder}/support/engine_inside.cpp
                               ${ullage_fuzz_folder}/support/fuzz_text.cpp
                               ${ullage_fuzz_folder}/support/limited_heap.cpp
                               ${ullage_fuzz_folder}/support/session_model.cpp
                               ${ullage_fuzz_folder}/support/slow_reader.cpp)
    target_include_directories(${name} PUBLIC ${ullage_fuzz_folder} ${PROJECT_SOURCE_DIR}/tests)
    target_compile_definitions(${name} PUBLIC ULLAGE_PLAIN_LIBRARY="$<TARGET_FILE:ullage_plain>")
    target_link_libraries(${name} PUBLIC ullage_engine_options ${CMAKE_DL_LIBS} PRIVATE ullage_warnings)
endfunction()

# ullage_fuzz_program(NAME HARNESS library...): the program NAME of a harness, with its support and the engine.
function(ullage_fuzz_program name harness)
    add_executable(${name} ${ullage_fuzz_folder}/${harness}.cpp)
    target_link_libraries(${name} PRIVATE ${ARGN} ullage_warnings)
    # The plain road takes its memory from the harness's operator new, and its own exports from itself.
    target_link_options(${name} PRIVATE LINKER:--export-dynamic-symbol=_Zn[aw]* LINKER:--export-dynamic-symbol=_Zd[al]*)
    add_dependencies(${name} ullage_plain)
endfunction()
