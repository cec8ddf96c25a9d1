#include "tests/support/recording_logger.h"

#include <cstddef>
#include <cstdio>

namespace test {

namespace {

std::string Text(const char* text) { return text == nullptr ? "(null)" : text; }

DUNMAR_PRINTF_FORMAT(1, 0)
std::string PutTogether(const char* format, va_list arguments) {
  if (format == nullptr) return "(null)";
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (length < 0) return "(unprintable)";
  std::string message(static_cast<std::size_t>(length), '\0');
  std::vsnprintf(message.data(), message.size() + 1, format, arguments);
  return message;
}

}  // namespace

// Variadic arguments can be read in the function that got them, and nowhere else. `text4`,
// `text5` and `text6` are the texts that the operation has, "" for the others.
#define RECORD(operation, level, text4, text5, text6)                                            \
  va_list arguments;                                                                             \
  va_start(arguments, format);                                                                   \
  messages.push_back({operation, level, "", Text(text6), Text(text4), Text(text5), Text(format), \
                      PutTogether(format, arguments)});                                          \
  va_end(arguments)

void RecordingLogger::Trace(const char* format, ...) {
  RECORD("Trace", dunmar::kTrace, "", "", "");
}

void RecordingLogger::Debug(const char* format, ...) {
  RECORD("Debug", dunmar::kDebug, "", "", "");
}

void RecordingLogger::Info(const char* format, ...) { RECORD("Info", dunmar::kInfo, "", "", ""); }

void RecordingLogger::Warn(const char* text5, const char* format, ...) {
  RECORD("Warn", dunmar::kWarn, "", text5, "");
}

void RecordingLogger::Error(const char* text5, const char* format, ...) {
  RECORD("Error", dunmar::kError, "", text5, "");
}

void RecordingLogger::Fatal(const char* text5, const char* format, ...) {
  RECORD("Fatal", dunmar::kFatal, "", text5, "");
}

void RecordingLogger::Log(dunmar::LogLevel level, const char* text5, const char* text6,
                          const char* format, ...) {
  RECORD("Log", level, "", text5, text6);
}

void RecordingLogger::LogV(dunmar::LogLevel level, const char* text5, const char* text6,
                           const char* format, va_list arguments) {
  messages.push_back({"LogV", level, "", Text(text6), "", Text(text5), Text(format),
                      PutTogether(format, arguments)});
}

void RecordingLogger::TraceWith(const char* field4, const char* format, ...) {
  RECORD("TraceWith", dunmar::kTrace, field4, "", "");
}

void RecordingLogger::DebugWith(const char* field4, const char* format, ...) {
  RECORD("DebugWith", dunmar::kDebug, field4, "", "");
}

void RecordingLogger::InfoWith(const char* field4, const char* format, ...) {
  RECORD("InfoWith", dunmar::kInfo, field4, "", "");
}

void RecordingLogger::WarnWith(const char* field4, const char* text5, const char* format, ...) {
  RECORD("WarnWith", dunmar::kWarn, field4, text5, "");
}

void RecordingLogger::ErrorWith(const char* field4, const char* text5, const char* format, ...) {
  RECORD("ErrorWith", dunmar::kError, field4, text5, "");
}

void RecordingLogger::FatalWith(const char* field4, const char* text5, const char* format, ...) {
  RECORD("FatalWith", dunmar::kFatal, field4, text5, "");
}

#undef RECORD

std::vector<std::string> LevelsAndMessages(const std::vector<LoggedMessage>& messages) {
  std::vector<std::string> lines;
  lines.reserve(messages.size());
  for (const LoggedMessage& message : messages) {
    lines.push_back(std::to_string(message.level) + " " + message.message);
  }
  return lines;
}

int RecordingLogCall(dunmar::LogLevel level, const char* module, const char* component,
                     const char* text4, const char* text5, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  RecordedCalls().push_back({"call", level, Text(module), Text(component), Text(text4), Text(text5),
                             Text(format), PutTogether(format, arguments)});
  va_end(arguments);
  return 0;
}

std::vector<LoggedMessage>& RecordedCalls() {
  static std::vector<LoggedMessage> calls;
  return calls;
}

ScopedRecordingLogCall::ScopedRecordingLogCall() {
  RecordedCalls().clear();
  dunmar::SetLogCall(RecordingLogCall);
}

ScopedRecordingLogCall::~ScopedRecordingLogCall() { dunmar::SetLogCall(nullptr); }

}  // namespace test
