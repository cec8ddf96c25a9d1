#include "platform/folder_listing.h"

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/directory_stream.h"
#include "platform/path_walk.h"
#include "platform/posix/folder_descent.h"
#include "platform/unique_fd.h"

namespace platform {

namespace {

struct Entry {
  std::string name;
  bool isFolder = false;
};

// A folder on the way down.
struct Level {
  std::size_t pathLength = 0;  // of its path and a "/"; 0 for the first
  std::vector<Entry> entries;  // still to be visited
};

// Returns 0 or the error number; `entries` has what was read until then.
int ReadEntries(DirectoryStream* stream, std::vector<Entry>* entries) {
  for (;;) {
    const char* name = nullptr;
    unsigned char type = 0;
    const int error = stream->Next(&name, &type);
    if (error != 0 || name == nullptr) return error;
    entries->push_back({.name = name, .isFolder = IsFolderEntry(stream->Fd(), name, type)});
  }
}

}  // namespace

bool ListFolder(const std::string& path, std::vector<std::string>* names) {
  // By its name in the folder that holds it: listing takes no right to search it.
  LocatedItem item;
  DirectoryStream stream;
  std::vector<Entry> entries;
  if (LocateItem(path, LastLink::kFollow, &item) != 0 ||
      stream.Open(item.folder.Get(), item.name.c_str()) != 0 ||
      ReadEntries(&stream, &entries) != 0) {
    return false;
  }
  names->clear();
  for (Entry& entry : entries) names->push_back(std::move(entry.name));
  return true;
}

void WalkFolder(const std::string& root, const std::function<bool(const WalkEntry&)>& visit) {
  UniqueFd folder;
  FolderDescent descent;
  DirectoryStream stream;
  if (OpenFolder(root, &folder) != 0 || descent.Begin(std::move(folder)) != 0 ||
      descent.OpenChild(".", &stream) != 0) {
    return;
  }
  std::vector<Level> levels(1);
  (void)ReadEntries(&stream, &levels.back().entries);
  std::string path;
  for (;;) {
    Level& level = levels.back();
    if (level.entries.empty()) {
      levels.pop_back();
      if (levels.empty() || descent.Leave() != 0) return;
      continue;
    }
    const Entry entry = std::move(level.entries.back());
    level.entries.pop_back();
    path.resize(level.pathLength);
    path += entry.name;
    if (!visit({.path = path, .isFolder = entry.isFolder}) || !entry.isFolder) continue;

    Level below;
    if (descent.OpenChild(entry.name.c_str(), &stream) != 0) continue;
    (void)ReadEntries(&stream, &below.entries);
    if (below.entries.empty() || descent.Enter(stream) != 0) continue;
    path += '/';
    below.pathLength = path.size();
    levels.push_back(std::move(below));
  }
}

}  // namespace platform
