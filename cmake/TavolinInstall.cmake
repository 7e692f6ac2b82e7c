# Installation of the libraries: libraries, headers, and the package files for CMake and pkg-config. None of them
# contains the prefix, so an installed tree can be moved. The programs have their own rules.

include(CMakePackageConfigHelpers)

set(TAVOLIN_HEADER_DIR "${CMAKE_INSTALL_INCLUDEDIR}/tavolin")
set(TAVOLIN_CONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/TavolinAV")
set(TAVOLIN_PKGCONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# The form of an install folder in a pkg-config file.
function(tavolin_pkgconfig_path result folder)
    if(IS_ABSOLUTE "${folder}")
        set(${result} "${folder}" PARENT_SCOPE)
    else()
        set(${result} "\${prefix}/${folder}" PARENT_SCOPE)
    endif()
endfunction()

# Adds to the list `result` the headers (paths from the root) and all our headers that they include, so that a private
# header is installed exactly when a public one needs it.
function(tavolin_add_headers result)
    set(found ${${result}})
    foreach(header IN LISTS ARGN)
        if(header IN_LIST found)
            continue()
        endif()
        list(APPEND found "${header}")
        file(STRINGS "${PROJECT_SOURCE_DIR}/${header}" lines REGEX "^#include \"[a-z]+/")
        list(TRANSFORM lines REPLACE "^#include \"([^\"]+)\".*" "\\1")
        tavolin_add_headers(found ${lines})
    endforeach()
    set(${result} ${found} PARENT_SCOPE)
endfunction()

function(tavolin_install_pkgconfig_file target module component)
    if(IS_ABSOLUTE "${TAVOLIN_PKGCONFIG_DIR}")
        set(PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
    else()
        file(RELATIVE_PATH PC_PREFIX "/${TAVOLIN_PKGCONFIG_DIR}" "/")
        set(PC_PREFIX "\${pcfiledir}/${PC_PREFIX}")
        string(REGEX REPLACE "/$" "" PC_PREFIX "${PC_PREFIX}")
    endif()
    tavolin_pkgconfig_path(PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
    tavolin_pkgconfig_path(PC_INCLUDEDIR "${TAVOLIN_HEADER_DIR}")
    set(PC_QT "Qt${TAVOLIN_QT_MAJOR}Core")
    set(PC_QT_WIDGETS "Qt${TAVOLIN_QT_MAJOR}Widgets")
    if(TAVOLIN_QT_MAJOR GREATER_EQUAL 6)
        string(APPEND PC_QT_WIDGETS ", Qt6OpenGLWidgets")
    endif()
    set(PC_FFMPEG "libavformat, libavcodec, libavutil, libswscale, libswresample")
    if(TAVOLIN_ZIMG_FOUND)
        string(APPEND PC_FFMPEG ", zimg")
    endif()
    if(BUILD_SHARED_LIBS)
        set(PC_DEFINITIONS "")
        set(PC_PRIVATE "Requires.private: ${PC_FFMPEG}")
        set(PC_PUBLIC "")
    else() # public, because "pkg-config --static" would require a static FFmpeg with all its dependencies
        string(TOUPPER ${target} upper)
        set(PC_DEFINITIONS " -D${upper}_STATIC_DEFINE")
        set(PC_PRIVATE "")
        set(PC_PUBLIC ", ${PC_FFMPEG}")
    endif()
    configure_file("${PROJECT_SOURCE_DIR}/cmake/pkgconfig/${module}.pc.in" "${PROJECT_BINARY_DIR}/${module}.pc" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/${module}.pc" DESTINATION "${TAVOLIN_PKGCONFIG_DIR}" COMPONENT ${component})
endfunction()

# tavolin_install_library(TavolinAV tavolinav [WIDGETS]): the library, its export header and its pkg-config file. With
# WIDGETS they are separate components, so that a decoding host does not need Qt's widgets.
function(tavolin_install_library target module)
    set(libraries libraries)
    set(development development)
    set(targets TavolinTargets)
    if("WIDGETS" IN_LIST ARGN)
        set(libraries widgets)
        set(development widgets_development)
        set(targets TavolinWidgetsTargets)
    endif()
    install(TARGETS ${target} EXPORT ${targets}
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT ${libraries}
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT ${libraries} NAMELINK_COMPONENT ${development}
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT ${development})
    install(FILES "${PROJECT_BINARY_DIR}/generated/${target}Export.h" DESTINATION "${TAVOLIN_HEADER_DIR}"
        COMPONENT ${development})
    tavolin_install_pkgconfig_file(${target} ${module} ${development})
endfunction()

# tavolin_install_headers(COMPONENT HEADER...)
function(tavolin_install_headers component)
    foreach(header IN LISTS ARGN)
        get_filename_component(folder "${header}" DIRECTORY)
        install(FILES "${PROJECT_SOURCE_DIR}/${header}" DESTINATION "${TAVOLIN_HEADER_DIR}/${folder}"
            COMPONENT ${component})
    endforeach()
endfunction()

# Adds to the list `result` the headers of a folder (paths from the root) with exported declarations.
function(tavolin_find_exporting_headers folder macro result)
    file(GLOB candidates RELATIVE "${PROJECT_SOURCE_DIR}" CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${folder}/*.h")
    foreach(header IN LISTS candidates)
        file(STRINGS "${PROJECT_SOURCE_DIR}/${header}" exports REGEX "${macro}")
        if(exports)
            list(APPEND ${result} "${header}")
        endif()
    endforeach()
    set(${result} ${${result}} PARENT_SCOPE)
endfunction()

# The public headers.
set(public
    common/AudioStream.h common/Logger.h common/Settings.h common/VideoStream.h
    media/AvGlobals.h media/MediaInfo.h media/MediaReader.h
    decode/AudioDecoder.h decode/DecodedAudioFrame.h decode/DecodedVideoFrame.h decode/MediaInstance.h
    decode/VideoDecoder.h)
if(EXISTS "${PROJECT_SOURCE_DIR}/cache/DecodedVideo.h")
    list(APPEND public cache/DecodedAudio.h cache/DecodedVideo.h)
endif()

tavolin_install_library(TavolinCommon tavolincommon)
tavolin_install_library(TavolinAV tavolinav)
if(TARGET TavolinPlayback)
    tavolin_install_library(TavolinPlayback tavolinplayback)
    tavolin_find_exporting_headers(playback TAVOLINPLAYBACK_EXPORT public)
endif()

set(headers "")
tavolin_add_headers(headers ${public})
tavolin_install_headers(development ${headers})

# The widgets' headers have a package of their own, with the headers that only they include.
if(TARGET TavolinWidgets)
    tavolin_install_library(TavolinWidgets tavolinwidgets WIDGETS)
    set(widgets "")
    tavolin_find_exporting_headers(player/controls TAVOLINWIDGETS_EXPORT widgets)
    tavolin_find_exporting_headers(player/picture TAVOLINWIDGETS_EXPORT widgets)
    set(widget_headers "")
    tavolin_add_headers(widget_headers ${widgets})
    list(REMOVE_ITEM widget_headers ${headers})
    tavolin_install_headers(widgets_development ${widget_headers})
    install(EXPORT TavolinWidgetsTargets NAMESPACE Tavolin:: DESTINATION "${TAVOLIN_CONFIG_DIR}"
        COMPONENT widgets_development)
endif()

install(EXPORT TavolinTargets NAMESPACE Tavolin:: DESTINATION "${TAVOLIN_CONFIG_DIR}" COMPONENT development)
configure_package_config_file(
    "${PROJECT_SOURCE_DIR}/cmake/TavolinAVConfig.cmake.in" "${PROJECT_BINARY_DIR}/TavolinAVConfig.cmake"
    INSTALL_DESTINATION "${TAVOLIN_CONFIG_DIR}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/TavolinAVConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/TavolinAVConfig.cmake" "${PROJECT_BINARY_DIR}/TavolinAVConfigVersion.cmake"
    DESTINATION "${TAVOLIN_CONFIG_DIR}" COMPONENT development)

# The examples' sources.
set(examples_dir "${CMAKE_INSTALL_DOCDIR}/examples")
if(TAVOLIN_PACKAGES)
    set(examples_dir "${CMAKE_INSTALL_DATAROOTDIR}/doc/libtavolinav-dev/examples") # Debian's place
endif()
file(GLOB examples CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/examples/*.cpp")
install(FILES ${examples} DESTINATION "${examples_dir}" COMPONENT development)

# Tab completion, printed by the command itself.
set(zsh_dir "${CMAKE_INSTALL_DATADIR}/zsh/site-functions")
if(TAVOLIN_PACKAGES)
    set(zsh_dir "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions") # as Debian has it
endif()
if(TARGET tavolin AND NOT CMAKE_CROSSCOMPILING)
    set(completion_dir "${PROJECT_BINARY_DIR}/completion")
    file(MAKE_DIRECTORY "${completion_dir}")
    foreach(component tools player)
        set(program tavolin)
        if(component STREQUAL player)
            set(program tavolin-player)
        endif()
        if(NOT TARGET ${program})
            continue()
        endif()
        add_custom_command(OUTPUT "${completion_dir}/${program}" "${completion_dir}/_${program}"
            COMMAND tavolin completion bash ${program} > "${completion_dir}/${program}"
            COMMAND tavolin completion zsh ${program} > "${completion_dir}/_${program}"
            DEPENDS tavolin VERBATIM)
        add_custom_target(${program}-completion ALL
            DEPENDS "${completion_dir}/${program}" "${completion_dir}/_${program}")
        install(FILES "${completion_dir}/${program}"
            DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT ${component})
        install(FILES "${completion_dir}/_${program}" DESTINATION "${zsh_dir}" COMPONENT ${component})
    endforeach()
endif()
