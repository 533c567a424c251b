# What `cmake --install` puts on a machine: the two libraries, dmctl, the
# public headers by subsystem, a CMake package (find_package(devmgmt) gives
# devmgmt::devmgmt and devmgmt::dmplatform) and a pkg-config file. Each part
# belongs to the component that becomes its Debian package (cmake/Packaging.cmake).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set_target_properties(dmctl PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
install(TARGETS dmplatform EXPORT devmgmtTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT platform NAMELINK_COMPONENT dev)
install(TARGETS devmgmt EXPORT devmgmtTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT dev
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/devmgmt)
install(TARGETS dmctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)

# The public headers, named one by one so that a header made for the
# library's own units (logging macros, slot accessors, small helpers) never
# ships by accident. They keep their folder, so "events/uDeviceManagementEvent.h"
# includes the same way inside and outside the project. The packaging test
# compiles every installed header on its own.
set(DM_PUBLIC_HEADERS
  devmgmt.h
  platform/BinaryBuffer.h platform/ConfigManager.h platform/DmBoundary.h platform/DmExport.h platform/IBoolElement.h
  platform/IElementSerializable.h platform/IIntegerElement.h platform/IListSerializable.h
  platform/ISerializable.h platform/IStringElement.h platform/KeyValueStringElement.h
  platform/VmString.h platform/uBinary.h platform/uEvent.h platform/uEventHandler.h
  platform/uEventSerializer.h platform/uHTTPEvent.h platform/uHTTPHandler.h platform/uIPCReceiver.h
  platform/uIPCSender.h platform/uJson.h platform/vmCfg.h platform/vmCfgSchema.def platform/vmDevice.h
  platform/vmFile.h platform/vmLog.h platform/vmMessage.h platform/vmTime.h platform/vmUtils.h
  events/devmgmt_events.h events/DeviceManagementData.h events/SingletonHolder.h
  events/uDeviceManagementAgent.h events/uDeviceManagementEvent.h events/uDeviceManagementEventFactory.h
  events/uDeviceManagementEventHandler.h
  events/auth/uAuthEvent.h events/auth/uAuthEventFactory.h events/auth/uAuthHandler.h
  ems/devmgmt_ems.h ems/EMSFsUtility.h ems/EMSMessageBuilder.h ems/EMSMessageBuilderSfb.h
  ems/EmsAuthorization.h ems/EmsRequests.h
  alerts/devmgmt_alerts.h alerts/AlertManager.h alerts/AlertObserver.h alerts/AlertReporter.h
  alerts/AlertUINotifier.h alerts/SystemAlert.h alerts/uHeroCard.h
  peripherals/BundleListParser.h peripherals/PeripheralDeviceFilter.h
  peripherals/PeripheralDeviceRewriter.h peripherals/PeripheralDevices.h peripherals/PeripheralInfo.h
  peripherals/ReleaseFWInfo.h
  state/devmgmt_state.h state/CertAcquisition.h state/SCEPEnrollUtility.h state/uSystemState.h
  security/devmgmt_security.h security/SignatureVerifier.h
)
# Headers for the library's own units only.
set(DM_INTERNAL_HEADERS alerts/AlertManagerLog.h alerts/AlertSlots.h alerts/ConfigBatch.h peripherals/PeripheralUtils.h
                        state/CertLog.h)
# A new header must be put on one list or the other, so none ships, or is
# left out, by accident.
file(GLOB dm_headers RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/*.h
     ${PROJECT_SOURCE_DIR}/platform/*.h ${PROJECT_SOURCE_DIR}/events/*.h ${PROJECT_SOURCE_DIR}/events/auth/*.h
     ${PROJECT_SOURCE_DIR}/ems/*.h ${PROJECT_SOURCE_DIR}/alerts/*.h ${PROJECT_SOURCE_DIR}/peripherals/*.h
     ${PROJECT_SOURCE_DIR}/state/*.h ${PROJECT_SOURCE_DIR}/security/*.h)
foreach(header IN LISTS dm_headers)
  if(NOT header IN_LIST DM_PUBLIC_HEADERS AND NOT header IN_LIST DM_INTERNAL_HEADERS)
    message(FATAL_ERROR "${header}: add it to DM_PUBLIC_HEADERS or DM_INTERNAL_HEADERS in cmake/Install.cmake")
  endif()
endforeach()
foreach(header IN LISTS DM_PUBLIC_HEADERS)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/devmgmt/${folder} COMPONENT dev)
endforeach()

set(DM_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/devmgmt)
install(EXPORT devmgmtTargets NAMESPACE devmgmt:: DESTINATION ${DM_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(cmake/devmgmtConfig.cmake.in ${PROJECT_BINARY_DIR}/devmgmtConfig.cmake
                              INSTALL_DESTINATION ${DM_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/devmgmtConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/devmgmtConfig.cmake ${PROJECT_BINARY_DIR}/devmgmtConfigVersion.cmake
        DESTINATION ${DM_CMAKE_DIR} COMPONENT dev)

file(RELATIVE_PATH DM_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/devmgmt.pc.in ${PROJECT_BINARY_DIR}/devmgmt.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/devmgmt.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
