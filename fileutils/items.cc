#include "fileutils/items.h"

#include <cstdint>
#include <string>

#include "platform/folder_creation.h"
#include "platform/item_query.h"
#include "platform/system_calls.h"

namespace fileutils {

bool PathExists(const std::string& path) { return platform::ItemExists(path, nullptr); }

bool PathExists(const std::string& path, bool& isDirectory) {
  bool isFolder = false;
  const bool exists = platform::ItemExists(path, &isFolder);
  isDirectory = exists && isFolder;
  return exists;
}

bool IsExistingFile(const std::string& path) {
  bool isDirectory = false;
  return PathExists(path, isDirectory) && !isDirectory;
}

bool IsExistingDirectory(const std::string& path) {
  bool isDirectory = false;
  return PathExists(path, isDirectory) && isDirectory;
}

bool GetFileSize(const std::string& path, std::uint64_t& size) {
  return platform::GetItemSize(path, &size);
}

bool CreateDirectoryWithIntermediates(const std::string& path) {
  return platform::CreateFolder(path, nullptr, nullptr);
}

bool DeletePath(const std::string& path, bool /*unusedFlag*/) {
  return !PathExists(path) || platform::Calls().remove(path.c_str()) == 0;
}

}  // namespace fileutils
