#include "hook/cef_folder.h"

#include <string>

#include "fileutils/delete_directory.h"
#include "fileutils/items.h"
#include "fileutils/paths.h"
#include "fileutils/well_known_paths.h"

namespace hook {

bool DeleteCEFFolder() {
  std::string path;
  (void)fileutils::GetWellKnownPath(fileutils::kCaldrisUtilityAlt, path);
  (void)fileutils::AppendPathComponent(path, "CEF");
  if (fileutils::PathExists(path)) {
    (void)fileutils::DeleteDirectory(path, /*recursive=*/true, /*unusedFlag=*/true,
                                     /*logger=*/nullptr, /*logSuccess=*/true,
                                     /*checkSpecialPath=*/true);
  }
  return true;
}

}  // namespace hook
