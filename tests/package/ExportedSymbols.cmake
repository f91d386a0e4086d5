# SPDX-License-Identifier: Apache-2.0
#
# Tests that each library exports the listed symbols and no others, for the areas that include this file.
foreach(library IN ITEMS exception filesystem register settings)
  add_test(NAME ExportedSymbols.${library}
    COMMAND sh ${CMAKE_CURRENT_LIST_DIR}/exported-symbols.sh
            $<TARGET_FILE:velmorand-${library}> ${CMAKE_CURRENT_LIST_DIR}/${library}.symbols)
  set_tests_properties(ExportedSymbols.${library} PROPERTIES
    ENVIRONMENT "NM=${CMAKE_NM};QT_MAJOR=${VELMORAND_QT_MAJOR}")
endforeach()
