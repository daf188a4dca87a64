# Debian packages, made by tools/package: a package for each component of the installation.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "the libKelvoBase developers")
set(CPACK_PACKAGE_CONTACT "the libKelvoBase developers")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_COMPONENTS_ALL library kelvofit development)
if(TARGET velaWarningQt)
  list(APPEND CPACK_COMPONENTS_ALL window)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libkelvobase${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/triggers)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "The library with the programs that it starts: zocached, the server of the
file cache, and velaWarning, the warning dialog.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SUGGESTS velawarning-qt)

set(CPACK_DEBIAN_WINDOW_PACKAGE_NAME velawarning-qt)
set(CPACK_DEBIAN_WINDOW_PACKAGE_SECTION x11)
set(CPACK_COMPONENT_WINDOW_DEPENDS library)
set(CPACK_DEBIAN_WINDOW_DESCRIPTION "With this package velaWarning asks in a window where there is a display.")

set(CPACK_DEBIAN_KELVOFIT_PACKAGE_NAME kelvofit)
set(CPACK_DEBIAN_KELVOFIT_PACKAGE_SECTION science)
set(CPACK_COMPONENT_KELVOFIT_DEPENDS library)
set(CPACK_DEBIAN_KELVOFIT_DESCRIPTION "kelvofit fits smooth spline surfaces to clouds of points, meshes and patches
and writes surfaces, reports and pictures.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkelvobase-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS libboost-regex-dev)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "Headers, the CMake package and pkg-config files.")
include(CPack)

# Each package has its terms of use where Debian looks for them.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    install(FILES LICENSE DESTINATION share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}
      RENAME copyright COMPONENT ${component})
  endforeach()
endif()
