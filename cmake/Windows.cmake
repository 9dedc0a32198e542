# What only Windows has: definitions of a library's exports, and resources.

# A module-definition file beside the library, for the linkers of GNU and of Microsoft alike. It gives the names without the
# decoration of 32 bits, by which programs look functions up.
function(tessit_export_by_definition_file target)
  set(names)
  foreach(header IN LISTS ARGN)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${header}")
    file(READ "${header}" text)
    # As a declaration, or a row of a table of functions.
    string(REGEX MATCHALL "_CALL [A-Z]+_[A-Za-z0-9_]+\\(|\n +X\\([^,]+, +[A-Z]+_[A-Za-z0-9_]+," declared "${text}")
    list(TRANSFORM declared REPLACE ".*(_CALL |, +)([A-Z]+_[A-Za-z0-9_]+)[(,]" "\\2")
    list(APPEND names ${declared})
  endforeach()
  list(SORT names)
  list(JOIN names "\n" names)
  set(definition "${CMAKE_BINARY_DIR}/${target}.def")
  file(CONFIGURE OUTPUT "${definition}" CONTENT "LIBRARY ${target}.dll\nEXPORTS\n${names}\n")
  target_sources(${target} PRIVATE "${definition}")
  if(MINGW)
    target_link_options(${target} PRIVATE "LINKER:--enable-stdcall-fixup")
    set_target_properties(${target} PROPERTIES ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}")
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
      add_custom_command(TARGET ${target} POST_BUILD COMMAND "${CMAKE_COMMAND}" -D "NM=${CMAKE_NM}"
        -D "DLLTOOL=${CMAKE_DLLTOOL}" -D "LIBRARY=$<TARGET_FILE:${target}>" -D "DEFINITION=${definition}"
        -D "IMPORT_LIBRARY=$<TARGET_LINKER_FILE:${target}>" -P "${PROJECT_SOURCE_DIR}/cmake/DecoratedImports.cmake")
    endif()
  endif()
endfunction()

# The version and what the file is, which Windows shows as its properties; for a program also the manifest.
function(tessit_describe target description)
  if(NOT WIN32)
    return()
  endif()
  get_target_property(type ${target} TYPE)
  set(file_name "${target}.dll")
  set(file_type VFT_DLL)
  set(manifest "")
  if(type STREQUAL "EXECUTABLE")
    set(file_name "${target}.exe")
    set(file_type VFT_APP)
    set(manifest "CREATEPROCESS_MANIFEST_RESOURCE_ID RT_MANIFEST \"${PROJECT_SOURCE_DIR}/packaging/windows/tessit.manifest\"")
  endif()
  set(resources "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc")
  configure_file("${PROJECT_SOURCE_DIR}/packaging/windows/version.rc.in" "${resources}" @ONLY)
  target_sources(${target} PRIVATE "${resources}")
endfunction()
