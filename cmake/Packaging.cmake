# Debian packages from the installed components (`cpack -G DEB` in a build
# directory): libdmplatform0 and libdevmgmt0 (the run-time libraries),
# libdevmgmt-dev (headers, CMake package, pkg-config file) and dmctl. The
# package architecture is the build's: amd64 natively, armhf from the armhf
# preset.
set(DM_DEB_MAINTAINER "devmgmt maintainers <devmgmt@lists.devmgmt.org>")

# Every package carries its copyright file and a Debian changelog, whose
# entry for this release points to CHANGELOG.md. The date honours
# SOURCE_DATE_EPOCH, so packages can be rebuilt byte for byte.
string(TIMESTAMP DM_RELEASE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/debian)
file(WRITE ${PROJECT_BINARY_DIR}/debian/changelog
     "devmgmt (${PROJECT_VERSION}) unstable; urgency=medium\n\n"
     "  * Release ${PROJECT_VERSION}; the changes are listed in CHANGELOG.md.\n\n"
     " -- ${DM_DEB_MAINTAINER}  ${DM_RELEASE_DATE}\n")
file(ARCHIVE_CREATE OUTPUT ${PROJECT_BINARY_DIR}/debian/changelog.gz PATHS ${PROJECT_BINARY_DIR}/debian/changelog
     FORMAT raw COMPRESSION GZip COMPRESSION_LEVEL 9)

set(DM_DEB_COMPONENTS platform library tools dev)
set(DM_DEB_PACKAGE_platform libdmplatform${PROJECT_VERSION_MAJOR})
set(DM_DEB_PACKAGE_library libdevmgmt${PROJECT_VERSION_MAJOR})
set(DM_DEB_PACKAGE_tools dmctl)
set(DM_DEB_PACKAGE_dev libdevmgmt-dev)
foreach(component IN LISTS DM_DEB_COMPONENTS)
  string(TOUPPER ${component} upper)
  set(package ${DM_DEB_PACKAGE_${component}})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian/copyright ${PROJECT_BINARY_DIR}/debian/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME devmgmt)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${DM_DEB_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL ${DM_DEB_COMPONENTS})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENT_LIBRARY_DEPENDS platform)
set(CPACK_COMPONENT_TOOLS_DEPENDS library)
set(CPACK_COMPONENT_DEV_DEPENDS library)

set(CPACK_COMPONENT_PLATFORM_DESCRIPTION
    "Host platform of the device-management library
The configuration database (SQLite), change notifications, IPC queues (POSIX
message queues), JSON and binary serialisation, logging and device queries
that the device-management library runs on.")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
    "Device-management library of a desk IP phone
Management events and their senders, EMS status reports, the alarm and event
tables with notification cards, peripheral descriptions, system states,
certificate inspection and signed-file verification.")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "Command line over the device-management library
Raises and lists alarms, watches cards, builds the EMS status report, sends
management events, inspects certificates, splits and verifies signed files,
rewrites peripherals and reads and writes system states and configuration.")
set(CPACK_COMPONENT_DEV_DESCRIPTION
    "Device-management library: development files
Headers (C headers for the flat entry points, C++ headers for the classes),
the CMake package devmgmt and the pkg-config file devmgmt.")
set(CPACK_DEBIAN_PLATFORM_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# What the installed headers include.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libssl-dev, libboost-dev")

# Run-time dependencies come from dpkg-shlibdeps; the library packages also
# get shlibs files, so packages built against them depend on this release.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# The library packages refresh the loader's cache through dpkg's trigger.
set(CPACK_DEBIAN_PLATFORM_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
if(CMAKE_CROSSCOMPILING)
  # dpkg-shlibdeps finds only the host's libraries (the cross libc belongs to
  # *-cross packages), so a cross build names the same Debian 12 libraries
  # that the native packages get.
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
  set(dm_cxx_runtime "libc6 (>= 2.34), libgcc-s1 (>= 3.5), libstdc++6 (>= 11)")
  set(CPACK_DEBIAN_PLATFORM_PACKAGE_DEPENDS "${dm_cxx_runtime}, libsqlite3-0 (>= 3.20.0), libssl3 (>= 3.0.0)")
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "${dm_cxx_runtime}, libssl3 (>= 3.0.0)")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${dm_cxx_runtime}, libssl3 (>= 3.0.0)")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # dmctl and libdevmgmt need libdmplatform from this build, not the system.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
endif()

include(CPack)
