# Compiles PROBE (syntax only) with the include view VIEW. back_include must
# fail, naming the missing header of the higher layer; allowed_include must
# compile.
set(extra "")
if(BOOST_INCLUDE AND NOT BOOST_INCLUDE STREQUAL "/usr/include")
  set(extra -isystem ${BOOST_INCLUDE})
endif()
execute_process(
  COMMAND ${COMPILER} -std=c++20 -fsyntax-only -I${VIEW} -I${INCLUDE} -I${VISION_INCLUDE} ${extra} ${PROBE}
  RESULT_VARIABLE result
  OUTPUT_VARIABLE output
  ERROR_VARIABLE output)
if(EXPECT STREQUAL "back_include")
  if(result EQUAL 0)
    message(FATAL_ERROR "an include of a higher layer compiled:\n${output}")
  endif()
  if(NOT output MATCHES "capi/frames\\.h")
    message(FATAL_ERROR "the probe failed for another reason than the missing header:\n${output}")
  endif()
  message(STATUS "refused as it should be:\n${output}")
else()
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "an include of the same or a lower layer did not compile:\n${output}")
  endif()
endif()
