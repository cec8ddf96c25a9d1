#include "platform/checked_file.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/exclusive_rename.h"
#include "platform/file_creation.h"
#include "platform/interrupted_call.h"
#include "platform/system_calls.h"

namespace platform {

namespace {

constexpr int kFlags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
constexpr int kMaxAttempts = 3;

enum class Devices { kRefuse, kAllowCharacter };

int CheckKind(mode_t mode, Devices devices) {
  if (S_ISREG(mode)) return 0;
  if (S_ISCHR(mode) && devices == Devices::kAllowCharacter) return 0;
  return S_ISLNK(mode) ? ELOOP : EINVAL;
}

int LookAt(const LocatedItem& item, struct stat* status) {
  return Calls().fstatat(item.folder.Get(), item.name.c_str(), status, AT_SYMLINK_NOFOLLOW);
}

// Opens a file that is there, looked at before (opening a device can have effects of its own) and
// again through the descriptor, which is what counts.
int OpenExisting(const LocatedItem& item, int access, HardLinks hardLinks, Devices devices,
                 UniqueFd* fd) {
  struct stat status = {};
  if (LookAt(item, &status) != 0) return errno;
  int error = CheckKind(status.st_mode, devices);
  if (error != 0) return error;

  UniqueFd opened(RepeatInterrupted(
      [&] { return ::openat(item.folder.Get(), item.name.c_str(), access | kFlags); }));
  if (!opened || Calls().fstat(opened.Get(), &status) != 0) return errno;
  error = CheckKind(status.st_mode, devices);
  if (error != 0) return error;
  if (hardLinks == HardLinks::kRefuse && status.st_nlink > 1) return EMLINK;
  *fd = std::move(opened);
  return 0;
}

// Whether the opened file is what is here, with no other name. ENOENT where it is not.
int CheckOnlyName(const LocatedItem& item, const UniqueFd& opened) {
  struct stat status = {};
  struct stat here = {};
  if (::fstat(opened.Get(), &status) != 0 || LookAt(item, &here) != 0) return errno;
  if (here.st_dev != status.st_dev || here.st_ino != status.st_ino) return ENOENT;
  return here.st_nlink > 1 ? EMLINK : 0;
}

// How a file is opened that may be missing.
struct Terms {
  int access;
  HardLinks hardLinks;
  Devices devices;
  NewFileMode newFileMode;
};

int Create(const LocatedItem& item, const Terms& terms, UniqueFd* fd, int* modeError) {
  const int flags = terms.access | kFlags;
  return terms.newFileMode == NewFileMode::kEverybody
             ? CreateFileForEverybody(item, flags, fd, modeError)
             : CreateFile(item, flags, terms.newFileMode, fd, modeError);
}

// A file may come or go between the two looks; whoever makes that happen again and again is not
// waited for. `modeError` is that of the creation, 0 for a file that was there.
int OpenOrCreate(const LocatedItem& item, const Terms& terms, UniqueFd* fd, int* modeError) {
  if (item.mustBeFolder) return EISDIR;
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    UniqueFd opened;
    int error = OpenExisting(item, terms.access, terms.hardLinks, terms.devices, &opened);
    if (error == ENOENT) {
      error = Create(item, terms, fd, modeError);
      if (error != EEXIST) return error;
      continue;
    }
    if (error != 0) return error;
    if (terms.hardLinks == HardLinks::kRefuse) {
      // Somebody else's file, opened by a second name that was taken from it before the names were
      // counted, has one name too, so the file must be what is here. A rename over that name lowers
      // the count before the name goes. Looking does not wait until that rename is over; renaming
      // does, and to its own name, never replacing, it changes nothing.
      (void)RenameExclusively(item.folder.Get(), item.name.c_str(), item.name.c_str());
      error = CheckOnlyName(item, opened);
      if (error == ENOENT) continue;
      if (error != 0) return error;
    }
    *fd = std::move(opened);
    *modeError = 0;
    return 0;
  }
  return EEXIST;
}

}  // namespace

int OpenFileForReading(const std::string& path, UniqueFd* fd) {
  return OpenExistingFile(path, O_RDONLY, fd);
}

int OpenFileForReading(const LocatedItem& item, UniqueFd* fd) {
  return OpenExisting(item, O_RDONLY, HardLinks::kAllow, Devices::kRefuse, fd);
}

int OpenExistingFile(const std::string& path, int access, UniqueFd* fd) {
  LocatedItem item;
  const int error = LocateItem(path, LastLink::kFollow, &item);
  if (error != 0) return error;
  return OpenExisting(item, access, HardLinks::kAllow, Devices::kRefuse, fd);
}

int OpenFileForWriting(const LocatedItem& item, HardLinks hardLinks, UniqueFd* fd) {
  const Terms terms = {.access = O_WRONLY,
                       .hardLinks = hardLinks,
                       .devices = Devices::kRefuse,
                       .newFileMode = NewFileMode::kUnderUmask};
  int modeError = 0;
  return OpenOrCreate(item, terms, fd, &modeError);
}

int OpenFileForAppending(const LocatedItem& item, UniqueFd* fd, int* modeError) {
  const Terms terms = {.access = O_WRONLY | O_APPEND,
                       .hardLinks = HardLinks::kRefuse,
                       .devices = Devices::kAllowCharacter,
                       .newFileMode = NewFileMode::kEverybody};
  return OpenOrCreate(item, terms, fd, modeError);
}

int ReadWholeFile(const std::string& path, std::size_t maxBytes, std::string* content) {
  UniqueFd fd;
  const int error = OpenFileForReading(path, &fd);
  if (error != 0) return error;
  std::string bytes;
  std::array<char, 16384> chunk;
  for (;;) {
    const ssize_t count =
        RepeatInterrupted([&] { return ::read(fd.Get(), chunk.data(), chunk.size()); });
    if (count < 0) return errno;
    if (count == 0) break;
    if (static_cast<std::size_t>(count) > maxBytes - bytes.size()) return EFBIG;
    bytes.append(chunk.data(), static_cast<std::size_t>(count));
  }
  *content = std::move(bytes);
  return 0;
}

}  // namespace platform
