#include "fileutils/volume.h"

#include <cerrno>
#include <optional>
#include <string>
#include <utility>

#include "platform/mount_point.h"
#include "platform/path_text.h"

namespace fileutils {

bool GetVolumeRoot(const std::string& path, std::string& mountPoint) {
  std::string current = path;
  while (current.starts_with('/')) {
    const int error = platform::GetMountPoint(current, &mountPoint);
    if (error == 0) return true;
    if (error != ENOENT && error != ENAMETOOLONG) return false;
    std::optional<std::string> parent = platform::DeletingLastPathComponent(current);
    if (!parent || *parent == current) return false;
    current = *std::move(parent);
  }
  return false;
}

}  // namespace fileutils
