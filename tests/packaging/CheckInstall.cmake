# Installs the build into a scratch prefix, then builds and runs a consumer
# against it twice: through find_package(devmgmt) and through pkg-config.
# Arguments: BUILD_DIR, SOURCE_DIR (the consumer), WORK_DIR, CXX.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(file bin/dmctl include/devmgmt/platform/vmCfg.h include/devmgmt/platform/vmCfgSchema.def
             include/devmgmt/events/uDeviceManagementEvent.h lib/pkgconfig/devmgmt.pc
             lib/cmake/devmgmt/devmgmtConfig.cmake)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
if(EXISTS ${prefix}/include/devmgmt/platform/host)
  message(FATAL_ERROR "the host platform's private headers were installed")
endif()

set(ENV{VM_CFG_DB} ${WORK_DIR}/config.db)
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/cmake-build -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run(${WORK_DIR}/cmake-build/consumer)
if(NOT last_output MATCHES "^ProvisioningEv \\{\"provType\":1,.*\\} DP-400 413")
  message(FATAL_ERROR "unexpected output of the find_package consumer: ${last_output}")
endif()

set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
run(pkg-config --cflags --libs devmgmt)
string(STRIP "${last_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX} ${SOURCE_DIR}/main.cpp ${flags} -Wl,-rpath,${prefix}/lib -o ${WORK_DIR}/pkg-consumer)
run(${WORK_DIR}/pkg-consumer)
if(NOT last_output MATCHES "DP-400 413")
  message(FATAL_ERROR "unexpected output of the pkg-config consumer: ${last_output}")
endif()
run(${prefix}/bin/dmctl config get device/model)
message(STATUS "installed tree works through find_package and pkg-config")
