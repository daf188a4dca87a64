# Installation: libraries with a versioned SONAME, headers, the CMake package and pkg-config files.
# Components (each a package of its own): library with the programs it starts, window, kelvofit,
# development.
include(CMakePackageConfigHelpers)

install(TARGETS Base KelvoBase EXPORT KelvoBaseTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
set_target_properties(Base KelvoBase PROPERTIES INSTALL_RPATH "$ORIGIN")
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KelvoBase)
install(EXPORT KelvoBaseTargets NAMESPACE KelvoBase:: DESTINATION ${package_dir}
  COMPONENT development)
configure_package_config_file(cmake/KelvoBaseConfig.cmake.in
  ${CMAKE_BINARY_DIR}/KelvoBaseConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/KelvoBaseConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/KelvoBaseConfig.cmake
  ${CMAKE_BINARY_DIR}/KelvoBaseConfigVersion.cmake DESTINATION ${package_dir}
  COMPONENT development)

# The .pc files find their prefix from their own place, so that an installed tree can be moved.
file(RELATIVE_PATH pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" pc_prefix "${pc_prefix}")
foreach(name IN ITEMS Base KelvoBase)
  configure_file(cmake/${name}.pc.in ${CMAKE_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)
endforeach()
install(FILES LICENSE README.md CHANGELOG.md SECURITY.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
  PATTERN Doxyfile EXCLUDE)
