#include "platform/mount_point.h"

#include <cerrno>
#include <sys/mount.h>
#include <sys/param.h>

namespace platform {

int GetMountPoint(const std::string& path, std::string* mountPoint) {
  if (path.find('\0') != std::string::npos) return EINVAL;
  struct statfs status = {};
  if (::statfs(path.c_str(), &status) != 0) return errno;
  *mountPoint = status.f_mntonname;
  return 0;
}

}  // namespace platform
