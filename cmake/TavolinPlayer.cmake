# Finds the dependencies of the widgets (Qt's widgets) and of the player's window (also PortAudio).
# TAVOLIN_BUILD_WIDGETS and TAVOLIN_BUILD_PLAYER request them.

find_package(Qt${TAVOLIN_QT_MAJOR} QUIET OPTIONAL_COMPONENTS Widgets Concurrent)
set(TAVOLIN_WIDGETS_PARTS_FOUND OFF)
set(TAVOLIN_OPENGL_WIDGETS "") # in Qt 5 part of Gui and Widgets
if(TARGET Qt${TAVOLIN_QT_MAJOR}::Widgets)
    set(TAVOLIN_WIDGETS_PARTS_FOUND ON)
endif()
if(TAVOLIN_WIDGETS_PARTS_FOUND AND TAVOLIN_QT_MAJOR GREATER_EQUAL 6)
    find_package(Qt6 QUIET OPTIONAL_COMPONENTS OpenGL OpenGLWidgets)
    set(TAVOLIN_OPENGL_WIDGETS Qt6::OpenGL Qt6::OpenGLWidgets)
    if(NOT TARGET Qt6::OpenGLWidgets)
        set(TAVOLIN_WIDGETS_PARTS_FOUND OFF)
    endif()
endif()
pkg_check_modules(PORTAUDIO IMPORTED_TARGET portaudio-2.0)
set(TAVOLIN_PLAYER_PARTS_FOUND OFF)
if(TAVOLIN_WIDGETS_PARTS_FOUND AND TARGET Qt${TAVOLIN_QT_MAJOR}::Concurrent AND PORTAUDIO_FOUND)
    set(TAVOLIN_PLAYER_PARTS_FOUND ON)
endif()

if(NOT TAVOLIN_WIDGETS_PARTS_FOUND)
    message(STATUS "The widgets and the player are left out: they need Qt ${TAVOLIN_QT_MAJOR} Widgets")
elseif(TAVOLIN_BUILD_PLAYER AND NOT TAVOLIN_PLAYER_PARTS_FOUND)
    message(STATUS "The player is left out: it needs Qt ${TAVOLIN_QT_MAJOR} Concurrent and PortAudio")
endif()
