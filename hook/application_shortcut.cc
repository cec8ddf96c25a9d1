#include "hook/application_shortcut.h"

#include <utility>

#include "fileutils/create_directory.h"
#include "fileutils/items.h"
#include "fileutils/path_kind.h"
#include "fileutils/paths.h"
#include "fileutils/well_known_paths.h"
#include "hook/hook_log.h"
#include "log/api/level.h"
#include "platform/host.h"
#include "platform/symbolic_link.h"

namespace hook {

namespace {

constexpr const char* kShortcutName = "Velmora Caldris";

std::string IconFile() {
  std::string path;
  (void)fileutils::GetWellKnownPath(fileutils::kProgramParent, path);
  (void)fileutils::AppendPathComponent(path, "Caldris.app");
  (void)fileutils::AppendPathComponent(path, "Contents");
  (void)fileutils::AppendPathComponent(path, "Resources");
  (void)fileutils::AppendPathComponent(path, "CaldrisApplicationFolder.icns");
  return path;
}

std::string LinkDestination() {
  std::string path;
  (void)fileutils::GetWellKnownPath(fileutils::kCaldrisUtilityAlt, path);
  (void)fileutils::AppendPathComponent(path, "Ixer");
  (void)fileutils::AppendPathComponent(path, "Caldris.app");
  return path;
}

}  // namespace

bool GetZintShortcutPath(std::string& path) {
  std::string shortcut;
  if (!fileutils::GetWellKnownPath(fileutils::kApplications, shortcut)) {
    HOOK_LOG(dunmar::kError, "Inside GetZintShortcutPath | Unable to get the Zint shortcut path");
    return false;
  }
  // Once for the folder, once for the link in it.
  (void)fileutils::AppendPathComponent(shortcut, kShortcutName);
  (void)fileutils::AppendPathComponent(shortcut, kShortcutName);
  HOOK_LOG(dunmar::kInfo, "Inside GetZintShortcutPath | Zint shortcut path: %s", shortcut.c_str());
  path = std::move(shortcut);
  return true;
}

bool CreateZintShortcut(bool /*isUpdate*/) {
  HOOK_LOG(dunmar::kTrace, "Inside CreateZintShortcut");
  std::string shortcut;
  if (!GetZintShortcutPath(shortcut)) return false;
  (void)DeleteZintShortcut(/*isUpdate=*/false, /*flag=*/0);

  std::string folder = shortcut;
  (void)fileutils::GetParentPath(folder);
  if (!fileutils::PathExists(folder)) {
    HOOK_LOG(dunmar::kTrace, "Inside CreateZintShortcut | Creating Zint shortcut folder at %s",
             folder.c_str());
    if (!fileutils::CreateDirectory(folder, /*shouldSetPermission=*/false, /*logger=*/nullptr)) {
      HOOK_LOG(dunmar::kError,
               "Inside CreateZintShortcut | Unable to create Zint shortcut folder at %s",
               folder.c_str());
      return false;
    }
  }

  const std::string iconFile = IconFile();
  const std::string destination = LinkDestination();
  // A folder without its icon serves as well.
  (void)platform::CurrentHost().desktop->SetFolderIcon(iconFile, folder);

  bool isDirectory = false;
  if (fileutils::PathExists(shortcut, isDirectory)) {
    HOOK_LOG(dunmar::kWarn, "Inside CreateZintShortcut | Directory already present at path %s",
             shortcut.c_str());
    return false;
  }
  if (platform::CreateSymbolicLink(shortcut, destination)) {
    HOOK_LOG(dunmar::kInfo,
             "Inside CreateZintShortcut | Successfully created Zint shortcut at path: %s for %s",
             shortcut.c_str(), destination.c_str());
  } else {
    HOOK_LOG(dunmar::kError,
             "Inside CreateZintShortcut | Unable to create Zint shortcut at path: %s for %s",
             shortcut.c_str(), destination.c_str());
  }
  // Also after a failure: the result says that making the link was tried.
  return true;
}

bool DeleteZintShortcut(bool /*isUpdate*/, int /*flag*/) {
  HOOK_LOG(dunmar::kTrace, "Inside DeleteZintShortcut");
  std::string shortcut;
  if (!GetZintShortcutPath(shortcut)) return false;
  if (!fileutils::DeletePath(shortcut, /*unusedFlag=*/false)) {
    // Below the level of a success on purpose: an install says itself what is in its way.
    HOOK_LOG(dunmar::kTrace,
             "Inside DeleteZintShortcut | Unable to delete Zint shortcut at path %s",
             shortcut.c_str());
    return false;
  }
  HOOK_LOG(dunmar::kInfo,
           "Inside DeleteZintShortcut | Successfully deleted Zint shortcut at path %s",
           shortcut.c_str());
  return true;
}

}  // namespace hook
