# zint_module(<name> ALIAS <ns::name> SOURCES ... [PUBLIC ...] [PRIVATE ...] [INSTALL])
#
# One static library a module, with its alias, include root, warnings and
# hardening. PUBLIC names the modules whose headers this module's headers
# include; PRIVATE the rest, so that nobody inherits an edge by accident. With
# INSTALL other programs can have it, under the same name as its alias.
function(zint_module name)
  cmake_parse_arguments(arg "INSTALL" "ALIAS" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(${name} STATIC ${arg_SOURCES})
  add_library(${arg_ALIAS} ALIAS ${name})
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/zint>)
  target_link_libraries(${name}
    PUBLIC ${arg_PUBLIC}
    PRIVATE ${arg_PRIVATE} $<BUILD_INTERFACE:zint_warnings> $<BUILD_INTERFACE:zint_hardening>)
  if(arg_INSTALL)
    string(REPLACE "::" ";" parts ${arg_ALIAS})
    list(GET parts 0 namespace)
    list(GET parts 1 exportName)
    set_target_properties(${name} PROPERTIES EXPORT_NAME ${exportName})
    install(TARGETS ${name} EXPORT ${name}_targets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
    install(EXPORT ${name}_targets
      FILE ${name}_targets.cmake
      NAMESPACE ${namespace}::
      DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ZintLibraries)
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
    install(DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/
      DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zint/${folder}
      FILES_MATCHING
      PATTERN "*.h"
      PATTERN "*_for_testing.h" EXCLUDE
      PATTERN "macos" EXCLUDE
      PATTERN "posix" EXCLUDE)
  endif()
endfunction()
