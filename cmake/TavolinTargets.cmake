# Settings common to all our targets. Nothing here reaches a project that links us.

add_library(TavolinBuildFlags INTERFACE)
target_compile_options(TavolinBuildFlags INTERFACE
    -Wall -Wextra -Wpedantic
    -ffp-contract=off # times and fills are defined as separate multiplications and additions
    $<$<BOOL:${TAVOLIN_WARNINGS_AS_ERRORS}>:-Werror>)
if(TAVOLIN_SANITIZE)
    target_compile_options(TavolinBuildFlags INTERFACE
        -fsanitize=${TAVOLIN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
    target_link_options(TavolinBuildFlags INTERFACE -fsanitize=${TAVOLIN_SANITIZE})
endif()
if(TAVOLIN_FUZZ_COVERAGE)
    target_compile_options(TavolinBuildFlags INTERFACE -fprofile-instr-generate -fcoverage-mapping)
    target_link_options(TavolinBuildFlags INTERFACE -fprofile-instr-generate)
endif()
if(TAVOLIN_QUICK_BUILD)
    # GCC takes sources that are compiled together for headers, in which nothing should be local to a source.
    target_compile_options(TavolinBuildFlags INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
    find_program(TAVOLIN_MOLD mold) # several times as fast as the default linker
    if(TAVOLIN_MOLD)
        target_link_options(TavolinBuildFlags INTERFACE -fuse-ld=mold)
    endif()
endif()

# Flags of the library tavolin_last_flags, if the folder has set it, come last.
function(tavolin_use_build_flags target)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:TavolinBuildFlags> ${tavolin_last_flags})
    target_compile_features(${target} PRIVATE cxx_std_20)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
    if(TAVOLIN_QUICK_BUILD) # compiles eight sources together; more would make a change to one of them slow
        set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
    endif()
endfunction()

# tavolin_compile_alone(TARGET SOURCE...): keeps the sources out of the groups of a quick build.
function(tavolin_compile_alone target)
    set_source_files_properties(${ARGN} TARGET_DIRECTORY ${target} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# tavolin_precompile(HEADERS LIBRARY...): precompiles cmake/headers/HEADERS.h, which includes headers of these
# libraries, for a quick build.
function(tavolin_precompile headers)
    if(NOT TAVOLIN_QUICK_BUILD)
        return()
    endif()
    set(target Tavolin${headers}Headers)
    set(source "${PROJECT_BINARY_DIR}/generated/${target}.cpp") # a target needs a source
    if(NOT EXISTS "${source}")
        file(WRITE "${source}" "")
    endif()
    add_library(${target} OBJECT "${source}")
    tavolin_use_build_flags(${target})
    tavolin_set_precompiled_flags(${target})
    target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/cmake")
    target_link_libraries(${target} PRIVATE ${ARGN})
    target_precompile_headers(${target} PRIVATE <headers/${headers}.h>)
endfunction()

# tavolin_use_precompiled(TARGET HEADERS): compiles the target's sources with the headers of tavolin_precompile.
function(tavolin_use_precompiled target headers)
    if(TAVOLIN_QUICK_BUILD)
        target_precompile_headers(${target} REUSE_FROM Tavolin${headers}Headers)
        # Compilers read only the precompiled form; ccache, if it preprocesses, the headers themselves.
        target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/cmake")
        tavolin_set_precompiled_flags(${target})
    endif()
endfunction()

# Precompiled headers and their users need the same compiler options. Without the last option ccache would not cache
# them.
function(tavolin_set_precompiled_flags target)
    target_compile_options(${target} PRIVATE -fPIC
        $<IF:$<CXX_COMPILER_ID:GNU>,-fpch-preprocess,SHELL:-Xclang -fno-pch-timestamp>)
endfunction()

function(tavolin_hide_symbols target)
    set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
endfunction()

# Instruments the target for the fuzzers' branch coverage; in the fuzzers' own build also for compared values, which
# would slow down the tests.
function(tavolin_lead_fuzzers target)
    if(TAVOLIN_FUZZ_COVERAGE)
        target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
    elseif(TAVOLIN_BUILD_FUZZERS)
        target_compile_options(${target} PRIVATE -fsanitize-coverage=inline-8bit-counters,pc-table)
    endif()
endfunction()

# tavolin_add_library(TavolinAV AV): the target, its alias Tavolin::AV, hidden symbols and the export header
# "TavolinAVExport.h" with the macro TAVOLINAV_EXPORT.
function(tavolin_add_library target alias)
    add_library(${target})
    add_library(Tavolin::${alias} ALIAS ${target})
    tavolin_use_build_flags(${target})
    target_compile_features(${target} PUBLIC cxx_std_17)
    set_target_properties(${target} PROPERTIES
        EXPORT_NAME ${alias}
        POSITION_INDEPENDENT_CODE ON
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR})
    if(NOT TAVOLIN_SANITIZE) # the sanitizers' own are in the programs
        target_link_options(${target} PRIVATE LINKER:--no-undefined)
    endif()
    tavolin_hide_symbols(${target})
    tavolin_use_precompiled(${target} Library)
    tavolin_lead_fuzzers(${target})
    generate_export_header(${target} EXPORT_FILE_NAME "${PROJECT_BINARY_DIR}/generated/${target}Export.h")
    if(NOT BUILD_SHARED_LIBS)
        string(TOUPPER ${target} upper)
        target_compile_definitions(${target} PUBLIC ${upper}_STATIC_DEFINE)
    endif()
    target_include_directories(${target} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
        $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/generated>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/tavolin>)
endfunction()
