#ifndef FILEUTILS_LINK_CHECK_H_
#define FILEUTILS_LINK_CHECK_H_

#include <string>

namespace fileutils {

// The item itself is a symbolic link, dangling or not.
[[nodiscard]] bool IsSymbolicLink(const std::string& path);

// The answers of `CheckPathLinks`; the numbers are part of its interface.
enum LinkCheck : unsigned int {
  kNoLinks = 0,          // nothing found; also where nothing is at the path
  kIsLink = 1,           // the path itself is a symbolic link
  kLinkedAncestor = 2,   // a folder above it is one
  kSeveralHardLinks = 3  // the item has more than one name
};

// Looks for links that could lead a write astray, the item first, then (on request)
// its names, then (on request) the folders above it up to the top or to "/var". That
// one is a link on macOS, and everything below it would be refused otherwise; other
// links of the platform, "/tmp" and "/etc" among them, do count.
//
// It names paths, so what it says may change at once. It decides whether to try; what
// must hold while writing is checked again by handle where the file is opened.
[[nodiscard]] unsigned int CheckPathLinks(const std::string& path, bool checkAncestors,
                                          bool checkHardLinks);

}  // namespace fileutils

#endif  // FILEUTILS_LINK_CHECK_H_
