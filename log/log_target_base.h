#ifndef LOG_LOG_TARGET_BASE_H_
#define LOG_LOG_TARGET_BASE_H_

#include <cstdarg>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "log/api/level.h"
#include "log/api/printf_format.h"
#include "log/file_stream.h"
#include "log/session_header.h"

namespace dunmar {

// Where records go. A target has a name, under which the registry hands it records
// (log_target_registry.h), and a threshold: records of a lower level are dropped.
//
// The order of the virtual operations is their order in the virtual table, which programs of the
// family rely on.
class LogTargetBase {
 public:
  LogTargetBase(const LogTargetBase&) = delete;
  LogTargetBase& operator=(const LogTargetBase&) = delete;

  // Opens the target's file for appending into the given stream.
  virtual bool OpenStream(FileStream& stream) = 0;
  virtual ~LogTargetBase();
  // Makes the target ready for records.
  virtual bool Open() = 0;
  virtual bool Close() = 0;
  // Writes one record. Texts may be null. `arguments` may be null: the format is then the message,
  // as it stands. `timeMs` is in milliseconds since the beginning of 1970 in UTC, 0 for now. With
  // `useLock` other processes and threads that write the same file are kept out meanwhile.
  // `arguments` are used up.
  virtual bool Write(LogLevel level, const char* text1, const char* text2, const char* text3,
                     const char* text4, const char* text5, const char* text6, const char* format,
                     va_list* arguments, std::int64_t timeMs, bool useLock)
      DUNMAR_PRINTF_FORMAT(9, 0) = 0;
  // Writes the lines of a header as records. `block` null: those of the stored header.
  virtual void WriteHeader(LogLevel level, const char* text1, const char* text2, const char* text3,
                           const char* text4, const HeaderBlock* block, bool useLock) = 0;
  // Writes the text and a line end to the target's stream, and flushes it.
  virtual void WriteLine(std::string_view text);

  // False, nothing changed, for null.
  bool SetName(const char* text);
  [[nodiscard]] const std::string& GetName() const { return name_; }
  [[nodiscard]] LogLevel GetLevel() const { return level_; }

  // Under how many names the registry lists the target. Safe from any thread.
  void AddReference();
  void RemoveReference();
  [[nodiscard]] std::uint32_t GetReferenceCount() const;

 protected:
  // Threshold INFO, or what marker files say (log_setup.h).
  LogTargetBase();

  std::string name_;
  std::string separator_ = " | ";
  std::string fileName_ = "Dunmar.log";  // used where there is no path
  std::string filePath_;
  LogLevel level_ = kInfo;
  FileStream stream_;
  bool enabled_ = true;
  bool isOpen_ = false;
  std::uint32_t refCount_ = 0;
  mutable std::mutex mutex_;  // of refCount_

 private:
  friend class LogTargetForTesting;
  friend void SetLevel(LogTargetBase& target, LogLevel level);
  friend bool SetLogFile(LogTargetBase& target, const char* fileName, const char* folder);
};

}  // namespace dunmar

#endif  // LOG_LOG_TARGET_BASE_H_
