#include "log/session_header.h"

#include <string_view>
#include <sys/utsname.h>

#include "fileutils/bundle_version.h"
#include "fileutils/items.h"
#include "fileutils/locale_mapping.h"
#include "fileutils/path_kind.h"
#include "fileutils/paths.h"
#include "fileutils/well_known_paths.h"
#include "platform/host.h"
#include "platform/host_info.h"
#include "platform/system_calls.h"

namespace dunmar {

namespace {

constexpr char kRule[] =
    "******************************************************************************";

// The version of the desktop product. False where it is not installed.
bool GetProductVersion(std::string& version) {
  std::string path;
  (void)fileutils::GetWellKnownPath(fileutils::kCaldrisUtility, path);
  (void)fileutils::AppendPathComponent(path, "Ixer/Caldris.app");
  return fileutils::PathExists(path) && fileutils::GetBundleVersion(path, version);
}

void MergeInto(HeaderBlock& stored, const HeaderBlock& block) {
  if (!block.topLine.empty()) stored.topLine = block.topLine;
  for (const auto& [key, value] : block.entries) stored.entries[key] = value;
  if (!block.bottomLine.empty()) stored.bottomLine = block.bottomLine;
}

}  // namespace

void PrepareSessionHeader(HeaderBlock& sessionHeader) {
  std::string locale;
  (void)fileutils::GetPreferredLocale(locale);
  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t patch = 0;
  (void)QueryOSVersion(major, minor, patch);
  const std::string osVersion =
      std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
  int bits = 0;
  (void)GetProcessorBits(bits);
  std::string productVersion;
  if (GetProductVersion(productVersion)) sessionHeader.entries["Ixer Version: "] = productVersion;
  sessionHeader.topLine = kRule;
  sessionHeader.entries["OS Name: "] = "Mac OS " + osVersion;
  sessionHeader.entries["OS Version: "] = osVersion;
  sessionHeader.entries["OS Locale: "] = locale;
  sessionHeader.entries["Bit: "] = std::to_string(bits);
  sessionHeader.bottomLine = kRule;
}

HeaderBlock ChooseHeader(HeaderBlock& stored, const HeaderBlock* block) {
  if (block == nullptr) return stored;
  if (!block->mergeIntoStored) return *block;
  MergeInto(stored, *block);
  return stored;
}

std::vector<std::string> HeaderLines(const HeaderBlock& block) {
  std::vector<std::string> lines;
  if (!block.topLine.empty()) lines.push_back(block.topLine);
  for (const auto& [key, value] : block.entries) lines.push_back(key + value);
  if (!block.bottomLine.empty()) lines.push_back(block.bottomLine);
  return lines;
}

bool QueryOSVersion(std::int64_t& major, std::int64_t& minor, std::int64_t& patch) {
  platform::OperatingSystemVersion version;
  if (!platform::CurrentHost().info->GetOperatingSystemVersion(&version)) return false;
  major = version.major;
  minor = version.minor;
  patch = version.patch;
  return true;
}

bool GetProcessorBits(int& bits) {
  struct utsname names = {};
  if (platform::Calls().uname(&names) != 0) return false;
  bits = std::string_view(names.machine) == "i386" ? 32 : 64;
  return true;
}

}  // namespace dunmar
