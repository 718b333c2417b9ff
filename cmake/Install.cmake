# Installation of the library: the shared library with its SONAME links, the
# public headers, a CMake package (quorb::quorb for
# find_package(quorb CONFIG)) and quorb.pc for pkg-config.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(QUORB_CMAKE_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/quorb)

# OpenMP is linked privately into the shared library, so the exported target
# carries no OpenMP requirement for its consumers.
install(TARGETS quorb EXPORT quorbTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/quorb
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT quorbTargets NAMESPACE quorb:: DESTINATION ${QUORB_CMAKE_INSTALL_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/quorbConfig.cmake.in
  ${PROJECT_BINARY_DIR}/quorbConfig.cmake INSTALL_DESTINATION ${QUORB_CMAKE_INSTALL_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/quorbConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/quorbConfig.cmake ${PROJECT_BINARY_DIR}/quorbConfigVersion.cmake
  DESTINATION ${QUORB_CMAKE_INSTALL_DIR})

# quorb.pc names its prefix relative to its own directory, so the installed
# tree may be moved or installed under another prefix (cmake --install --prefix).
set(QUORB_PKGCONFIG_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH QUORB_PKGCONFIG_TO_PREFIX
  /prefix/${QUORB_PKGCONFIG_INSTALL_DIR} /prefix)
string(REGEX REPLACE "/$" "" QUORB_PKGCONFIG_TO_PREFIX ${QUORB_PKGCONFIG_TO_PREFIX})
configure_file(${CMAKE_CURRENT_LIST_DIR}/quorb.pc.in ${PROJECT_BINARY_DIR}/quorb.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quorb.pc DESTINATION ${QUORB_PKGCONFIG_INSTALL_DIR})
