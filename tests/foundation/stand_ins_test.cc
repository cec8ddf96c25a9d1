#include "tests/foundation/stand_ins.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <vector>

#include "platform/host.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

// What the macOS half makes of the answers of the frameworks that are stood in for.

namespace platform {
namespace {

TEST(MacDesktop, GivesTheWorkspaceTheImageOrNone) {
  const test::ScopedTempDir dir;
  const std::string content(kMaxIconFileBytes, 'i');
  test::PutFile(dir.Join("icon.icns"), "icns");
  test::PutFile(dir.Join("empty.icns"), "");
  test::PutFile(dir.Join("largest.icns"), content);
  test::PutFile(dir.Join("larger.icns"), content + "i");
  test::MakeFifo(dir.Join("fifo.icns"));
  test::MakeDirs(dir.Join("folder"));
  const struct {
    const char* name;
    const char* image;
  } rows[] = {
      {"icon.icns", "4 bytes"}, {"empty.icns", "0 bytes"}, {"largest.icns", "16777216 bytes"},
      {"larger.icns", "none"},  {"fifo.icns", "none"},     {"folder", "none"},
      {"missing", "none"},      {"\xFF", "none"}};
  test::RunInChild([&] {
    for (const auto& row : rows) {
      SCOPED_TRACE(row.name);
      EXPECT_TRUE(DefaultHost().desktop->SetFolderIcon(dir.Join(row.name), dir.Join("folder")));
      EXPECT_EQ(test::SetIcons().back(), std::string(row.image) + " -> " + dir.Join("folder"));
    }
    EXPECT_EQ(test::SetIcons().size(), std::size(rows));
  });
}

TEST(MacDesktop, GivesTheWorkspaceNoImageBehindTheLinkOfAStranger) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("icon.icns"), "icns");
  test::MakeLink(dir.Join("link.icns"), "icon.icns");
  test::SetOwner(dir.Join("link.icns"), 501, 501);
  test::MakeDirs(dir.Join("folder"));
  test::RunInChild([&dir] {
    EXPECT_TRUE(DefaultHost().desktop->SetFolderIcon(dir.Join("link.icns"), dir.Join("folder")));
    EXPECT_EQ(test::SetIcons(), std::vector<std::string>{"none -> " + dir.Join("folder")});
    test::SetOwner(dir.Join("icon.icns"), 501, 501);
    EXPECT_TRUE(DefaultHost().desktop->SetFolderIcon(dir.Join("link.icns"), dir.Join("folder")));
    EXPECT_EQ(test::SetIcons().back(), "4 bytes -> " + dir.Join("folder"));
  });
}

class MacVersionTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
    test::PutFile(root_.Join("etc/os-release"), "VERSION_ID=10.8.5\n");
  }

  // "10.8.5", by the call that was chosen.
  void ExpectVersion(bool tells) const {
    test::RunInRoot(root_.Path(), [tells] {
      test::SetTellsOperatingSystemVersion(tells);
      OperatingSystemVersion version;
      EXPECT_TRUE(DefaultHost().info->GetOperatingSystemVersion(&version));
      EXPECT_EQ(version.major, 10);
      EXPECT_EQ(version.minor, 8);
      EXPECT_EQ(version.patch, 5);
    });
  }

 private:
  test::ScopedTempDir root_;
};

TEST_F(MacVersionTest, IsThatOfTheProcess) { ExpectVersion(/*tells=*/true); }

TEST_F(MacVersionTest, IsGestaltsWhereTheProcessDoesNotTell) { ExpectVersion(/*tells=*/false); }

// "sys1", "sys2", "sys3".
constexpr unsigned int kSelectors[] = {0x73797331, 0x73797332, 0x73797333};

TEST(MacVersion, IsAskedOfGestaltNumberByNumberUntilOneFails) {
  for (std::size_t asked = 1; asked <= std::size(kSelectors); ++asked) {
    SCOPED_TRACE(asked);
    test::RunInChild([asked] {
      test::SetTellsOperatingSystemVersion(/*tells=*/false);
      test::SetFailingSelector(kSelectors[asked - 1]);
      OperatingSystemVersion version = {.major = 1, .minor = 2, .patch = 3};
      EXPECT_FALSE(DefaultHost().info->GetOperatingSystemVersion(&version));
      EXPECT_EQ(version.major, 1);
      EXPECT_EQ(version.minor, 2);
      EXPECT_EQ(version.patch, 3);
      EXPECT_EQ(test::GestaltSelectors(),
                std::vector<unsigned int>(kSelectors, kSelectors + asked));
    });
  }
}

TEST(MacVersion, IsNotAskedOfGestaltWhereTheProcessTells) {
  OperatingSystemVersion version;
  EXPECT_TRUE(DefaultHost().info->GetOperatingSystemVersion(&version));
  EXPECT_EQ(test::GestaltSelectors(), std::vector<unsigned int>());
}

class MacConsoleTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
    test::PutFile(root_.Join("etc/nsswitch.conf"), "passwd: files\n");
    test::PutFile(root_.Join("etc/passwd"), "Jörg:x:1001:1006::/home/joerg:/bin/sh\n");
    test::MakeDirs(root_.Join("dev"));
  }

  [[nodiscard]] const std::string& Root() const { return root_.Path(); }

 private:
  test::ScopedTempDir root_;
};

TEST_F(MacConsoleTest, NamesWhoSitsThere) {
  const std::string device = Root() + "/dev/console";
  ASSERT_EQ(mknod(device.c_str(), S_IFCHR | 0600, makedev(1, 3)), 0);
  test::SetOwner(device, 1001, 5);
  test::RunInRoot(Root(), [] {
    ConsoleUser user;
    ASSERT_TRUE(DefaultHost().console->GetConsoleUser(&user));
    EXPECT_EQ(user.name, "Jörg");
    EXPECT_EQ(user.uid, 1001U);
    EXPECT_EQ(user.gid, 1006U);
  });
}

TEST_F(MacConsoleTest, NamesNobodyAndLeavesTheUser) {
  test::RunInRoot(Root(), [] {
    ConsoleUser user = {.name = "before", .uid = 7, .gid = 8};
    EXPECT_FALSE(DefaultHost().console->GetConsoleUser(&user));
    EXPECT_EQ(user.name, "before");
    EXPECT_EQ(user.uid, 7U);
    EXPECT_EQ(user.gid, 8U);
  });
}

}  // namespace
}  // namespace platform
