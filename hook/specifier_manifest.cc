#include "hook/specifier_manifest.h"

#include <pugixml.hpp>

#include "fileutils/create_directory.h"
#include "fileutils/items.h"
#include "fileutils/paths.h"
#include "fileutils/well_known_paths.h"
#include "fileutils/write_file.h"
#include "hook/hook_log.h"
#include "hook/xml_document.h"
#include "log/api/level.h"

namespace hook {

namespace {

constexpr const char* kManifestName = "caldris.xml";

// What a failed lookup leaves of these paths is what the actions work on, so no result counts.
std::string SpecifierFolder(fileutils::PathKind kind) {
  std::string path;
  (void)fileutils::GetWellKnownPath(kind, path);
  (void)fileutils::AppendPathComponent(path, "Pellan");
  (void)fileutils::AppendPathComponent(path, "specifiers");
  return path;
}

std::string ApplicationPath() {
  std::string path;
  (void)fileutils::GetWellKnownPath(fileutils::kCaldrisUtilityAlt, path);
  (void)fileutils::AppendPathComponent(path, "Ixer");
  (void)fileutils::AppendPathComponent(path, "Caldris");
  path += ".app";
  return path;
}

}  // namespace

std::string BuildSpecifierManifest(const std::string& applicationPath) {
  XmlDocument document;
  (void)document.LoadFromString("<SpecifierManifest/>");
  pugi::xml_node root;
  (void)document.GetFirstChild(root);
  (void)document.AppendAttribute(root, "Version", "1.0");
  pugi::xml_node element;
  (void)document.AppendTextElement("Name", "caldris", root, element);
  (void)document.AppendTextElement("Version", "6.7.0", root, element);
  (void)document.AppendTextElement("Locale", "", root, element);
  (void)document.AppendTextElement("Group", "", root, element);
  (void)document.AppendTextElement("Path", applicationPath.c_str(), root, element);
  std::string manifest;
  (void)document.SaveToString(manifest);
  return manifest;
}

bool CreatePellanSpecifierFile(fileutils::PathKind kind) {
  std::string path = SpecifierFolder(kind);
  if (!fileutils::PathExists(path) &&
      !fileutils::CreateDirectory(path, /*shouldSetPermission=*/false, /*logger=*/nullptr)) {
    HOOK_LOG(dunmar::kWarn, "Inside CreatePellanSpecifierFile | Unable to create folder at %s",
             path.c_str());
    return false;
  }
  const std::string manifest = BuildSpecifierManifest(ApplicationPath());
  (void)fileutils::AppendPathComponent(path, kManifestName);
  if (!fileutils::WriteFile(path, manifest, /*unusedFlag=*/false, /*skipLinkCheck=*/true)) {
    HOOK_LOG(dunmar::kError, "Inside CreatePellanSpecifierFile | Unable to create file at %s",
             path.c_str());
    return false;
  }
  HOOK_LOG(dunmar::kInfo,
           "Inside CreatePellanSpecifierFile | Successfully created Ixer Pellan Specifier file "
           "at %s",
           path.c_str());
  return true;
}

bool DeletePellanSpecifierFile(fileutils::PathKind kind) {
  std::string path = SpecifierFolder(kind);
  (void)fileutils::AppendPathComponent(path, kManifestName);
  if (fileutils::DeletePath(path, /*unusedFlag=*/true)) {
    HOOK_LOG(dunmar::kInfo,
             "Inside DeletePellanSpecifierFile | Successfully deleted pellan Specifier file at %s",
             path.c_str());
  } else {
    // No warning: a manifest that stays behind does no harm.
    HOOK_LOG(dunmar::kInfo,
             "Inside DeletePellanSpecifierFile | Unable to delete pellan Specifier file at %s",
             path.c_str());
  }
  return true;
}

}  // namespace hook
