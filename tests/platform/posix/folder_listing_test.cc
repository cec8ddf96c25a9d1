#include "platform/folder_listing.h"

#include <gtest/gtest.h>
#include <string>
#include <sys/mount.h>
#include <unistd.h>

#include "tests/platform/folder_names.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

using test::List;
using test::Names;
using test::Walk;

constexpr uid_t kUser = 1001;

class PosixFolderListingTest : public testing::Test {
 protected:
  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }

 private:
  test::ScopedTempDir dir_;
};

using PosixListFolderTest = PosixFolderListingTest;

TEST_F(PosixListFolderTest, GivesNamesOfAnyBytes) {
  test::PutFile(At("a/\xff \n"), "x");
  EXPECT_EQ(Names{"\xff \n"}, List(At("a")));
}

TEST_F(PosixListFolderTest, FailsBehindALinkToSomebodyElsesFolder) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("folder/file"), "x");
  test::MakeLink(At("link"), "folder");
  test::SetOwner(At("link"), kUser, kUser);
  EXPECT_EQ(Names{"failed"}, List(At("link")));
  test::SetOwner(At("folder"), kUser, kUser);
  EXPECT_EQ(Names{"file"}, List(At("link")));
}

using PosixWalkFolderTest = PosixFolderListingTest;

TEST_F(PosixWalkFolderTest, YieldsNothingBehindALinkToSomebodyElsesFolder) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("folder/file"), "x");
  test::MakeLink(At("link"), "folder");
  test::SetOwner(At("link"), kUser, kUser);
  EXPECT_EQ(Names(), Walk(At("link")));
  test::SetOwner(At("folder"), kUser, kUser);
  EXPECT_EQ(Names{"file"}, Walk(At("link")));
}

TEST_F(PosixWalkFolderTest, PassesOverWhatCannotBeSearched) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("a/b/unsearchable/x"), "x");
  test::SetMode(At("a/b/unsearchable"), 0744);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(kUser));
    EXPECT_EQ((Names{"b/", "b/unsearchable/"}), Walk(At("a")));
  });
}

TEST(PosixWalkFolder, ReportsMountPointsAndDoesNotEnterThem) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("tree/plain/inner"), "x");
  test::MakeDirs(dir.Join("tree/mount"));
  test::MakeDirs(dir.Join("tree/bind"));
  test::RunInRoot(dir.Path(),
                  [] {
                    EXPECT_EQ(Walk("/tree"), (Names{"bind/", "mount/", "plain/", "plain/inner"}));
                  },
                  {.beforeChangeRoot = [&] {
                    ASSERT_EQ(0,
                              ::mount("none", dir.Join("tree/mount").c_str(), "tmpfs", 0, nullptr));
                    test::PutFile(dir.Join("tree/mount/new"), "x");
                    ASSERT_EQ(0, ::mount(dir.Join("tree/plain").c_str(),
                                         dir.Join("tree/bind").c_str(), nullptr, MS_BIND, nullptr));
                  }});
}

}  // namespace

}  // namespace platform
