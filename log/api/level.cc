#include "log/api/level.h"

namespace dunmar {

const char* GetLevelName(LogLevel level) {
  switch (level) {
    case kTrace:
      return "TRACE";
    case kDebug:
      return "DEBUG";
    case kInfo:
      return "INFO";
    case kWarn:
      return "WARN";
    case kError:
      return "ERROR";
    case kFatal:
      return "FATAL";
    case kNone:
      return "NONE";
    default:
      return "ALL";
  }
}

}  // namespace dunmar
