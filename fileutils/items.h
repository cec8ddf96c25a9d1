#ifndef FILEUTILS_ITEMS_H_
#define FILEUTILS_ITEMS_H_

#include <cstdint>
#include <string>

// Single items of the file system. Nothing here logs. Existence follows links, as
// `stat` does: a dangling link does not exist.

namespace fileutils {

[[nodiscard]] bool PathExists(const std::string& path);

// `isDirectory` becomes false where nothing exists.
[[nodiscard]] bool PathExists(const std::string& path, bool& isDirectory);

// The item exists and is no folder.
[[nodiscard]] bool IsExistingFile(const std::string& path);

// The item exists and is a folder.
[[nodiscard]] bool IsExistingDirectory(const std::string& path);

// Bytes of the item itself, a link not followed. False, `size` unchanged, where it
// cannot be examined.
[[nodiscard]] bool GetFileSize(const std::string& path, std::uint64_t& size);

// Makes a folder and the missing ones above it, with the system's defaults. True
// also where it stands already (platform/folder_creation.h).
[[nodiscard]] bool CreateDirectoryWithIntermediates(const std::string& path);

// Removes one item with `remove`: a file, an empty folder, or a link (never what it
// leads to). True as well where `PathExists` sees nothing; a dangling link is
// therefore left in place and counts as deleted. False where the removal failed, for
// a non-empty folder above all. `unusedFlag` changes nothing.
[[nodiscard]] bool DeletePath(const std::string& path, bool unusedFlag);

}  // namespace fileutils

#endif  // FILEUTILS_ITEMS_H_
