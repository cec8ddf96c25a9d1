#ifndef LOG_LOG_TARGET_DEFAULT_H_
#define LOG_LOG_TARGET_DEFAULT_H_

#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "log/api/level.h"
#include "log/api/printf_format.h"
#include "log/cross_process_lock.h"
#include "log/file_stream.h"
#include "log/log_target_base.h"
#include "log/record_format.h"
#include "log/session_header.h"

namespace dunmar {

// Whether a release of macOS has the call that tells a thread's number: those up to 10.5 do not.
// (So a 9.9 would; nobody asks.)
[[nodiscard]] constexpr bool HasThreadIdCall(unsigned int major, unsigned int minor) {
  return !(major <= 10 && minor <= 5);
}

// The log file: a line of text for each record (record_format.h), flushed at once, written under a
// lock that every process shares which writes the same file (cross_process_lock.h). A file that has
// grown too large is copied aside and emptied (rollover.h), old copies are pruned (pruning.h), and
// so is whatever else beside the file has a name that begins with the file's stem: a log wants a
// folder of its own.
//
// States: closed, then open from a successful `Open` until `Close`. Opening again is allowed.
// Records are dropped in silence while the lock cannot be had: there is no writing without it.
// Nothing but memory that runs out is thrown.
//
// What several threads may do at once is told in logger.h. `Write` without `useLock` is for a
// thread that holds the lock, or is alone.
class LogTargetDefault : public LogTargetBase {
 public:
  // `name` may be null. Gathers the session header at once. Process-wide: looks for marker files in
  // the console user's logs folder, and makes that folder (~/Library/Logs, mode 0700). The header
  // looks for the product in /Applications, which is made too where it is missing and the process
  // may do so.
  explicit LogTargetDefault(const char* name);

  // Limits the time that the target waits for its lock from now on, in all, however often it is
  // opened: after that a record that would have to wait is dropped (cross_process_lock.h). Not
  // while another thread opens or closes the target. Without it the target waits without limit.
  void SetLongestWait(std::chrono::nanoseconds longest);

  // log_file.h says what is refused.
  bool OpenStream(FileStream& stream) override;
  ~LogTargetDefault() override;
  // Opens the file, attaches the lock, and rotates a file that is too large. True also where the
  // lock cannot be had. False where the target is disabled (log_setup.h), has no path and none can
  // be made, or the file cannot be opened.
  bool Open() override;
  // Closes the file and detaches the lock. Always true.
  bool Close() override;
  // Always true, also for a record that was dropped. Looks at the file's size where 900 seconds of
  // record time have passed since the last look.
  bool Write(LogLevel level, const char* text1, const char* text2, const char* text3,
             const char* text4, const char* text5, const char* text6, const char* format,
             va_list* arguments, std::int64_t timeMs, bool useLock) override
      DUNMAR_PRINTF_FORMAT(9, 0);
  void WriteHeader(LogLevel level, const char* text1, const char* text2, const char* text3,
                   const char* text4, const HeaderBlock* block, bool useLock) override;

  // Rotates the file if it is too large: copies it under a dated name, empties it, and prunes old
  // copies unless a marker beside it says "keeplogs". The next record is preceded by the session
  // header. A copy that fails leaves the file as it is. Nothing is copied or emptied where the file
  // that the target has open has several names, or where another file has its name by now; that one
  // is opened instead, under the usual checks. To be called while the lock is held. False where the
  // file's size cannot be had or the file not be opened again.
  bool CheckRollover();

 private:
  friend class LogTargetForTesting;

  // Puts the default path together. False where there is no logs folder.
  [[nodiscard]] bool BuildDefaultFilePath();

  std::unique_ptr<CrossProcessLock> processLock_;
  // What the next lock may wait in all.
  std::chrono::nanoseconds longestWait_ = CrossProcessLock::kWithoutLimit;
  bool headerPending_ = false;
  bool logThreadId_ = true;
  std::int64_t lastCheckTime_ = 0;   // seconds
  std::int64_t lastRecordTime_ = 0;  // seconds
  std::vector<std::string> maskedKeys_;
  HeaderBlock sessionHeader_;
  TimestampCache timestampCache_;
  std::string line_;  // of the record at hand; kept for its memory
};

}  // namespace dunmar

#endif  // LOG_LOG_TARGET_DEFAULT_H_
