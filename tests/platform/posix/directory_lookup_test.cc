#include "platform/directory_lookup.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "platform/host.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace platform {
namespace {

TEST(PosixDirectoryLookup, TakesARelativeHomeFolderForNone) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::PutFile(root.Join("etc/nsswitch.conf"), "passwd: files\n");
  test::PutFile(root.Join("etc/passwd"),
                "root:x:0:0:Kim:home/kim:/bin/sh\n"
                "relative:x:1004:1004::home/relative:/bin/sh\n");
  test::RunInRoot(root.Path(), [] {
    EXPECT_EQ(DefaultHost().directories->HomeDirectory(), "/var/empty");
    std::string path = "before";
    EXPECT_TRUE(DefaultHost().directories->FindDirectory(1, 5, &path));
    EXPECT_EQ(path, "/var/empty/Library");
    path = "before";
    EXPECT_FALSE(DefaultHost().directories->HomeDirectoryForUser("relative", &path));
    EXPECT_EQ(path, "before");
  });
}

// Home folders are taken as they are written, less slashes too many.
TEST(PosixDirectoryLookup, LeavesTheNamesInAHomeFolderAlone) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const struct {
    const char* entry;
    const char* home;
  } rows[] = {
      {"/private/home/kim", "/private/home/kim"},
      {"//private//home/kim/", "/private/home/kim"},
      {"/var/automount/home/kim", "/var/automount/home/kim"},
      {"/private/var/automount/home/kim", "/private/var/automount/home/kim"},
      {"/home/./kim", "/home/./kim"},
      {"/home/x/../kim/", "/home/x/../kim"},
      {"/~/kim", "/~/kim"},
  };
  const test::ScopedTempDir root;
  test::PutFile(root.Join("etc/nsswitch.conf"), "passwd: files\n");
  // What the prefixes would be taken off for.
  test::MakeDirs(root.Join("home/kim"));
  test::MakeDirs(root.Join("home/x"));
  for (const auto& row : rows) {
    SCOPED_TRACE(row.entry);
    test::PutFile(root.Join("etc/passwd"),
                  std::string("root:x:0:0:Kim:") + row.entry + ":/bin/sh\n");
    test::RunInRoot(root.Path(), [&row] {
      EXPECT_EQ(DefaultHost().directories->HomeDirectory(), row.home);
      std::string path;
      EXPECT_TRUE(DefaultHost().directories->HomeDirectoryForUser("root", &path));
      EXPECT_EQ(path, row.home);
    });
  }
}

TEST(PosixDirectoryLookup, TellsNoHomeWhereTheAccountsCannotBeRead) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::PutFile(root.Join("etc/nsswitch.conf"), "passwd: files\n");
  test::MakeLink(root.Join("etc/passwd"), "passwd");
  const test::Tree before = test::ReadTree(root.Path());
  test::RunInRoot(root.Path(), [] {
    EXPECT_EQ(DefaultHost().directories->HomeDirectory(), std::nullopt);
    std::string path = "before";
    EXPECT_FALSE(DefaultHost().directories->FindDirectory(1, 5, &path));
    EXPECT_FALSE(DefaultHost().directories->HomeDirectoryForUser("root", &path));
    EXPECT_EQ(path, "before");
  });
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(root.Path())), std::vector<std::string>());
}

}  // namespace
}  // namespace platform
