#ifndef LOG_LOGGER_H_
#define LOG_LOGGER_H_

#include <cstdarg>
#include <string>

#include "log/api/abstract_logger.h"
#include "log/api/level.h"
#include "log/api/printf_format.h"
#include "log/log_target_registry.h"

namespace dunmar {

// Nothing deletes a front end through a base, and the virtual table is the fourteen operations and
// nothing else, so there is no virtual destructor.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// The front end that code logs through: it hands each message to the targets that the registry
// lists under its target name, with four texts of its own as the record's fields 1 to 4.
//
// Threads: any number of them may log at once, through one logger or several, also to the same
// targets. No thread may meanwhile change what they use: register or unregister a target, set one
// up (log_setup.h), open or close it, or call `SetFieldText2`. Neither logger nor registry holds a
// lock. A log file has one (cross_process_lock.h): one thread at a time writes and rotates it, in
// whichever process. A target of another kind has to see to that itself. (On macOS basename(3) and
// dirname(3) have one buffer for all threads. There, while one thread rotates a log, no other may
// rotate one, take paths apart by fileutils/paths.h, or write, copy or create files by fileutils.)
//
// A null format logs nothing. For `Warn`, `Error`, `Fatal` and `Log` a null text counts as empty;
// for the operations ending in `With` every null text makes that nothing is logged.
class Logger : public AbstractLogger {
 public:
  // `targetName` may be null: the empty name.
  explicit Logger(const char* targetName);

  // The text of field 2 of every record. False, nothing changed, for null.
  bool SetFieldText2(const char* text);

  void Trace(const char* format, ...) override DUNMAR_PRINTF_FORMAT(2, 3);
  void Debug(const char* format, ...) override DUNMAR_PRINTF_FORMAT(2, 3);
  void Info(const char* format, ...) override DUNMAR_PRINTF_FORMAT(2, 3);
  void Warn(const char* text5, const char* format, ...) override DUNMAR_PRINTF_FORMAT(3, 4);
  void Error(const char* text5, const char* format, ...) override DUNMAR_PRINTF_FORMAT(3, 4);
  void Fatal(const char* text5, const char* format, ...) override DUNMAR_PRINTF_FORMAT(3, 4);
  void Log(LogLevel level, const char* text5, const char* text6, const char* format, ...) override
      DUNMAR_PRINTF_FORMAT(5, 6);
  // The operations above come here, so a derived front end that overrides it sees their messages.
  // Checks nothing: the format must not be null.
  void LogV(LogLevel level, const char* text5, const char* text6, const char* format,
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

  // As `LogV`, with another text in field 4. The operations ending in `With` come here.
  void LogWithField4(LogLevel level, const char* text5, const char* text6, const char* field4,
                     const char* format, va_list arguments) DUNMAR_PRINTF_FORMAT(6, 0);

 private:
  LogTargetRegistry* registry_;
  std::string fieldText1_;
  std::string fieldText2_;
  std::string fieldText3_;
  std::string fieldText4_;
  std::string targetName_;
};

#pragma GCC diagnostic pop

}  // namespace dunmar

#endif  // LOG_LOGGER_H_
