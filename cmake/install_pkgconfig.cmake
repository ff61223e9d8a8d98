# Runs at install time (install(SCRIPT)): writes rxkinesis.pc for the prefix being installed to
# and installs it. The variables RXKINESIS_PKGCONFIG_* and RXKINESIS_INSTALL_* come from the
# install(CODE) step before this one.

# An install directory may be given relative to the prefix or absolute.
function(rxkinesis_pkgconfig_path result directory)
  if(IS_ABSOLUTE "${directory}")
    set(${result} "${directory}" PARENT_SCOPE)
  else()
    set(${result} "\${prefix}/${directory}" PARENT_SCOPE)
  endif()
endfunction()

set(RXKINESIS_PREFIX "${CMAKE_INSTALL_PREFIX}")
rxkinesis_pkgconfig_path(RXKINESIS_LIBDIR "${RXKINESIS_INSTALL_LIBDIR}")
rxkinesis_pkgconfig_path(RXKINESIS_INCLUDEDIR "${RXKINESIS_INSTALL_INCLUDEDIR}")
# Installs to different prefixes may run at once from one build tree: each gets its own file.
string(MD5 install_key "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
set(pkgconfig_file "${RXKINESIS_PKGCONFIG_OUTPUT_DIR}/${install_key}/rxkinesis.pc")
configure_file("${RXKINESIS_PKGCONFIG_TEMPLATE}" "${pkgconfig_file}" @ONLY)

set(pkgconfig_destination "${RXKINESIS_PKGCONFIG_DIR}")
if(NOT IS_ABSOLUTE "${pkgconfig_destination}")
  set(pkgconfig_destination "${CMAKE_INSTALL_PREFIX}/${pkgconfig_destination}")
endif()
file(INSTALL DESTINATION "${pkgconfig_destination}" TYPE FILE FILES "${pkgconfig_file}")
