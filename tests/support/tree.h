#ifndef TESTS_SUPPORT_TREE_H_
#define TESTS_SUPPORT_TREE_H_

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace test {

// One item of a tree, as far as a program can change it on purpose. Times are left out.
struct TreeItem {
  char kind;  // 'd' folder, 'f' file, 'l' link, 'p' FIFO, 's' socket, 'c' or 'b' device
  mode_t mode;
  uid_t owner;
  gid_t group;
  nlink_t names;        // hard links; 0 for folders, whose count depends on the file system
  std::string content;  // of a file; the text of a link
  bool operator==(const TreeItem&) const = default;
};

// Everything below a folder (and the folder itself, as ""), by path relative to it. Links are
// not followed, other file systems are entered.
using Tree = std::map<std::string, TreeItem>;
[[nodiscard]] Tree ReadTree(const std::string& root);

// What became of a tree: lines "+ path", "- path" and "~ path", in the order of the paths,
// empty for equal trees. A folder counts as changed only for its mode and owner.
[[nodiscard]] std::vector<std::string> CompareTrees(const Tree& before, const Tree& after);

}  // namespace test

#endif  // TESTS_SUPPORT_TREE_H_
