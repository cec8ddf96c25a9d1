#include "platform/directory_lookup.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

#include "platform/folder_creation.h"
#include "platform/path_text.h"
#include "platform/posix/account.h"
#include "platform/posix/host_parts.h"

namespace platform {
namespace {

constexpr mode_t kUserFolderMode = 0700;

struct WellKnownFolder {
  unsigned long domain;
  unsigned long directory;
  const char* name;  // below "/" in the local domain, below the home folder in the user domain
};

constexpr WellKnownFolder kFolders[] = {
    {kLocalDomain, kApplicationDirectory, "Applications"},
    {kLocalDomain, kLibraryDirectory, "Library"},
    {kLocalDomain, kUserDirectory, "Users"},
    {kLocalDomain, kApplicationSupportDirectory, "Library/Application Support"},
    {kUserDomain, kLibraryDirectory, "Library"},
    {kUserDomain, kDocumentDirectory, "Documents"},
    {kUserDomain, kDesktopDirectory, "Desktop"},
    {kUserDomain, kApplicationSupportDirectory, "Library/Application Support"},
    {kUserDomain, kDownloadsDirectory, "Downloads"},
};

// The account's home folder, standardized. No value without an account, and where its entry names
// no absolute path.
std::optional<std::string> HomeOf(std::optional<Account> account) {
  if (!account || !account->home.starts_with('/')) return std::nullopt;
  return StandardizingPath(account->home);
}

class PosixDirectories final : public DirectoryLookup {
 public:
  bool FindDirectory(unsigned long domainMask, unsigned long directory,
                     std::string* path) override {
    const auto* const folder =
        std::find_if(std::begin(kFolders), std::end(kFolders), [&](const WellKnownFolder& row) {
          return row.domain == domainMask && row.directory == directory;
        });
    if (folder == std::end(kFolders)) return false;

    const bool inHome = domainMask == kUserDomain;
    std::string found = inHome ? HomeDirectory() : "/";
    if (!found.ends_with('/')) found += '/';
    found += folder->name;

    FolderAttributes userAttributes;
    userAttributes.mode = kUserFolderMode;
    if (!CreateFolder(found, inHome ? &userAttributes : nullptr, nullptr)) return false;
    *path = std::move(found);
    return true;
  }

  std::string HomeDirectory() override {
    return HomeOf(FindAccountByUid(geteuid())).value_or("/var/empty");
  }

  bool HomeDirectoryForUser(const std::string& name, std::string* path) override {
    std::optional<std::string> home = HomeOf(FindAccountByName(name));
    if (!home) return false;
    *path = std::move(*home);
    return true;
  }
};

}  // namespace

DirectoryLookup& PosixDirectoryLookup() {
  static PosixDirectories directories;
  return directories;
}

}  // namespace platform
