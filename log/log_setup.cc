#include "log/log_setup.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <sys/types.h>
#include <utility>

#include "fileutils/console_user.h"
#include "fileutils/foundation_paths.h"
#include "fileutils/items.h"
#include "fileutils/path_kind.h"
#include "fileutils/paths.h"
#include "fileutils/well_known_paths.h"
#include "log/api/level.h"
#include "log/file_stream.h"
#include "log/log_target_base.h"
#include "platform/console_user.h"
#include "platform/host.h"
#include "platform/path_walk.h"
#include "platform/process_identity.h"
#include "platform/system_calls.h"
#include "platform/unique_fd.h"

namespace dunmar {

namespace {

// Makes the process another user for the life of the object, and what it was before afterwards.
class EffectiveUserSwitch {
 public:
  explicit EffectiveUserSwitch(uid_t user)
      : savedUser_(platform::CurrentHost().identity->EffectiveUser()),
        switched_(platform::CurrentHost().identity->SetEffectiveUser(user) == 0) {}
  ~EffectiveUserSwitch() {
    if (switched_) platform::RestoreEffectiveUser(*platform::CurrentHost().identity, savedUser_);
  }
  EffectiveUserSwitch(const EffectiveUserSwitch&) = delete;
  EffectiveUserSwitch& operator=(const EffectiveUserSwitch&) = delete;

  [[nodiscard]] bool IsSwitched() const { return switched_; }

 private:
  uid_t savedUser_;
  bool switched_;
};

[[nodiscard]] bool MakeLogsFolder(const std::string& home, std::string& out) {
  // An empty home would make /Library and /Library/Logs.
  if (home.empty()) return false;
  std::string path = home;
  for (const char* const folder : {"/Library", "/Logs"}) {
    path += folder;
    const int error = platform::MakeFolder(path, 0700);
    if (error != 0 && error != EEXIST) return false;
  }
  out = std::move(path);
  return true;
}

LevelMarker FindMarker(const std::string& logs, const std::string& fileName) {
  std::string name = fileName;
  if (!fileutils::ReplacePathExtension(name, "trace")) return LevelMarker::kNoMarker;
  std::string path = logs;
  if (!fileutils::JoinPathComponent(path, name)) return LevelMarker::kNoMarker;
  if (fileutils::IsExistingFile(path)) return LevelMarker::kTraceMarker;
  if (fileutils::ReplacePathExtension(path, "debug") && fileutils::IsExistingFile(path)) {
    return LevelMarker::kDebugMarker;
  }
  if (!fileutils::RemoveLastPathComponent(path) ||
      !fileutils::JoinPathComponent(path, "kobb.trace")) {
    return LevelMarker::kNoMarker;
  }
  if (fileutils::IsExistingFile(path)) return LevelMarker::kTraceMarker;
  if (!fileutils::RemoveLastPathComponent(path) ||
      !fileutils::JoinPathComponent(path, "kobb.debug")) {
    return LevelMarker::kNoMarker;
  }
  return fileutils::IsExistingFile(path) ? LevelMarker::kDebugMarker : LevelMarker::kNoMarker;
}

// Root makes the product's folders, but programs of every user log into them. A link that somebody
// has put in the place of one must not hand over what it leads to.
void HandOver(const std::string& folder, const platform::ConsoleUser& user) {
  platform::UniqueFd handle;
  if (platform::OpenOwnFolderItself(folder, &handle) != 0) return;
  // A log can be written without, by root at least.
  (void)platform::Calls().fchown(handle.Get(), user.uid, user.gid);
  (void)platform::Calls().fchmod(handle.Get(), 0777);
}

// Without a logs folder the path goes on from whatever it held. False, nothing changed, without a
// home.
[[nodiscard]] bool MakeProductFolder(std::string& path) {
  std::string home;
  const bool hasAsked = GetHomeAsConsoleUser(home);
  if (hasAsked && home.empty()) return false;
  const bool hasLogs = hasAsked && MakeLogsFolder(home, path);
  const std::size_t begin = hasLogs ? path.size() : 0;
  path += "/Caldris/Ixer";
  if (fileutils::IsExistingDirectory(path)) return true;

  // One by one, so that no link of the user's leads a folder of root's elsewhere. Where this fails
  // the log file cannot be opened either, which is what the caller is told.
  for (std::size_t end = path.find('/', begin + 1); end != std::string::npos;
       end = path.find('/', end + 1)) {
    (void)platform::MakeFolder(path.substr(0, end), 0777);
  }
  const std::optional<platform::ConsoleUser> user = fileutils::FindConsoleUser();
  if (user) {
    std::string outer;
    (void)GetLogsFolderAsConsoleUser(outer);
    // Before *Ixer* is made in it: the umask may have kept us out of what we just made.
    HandOver(outer + "/Caldris", *user);
  }
  (void)platform::MakeFolder(path, 0777);
  if (user) HandOver(path, *user);
  return true;
}

}  // namespace

LogLevel ChooseLevel(LogLevel requested, LevelMarker marker) {
  switch (marker) {
    case LevelMarker::kTraceMarker:
      return kTrace;
    case LevelMarker::kDebugMarker:
      return std::min(requested, kDebug);
    case LevelMarker::kNoMarker:
      break;
  }
  return requested;
}

void SetLevel(LogTargetBase& target, LogLevel level) {
  target.level_ = level;
  std::string logs;
  if (!GetConsoleUserLogsFolder(logs) && !GetLogsFolderAsConsoleUser(logs)) return;
  target.level_ = ChooseLevel(level, FindMarker(logs, target.fileName_));
}

bool SetLogFile(LogTargetBase& target, const char* fileName, const char* folder) {
  const bool isCustom = fileName != nullptr && *fileName != '\0';
  const std::string name = isCustom ? fileName : target.fileName_;
  bool hasFolder = true;
  if (folder != nullptr && *folder != '\0') {
    target.filePath_ = folder;
  } else {
    hasFolder = MakeProductFolder(target.filePath_);
  }
  if (!hasFolder || (isCustom && !fileutils::IsBareName(name)) ||
      !fileutils::JoinPathComponent(target.filePath_, name)) {
    target.enabled_ = false;
    return false;
  }
  (void)fileutils::GetFileName(target.filePath_, target.fileName_);
  if (target.isOpen_) {
    target.enabled_ = target.OpenStream(target.stream_);
    return target.enabled_;
  }
  FileStream once;
  target.enabled_ = target.OpenStream(once);
  if (target.enabled_ && once.good()) once.close();
  return target.enabled_;
}

bool GetConsoleUserLogsFolder(std::string& out) {
  std::string home;
  (void)fileutils::GetWellKnownPath(fileutils::kConsoleUserHome, home);
  return MakeLogsFolder(home, out);
}

bool GetLogsFolderAsConsoleUser(std::string& out) {
  std::string home;
  return GetHomeAsConsoleUser(home) && MakeLogsFolder(home, out);
}

bool GetHomeAsConsoleUser(std::string& out) {
  const std::optional<platform::ConsoleUser> user = fileutils::FindConsoleUser();
  if (!user || user->uid == platform::CurrentHost().identity->EffectiveUser()) {
    (void)fileutils::GetWellKnownPath(fileutils::kHome, out);
    return true;
  }
  const EffectiveUserSwitch asConsoleUser(user->uid);
  if (!asConsoleUser.IsSwitched()) return false;
  (void)fileutils::GetWellKnownPath(fileutils::kHome, out);
  return true;
}

}  // namespace dunmar
