#ifndef TESTS_PLATFORM_FOLDER_NAMES_H_
#define TESTS_PLATFORM_FOLDER_NAMES_H_

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "platform/folder_listing.h"
#include "platform/path_walk.h"
#include "platform/unique_fd.h"

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

// Walks through the directory at `root`, if there is one.
inline void WalkAt(const std::string& root,
                   const std::function<platform::WalkStep(const std::string& entry)>& visit) {
  platform::UniqueFd folder;
  if (platform::OpenFolder(root, &folder) != 0) return;
  platform::WalkFolder(folder.Get(), root, visit);
}

// The entries that a walk visits, once for each visit, where everything is entered.
[[nodiscard]] inline Names Walk(const std::string& root) {
  Names entries;
  WalkAt(root, [&](const std::string& entry) {
    entries.push_back(entry);
    return platform::WalkStep::kEnter;
  });
  std::sort(entries.begin(), entries.end());
  return entries;
}

}  // namespace test

#endif  // TESTS_PLATFORM_FOLDER_NAMES_H_
