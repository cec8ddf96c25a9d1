#include "fileutils/login_user_switch_guard.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <unistd.h>
#include <vector>

#include "fileutils/login_user_switch_guard_for_testing.h"
#include "platform/console_user.h"
#include "platform/host_for_testing.h"
#include "platform/named_recursive_lock_for_testing.h"
#include "platform/process_identity.h"
#include "tests/support/fake_host.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace {

using fileutils::LoginUserSwitchGuard;
using test::CallRecord;

static_assert(!std::is_copy_constructible_v<LoginUserSwitchGuard>);
static_assert(!std::is_copy_assignable_v<LoginUserSwitchGuard>);

const std::optional<platform::ConsoleUser> kMia = {{.name = "mia", .uid = 501, .gid = 20}};

TEST(LoginUserSwitchGuard, MakesTheProcessTheConsoleUserAndThenWhatItWas) {
  test::FakeHost host;
  host.console.user = kMia;
  host.identity.user = 7;
  {
    const LoginUserSwitchGuard guard;
    EXPECT_EQ(host.identity.user, 501U);
    EXPECT_EQ(host.calls, (CallRecord{"GetConsoleUser", "SetEffectiveUser(501)"}));
  }
  EXPECT_EQ(host.identity.user, 7U);
  EXPECT_EQ(host.calls,
            (CallRecord{"GetConsoleUser", "SetEffectiveUser(501)", "SetEffectiveUser(7)"}));
}

TEST(LoginUserSwitchGuard, SwitchesNeitherWayForTheConsoleUser) {
  test::FakeHost host;
  host.console.user = kMia;
  host.identity.user = 501;
  { const LoginUserSwitchGuard guard; }
  EXPECT_EQ(host.calls, CallRecord{"GetConsoleUser"});
}

TEST(LoginUserSwitchGuard, DoesNotSwitchWithNobodyAtTheConsole) {
  const std::optional<platform::ConsoleUser> nobodies[] = {
      std::nullopt,
      {{.name = "", .uid = 501, .gid = 20}},
      {{.name = "loginwindow", .uid = 88, .gid = 88}},
  };
  for (const auto& nobody : nobodies) {
    SCOPED_TRACE(nobody ? nobody->name : "no answer");
    test::FakeHost host;
    host.console.user = nobody;
    { const LoginUserSwitchGuard guard; }
    EXPECT_EQ(host.calls, CallRecord{"GetConsoleUser"});
  }
}

TEST(LoginUserSwitchGuard, GoesOnAfterARefusedSwitchAndStillSwitchesBack) {
  test::FakeHost host;
  host.console.user = kMia;
  host.identity.user = 1000;
  host.identity.error = EPERM;
  {
    const LoginUserSwitchGuard guard;
    EXPECT_EQ(host.identity.user, 1000U);
  }
  EXPECT_EQ(host.identity.user, 1000U);
  EXPECT_EQ(host.calls,
            (CallRecord{"GetConsoleUser", "SetEffectiveUser(501)", "SetEffectiveUser(1000)"}));
}

TEST(LoginUserSwitchGuard, FindsNothingToDoInsideAnother) {
  test::FakeHost host;
  host.console.user = kMia;
  {
    const LoginUserSwitchGuard outer;
    { const LoginUserSwitchGuard inner; }
    EXPECT_EQ(host.identity.user, 501U);
  }
  EXPECT_EQ(host.identity.user, 0U);
  EXPECT_EQ(host.calls, (CallRecord{"GetConsoleUser", "SetEffectiveUser(501)", "GetConsoleUser",
                                    "SetEffectiveUser(0)"}));
}

TEST(LoginUserSwitchGuard, SwitchesBackWhenTheGuardedCodeThrows) {
  test::FakeHost host;
  host.console.user = kMia;
  EXPECT_THROW(
      {
        const LoginUserSwitchGuard guard;
        throw 1;
      },
      int);
  EXPECT_EQ(host.identity.user, 0U);
}

// Whoever is asked has no memory left for an answer.
class ThrowingConsole final : public platform::ConsoleUserSource {
 public:
  [[nodiscard]] bool GetConsoleUser(platform::ConsoleUser*) override {
    EXPECT_EQ(platform::CountHeldLocksForTesting(), 1);
    throw std::bad_alloc();
  }
};

TEST(LoginUserSwitchGuard, GivesItsLockBackWhereTheLookupOfTheUserThrows) {
  test::FakeHost host;
  ThrowingConsole console;
  platform::ScopedHost replaced;
  replaced->console = &console;
  EXPECT_THROW({ const LoginUserSwitchGuard guard; }, std::bad_alloc);
  EXPECT_EQ(platform::CountHeldLocksForTesting(), 0);
  EXPECT_TRUE(host.calls.empty());
}

// Refuses to become root again for some time, as a kernel without memory does.
class ReluctantIdentity final : public platform::ProcessIdentity {
 public:
  uid_t user = 0;
  int refusals = 0;
  std::vector<uid_t> asked;
  [[nodiscard]] uid_t EffectiveUser() override { return user; }
  [[nodiscard]] int SetEffectiveUser(uid_t newUser) override {
    asked.push_back(newUser);
    if (newUser == 0 && refusals-- > 0) return ENOMEM;
    user = newUser;
    return 0;
  }
};

TEST(LoginUserSwitchGuard, TriesTheWayBackThreeTimesMore) {
  for (const int refusals : {1, 3, 4}) {
    SCOPED_TRACE(refusals);
    test::FakeHost host;
    host.console.user = kMia;
    ReluctantIdentity identity;
    identity.refusals = refusals;
    platform::ScopedHost replaced;
    replaced->identity = &identity;
    { const LoginUserSwitchGuard guard; }
    EXPECT_EQ(identity.user, refusals <= 3 ? 0U : 501U);
    EXPECT_EQ(identity.asked.size(), refusals == 1 ? 3U : 5U);
  }
}

TEST(LoginUserSwitchGuard, HasANamedLockOfItsOwn) {
  const test::FakeHost host;
  const LoginUserSwitchGuard outer;
  const LoginUserSwitchGuard inner;
  EXPECT_EQ(LockForTesting(outer).Name(), "SwitchToLoginUserCriticalSection");
  EXPECT_EQ(LockForTesting(inner).Name(), "SwitchToLoginUserCriticalSection");
  EXPECT_NE(&LockForTesting(outer), &LockForTesting(inner));
}

TEST(LoginUserSwitchGuard, NeverWaitsForAnother) {
  const test::FakeHost host;
  const LoginUserSwitchGuard guard;
  std::thread([] { const LoginUserSwitchGuard other; }).join();
}

TEST(LoginUserSwitchGuard, SwitchesTheRealEffectiveUserAndNotTheRealOne) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::RunInChild([] {
    test::CallRecord calls;
    test::FakeConsole console(&calls);
    console.user = kMia;
    platform::ScopedHost host;
    host->console = &console;
    {
      const LoginUserSwitchGuard guard;
      EXPECT_EQ(geteuid(), 501U);
      EXPECT_EQ(getuid(), 0U);
    }
    EXPECT_EQ(geteuid(), 0U);
    EXPECT_THROW(
        {
          const LoginUserSwitchGuard guard;
          throw 1;
        },
        int);
    EXPECT_EQ(geteuid(), 0U);
  });
}

TEST(LoginUserSwitchGuard, IsHarmlessInAProcessWithoutPrivilege) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::RunInChild([] {
    test::CallRecord calls;
    test::FakeConsole console(&calls);
    console.user = kMia;
    platform::ScopedHost host;
    host->console = &console;
    ASSERT_EQ(setuid(1000), 0);
    {
      const LoginUserSwitchGuard guard;
      EXPECT_EQ(geteuid(), 1000U);
    }
    EXPECT_EQ(geteuid(), 1000U);
  });
}

}  // namespace
