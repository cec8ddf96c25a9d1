#ifndef LOG_API_ABSTRACT_LOGGER_H_
#define LOG_API_ABSTRACT_LOGGER_H_

#include <cstdarg>

#include "log/api/level.h"
#include "log/api/printf_format.h"

namespace dunmar {

// What logging code holds: a front end that turns each message into a record.
// Formats and arguments are those of printf. text5 and text6 become the fifth
// and sixth text of the record, field4 replaces its fourth for one call; null
// counts as empty where an implementation does not say otherwise.
//
// The order of the operations is their order in the virtual table, which
// programs of the family rely on. Nobody deletes a front end through this type.
class AbstractLogger {
 public:
  virtual void Trace(const char* format, ...) DUNMAR_PRINTF_FORMAT(2, 3) = 0;
  virtual void Debug(const char* format, ...) DUNMAR_PRINTF_FORMAT(2, 3) = 0;
  virtual void Info(const char* format, ...) DUNMAR_PRINTF_FORMAT(2, 3) = 0;
  virtual void Warn(const char* text5, const char* format, ...) DUNMAR_PRINTF_FORMAT(3, 4) = 0;
  virtual void Error(const char* text5, const char* format, ...) DUNMAR_PRINTF_FORMAT(3, 4) = 0;
  virtual void Fatal(const char* text5, const char* format, ...) DUNMAR_PRINTF_FORMAT(3, 4) = 0;
  virtual void Log(LogLevel level, const char* text5, const char* text6, const char* format, ...)
      DUNMAR_PRINTF_FORMAT(5, 6) = 0;
  virtual void LogV(LogLevel level, const char* text5, const char* text6, const char* format,
                    va_list arguments) DUNMAR_PRINTF_FORMAT(5, 0) = 0;
  virtual void TraceWith(const char* field4, const char* format, ...)
      DUNMAR_PRINTF_FORMAT(3, 4) = 0;
  virtual void DebugWith(const char* field4, const char* format, ...)
      DUNMAR_PRINTF_FORMAT(3, 4) = 0;
  virtual void InfoWith(const char* field4, const char* format, ...) DUNMAR_PRINTF_FORMAT(3, 4) = 0;
  virtual void WarnWith(const char* field4, const char* text5, const char* format, ...)
      DUNMAR_PRINTF_FORMAT(4, 5) = 0;
  virtual void ErrorWith(const char* field4, const char* text5, const char* format, ...)
      DUNMAR_PRINTF_FORMAT(4, 5) = 0;
  virtual void FatalWith(const char* field4, const char* text5, const char* format, ...)
      DUNMAR_PRINTF_FORMAT(4, 5) = 0;

 protected:
  ~AbstractLogger() = default;
};

}  // namespace dunmar

#endif  // LOG_API_ABSTRACT_LOGGER_H_
