# The DLL exports the plain names (IMG_save_bitmap, not IMG_save_bitmap@12), while clients
# compiled from the header ask for the decorated ones: the import libraries map the one to
# the other. They are made from the DLL's own symbols: trevolan.dll.a for MinGW,
# trevolan.lib for Microsoft's linker.
set(plain_def ${PROJECT_BINARY_DIR}/trevolan.def)
find_program(LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14 REQUIRED)
target_link_options(trevolan PRIVATE
  -Wl,--kill-at -Wl,--output-def,${plain_def} -Wl,--exclude-all-symbols)
target_compile_definitions(trevolan_objects PRIVATE TREVOLAN_DLL_EXPORTS)
add_custom_command(TARGET trevolan POST_BUILD
  COMMAND ${CMAKE_COMMAND} -DDLL=$<TARGET_FILE:trevolan> -DIMPORT=$<TARGET_LINKER_FILE:trevolan>
          -DNM=${CMAKE_NM} -DDLLTOOL=${CMAKE_DLLTOOL} -DLLVM_DLLTOOL=${LLVM_DLLTOOL}
          -P ${PROJECT_SOURCE_DIR}/cmake/import_library.cmake
  BYPRODUCTS ${PROJECT_BINARY_DIR}/trevolan.lib ${PROJECT_BINARY_DIR}/trevolan_decorated.def
  VERBATIM)
