# What `cmake --install` puts on a machine: the two libraries, dmctl, the
# headers by subsystem, a CMake package (find_package(devmgmt) gives
# devmgmt::devmgmt and devmgmt::dmplatform) and a pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set_target_properties(dmctl PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
install(TARGETS dmplatform devmgmt EXPORT devmgmtTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/devmgmt)
install(TARGETS dmctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# Public headers keep their folder, so "events/uDeviceManagementEvent.h"
# includes the same way inside and outside the project. The host platform's
# private headers stay behind.
foreach(subsystem platform events alerts ems peripherals state security)
  if(EXISTS ${PROJECT_SOURCE_DIR}/${subsystem})
    install(DIRECTORY ${subsystem}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/devmgmt/${subsystem}
            FILES_MATCHING PATTERN "*.h" PATTERN "*.def" PATTERN "host" EXCLUDE)
  endif()
endforeach()

install(EXPORT devmgmtTargets NAMESPACE devmgmt:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/devmgmt)
configure_package_config_file(cmake/devmgmtConfig.cmake.in ${PROJECT_BINARY_DIR}/devmgmtConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/devmgmt)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/devmgmtConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/devmgmtConfig.cmake ${PROJECT_BINARY_DIR}/devmgmtConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/devmgmt)

file(RELATIVE_PATH DM_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/devmgmt.pc.in ${PROJECT_BINARY_DIR}/devmgmt.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/devmgmt.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
