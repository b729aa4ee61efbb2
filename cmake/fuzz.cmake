# One libFuzzer target per fuzz/*_fuzz.cpp; its seed corpus is fuzz/corpus/NAME.
# The target fuzz_targets is all of them, without the programs that nobody fuzzes.
add_custom_target(fuzz_targets)
file(GLOB fuzz_sources CONFIGURE_DEPENDS fuzz/*_fuzz.cpp)
foreach(source IN LISTS fuzz_sources)
  get_filename_component(name ${source} NAME_WE)
  add_executable(${name} ${source})
  target_link_libraries(${name} PRIVATE trevolan_static trevolan_options)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  add_dependencies(fuzz_targets ${name})
endforeach()
