#ifndef FILEUTILS_PATHS_H_
#define FILEUTILS_PATHS_H_

#include <string>
#include <string_view>

// Paths as plain texts; nothing here looks at the disk.

namespace fileutils {

// Puts a component on, with one "/" at the seam unless the path ended in several.
// False, `path` unchanged, when either is empty. The component may be part of
// `path`.
//
//   "/a" + "b" -> "/a/b"        "/a/" + "/b" -> "/a/b"
//   "/a" + "///b/" -> "/a/b/"   "/a" + "//" -> "/a/"
//   "" + "b" -> false           "/a" + "" -> false
[[nodiscard]] bool AppendPathComponent(std::string& path, std::string_view component);

// Replaces the path by its `dirname`. False, unchanged, for an empty path.
//
//   "/a/b" -> "/a"   "/a" -> "/"   "/" -> "/"   "//" -> "/"   "a" -> "."
[[nodiscard]] bool GetParentPath(std::string& path);

// The text after the last "." anywhere in the path, not only in its last
// component. False, `extension` unchanged, for an empty path or one without ".".
//
//   "/a.b/c" -> "b/c"   "/a/b.c" -> "c"   "a." -> ""
[[nodiscard]] bool GetPathExtension(const std::string& path, std::string& extension);

// The `basename` of the path: "/a/b/" -> "b", "/" -> "/", "" -> ".". `name` is
// emptied first and stays so on failure (macOS: 1024 bytes and more).
[[nodiscard]] bool GetFileName(const std::string& path, std::string& name);

}  // namespace fileutils

#endif  // FILEUTILS_PATHS_H_
