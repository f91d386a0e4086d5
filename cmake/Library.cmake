# SPDX-License-Identifier: Apache-2.0
#
# What the two builds, with QtCore 5 and with QtCore 6, have apart, so that both can be installed in one place: whatever
# has QtCore's types in its interface. The targets have the same names in both.
set(VELMORAND_CMAKE_DIR ${CMAKE_CURRENT_LIST_DIR})
set(VELMORAND_QT_SUFFIX "")
if(NOT VELMORAND_QT_MAJOR EQUAL 5)
  set(VELMORAND_QT_SUFFIX -qt${VELMORAND_QT_MAJOR})
endif()
set(VELMORAND_PACKAGE velmorand-register${VELMORAND_QT_SUFFIX})
# A folder of the project's own, since `filesystem/` and `utils/` are not names to occupy in everyone's include path.
set(VELMORAND_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/${VELMORAND_PACKAGE})

# velmorand_installed(TARGET): what is installed does not name the directories it is made in, so that the same sources
# give the same files anywhere. A debugger finds the sources of a debug build by these names.
function(velmorand_installed target)
  target_compile_options(${target} PRIVATE
    $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>
    $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_BINARY_DIR}=./build>)
endfunction()

# velmorand_library(TARGET NAME INCLUDES): what the libraries have in common. NAME is the target's name after
# installation, velmorand::NAME; the public headers lie in INCLUDES; the library exports only the symbols that
# exports.map names, beside the caller's list file.
function(velmorand_library target name includes)
  add_library(velmorand::${name} ALIAS ${target})
  velmorand_installed(${target})
  target_compile_features(${target} PUBLIC cxx_std_17)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${includes}>
    $<INSTALL_INTERFACE:${VELMORAND_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:velmorand-warnings>)
  target_link_options(${target} PRIVATE -Wl,--version-script=${CMAKE_CURRENT_SOURCE_DIR}/exports.map)
  # Calls within a library are bound when it is linked: a program that starts looks up fewer names.
  target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions)
  # A sanitizer's runtime is in the program, not in the library.
  if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize=")
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${name}
    LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/exports.map
    CXX_EXTENSIONS OFF
    POSITION_INDEPENDENT_CODE ON # even if a superproject says otherwise
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    # The libraries lie side by side and find each other wherever they are put. System packages leave this out, by
    # CMAKE_SKIP_INSTALL_RPATH.
    INSTALL_RPATH $ORIGIN
    # In the build tree as well, so that programs start there as they do when installed; but a superproject's own
    # libraries may lie elsewhere.
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

# velmorand_qtcore_library(TARGET NAME FOLDER): what a library made by velmorand_library has beside that if QtCore's
# types are in its interface: a file name for each QtCore, and the header QtCore.h in FOLDER of the include path, by
# which what is built for one QtCore cannot be built with the other.
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
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ${library_file}
    # As Qt's own targets have it: CMake refuses a program that links libraries for two QtCores.
    INTERFACE_QT_MAJOR_VERSION ${VELMORAND_QT_MAJOR}
    COMPATIBLE_INTERFACE_STRING QT_MAJOR_VERSION)
  if(VELMORAND_INSTALL)
    install(FILES ${includes}/${header} DESTINATION ${VELMORAND_INSTALL_INCLUDEDIR}/${folder}
            COMPONENT development)
  endif()
endfunction()
