#include "log/log_target_default.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <utility>

#include "fileutils/foundation_paths.h"
#include "fileutils/items.h"
#include "fileutils/os_version.h"
#include "log/credential_masking.h"
#include "log/local_time.h"
#include "log/log_file.h"
#include "log/log_setup.h"
#include "log/pruning.h"
#include "log/record_format.h"
#include "log/rollover.h"
#include "platform/host.h"
#include "platform/host_info.h"
#include "platform/unique_fd.h"

namespace dunmar {

namespace {

// Number 11 of the programs of the family that make a key from a file.
constexpr int kLogProject = 11;
constexpr int kKeptDays = 4;

// Holds the lock, if it could be had, until the end of the scope.
class LockHolder {
 public:
  // `lock` may be null, and nothing is held then.
  explicit LockHolder(CrossProcessLock* lock)
      : lock_(lock != nullptr && lock->Acquire() ? lock : nullptr) {}
  ~LockHolder() {
    if (lock_ != nullptr) (void)lock_->Release();
  }
  LockHolder(const LockHolder&) = delete;
  LockHolder& operator=(const LockHolder&) = delete;

  [[nodiscard]] explicit operator bool() const { return lock_ != nullptr; }

 private:
  CrossProcessLock* lock_;
};

bool SystemTellsThreadId() {
  // The rule is about releases of macOS; other systems always tell.
  if (!platform::CurrentHost().info->HasMacOSVersionNumbers()) return true;
  unsigned int major = 0;
  unsigned int minor = 0;
  unsigned int patch = 0;
  return !fileutils::GetOSVersion(major, minor, patch) || HasThreadIdCall(major, minor);
}

}  // namespace

LogTargetDefault::LogTargetDefault(const char* name) {
  (void)SetName(name);
  logThreadId_ = SystemTellsThreadId();
  InitMaskedKeys(maskedKeys_);
  PrepareSessionHeader(sessionHeader_);
}

LogTargetDefault::~LogTargetDefault() {
  if (processLock_ != nullptr) (void)processLock_->Detach();
  processLock_.reset();
  if (stream_.good()) stream_.close();
}

void LogTargetDefault::SetLongestWait(std::chrono::nanoseconds longest) {
  longestWait_ = longest;
  if (processLock_ != nullptr) processLock_->SetLongestWait(longest);
}

bool LogTargetDefault::OpenStream(FileStream& stream) { return OpenLogFile(filePath_, stream); }

bool LogTargetDefault::Open() {
  if (!enabled_) return false;
  if (filePath_.empty() && !BuildDefaultFilePath()) return false;
  if (!OpenStream(stream_)) return false;
  if (processLock_ == nullptr) {
    processLock_ = std::make_unique<CrossProcessLock>();
    processLock_->SetLongestWait(longestWait_);
    // Without it every record is dropped later; the target is open all the same.
    (void)processLock_->Attach(filePath_, kLogProject);
  }
  lastRecordTime_ = platform::CurrentHost().clock->Now().seconds;
  lastCheckTime_ = lastRecordTime_;
  if (const LockHolder lock(processLock_.get()); lock) (void)CheckRollover();
  isOpen_ = true;
  return true;
}

bool LogTargetDefault::Close() {
  if (stream_.good()) stream_.close();
  if (processLock_ != nullptr) {
    (void)processLock_->Detach();
    longestWait_ = processLock_->WaitLeft();
  }
  processLock_.reset();
  isOpen_ = false;
  return true;
}

bool LogTargetDefault::Write(LogLevel level, const char* text1, const char* text2,
                             const char* text3, const char* text4, const char* text5,
                             const char* text6, const char* format, va_list* arguments,
                             std::int64_t timeMs, bool useLock) {
  if (!IsLevelWritten(level, level_)) return true;
  const LockHolder lock(useLock ? processLock_.get() : nullptr);
  if (useLock) {
    if (!lock) return true;
    // By the time of the record before: the one that crosses the mark is still written first.
    if (IsCheckDue(lastRecordTime_, lastCheckTime_) && CheckRollover()) {
      lastCheckTime_ = lastRecordTime_;
    }
  }
  if (headerPending_) {
    WriteHeader(kInfo, text1, text2, text3, text4, /*block=*/nullptr, /*useLock=*/false);
  }

  std::array<char, kMessageBufferBytes> buffer;
  const char* message = format == nullptr ? "" : format;
  if (format != nullptr && arguments != nullptr) {
    (void)FormatMessage(buffer.data(), buffer.size(), format, arguments);
    message = buffer.data();
  }
  line_.clear();
  FormatRecord({.separator = separator_,
                .logThreadId = logThreadId_,
                .maskedKeys = maskedKeys_,
                .lastRecordTime = lastRecordTime_,
                .timestampCache = timestampCache_},
               timeMs, level, {text1, text2, text3, text4, text5, text6}, message, line_);
  WriteLine(line_);
  return true;
}

void LogTargetDefault::WriteHeader(LogLevel level, const char* text1, const char* text2,
                                   const char* text3, const char* text4, const HeaderBlock* block,
                                   bool useLock) {
  headerPending_ = false;
  for (const std::string& line : HeaderLines(ChooseHeader(sessionHeader_, block))) {
    // Without arguments the line is the message, as it stands.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    (void)Write(level, text1, text2, text3, text4, nullptr, nullptr, line.c_str(),
                /*arguments=*/nullptr, /*timeMs=*/0, useLock);
#pragma GCC diagnostic pop
  }
}

bool LogTargetDefault::CheckRollover() {
  RefreshTimeZone();
  const std::string marker = ReadKeepLogsMarker(KeepLogsMarkerPath(filePath_));
  std::uint64_t size = 0;
  if (!fileutils::GetFileSize(filePath_, size)) return false;
  if (size < SizeLimit(level_)) return true;

  headerPending_ = true;
  // Only what went through the checks of the opening is rotated.
  if (!stream_.is_open()) (void)OpenStream(stream_);
  const platform::UniqueFd file = stream_.ShareDescriptor();
  if (stream_.good()) stream_.close();
  if (CopyLogFile(filePath_, file, MakeBackupName(filePath_))) {
    (void)TruncateLogFile(filePath_, file, stream_);
  }
  const bool reopened = OpenStream(stream_);
  if (!SaysKeepLogs(marker)) (void)PruneOldLogs(filePath_, kKeptDays);
  return reopened;
}

bool LogTargetDefault::BuildDefaultFilePath() {
  std::string path;
  if (!GetLogsFolderAsConsoleUser(path) || !fileutils::JoinPathComponent(path, fileName_)) {
    return false;
  }
  filePath_ = std::move(path);
  return true;
}

}  // namespace dunmar
