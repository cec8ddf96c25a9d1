# Linked PRIVATE by every target of this project; never reaches a consumer.
add_library(zint_warnings INTERFACE)
target_compile_options(zint_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  -Wold-style-cast -Wcast-qual -Wnon-virtual-dtor -Woverloaded-virtual
  -Wformat=2 -Wundef -Wmissing-declarations
  $<$<BOOL:${ZINT_WARNINGS_AS_ERRORS}>:-Werror>)
