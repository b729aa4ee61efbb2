# The library. A new format is one directory under formats/ and one row in
# core/format_table.cpp; the sources are found by directory.
set(portable_directories core formats/* color process)
set(sources)
foreach(directory IN LISTS portable_directories)
  file(GLOB found CONFIGURE_DEPENDS ${directory}/*.cpp)
  list(APPEND sources ${found})
endforeach()

# Forms for newer processors, called only there.
set(avx2_sources ${sources})
list(FILTER avx2_sources INCLUDE REGEX "_avx2\\.cpp$")
set_source_files_properties(${avx2_sources} PROPERTIES COMPILE_OPTIONS -mavx2)

# The arithmetic of display is portable and tested everywhere.
file(GLOB display_portable CONFIGURE_DEPENDS display/portable/*.cpp)
list(APPEND sources ${display_portable})
if(WIN32)
  file(GLOB platform_sources CONFIGURE_DEPENDS platform/win32/*.cpp)
  file(GLOB windows_sources CONFIGURE_DEPENDS display/*.cpp scan/*.cpp core/win32/*.cpp)
else()
  file(GLOB platform_sources CONFIGURE_DEPENDS platform/posix/*.cpp)
endif()

# What only programs need of the system (platform/host.h) stays out of the library.
set(host_sources ${platform_sources})
list(FILTER host_sources INCLUDE REGEX "/host\\.cpp$")
list(FILTER platform_sources EXCLUDE REGEX "/host\\.cpp$")

set(include_directories ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/platform/posix)

# The seam to the operating system, also used by the programs.
add_library(trevolan_platform STATIC ${platform_sources})
target_include_directories(trevolan_platform PUBLIC ${PROJECT_SOURCE_DIR})
target_link_libraries(trevolan_platform PRIVATE trevolan_library_options)

# One compilation for the shared and the static library.
add_library(trevolan_objects OBJECT ${sources} ${windows_sources})
target_include_directories(trevolan_objects PUBLIC ${include_directories})
target_compile_definitions(trevolan_objects PRIVATE TREVOLAN_BUILDING)
target_link_libraries(trevolan_objects PRIVATE trevolan_library_options)

add_library(trevolan_static STATIC
  $<TARGET_OBJECTS:trevolan_objects> $<TARGET_OBJECTS:trevolan_platform>)
target_include_directories(trevolan_static PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/platform/posix>
  $<INSTALL_INTERFACE:include/trevolan>)
target_compile_definitions(trevolan_static INTERFACE TREVOLAN_STATIC)

add_library(trevolan SHARED
  $<TARGET_OBJECTS:trevolan_objects> $<TARGET_OBJECTS:trevolan_platform>)
target_include_directories(trevolan PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/platform/posix>
  $<INSTALL_INTERFACE:include/trevolan>)
target_link_libraries(trevolan PRIVATE $<BUILD_INTERFACE:trevolan_options>)
set_target_properties(trevolan PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 4)

if(WIN32)
  set(system_libraries gdi32 user32)
  target_link_libraries(trevolan PRIVATE ${system_libraries})
  target_link_libraries(trevolan_static PUBLIC ${system_libraries})
  set_target_properties(trevolan PROPERTIES PREFIX "" IMPORT_PREFIX "" IMPORT_SUFFIX ".dll.a")
  set_target_properties(trevolan_static PROPERTIES PREFIX "lib" OUTPUT_NAME trevolan_static)
  include(cmake/windows_exports.cmake)
else()
  set_target_properties(trevolan_static PROPERTIES OUTPUT_NAME trevolan)
endif()
