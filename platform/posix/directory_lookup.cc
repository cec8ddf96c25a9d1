#include "platform/directory_lookup.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <optional>
#include <string>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

#include "platform/folder_creation.h"
#include "platform/posix/account.h"
#include "platform/posix/host_parts.h"
#include "platform/posix/normal_form.h"

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

constexpr const char* kHomeOfNobody = "/var/empty";

// The account's home folder. No value where its entry names no absolute path.
std::optional<std::string> HomeOf(const Account& account) {
  if (!account.home.starts_with('/')) return std::nullopt;
  return NormalForm(account.home);
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
    const std::optional<std::string> above = inHome ? HomeDirectory() : "/";
    if (!above) return false;
    std::string found = *above;
    if (!found.ends_with('/')) found += '/';
    found += folder->name;

    FolderAttributes userAttributes;
    userAttributes.mode = kUserFolderMode;
    if (!CreateFolder(found, inHome ? &userAttributes : nullptr, nullptr)) return false;
    *path = std::move(found);
    return true;
  }

  std::optional<std::string> HomeDirectory() override {
    Account account;
    const int error = FindAccountByUid(geteuid(), &account);
    // A database that cannot be read does not say that there is no entry.
    if (error != 0 && error != ENOENT) return std::nullopt;
    return HomeOf(account).value_or(kHomeOfNobody);
  }

  bool HomeDirectoryForUser(const std::string& name, std::string* path) override {
    Account account;
    if (FindAccountByName(name, &account) != 0) return false;
    std::optional<std::string> home = HomeOf(account);
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
