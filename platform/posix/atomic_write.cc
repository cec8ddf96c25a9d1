#include "platform/atomic_write.h"

#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/directory_stream.h"
#include "platform/interrupted_call.h"
#include "platform/path_walk.h"
#include "platform/posix/atomic_write_at.h"
#include "platform/system_calls.h"
#include "platform/temporary_name.h"
#include "platform/unique_fd.h"
#include "platform/write_all.h"

// A writer holds a lock (flock) on its temporary file from its making until it is the target or
// gone. The lock dies with the process, so a temporary file that can be locked is a dead process's,
// whatever became of process numbers. Where the file system knows no locks none can be had, and
// nothing is taken for a leftover.

namespace platform {

namespace {

constexpr std::string_view kTemporaryPrefix = ".zint-write-";
// Each attempt can fall to the scan of another living writer, so there are more of them than such
// writers ever are; they end because somebody hostile could go on for ever.
constexpr int kMaxAttempts = 100;
// How an attempt to make a temporary file ended. Lost: the name is somebody else's, or another
// writer took the new file for a leftover before it was locked.
enum class Attempt { kMade, kLost, kFailed };
constexpr mode_t kPermissionBits = 0777;
constexpr mode_t kNewFileMode = 0666;
constexpr mode_t kPrivateMode = 0600;

void RemoveLeftovers(const std::string& target, DirectoryStream* folder) {
  const char* name = nullptr;
  unsigned char type = 0;
  while (folder->Next(&name, &type) == 0 && name != nullptr) {
    if (!IsTemporaryName(kTemporaryPrefix, name) || name == target) continue;
    const UniqueFd file(RepeatInterrupted([&] {
      return ::openat(folder->Fd(), name,
                      O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    }));
    struct stat status = {};
    if (!file || ::fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) continue;
    // Removed under the lock, so that a writer that has made the file but not locked it yet
    // notices.
    if (Calls().flock(file.Get(), LOCK_EX | LOCK_NB) == 0) {
      (void)Calls().unlinkat(folder->Fd(), name, 0);
    }
  }
}

// Whether the entry `name` may be replaced: it is missing, a link, or a regular file, whose mode
// the new one is to keep.
bool ExamineTarget(int folder, const char* name, std::optional<mode_t>* mode) {
  struct stat status = {};
  if (::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT;
  if (S_ISREG(status.st_mode)) *mode = status.st_mode & kPermissionBits;
  return S_ISREG(status.st_mode) || S_ISLNK(status.st_mode);
}

bool Sync(int fd) {
  // EINVAL: the file system has nothing to sync here.
  return Calls().fsync(fd) == 0 || errno == EINVAL;
}

// A file beside the target, removed at the end of the scope unless it has become the target.
class TemporaryFile {
 public:
  explicit TemporaryFile(int folder) : folder_(folder) {}
  ~TemporaryFile() { Remove(); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  [[nodiscard]] bool Create(mode_t mode);
  [[nodiscard]] bool Write(std::string_view content) { return WriteAll(file_.Get(), content) == 0; }
  // `mode`: no value for the one that it was created with.
  [[nodiscard]] bool Finish(std::optional<mode_t> mode);
  [[nodiscard]] bool MoveTo(const std::string& target);

 private:
  [[nodiscard]] Attempt TryToCreate(mode_t mode);
  void Remove();

  const int folder_;
  std::string name_;  // empty while there is no file
  UniqueFd file_;
  // Keeps the lock when `file_` is closed: it belongs to what was opened, not to a descriptor.
  UniqueFd lock_;
};

bool TemporaryFile::Create(mode_t mode) {
  Attempt attempt = Attempt::kLost;
  for (int i = 0; i < kMaxAttempts && attempt == Attempt::kLost; ++i) {
    Remove();
    attempt = TryToCreate(mode);
  }
  return attempt == Attempt::kMade;
}

Attempt TemporaryFile::TryToCreate(mode_t mode) {
  std::string name;
  if (!MakeTemporaryName(kTemporaryPrefix, &name)) return Attempt::kFailed;
  // Follows no link: with O_EXCL one that has the name already makes the call fail.
  file_.Reset(RepeatInterrupted([&] {
    return ::openat(folder_, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  }));
  if (!file_) return errno == EEXIST ? Attempt::kLost : Attempt::kFailed;
  name_ = std::move(name);
  if (Calls().flock(file_.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    return Attempt::kLost;
  }
  struct stat status = {};
  if (Calls().fstat(file_.Get(), &status) != 0) return Attempt::kFailed;
  if (status.st_nlink == 0) return Attempt::kLost;
  lock_.Reset(::fcntl(file_.Get(), F_DUPFD_CLOEXEC, 0));
  return lock_ ? Attempt::kMade : Attempt::kFailed;
}

bool TemporaryFile::Finish(std::optional<mode_t> mode) {
  return (!mode || Calls().fchmod(file_.Get(), *mode) == 0) && Sync(file_.Get()) &&
         Calls().close(file_.Release()) == 0;
}

bool TemporaryFile::MoveTo(const std::string& target) {
  if (Calls().renameat(folder_, name_.c_str(), folder_, target.c_str()) != 0) return false;
  name_.clear();
  return true;
}

void TemporaryFile::Remove() {
  if (!name_.empty()) (void)Calls().unlinkat(folder_, name_.c_str(), 0);
  name_.clear();
}

}  // namespace

bool WriteFileAtomicallyAt(int folder, const std::string& name, std::string_view content) {
  std::optional<mode_t> mode;
  if (!ExamineTarget(folder, name.c_str(), &mode)) return false;

  // Opened before anything is changed: what the sync at the end needs cannot be lacking then. A
  // folder that may be written but not read has neither clean-up nor sync.
  DirectoryStream entries;
  const int error = entries.Open(folder, ".");
  if (error != 0 && error != EACCES) return false;
  const bool isReadable = error == 0;
  if (isReadable) RemoveLeftovers(name, &entries);

  TemporaryFile file(folder);
  return file.Create(mode ? kPrivateMode : kNewFileMode) && file.Write(content) &&
         file.Finish(mode) && file.MoveTo(name) && (!isReadable || Sync(entries.Fd()));
}

bool WriteFileAtomically(const std::string& path, std::string_view content) {
  LocatedItem item;
  return LocateItem(path, LastLink::kLeave, &item) == 0 && WriteFileAtomically(item, content);
}

bool WriteFileAtomically(const LocatedItem& item, std::string_view content) {
  return !item.mustBeFolder && WriteFileAtomicallyAt(item.folder.Get(), item.name, content);
}

}  // namespace platform
