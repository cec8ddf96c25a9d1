#include "platform/symbolic_link.h"

#include <gtest/gtest.h>
#include <string>

#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {
namespace {

TEST(CreateSymbolicLink, TakesAnyOtherBytes) {
  const test::ScopedTempDir dir;
  EXPECT_TRUE(CreateSymbolicLink(dir.Join("\xFF\x01"), "\x80\n"));
  EXPECT_EQ(test::GetLink(dir.Join("\xFF\x01")), "\x80\n");
}

TEST(CreateSymbolicLink, FailsBehindALinkToSomebodyElsesFolder) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("folder"));
  test::MakeLink(dir.Join("way"), "folder");
  test::SetOwner(dir.Join("way"), 501, 501);
  EXPECT_FALSE(CreateSymbolicLink(dir.Join("way/link"), "x"));
  EXPECT_FALSE(test::IsThere(dir.Join("folder/link")));

  test::SetOwner(dir.Join("folder"), 501, 501);
  EXPECT_TRUE(CreateSymbolicLink(dir.Join("way/link"), "x"));
}

}  // namespace
}  // namespace platform
