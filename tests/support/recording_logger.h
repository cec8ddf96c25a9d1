#ifndef TESTS_SUPPORT_RECORDING_LOGGER_H_
#define TESTS_SUPPORT_RECORDING_LOGGER_H_

#include <cstdarg>
#include <string>
#include <vector>

#include "log/api/abstract_logger.h"
#include "log/api/log_call.h"

namespace test {

// A message as a logger or a log call got it. What a call does not have is empty; null texts
// are recorded as "(null)".
struct LoggedMessage {
  std::string operation;  // "Log", "LogV", "Warn", ..., "call" for a log call
  dunmar::LogLevel level = 0;
  std::string module;
  std::string component;  // text6 of a logger
  std::string text4;      // field4 of a logger
  std::string text5;
  std::string format;   // as passed
  std::string message;  // format and arguments put together
  bool operator==(const LoggedMessage&) const = default;
};

// "30 message", one for each, for comparing whole sequences at a glance.
[[nodiscard]] std::vector<std::string> LevelsAndMessages(
    const std::vector<LoggedMessage>& messages);

// Records every operation.
class RecordingLogger final : public dunmar::AbstractLogger {
 public:
  std::vector<LoggedMessage> messages;

  void Trace(const char* format, ...) override DUNMAR_PRINTF_FORMAT(2, 3);
  void Debug(const char* format, ...) override DUNMAR_PRINTF_FORMAT(2, 3);
  void Info(const char* format, ...) override DUNMAR_PRINTF_FORMAT(2, 3);
  void Warn(const char* text5, const char* format, ...) override DUNMAR_PRINTF_FORMAT(3, 4);
  void Error(const char* text5, const char* format, ...) override DUNMAR_PRINTF_FORMAT(3, 4);
  void Fatal(const char* text5, const char* format, ...) override DUNMAR_PRINTF_FORMAT(3, 4);
  void Log(dunmar::LogLevel level, const char* text5, const char* text6, const char* format,
           ...) override DUNMAR_PRINTF_FORMAT(5, 6);
  void LogV(dunmar::LogLevel level, const char* text5, const char* text6, const char* format,
            va_list arguments) override DUNMAR_PRINTF_FORMAT(5, 0);
  void TraceWith(const char* field4, const char* format, ...) override DUNMAR_PRINTF_FORMAT(3, 4);
  void DebugWith(const char* field4, const char* format, ...) override DUNMAR_PRINTF_FORMAT(3, 4);
  void InfoWith(const char* field4, const char* format, ...) override DUNMAR_PRINTF_FORMAT(3, 4);
  void WarnWith(const char* field4, const char* text5, const char* format, ...) override
      DUNMAR_PRINTF_FORMAT(4, 5);
  void ErrorWith(const char* field4, const char* text5, const char* format, ...) override
      DUNMAR_PRINTF_FORMAT(4, 5);
  void FatalWith(const char* field4, const char* text5, const char* format, ...) override
      DUNMAR_PRINTF_FORMAT(4, 5);
};

// A log call that records, with the messages since the last Clear. One list for the process.
int RecordingLogCall(dunmar::LogLevel level, const char* module, const char* component,
                     const char* text4, const char* text5, const char* format, ...)
    DUNMAR_PRINTF_FORMAT(6, 7);
[[nodiscard]] std::vector<LoggedMessage>& RecordedCalls();

// Sets RecordingLogCall as the process's log call for a scope, with an empty list.
class ScopedRecordingLogCall {
 public:
  ScopedRecordingLogCall();
  ~ScopedRecordingLogCall();
  ScopedRecordingLogCall(const ScopedRecordingLogCall&) = delete;
  ScopedRecordingLogCall& operator=(const ScopedRecordingLogCall&) = delete;
};

}  // namespace test

#endif  // TESTS_SUPPORT_RECORDING_LOGGER_H_
