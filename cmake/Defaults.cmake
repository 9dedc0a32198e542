# What every target of the project is built with.

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Objects are shared between build folders; the sloppiness is what precompiled headers need. Known is a file by
  # what the compiler says of its headers: preprocessing first costs much where the cache is empty, docs/performance.md.
  set(CMAKE_C_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env
    "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=1 CCACHE_DEPEND=1 CCACHE_INODECACHE=1
    CCACHE_SLOPPINESS=pch_defines,time_macros "${CCACHE_PROGRAM}")
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_C_COMPILER_LAUNCHER}")
  add_compile_options("$<$<CXX_COMPILER_ID:Clang>:SHELL:-Xclang -fno-pch-timestamp>")
endif()

include(Windows)

add_library(tessit_defaults INTERFACE)
# Includes name the part that they come from: "sim/chip/bus.h".
target_include_directories(tessit_defaults INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(tessit_defaults INTERFACE -Wall -Wextra -Wpedantic -Wconversion
  $<$<BOOL:${TESSIT_WARNINGS_AS_ERRORS}>:-Werror>)

if(WIN32)
  # Names of ANSI and wide functions are spelled out; what windows.h defines without need stays away. Windows 7 and later.
  target_compile_definitions(tessit_defaults INTERFACE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0601)
endif()
if(MINGW)
  # A program is whole without the compiler's libraries, and called by its name alone.
  add_link_options(-static)
  set(CMAKE_SHARED_LIBRARY_PREFIX "")
  set(CMAKE_SHARED_MODULE_PREFIX "")
endif()

if(TESSIT_SANITIZERS)
  add_compile_options(-fsanitize=${TESSIT_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # Programs in C, too: the libraries that they are linked with are in C++.
  add_link_options(-fsanitize=${TESSIT_SANITIZERS} "$<$<LINK_LANG_AND_ID:C,Clang>:-fsanitize-link-c++-runtime;-lstdc++>")
endif()

# One that the tests spend their time in: optimised under the sanitizers, too. Elsewhere it would take longer to compile than it
# would save.
function(tessit_add_busy_subdirectory folder)
  if(TESSIT_SANITIZERS)
    string(APPEND CMAKE_CXX_FLAGS " -O1")
  endif()
  add_subdirectory(${folder})
endfunction()

# What a shared library exports: the functions that its headers declare and whose names begin as given, and nothing else; the
# templates of the standard library would otherwise be exported whatever the visibility.
#   tessit_export(TARGET BEGINNINGS... HEADERS HEADER...)
function(tessit_export target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS")
  if(WIN32)
    tessit_export_by_definition_file(${target} ${arg_HEADERS})
  elseif(UNIX AND NOT APPLE)
    list(TRANSFORM arg_UNPARSED_ARGUMENTS APPEND "*" OUTPUT_VARIABLE patterns)
    list(JOIN patterns "; " patterns)
    set(script "${CMAKE_CURRENT_BINARY_DIR}/${target}.map")
    file(CONFIGURE OUTPUT "${script}" CONTENT "{ global: ${patterns}; local: *; };\n")
    target_link_options(${target} PRIVATE "LINKER:--version-script=${script}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${script}")
  endif()
endfunction()
