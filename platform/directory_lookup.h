#ifndef PLATFORM_DIRECTORY_LOOKUP_H_
#define PLATFORM_DIRECTORY_LOOKUP_H_

#include <optional>
#include <string>

namespace platform {

// NSSearchPathDomainMask.
inline constexpr unsigned long kUserDomain = 1;
inline constexpr unsigned long kLocalDomain = 2;

// NSSearchPathDirectory.
inline constexpr unsigned long kApplicationDirectory = 1;
inline constexpr unsigned long kLibraryDirectory = 5;
inline constexpr unsigned long kUserDirectory = 7;
inline constexpr unsigned long kDocumentDirectory = 9;
inline constexpr unsigned long kDesktopDirectory = 12;
inline constexpr unsigned long kApplicationSupportDirectory = 14;
inline constexpr unsigned long kDownloadsDirectory = 15;

// The system's well-known folders. Paths are absolute UTF-8 texts without a
// trailing "/".
class DirectoryLookup {
 public:
  // URLForDirectory:inDomain:appropriateForURL:create:error: of NSFileManager
  // with create YES. Makes a missing folder: in the local domain with the
  // default mode, in the user domain with 0700 for each level that it makes.
  // False, `path` unchanged, where the domain has no such folder, it cannot be
  // made, or there is no home folder for it.
  [[nodiscard]] virtual bool FindDirectory(unsigned long domainMask, unsigned long directory,
                                           std::string* path) = 0;

  // Tells the home folder of the effective user. (On macOS: NSHomeDirectory.) The
  // POSIX half asks the account database and nothing else: "/var/empty" where it
  // has no entry for the user, or one without an absolute path; otherwise the
  // entry's path in the normal form of path_text.h. No value where the home cannot
  // be told: the database cannot be read, or Foundation gives none.
  [[nodiscard]] virtual std::optional<std::string> HomeDirectory() = 0;

  // The same for the user of that name. (On macOS: NSHomeDirectoryForUser.) False,
  // `path` unchanged, where the home cannot be told, where there is no such user,
  // and where the entry names no absolute path.
  [[nodiscard]] virtual bool HomeDirectoryForUser(const std::string& name, std::string* path) = 0;

 protected:
  ~DirectoryLookup() = default;
};

}  // namespace platform

#endif  // PLATFORM_DIRECTORY_LOOKUP_H_
