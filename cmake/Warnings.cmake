# SPDX-License-Identifier: Apache-2.0
#
# The warnings for every target of this project. They are errors if VELMORAND_WARNINGS_AS_ERRORS is set, which the
# presets do. Targets link this PRIVATE and only in the build tree, so it does not affect users of the libraries.
add_library(velmorand-warnings INTERFACE)
target_compile_options(velmorand-warnings INTERFACE
  -Wall -Wextra -Wpedantic $<$<BOOL:${VELMORAND_WARNINGS_AS_ERRORS}>:-Werror>
  -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Wcast-qual -Wcast-align
  -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference -Wdouble-promotion -Wformat=2
  -Wundef -Wunused -Wimplicit-fallthrough -Wextra-semi
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op>)
# Some casts are useless on 32-bit machines, but needed on 64-bit ones.
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  target_compile_options(velmorand-warnings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wuseless-cast>)
endif()
