# Finds the dependencies of the Python module: Python's headers and pybind11. TAVOLIN_BUILD_PYTHON requests it.

# Debian's modules require Debian's Python, even if another one comes first in the path.
if(NOT DEFINED Python3_EXECUTABLE AND EXISTS /usr/bin/python3)
    set(Python3_EXECUTABLE /usr/bin/python3)
endif()
find_package(Python3 3.9 QUIET COMPONENTS Interpreter OPTIONAL_COMPONENTS Development.Module)
set(TAVOLIN_PYTHON_FOUND OFF)
if(Python3_Interpreter_FOUND AND Python3_Development.Module_FOUND)
    find_package(pybind11 2.6 CONFIG QUIET)
    if(pybind11_FOUND)
        set(TAVOLIN_PYTHON_FOUND ON)
    endif()
endif()
if(NOT TAVOLIN_PYTHON_FOUND)
    message(STATUS "The Python module is left out: it needs Python 3.9 with its headers, and pybind11")
endif()
