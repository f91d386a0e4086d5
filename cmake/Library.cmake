# SPDX-License-Identifier: Apache-2.0
#
# A folder of the project's own, since `filesystem/` and `utils/` are not names to occupy in everyone's include path.
set(VELMORAND_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/velmorand-register)

# velmorand_library(TARGET NAME INCLUDES): what the libraries have in common. NAME is the target's name after
# installation, velmorand::NAME; the public headers lie in INCLUDES; the library exports only the symbols that
# exports.map names, beside the caller's list file.
function(velmorand_library target name includes)
  add_library(velmorand::${name} ALIAS ${target})
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
    install(TARGETS ${target} EXPORT velmorand-register-targets
      LIBRARY COMPONENT library NAMELINK_COMPONENT development)
    install(DIRECTORY ${includes}/ DESTINATION ${VELMORAND_INSTALL_INCLUDEDIR} COMPONENT development
      FILES_MATCHING PATTERN "*.h")
  endif()
endfunction()
