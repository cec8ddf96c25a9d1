#include "platform/host_info.h"

#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/host.h"
#include "tests/support/known_faults.h"

namespace platform {
namespace {

TEST(HostInfo, KnowsTheVersionOfTheSystem) {
  OperatingSystemVersion version;
  ASSERT_TRUE(DefaultHost().info->GetOperatingSystemVersion(&version));
  EXPECT_GT(version.major, 0);
  EXPECT_GE(version.minor, 0);
  EXPECT_GE(version.patch, 0);
}

// What they are is the user's business; how they are written is not.
TEST(HostInfo, WritesLanguagesWithHyphens) {
  for (const std::string& language : DefaultHost().info->PreferredLanguages()) {
    SCOPED_TRACE(language);
    EXPECT_NE(language, "");
    EXPECT_EQ(language.find_first_of("_.@:"), std::string::npos);
  }
}

TEST(HostInfo, WritesTheLocaleWithoutACodeset) {
  EXPECT_EQ(DefaultHost().info->CurrentLocaleIdentifier().find('.'), std::string::npos);
}

TEST(HostInfo, KnowsTheFileThatRuns) {
  std::string path;
  ASSERT_TRUE(DefaultHost().info->GetExecutablePath(&path));
  EXPECT_TRUE(path.starts_with('/')) << path;
  struct stat info {};
  ASSERT_EQ(stat(path.c_str(), &info), 0) << path;
  EXPECT_TRUE(S_ISREG(info.st_mode)) << path;
  EXPECT_EQ(access(path.c_str(), X_OK), 0) << path;
}

TEST(HostInfo, TakesTheFolderOfABareProgramForItsBundle) {
  if (test::HasFault(test::Fault::kTakesAFolderOfItsOwnForBundle)) {
    GTEST_SKIP() << "GNUstep takes another folder";
  }
  std::string executable;
  ASSERT_TRUE(DefaultHost().info->GetExecutablePath(&executable));
  std::string bundle;
  ASSERT_TRUE(DefaultHost().info->GetBundlePath(&bundle));
  EXPECT_EQ(bundle, executable.substr(0, executable.rfind('/')));
}

}  // namespace
}  // namespace platform
