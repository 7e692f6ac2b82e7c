# What every target of ours has in common. Nothing here reaches a project that links us.

add_library(TavolinBuildFlags INTERFACE)
target_compile_options(TavolinBuildFlags INTERFACE
    -Wall -Wextra -Wpedantic
    -ffp-contract=off # times and fills are defined as separate multiplications and additions
    $<$<BOOL:${TAVOLIN_WARNINGS_AS_ERRORS}>:-Werror>)
if(TAVOLIN_SANITIZE)
    target_compile_options(TavolinBuildFlags INTERFACE
        -fsanitize=${TAVOLIN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
    target_link_options(TavolinBuildFlags INTERFACE -fsanitize=${TAVOLIN_SANITIZE})
endif()
if(TAVOLIN_BUILD_FUZZERS)
    # What the fuzzers are led by, and what tells afterwards how far they came.
    target_compile_options(TavolinBuildFlags INTERFACE
        -fsanitize=fuzzer-no-link -fprofile-instr-generate -fcoverage-mapping)
    target_link_options(TavolinBuildFlags INTERFACE -fprofile-instr-generate)
endif()

function(tavolin_use_build_flags target)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:TavolinBuildFlags>)
    target_compile_features(${target} PRIVATE cxx_std_20)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
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
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR})
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
