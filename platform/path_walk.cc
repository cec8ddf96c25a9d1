#include "platform/path_walk.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/interrupted_call.h"
#include "platform/item_handle.h"
#include "platform/system_calls.h"

namespace platform {

namespace {

constexpr int kMaxLinks = 40;

// What a walk has still to do.
struct Step {
  std::string name;     // the component to go to; empty: compare owners, for
  uid_t linkOwner = 0;  // the owner of the link that has led to where the walk now is
};

// Puts the components of a path before what is to be done already: the next step is the last of
// `steps`.
void PushComponents(std::string_view path, std::vector<Step>* steps) {
  std::size_t end = path.size();
  while (end > 0) {
    const std::size_t slash = path.rfind('/', end - 1);
    const std::size_t begin = slash == std::string_view::npos ? 0 : slash + 1;
    if (begin < end) steps->push_back({.name = std::string(path.substr(begin, end - begin))});
    end = begin == 0 ? 0 : begin - 1;
  }
}

bool HasComponents(const std::vector<Step>& steps) {
  return std::any_of(steps.rbegin(), steps.rend(),
                     [](const Step& step) { return !step.name.empty(); });
}

// The path with the text of a link in place of its last component.
std::string ReplaceLastComponent(const std::string& path, const std::string& text) {
  const std::size_t end = path.find_last_not_of('/') + 1;
  const std::size_t begin = text.front() == '/' ? 0 : path.rfind('/', end - 1) + 1;
  return path.substr(0, begin) + text + path.substr(end);
}

int OpenLocatedFolder(const LocatedItem& item, UniqueFd* folder) {
  UniqueFd opened(RepeatInterrupted([&] {
    return ::openat(item.folder.Get(), item.name.c_str(),
                    O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  }));
  if (!opened) return errno;
  *folder = std::move(opened);
  return 0;
}

// Gives an ordinary user's own folder to him alone, with all rights.
int OpenToOwner(const LocatedItem& item) {
  UniqueFd handle;
  struct stat status = {};
  if (ExamineItem(item.folder.Get(), item.name.c_str(), &handle, &status) == 0 &&
      S_ISDIR(status.st_mode) && Calls().fchmodat(handle.Get(), ".", S_IRWXU, 0) == 0) {
    return 0;
  }
  // One that he may not even search can only be named. Whatever has been put in its place meanwhile
  // comes to no harm: no link is followed, and his right to change modes ends at what is his.
  return Calls().fchmodat(item.folder.Get(), item.name.c_str(), S_IRWXU, AT_SYMLINK_NOFOLLOW) == 0
             ? 0
             : errno;
}

int OpenStart(std::string_view path, UniqueFd* folder, struct stat* status) {
  return ExamineItem(AT_FDCWD, path.front() == '/' ? "/" : ".", folder, status);
}

}  // namespace

bool MayFollowLink(uid_t effectiveUser, uid_t linkOwner, uid_t targetOwner) {
  return linkOwner == 0 || linkOwner == effectiveUser || linkOwner == targetOwner;
}

int LocateItem(const std::string& path, LastLink lastLink, LocatedItem* item) {
  if (path.empty()) return ENOENT;
  if (path.find('\0') != std::string::npos) return EINVAL;
  if (path.size() >= PATH_MAX) return ENAMETOOLONG;

  LocatedItem located;
  located.name = ".";
  located.mustBeFolder = path.back() == '/';
  located.path = path;
  // The item that the walk has come to; where that is missing, the folder that would hold it.
  struct stat status = {};
  int error = OpenStart(path, &located.folder, &status);
  if (error != 0) return error;

  const uid_t effectiveUser = ::geteuid();
  int links = 0;
  std::vector<Step> steps;
  PushComponents(path, &steps);
  while (!steps.empty()) {
    const Step step = std::move(steps.back());
    steps.pop_back();
    if (step.name.empty()) {
      if (!MayFollowLink(effectiveUser, step.linkOwner, status.st_uid)) return EACCES;
      continue;
    }

    const bool isFolderItself = step.name == "." || step.name == "..";
    const bool isLast = !isFolderItself && !HasComponents(steps);
    if (isLast && lastLink == LastLink::kLeave) {
      located.name = step.name;
      break;
    }

    UniqueFd handle;
    struct stat found = {};
    error = ExamineItem(located.folder.Get(), step.name.c_str(), &handle, &found);
    if (error == ENOENT && isLast) {
      located.name = step.name;
      continue;
    }
    if (error != 0) return error;

    if (S_ISLNK(found.st_mode)) {
      if (++links > kMaxLinks) return ELOOP;
      std::string text;
      error = ReadLinkHandle(handle, &text);
      if (error != 0) return error;
      if (text.empty()) return ENOENT;
      if (isLast) {
        located.mustBeFolder = located.mustBeFolder || text.back() == '/';
        located.path = ReplaceLastComponent(located.path, text);
      }
      if (text.front() == '/') {
        error = OpenStart(text, &located.folder, &status);
        if (error != 0) return error;
      }
      steps.push_back({.name = "", .linkOwner = found.st_uid});
      PushComponents(text, &steps);
      continue;
    }

    const bool isFolder = S_ISDIR(found.st_mode);
    if (!isFolder && (!isLast || located.mustBeFolder)) return ENOTDIR;
    status = found;
    if (isLast) {
      located.name = step.name;
    } else {
      located.folder = std::move(handle);
    }
  }

  located.mustBeFolder = located.mustBeFolder || located.name == ".";
  *item = std::move(located);
  return 0;
}

int OpenFolder(const std::string& path, UniqueFd* folder) {
  if (path.empty()) return ENOENT;
  LocatedItem item;
  const int error = LocateItem(path + "/.", LastLink::kLeave, &item);
  if (error != 0) return error;
  *folder = std::move(item.folder);
  return 0;
}

int OpenFolderItself(const std::string& path, UniqueFd* folder) {
  LocatedItem item;
  const int error = LocateItem(path, LastLink::kLeave, &item);
  if (error != 0) return error;
  return OpenLocatedFolder(item, folder);
}

int OpenOwnFolderItself(const std::string& path, UniqueFd* folder) {
  LocatedItem item;
  int error = LocateItem(path, LastLink::kLeave, &item);
  if (error != 0) return error;
  error = OpenLocatedFolder(item, folder);
  // Root may read every folder, as a rule; where he may not, others could have him change theirs.
  if (error != EACCES || ::geteuid() == 0 || OpenToOwner(item) != 0) return error;
  return OpenLocatedFolder(item, folder);
}

int MakeFolder(const std::string& path, mode_t mode) {
  LocatedItem item;
  const int error = LocateItem(path, LastLink::kLeave, &item);
  if (error != 0) return error;
  return Calls().mkdirat(item.folder.Get(), item.name.c_str(), mode) == 0 ? 0 : errno;
}

}  // namespace platform
