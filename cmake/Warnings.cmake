# Project-wide warning set; applied through keld_warnings() to our own targets.
function(keld_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
    -Wcast-align -Woverloaded-virtual -Wformat=2
    $<$<BOOL:${KELD_WERROR}>:-Werror>)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-Wno-interference-size>)
  endif()
endfunction()

function(keld_c_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic
    $<$<BOOL:${KELD_WERROR}>:-Werror>)
endfunction()
