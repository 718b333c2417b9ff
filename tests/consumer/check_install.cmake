# Installs a build of libquorb into a fresh prefix and uses it as a host
# would: a CMake project through find_package, a C program through
# pkg-config, the Python package and the quorb command.
#
# cmake -DBUILD_DIR=... -DWORK_DIR=... -DCATALOG=... -DGENERATOR=...
#       -DC_COMPILER=... -DCXX_COMPILER=... -DPYTHON=... -DPYTHON_DIR=...
#       -DLIBDIR=... -DBINDIR=... -DWITH_COMMAND=ON|OFF -P check_install.cmake

set(prefix ${WORK_DIR}/prefix)
set(consumer ${CMAKE_CURRENT_LIST_DIR}/../../examples/hosts)

# Runs a command; its standard output lands in run_output. Fails the test
# when the command fails or its output misses the regular expression EXPECT.
function(run)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "EXPECT" "COMMAND")
  execute_process(COMMAND ${arg_COMMAND} RESULT_VARIABLE result
    OUTPUT_VARIABLE output ERROR_VARIABLE errors)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${arg_COMMAND}\n${output}\n${errors}")
  endif()
  if(DEFINED arg_EXPECT AND NOT output MATCHES "${arg_EXPECT}")
    message(FATAL_ERROR "output of ${arg_COMMAND} lacks '${arg_EXPECT}':\n${output}")
  endif()
  set(run_output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
unset(ENV{DESTDIR})
run(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

foreach(link ${prefix}/${LIBDIR}/libquorb.so ${prefix}/${LIBDIR}/libquorb.so.1
    ${prefix}/${PYTHON_DIR}/quorb/libquorb.so.1)
  if(NOT IS_SYMLINK ${link} OR NOT EXISTS ${link})
    message(FATAL_ERROR "${link} is not a link to the installed library")
  endif()
endforeach()
foreach(file include/quorb/quorb.h include/quorb/quorb_services.h
    ${LIBDIR}/cmake/quorb/quorbTargets.cmake
    ${LIBDIR}/cmake/quorb/quorbConfigVersion.cmake)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "${file} was not installed")
  endif()
endforeach()

# A CMake project. It never looks for OpenMP: the installed target must not need it.
run(COMMAND ${CMAKE_COMMAND} -S ${consumer} -B ${WORK_DIR}/build -G ${GENERATOR}
  -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_C_COMPILER=${C_COMPILER}
  -DCMAKE_CXX_COMPILER=${CXX_COMPILER})
run(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(COMMAND ${WORK_DIR}/build/host_example_c EXPECT "^Quorb Version [^\n]*\nsatellite 25544 has key")
run(COMMAND ${WORK_DIR}/build/host_example_cxx ${CATALOG} EXPECT "\n35 vectors\n$")

# A C program compiled with the flags of quorb.pc.
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
run(COMMAND pkg-config --cflags --libs quorb)
separate_arguments(flags UNIX_COMMAND "${run_output}")
run(COMMAND pkg-config --variable=libdir quorb)
string(STRIP "${run_output}" libdir)
run(COMMAND ${C_COMPILER} -std=c99 -Wall -Wextra -Werror ${consumer}/host_example.c ${flags}
  -Wl,-rpath,${libdir} -o ${WORK_DIR}/host_example_pkgconfig)
run(COMMAND ${WORK_DIR}/host_example_pkgconfig EXPECT "satellite 25544 has key")

# The Python package (where the tree builds it), finding the library beside itself.
if(PYTHON_DIR)
  set(script "import quorb
quorb.load_file('${CATALOG}')
print(quorb.count(), quorb.bindings.library_location())")
  run(COMMAND ${CMAKE_COMMAND} -E env --unset=QUORB_LIBRARY PYTHONDONTWRITEBYTECODE=1
    PYTHONPATH=${prefix}/${PYTHON_DIR} ${PYTHON} -c ${script}
    EXPECT "^35 ${prefix}/${PYTHON_DIR}/quorb/libquorb.so.1")
endif()

if(WITH_COMMAND)
  run(COMMAND ${prefix}/${BINDIR}/quorb load ${CATALOG} EXPECT "Loaded = 35")
endif()
