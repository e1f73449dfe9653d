# The simulated drivers as an install gives them: the frame-grabber driver
# and the network and USB camera driver beside libkeldcfgc.so with RUNPATH
# $ORIGIN, the former's description in keldcfgc/keld/boards.json beside
# it, the board tests beside it. A C
# program built against the prefix alone (driver_consumer.c) lists the
# default boards, opens one by name and by serial number, sets an attribute
# in the cache, validates and reads it back. The driver makes its data
# folder where the user's data go: $XDG_DATA_HOME/keldsim, else
# $HOME/.local/share/keldsim; both are tried, each pointing at a folder of
# the test. The program also lists the simulated network and USB cameras
# of the camera driver installed beside the library, and so does the
# installed keldcfg. Last, the installed description is shown to be the one
# the driver reads.
# Arguments: PREFIX WORK SOURCE LIBDIR BINDIR C_COMPILER SANITIZER_FLAGS.
cmake_minimum_required(VERSION 3.25)

function(run out)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${WORK}
    OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    string(REPLACE ";" " " command "${ARGN}")
    message(FATAL_ERROR "failed (${result}): ${command}\n${output}${errors}")
  endif()
  set(${out} "${output}" PARENT_SCOPE)
endfunction()

function(expect text pattern what)
  if(NOT text MATCHES "${pattern}")
    message(FATAL_ERROR "${what}: expected to match\n  ${pattern}\nbut got\n${text}")
  endif()
endfunction()

set(libdir ${PREFIX}/${LIBDIR})
set(data ${libdir}/keldcfgc/keld)
foreach(file ${libdir}/libkeld.so ${libdir}/libodkeldnv.so ${data}/boards.json ${libdir}/libTest7105.so ${libdir}/libTest7102.so
             ${libdir}/libTest7103.so ${libdir}/libTest7107.so)
  if(NOT EXISTS ${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
foreach(driver libkeld.so libodkeldnv.so)
  execute_process(COMMAND readelf -d ${libdir}/${driver} OUTPUT_VARIABLE dynamic)
  if(NOT dynamic MATCHES "\\(RUNPATH\\)[^\n]*\\[\\$ORIGIN\\]")
    message(FATAL_ERROR "the installed driver ${driver} lacks RUNPATH $ORIGIN:\n${dynamic}")
  endif()
endforeach()
if(EXISTS ${libdir}/libodkeldnv_noversion.so)
  message(FATAL_ERROR "the camera driver's test variant was installed")
endif()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
separate_arguments(sanitizer_flags UNIX_COMMAND "${SANITIZER_FLAGS}")
run(ignored ${C_COMPILER} -std=c99 -Wall -Wextra -Wpedantic -Werror ${sanitizer_flags}
    ${SOURCE}/driver_consumer.c -I${PREFIX}/include -L${libdir} -lkeldcfgc -Wl,-rpath,${libdir} -o driver_consumer)

# The library finds the driver by its RUNPATH alone. A sanitized process is
# the exception: its runtime makes the library's dlopen() search neither
# RUNPATH, so there the library folder is named to the loader.
set(loader --unset=LD_LIBRARY_PATH)
if(SANITIZER_FLAGS)
  set(loader LD_LIBRARY_PATH=${libdir})
endif()
set(clean_environment --unset=KELDSIM_CONFIG --unset=KELDSIM_DATA --unset=KELDNVSIM_CONFIG --unset=KELDNVSIM_DATA
    ${loader})

set(expected_run
  "^3 boards\n"
  "board 0: img0 0x00A10001 OD PCIe-7109\n"
  "board 1: img1 0x00A10002 OD PCI-7105\n"
  "board 2: img2 0x00A10003 OD PXB-7107\n"
  "opened img2\n"
  "red gain 2\\.50 cached, 2\\.50 on the board after validation\n"
  "opened serial 0x00A10003: the board says 0x00A10003\n"
  "closed\n"
  "3 cameras\n"
  "camera 0: cam0 0x00A1B00000000101 OD GC-640M bus 1\n"
  "camera 1: cam1 0x00A1B00000000202 Basalt Imaging BX-2040C USB bus 2\n"
  "camera 2: cam2 0x00A1B00000000303 OD CL-4M bus 4\n$")
string(CONCAT expected_run ${expected_run})

function(check_data_folder folder)
  foreach(file mono640.icd bayer1280.icd mono16.icd rgb640.icd Reference/reference640.icd img0.iid img1.iid img2.iid)
    if(NOT EXISTS ${folder}/${file})
      message(FATAL_ERROR "the driver's data folder ${folder} lacks ${file}")
    endif()
  endforeach()
endfunction()

# $XDG_DATA_HOME first.
run(output ${CMAKE_COMMAND} -E env ${clean_environment} XDG_DATA_HOME=${WORK}/xdg HOME=${WORK}/home-unused
    ${WORK}/driver_consumer)
message(STATUS "driver_consumer with XDG_DATA_HOME:\n${output}")
expect("${output}" "${expected_run}" "driver_consumer")
check_data_folder(${WORK}/xdg/keldsim)
if(NOT IS_DIRECTORY ${WORK}/xdg/keldnvsim)
  message(FATAL_ERROR "the camera driver made no data folder in ${WORK}/xdg/keldnvsim")
endif()
if(EXISTS ${WORK}/home-unused)
  message(FATAL_ERROR "the driver wrote below HOME although XDG_DATA_HOME was set")
endif()

# Then $HOME; the interface files made before are found again.
run(output ${CMAKE_COMMAND} -E env ${clean_environment} --unset=XDG_DATA_HOME HOME=${WORK}/home
    ${WORK}/driver_consumer)
expect("${output}" "${expected_run}" "driver_consumer with HOME")
check_data_folder(${WORK}/home/.local/share/keldsim)
run(output ${CMAKE_COMMAND} -E env ${clean_environment} --unset=XDG_DATA_HOME HOME=${WORK}/home
    ${WORK}/driver_consumer)
expect("${output}" "${expected_run}" "driver_consumer with HOME, second run")

# The installed keldcfg lists the same cameras.
run(output ${CMAKE_COMMAND} -E env ${clean_environment} --unset=XDG_DATA_HOME HOME=${WORK}/home
    ${PREFIX}/${BINDIR}/keldcfg cameras)
message(STATUS "keldcfg cameras:\n${output}")
expect("${output}" "^3 network and USB cameras\ncam0: OD GC-640M, network, id 0x00A1B00000000101\n" "keldcfg cameras")

# A session left open is closed by the library as it unloads, before the
# driver goes.
run(output ${CMAKE_COMMAND} -E env ${clean_environment} --unset=XDG_DATA_HOME HOME=${WORK}/home
    ${WORK}/driver_consumer leave-open)
expect("${output}" "^3 boards\n.*left img0 open\n$" "driver_consumer leave-open")

# The description beside the driver is the one it reads: with another one
# in its place the program sees other boards.
file(READ ${data}/boards.json installed)
file(WRITE ${data}/boards.json [=[{ "boards": [
  { "serial": "0x00C00001", "model": "OD PCI-7103", "ports": 1, "interface_types": "0x1" } ] }]=])
execute_process(COMMAND ${CMAKE_COMMAND} -E env ${clean_environment} XDG_DATA_HOME=${WORK}/other
                ${WORK}/driver_consumer WORKING_DIRECTORY ${WORK} OUTPUT_VARIABLE output ERROR_VARIABLE errors
                RESULT_VARIABLE result)
file(WRITE ${data}/boards.json "${installed}")
if(NOT result EQUAL 0)
  message(FATAL_ERROR "driver_consumer with another description failed (${result}):\n${output}${errors}")
endif()
expect("${output}" "^1 boards\nboard 0: img0 0x00C00001 OD PCI-7103\nopened img0\n" "driver_consumer, other description")
