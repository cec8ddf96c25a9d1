#include "platform/host.h"

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/host_for_testing.h"

namespace platform {

namespace {

class Nobody final : public ConsoleUserSource {
  [[nodiscard]] bool GetConsoleUser(ConsoleUser* /*user*/) override { return false; }
};

TEST(Host, IsTheRealOneUnlessReplaced) {
  EXPECT_EQ(&DefaultHost(), &CurrentHost());
  EXPECT_TRUE(HostIsDefaultForTesting());
}

TEST(Host, HasEveryMember) {
  EXPECT_NE(nullptr, DefaultHost().console);
  EXPECT_NE(nullptr, DefaultHost().directories);
  EXPECT_NE(nullptr, DefaultHost().identity);
  EXPECT_EQ(&SystemClock(), DefaultHost().clock);
  EXPECT_NE(nullptr, DefaultHost().info);
  EXPECT_NE(nullptr, DefaultHost().desktop);
}

TEST(ScopedHost, ReplacesOneMemberAndKeepsTheRest) {
  Nobody nobody;
  {
    ScopedHost host;
    host->console = &nobody;
    EXPECT_EQ(&nobody, CurrentHost().console);
    EXPECT_EQ(DefaultHost().directories, CurrentHost().directories);
    EXPECT_EQ(DefaultHost().identity, CurrentHost().identity);
    EXPECT_EQ(DefaultHost().clock, CurrentHost().clock);
    EXPECT_EQ(DefaultHost().info, CurrentHost().info);
    EXPECT_EQ(DefaultHost().desktop, CurrentHost().desktop);
    EXPECT_NE(&nobody, DefaultHost().console);
    EXPECT_FALSE(HostIsDefaultForTesting());
  }
  EXPECT_EQ(&DefaultHost(), &CurrentHost());
  EXPECT_TRUE(HostIsDefaultForTesting());
}

TEST(ScopedHost, Nests) {
  Nobody first;
  Nobody second;
  ScopedHost outer;
  outer->console = &first;
  outer->info = nullptr;
  {
    ScopedHost inner;
    inner->console = &second;
    EXPECT_EQ(&second, CurrentHost().console);
    EXPECT_EQ(nullptr, CurrentHost().info);
  }
  EXPECT_EQ(&first, CurrentHost().console);
  EXPECT_FALSE(HostIsDefaultForTesting());
}

}  // namespace

}  // namespace platform
