#include "tests/support/tree.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <system_error>

#include "tests/support/files.h"

namespace test {

namespace {

char Kind(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFDIR:
      return 'd';
    case S_IFREG:
      return 'f';
    case S_IFLNK:
      return 'l';
    case S_IFIFO:
      return 'p';
    case S_IFSOCK:
      return 's';
    case S_IFCHR:
      return 'c';
    default:
      return 'b';
  }
}

void AddItem(const std::string& path, const std::string& relative, Tree* tree) {
  struct stat item = {};
  if (lstat(path.c_str(), &item) != 0) {
    ADD_FAILURE() << path << " cannot be examined";
    return;
  }
  const char kind = Kind(item.st_mode);
  std::string content;
  if (kind == 'f') content = GetFile(path).value_or("(unreadable)");
  if (kind == 'l') content = GetLink(path).value_or("(unreadable)");
  tree->insert({relative,
                {kind, static_cast<mode_t>(item.st_mode & 07777), item.st_uid, item.st_gid,
                 kind == 'd' ? nlink_t{0} : item.st_nlink, content}});
}

}  // namespace

Tree ReadTree(const std::string& root) {
  Tree tree;
  AddItem(root, "", &tree);
  const std::string prefix = root.back() == '/' ? root : root + "/";
  std::error_code error;
  std::filesystem::recursive_directory_iterator entry(root, error);
  for (; !error && entry != std::filesystem::recursive_directory_iterator();
       entry.increment(error)) {
    const std::string path = entry->path().string();
    AddItem(path, path.substr(prefix.size()), &tree);
  }
  if (error) ADD_FAILURE() << root << " cannot be read: " << error.message();
  return tree;
}

std::vector<std::string> CompareTrees(const Tree& before, const Tree& after) {
  std::map<std::string, char> changes;
  for (const auto& [path, item] : before) {
    const auto now = after.find(path);
    if (now == after.end()) {
      changes[path] = '-';
    } else if (now->second != item) {
      changes[path] = '~';
    }
  }
  for (const auto& [path, item] : after) {
    if (before.count(path) == 0) changes[path] = '+';
  }
  std::vector<std::string> lines;
  lines.reserve(changes.size());
  for (const auto& [path, sign] : changes) lines.push_back(std::string(1, sign) + " " + path);
  return lines;
}

}  // namespace test
