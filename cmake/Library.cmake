# SPDX-License-Identifier: Apache-2.0
#
# The builds for QtCore 5 and for QtCore 6 can be installed in the same place: the names of all files that depend on the
# QtCore differ. The targets have the same names in both builds.
set(VELMORAND_CMAKE_DIR ${CMAKE_CURRENT_LIST_DIR})
set(VELMORAND_QT_SUFFIX "")
# Both builds may be in one process, where the loader looks symbols up by name and version only.
set(VELMORAND_NODE VELMORAND)
if(NOT VELMORAND_QT_MAJOR EQUAL 5)
  set(VELMORAND_QT_SUFFIX -qt${VELMORAND_QT_MAJOR})
  set(VELMORAND_NODE VELMORAND_QT${VELMORAND_QT_MAJOR})
endif()
set(VELMORAND_PACKAGE velmorand-register${VELMORAND_QT_SUFFIX})
# A separate directory, because `filesystem/` and `utils/` are too general for names in the shared include path.
set(VELMORAND_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/${VELMORAND_PACKAGE})

# velmorand_installed(TARGET): removes the paths of the build from a target that is installed, so that the same sources
# give the same files anywhere. Debug builds keep the paths, so that a debugger finds the sources.
function(velmorand_installed target)
  target_compile_options(${target} PRIVATE
    $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>
    $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_BINARY_DIR}=./build>)
endfunction()

# velmorand_library(TARGET NAME INCLUDES): the settings that all libraries share. The target is also called
# velmorand::NAME, and only that after installation. The public headers are in the directory INCLUDES. The library
# exports only the symbols listed in exports.map in the caller's directory. There, @VELMORAND_NODE@ stands for the start
# of the names of version nodes, which depends on the QtCore.
function(velmorand_library target name includes)
  set(exports ${CMAKE_CURRENT_BINARY_DIR}/exports.map)
  configure_file(${CMAKE_CURRENT_SOURCE_DIR}/exports.map ${exports} @ONLY)
  add_library(velmorand::${name} ALIAS ${target})
  velmorand_installed(${target})
  target_compile_features(${target} PUBLIC cxx_std_17)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${includes}>
    $<INSTALL_INTERFACE:${VELMORAND_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:velmorand-warnings>)
  target_link_options(${target} PRIVATE -Wl,--version-script=${exports})
  # Calls within a library are bound when it is linked, so that fewer symbols must be looked up when a program starts.
  target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions)
  # A sanitizer's runtime is in the program, not in the library.
  if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize=")
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${name}
    LINK_DEPENDS ${exports}
    CXX_EXTENSIONS OFF
    POSITION_INDEPENDENT_CODE ON # even if a superproject turns it off
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    # The libraries are in one directory, and find each other wherever it is. System packages omit this with
    # CMAKE_SKIP_INSTALL_RPATH.
    INSTALL_RPATH $ORIGIN
    # In the build tree, the libraries are also in one directory, with the RPATH of the installation. The libraries of a
    # superproject may be elsewhere, so the RPATH of its build is not changed.
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib
    BUILD_WITH_INSTALL_RPATH ${PROJECT_IS_TOP_LEVEL}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
  if(VELMORAND_INSTALL)
    install(TARGETS ${target} EXPORT ${VELMORAND_PACKAGE}-targets
      LIBRARY COMPONENT library NAMELINK_COMPONENT development)
    install(DIRECTORY ${includes}/ DESTINATION ${VELMORAND_INSTALL_INCLUDEDIR} COMPONENT development
      FILES_MATCHING PATTERN "*.h")
  endif()
endfunction()

# velmorand_qtcore_library(TARGET NAME FOLDER): further settings of a velmorand_library with QtCore's types in its
# interface: a file name that depends on the QtCore, and the header QtCore.h in the directory FOLDER of the include
# path, which makes code for one QtCore fail to build with the other.
function(velmorand_qtcore_library target name folder)
  set(library_file ${target}${VELMORAND_QT_SUFFIX})
  set(symbol velmorand_${name}_for_QtCore_${VELMORAND_QT_MAJOR})
  set(header ${folder}/QtCore.h)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/QtCore.cpp)
  set(includes ${PROJECT_BINARY_DIR}/include)
  configure_file(${VELMORAND_CMAKE_DIR}/QtCore.h.in ${includes}/${header} @ONLY)
  configure_file(${VELMORAND_CMAKE_DIR}/QtCore.cpp.in ${source} @ONLY)
  target_sources(${target} PRIVATE ${source})
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${includes}>)
  target_link_libraries(${target} PUBLIC ${VELMORAND_QTCORE})
  target_compile_definitions(${target} PRIVATE QT_NO_KEYWORDS) # `slots`, `signals` and `emit` are not macros here
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ${library_file}
    # The same properties as Qt's own targets: CMake refuses a program that links libraries for two QtCores.
    INTERFACE_QT_MAJOR_VERSION ${VELMORAND_QT_MAJOR}
    COMPATIBLE_INTERFACE_STRING QT_MAJOR_VERSION)
  if(VELMORAND_INSTALL)
    install(FILES ${includes}/${header} DESTINATION ${VELMORAND_INSTALL_INCLUDEDIR}/${folder}
            COMPONENT development)
  endif()
endfunction()
