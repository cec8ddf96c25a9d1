#include "platform/item_removal.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

#include "platform/directory_stream.h"
#include "platform/error_text.h"
#include "platform/path_walk.h"
#include "platform/posix/folder_descent.h"
#include "platform/system_calls.h"
#include "platform/unique_fd.h"

namespace platform {

namespace {

// A folder on the way down; the first is the one that holds the item.
struct Level {
  std::string name;                  // in the folder above
  std::vector<std::string> folders;  // entries that are still to be removed
};

int Unlink(int folder, const char* name, int flags) {
  return Calls().unlinkat(folder, name, flags) == 0 || errno == ENOENT ? 0 : errno;
}

// Every folder is read once: entries that somebody goes on making in it end the walk (the folder is
// not empty) instead of feeding it. How deep it can be led, FolderDescent limits.
int UnlinkFiles(DirectoryStream* stream, std::vector<std::string>* folders) {
  for (;;) {
    const char* name = nullptr;
    unsigned char type = 0;
    int error = stream->Next(&name, &type);
    if (error != 0 || name == nullptr) return error;
    if (IsFolderEntry(stream->Fd(), name, type)) {
      folders->emplace_back(name);
      continue;
    }
    error = Unlink(stream->Fd(), name, 0);
    if (error != 0) return error;
  }
}

// Removes an entry of the current folder. A folder with folders in it loses its files only, and
// the walk goes into it.
int RemoveOrEnter(std::string name, FolderDescent* descent, std::vector<Level>* levels) {
  DirectoryStream stream;
  int error = descent->OpenChild(name.c_str(), &stream);
  if (error == ENOENT) return 0;
  if (error == ENOTDIR || error == ELOOP) return Unlink(descent->Fd(), name.c_str(), 0);
  if (error == EACCES) {
    // Nothing has to be read in an empty folder.
    error = Unlink(descent->Fd(), name.c_str(), AT_REMOVEDIR);
    return error == ENOTEMPTY || error == EEXIST ? EACCES : error;
  }
  if (error != 0) return error;

  std::vector<std::string> folders;
  error = UnlinkFiles(&stream, &folders);
  if (error != 0) return error;
  if (folders.empty()) return Unlink(descent->Fd(), name.c_str(), AT_REMOVEDIR);
  error = descent->Enter(stream);
  if (error != 0) return error;
  levels->push_back({.name = std::move(name), .folders = std::move(folders)});
  return 0;
}

int RemoveTree(UniqueFd folder, std::string name) {
  FolderDescent descent;
  int error = descent.Begin(std::move(folder));
  if (error != 0) return error;
  std::vector<Level> levels(1);
  levels.front().folders.push_back(std::move(name));
  for (;;) {
    Level& level = levels.back();
    if (!level.folders.empty()) {
      std::string next = std::move(level.folders.back());
      level.folders.pop_back();
      error = RemoveOrEnter(std::move(next), &descent, &levels);
      if (error != 0) return error;
      continue;
    }
    if (levels.size() == 1) return 0;
    error = descent.Leave();
    if (error != 0) return error;
    error = Unlink(descent.Fd(), level.name.c_str(), AT_REMOVEDIR);
    if (error != 0) return error;
    levels.pop_back();
  }
}

// Finds the item that a removal is to remove.
int FindItem(const std::string& path, LocatedItem* item, bool* isFolder) {
  const int error = LocateItem(path, LastLink::kLeave, item);
  if (error != 0) return error;
  // "." and ".." are no entries that could go, and "/" is in no folder.
  if (item->name == ".") return EINVAL;
  struct stat status = {};
  if (Calls().fstatat(item->folder.Get(), item->name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno;
  }
  *isFolder = S_ISDIR(status.st_mode);
  return item->mustBeFolder && !*isFolder ? ENOTDIR : 0;
}

int Remove(const std::string& path) {
  LocatedItem item;
  bool isFolder = false;
  const int error = FindItem(path, &item, &isFolder);
  return error != 0 ? error : RemoveTree(std::move(item.folder), std::move(item.name));
}

int RemoveSingle(const std::string& path) {
  LocatedItem item;
  bool isFolder = false;
  const int error = FindItem(path, &item, &isFolder);
  if (error != 0) return error;
  return Unlink(item.folder.Get(), item.name.c_str(), isFolder ? AT_REMOVEDIR : 0);
}

bool Report(int error, const std::string& path, std::string* errorText) {
  if (error != 0 && errorText != nullptr) *errorText = DescribeError(error, path);
  return error == 0;
}

}  // namespace

bool RemoveItem(const std::string& path, std::string* errorText) {
  return Report(Remove(path), path, errorText);
}

bool RemoveSingleItem(const std::string& path, std::string* errorText) {
  return Report(RemoveSingle(path), path, errorText);
}

}  // namespace platform
