# The command-line tool and, on Windows, the viewer.
file(GLOB tool_sources CONFIGURE_DEPENDS tool/*.cpp)
if(tool_sources)
  add_executable(trevolan_tool ${tool_sources} ${host_sources})
  set_target_properties(trevolan_tool PROPERTIES OUTPUT_NAME trevolan)
  target_link_libraries(trevolan_tool PRIVATE trevolan trevolan_options)
  if(WIN32)
    target_compile_definitions(trevolan_tool PRIVATE NOMINMAX)
  endif()
  # CLI11 is headers only; its own directory keeps other system headers out of a cross build.
  find_path(CLI11_DIR NAMES CLI/CLI.hpp HINTS /usr/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/cli11)
  file(CREATE_LINK ${CLI11_DIR}/CLI ${PROJECT_BINARY_DIR}/cli11/CLI SYMBOLIC)
  target_include_directories(trevolan_tool SYSTEM PRIVATE ${PROJECT_BINARY_DIR}/cli11)
  set_target_properties(trevolan_tool PROPERTIES BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN/../lib")
endif()

file(GLOB viewer_sources CONFIGURE_DEPENDS viewer/*.cpp viewer/*.rc)
if(WIN32 AND viewer_sources)
  enable_language(RC)
  # The resource compiler does not follow includes.
  set_source_files_properties(${PROJECT_SOURCE_DIR}/viewer/viewer.rc PROPERTIES
    OBJECT_DEPENDS ${PROJECT_SOURCE_DIR}/viewer/resource.h)
  add_executable(viewer WIN32 ${viewer_sources})
  target_link_libraries(viewer PRIVATE trevolan trevolan_options comdlg32 comctl32 shell32 gdi32)
endif()
