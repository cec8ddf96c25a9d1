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
  for (const test::MiasLink& link : test::kMiasLinks) {
    SCOPED_TRACE(std::string(link.place) + " " + link.destination);
    const test::MiasRoot root(mia);
    PutMiasLink(root, mia, link);
    const test::Tree before = test::ReadTree(root.Join("canary"));
    test::RunInRoot(root.folder.Path(), [&] {
      const test::RealMachine machine(mia);
      test::RecordingTarget target;
      (void)dunmar::SetLogFile(target, "Ixer.log", nullptr);
    });
    EXPECT_EQ(test::CompareTrees(before, test::ReadTree(root.Join("canary"))),
              std::vector<std::string>{});
    EXPECT_EQ(test::GetLink(root.Join(link.place)), link.destination);
  }
}

}  // namespace
