#ifndef LOG_LOG_TARGET_REGISTRY_H_
#define LOG_LOG_TARGET_REGISTRY_H_

#include <cstdarg>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "log/api/level.h"
#include "log/api/printf_format.h"
#include "log/log_target_base.h"

namespace dunmar {

// Which targets get the records of which name. Owns no target: whoever made one keeps it, and keeps
// it alive while it is registered. What several threads may do at once is told in logger.h. A
// target may log while it writes, opens or closes, but must not register or unregister any.
class LogTargetRegistry {
 public:
  LogTargetRegistry() = default;
  LogTargetRegistry(const LogTargetRegistry&) = delete;
  LogTargetRegistry& operator=(const LogTargetRegistry&) = delete;

  // Process-wide: the registry of this process, made on first use and destroyed at its end.
  static LogTargetRegistry& Instance();

  // Opens the target, each time, and lists it under its name, once. False for null and where the
  // target cannot be opened; it is not listed then.
  bool Register(LogTargetBase* target);

  // Takes the target from its name's list and closes it where no list has it any more; the result
  // is then that of its `Close`. True as well where nothing is listed under its name; false for
  // null and where others are, but not this one.
  bool Unregister(LogTargetBase* target);

  // Hands a record to every target listed under the name, first registered first, with the lock;
  // null texts are allowed. `arguments` are left as they were. Nothing happens for a null name and
  // for one under which nothing is listed.
  void Dispatch(const char* targetName, LogLevel level, const char* text1, const char* text2,
                const char* text3, const char* text4, const char* text5, const char* text6,
                const char* format, va_list arguments, std::int64_t timeMs)
      DUNMAR_PRINTF_FORMAT(10, 0);

 private:
  friend bool IsEmptyForTesting(const LogTargetRegistry& registry);

  std::map<std::string, std::vector<LogTargetBase*>, std::less<>> targets_;
};

}  // namespace dunmar

#endif  // LOG_LOG_TARGET_REGISTRY_H_
