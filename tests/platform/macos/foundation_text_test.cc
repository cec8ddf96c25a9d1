#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "platform/atomic_write.h"
#include "platform/folder_creation.h"
#include "platform/folder_listing.h"
#include "platform/host.h"
#include "platform/item_query.h"
#include "platform/item_removal.h"
#include "platform/path_text.h"
#include "platform/path_walk.h"
#include "platform/property_list.h"
#include "platform/symbolic_link.h"
#include "platform/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

// Foundation's strings hold no other bytes than UTF-8: with such a path every operation fails as it
// does with any other path that names nothing.

namespace platform {
namespace {

// No UTF-8: a lone byte, a text cut off in a character, half of a surrogate pair.
constexpr const char* kTexts[] = {"a\xFF", "\xC3", "caf\xE9.txt", "\xED\xA0\xBD"};

TEST(NotUtf8, MakesNoTextOfAPath) {
  for (const char* text : kTexts) {
    SCOPED_TRACE(text);
    EXPECT_EQ(AppendingPathComponent(text, "x"), std::nullopt);
    EXPECT_EQ(AppendingPathComponent("x", text), std::nullopt);
    EXPECT_EQ(LastPathComponent(text), std::nullopt);
    EXPECT_EQ(DeletingLastPathComponent(text), std::nullopt);
    EXPECT_EQ(PathExtension(text), std::nullopt);
    EXPECT_EQ(DeletingPathExtension(text), std::nullopt);
    EXPECT_EQ(AppendingPathExtension(text, "x"), std::nullopt);
    EXPECT_EQ(AppendingPathExtension("x", text), std::nullopt);
    EXPECT_EQ(StandardizingPath(text), std::nullopt);
  }
}

TEST(NotUtf8, FailsAsAPathAndTouchesNothing) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("a"), "x");
  test::PutFile(dir.Join("folder/file"), "x");
  const test::Tree before = test::ReadTree(dir.Path());
  UniqueFd folder;
  ASSERT_EQ(OpenFolder(dir.Path(), &folder), 0);
  for (const char* text : kTexts) {
    SCOPED_TRACE(text);
    const std::string path = dir.Join(text);
    bool isFolder = true;
    EXPECT_FALSE(ItemExists(path, &isFolder));
    EXPECT_TRUE(isFolder);
    std::uint64_t size = 42;
    EXPECT_FALSE(GetItemSize(path, &size));
    EXPECT_EQ(size, 42U);
    std::string errorText;
    EXPECT_FALSE(CreateFolder(path, nullptr, &errorText));
    EXPECT_NE(errorText, "");
    EXPECT_FALSE(CreateFolder(path, nullptr, nullptr));
    errorText.clear();
    EXPECT_FALSE(RemoveItem(path, &errorText));
    EXPECT_NE(errorText, "");
    EXPECT_FALSE(RemoveItem(path, nullptr));
    errorText.clear();
    EXPECT_FALSE(RemoveSingleItem(path, &errorText));
    EXPECT_NE(errorText, "");
    std::vector<std::string> names = {"kept"};
    EXPECT_FALSE(ListFolder(path, &names));
    EXPECT_EQ(names, std::vector<std::string>{"kept"});
    WalkFolder(folder.Get(), path, [](const std::string& entry) {
      ADD_FAILURE() << entry;
      return WalkStep::kEnter;
    });
    EXPECT_FALSE(WriteFileAtomically(path, "new"));
    EXPECT_FALSE(CreateSymbolicLink(path, "x"));
    EXPECT_FALSE(CreateSymbolicLink(dir.Join("link"), text));
    std::string value = "kept";
    EXPECT_FALSE(ReadPropertyListString(path, "K", &value));
    EXPECT_FALSE(ReadPropertyListString(dir.Join("a"), text, &value));
    EXPECT_FALSE(DefaultHost().directories->HomeDirectoryForUser(text, &value));
    EXPECT_EQ(value, "kept");
    EXPECT_FALSE(DefaultHost().desktop->SetFolderIcon(dir.Join("a"), path));
  }
  EXPECT_EQ(test::ReadTree(dir.Path()), before);
}

TEST(NotUtf8, IsNoImage) {
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("folder"));
  for (const char* text : kTexts) {
    SCOPED_TRACE(text);
    EXPECT_TRUE(DefaultHost().desktop->SetFolderIcon(dir.Join(text), dir.Join("folder")));
  }
}

TEST(HasMacOSVersionNumbers, IsTrue) { EXPECT_TRUE(DefaultHost().info->HasMacOSVersionNumbers()); }

}  // namespace
}  // namespace platform
