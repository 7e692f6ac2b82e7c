# Debian packages by CPack, one for each component of the installation; scripts/package builds and checks them.

set(TAVOLIN_PACKAGE_VERSION "${PROJECT_VERSION}-1")
set(libraries_package "libtavolinav${PROJECT_VERSION_MAJOR}")
set(development_package "libtavolinav-dev")
set(tools_package "tavolin-tools")
set(widgets_package "libtavolinwidgets${PROJECT_VERSION_MAJOR}")
set(widgets_development_package "libtavolinwidgets-dev")
set(player_package "tavolin-player")
set(python_package "python3-tavolin")
set(archive_package "tavolin-archive")

set(components libraries development)
if(TARGET tavolin)
    list(APPEND components tools)
endif()
if(TARGET TavolinWidgets)
    list(APPEND components widgets widgets_development)
endif()
if(TARGET tavolin-player)
    list(APPEND components player)
endif()
if(TARGET tavolin-python)
    list(APPEND components python archive)
endif()

# Files that Debian requires in every package.
set(TAVOLIN_LICENCE "All rights reserved.")
if(EXISTS "${PROJECT_SOURCE_DIR}/LICENSE")
    file(READ "${PROJECT_SOURCE_DIR}/LICENSE" TAVOLIN_LICENCE)
endif()
string(TIMESTAMP TAVOLIN_PACKAGE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(files_dir "${PROJECT_BINARY_DIR}/packaging")
configure_file("${PROJECT_SOURCE_DIR}/packaging/copyright.in" "${files_dir}/copyright" @ONLY)
configure_file("${PROJECT_SOURCE_DIR}/packaging/changelog.in" "${files_dir}/changelog.Debian" @ONLY)
execute_process(COMMAND gzip -9nfk "${files_dir}/changelog.Debian")
foreach(component IN LISTS components)
    install(FILES "${files_dir}/copyright" "${files_dir}/changelog.Debian.gz"
        DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${${component}_package}" COMPONENT ${component})
    string(TOUPPER ${component} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME "${${component}_package}")
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGE_NAME tavolin)
set(CPACK_DEBIAN_PACKAGE_SOURCE tavolin)
set(CPACK_PACKAGE_CONTACT "Tavolin developers <developers@tavolin.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each component has its own
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/packaging/CompressManualPages.cmake")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS # our own libraries, which the programs' packages depend on by name
    "${PROJECT_BINARY_DIR}" "${PROJECT_BINARY_DIR}/common" "${PROJECT_BINARY_DIR}/playback"
    "${PROJECT_BINARY_DIR}/player")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(ours "${libraries_package} (= ${TAVOLIN_PACKAGE_VERSION})")

set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/triggers")
set(CPACK_DEBIAN_LIBRARIES_DESCRIPTION "media decoding library
Probes and decodes movies, sound, still images and image sequences, and keeps
pictures and sound around a play position for playing both ways at variable
speed, exact to the picture. This package holds the shared libraries.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
if(TAVOLIN_QT_MAJOR EQUAL 5)
    set(qt_package qtbase5-dev)
else()
    set(qt_package qt6-base-dev)
endif()
string(JOIN ", " CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${ours}" ${qt_package} libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libswresample-dev)
if(TAVOLIN_ZIMG_FOUND)
    string(APPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ", libzimg-dev")
endif()
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "media decoding library (development files)
Probes and decodes movies, sound, still images and image sequences, and keeps
pictures and sound around a play position for playing both ways at variable
speed, exact to the picture. This package holds the headers and what CMake and
pkg-config need.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION video)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${ours}")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "describe and decode media files on the command line
The command tavolin describes movies, sound, still images and image sequences,
decodes and checks them, and takes exact pictures out of them.")

set(CPACK_DEBIAN_WIDGETS_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_WIDGETS_PACKAGE_DEPENDS "${ours}")
set(CPACK_DEBIAN_WIDGETS_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/triggers")
set(CPACK_DEBIAN_WIDGETS_DESCRIPTION "media decoding library (widgets)
Probes and decodes movies, sound, still images and image sequences. This
package holds the library of widgets that show its pictures: a view, a timeline
and the keys of a transport.")

set(CPACK_DEBIAN_WIDGETS_DEVELOPMENT_PACKAGE_SECTION libdevel)
string(JOIN ", " CPACK_DEBIAN_WIDGETS_DEVELOPMENT_PACKAGE_DEPENDS
    "${widgets_package} (= ${TAVOLIN_PACKAGE_VERSION})" "${development_package} (= ${TAVOLIN_PACKAGE_VERSION})")
set(CPACK_DEBIAN_WIDGETS_DEVELOPMENT_DESCRIPTION "media decoding library (widgets, development files)
Probes and decodes movies, sound, still images and image sequences. This
package holds the headers of its widgets and what CMake and pkg-config need.")

set(CPACK_DEBIAN_PLAYER_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PLAYER_PACKAGE_DEPENDS "${ours}, ${widgets_package} (= ${TAVOLIN_PACKAGE_VERSION})")
set(CPACK_DEBIAN_PLAYER_DESCRIPTION "media player exact to the picture
Plays movies, sound, still images and image sequences forwards and backwards
at variable speed, for people who review pictures.")

if(TARGET tavolin-python)
    # Byte code is compiled and removed with the package.
    foreach(component python archive)
        set(package "${${component}_package}")
        string(TOUPPER ${component} upper)
        foreach(script postinst prerm)
            configure_file("${PROJECT_SOURCE_DIR}/packaging/python/${script}.in"
                "${files_dir}/${component}/${script}" @ONLY)
        endforeach()
        set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA
            "${files_dir}/${component}/postinst;${files_dir}/${component}/prerm")
    endforeach()

    set(minor ${Python3_VERSION_MINOR})
    math(EXPR next_minor "${minor} + 1")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
    string(JOIN ", " CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
        "${ours}" "python3 (>= 3.${minor}~)" "python3 (<< 3.${next_minor})" python3-numpy)
    set(CPACK_DEBIAN_PYTHON_DESCRIPTION "media decoding library (Python module)
Takes exact pictures and sound out of movies, still images and image
sequences, forwards and backwards, as NumPy arrays without a copy, and checks
files for damage.")

    set(CPACK_DEBIAN_ARCHIVE_PACKAGE_ARCHITECTURE all)
    set(CPACK_DEBIAN_ARCHIVE_PACKAGE_SHLIBDEPS OFF)
    set(CPACK_DEBIAN_ARCHIVE_PACKAGE_SECTION video)
    set(CPACK_DEBIAN_ARCHIVE_PACKAGE_DEPENDS
        "python3:any, python3-distributed, python3-tavolin (>= ${TAVOLIN_PACKAGE_VERSION})")
    set(CPACK_DEBIAN_ARCHIVE_PACKAGE_RECOMMENDS "tavolin-tools")
    set(CPACK_DEBIAN_ARCHIVE_DESCRIPTION "check archives of media files for damage
Decodes each file of an archive forwards and backwards, on the cores of one
machine or on the workers of a Dask cluster, and writes a report that it can
go on with.")
endif()

include(CPack)
