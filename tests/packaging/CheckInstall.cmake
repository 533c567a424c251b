# Puts the build on a scratch tree the way a user does, then builds and runs
# the consumers against it with a clean environment, as the README shows:
#   MODE=install  cmake --install into a prefix
#   MODE=deb      cpack's Debian packages, unpacked into a root with dpkg-deb
#                 (the files apt would install), checked with lintian; for a
#                 cross build (CROSS=ON) only the packages are checked
# Arguments: MODE, BUILD_DIR, NM, CPACK, SOURCE_DIR (the consumers), WORK_DIR, CC, CXX, CROSS,
# INTERNAL_HEADERS (comma-separated).
cmake_minimum_required(VERSION 3.22)
file(REMOVE_RECURSE ${WORK_DIR})
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "failed (${status}): ${ARGN}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

if(MODE STREQUAL "install")
  set(prefix ${WORK_DIR}/prefix)
  run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
  set(libdir ${prefix}/lib)
else()
  run(${CPACK} -G DEB --config ${BUILD_DIR}/CPackConfig.cmake -B ${WORK_DIR}/debs)
  file(GLOB debs ${WORK_DIR}/debs/*.deb)
  list(LENGTH debs count)
  if(NOT count EQUAL 4)
    message(FATAL_ERROR "expected 4 packages, got: ${debs}")
  endif()
  run(lintian --fail-on error ${debs})
  foreach(deb IN LISTS debs)
    run(dpkg-deb -x ${deb} ${WORK_DIR}/root)
    run(dpkg-deb -f ${deb} Package Depends)
    string(APPEND depends "${last_output}")
  endforeach()
  # dpkg-shlibdeps found what each binary links: the C library, OpenSSL and
  # SQLite from the system, the platform library from this release.
  foreach(expected "libdevmgmt0\nDepends: [^\n]*libdmplatform0 \\(= " "libdmplatform0\nDepends: [^\n]*libsqlite3-0"
                   "libdmplatform0\nDepends: [^\n]*libc6" "dmctl\nDepends: [^\n]*libssl3")
    if(NOT depends MATCHES "Package: ${expected}")
      message(FATAL_ERROR "no dependency like \"${expected}\" in:\n${depends}")
    endif()
  endforeach()
  if(CROSS)
    message(STATUS "the cross build's packages are sound")
    return()
  endif()
  set(prefix ${WORK_DIR}/root/usr)
  set(libdir ${prefix}/lib)
endif()

foreach(file bin/dmctl include/devmgmt/devmgmt.h include/devmgmt/platform/vmCfgSchema.def
             lib/pkgconfig/devmgmt.pc lib/cmake/devmgmt/devmgmtConfig.cmake)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
file(GLOB_RECURSE headers RELATIVE ${prefix}/include/devmgmt ${prefix}/include/devmgmt/*.h)
string(REPLACE "," ";" internal_headers "${INTERNAL_HEADERS}")
foreach(internal IN LISTS internal_headers)
  if(internal IN_LIST headers)
    message(FATAL_ERROR "an internal header was installed: ${internal}")
  endif()
endforeach()

# Every unmangled function of the library is declared for C programs.
file(READ ${prefix}/include/devmgmt/devmgmt.h c_headers)
file(GLOB c_header_files ${prefix}/include/devmgmt/*/devmgmt_*.h ${prefix}/include/devmgmt/state/SCEPEnrollUtility.h)
foreach(file IN LISTS c_header_files)
  file(READ ${file} text)
  string(APPEND c_headers "${text}")
endforeach()
run(${NM} -D --defined-only ${libdir}/libdevmgmt.so)
string(REGEX MATCHALL "[0-9a-f]+ T [A-Za-z][A-Za-z0-9_]*\n" functions "${last_output}")
foreach(line IN LISTS functions)
  string(REGEX REPLACE "^[0-9a-f]+ T ([A-Za-z0-9_]+)\n$" "\\1" name "${line}")
  if(NOT c_headers MATCHES "[ *]${name}\\(")
    message(FATAL_ERROR "${name} is exported but no C header declares it")
  endif()
endforeach()

# Every installed header compiles on its own includes: none needs a header
# that stays behind.
set(all ${WORK_DIR}/all_headers.cpp)
file(WRITE ${all} "")
foreach(header IN LISTS headers)
  file(APPEND ${all} "#include \"${header}\"\n")
endforeach()
set(ENV{PKG_CONFIG_PATH} ${libdir}/pkgconfig)
run(pkg-config --cflags devmgmt)
string(STRIP "${last_output}" cflags)
separate_arguments(cflags UNIX_COMMAND "${cflags}")
run(${CXX} -std=c++17 -fsyntax-only ${cflags} ${all})

# The README's two ways, each program started with nothing in its
# environment but its database (so no LD_LIBRARY_PATH).
set(clean env -i VM_CFG_DB=${WORK_DIR}/config.db)
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/cmake-build -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_CXX_COMPILER=${CXX})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run(${clean} ${WORK_DIR}/cmake-build/consumer)
if(NOT last_output MATCHES "^raised 0 slot [0-9]+\n$")
  message(FATAL_ERROR "unexpected output of the find_package consumer: ${last_output}")
endif()

run(pkg-config --cflags --libs devmgmt)
string(STRIP "${last_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CC} -std=c11 -Wall -Werror ${SOURCE_DIR}/app.c ${flags} -Wl,-rpath,${libdir} -o ${WORK_DIR}/app)
run(${clean} ${WORK_DIR}/app)
if(NOT last_output MATCHES "^raised 0 with devmgmt [0-9]+\\.[0-9]+\\.[0-9]+\n$")
  message(FATAL_ERROR "unexpected output of the pkg-config consumer: ${last_output}")
endif()
run(${clean} ${prefix}/bin/dmctl --version)
if(NOT last_output MATCHES "^libdevmgmt [0-9.]+\nlibdmplatform [0-9.]+\n$")
  message(FATAL_ERROR "unexpected dmctl --version: ${last_output}")
endif()
message(STATUS "the ${MODE} tree works through find_package and pkg-config")
