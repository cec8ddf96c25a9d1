#include "fileutils/well_known_paths.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "fileutils/console_user.h"
#include "fileutils/login_user_switch_guard.h"
#include "fileutils/path_kind.h"
#include "platform/console_user.h"
#include "platform/directory_lookup.h"
#include "platform/host.h"
#include "platform/host_info.h"
#include "platform/path_text.h"
#include "platform/path_walk.h"

namespace fileutils {

namespace {

// Bytes of a path below a home folder, with the NUL; longer homes have no logs folder.
constexpr std::size_t kHomePathBytes = 512;

// Looks up the folder that a kind begins with. On failure `outPath` is left as it was.
using BaseLookup = bool (*)(std::string& outPath);

template <unsigned long kDirectory>
bool FindLocal(std::string& outPath) {
  return GetSystemDirectory(platform::kLocalDomain, kDirectory, outPath);
}

template <unsigned long kDirectory>
bool FindUser(std::string& outPath) {
  const LoginUserSwitchGuard guard;
  return GetSystemDirectory(platform::kUserDomain, kDirectory, outPath);
}

bool FindHome(std::string& outPath) {
  GetUserHomeDirectory(outPath);
  return true;
}

bool FindConsoleUserHome(std::string& outPath) {
  if (const std::optional<platform::ConsoleUser> user = FindConsoleUser()) {
    // Whether there is a home now is told by the text, the caller's own included.
    (void)platform::CurrentHost().directories->HomeDirectoryForUser(user->name, &outPath);
    if (!outPath.empty()) return true;
  }
  return FindHome(outPath);
}

bool FindTemp(std::string& outPath) {
  outPath = "/tmp";
  return true;
}

bool FindProgramItem(std::string& outPath) {
  GetExecutableFolder(outPath);
  return true;
}

bool FindProgramParent(std::string& outPath) {
  std::string item;
  GetExecutableFolder(item);
  std::optional<std::string> parent = platform::DeletingLastPathComponent(item);
  if (!parent) return false;
  outPath = *std::move(parent);
  return true;
}

// The folders are made by the user that the process is, not by the console user.
bool MakeUserLogs(std::string& outPath) {
  std::string home;
  GetUserHomeDirectory(home);
  // An empty home would stand for the root of the disk.
  if (home.empty()) return false;
  std::array<char, kHomePathBytes> path;
  for (const char* const folder : {"/Library", "/Library/Logs"}) {
    const int length = std::snprintf(path.data(), path.size(), "%s%s", home.c_str(), folder);
    if (length < 0 || static_cast<std::size_t>(length) >= path.size()) return false;
    const int error = platform::MakeFolder(path.data(), 0700);
    if (error != 0 && error != EEXIST) return false;
  }
  outPath = path.data();
  return true;
}

struct Place {
  BaseLookup base = nullptr;  // null for numbers that belong to nobody
  std::string_view suffix = {};
  bool failsWithBase = false;
};

constexpr BaseLookup kFindLocalApplications = FindLocal<platform::kApplicationDirectory>;
constexpr BaseLookup kFindLocalAppSupport = FindLocal<platform::kApplicationSupportDirectory>;
constexpr BaseLookup kFindLocalUsers = FindLocal<platform::kUserDirectory>;
constexpr BaseLookup kFindLocalLibrary = FindLocal<platform::kLibraryDirectory>;
constexpr BaseLookup kFindUserAppSupport = FindUser<platform::kApplicationSupportDirectory>;
constexpr BaseLookup kFindUserLibrary = FindUser<platform::kLibraryDirectory>;

constexpr std::array<Place, kFerrinAlt + 1> kPlaces = [] {
  std::array<Place, kFerrinAlt + 1> places = {};
  places[kApplications] = {kFindLocalApplications, "", true};
  places[kLocalAppSupport] = {kFindLocalAppSupport, "", true};
  places[kLocalAppSupportAlt] = {kFindLocalAppSupport, "", true};
  places[kHome] = {FindHome};
  places[kConsoleUserHome] = {FindConsoleUserHome};
  places[kUserDocuments] = {FindUser<platform::kDocumentDirectory>};
  places[kUserAppSupport] = {kFindUserAppSupport};
  places[kUsersShared] = {kFindLocalUsers, "/Shared"};
  places[kUtilities] = {kFindLocalApplications, "/Utilities"};
  places[kLaunchAgents] = {kFindLocalAppSupport, "/../LaunchAgents/"};
  places[kTemp] = {FindTemp};
  places[kProgramItem] = {FindProgramItem};
  places[kProgramParent] = {FindProgramParent};
  places[kVelmoraShared] = {kFindLocalAppSupport, "/Velmora"};
  places[kVelmoraSharedAlt1] = {kFindLocalAppSupport, "/Velmora"};
  places[kVelmoraSharedAlt2] = {kFindLocalAppSupport, "/Velmora"};
  places[kUserVelmora] = {kFindUserAppSupport, "/Velmora"};
  places[kUsersSharedVelmora] = {kFindLocalUsers, "/Shared/Velmora"};
  places[kDunmarShared] = {kFindLocalAppSupport, "/Velmora/Dunmar"};
  places[kUserDunmar] = {kFindUserAppSupport, "/Velmora/Dunmar"};
  places[kUsersSharedDunmar] = {kFindLocalUsers, "/Shared/Velmora/Dunmar"};
  places[kOstranderUtility] = {kFindLocalApplications, "/Utilities/Ostrander/"};
  places[kGorrakShared] = {kFindLocalAppSupport, "/Velmora/Dunmar/Gorrak"};
  places[kUserGorrak] = {kFindUserAppSupport, "/Velmora/Dunmar/Gorrak"};
  places[kOstranderRefs] = {kFindLocalAppSupport, "/Velmora/Ostrander/OstranderRefs"};
  places[kBrannockRefs] = {kFindLocalAppSupport, "/Velmora/BrannockRefs"};
  places[kBrannockRefsAlt] = {kFindLocalAppSupport, "/Velmora/BrannockRefs"};
  places[kBrannock] = {kFindLocalAppSupport, "/Velmora/Brannock"};
  places[kBrannockAlt] = {kFindLocalAppSupport, "/Velmora/Brannock"};
  places[kCaldrisUtility] = {kFindLocalApplications, "/Utilities/Velmora Caldris/"};
  places[kCaldrisUtilityAlt] = {kFindLocalApplications, "/Utilities/Velmora Caldris/"};
  places[kLocalPreferences] = {kFindLocalLibrary, "/Preferences", true};
  places[kUserPreferences] = {kFindUserLibrary, "/Preferences"};
  places[kUserLogs] = {MakeUserLogs, "", true};
  places[kLocalLibrary] = {kFindLocalLibrary, "", true};
  places[kUserLibrary] = {kFindUserLibrary};
  places[kUserDesktop] = {FindUser<platform::kDesktopDirectory>};
  places[kUserDownloads] = {FindUser<platform::kDownloadsDirectory>};
  places[kFerrin] = {kFindLocalAppSupport, "/Velmora/Ferrin"};
  places[kFerrinAlt] = {kFindLocalAppSupport, "/Velmora/Ferrin"};
  return places;
}();

}  // namespace

bool GetWellKnownPath(PathKind kind, std::string& outPath) {
  if (kind >= kPlaces.size()) return false;
  const Place& place = kPlaces[kind];
  if (place.base == nullptr) return false;
  if (!place.base(outPath) && place.failsWithBase) return false;
  outPath += place.suffix;
  return true;
}

bool GetSystemDirectory(unsigned long domainMask, unsigned long directory, std::string& outPath) {
  return platform::CurrentHost().directories->FindDirectory(domainMask, directory, &outPath);
}

void GetUserHomeDirectory(std::string& outPath) {
  const LoginUserSwitchGuard guard;
  std::optional<std::string> home = platform::CurrentHost().directories->HomeDirectory();
  if (home) outPath = *std::move(home);
}

void GetExecutableFolder(std::string& outPath) {
  platform::HostInfo& info = *platform::CurrentHost().info;
  std::string executable;
  std::string bundle;
  if (!info.GetBundlePath(&bundle)) return;
  const std::optional<std::string> standardBundle = platform::StandardizingProgramPath(bundle);
  if (!standardBundle) return;
  std::optional<std::string> standardFolder;
  if (info.GetExecutablePath(&executable)) {
    standardFolder = platform::DeletingLastPathComponent(executable);
    if (standardFolder) standardFolder = platform::StandardizingProgramPath(*standardFolder);
  }
  // A bare program's "bundle" is the folder that it lies in.
  outPath = standardFolder == standardBundle ? executable : *standardBundle;
}

void GetUserVelmoraFolder(std::string& outPath) { (void)GetWellKnownPath(kUserVelmora, outPath); }

void GetUsersSharedVelmoraFolder(std::string& outPath) {
  (void)GetWellKnownPath(kUsersSharedVelmora, outPath);
}

void GetUserLibraryFolder(std::string& outPath) { (void)GetWellKnownPath(kUserLibrary, outPath); }

}  // namespace fileutils
