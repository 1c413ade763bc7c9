# What the toolchain files of the boards' architectures share: Debian's cross compiler, the sysroot
# that makeSysroot.sh made, and qemu-user for what is built.
#   brairu_cross(PROCESSOR TRIPLET ARCHITECTURE EMULATOR CPU)

macro(brairu_cross processor triplet architecture emulator cpu)
    set(CMAKE_SYSTEM_NAME Linux)
    set(CMAKE_SYSTEM_PROCESSOR ${processor})
    set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})
    set(CMAKE_C_COMPILER ${triplet}-gcc)
    set(CMAKE_CXX_COMPILER ${triplet}-g++)

    get_filename_component(CMAKE_SYSROOT
        ${CMAKE_CURRENT_LIST_DIR}/../../build/arm/sysroot-${architecture} ABSOLUTE)
    set(CMAKE_FIND_ROOT_PATH ${CMAKE_SYSROOT})
    set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
    set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
    # The packages' paths stay as on the board; they are looked up below the sysroot like all others.
    set(ENV{PKG_CONFIG_SYSROOT_DIR} "")
    set(ENV{PKG_CONFIG_LIBDIR}
        ${CMAKE_SYSROOT}/usr/lib/${triplet}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)

    set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator};-L;${CMAKE_SYSROOT};-cpu;${cpu})
endmacro()
