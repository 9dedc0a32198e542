# What every target of the project is built with.

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Objects are shared between build folders; the sloppiness is what precompiled headers need.
  set(CMAKE_C_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env
    CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros "${CCACHE_PROGRAM}")
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_C_COMPILER_LAUNCHER}")
endif()

add_library(tessit_defaults INTERFACE)
# Includes name the part that they come from: "sim/chip/bus.h".
target_include_directories(tessit_defaults INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(tessit_defaults INTERFACE -Wall -Wextra -Wpedantic -Wconversion
  $<$<BOOL:${TESSIT_WARNINGS_AS_ERRORS}>:-Werror>)

if(TESSIT_SANITIZERS)
  add_compile_options(-fsanitize=${TESSIT_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${TESSIT_SANITIZERS})
endif()

# Leave nothing but the symbols of the given patterns in a shared library's dynamic symbol table; the templates of the
# standard library would otherwise be exported whatever the visibility.
function(tessit_export_only target)
  if(NOT UNIX OR APPLE)
    return()
  endif()
  list(JOIN ARGN "; " patterns)
  set(script "${CMAKE_CURRENT_BINARY_DIR}/${target}.map")
  file(CONFIGURE OUTPUT "${script}" CONTENT "{ global: ${patterns}; local: *; };\n")
  target_link_options(${target} PRIVATE "LINKER:--version-script=${script}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${script}")
endfunction()
