# What the toolchain files of the two ARM architectures share; each sets TELNO_TRIPLET, TELNO_ARCHITECTURE and
# CMAKE_SYSTEM_PROCESSOR first. Headers and libraries come from the sysroot that scripts/sysroot makes, libc's and
# libstdc++'s headers from Debian's cross compiler, protoc and all other tools from the build machine.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${TELNO_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${TELNO_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${TELNO_TRIPLET})

get_filename_component(TELNO_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/sysroot/${TELNO_ARCHITECTURE}" ABSOLUTE)
if(NOT EXISTS ${TELNO_SYSROOT}/.complete)
  message(FATAL_ERROR "No sysroot for ${TELNO_ARCHITECTURE}: run scripts/sysroot ${TELNO_ARCHITECTURE} first")
endif()
set(CMAKE_SYSROOT ${TELNO_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${TELNO_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${TELNO_SYSROOT}/usr/lib/${TELNO_TRIPLET}/pkgconfig:${TELNO_SYSROOT}/usr/share/pkgconfig)

# Tests, and programs that the build itself runs, run under user-mode emulation.
set(CMAKE_CROSSCOMPILING_EMULATOR ${TELNO_EMULATOR} -L ${TELNO_SYSROOT})
