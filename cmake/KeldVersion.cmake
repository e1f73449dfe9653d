# The project's version comes from the version words the library reports
# (src/session/library_version.h), so that the CMake project, the shared
# library's file name and SONAME, the CMake package and the pkg-config files
# cannot drift from what cfgQueryVersion and getCurrentVersion answer.
# Included before project(); sets
#   KELD_VERSION                    major.minor.update of the library, "18.5.0"
#   KELD_VERSION_MAJOR, _MINOR      its parts
#   KELD_OLDEST_COMPATIBLE_VERSION  the oldest version callers may ask for
#   KELD_VERSION_WORD               the word as hexadecimal text, "0x1250C000"
#   KELD_VERSION_TEXT               the word's text form with phase and build, "18.5.0f0"

set(_keld_version_header ${CMAKE_CURRENT_LIST_DIR}/../src/session/library_version.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${_keld_version_header})
file(READ ${_keld_version_header} _keld_version_text)

# A version word holds from the top 8 bits major, 4 bits minor, 4 bits update,
# then 2 bits phase and 14 bits build; CMake versions take the first three.
function(_keld_version_of_word constant out_version out_word)
  if(NOT _keld_version_text MATCHES "${constant} = (0x[0-9A-Fa-f]+)")
    message(FATAL_ERROR "cannot find ${constant} in ${_keld_version_header}")
  endif()
  set(word ${CMAKE_MATCH_1})
  math(EXPR major "(${word} >> 24) & 0xFF")
  math(EXPR minor "(${word} >> 20) & 0xF")
  math(EXPR update "(${word} >> 16) & 0xF")
  set(${out_version} ${major}.${minor}.${update} PARENT_SCOPE)
  set(${out_word} ${word} PARENT_SCOPE)
endfunction()

_keld_version_of_word(kCurrentVersion KELD_VERSION KELD_VERSION_WORD)
_keld_version_of_word(kOldestCompatibleVersion KELD_OLDEST_COMPATIBLE_VERSION _keld_unused)
math(EXPR _keld_phase "(${KELD_VERSION_WORD} >> 14) & 0x3")
math(EXPR _keld_build "${KELD_VERSION_WORD} & 0x3FFF")
string(SUBSTRING "dabf" ${_keld_phase} 1 _keld_phase)
set(KELD_VERSION_TEXT ${KELD_VERSION}${_keld_phase}${_keld_build})
string(REPLACE "." ";" _keld_parts ${KELD_VERSION})
list(GET _keld_parts 0 KELD_VERSION_MAJOR)
list(GET _keld_parts 1 KELD_VERSION_MINOR)

# The C++ version functions live in a namespace named after major and minor;
# their header and the export map must name the same one.
foreach(_keld_file include/keldcfgc/version.hpp src/keldcfgc.map)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/../${_keld_file})
  file(READ ${CMAKE_CURRENT_LIST_DIR}/../${_keld_file} _keld_text)
  if(NOT _keld_text MATCHES "nKELDCFGC_${KELD_VERSION_MAJOR}_${KELD_VERSION_MINOR}::|namespace nKELDCFGC_${KELD_VERSION_MAJOR}_${KELD_VERSION_MINOR} ")
    message(FATAL_ERROR "${_keld_file} does not name nKELDCFGC_${KELD_VERSION_MAJOR}_${KELD_VERSION_MINOR}, "
                        "the namespace of version ${KELD_VERSION}")
  endif()
endforeach()
unset(_keld_text)
unset(_keld_version_text)
