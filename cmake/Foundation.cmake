# Which half of the platform seam is built: ZINT_FOUNDATION for the Objective-C++ one, which is always
# so on macOS. On Linux it is an option and takes GNUstep's Foundation, for tests: what that lacks
# comes from tests/foundation.
if(APPLE)
  set(ZINT_FOUNDATION ON)
else()
  option(ZINT_FOUNDATION "Build the macOS half against GNUstep's Foundation" OFF)
endif()
if(NOT ZINT_FOUNDATION)
  return()
endif()

set(CMAKE_OBJCXX_COMPILER ${CMAKE_CXX_COMPILER} CACHE FILEPATH "The C++ compiler")
enable_language(OBJCXX)
set(CMAKE_OBJCXX_STANDARD 20)
set(CMAKE_OBJCXX_STANDARD_REQUIRED ON)
set(CMAKE_OBJCXX_EXTENSIONS OFF)

# Linked by what calls Foundation.
add_library(zint_foundation INTERFACE)
if(APPLE)
  # Both runtimes take manual reference counting.
  target_compile_options(zint_foundation INTERFACE $<$<COMPILE_LANGUAGE:OBJCXX>:-fno-objc-arc>)
else()
  # The runtime and its headers come with gcc.
  execute_process(COMMAND g++ -print-file-name=include
    OUTPUT_VARIABLE gcc_include OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND g++ -print-file-name=libobjc.so
    OUTPUT_VARIABLE objc_library OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  find_path(GNUSTEP_INCLUDE Foundation/Foundation.h PATH_SUFFIXES GNUstep REQUIRED)
  find_library(GNUSTEP_BASE gnustep-base REQUIRED)
  target_include_directories(zint_foundation SYSTEM INTERFACE
    ${PROJECT_SOURCE_DIR}/tests/foundation ${GNUSTEP_INCLUDE} ${gcc_include})
  target_compile_definitions(zint_foundation INTERFACE
    GNUSTEP GNUSTEP_BASE_LIBRARY=1 GNU_RUNTIME=1 _NATIVE_OBJC_EXCEPTIONS)
  target_compile_options(zint_foundation INTERFACE
    $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-runtime=gcc;-fno-blocks;-fobjc-exceptions;-fconstant-string-class=NSConstantString>)
  target_link_libraries(zint_foundation INTERFACE ${GNUSTEP_BASE} ${objc_library})
endif()
