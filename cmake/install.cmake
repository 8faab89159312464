# Install and package rules: headers under include/qelcert/, the libraries,
# the program and its manual page, a CMake package (find_package(qelcert)),
# a pkg-config file, and a Debian package through CPack.
include(CMakePackageConfigHelpers)

set(QEL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qelcert)

foreach(header ${QEL_PUBLIC_HEADERS})
  get_filename_component(subdir ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/${header}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qelcert/${subdir} COMPONENT dev)
endforeach()
install(FILES ${QEL_INCLUDE_ROOT}/qelcert/version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qelcert COMPONENT dev)

install(TARGETS ${QEL_LIBRARIES} EXPORT qelcertTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT lib NAMELINK_COMPONENT dev
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT lib)
install(EXPORT qelcertTargets NAMESPACE qelcert:: DESTINATION ${QEL_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(cmake/qelcertConfig.cmake.in
  ${PROJECT_BINARY_DIR}/qelcertConfig.cmake INSTALL_DESTINATION ${QEL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qelcertConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qelcertConfig.cmake ${PROJECT_BINARY_DIR}/qelcertConfigVersion.cmake
  DESTINATION ${QEL_CMAKE_DIR} COMPONENT dev)

# The .pc file finds its prefix from its own place, so it stays right when
# the tree is installed elsewhere (cmake --install --prefix, the package).
file(RELATIVE_PATH QEL_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" QEL_PC_TO_PREFIX "${QEL_PC_TO_PREFIX}")
configure_file(cmake/qelcert.pc.in ${PROJECT_BINARY_DIR}/qelcert.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qelcert.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

if(QEL_TOOL)
  install(TARGETS qeldumpcert RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
  configure_file(doc/qeldumpcert.1 ${PROJECT_BINARY_DIR}/qeldumpcert.1 @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/qeldumpcert.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
  install(TARGETS qelcert_program RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
  configure_file(doc/qelcert.1 ${PROJECT_BINARY_DIR}/qelcert.1 @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/qelcert.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
endif()
install(FILES LICENSE NOTICE CHANGELOG.md README.md LICENSES/Apache-2.0.txt
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT dev)

# cpack -G DEB: one package with the program, the libraries and what a
# developer needs to build against them.
set(CPACK_PACKAGE_NAME qelcert)
set(CPACK_PACKAGE_VENDOR "qelcert developers")
set(CPACK_PACKAGE_CONTACT "qelcert developers <qelcert@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DESCRIPTION "qelcert decodes and encodes DER: X.509 certificates, revocation lists, general names, certification requests, O/R addresses and PKCS#7 messages, with a toolkit for distinguished names, extensions, times, base64 and MD5. qeldumpcert prints a fixed report of one DER certificate and its MD5 fingerprint; qelcert json prints certificates, requests and revocation lists as JSON lines.")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
