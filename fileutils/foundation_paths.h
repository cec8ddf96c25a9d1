#ifndef FILEUTILS_FOUNDATION_PATHS_H_
#define FILEUTILS_FOUNDATION_PATHS_H_

#include <string>

// Path texts by Foundation's rules (platform/path_text.h): doubled and trailing
// separators go, a name that begins with "." has no extension. Each returns false
// and leaves its first argument as it was where the platform makes no string.

namespace fileutils {

[[nodiscard]] bool JoinPathComponent(std::string& path, const std::string& component);
[[nodiscard]] bool RemoveLastPathComponent(std::string& path);
[[nodiscard]] bool ReplacePathExtension(std::string& path, const std::string& newExtension);
[[nodiscard]] bool AppendPathExtension(std::string& path, const std::string& extension);
[[nodiscard]] bool RemovePathExtension(std::string& path);

// True when the path is its own last component: "a.log", "", "/"; not "a/b", "a/".
[[nodiscard]] bool IsBareName(const std::string& path);

}  // namespace fileutils

#endif  // FILEUTILS_FOUNDATION_PATHS_H_
