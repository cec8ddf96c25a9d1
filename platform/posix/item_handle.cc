#include "platform/posix/item_handle.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/interrupted_call.h"
#include "platform/item_handle.h"

namespace platform {

namespace {

UniqueFd OpenHandle(int folder, const char* name, int flags) {
  return UniqueFd(RepeatInterrupted(
      [&] { return ::openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC | flags); }));
}

}  // namespace

int OpenItemHandle(int folder, const char* name, UniqueFd* handle) {
  // As a folder first: only then does the kernel attach what is mounted there on demand.
  UniqueFd opened = OpenHandle(folder, name, O_DIRECTORY);
  if (!opened && errno == ENOTDIR) opened = OpenHandle(folder, name, 0);
  if (!opened) return errno;
  *handle = std::move(opened);
  return 0;
}

int ExamineItem(int folder, const char* name, UniqueFd* handle, struct stat* status) {
  UniqueFd opened;
  const int error = OpenItemHandle(folder, name, &opened);
  if (error != 0) return error;
  struct stat found = {};
  if (::fstat(opened.Get(), &found) != 0) return errno;
  *handle = std::move(opened);
  *status = found;
  return 0;
}

int ReadLinkHandle(const UniqueFd& handle, std::string* text) {
  std::string buffer(PATH_MAX, '\0');
  for (;;) {
    const ssize_t length = ::readlinkat(handle.Get(), "", buffer.data(), buffer.size());
    // The kernel's answer to an empty name where the handle is on anything but a link.
    if (length < 0) return errno == ENOENT ? EINVAL : errno;
    if (static_cast<std::size_t>(length) < buffer.size()) {
      buffer.resize(static_cast<std::size_t>(length));
      *text = std::move(buffer);
      return 0;
    }
    buffer.resize(buffer.size() * 2);
  }
}

}  // namespace platform
