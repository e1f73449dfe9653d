# Installs the build tree BUILD_DIR into a fresh PREFIX, as a user would.
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
  OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "cmake --install failed (${result}):\n${output}")
endif()
string(REGEX MATCHALL "-- (Installing|Up-to-date): [^\n]*" installed "${output}")
list(LENGTH installed count)
message(STATUS "installed ${count} files into ${PREFIX}")
