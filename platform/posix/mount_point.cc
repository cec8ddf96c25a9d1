#include "platform/mount_point.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/interrupted_call.h"
#include "platform/posix/mount_table.h"
#include "platform/unique_fd.h"

namespace platform {

namespace {

// Empty where there is no /proc.
std::string ReadMountInfo() {
  const UniqueFd fd(
      RepeatInterrupted([] { return ::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC); }));
  std::string text;
  std::array<char, 4096> chunk;
  for (;;) {
    const ssize_t count =
        RepeatInterrupted([&] { return ::read(fd.Get(), chunk.data(), chunk.size()); });
    if (count <= 0) return text;
    text.append(chunk.data(), static_cast<std::size_t>(count));
  }
}

int FindTopmostOnDevice(const std::string& path, const struct stat& item, std::string* topmost) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr),
                                                             &std::free);
  if (resolved == nullptr) return errno;
  std::string top = resolved.get();
  struct stat status = item;
  while (top != "/") {
    const std::size_t slash = top.rfind('/');
    std::string parent = slash == 0 ? "/" : top.substr(0, slash);
    const struct stat below = status;
    if (::stat(parent.c_str(), &status) != 0) return errno;
    // An overlay file system has one number for its folders, but tells that of a layer for a file.
    if (S_ISDIR(below.st_mode) && below.st_dev != status.st_dev) break;
    top = std::move(parent);
  }
  *topmost = std::move(top);
  return 0;
}

}  // namespace

int GetMountPoint(const std::string& path, std::string* mountPoint) {
  if (path.find('\0') != std::string::npos) return EINVAL;
  const UniqueFd item(RepeatInterrupted([&] { return ::open(path.c_str(), O_PATH | O_CLOEXEC); }));
  if (!item) return errno;
  std::uint64_t id = 0;
  if (GetMountId(item.Get(), &id) == 0 && FindMountPoint(ReadMountInfo(), id, mountPoint)) return 0;
  struct stat status = {};
  if (::fstat(item.Get(), &status) != 0) return errno;
  return FindTopmostOnDevice(path, status, mountPoint);
}

}  // namespace platform
