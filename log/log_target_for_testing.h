#ifndef LOG_LOG_TARGET_FOR_TESTING_H_
#define LOG_LOG_TARGET_FOR_TESTING_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "log/cross_process_lock.h"
#include "log/file_stream.h"
#include "log/log_target_default.h"
#include "log/session_header.h"

namespace dunmar {

// The fields of a target, to look at and to set.
class LogTargetForTesting {
 public:
  static std::string& FileName(LogTargetBase& target) { return target.fileName_; }
  static std::string& FilePath(LogTargetBase& target) { return target.filePath_; }
  static std::string& Separator(LogTargetBase& target) { return target.separator_; }
  static LogLevel& Level(LogTargetBase& target) { return target.level_; }
  static FileStream& Stream(LogTargetBase& target) { return target.stream_; }
  static bool& Enabled(LogTargetBase& target) { return target.enabled_; }
  static bool& IsOpen(LogTargetBase& target) { return target.isOpen_; }

  static std::unique_ptr<CrossProcessLock>& ProcessLock(LogTargetDefault& target) {
    return target.processLock_;
  }
  static bool& HeaderPending(LogTargetDefault& target) { return target.headerPending_; }
  static bool& LogThreadId(LogTargetDefault& target) { return target.logThreadId_; }
  static std::int64_t& LastCheckTime(LogTargetDefault& target) { return target.lastCheckTime_; }
  static std::int64_t& LastRecordTime(LogTargetDefault& target) { return target.lastRecordTime_; }
  static std::vector<std::string>& MaskedKeys(LogTargetDefault& target) {
    return target.maskedKeys_;
  }
  static HeaderBlock& SessionHeader(LogTargetDefault& target) { return target.sessionHeader_; }
};

}  // namespace dunmar

#endif  // LOG_LOG_TARGET_FOR_TESTING_H_
