# What an install holds besides the libraries (which src/ and vision/ install
# themselves, as the drivers do through keld_install_driver()):
#   bin/                 keldcfg, keldcfgd
#   lib/cmake/keldcfgc/  the CMake package (keldcfgc::keldcfgc, keldcfgc::odvissvc)
#   lib/pkgconfig/       keldcfgc.pc, odvissvc.pc
#   share/doc/keldcfgc/  README.md, registry.reg.example
#   lib/systemd/system/  keldcfgd.service, where server/ provides one
# and the Debian package that CPack makes of it (cpack -G DEB).
include(CMakePackageConfigHelpers)

foreach(program keldcfg keldcfgd)
  if(TARGET ${program})
    keld_install_program(${program})
  endif()
endforeach()

# The server's unit file comes with the server; installed where systemd
# looks for units that packages bring.
if(EXISTS ${PROJECT_SOURCE_DIR}/server/keldcfgd.service)
  install(FILES ${PROJECT_SOURCE_DIR}/server/keldcfgd.service DESTINATION lib/systemd/system)
endif()

# The CMake package. Its version file follows the library's own version
# negotiation rather than one of CMake's stock rules; see the template.
set(KELD_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/keldcfgc)
install(EXPORT keldcfgcTargets NAMESPACE keldcfgc:: DESTINATION ${KELD_CMAKE_PACKAGE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/package/keldcfgcConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/keldcfgcConfig.cmake INSTALL_DESTINATION ${KELD_CMAKE_PACKAGE_DIR}
  NO_SET_AND_CHECK_MACRO)
configure_file(${PROJECT_SOURCE_DIR}/cmake/package/keldcfgcConfigVersion.cmake.in
  ${PROJECT_BINARY_DIR}/package/keldcfgcConfigVersion.cmake @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/keldcfgcConfig.cmake
              ${PROJECT_BINARY_DIR}/package/keldcfgcConfigVersion.cmake
        DESTINATION ${KELD_CMAKE_PACKAGE_DIR})

# pkg-config files. They name the prefix the install goes to, which is known
# only when it runs (cmake --install --prefix, or /usr inside the Debian
# package): each is filled in twice, now with everything else and at install
# time with the prefix.
set(KELD_PC_PREFIX "@CMAKE_INSTALL_PREFIX@")
foreach(pc keldcfgc odvissvc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/package/${pc}.pc.in ${PROJECT_BINARY_DIR}/package/${pc}.pc.in @ONLY)
  install(CODE "configure_file(\"${PROJECT_BINARY_DIR}/package/${pc}.pc.in\" \"${PROJECT_BINARY_DIR}/package/${pc}.pc\" @ONLY)")
  install(FILES ${PROJECT_BINARY_DIR}/package/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

# The library reads /etc/keldcfgc/registry.reg, whatever the prefix. An
# install never writes there: the example goes with the documentation, to be
# copied by whoever wants other settings than the defaults.
install(FILES ${PROJECT_SOURCE_DIR}/cmake/package/registry.reg.example ${PROJECT_SOURCE_DIR}/README.md
        DESTINATION ${CMAKE_INSTALL_DOCDIR})

# The Debian package: one package with the libraries, the programs, the
# drivers and the development files. Its dependencies are those of the ELF
# files inside, found by dpkg-shlibdeps; the shlibs of the two libraries are
# generated so that other packages can depend on this one the same way.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME keldcfgc)
set(CPACK_PACKAGE_VENDOR "keldcfgc")
set(KELD_PACKAGE_CONTACT "keldcfgc maintainers <maintainers@users.noreply.c-seed-cd386292.example>"
  CACHE STRING "Maintainer field of the Debian package")
set(CPACK_PACKAGE_CONTACT ${KELD_PACKAGE_CONTACT})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "configuration client library for KELD frame-grabber boards and cameras")
set(CPACK_PACKAGE_DESCRIPTION
  "libkeldcfgc.so configures KELD frame-grabber boards and cameras on this machine or, through the target\n"
  "server keldcfgd, on another one. The package holds the library, its image library libodvissvc.so,\n"
  "keldcfgd, the command-line tool keldcfg, the headers, a CMake package and pkg-config files.")
string(REPLACE ";" "" CPACK_PACKAGE_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_OUTPUT_FILE_PREFIX ${PROJECT_BINARY_DIR}/packages)
include(CPack)
