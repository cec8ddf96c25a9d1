#include "fileutils/delete_directory.h"

#include <string>
#include <vector>

#include "fileutils/log_hooks.h"
#include "fileutils/special_paths.h"
#include "log/api/abstract_logger.h"
#include "log/api/level.h"
#include "platform/folder_listing.h"
#include "platform/item_removal.h"

namespace fileutils {

bool DeleteDirectory(const std::string& path, bool recursive, bool /*unusedFlag*/,
                     dunmar::AbstractLogger* logger, bool logSuccess, bool checkSpecialPath) {
  if (path.empty()) return false;
  if (checkSpecialPath && IsSpecialPath(path, nullptr)) {
    FILEUTILS_LOG(logger, dunmar::kWarn, "FileUtils",
                  "Directory to delete: %s is a special path, skipping.", path.c_str());
    return false;
  }
  if (!recursive) {
    std::vector<std::string> names;
    // What cannot be listed, a single file above all, counts as empty. The removal is that of an
    // empty directory all the same.
    (void)platform::ListFolder(path, &names);
    if (!names.empty()) return false;
  }
  std::string errorText;
  const bool isRemoved = recursive ? platform::RemoveItem(path, &errorText)
                                   : platform::RemoveSingleItem(path, &errorText);
  if (!isRemoved) {
    FILEUTILS_LOG(logger, dunmar::kWarn, "FileUtils", "Failed to remove file. Error: %s",
                  errorText.c_str());
    return false;
  }
  if (logSuccess) {
    FILEUTILS_LOG(logger, dunmar::kInfo, "FileUtils",
                  "Successfully deleted directory from path: %s. Recursive: %d", path.c_str(),
                  recursive ? 1 : 0);
  }
  return true;
}

}  // namespace fileutils
