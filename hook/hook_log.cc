#include "hook/hook_log.h"

#include <cstdarg>

namespace hook {

namespace {

dunmar::AbstractLogger* currentFrontEnd = nullptr;

}  // namespace

void SetFrontEnd(dunmar::AbstractLogger* frontEnd) { currentFrontEnd = frontEnd; }

dunmar::AbstractLogger* FrontEnd() { return currentFrontEnd; }

int HookLogCallback(dunmar::LogLevel level, const char* module, const char* /*component*/,
                    const char* /*text4*/, const char* text5, const char* format, ...) {
  if (currentFrontEnd == nullptr) return 0;
  va_list arguments;
  va_start(arguments, format);
  currentFrontEnd->LogV(level, text5, module, format, arguments);
  va_end(arguments);
  return 0;
}

}  // namespace hook
