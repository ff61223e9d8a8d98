# Installation and packaging: the shared library and its headers, the rxkcat host tool with its
# man page, a CMake package (find_package(rxkinesis) -> rxkinesis::rxkinesis), a pkg-config
# file, and a Debian package through CPack (cpack -G DEB).
#
# The bundled SDK is a static library linked into librxkinesis.so: it is neither installed nor
# exported, and nothing installed refers to it.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(RXKINESIS_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/rxkinesis)
set(RXKINESIS_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Projects that add this tree with add_subdirectory use the same name as installed consumers.
add_library(rxkinesis::rxkinesis ALIAS rxkinesis)

set_target_properties(rxkinesis PROPERTIES
  PUBLIC_HEADER "${PROJECT_SOURCE_DIR}/include/rxkinesis.h;${PROJECT_SOURCE_DIR}/include/rxkinesis_exceptions.h")

install(TARGETS rxkinesis EXPORT rxkinesisTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT rxkinesisTargets
  NAMESPACE rxkinesis::
  DESTINATION ${RXKINESIS_CMAKE_DIR})

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/rxkinesisConfig.cmake.in
  ${PROJECT_BINARY_DIR}/rxkinesisConfig.cmake
  INSTALL_DESTINATION ${RXKINESIS_CMAKE_DIR})
# The shared object's name carries the major version (SOVERSION): within one major version the
# exports only grow, so any later minor release satisfies a request.
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/rxkinesisConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/rxkinesisConfig.cmake
  ${PROJECT_BINARY_DIR}/rxkinesisConfigVersion.cmake
  DESTINATION ${RXKINESIS_CMAKE_DIR})

# rxkinesis.pc is written at install time, from the prefix the install actually goes to:
# `cmake --install --prefix DIR` and the Debian package (/usr) each get their own paths.
install(CODE "
  set(RXKINESIS_PKGCONFIG_TEMPLATE \"${CMAKE_CURRENT_LIST_DIR}/rxkinesis.pc.in\")
  set(RXKINESIS_PKGCONFIG_OUTPUT_DIR \"${PROJECT_BINARY_DIR}/pkgconfig\")
  set(RXKINESIS_PKGCONFIG_DIR \"${RXKINESIS_PKGCONFIG_DIR}\")
  set(RXKINESIS_INSTALL_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  set(RXKINESIS_INSTALL_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  set(RXKINESIS_VERSION \"${PROJECT_VERSION}\")
")
install(SCRIPT ${CMAKE_CURRENT_LIST_DIR}/install_pkgconfig.cmake)

# tools/rxkcat installs the program itself; its manual goes beside it.
if(TARGET rxkcat)
  # Debian ships man pages compressed (gzip -9n: no name or time stamp, so builds repeat).
  set(RXKCAT_MAN_SOURCE ${PROJECT_SOURCE_DIR}/tools/rxkcat/rxkcat.1)
  set(RXKCAT_MAN_PAGE ${PROJECT_BINARY_DIR}/man/rxkcat.1.gz)
  find_program(RXKINESIS_GZIP gzip)
  if(RXKINESIS_GZIP)
    add_custom_command(OUTPUT ${RXKCAT_MAN_PAGE}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/man
      COMMAND ${RXKINESIS_GZIP} -9n -c ${RXKCAT_MAN_SOURCE} > ${RXKCAT_MAN_PAGE}
      DEPENDS ${RXKCAT_MAN_SOURCE}
      COMMENT "Compressing the rxkcat man page")
    add_custom_target(rxkcat_man ALL DEPENDS ${RXKCAT_MAN_PAGE})
    add_dependencies(rxkcat rxkcat_man)
    install(FILES ${RXKCAT_MAN_PAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  else()
    install(FILES ${RXKCAT_MAN_SOURCE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  endif()
endif()

# The licence goes with every install; in the Debian package it is the package's copyright file.
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/rxkinesis
  RENAME copyright)

# ---- Debian package ------------------------------------------------------------------------
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME rxkinesis)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "rxkinesis")
set(CPACK_PACKAGE_CONTACT "rxkinesis maintainers <maintainers@users.noreply.c-seed-89da5b04.example>")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "connector library for Amazon Kinesis Data Streams")
string(CONCAT CPACK_PACKAGE_DESCRIPTION
  "librxkinesis.so is loaded by a host data-replication engine, which calls its\n"
  "plain C functions to write records (singly or in retried batches), read\n"
  "shards, list streams and shards, and create streams.\n"
  "The package also holds the headers, the CMake and pkg-config files to build a\n"
  "host against it, and rxkcat, a command-line host for the library.")
set(CPACK_STRIP_FILES ON)

# The package installs under /usr. Installing through DESTDIR keeps CMAKE_INSTALL_PREFIX at
# /usr while CPack stages the files, so rxkinesis.pc names /usr and not the staging directory.
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_SET_DESTDIR ON)

set(CPACK_DEBIAN_PACKAGE_NAME rxkinesis)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Runtime dependencies come from what the binaries link (dpkg-shlibdeps, from dpkg-dev);
# the shlibs file lets packages built against this one depend on it in turn.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_IGNORE_FILES "/\\\\.git/" "/build[^/]*/" "/node_modules/")

include(CPack)
