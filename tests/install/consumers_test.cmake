# Builds two programs against the install in PREFIX, from copies of their
# sources outside the source tree, runs them and checks what they print:
#   list_boards.c   C99, flags from pkg-config (the example of README.md)
#   cxx_consumer/   C++, find_package(keldcfgc) and its imported targets
# then runs the installed keldcfg and keldcfgd. No program runs with
# LD_LIBRARY_PATH: each must find the libraries by its own RUNPATH.
# Arguments: PREFIX WORK SOURCE README SOURCE_TREE LIBDIR BINDIR C_COMPILER
# CXX_COMPILER GENERATOR SANITIZER_FLAGS VERSION VERSION_WORD VERSION_TEXT.
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

# Runs a program of the install without LD_LIBRARY_PATH and shows its output.
function(run_program out)
  run(output ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ${ARGN})
  message(STATUS "${ARGV1}:\n${output}")
  set(${out} "${output}" PARENT_SCOPE)
endfunction()

function(expect text pattern what)
  if(NOT text MATCHES "${pattern}")
    message(FATAL_ERROR "${what}: expected to match\n  ${pattern}\nbut got\n${text}")
  endif()
endfunction()

# The program loads these libraries (default: both) from the prefix.
function(expect_libraries_from_prefix program)
  set(libraries ${ARGN})
  if(NOT libraries)
    set(libraries libkeldcfgc libodvissvc)
  endif()
  run(output ldd ${program})
  file(REAL_PATH ${PREFIX}/${LIBDIR} libdir)
  foreach(library ${libraries})
    set(folder "")
    if(output MATCHES "${library}\\.so(\\.[0-9]+)? => ([^ \n]+)")
      get_filename_component(folder "${CMAKE_MATCH_2}" DIRECTORY)
      file(REAL_PATH "${folder}" folder)
    endif()
    if(NOT folder STREQUAL libdir)
      message(FATAL_ERROR "${program} does not load ${library} from ${libdir}:\n${output}")
    endif()
  endforeach()
endfunction()

string(REPLACE "." "\\." version_pattern "${VERSION}")
separate_arguments(sanitizer_flags UNIX_COMMAND "${SANITIZER_FLAGS}")
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/src)
file(COPY ${SOURCE}/list_boards.c ${SOURCE}/cxx_consumer DESTINATION ${WORK}/src)

# README.md shows list_boards.c as it is, so that its example is one that
# compiles and runs.
file(READ ${README} readme)
file(READ ${SOURCE}/list_boards.c example)
string(FIND "${readme}" "${example}" found)
if(found LESS 0)
  message(FATAL_ERROR "README.md does not show tests/install/list_boards.c as it is")
endif()

# --- C with pkg-config -------------------------------------------------------
find_program(PKG_CONFIG pkg-config REQUIRED)
set(pkg_config ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${PREFIX}/${LIBDIR}/pkgconfig ${PKG_CONFIG})
run(versions ${pkg_config} --modversion keldcfgc odvissvc)
expect("${versions}" "^${version_pattern}\n${version_pattern}\n$" "pkg-config --modversion")
run(flags ${pkg_config} --cflags --libs keldcfgc)
run(libdir ${pkg_config} --variable=libdir keldcfgc)
string(STRIP "${flags}" flags)
string(STRIP "${libdir}" libdir)
message(STATUS "pkg-config --cflags --libs keldcfgc: ${flags}")
expect("${flags}" "-I${PREFIX}/include" "pkg-config --cflags")
foreach(folder ${SOURCE_TREE}/include ${SOURCE_TREE}/vision/include)
  string(FIND "${flags}" "${folder}" found)
  if(NOT found EQUAL -1)
    message(FATAL_ERROR "pkg-config names the source tree's ${folder}: ${flags}")
  endif()
endforeach()
separate_arguments(flags UNIX_COMMAND "${flags}")
run(ignored ${C_COMPILER} -std=c99 -Wall -Wextra -Wpedantic -Werror ${sanitizer_flags}
    src/list_boards.c ${flags} -Wl,-rpath,${libdir} -o list_boards)
run_program(output ${WORK}/list_boards)
expect("${output}" "^keldcfgc ${version_pattern} \\(${VERSION_WORD}\\)\n[0-9]+ boards \\([^\n]+\\)\n" "list_boards")
expect_libraries_from_prefix(${WORK}/list_boards)

# --- C++ with find_package ---------------------------------------------------
run(ignored ${CMAKE_COMMAND} -S src/cxx_consumer -B cxx-build -G ${GENERATOR}
    -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_PREFIX_PATH=${PREFIX} -DKELDCFGC_WANTED=${VERSION}
    -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS=${SANITIZER_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${SANITIZER_FLAGS}")
file(STRINGS ${WORK}/cxx-build/CMakeCache.txt package_dir REGEX "^keldcfgc_DIR:")
expect("${package_dir}" "=${PREFIX}/${LIBDIR}/cmake/keldcfgc$" "the package find_package took")
run(ignored ${CMAKE_COMMAND} --build cxx-build)
run_program(output ${WORK}/cxx-build/cxx_consumer)
string(REPLACE "." "\\." text_pattern "${VERSION_TEXT}")
expect("${output}"
  "^keldcfgc ${text_pattern} \\(${VERSION_WORD}\\) from package ${version_pattern}, compatible back to [0-9.]+[dabf][0-9]+\nodvissvc: made and released a 4 x 3 U8 image\n$"
  "cxx_consumer")
expect_libraries_from_prefix(${WORK}/cxx-build/cxx_consumer)

# --- the installed programs --------------------------------------------------
run_program(output ${PREFIX}/${BINDIR}/keldcfg version)
expect("${output}" "^keldcfgc ${text_pattern} \\(${VERSION_WORD}\\)" "keldcfg version")
expect_libraries_from_prefix(${PREFIX}/${BINDIR}/keldcfg)
run(output ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ${PREFIX}/${BINDIR}/keldcfgd --help)
expect("${output}" "Usage: [^\n]*keldcfgd" "keldcfgd --help")
expect_libraries_from_prefix(${PREFIX}/${BINDIR}/keldcfgd libodvissvc)
