# One program per bench/*_bench.cpp: our throughput beside the peers', same work, same run.
find_package(benchmark REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(BENCH_PEERS REQUIRED IMPORTED_TARGET libtiff-4 libjpeg lept MagickWand)
file(GLOB bench_sources CONFIGURE_DEPENDS bench/*_bench.cpp)
foreach(source IN LISTS bench_sources)
  get_filename_component(name ${source} NAME_WE)
  add_executable(${name} ${source})
  target_link_libraries(${name} PRIVATE
    trevolan_static trevolan_options PkgConfig::BENCH_PEERS gif benchmark::benchmark)
endforeach()
