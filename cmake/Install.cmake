# SPDX-License-Identifier: Apache-2.0
#
# Installs the CMake package `velmorand-register` and the pkg-config files `velmorand-register` and
# `velmorand-settings`; for QtCore 6 their names end in "-qt6". Library.cmake installs the libraries and their headers.
# An installation can be moved, because no file in it contains the prefix.
include(CMakePackageConfigHelpers)

if(NOT TARGET velmorand-exception OR NOT TARGET velmorand-filesystem)
  message(FATAL_ERROR "VELMORAND_INSTALL needs the exception and filesystem libraries of this project")
endif()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${VELMORAND_PACKAGE})
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/velmorand-register-config.cmake.in
  ${PROJECT_BINARY_DIR}/${VELMORAND_PACKAGE}-config.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/${VELMORAND_PACKAGE}-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/${VELMORAND_PACKAGE}-config.cmake
  ${PROJECT_BINARY_DIR}/${VELMORAND_PACKAGE}-config-version.cmake
  DESTINATION ${package_dir} COMPONENT development)
install(EXPORT ${VELMORAND_PACKAGE}-targets NAMESPACE velmorand:: DESTINATION ${package_dir} COMPONENT development)

set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(ABSOLUTE_PATH pc_dir BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE pc_full_dir)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${pc_full_dir} OUTPUT_VARIABLE pc_to_prefix)
cmake_path(APPEND pc_libdir "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
cmake_path(APPEND pc_includedir "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
# Boost has no pkg-config file.
set(pc_boost_cflags "")
if(NOT Boost_INCLUDE_DIRS IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES)
  set(pc_boost_cflags " -I${Boost_INCLUDE_DIRS}")
endif()
foreach(name IN ITEMS velmorand-register velmorand-settings)
  set(pc_name ${name}${VELMORAND_QT_SUFFIX})
  configure_file(${CMAKE_CURRENT_LIST_DIR}/${name}.pc.in ${PROJECT_BINARY_DIR}/${pc_name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${pc_name}.pc DESTINATION ${pc_dir} COMPONENT development)
endforeach()
