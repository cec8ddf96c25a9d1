# The program runs as root on machines that are not ours: what the toolchain
# offers against memory errors is on in every build type.
include(CheckCXXCompilerFlag)
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

if(ZINT_SANITIZERS)
  # Fortified calls hide overflows from the sanitizers.
  target_compile_options(zint_hardening INTERFACE
    -fsanitize=${ZINT_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(zint_hardening INTERFACE
    -fsanitize=${ZINT_SANITIZERS} -fno-sanitize-recover=all)
else()
  target_compile_definitions(zint_hardening INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2> _GLIBCXX_ASSERTIONS)
endif()
