# keld_install_driver() puts a driver beside the library with RUNPATH
# $ORIGIN and its description, data and board-test libraries in
# keldcfgc/<name> beside it, in the build tree and in an install alike.
# Arguments: SOURCE WORK GENERATOR C_COMPILER KELD_SOURCE_DIR.
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE ${WORK})

function(run)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${WORK}
    OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    string(REPLACE ";" " " command "${ARGN}")
    message(FATAL_ERROR "failed (${result}): ${command}\n${output}")
  endif()
endfunction()

file(MAKE_DIRECTORY ${WORK})
run(${CMAKE_COMMAND} -S ${SOURCE}/driver_project -B build -G ${GENERATOR} -DCMAKE_C_COMPILER=${C_COMPILER}
    -DKELD_SOURCE_DIR=${KELD_SOURCE_DIR} -DCMAKE_INSTALL_PREFIX=${WORK}/prefix -DCMAKE_INSTALL_LIBDIR=lib)
run(${CMAKE_COMMAND} --build build)
run(${CMAKE_COMMAND} --install build)

set(missing "")
foreach(file build/lib/libstandin.so build/lib/keldcfgc/standin_driver/devices.json
             build/lib/keldcfgc/standin_driver/example.txt build/lib/keldcfgc/standin_driver/libStandinTest.so
             prefix/lib/libstandin.so prefix/lib/keldcfgc/standin_driver/devices.json
             prefix/lib/keldcfgc/standin_driver/example.txt prefix/lib/keldcfgc/standin_driver/libStandinTest.so)
  if(NOT EXISTS ${WORK}/${file})
    list(APPEND missing ${file})
  else()
    message(STATUS "${file}")
  endif()
endforeach()
if(missing)
  message(FATAL_ERROR "missing after build and install: ${missing}")
endif()

execute_process(COMMAND readelf -d ${WORK}/prefix/lib/libstandin.so OUTPUT_VARIABLE dynamic)
if(NOT dynamic MATCHES "\\(RUNPATH\\)[^\n]*\\[\\$ORIGIN\\]")
  message(FATAL_ERROR "the installed driver lacks RUNPATH $ORIGIN:\n${dynamic}")
endif()
execute_process(COMMAND readelf -d ${WORK}/prefix/lib/keldcfgc/standin_driver/libStandinTest.so OUTPUT_VARIABLE dynamic)
if(NOT dynamic MATCHES "\\(RUNPATH\\)[^\n]*\\[\\$ORIGIN/\\.\\./\\.\\.\\]")
  message(FATAL_ERROR "the installed board test lacks RUNPATH $ORIGIN/../..:\n${dynamic}")
endif()
execute_process(COMMAND strings ${WORK}/prefix/lib/libstandin.so OUTPUT_VARIABLE text)
if(NOT text MATCHES "keldcfgc/standin_driver")
  message(FATAL_ERROR "the driver was not told the folder of its data")
endif()
