# For 64-bit ARM: Debian's cross compiler, with headers and libraries from the folder KORVEL_SYSROOT alone, which
# tools/foreign-root fills. tools/package --arch arm64 builds so.
#   cmake --preset release -B build/arm64 --toolchain cmake/arm64.cmake -DKORVEL_SYSROOT=FOLDER
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

# What CMake tries out by itself reads this file, too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KORVEL_SYSROOT)
set(CMAKE_SYSROOT ${KORVEL_SYSROOT})
set(CMAKE_FIND_ROOT_PATH ${KORVEL_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64;-L;${KORVEL_SYSROOT})
