#include "fileutils/create_directory.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <sys/types.h>

#include "platform/system_calls_for_testing.h"
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
