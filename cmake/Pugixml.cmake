# pugixml::pugixml, the system's or, with ZINT_FETCH_PUGIXML, made from a release: a library that was installed for one
# processor cannot be linked into a program for two, and a program that ships should not ask for a shared one. On Linux
# the installed libraries need it, so the one made here is installed with them, as platform::pugixml.
# ZINT_PUGIXML_SAVES_TO_STREAMS tells whether it can save to a stream: the system's cannot where it was built for another
# C++ library.
if(NOT ZINT_FETCH_PUGIXML)
  find_package(pugixml REQUIRED)
  include(CheckCXXSourceCompiles)
  set(CMAKE_REQUIRED_LIBRARIES pugixml::pugixml)
  check_cxx_source_compiles("
    #include <pugixml.hpp>
    #include <sstream>
    int main() {
      std::ostringstream stream;
      pugi::xml_document().save(stream);
    }" ZINT_PUGIXML_SAVES_TO_STREAMS)
  unset(CMAKE_REQUIRED_LIBRARIES)
  return()
endif()
set(ZINT_PUGIXML_SAVES_TO_STREAMS ON)

include(FetchContent)
if(POLICY CMP0135)
  cmake_policy(SET CMP0135 NEW)
endif()
# Nothing is built in the folder named last. The release's own build would be installed with ours, and the library is
# one source file.
FetchContent_Declare(pugixml
  URL https://github.com/zeux/pugixml/releases/download/v1.14/pugixml-1.14.tar.gz
  URL_HASH SHA256=2f10e276870c64b1db6809050a75e11a897a8d7456c4be5c6b2e35a11168a015
  SOURCE_SUBDIR src)
FetchContent_MakeAvailable(pugixml)
add_library(zint_pugixml STATIC ${pugixml_SOURCE_DIR}/src/pugixml.cpp)
add_library(pugixml::pugixml ALIAS zint_pugixml)
target_include_directories(zint_pugixml SYSTEM PUBLIC $<BUILD_INTERFACE:${pugixml_SOURCE_DIR}/src>)
target_link_libraries(zint_pugixml PRIVATE $<BUILD_INTERFACE:zint_hardening>)
if(NOT ZINT_FOUNDATION)
  set_target_properties(zint_pugixml PROPERTIES EXPORT_NAME pugixml)
  install(TARGETS zint_pugixml EXPORT platform_targets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
