# For another processor: cmake -DCMAKE_TOOLCHAIN_FILE=cmake/cross.cmake -DORV_TARGET=aarch64 (or s390x, or what else the system
# has a g++-TARGET-linux-gnu and libraries for). Programs run under qemu's user emulation.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ORV_TARGET)
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${ORV_TARGET})
set(CMAKE_C_COMPILER ${ORV_TARGET}-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER ${ORV_TARGET}-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${ORV_TARGET})
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${ORV_TARGET}-linux-gnu/pkgconfig:/usr/share/pkgconfig)
