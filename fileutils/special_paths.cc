#include "fileutils/special_paths.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "fileutils/log_hooks.h"
#include "fileutils/volume.h"
#include "fileutils/well_known_paths.h"
#include "log/api/abstract_logger.h"
#include "log/api/level.h"

namespace fileutils {

bool IsVolumeRoot(const std::string& path) {
  std::string mountPoint;
  return GetVolumeRoot(path, mountPoint) && mountPoint == path;
}

void GetSpecialPaths(std::vector<std::string>& paths) {
  paths.insert(paths.end(), {"/Applications", "/Library", "/Library/Application Support",
                             "/Library/Preferences", "/System", "/Users", "/usr", "/var", "/bin",
                             "/sbin", "/etc", "/private", "/usr/local"});
  std::string home;
  GetUserHomeDirectory(home);
  if (!home.empty()) paths.push_back(std::move(home));
}

bool IsSpecialPath(const std::string& path, dunmar::AbstractLogger* logger) {
  if (IsVolumeRoot(path)) {
    FILEUTILS_LOG(logger, dunmar::kWarn, "FileUtils", "Path %s is a special path: Volume Root",
                  path.c_str());
    return true;
  }
  std::vector<std::string> specialPaths;
  GetSpecialPaths(specialPaths);
  if (std::find(specialPaths.begin(), specialPaths.end(), path) == specialPaths.end()) return false;
  FILEUTILS_LOG(logger, dunmar::kWarn, "FileUtils", "Path %s is a special path: System path",
                path.c_str());
  return true;
}

}  // namespace fileutils
