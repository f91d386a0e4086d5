# SPDX-License-Identifier: Apache-2.0
#
# The warnings that every target of this project is built with; they are errors if VELMORAND_WARNINGS_AS_ERRORS is set, as
# the presets do. Linked PRIVATE and only inside
# the build tree, so that they never reach a user of the libraries.
add_library(velmorand-warnings INTERFACE)
target_compile_options(velmorand-warnings INTERFACE
  -Wall -Wextra -Wpedantic $<$<BOOL:${VELMORAND_WARNINGS_AS_ERRORS}>:-Werror>
  -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Wcast-qual -Wcast-align
  -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference -Wdouble-promotion -Wformat=2
  -Wundef -Wunused -Wimplicit-fallthrough -Wextra-semi
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op>)
# On 32 bits some casts are useless that 64 bits need.
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  target_compile_options(velmorand-warnings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wuseless-cast>)
endif()
