# The program runs as root on machines that are not ours: what the toolchain
# offers against memory errors is on in every build type.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckLinkerFlag)

add_library(zint_hardening INTERFACE)
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection=full)
  string(MAKE_C_IDENTIFIER "ZINT_HAS${flag}" known)
  check_cxx_compiler_flag("-Werror ${flag}" ${known})
  if(${known})
    target_compile_options(zint_hardening INTERFACE ${flag})
  endif()
endforeach()
foreach(flag -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
  string(MAKE_C_IDENTIFIER "ZINT_HAS${flag}" known)
  check_linker_flag(CXX ${flag} ${known})
  if(${known})
    target_link_options(zint_hardening INTERFACE ${flag})
  endif()
endforeach()

# Some compilers define it themselves, and any other value would be a redefinition. Both are options, because definitions
# come first on the command line.
target_compile_options(zint_hardening INTERFACE -U_FORTIFY_SOURCE)
if(ZINT_SANITIZERS)
  # Fortified calls hide overflows from the sanitizers.
  target_compile_options(zint_hardening INTERFACE
    -fsanitize=${ZINT_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(zint_hardening INTERFACE
    -fsanitize=${ZINT_SANITIZERS} -fno-sanitize-recover=all)
else()
  # Level 3 also checks sizes that only the running program knows. Where C library or compiler have none, it is 2 under
  # another name, or a warning.
  set(CMAKE_REQUIRED_FLAGS "-O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -Werror")
  check_cxx_source_compiles("
    #include <cstdlib>
    #if __USE_FORTIFY_LEVEL < 3
    #error
    #endif
    int main() {}" ZINT_HAS_FORTIFY_SOURCE_3)
  unset(CMAKE_REQUIRED_FLAGS)
  if(ZINT_HAS_FORTIFY_SOURCE_3)
    set(fortify_level 3)
  else()
    set(fortify_level 2)
  endif()
  # The C library needs optimised code for it.
  set(is_optimised $<NOT:$<OR:$<CONFIG:Debug>,$<BOOL:$<TARGET_PROPERTY:ZINT_UNOPTIMISED>>>>)
  target_compile_options(zint_hardening INTERFACE $<${is_optimised}:-D_FORTIFY_SOURCE=${fortify_level}>)
  target_compile_definitions(zint_hardening INTERFACE _GLIBCXX_ASSERTIONS)
endif()
