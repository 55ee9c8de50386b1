# What the Python package is built with: LANTRIX_PYTHON_FOUND says whether all of it is there. The
# Python is the system's own, which has the modules of its packages, unless Python_EXECUTABLE names
# another.
if(NOT Python_EXECUTABLE AND EXISTS /usr/bin/python3)
    set(Python_EXECUTABLE /usr/bin/python3)
endif()
find_package(Python 3.9 QUIET COMPONENTS Interpreter Development.Module NumPy)
find_package(pybind11 2.10 CONFIG QUIET)
set(LANTRIX_PYTHON_FOUND OFF)
if(Python_FOUND AND pybind11_FOUND AND LANTRIX_STREAM AND NOT LANTRIX_COVERAGE)
    set(LANTRIX_PYTHON_FOUND ON)
endif()
