# What `cmake --install` and CPack add for users of the library: the CMake
# package (veskTarnhiveConfig.cmake, its version file and the exported
# target veskTarnhive::veskTarnhive), the pkg-config file veskTarnhive.pc,
# and a Debian package of the library, its headers, both files, the
# tarnhive tool and the Python package.
include(CMakePackageConfigHelpers)

set(TARNHIVE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/veskTarnhive)
install(EXPORT veskTarnhiveTargets NAMESPACE veskTarnhive:: DESTINATION ${TARNHIVE_CMAKE_DIR})
configure_package_config_file(cmake/veskTarnhiveConfig.cmake.in
  ${PROJECT_BINARY_DIR}/veskTarnhiveConfig.cmake INSTALL_DESTINATION ${TARNHIVE_CMAKE_DIR})
# Until 1.0 the minor version is the binary interface's: the soname is 0.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/veskTarnhiveConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/veskTarnhiveConfig.cmake
              ${PROJECT_BINARY_DIR}/veskTarnhiveConfigVersion.cmake
        DESTINATION ${TARNHIVE_CMAKE_DIR})
# The pkg-config file finds the prefix from where it lies, so the tree may
# be installed (or unpacked) anywhere.
file(RELATIVE_PATH TARNHIVE_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/veskTarnhive.pc.in ${PROJECT_BINARY_DIR}/veskTarnhive.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/veskTarnhive.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# What the package holds, built alone by a build of the package
# (cmake/BuildPackage.cmake).
add_custom_target(tarnhive_packaged)
add_dependencies(tarnhive_packaged veskTarnhive)
foreach(target tarnhive _tarnhive)
  if(TARGET ${target})
    add_dependencies(tarnhive_packaged ${target})
  endif()
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libvesktarnhive0)
set(CPACK_PACKAGE_VENDOR "veskTarnhive")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "machine-wide, persistent, hierarchical store of typed settings")
set(CPACK_PACKAGE_CONTACT "veskTarnhive developers <tarnhive@localhost>")
set(CPACK_PACKAGE_INSTALL_DIRECTORY /usr)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
# The runtime dependencies (libssl3, libicu, libstdc++...) come from the
# libraries the files link.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The Python package is for the interpreter it was built with.
if(TARNHIVE_PYTHON)
  math(EXPR next_minor "${Python3_VERSION_MINOR} + 1")
  set(CPACK_DEBIAN_PACKAGE_SUGGESTS "python3 (>= ${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR}), \
python3 (<< ${Python3_VERSION_MAJOR}.${next_minor}~)")
endif()
include(CPack)
