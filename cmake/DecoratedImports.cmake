# Makes the import library of a library for 32 bits: programs refer to its functions by decorated names, NAME@BYTES, which the
# library's own symbols have, and it exports them undecorated. The linker would leave the decoration away on both sides.
#   cmake -D NM=... -D DLLTOOL=... -D LIBRARY=... -D DEFINITION=... -D IMPORT_LIBRARY=... -P DecoratedImports.cmake
execute_process(COMMAND "${NM}" --defined-only "${LIBRARY}" OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
file(STRINGS "${DEFINITION}" lines)
set(decorated)
foreach(name IN LISTS lines)
  if(symbols MATCHES " _(${name}@[0-9]+)\n")
    string(APPEND decorated "${CMAKE_MATCH_1}\n")
  endif()
endforeach()
get_filename_component(file_name "${LIBRARY}" NAME)
file(WRITE "${IMPORT_LIBRARY}.def" "LIBRARY ${file_name}\nEXPORTS\n${decorated}")
execute_process(COMMAND "${DLLTOOL}" --kill-at --input-def "${IMPORT_LIBRARY}.def" --output-lib "${IMPORT_LIBRARY}"
  COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE "${IMPORT_LIBRARY}.def")
