# `cmake --install` puts down the program and the libraries that other programs
# may use: find_package(ZintLibraries), then fileutils::fileutils and so on.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/ZintLibraries)
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/ZintLibrariesConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ZintLibrariesConfig.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/ZintLibrariesConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/ZintLibrariesConfig.cmake
  ${PROJECT_BINARY_DIR}/ZintLibrariesConfigVersion.cmake
  DESTINATION ${package_folder})
install(TARGETS ZintCustomHook RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
