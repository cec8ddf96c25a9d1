#include "log/log_setup.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/log/real_console_user.h"
#include "tests/log/recording_target.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/tree.h"

namespace {

TEST(SetLogFile, MakesNothingBehindARealUsersLinkToAFolderOfRoots) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::Person mia = {501, 20};
  const struct {
    const char* link;
    const char* destination;
  } rows[] = {
      {"Users/mia/Library", "/canary"},
      {"Users/mia/Library/Logs", "/canary"},
      {"Users/mia/Library/Logs/Caldris", "/canary"},
      {"Users/mia/Library/Logs/Caldris/Ixer", "/canary"},
      {"Users/mia/Library/Logs/Caldris/Ixer", "/canary/missing"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.link) + " " + row.destination);
    const test::MiasRoot root(mia);
    test::MakeDirs(root.Join("canary"));
    const std::string link = root.Join(row.link);
    test::MakeDirs(link.substr(0, link.rfind('/')));
    test::MakeLink(link, row.destination);
    test::SetOwner(link, mia.uid, mia.gid);
    const test::Tree before = test::ReadTree(root.Join("canary"));
    test::RunInRoot(root.folder.Path(), [&] {
      const test::RealMachine machine(mia);
      test::RecordingTarget target;
      (void)dunmar::SetLogFile(target, "Ixer.log", nullptr);
    });
    EXPECT_EQ(test::CompareTrees(before, test::ReadTree(root.Join("canary"))),
              std::vector<std::string>{});
    EXPECT_EQ(test::GetLink(link), row.destination);
  }
}

}  // namespace
