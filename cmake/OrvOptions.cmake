# What a build contains.
option(ORV_TESTS "Build the tests" ON)
option(ORV_BENCH "Build the benchmarks (OpenCV and Leptonica as peers where found)" OFF)
option(ORV_PYTHON "Build the Python package, where pybind11 is found" ON)
option(ORV_FUZZ "Build the fuzz targets (needs clang)" OFF)
option(ORV_API "Build all of the host library: without, it has no API, operations and pictures, and runs device calls alone" ON)
set(ORV_HOST "" CACHE FILEPATH "The liborv of another build: the device alone is built, against it")
option(ORV_WERROR "Treat warnings as errors" ON)
set(ORV_SANITIZE "" CACHE STRING "Sanitizers to build with, as given to -fsanitize=")
set(ORV_BUILDS "all" CACHE STRING "Instruction-set builds of the module: all, or baseline alone")

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

# The other builds exist on x86-64 alone; sanitized builds check the plain loops and need no more than the baseline.
set(ORV_MODULE_BUILDS baseline)
if(ORV_BUILDS STREQUAL "all" AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$" AND CMAKE_SIZEOF_VOID_P EQUAL 8
   AND NOT ORV_SANITIZE)
    list(APPEND ORV_MODULE_BUILDS x86-64-v3 x86-64-v4)
endif()
