#include "fileutils/create_directory.h"

#include <cerrno>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <sys/types.h>
#include <unistd.h>

#include "log/api/level.h"
#include "platform/system_calls_for_testing.h"
#include "tests/fileutils/scoped_log_hooks.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace {

TEST(CreateDirectory, SucceedsWhereOwnerAndModeCannotBeSet) {
  const test::ScopedTempDir folder;
  platform::ScopedSystemCalls calls;
  calls->fchown = [](int, uid_t, gid_t) {
    errno = EPERM;
    return -1;
  };
  calls->fchmod = [](int, mode_t) {
    errno = EPERM;
    return -1;
  };
  EXPECT_TRUE(fileutils::CreateDirectory(folder.Join("a"), /*shouldSetPermission=*/true, nullptr));
  EXPECT_TRUE(test::IsThere(folder.Join("a")));
}

// The folders of two users that change places as soon as the owner of the first has been read: the
// message that tells the owner is the moment in between.
struct Exchange {
  inline static std::string first;
  inline static std::string second;
};

int ExchangeFolders(dunmar::LogLevel, const char*, const char*, const char*, const char*,
                    const char* format, ...) {
  if (std::string(format).find("owner =") == std::string::npos) return 0;
  EXPECT_EQ(rename(Exchange::first.c_str(), (Exchange::first + "-away").c_str()), 0);
  EXPECT_EQ(rename(Exchange::second.c_str(), Exchange::first.c_str()), 0);
  return 0;
}

TEST(CreateDirectory, GivesNobodyAFolderInTheFolderOfAnother) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const struct {
    uid_t uid;
    gid_t gid;
  } others[] = {{502, 20}, {501, 21}, {0, 0}};
  for (const auto& other : others) {
    SCOPED_TRACE(std::to_string(other.uid) + ":" + std::to_string(other.gid));
    const test::ScopedTempDir folder;
    Exchange::first = folder.Join("first");
    Exchange::second = folder.Join("second");
    test::MakeDirs(Exchange::first);
    test::SetOwner(Exchange::first, 501, 20);
    test::MakeDirs(Exchange::second);
    test::SetOwner(Exchange::second, other.uid, other.gid);
    const test::ScopedLogHooks hooks(ExchangeFolders);
    EXPECT_TRUE(fileutils::CreateDirectory(folder.Join("first/a/b"), /*shouldSetPermission=*/true,
                                           nullptr));
    for (const char* made : {"first/a", "first/a/b"}) {
      SCOPED_TRACE(made);
      EXPECT_EQ(test::GetOwner(folder.Join(made)), 0U);
      EXPECT_EQ(test::GetGroup(folder.Join(made)), getegid());
      EXPECT_EQ(test::GetMode(folder.Join(made)), 0775U);
    }
  }
}

TEST(CreateDirectory, DoesNotFollowAnothersLinkToWhatIsNotHis) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("real"));
  test::MakeLink(folder.Join("link"), "real");
  test::SetOwner(folder.Join("link"), 501, 20);
  EXPECT_FALSE(
      fileutils::CreateDirectory(folder.Join("link/a"), /*shouldSetPermission=*/false, nullptr));
  EXPECT_FALSE(test::IsThere(folder.Join("real/a")));
}

}  // namespace
