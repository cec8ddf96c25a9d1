#include "platform/folder_listing.h"

#include <cstddef>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/directory_stream.h"
#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/platform/folder_names.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

using test::List;
using test::Names;
using test::Walk;
using test::WalkAt;

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
    EXPECT_EQ((Names{"b", "b/unsearchable"}), Walk(At("a")));
  });
}

TEST_F(PosixWalkFolderTest, RemovesInTheFolderWhereItIsWhereverThatWasMoved) {
  test::PutFile(At("a/b/c/first"), "x");
  test::PutFile(At("a/b/c/second"), "x");
  test::PutFile(At("outside/c/first"), "kept");
  test::PutFile(At("outside/c/second"), "kept");
  bool isMoved = false;
  WalkAt(At("a"), [&](const std::string& entry) {
    if (!entry.starts_with("b/c/")) return WalkStep::kEnter;
    if (!std::exchange(isMoved, true)) {
      EXPECT_EQ(0, ::rename(At("a/b").c_str(), At("moved").c_str()));
      test::MakeLink(At("a/b"), "../outside");
    }
    return WalkStep::kRemove;
  });
  EXPECT_EQ(Names{}, List(At("moved/c")));
  EXPECT_EQ((Names{"first", "second"}), List(At("outside/c")));
}

TEST_F(PosixWalkFolderTest, EndsThoughSomebodyMakesEntriesAllTheTime) {
  // More than one call reads.
  constexpr int kEntries = 4000;
  for (int i = 0; i < kEntries; ++i) test::PutFile(At("a/" + std::to_string(i)), "");
  int visits = 0;
  WalkAt(At("a"), [&](const std::string& /*entry*/) {
    ++visits;
    if (visits < 10 * kEntries) test::PutFile(At("a/new" + std::to_string(visits)), "");
    return WalkStep::kRemove;
  });
  EXPECT_LE(visits, kEntries);
}

TEST_F(PosixWalkFolderTest, NeedsNoMoreDescriptorsTheDeeperItIs) {
  constexpr int kDepth = 100;
  std::string path = "a";
  for (int i = 0; i < kDepth; ++i) path += "/d";
  test::MakeDirs(At(path));
  test::RunInChild([&] {
    const UniqueFd lowest(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const rlim_t few = static_cast<rlim_t>(lowest.Get()) + 10;
    const rlimit limit = {.rlim_cur = few, .rlim_max = few};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
    EXPECT_EQ(static_cast<std::size_t>(kDepth), Walk(At("a")).size());
  });
}

TEST_F(PosixWalkFolderTest, LooksAtNoEntryWhoseKindTheFileSystemTells) {
  static int looks;
  looks = 0;
  test::PutFile(At("a/sub/file"), "x");
  test::PutFile(At("a/sub/other"), "x");
  bool isTold = true;
  {
    DirectoryStream stream;
    const char* name = nullptr;
    unsigned char type = DT_UNKNOWN;
    ASSERT_EQ(0, stream.Open(AT_FDCWD, At("a/sub").c_str()));
    ASSERT_EQ(0, stream.Next(&name, &type));
    isTold = type != DT_UNKNOWN;
  }
  ScopedSystemCalls calls;
  calls->fstatat = [](int folder, const char* name, struct stat* found, int flags) {
    ++looks;
    return ::fstatat(folder, name, found, flags);
  };
  WalkAt(At("a"), [](const std::string& entry) {
    return entry == "sub/other" ? WalkStep::kPass : WalkStep::kRemove;
  });
  // Of the one that is passed nobody asks the kind.
  EXPECT_EQ(isTold ? 0 : 2, looks);
}

TEST(PosixWalkFolder, ReportsMountPointsAndDoesNotEnterThem) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("tree/plain/inner"), "x");
  test::MakeDirs(dir.Join("tree/mount"));
  test::MakeDirs(dir.Join("tree/bind"));
  test::RunInRoot(dir.Path(),
                  [] {
                    EXPECT_EQ(Walk("/tree"), (Names{"bind", "mount", "plain", "plain/inner"}));
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
