# Writes the decorated export list of DLL and the import libraries made from it.
get_filename_component(directory ${DLL} DIRECTORY)
set(decorated ${directory}/trevolan_decorated.def)
execute_process(COMMAND ${NM} --extern-only --defined-only ${DLL}
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL " T _(IMG|IMGLOW|IMGX|get)_[A-Za-z0-9_]+@[0-9]+" exports "${symbols}")
list(SORT exports)
set(text "LIBRARY trevolan.dll\nEXPORTS\n")
foreach(export IN LISTS exports)
  string(REGEX REPLACE "^ T _" "    " line "${export}")
  string(APPEND text "${line}\n")
endforeach()
file(WRITE ${decorated} "${text}")
execute_process(COMMAND ${DLLTOOL} --kill-at --input-def ${decorated} --output-lib ${IMPORT}
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${LLVM_DLLTOOL} -m i386 --kill-at -d ${decorated} -l ${directory}/trevolan.lib
  COMMAND_ERROR_IS_FATAL ANY)
