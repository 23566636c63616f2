# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# One object library per folder of src/, and unit tests that link a folder with those it may include.

set(ullage_engine_folders platform generator frame data matrix impute estimate)

# ullage_engine_folder(NAME source...): the object library ullage_NAME of the folder src/NAME.
function(ullage_engine_folder name)
    add_library(ullage_${name} OBJECT ${ARGN})
    target_link_libraries(ullage_${name} PUBLIC ullage_engine_options PRIVATE ullage_warnings)
    set_target_properties(ullage_${name} PROPERTIES POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden
                                                    VISIBILITY_INLINES_HIDDEN ON)
endfunction()

# ullage_engine_sources(OUT): all sources of the engine, for those who compile them once more with other options.
function(ullage_engine_sources out)
    set(all)
    foreach(folder IN LISTS ullage_engine_folders)
        get_target_property(sources ullage_${folder} SOURCES)
        list(TRANSFORM sources PREPEND ${PROJECT_SOURCE_DIR}/src/${folder}/)
        list(APPEND all ${sources})
    endforeach()
    set(${out} ${all} PARENT_SCOPE)
endfunction()

# ullage_folders_below(NAME out): the folder NAME and all that it may include, by the table of tools/layers.txt.
function(ullage_folders_below name out)
    set(found)
    set(open ${name})
    while(open)
        list(POP_FRONT open folder)
        if(folder IN_LIST found)
            continue()
        endif()
        list(APPEND found ${folder})
        file(STRINGS ${PROJECT_SOURCE_DIR}/tools/layers.txt row REGEX "^src/${folder}:")
        string(REGEX MATCHALL "src/[a-z]+" below "${row}")
        list(TRANSFORM below REPLACE "^src/" "")
        list(APPEND open ${below})
    endwhile()
    set(${out} ${found} PARENT_SCOPE)
endfunction()

# ullage_unit_test(NAME FOLDER folder SOURCES source...): a GoogleTest program of the engine's folder, which sees that
# folder's internal headers and those below it, and is one ctest test.
function(ullage_unit_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "FOLDER" "SOURCES")
    ullage_folders_below(${arg_FOLDER} folders)
    list(TRANSFORM folders PREPEND ullage_)
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE ${folders} ullage_engine_options ullage_warnings GTest::gtest_main)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 300)
endfunction()
