# Cross toolchain for 32-bit ARM (armhf) Linux, the phone's platform.
#
# Compiler/libc: Debian's cross toolchain (crossbuild-essential-armhf), whose
# libc lives in /usr/arm-linux-gnueabihf. Third-party libraries (OpenSSL,
# SQLite, GoogleTest) come from a sysroot made by scripts/armhf-sysroot.sh,
# by default <build dir>/sysroot. Executables run through qemu-arm
# (qemu-user), so ctest and GoogleTest discovery work on an x86-64 host
# without binfmt.
#
# time_t stays 32-bit (no -D_TIME_BITS=64): Debian 12's armhf libcrypto is
# built that way and mixing the two corrupts times passed across its API.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

# try_compile() projects have their own CMAKE_BINARY_DIR; hand them the
# sysroot chosen by the main project instead of recomputing it there.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES DM_ARMHF_SYSROOT)

if(NOT DM_ARMHF_SYSROOT)
  if(DEFINED ENV{DM_ARMHF_SYSROOT} AND NOT "$ENV{DM_ARMHF_SYSROOT}" STREQUAL "")
    set(_dm_sysroot_default "$ENV{DM_ARMHF_SYSROOT}")
  else()
    set(_dm_sysroot_default "${CMAKE_BINARY_DIR}/sysroot")
  endif()
  set(DM_ARMHF_SYSROOT "${_dm_sysroot_default}" CACHE PATH
      "armhf sysroot with OpenSSL, SQLite and GoogleTest (scripts/armhf-sysroot.sh)")
  unset(_dm_sysroot_default)
endif()

get_property(_dm_in_try_compile GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT _dm_in_try_compile AND NOT EXISTS "${DM_ARMHF_SYSROOT}/.complete")
  message(FATAL_ERROR
    "armhf sysroot not found at ${DM_ARMHF_SYSROOT}\n"
    "Create it with: scripts/armhf-sysroot.sh ${CMAKE_BINARY_DIR}\n"
    "or point -DDM_ARMHF_SYSROOT=<dir> at an existing one.")
endif()

set(_dm_cross_root /usr/arm-linux-gnueabihf)
set(_dm_sysroot_lib "${DM_ARMHF_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}")

# Look for armhf libraries, headers and package configs only in the sysroot
# and the cross libc; build tools (programs) come from the host.
set(CMAKE_FIND_ROOT_PATH "${DM_ARMHF_SYSROOT}" "${_dm_cross_root}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# FindOpenSSL & co. consult pkg-config: make it report the sysroot's .pc files.
set(ENV{PKG_CONFIG_LIBDIR} "${_dm_sysroot_lib}/pkgconfig:${DM_ARMHF_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${DM_ARMHF_SYSROOT}")
unset(ENV{PKG_CONFIG_PATH})

# Sysroot headers on every compile, as system dirs that user CMAKE_<LANG>_FLAGS
# cannot drop. The multiarch dir holds OpenSSL's configuration.h. Boost and
# RapidJSON are linked into the sysroot by the sysroot script, so the host's
# /usr/include (x86-64 libc headers) is never on the include path, and the
# cross compiler's own libc headers still come after these.
set(_dm_sysroot_includes
    "${DM_ARMHF_SYSROOT}/usr/include/${CMAKE_LIBRARY_ARCHITECTURE}"
    "${DM_ARMHF_SYSROOT}/usr/include")
set(CMAKE_C_STANDARD_INCLUDE_DIRECTORIES ${_dm_sysroot_includes})
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${_dm_sysroot_includes})

# libssl.so needs libcrypto.so.3 at link time; the linker looks for such
# indirect dependencies only via -rpath-link. These flags are a shell string,
# hence the quotes (the build dir may contain blanks).
set(_dm_link_flags "\"-Wl,-rpath-link,${_dm_sysroot_lib}\"")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${_dm_link_flags}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${_dm_link_flags}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${_dm_link_flags}")

# Run armhf binaries (tests, GoogleTest discovery, try_run) under qemu-arm:
# -L gives it the cross libc and loader, LD_LIBRARY_PATH the sysroot libs.
find_program(DM_QEMU_ARM qemu-arm)
if(NOT DM_QEMU_ARM)
  message(FATAL_ERROR "qemu-arm not found: install the qemu-user package")
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR
    "${DM_QEMU_ARM}" -L "${_dm_cross_root}" -E "LD_LIBRARY_PATH=${_dm_sysroot_lib}")

unset(_dm_in_try_compile)
unset(_dm_link_flags)
unset(_dm_sysroot_includes)
