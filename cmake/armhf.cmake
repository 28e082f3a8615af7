# SPDX-License-Identifier: MIT

# 32-bit ARM with hardware floating point, by Debian's cross compiler (g++-arm-linux-gnueabihf).
# What is not in that compiler comes from the folder APPLIST_SYSROOT, of the environment or the
# cache; without one, from the machine's own armhf packages.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)

if(NOT APPLIST_SYSROOT)
    set(APPLIST_SYSROOT $ENV{APPLIST_SYSROOT})
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES APPLIST_SYSROOT)
set(applist_folder ${APPLIST_SYSROOT}/usr/lib/arm-linux-gnueabihf)
set(ENV{PKG_CONFIG_LIBDIR} ${applist_folder}/pkgconfig:${APPLIST_SYSROOT}/usr/share/pkgconfig)
if(APPLIST_SYSROOT)
    set(ENV{PKG_CONFIG_SYSROOT_DIR} ${APPLIST_SYSROOT})
    set(CMAKE_FIND_ROOT_PATH ${APPLIST_SYSROOT})
    set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
    # Where the libraries that libsystemd needs are.
    string(REPLACE /usr/lib/ /lib/ applist_other_folder ${applist_folder})
    foreach(kind EXE SHARED MODULE)
        set(CMAKE_${kind}_LINKER_FLAGS_INIT
            -Wl,-rpath-link,${applist_folder}:${applist_other_folder})
    endforeach()
endif()
