# SPDX-License-Identifier: Apache-2.0
#
# document_examples(NAME DOCUMENT): compiles every C++ block of a document, as examples.awk extracts it. The ctest case
# NAME.ProgramsPrintTheOutputInTheDocument runs the programs one after the other in one directory, together with the
# document's plug-ins, and compares their output with the document. The files are in the directory NAME, for further
# tests.
function(document_examples name document)
  string(TOLOWER ${name} prefix)
  set(directory ${CMAKE_CURRENT_BINARY_DIR}/${name})
  set(taken_apart ${CMAKE_CURRENT_BINARY_DIR}/${name}.new)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${document})
  file(REMOVE_RECURSE ${taken_apart})
  file(MAKE_DIRECTORY ${taken_apart})
  execute_process(
    COMMAND awk -v directory=${taken_apart} -f ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/examples.awk ${document}
    COMMAND_ERROR_IS_FATAL ANY)
  file(GLOB files RELATIVE ${taken_apart} ${taken_apart}/*)
  foreach(file IN LISTS files)
    configure_file(${taken_apart}/${file} ${directory}/${file} COPYONLY) # does not touch unchanged files
  endforeach()

  foreach(file IN LISTS files)
    get_filename_component(number ${file} NAME_WE)
    if(file MATCHES "^[A-Za-z]+\\.cpp$")
      add_library(${prefix}-${number} MODULE ${directory}/${file})
      target_link_libraries(${prefix}-${number} PRIVATE velmorand::settings velmorand-warnings)
      set_target_properties(${prefix}-${number} PROPERTIES PREFIX "" OUTPUT_NAME ${number} SUFFIX .so)
      list(APPEND plugins $<TARGET_FILE:${prefix}-${number}>)
    elseif(file MATCHES "\\.cpp$")
      add_executable(${prefix}-${number} ${directory}/${file})
      target_link_libraries(${prefix}-${number} PRIVATE velmorand::settings velmorand-warnings Threads::Threads
        ${CMAKE_DL_LIBS})
      if("${number}.txt" IN_LIST files)
        list(APPEND runs $<TARGET_FILE:${prefix}-${number}> ${directory}/${number}.txt)
      endif()
    elseif(file MATCHES "\\.inc$")
      # A reader would compile it with the compiler's default warnings.
      file(CONFIGURE OUTPUT ${name}/${number}-body.cpp @ONLY CONTENT [[
#include <iostream>
#include <string>
#include <vector>

#include <velmorand/Changes.h>
#include <velmorand/Listener.h>
#include <velmorand/Lock.h>
#include <velmorand/Property.h>
#include <velmorand/Save.h>

struct Example {
    void run();
};

void Example::run() {
#include "@file@"
}
]])
      add_library(${prefix}-${number} OBJECT ${directory}/${number}-body.cpp)
      target_link_libraries(${prefix}-${number} PRIVATE velmorand::settings)
      target_compile_options(${prefix}-${number} PRIVATE -Werror)
    endif()
  endforeach()
  package_script(${name}.ProgramsPrintTheOutputInTheDocument examples.sh ${plugins} ${runs})
endfunction()
