#ifndef PLATFORM_DIRECTORY_LOOKUP_H_
#define PLATFORM_DIRECTORY_LOOKUP_H_

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
  // False, `path` unchanged, where the domain has no such folder or it cannot be
  // made.
  [[nodiscard]] virtual bool FindDirectory(unsigned long domainMask, unsigned long directory,
                                           std::string* path) = 0;

  // NSHomeDirectory: the home folder of the effective user; empty only where the
  // macOS half gets none. The POSIX half asks the account database and nothing
  // else; without an entry there it is "/var/empty".
  [[nodiscard]] virtual std::string HomeDirectory() = 0;

  // NSHomeDirectoryForUser. False, `path` unchanged, for an unknown name.
  [[nodiscard]] virtual bool HomeDirectoryForUser(const std::string& name, std::string* path) = 0;

 protected:
  ~DirectoryLookup() = default;
};

}  // namespace platform

#endif  // PLATFORM_DIRECTORY_LOOKUP_H_
