#ifndef TESTS_PLATFORM_FOLDER_NAMES_H_
#define TESTS_PLATFORM_FOLDER_NAMES_H_

#include <algorithm>
#include <string>
#include <vector>

#include "platform/folder_listing.h"

// What the two operations of platform/folder_listing.h tell, sorted.

namespace test {

using Names = std::vector<std::string>;

// "failed" alone where the folder cannot be listed.
[[nodiscard]] inline Names List(const std::string& path) {
  Names names;
  if (!platform::ListFolder(path, &names)) return {"failed"};
  std::sort(names.begin(), names.end());
  return names;
}

// The paths that a walk visits, folders with a "/" at the end, once for each visit.
[[nodiscard]] inline Names Walk(const std::string& root) {
  Names paths;
  platform::WalkFolder(root, [&](const platform::WalkEntry& entry) {
    paths.push_back(entry.path + (entry.isFolder ? "/" : ""));
    return true;
  });
  std::sort(paths.begin(), paths.end());
  return paths;
}

}  // namespace test

#endif  // TESTS_PLATFORM_FOLDER_NAMES_H_
