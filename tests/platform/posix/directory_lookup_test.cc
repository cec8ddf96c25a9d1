#include "platform/directory_lookup.h"

#include <gtest/gtest.h>
#include <string>

#include "platform/host.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

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

}  // namespace
}  // namespace platform
