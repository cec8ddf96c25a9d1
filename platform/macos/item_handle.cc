#include "platform/item_handle.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/interrupted_call.h"

namespace platform {

namespace {

UniqueFd OpenHandle(int folder, const char* name, int flags) {
  return UniqueFd(
      RepeatInterrupted([&] { return ::openat(folder, name, flags | O_NONBLOCK | O_CLOEXEC); }));
}

}  // namespace

int OpenItemHandle(int folder, const char* name, UniqueFd* handle) {
  // O_SYMLINK opens a link itself. O_EVTONLY is the weakest access there is: the descriptor neither
  // reads nor writes, and does not keep a volume from being unmounted.
  UniqueFd opened = OpenHandle(folder, name, O_EVTONLY | O_SYMLINK);
  if (!opened) return errno;
  *handle = std::move(opened);
  return 0;
}

int ReadLinkHandle(const UniqueFd& handle, std::string* text) {
  struct stat status = {};
  if (::fstat(handle.Get(), &status) != 0) return errno;
  if (!S_ISLNK(status.st_mode)) return EINVAL;
  // By the numbers of the volume and of the link on it, so that it is this very link whatever has
  // its name by now: freadlink(2) is younger than the systems that this runs on.
  const std::string path =
      "/.vol/" + std::to_string(status.st_dev) + "/" + std::to_string(status.st_ino);
  std::string buffer(PATH_MAX, '\0');
  const ssize_t length = ::readlink(path.c_str(), buffer.data(), buffer.size());
  if (length < 0) return errno;
  buffer.resize(static_cast<std::size_t>(length));
  *text = std::move(buffer);
  return 0;
}

}  // namespace platform
