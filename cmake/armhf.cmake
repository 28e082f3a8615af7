# SPDX-License-Identifier: MIT

# 32-bit ARM with hardware floating point, by Debian's cross compiler (g++-arm-linux-gnueabihf).
# What is not in that compiler comes from the folder APPLIST_SYSROOT, of the environment or the
# cache, where there are a C library and its headers too; without one, from the machine's own armhf
# packages. With it programs can be run under qemu-arm, as the tests are.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG" CACHE STRING "Flags of release builds")

set(APPLIST_SYSROOT "$ENV{APPLIST_SYSROOT}" CACHE PATH "Folder that holds an armhf system")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES APPLIST_SYSROOT)
set(applist_usr ${APPLIST_SYSROOT}/usr)
set(ENV{PKG_CONFIG_LIBDIR}
    ${applist_usr}/lib/arm-linux-gnueabihf/pkgconfig:${applist_usr}/share/pkgconfig)
if(APPLIST_SYSROOT)
    set(CMAKE_SYSROOT ${APPLIST_SYSROOT})
    set(ENV{PKG_CONFIG_SYSROOT_DIR} ${APPLIST_SYSROOT})
    set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
    set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${APPLIST_SYSROOT})
endif()
