#include "fileutils/create_directory.h"

#include <string>
#include <sys/stat.h>
#include <utility>

#include "fileutils/items.h"
#include "fileutils/log_hooks.h"
#include "fileutils/paths.h"
#include "log/api/abstract_logger.h"
#include "log/api/level.h"
#include "platform/folder_creation.h"

namespace fileutils {

bool CreateDirectory(const std::string& path, bool shouldSetPermission,
                     dunmar::AbstractLogger* logger) {
  platform::FolderAttributes attributes;
  if (shouldSetPermission) {
    const std::string ancestor = FindExistingAncestor(path);
    FILEUTILS_LOG(logger, dunmar::kInfo, "FileUtils",
                  " shouldSetPermission is true, parent folder found  =  %s ", ancestor.c_str());
    struct stat status = {};
    if (::lstat(ancestor.c_str(), &status) == 0 && !S_ISLNK(status.st_mode)) {
      FILEUTILS_LOG(logger, dunmar::kInfo, "FileUtils",
                    "shouldSetPermission is true,owner =%d,group =%d",
                    static_cast<int>(status.st_uid), static_cast<int>(status.st_gid));
      attributes.owner = status.st_uid;
      attributes.group = status.st_gid;
      attributes.onlyBelowSameOwner = true;
    }
    attributes.mode = 0775;
  }
  std::string errorText;
  if (platform::CreateFolder(path, shouldSetPermission ? &attributes : nullptr, &errorText)) {
    return true;
  }
// Embedders get the description as an argument that the text does not print.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-extra-args"
  FILEUTILS_LOG(logger, dunmar::kError, "FileUtils", "Failed to create directory at path ex %s ",
                path.c_str(), errorText.c_str());
#pragma GCC diagnostic pop
  return false;
}

std::string FindExistingAncestor(const std::string& path) {
  std::string current = path;
  while (!PathExists(current)) {
    std::string parent = current;
    if (!GetParentPath(parent) || parent == current) break;
    current = std::move(parent);
  }
  return current;
}

}  // namespace fileutils
