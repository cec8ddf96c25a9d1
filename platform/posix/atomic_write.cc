#include "platform/atomic_write.h"

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/interrupted_call.h"
#include "platform/path_walk.h"
#include "platform/posix/atomic_write_at.h"
#include "platform/posix/directory_stream.h"
#include "platform/system_calls.h"
#include "platform/unique_fd.h"
#include "platform/write_all.h"

// A writer holds a lock (flock) on its temporary file from its making until it is the target or
// gone. The lock dies with the process, so a temporary file that can be locked is a dead process's,
// whatever became of process numbers. Where the file system knows no locks none can be had, and
// nothing is taken for a leftover.

namespace platform {

namespace {

constexpr std::string_view kTemporaryPrefix = ".zint-write-";
constexpr std::size_t kTemporaryDigits = 16;
// Each attempt can fall to the scan of another living writer, so there are more of them than such
// writers ever are; they end because somebody hostile could go on for ever.
constexpr int kMaxAttempts = 100;
constexpr mode_t kPermissionBits = 0777;
constexpr mode_t kNewFileMode = 0666;
constexpr mode_t kPrivateMode = 0600;

int MakeTemporaryName(std::string* name) {
  std::uint64_t random = 0;
  if (::getentropy(&random, sizeof random) != 0) return errno;
  std::array<char, kTemporaryDigits + 1> digits = {};
  (void)std::snprintf(digits.data(), digits.size(), "%016" PRIx64, random);
  *name = std::string(kTemporaryPrefix).append(digits.data());
  return 0;
}

bool IsTemporaryName(std::string_view name) {
  return name.size() == kTemporaryPrefix.size() + kTemporaryDigits &&
         name.starts_with(kTemporaryPrefix) &&
         name.find_first_not_of("0123456789abcdef", kTemporaryPrefix.size()) ==
             std::string_view::npos;
}

void RemoveLeftovers(const std::string& target, DirectoryStream* folder) {
  const char* name = nullptr;
  unsigned char type = 0;
  while (folder->Next(&name, &type) == 0 && name != nullptr) {
    if (!IsTemporaryName(name) || name == target) continue;
    const UniqueFd file(RepeatInterrupted([&] {
      return ::openat(folder->Fd(), name,
                      O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    }));
    struct stat status = {};
    if (!file || ::fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) continue;
    // Removed under the lock, so that a writer that has made the file but not locked it yet
    // notices.
    if (::flock(file.Get(), LOCK_EX | LOCK_NB) == 0) {
      (void)Calls().unlinkat(folder->Fd(), name, 0);
    }
  }
}

// The mode that the new file is to keep: of a regular file at `name`, none where that is missing or
// a link.
int ExamineTarget(int folder, const char* name, std::optional<mode_t>* mode) {
  struct stat status = {};
  if (::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno == ENOENT ? 0 : errno;
  }
  if (S_ISDIR(status.st_mode)) return EISDIR;
  if (S_ISREG(status.st_mode)) {
    *mode = status.st_mode & kPermissionBits;
    return 0;
  }
  return S_ISLNK(status.st_mode) ? 0 : EINVAL;
}

int Sync(int fd) {
  // EINVAL: the file system has nothing to sync here.
  return Calls().fsync(fd) == 0 || errno == EINVAL ? 0 : errno;
}

// A file beside the target, removed at the end of the scope unless it has become the target.
class TemporaryFile {
 public:
  explicit TemporaryFile(int folder) : folder_(folder) {}
  ~TemporaryFile() { Remove(); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  [[nodiscard]] int Create(mode_t mode);
  [[nodiscard]] int Write(std::string_view content) { return WriteAll(file_.Get(), content); }
  // `mode`: no value for the one that it was created with.
  [[nodiscard]] int Finish(std::optional<mode_t> mode);
  [[nodiscard]] int MoveTo(const std::string& target);

 private:
  [[nodiscard]] int TryToCreate(mode_t mode);
  void Remove();

  const int folder_;
  std::string name_;  // empty while there is no file
  UniqueFd file_;
  // Keeps the lock when `file_` is closed: it belongs to what was opened, not to a descriptor.
  UniqueFd lock_;
};

int TemporaryFile::Create(mode_t mode) {
  int error = EAGAIN;
  for (int i = 0; i < kMaxAttempts && (error == EAGAIN || error == EEXIST); ++i) {
    Remove();
    error = TryToCreate(mode);
  }
  return error;
}

// EAGAIN: another process took the new file for a leftover before it was locked.
int TemporaryFile::TryToCreate(mode_t mode) {
  std::string name;
  const int error = MakeTemporaryName(&name);
  if (error != 0) return error;
  file_.Reset(RepeatInterrupted([&] {
    return ::openat(folder_, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                    mode);
  }));
  if (!file_) return errno;
  name_ = std::move(name);
  if (::flock(file_.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return EAGAIN;
  struct stat status = {};
  if (::fstat(file_.Get(), &status) != 0) return errno;
  if (status.st_nlink == 0) return EAGAIN;
  lock_.Reset(::fcntl(file_.Get(), F_DUPFD_CLOEXEC, 0));
  return lock_ ? 0 : errno;
}

int TemporaryFile::Finish(std::optional<mode_t> mode) {
  if (mode && Calls().fchmod(file_.Get(), *mode) != 0) return errno;
  const int error = Sync(file_.Get());
  if (error != 0) return error;
  return Calls().close(file_.Release()) == 0 ? 0 : errno;
}

int TemporaryFile::MoveTo(const std::string& target) {
  if (Calls().renameat(folder_, name_.c_str(), folder_, target.c_str()) != 0) return errno;
  name_.clear();
  return 0;
}

void TemporaryFile::Remove() {
  if (!name_.empty()) (void)Calls().unlinkat(folder_, name_.c_str(), 0);
  name_.clear();
}

}  // namespace

int WriteFileAtomicallyAt(int folder, const std::string& name, std::string_view content) {
  std::optional<mode_t> mode;
  int error = ExamineTarget(folder, name.c_str(), &mode);
  if (error != 0) return error;

  // Opened before anything is changed: what the sync at the end needs cannot be lacking then. A
  // folder that may be written but not read has neither clean-up nor sync.
  DirectoryStream entries;
  error = entries.Open(folder, ".");
  if (error != 0 && error != EACCES) return error;
  const bool isReadable = error == 0;
  if (isReadable) RemoveLeftovers(name, &entries);

  TemporaryFile file(folder);
  error = file.Create(mode ? kPrivateMode : kNewFileMode);
  if (error == 0) error = file.Write(content);
  if (error == 0) error = file.Finish(mode);
  if (error == 0) error = file.MoveTo(name);
  if (error == 0 && isReadable) error = Sync(entries.Fd());
  return error;
}

bool WriteFileAtomically(const std::string& path, std::string_view content) {
  LocatedItem item;
  return LocateItem(path, LastLink::kLeave, &item) == 0 && WriteFileAtomically(item, content);
}

bool WriteFileAtomically(const LocatedItem& item, std::string_view content) {
  return !item.mustBeFolder && WriteFileAtomicallyAt(item.folder.Get(), item.name, content) == 0;
}

}  // namespace platform
