#include "platform/process_identity.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <sys/types.h>
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

// Refuses the first switches, or says that it does.
class ReluctantIdentity final : public ProcessIdentity {
 public:
  uid_t user = 501;
  int refusals = 0;
  int asked = 0;
  [[nodiscard]] uid_t EffectiveUser() override { return user; }
  [[nodiscard]] int SetEffectiveUser(uid_t newUser) override {
    ++asked;
    if (refusals-- > 0) return ENOMEM;
    user = newUser;
    return 0;
  }
};

TEST(RestoreEffectiveUser, AsksAtMostThreeTimesMore) {
  for (int refusals = 0; refusals <= 5; ++refusals) {
    SCOPED_TRACE(refusals);
    ReluctantIdentity identity;
    identity.refusals = refusals;
    RestoreEffectiveUser(identity, 0);
    EXPECT_EQ(identity.user, refusals <= 3 ? 0U : 501U);
    EXPECT_EQ(identity.asked, refusals <= 3 ? refusals + 1 : 4);
  }
}

TEST(RestoreEffectiveUser, IsContentWithAProcessThatIsThatUser) {
  ReluctantIdentity identity;
  identity.refusals = 5;
  RestoreEffectiveUser(identity, 501);
  EXPECT_EQ(identity.user, 501U);
  EXPECT_EQ(identity.asked, 1);
}

}  // namespace
}  // namespace platform
