#include "platform/item_handle.h"

#include <cerrno>
#include <climits>
#include <cstddef>
#include <dlfcn.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/interrupted_call.h"

namespace platform {

namespace {

#ifdef O_SEARCH
constexpr int kSearchFolder = O_SEARCH;
#else
// Its value since macOS 13. Kernels before that see only the request for a folder.
constexpr int kSearchFolder = 0x40000000 | O_DIRECTORY;
#endif

UniqueFd Open(int folder, const char* name, int flags) {
  return UniqueFd(RepeatInterrupted(
      [&] { return ::openat(folder, name, flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
}

// freadlink(2) came with macOS 13, so it is looked for while the program runs.
ssize_t ReadLink(int handle, const struct stat& status, std::string* buffer) {
  using ReadByHandle = ssize_t (*)(int, char*, std::size_t);
  static const auto readByHandle =
      reinterpret_cast<ReadByHandle>(::dlsym(RTLD_DEFAULT, "freadlink"));
  if (readByHandle != nullptr) return readByHandle(handle, buffer->data(), buffer->size());
  // Before, by the numbers of the volume and of the link on it, which the kernel turns into a path
  // and follows at once: another link may take the name just then. One that is gone cannot be read.
  const std::string path =
      "/.vol/" + std::to_string(status.st_dev) + "/" + std::to_string(status.st_ino);
  return ::readlink(path.c_str(), buffer->data(), buffer->size());
}

}  // namespace

int ExamineItem(int folder, const char* name, UniqueFd* handle, struct stat* status) {
  struct stat found = {};
  if (::fstatat(folder, name, &found, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  UniqueFd opened;
  // A handle here is the item opened, which a device would feel and a FIFO's other end.
  if (S_ISDIR(found.st_mode) || S_ISLNK(found.st_mode)) {
    // O_SYMLINK opens a link itself. O_EVTONLY does not keep a volume from being unmounted; it asks
    // for the right to read.
    opened = Open(folder, name, O_EVTONLY | O_SYMLINK);
    if (!opened && errno == EACCES && S_ISDIR(found.st_mode)) {
      opened = Open(folder, name, kSearchFolder | O_NOFOLLOW);
    }
    if (!opened || ::fstat(opened.Get(), &found) != 0) return errno;
  }
  *handle = std::move(opened);
  *status = found;
  return 0;
}

int ReadLinkHandle(const UniqueFd& handle, std::string* text) {
  struct stat status = {};
  if (::fstat(handle.Get(), &status) != 0) return errno;
  if (!S_ISLNK(status.st_mode)) return EINVAL;
  std::string buffer(PATH_MAX, '\0');
  const ssize_t length = ReadLink(handle.Get(), status, &buffer);
  if (length < 0) return errno;
  buffer.resize(static_cast<std::size_t>(length));
  *text = std::move(buffer);
  return 0;
}

}  // namespace platform
