#include "fileutils/log_hooks.h"

#include "log/api/abstract_logger.h"
#include "log/api/log_call.h"

namespace fileutils {

namespace {

dunmar::LogCallFunction currentLogHook = nullptr;
dunmar::AbstractLogger* currentDefaultLogger = nullptr;

}  // namespace

void SetLogHook(dunmar::LogCallFunction hook) { currentLogHook = hook; }

dunmar::LogCallFunction LogHook() { return currentLogHook; }

void SetDefaultLogger(dunmar::AbstractLogger* logger) { currentDefaultLogger = logger; }

dunmar::AbstractLogger* DefaultLogger() { return currentDefaultLogger; }

LogRoute ChooseLogRoute(dunmar::AbstractLogger* given) {
  if (given != nullptr) return {given, nullptr};
  if (currentLogHook != nullptr) return {nullptr, currentLogHook};
  return {currentDefaultLogger, nullptr};
}

}  // namespace fileutils
