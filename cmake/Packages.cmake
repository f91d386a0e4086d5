# SPDX-License-Identifier: Apache-2.0
#
# The Debian packages that `cpack` makes of the install components; scripts/package is the whole way. They are for
# a build with the preset `package`: the prefix /usr, where the libraries lie in the system's directory and need no
# RPATH. `tool` is there when the command-line tool is built, `import` when a program that reads another store is.
include(CPackComponent)

set(packages_library libvelmorand-register${PROJECT_VERSION_MAJOR})
set(packages_development libvelmorand-register-dev)
set(packages_tool velmorand-register)
set(packages_import velmorand-register-import)

set(CPACK_COMPONENTS_ALL library development)
get_cmake_property(components COMPONENTS)
if(tool IN_LIST components)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
if(import IN_LIST components)
  list(APPEND CPACK_COMPONENTS_ALL import)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VENDOR "The velmorand-register developers")
set(CPACK_PACKAGE_CONTACT "The velmorand-register developers <velmorand-register@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SOURCE ${PROJECT_NAME})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# dpkg-shlibdeps finds the packages of the libraries used; the sibling libraries, which no package has yet, come by the
# dependency on the library's component.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)

# What is built with the packages depends on this version of the libraries or a later one.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(about "Applications of one family share named, typed settings through a process-wide
register: in groups and three scopes, watched by listeners, and saved in files
that are replaced in one step.")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${packages_library})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "${about}
.
This package holds the shared libraries.")
# The trigger, as Debian has it; CPack adds scripts that call ldconfig, which then do the same once more.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/debian/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${packages_development})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "${about}
.
This package holds the headers, the CMake package and the pkg-config files.")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library)
set(qt_package qtbase5-dev)
if(NOT VELMORAND_QT_MAJOR EQUAL 5)
  set(qt_package qt${VELMORAND_QT_MAJOR}-base-dev)
endif()
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libboost-thread-dev, ${qt_package}")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME ${packages_tool})
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_DESCRIPTION "${about}
.
This package holds a tool that shows, checks and changes register files.")
set(CPACK_COMPONENT_TOOL_DEPENDS library)
set(CPACK_DEBIAN_TOOL_PACKAGE_SUGGESTS ${packages_import})

set(CPACK_DEBIAN_IMPORT_PACKAGE_NAME ${packages_import})
set(CPACK_DEBIAN_IMPORT_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_IMPORT_DESCRIPTION "${about}
.
This package holds what applications and the tool need to take over settings of
KConfig and dconf.")
set(CPACK_COMPONENT_IMPORT_DEPENDS library)

# What Debian wants in every package's documentation directory. Only the packages have it, not an installation.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC) # that of SOURCE_DATE_EPOCH, when it is set
configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/changelog.in ${PROJECT_BINARY_DIR}/debian/changelog.Debian @ONLY)
execute_process(COMMAND gzip -9nf ${PROJECT_BINARY_DIR}/debian/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
configure_file(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_BINARY_DIR}/debian/changelog COPYONLY)
execute_process(COMMAND gzip -9nf ${PROJECT_BINARY_DIR}/debian/changelog COMMAND_ERROR_IS_FATAL ANY)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  install(FILES
    ${CMAKE_CURRENT_LIST_DIR}/debian/copyright
    ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz
    ${PROJECT_BINARY_DIR}/debian/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${packages_${component}}
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

include(CPack)
