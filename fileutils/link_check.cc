#include "fileutils/link_check.h"

#include <string>
#include <sys/stat.h>
#include <utility>

#include "fileutils/paths.h"

namespace fileutils {

namespace {

// `lstat` of the whole text: one that holds a NUL byte names nothing, and not what
// stands before that byte.
bool Examine(const std::string& path, struct stat* status) {
  return path.find('\0') == std::string::npos && ::lstat(path.c_str(), status) == 0;
}

}  // namespace

bool IsSymbolicLink(const std::string& path) {
  struct stat status = {};
  return Examine(path, &status) && S_ISLNK(status.st_mode);
}

unsigned int CheckPathLinks(const std::string& path, bool checkAncestors, bool checkHardLinks) {
  if (IsSymbolicLink(path)) return kIsLink;
  if (checkHardLinks) {
    struct stat status = {};
    if (Examine(path, &status) && status.st_nlink > 1) return kSeveralHardLinks;
  }
  if (!checkAncestors) return kNoLinks;
  std::string current = path;
  for (;;) {
    std::string parent = current;
    if (!GetParentPath(parent) || parent == current || parent == "/var") return kNoLinks;
    if (IsSymbolicLink(parent)) return kLinkedAncestor;
    current = std::move(parent);
  }
}

}  // namespace fileutils
