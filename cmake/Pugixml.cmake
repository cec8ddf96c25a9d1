# pugixml::pugixml, the system's or, with ZINT_FETCH_PUGIXML, made from a release: a library that was installed for one
# processor cannot be linked into a program for two, and a program that ships should not ask for a shared one.
if(NOT ZINT_FETCH_PUGIXML)
  find_package(pugixml REQUIRED)
  return()
endif()

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
target_include_directories(zint_pugixml SYSTEM PUBLIC ${pugixml_SOURCE_DIR}/src)
target_link_libraries(zint_pugixml PRIVATE zint_hardening)
