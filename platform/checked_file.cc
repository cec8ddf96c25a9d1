#include "platform/checked_file.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/interrupted_call.h"

namespace platform {

namespace {

constexpr int kFlags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
constexpr int kMaxAttempts = 3;
constexpr mode_t kNewFileMode = 0666;

int CheckKind(mode_t mode) {
  if (S_ISREG(mode)) return 0;
  return S_ISLNK(mode) ? ELOOP : EINVAL;
}

// Opens a file that is there, looked at before (opening a device can have effects of its own) and
// again through the descriptor, which is what counts.
int OpenExisting(const LocatedItem& item, int access, HardLinks hardLinks, UniqueFd* fd) {
  struct stat status = {};
  if (::fstatat(item.folder.Get(), item.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno;
  }
  int error = CheckKind(status.st_mode);
  if (error != 0) return error;

  UniqueFd opened(RepeatInterrupted(
      [&] { return ::openat(item.folder.Get(), item.name.c_str(), access | kFlags); }));
  if (!opened || ::fstat(opened.Get(), &status) != 0) return errno;
  error = CheckKind(status.st_mode);
  if (error != 0) return error;
  if (hardLinks == HardLinks::kRefuse && status.st_nlink > 1) return EMLINK;
  *fd = std::move(opened);
  return 0;
}

int CreateNew(const LocatedItem& item, UniqueFd* fd) {
  UniqueFd opened(RepeatInterrupted([&] {
    return ::openat(item.folder.Get(), item.name.c_str(), O_WRONLY | O_CREAT | O_EXCL | kFlags,
                    kNewFileMode);
  }));
  if (!opened) return errno;
  *fd = std::move(opened);
  return 0;
}

}  // namespace

int OpenFileForReading(const std::string& path, UniqueFd* fd) {
  LocatedItem item;
  const int error = LocateItem(path, LastLink::kFollow, &item);
  if (error != 0) return error;
  return OpenFileForReading(item, fd);
}

int OpenFileForReading(const LocatedItem& item, UniqueFd* fd) {
  return OpenExisting(item, O_RDONLY, HardLinks::kAllow, fd);
}

int OpenFileForWriting(const LocatedItem& item, HardLinks hardLinks, UniqueFd* fd) {
  if (item.mustBeFolder) return EISDIR;
  // A file may come or go between the two looks; whoever makes that happen again and again is not
  // waited for.
  int error = 0;
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    error = OpenExisting(item, O_WRONLY, hardLinks, fd);
    if (error != ENOENT) return error;
    error = CreateNew(item, fd);
    if (error != EEXIST) return error;
  }
  return error;
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
