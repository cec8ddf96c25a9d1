#include "hook/hook_log.h"

#include <chrono>
#include <cstdarg>

#include "log/api/level.h"
#include "log/log_setup.h"
#include "log/log_target_default.h"
#include "log/log_target_registry.h"
#include "log/logger.h"

namespace hook {

namespace {

// Anybody may keep the log's lock for ever; that must not stop an install.
constexpr std::chrono::seconds kLongestLockWait(60);

dunmar::LogTargetBase* currentLogTarget = nullptr;
dunmar::AbstractLogger* currentFrontEnd = nullptr;

}  // namespace

void StartLog() {
  auto* const target = new dunmar::LogTargetDefault(kModuleName);
  SetLogTarget(target);
  target->SetLongestWait(kLongestLockWait);
  // Before the file has its name: the markers that count are those of the library's own name.
  dunmar::SetLevel(*target, dunmar::kInfo);
  (void)dunmar::SetLogFile(*target, "Ixer.log", "");
  (void)dunmar::LogTargetRegistry::Instance().Register(target);

  auto* const frontEnd = new dunmar::Logger(kModuleName);
  SetFrontEnd(frontEnd);
  (void)frontEnd->SetFieldText2(kModuleName);
  dunmar::SetLogCall(HookLogCallback);
}

void StopLog() { (void)dunmar::LogTargetRegistry::Instance().Unregister(LogTarget()); }

void SetLogTarget(dunmar::LogTargetBase* target) { currentLogTarget = target; }

dunmar::LogTargetBase* LogTarget() { return currentLogTarget; }

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
