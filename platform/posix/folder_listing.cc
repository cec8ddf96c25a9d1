#include "platform/folder_listing.h"

#include <cstddef>
#include <fcntl.h>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/directory_stream.h"
#include "platform/path_walk.h"
#include "platform/posix/folder_descent.h"
#include "platform/posix/item_handle.h"
#include "platform/system_calls.h"
#include "platform/unique_fd.h"

namespace platform {

namespace {

// A directory on the way down.
struct Level {
  std::size_t pathLength = 0;        // of its path and a "/"; 0 for the first
  std::vector<std::string> folders;  // in it, still to be entered
};

std::size_t CountEntries(DirectoryStream* stream) {
  const char* name = nullptr;
  unsigned char type = 0;
  std::size_t count = 0;
  while (stream->Next(&name, &type) == 0 && name != nullptr) ++count;
  stream->Rewind();
  return count;
}

// Takes a step at an entry. Returns whether the entry is a directory that is to be entered.
bool Take(WalkStep step, int folder, const char* name, unsigned char type) {
  if (step == WalkStep::kPass) return false;
  const bool isFolder = IsFolderEntry(folder, name, type);
  if (step == WalkStep::kRemove &&
      Calls().unlinkat(folder, name, isFolder ? AT_REMOVEDIR : 0) == 0) {
    return false;
  }
  return isFolder;
}

// Names of directories that wait to be entered, in all levels together. Somebody may make any
// number of them; those beyond stay unvisited.
constexpr std::size_t kMostWaiting = 100'000;

// Visits the entries of one directory. `path` is the directory's and a "/". Returns whether the
// walk goes on.
bool VisitEntries(DirectoryStream* stream, const std::function<WalkStep(const std::string&)>& visit,
                  std::string* path, std::size_t room, std::vector<std::string>* folders) {
  const std::size_t pathLength = path->size();
  // Counted first: somebody may make entries as fast as they are removed, for ever.
  for (std::size_t left = CountEntries(stream); left > 0; --left) {
    const char* name = nullptr;
    unsigned char type = 0;
    if (stream->Next(&name, &type) != 0 || name == nullptr) break;
    path->resize(pathLength);
    *path += name;
    const WalkStep step = visit(*path);
    if (step == WalkStep::kStop) return false;
    if (Take(step, stream->Fd(), name, type) && folders->size() < room) {
      folders->emplace_back(name);
    }
  }
  path->resize(pathLength);
  return true;
}

}  // namespace

bool ListFolder(const std::string& path, std::vector<std::string>* names) {
  // By its name in the folder that holds it: listing takes no right to search it.
  LocatedItem item;
  DirectoryStream stream;
  if (LocateItem(path, LastLink::kFollow, &item) != 0 ||
      stream.Open(item.folder.Get(), item.name.c_str()) != 0) {
    return false;
  }
  std::vector<std::string> found;
  for (;;) {
    const char* name = nullptr;
    unsigned char type = 0;
    if (stream.Next(&name, &type) != 0) return false;
    if (name == nullptr) break;
    found.emplace_back(name);
  }
  *names = std::move(found);
  return true;
}

void WalkFolder(int folder, const std::string& /*path*/,
                const std::function<WalkStep(const std::string& entry)>& visit) {
  UniqueFd root;
  FolderDescent descent;
  DirectoryStream stream;
  if (OpenItemHandle(folder, ".", &root) != 0 || descent.Begin(std::move(root)) != 0 ||
      descent.OpenChild(".", &stream) != 0) {
    return;
  }
  std::string path;
  std::vector<Level> levels(1);
  if (!VisitEntries(&stream, visit, &path, kMostWaiting, &levels.back().folders)) return;
  std::size_t waiting = levels.back().folders.size();
  for (;;) {
    Level& level = levels.back();
    if (level.folders.empty()) {
      levels.pop_back();
      if (levels.empty() || descent.Leave() != 0) return;
      continue;
    }
    const std::string name = std::move(level.folders.back());
    level.folders.pop_back();
    --waiting;
    if (descent.OpenChild(name.c_str(), &stream) != 0) continue;
    path.resize(level.pathLength);
    path += name;
    path += '/';
    Level below = {.pathLength = path.size(), .folders = {}};
    if (!VisitEntries(&stream, visit, &path, kMostWaiting - waiting, &below.folders)) return;
    if (below.folders.empty() || descent.Enter(stream) != 0) continue;
    waiting += below.folders.size();
    levels.push_back(std::move(below));
  }
}

}  // namespace platform
