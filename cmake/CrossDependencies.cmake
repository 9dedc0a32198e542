# The packages that a build for another system finds: of the build machine the headers alone, which are the same everywhere.
# /usr/include as a whole would give the other compiler this system's C library.

# PACKAGE_HEADERS: the folder in /usr/include.
set(fmt_HEADERS fmt)
set(CLI11_HEADERS CLI)
set(nlohmann_json_HEADERS nlohmann)
set(tomlplusplus_HEADERS toml++)

function(tessit_use_headers package)
  set(folder ${${package}_HEADERS})
  if(NOT EXISTS "/usr/include/${folder}")
    message(FATAL_ERROR "The headers of ${package} are not in /usr/include/${folder}: run scripts/setup build")
  endif()
  set(include_folder "${PROJECT_BINARY_DIR}/headers/${package}")
  file(MAKE_DIRECTORY "${include_folder}")
  file(CREATE_LINK "/usr/include/${folder}" "${include_folder}/${folder}" SYMBOLIC)
  add_library(${package}::${package} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${package}::${package} INTERFACE "${include_folder}")
endfunction()

# Linked in, and not installed.
function(tessit_build_fmt)
  add_library(fmt_from_headers STATIC "${PROJECT_SOURCE_DIR}/cmake/fmt.cpp")
  target_include_directories(fmt_from_headers SYSTEM PRIVATE "${PROJECT_BINARY_DIR}/headers/fmt")
  target_compile_features(fmt_from_headers PRIVATE cxx_std_20)
  target_link_libraries(fmt::fmt INTERFACE fmt_from_headers)
endfunction()

# Debian has it as source.
function(tessit_build_googletest)
  set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)
  set(gtest_disable_pthreads ON)
  set(INSTALL_GTEST OFF)
  add_subdirectory(/usr/src/googletest "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
endfunction()

macro(tessit_provide_dependency method package)
  if("${package}" STREQUAL "GTest")
    if(NOT TARGET GTest::gtest)
      tessit_build_googletest()
    endif()
    set(GTest_FOUND TRUE)
  elseif(DEFINED "${package}_HEADERS")
    if(NOT TARGET "${package}::${package}")
      tessit_use_headers("${package}")
      if("${package}" STREQUAL "fmt")
        tessit_build_fmt()
      endif()
    endif()
    set("${package}_FOUND" TRUE)
  endif()
endmacro()

cmake_language(SET_DEPENDENCY_PROVIDER tessit_provide_dependency SUPPORTED_METHODS FIND_PACKAGE)
