#include "log/logger.h"

#include <cstdarg>
#include <cstdint>

#include "log/api/level.h"
#include "log/log_target_registry.h"

namespace dunmar {

namespace {

const char* OrEmpty(const char* text) { return text == nullptr ? "" : text; }

}  // namespace

Logger::Logger(const char* targetName)
    : registry_(&LogTargetRegistry::Instance()), targetName_(OrEmpty(targetName)) {}

bool Logger::SetFieldText2(const char* text) {
  if (text == nullptr) return false;
  fieldText2_ = text;
  return true;
}

void Logger::Trace(const char* format, ...) {
  if (format == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  LogV(kTrace, "", "", format, arguments);
  va_end(arguments);
}

void Logger::Debug(const char* format, ...) {
  if (format == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  LogV(kDebug, "", "", format, arguments);
  va_end(arguments);
}

void Logger::Info(const char* format, ...) {
  if (format == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  LogV(kInfo, "", "", format, arguments);
  va_end(arguments);
}

void Logger::Warn(const char* text5, const char* format, ...) {
  if (format == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  LogV(kWarn, OrEmpty(text5), "", format, arguments);
  va_end(arguments);
}

void Logger::Error(const char* text5, const char* format, ...) {
  if (format == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  LogV(kError, OrEmpty(text5), "", format, arguments);
  va_end(arguments);
}

void Logger::Fatal(const char* text5, const char* format, ...) {
  if (format == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  LogV(kFatal, OrEmpty(text5), "", format, arguments);
  va_end(arguments);
}

void Logger::Log(LogLevel level, const char* text5, const char* text6, const char* format, ...) {
  if (format == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  LogV(level, OrEmpty(text5), OrEmpty(text6), format, arguments);
  va_end(arguments);
}

void Logger::LogV(LogLevel level, const char* text5, const char* text6, const char* format,
                  va_list arguments) {
  LogWithField4(level, text5, text6, fieldText4_.c_str(), format, arguments);
}

void Logger::TraceWith(const char* field4, const char* format, ...) {
  if (field4 == nullptr || format == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  LogWithField4(kTrace, "", "", field4, format, arguments);
  va_end(arguments);
}

void Logger::DebugWith(const char* field4, const char* format, ...) {
  if (field4 == nullptr || format == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  LogWithField4(kDebug, "", "", field4, format, arguments);
  va_end(arguments);
}

void Logger::InfoWith(const char* field4, const char* format, ...) {
  if (field4 == nullptr || format == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  LogWithField4(kInfo, "", "", field4, format, arguments);
  va_end(arguments);
}

void Logger::WarnWith(const char* field4, const char* text5, const char* format, ...) {
  if (field4 == nullptr || text5 == nullptr || format == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  LogWithField4(kWarn, text5, "", field4, format, arguments);
  va_end(arguments);
}

void Logger::ErrorWith(const char* field4, const char* text5, const char* format, ...) {
  if (field4 == nullptr || text5 == nullptr || format == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  LogWithField4(kError, text5, "", field4, format, arguments);
  va_end(arguments);
}

void Logger::FatalWith(const char* field4, const char* text5, const char* format, ...) {
  if (field4 == nullptr || text5 == nullptr || format == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  LogWithField4(kFatal, text5, "", field4, format, arguments);
  va_end(arguments);
}

void Logger::LogWithField4(LogLevel level, const char* text5, const char* text6, const char* field4,
                           const char* format, va_list arguments) {
  constexpr std::int64_t kNow = 0;
  registry_->Dispatch(targetName_.c_str(), level, fieldText1_.c_str(), fieldText2_.c_str(),
                      fieldText3_.c_str(), field4, text5, text6, format, arguments, kNow);
}

}  // namespace dunmar
