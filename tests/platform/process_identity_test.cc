#include "platform/process_identity.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "platform/host.h"
#include "tests/support/run_in_root.h"

namespace platform {
namespace {

TEST(ProcessIdentity, ReportsTheEffectiveUser) {
  EXPECT_EQ(DefaultHost().identity->EffectiveUser(), geteuid());
}

TEST(ProcessIdentity, SwitchesThereAndBack) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::RunInChild([] {
    ProcessIdentity& identity = *DefaultHost().identity;
    EXPECT_EQ(identity.SetEffectiveUser(1000), 0);
    EXPECT_EQ(geteuid(), 1000U);
    EXPECT_EQ(getuid(), 0U);
    EXPECT_EQ(identity.EffectiveUser(), 1000U);
    EXPECT_EQ(identity.SetEffectiveUser(0), 0);
    EXPECT_EQ(geteuid(), 0U);
    EXPECT_EQ(identity.EffectiveUser(), 0U);
  });
}

TEST(ProcessIdentity, ReportsARefusalAndChangesNothing) {
  if (const std::string why = test::WhyNoRealRoot(); geteuid() == 0 && !why.empty()) {
    GTEST_SKIP() << why;
  }
  test::RunInChild([] {
    if (geteuid() == 0) {
      ASSERT_EQ(setuid(1000), 0);
    }
    const uid_t before = geteuid();
    EXPECT_EQ(DefaultHost().identity->SetEffectiveUser(0), EPERM);
    EXPECT_EQ(geteuid(), before);
  });
}

}  // namespace
}  // namespace platform
