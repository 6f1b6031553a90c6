# The CMake package configuration, for find_package(prooftally), and the
# Debian packages built by cpack -G DEB: prooftally (the commands and their
# pages) and libprooftally-dev (headers, static libraries, CMake files).
include(CMakePackageConfigHelpers)

set(PROOFTALLY_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/prooftally)
install(EXPORT prooftallyTargets
    NAMESPACE prooftally::
    DESTINATION ${PROOFTALLY_CMAKE_DIR}
    COMPONENT dev)
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
    DESTINATION ${PROOFTALLY_CMAKE_DIR}
    COMPONENT dev)

# No person maintains the packages: they name the project, at an address of
# a domain reserved for examples (RFC 2606), which no one can be confused with.
set(PROOFTALLY_MAINTAINER "prooftally project <prooftally@example.org>")
set(PROOFTALLY_DEB_RELEASE 1)
set(PROOFTALLY_DEB_VERSION ${PROJECT_VERSION}-${PROOFTALLY_DEB_RELEASE})

# Each package carries the licence and its own changelog in its doc directory,
# and a lintian override for the one tag that only concerns Debian's archive.
add_custom_target(package_docs ALL)
configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/copyright.in
    ${CMAKE_CURRENT_BINARY_DIR}/debian/copyright @ONLY)
foreach(component prooftally dev)
    set(PACKAGE prooftally)
    if(component STREQUAL "dev")
        set(PACKAGE libprooftally-dev)
    endif()
    set(dir ${CMAKE_CURRENT_BINARY_DIR}/debian/${PACKAGE})
    configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/changelog.in ${dir}/changelog.Debian @ONLY)
    gzip_file(package_docs ${dir}/changelog.Debian ${dir}/changelog.Debian.gz)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/debian/copyright ${dir}/changelog.Debian.gz
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${PACKAGE}
        COMPONENT ${component})
    configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/lintian-overrides.in ${dir}/${PACKAGE} @ONLY)
    install(FILES ${dir}/${PACKAGE}
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides
        COMPONENT ${component})
endforeach()

set(CPACK_PACKAGE_NAME prooftally)
set(CPACK_PACKAGE_VENDOR "prooftally project")
set(CPACK_PACKAGE_CONTACT ${PROOFTALLY_MAINTAINER})
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL prooftally dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${PROOFTALLY_DEB_RELEASE})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${PROOFTALLY_MAINTAINER})

set(CPACK_DEBIAN_PROOFTALLY_PACKAGE_NAME prooftally)
set(CPACK_DEBIAN_PROOFTALLY_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PROOFTALLY_DESCRIPTION
    "count and maintain the proof obligations of PO files
prooftally reports the proof obligations of a project by status,
prover mechanism and driver, as a text table, HTML or CSV.
pomaint checks PO files and resets or removes prover results.")
# dpkg-shlibdeps (package dpkg-dev) derives the dependencies from the
# binaries; without it, the list it gives on Debian 12 for amd64.
find_program(DPKG_SHLIBDEPS dpkg-shlibdeps)
if(DPKG_SHLIBDEPS)
    set(CPACK_DEBIAN_PROOFTALLY_PACKAGE_SHLIBDEPS ON)
else()
    set(CPACK_DEBIAN_PROOFTALLY_PACKAGE_DEPENDS
        "libc6 (>= 2.34), libgcc-s1 (>= 3.0), libqt5core5a (>= 5.15.1), libqt5xml5 (>= 5.0.2), libstdc++6 (>= 5.2)")
endif()

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libprooftally-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# The static libraries need Qt Core and Xml, and their headers, to be used.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "qtbase5-dev (>= 5.15)")
set(CPACK_DEBIAN_DEV_DESCRIPTION
    "development files of prooftally's PO and project database libraries
The static libraries pos and db, which count the proof obligations of
a PO file and read a project database, with their headers and the
CMake package configuration for find_package(prooftally).")
include(CPack)
