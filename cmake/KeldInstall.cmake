# Where an install puts things, and the two functions that put targets there.
#
# The libraries and the drivers share one folder, ${CMAKE_INSTALL_LIBDIR}, as
# they share ${CMAKE_BINARY_DIR}/lib in the build tree: libkeldcfgc.so
# carries RUNPATH $ORIGIN and loads the drivers and libodvissvc.so by their
# plain names ("libkeld.so"), so whatever lies beside it is found, built or
# installed.
include(GNUInstallDirs)

option(KELD_INSTALL_DRIVERS "Install the drivers that call keld_install_driver() beside the library" ON)

# Folder of a driver's data below the folder of the driver library itself,
# the same in the build tree and after an install.
set(KELD_DRIVER_DATA_SUBDIR keldcfgc)

# keld_install_program(<target>...)
#
# Installs programs into ${CMAKE_INSTALL_BINDIR}. Their RUNPATH points at the
# library folder of the same prefix, so a program installed into any prefix
# finds libodvissvc.so and, when it carries the library's objects itself as
# keldcfgd does, the drivers it loads.
function(keld_install_program)
  file(RELATIVE_PATH to_libdir /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
  foreach(target ${ARGN})
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${to_libdir}")
    install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endforeach()
endfunction()

# keld_install_driver(<target>... [NAME <name>] [DESCRIPTION <file>] [DATA <folder>...]
#                     [BOARD_TESTS <target>...])
#
# For a driver library that the configuration library loads by name: builds
# it into the library folder with RUNPATH $ORIGIN and installs it beside
# libkeldcfgc.so. Its default device description (DESCRIPTION) and the files
# of its data folders (DATA, the contents of each) go to one folder,
#   <folder of the driver>/keldcfgc/<name>
# which the function fills in the build tree too (after each build of the
# driver), so a driver finds them the same way in both places. <name>
# defaults to the first target's name. Each target gets the definition
#   KELD_DRIVER_DATA_SUBDIR="keldcfgc/<name>"
# the path of that folder relative to the folder that holds the driver
# (dladdr() on one of its own functions gives that folder).
# BOARD_TESTS are the board-test libraries (libTest7105.so ...) that the
# library loads from the folder the driver names as its diagnostics folder:
# they are built into and installed to the same data folder.
# With KELD_INSTALL_DRIVERS off, the drivers and their data are built and
# filled in the build tree but not installed.
#
# Under GCC's AddressSanitizer, dlopen() runs from inside the sanitizer's
# runtime, and the loader then searches neither the library's RUNPATH nor the
# program's: a driver loaded by its plain name is found there only through
# LD_LIBRARY_PATH (for tests, the ENVIRONMENT property with ${CMAKE_BINARY_DIR}/lib).
function(keld_install_driver)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "NAME;DESCRIPTION" "DATA;BOARD_TESTS")
  set(targets ${arg_UNPARSED_ARGUMENTS})
  if(NOT targets)
    message(FATAL_ERROR "keld_install_driver: no target named")
  endif()
  list(GET targets 0 first)
  set(name ${first})
  if(arg_NAME)
    set(name ${arg_NAME})
  endif()
  set(subdir ${KELD_DRIVER_DATA_SUBDIR}/${name})
  set(build_data ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/${subdir})

  set(copy_commands "")
  if(arg_DESCRIPTION)
    get_filename_component(description ${arg_DESCRIPTION} ABSOLUTE)
    list(APPEND copy_commands COMMAND ${CMAKE_COMMAND} -E copy_if_different ${description} ${build_data}/)
  endif()
  set(data_folders "")
  foreach(folder ${arg_DATA})
    get_filename_component(folder ${folder} ABSOLUTE)
    list(APPEND data_folders ${folder})
    list(APPEND copy_commands COMMAND ${CMAKE_COMMAND} -E copy_directory ${folder} ${build_data})
  endforeach()

  foreach(target ${targets})
    set_target_properties(${target} PROPERTIES
      LIBRARY_OUTPUT_DIRECTORY ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}
      BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN" BUILD_WITH_INSTALL_RPATH ON)
    target_link_options(${target} PRIVATE -Wl,--enable-new-dtags)
    target_compile_definitions(${target} PRIVATE KELD_DRIVER_DATA_SUBDIR="${subdir}")
    if(KELD_INSTALL_DRIVERS)
      install(TARGETS ${target} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
    endif()
  endforeach()

  # Board tests live in the data folder and may use the libraries two levels up.
  foreach(target ${arg_BOARD_TESTS})
    set_target_properties(${target} PROPERTIES
      LIBRARY_OUTPUT_DIRECTORY ${build_data}
      BUILD_RPATH "$ORIGIN/../.." INSTALL_RPATH "$ORIGIN/../.." BUILD_WITH_INSTALL_RPATH ON)
    target_link_options(${target} PRIVATE -Wl,--enable-new-dtags)
    if(KELD_INSTALL_DRIVERS)
      install(TARGETS ${target} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/${subdir})
    endif()
  endforeach()

  if(copy_commands)
    add_custom_command(TARGET ${first} POST_BUILD
      COMMAND ${CMAKE_COMMAND} -E make_directory ${build_data} ${copy_commands}
      COMMENT "Filling the data folder of ${name}" VERBATIM)
    if(KELD_INSTALL_DRIVERS)
      if(arg_DESCRIPTION)
        install(FILES ${description} DESTINATION ${CMAKE_INSTALL_LIBDIR}/${subdir})
      endif()
      foreach(folder ${data_folders})
        install(DIRECTORY ${folder}/ DESTINATION ${CMAKE_INSTALL_LIBDIR}/${subdir})
      endforeach()
    endif()
  endif()
endfunction()
