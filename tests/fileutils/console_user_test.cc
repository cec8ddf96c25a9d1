#include "fileutils/console_user.h"

#include <gtest/gtest.h>
#include <optional>

#include "tests/support/fake_host.h"

namespace {

TEST(FindConsoleUser, IsWhomThePlatformNames) {
  test::FakeHost host;
  host.console.user = {.name = "mia", .uid = 501, .gid = 20};
  const std::optional<platform::ConsoleUser> user = fileutils::FindConsoleUser();
  ASSERT_TRUE(user);
  EXPECT_EQ(user->name, "mia");
  EXPECT_EQ(user->uid, 501U);
  EXPECT_EQ(user->gid, 20U);
}

TEST(FindConsoleUser, IsNobodyWhereThePlatformNamesNobody) {
  const test::FakeHost host;
  EXPECT_FALSE(fileutils::FindConsoleUser());
}

TEST(FindConsoleUser, IsNobodyWithoutAName) {
  test::FakeHost host;
  host.console.user = {.name = "", .uid = 501, .gid = 20};
  EXPECT_FALSE(fileutils::FindConsoleUser());
}

TEST(FindConsoleUser, IsNobodyAtTheLoginWindow) {
  test::FakeHost host;
  for (const uid_t uid : {0U, 88U}) {
    host.console.user = {.name = "loginwindow", .uid = uid, .gid = 0};
    EXPECT_FALSE(fileutils::FindConsoleUser());
  }
}

TEST(FindConsoleUser, TakesOnlyThatNameForTheLoginWindow) {
  test::FakeHost host;
  host.console.user = {.name = "loginwindow2", .uid = 502, .gid = 20};
  EXPECT_TRUE(fileutils::FindConsoleUser());
}

}  // namespace
