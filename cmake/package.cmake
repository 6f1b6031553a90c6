# The CMake package configuration, for find_package(prooftally), and the
# Debian package built by cpack -G DEB.
include(CMakePackageConfigHelpers)

set(PROOFTALLY_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/prooftally)
install(EXPORT prooftallyTargets
    NAMESPACE prooftally::
    DESTINATION ${PROOFTALLY_CMAKE_DIR})
configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/prooftallyConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/prooftallyConfig.cmake
    INSTALL_DESTINATION ${PROOFTALLY_CMAKE_DIR})
write_basic_package_version_file(
    ${CMAKE_CURRENT_BINARY_DIR}/prooftallyConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/prooftallyConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/prooftallyConfigVersion.cmake
    DESTINATION ${PROOFTALLY_CMAKE_DIR})

set(CPACK_PACKAGE_NAME prooftally)
set(CPACK_PACKAGE_VENDOR "prooftally maintainers")
set(CPACK_PACKAGE_CONTACT "prooftally maintainers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "count and maintain the proof obligations of a project's PO files")
set(CPACK_PACKAGE_DESCRIPTION
    "prooftally reports the proof obligations of a project by status, prover mechanism and driver; pomaint checks PO files and resets or removes prover results. Includes the pos and db libraries with their headers and CMake package configuration.")
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# dpkg-shlibdeps (package dpkg-dev) derives the dependencies from the
# binaries; without it, the list it gives on Debian 12 for amd64.
find_program(DPKG_SHLIBDEPS dpkg-shlibdeps)
if(DPKG_SHLIBDEPS)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
else()
    set(CPACK_DEBIAN_PACKAGE_DEPENDS
        "libc6 (>= 2.34), libgcc-s1 (>= 3.0), libqt5core5a (>= 5.15.1), libqt5xml5 (>= 5.0.2), libstdc++6 (>= 5.2)")
endif()
# The headers and libraries are only usable with Qt's development files.
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "qtbase5-dev")
include(CPack)
