# Compiler settings shared by every target.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_FLAGS_RELEASE "-O3 -DNDEBUG")

add_library(orv_flags INTERFACE)
# Results are the same bytes on every machine: no contraction into fused multiply-adds, no fast-math. Errno and traps of the
# mathematics functions are not looked at, which changes no result and lets roots and conversions vectorise.
target_compile_options(orv_flags INTERFACE
    -Wall -Wextra -Wconversion -Wshadow
    -ffp-contract=off -fno-math-errno -fno-trapping-math)
if(ORV_WERROR)
    target_compile_options(orv_flags INTERFACE -Werror)
endif()
if(ORV_SANITIZE)
    target_compile_options(orv_flags INTERFACE -fsanitize=${ORV_SANITIZE} -fno-sanitize-recover=all
        -fno-omit-frame-pointer)
    target_link_options(orv_flags INTERFACE -fsanitize=${ORV_SANITIZE})
endif()
