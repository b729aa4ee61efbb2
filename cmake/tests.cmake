# Kinds of tests, found by directory:
#   tests/*.cpp       through the exported interface, against the shared library or DLL
#   tests/unit/*.cpp  internals, against the static library
#   tests/faults/*.cpp failing allocations, reads and writes: native only, with the POSIX side
#   tests/win32/*.cpp  GDI, clipboard, scanner: Windows only, against the DLL
#   tests/tool/*.cpp   the command-line tool, driven as a process; native only, but the tool
#                      that is driven can be the Windows one (test.sh does that)
#   tests/interop/*.cpp against other libraries: native only (TREVOLAN_INTEROP)
find_path(GOOGLETEST_SOURCES NAMES googletest/src/gtest-all.cc
  HINTS /usr/src/googletest NO_CMAKE_FIND_ROOT_PATH REQUIRED)
add_library(trevolan_gtest STATIC ${GOOGLETEST_SOURCES}/googletest/src/gtest-all.cc)
target_include_directories(trevolan_gtest SYSTEM PUBLIC ${GOOGLETEST_SOURCES}/googletest/include)
target_include_directories(trevolan_gtest SYSTEM PRIVATE ${GOOGLETEST_SOURCES}/googletest)
find_package(Threads REQUIRED)
target_link_libraries(trevolan_gtest PUBLIC Threads::Threads)

file(GLOB support_sources CONFIGURE_DEPENDS tests/support/*.cpp)
# Places go into one source: what carries the path of this tree is compiled anew in every clone.
set_source_files_properties(tests/support/places.cpp PROPERTIES COMPILE_DEFINITIONS
  "TREVOLAN_TEST_DATA=\"${PROJECT_SOURCE_DIR}/tests/data\";TREVOLAN_TOOL=\"$<TARGET_FILE:trevolan_tool>\"")

function(trevolan_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  if(NOT ARG_SOURCES)
    return()
  endif()
  add_executable(${name} ${ARG_SOURCES} ${support_sources})
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} trevolan_gtest trevolan_test_options)
  add_test(NAME ${name} COMMAND ${name})
endfunction()

file(GLOB interface_tests CONFIGURE_DEPENDS tests/*.cpp)
file(GLOB unit_tests CONFIGURE_DEPENDS tests/unit/*.cpp)
file(GLOB fault_tests CONFIGURE_DEPENDS tests/faults/*.cpp)
file(GLOB win32_tests CONFIGURE_DEPENDS tests/win32/*.cpp)
file(GLOB interop_tests CONFIGURE_DEPENDS tests/interop/*.cpp)

trevolan_add_test(interface_tests SOURCES ${interface_tests} LIBRARIES trevolan trevolan_platform)
trevolan_add_test(unit_tests SOURCES ${unit_tests} LIBRARIES trevolan_static)
if(WIN32)
  # A scripted source manager and data source in one.
  add_library(twain32_mock SHARED tests/win32/twain/mock_manager.cpp)
  target_include_directories(twain32_mock PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(twain32_mock PRIVATE trevolan_options)
  target_link_options(twain32_mock PRIVATE -Wl,--kill-at)
  set_target_properties(twain32_mock PROPERTIES PREFIX "")
  trevolan_add_test(win32_tests SOURCES ${win32_tests} LIBRARIES trevolan gdi32 user32 winspool comdlg32)
  # Some of them start the viewer.
  if(TARGET win32_tests AND TARGET viewer)
    add_dependencies(win32_tests viewer)
  endif()
else()
  if(NOT TREVOLAN_SANITIZE)
    add_test(NAME exports
      COMMAND ${PROJECT_SOURCE_DIR}/scripts/check_exports.sh native $<TARGET_FILE:trevolan>)
  endif()
  trevolan_add_test(fault_tests SOURCES ${fault_tests} LIBRARIES trevolan_static)
  file(GLOB tool_tests CONFIGURE_DEPENDS tests/tool/*.cpp)
  if(TARGET trevolan_tool)
    trevolan_add_test(tool_tests SOURCES ${tool_tests} LIBRARIES trevolan_static)
    add_dependencies(tool_tests trevolan_tool)
  endif()
endif()

# Peers, by pkg-config module; what is not installed is not linked.
if(TREVOLAN_INTEROP AND NOT WIN32)
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(PEERS REQUIRED IMPORTED_TARGET libtiff-4 libjpeg)
  trevolan_add_test(interop_tests SOURCES ${interop_tests}
    LIBRARIES trevolan_static PkgConfig::PEERS gif)
endif()
