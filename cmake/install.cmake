# Install rules: library, headers, tool, CMake package, pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS trevolan trevolan_static EXPORT trevolan_targets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
foreach(program trevolan_tool viewer)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()
install(FILES core/image.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/trevolan)
if(WIN32)
  install(FILES ${plain_def} ${PROJECT_BINARY_DIR}/trevolan.lib DESTINATION ${CMAKE_INSTALL_LIBDIR})
else()
  install(FILES platform/posix/win32_types.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/trevolan)
endif()

set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/trevolan)
install(EXPORT trevolan_targets NAMESPACE trevolan:: DESTINATION ${package_directory})
configure_package_config_file(cmake/trevolan-config.cmake.in
  ${PROJECT_BINARY_DIR}/trevolan-config.cmake INSTALL_DESTINATION ${package_directory})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/trevolan-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/trevolan-config.cmake
  ${PROJECT_BINARY_DIR}/trevolan-config-version.cmake DESTINATION ${package_directory})

# Relative, so that the installed tree can be moved, or installed with another prefix.
file(RELATIVE_PATH trevolan_pc_to_prefix
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/trevolan.pc.in ${PROJECT_BINARY_DIR}/trevolan.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/trevolan.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
