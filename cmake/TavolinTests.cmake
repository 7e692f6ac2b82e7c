# GoogleTest programs and their registration with CTest.

# tavolin_add_test_program(TARGET [COST NUMBER] SOURCE...): a program built with the target Tests. CTest starts programs
# of a higher cost first.
function(tavolin_add_test_program target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "COST" "")
    add_executable(${target} ${arg_UNPARSED_ARGUMENTS})
    tavolin_use_build_flags(${target})
    tavolin_use_precompiled(${target} Tests)
    set(properties "")
    if(arg_COST)
        set(properties PROPERTIES COST ${arg_COST})
    endif()
    tavolin_discover_tests(${target} ${properties})
endfunction()

# tavolin_add_tests(TARGET [COST NUMBER] SOURCE...): the same, with tests/support.
function(tavolin_add_tests target)
    tavolin_add_test_program(${target} ${ARGN})
    target_link_libraries(${target} PRIVATE TavolinTestSupport)
endfunction()

# tavolin_optimise(SOURCE...): optimises sources with long computations, which saves more time than it costs.
function(tavolin_optimise)
    if(TAVOLIN_QUICK_BUILD)
        set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -O2 SKIP_PRECOMPILE_HEADERS ON)
    endif()
endfunction()

# tavolin_discover_tests(TARGET [ONE_PROCESS] [LAUNCHER COMMAND...] [PROPERTIES NAME VALUE...]): CTest asks the program
# for its tests when it starts, see DiscoverTests.cmake.
function(tavolin_discover_tests target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "ONE_PROCESS" "" "LAUNCHER;PROPERTIES")
    set(one_process "")
    if(arg_ONE_PROCESS)
        set(one_process ONE_PROCESS)
    endif()
    set(call "set(launcher [==[${arg_LAUNCHER}]==])
set(properties [==[${arg_PROPERTIES}]==])
tavolin_add_tests_of(\"$<TARGET_FILE:${target}>\" ${one_process})
")
    set(include "${CMAKE_CURRENT_BINARY_DIR}/${target}-tests.cmake")
    file(GENERATE OUTPUT "${include}" CONTENT "include(\"${PROJECT_SOURCE_DIR}/cmake/DiscoverTests.cmake\")\n${call}")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${include}")
    tavolin_note_test_program(${target})
endfunction()

# tavolin_define_for(SOURCE DEFINITION...): definitions for one source only, so that a path in them does not keep the
# other sources from the shared compiler cache.
function(tavolin_define_for source)
    set_property(SOURCE ${source} APPEND PROPERTY COMPILE_DEFINITIONS ${ARGN})
endfunction()

# Adds the program to the target Tests, and its sources to the list for ./test.
function(tavolin_note_test_program target)
    add_dependencies(Tests ${target})
    get_target_property(sources ${target} SOURCES)
    get_target_property(folder ${target} SOURCE_DIR)
    list(FILTER sources INCLUDE REGEX "Test\\.cpp$")
    list(TRANSFORM sources PREPEND "${folder}/")
    set_property(GLOBAL APPEND_STRING PROPERTY TAVOLIN_TEST_PROGRAMS "${target} ${sources}\n")
endfunction()

# tavolin_note_plain_tests(TARGET...): tests that are not built, or skip themselves, under a sanitizer. ./test names them.
function(tavolin_note_plain_tests)
    add_dependencies(PlainTests ${ARGN})
endfunction()

# Writes one line per program: its name and its sources.
function(tavolin_list_test_programs)
    get_property(programs GLOBAL PROPERTY TAVOLIN_TEST_PROGRAMS)
    string(REPLACE ";" " " programs "${programs}")
    file(WRITE "${PROJECT_BINARY_DIR}/test-programs" "${programs}")
endfunction()
