#include "tests/support/resting_state.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "log/api/log_call.h"
#include "platform/host_for_testing.h"
#include "platform/system_calls_for_testing.h"
#include "tests/support/recording_logger.h"
#include "tests/support/run_apart.h"
#include "tests/support/run_in_root.h"

namespace {

// What the check of this file says is wrong.
std::string& OwnUnrest() {
  static std::string unrest;
  return unrest;
}

const test::RestingStateCheck kOwnCheck([] { return OwnUnrest(); });

TEST(DescribeUnrest, IsEmptyWhereAllIsWell) { EXPECT_EQ(test::DescribeUnrest(), ""); }

TEST(DescribeUnrest, NamesAChangedUmask) {
  test::RunInChild([] {
    umask(umask(0) ^ 0111);
    EXPECT_EQ(test::DescribeUnrest(), "umask changed\n");
  });
}

TEST(DescribeUnrest, NamesAChangedEffectiveUser) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::RunInChild([] {
    ASSERT_EQ(seteuid(501), 0);
    EXPECT_EQ(test::DescribeUnrest(), "effective user changed\n");
  });
}

TEST(DescribeUnrest, NamesAChangedWorkingFolder) {
  test::RunInChild([] {
    ASSERT_EQ(chdir("/"), 0);
    ASSERT_EQ(chdir("dev"), 0);
    EXPECT_EQ(test::DescribeUnrest(), "working folder changed\n");
  });
}

TEST(DescribeUnrest, NamesChangedVariables) {
  for (const std::string name : {"TZ", "LANG"}) {
    SCOPED_TRACE(name);
    test::RunInChild([&] {
      setenv(name.c_str(), "no such value", 1);
      EXPECT_EQ(test::DescribeUnrest(), name + " changed\n");
    });
  }
}

// Open descriptors are listed there. In a changed root it may lead nowhere.
bool HasListOfDescriptors() { return access("/dev/fd/.", R_OK) == 0; }

TEST(DescribeUnrest, NamesDescriptorsLeftOpen) {
  if (!HasListOfDescriptors()) GTEST_SKIP() << "/dev/fd: " << std::strerror(errno);
  test::RunInChild([] {
    ASSERT_EQ(dup2(STDERR_FILENO, 50), 50);
    EXPECT_EQ(test::DescribeUnrest(), "descriptor 50 left open\n");
  });
}

TEST(DescribeUnrest, NamesClosedDescriptors) {
  if (!HasListOfDescriptors()) GTEST_SKIP() << "/dev/fd: " << std::strerror(errno);
  test::RunInChild([] {
    close(STDERR_FILENO);
    EXPECT_EQ(test::DescribeUnrest(), "descriptor 2 closed\n");
  });
}

TEST(DescribeUnrest, NamesSignalsWhoseFateChanged) {
  const struct {
    int signal;
    const char* unrest;
  } rows[] = {{SIGPIPE, "SIGPIPE changed\n"}, {SIGXFSZ, "SIGXFSZ changed\n"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.unrest);
    test::RunInChild([&] {
      struct sigaction action = {};
      ASSERT_EQ(sigaction(row.signal, nullptr, &action), 0);
      std::signal(row.signal, action.sa_handler == SIG_IGN ? SIG_DFL : SIG_IGN);
      EXPECT_EQ(test::DescribeUnrest(), row.unrest);
    });
  }
}

TEST(DescribeUnrest, NamesALogCallLeftSet) {
  dunmar::SetLogCall(test::RecordingLogCall);
  const std::string unrest = test::DescribeUnrest();
  dunmar::SetLogCall(nullptr);
  EXPECT_EQ(unrest, "log call left set\n");
}

TEST(DescribeUnrest, NamesAReplacedHost) {
  const platform::ScopedHost host;
  EXPECT_EQ(test::DescribeUnrest(), "host left replaced\n");
}

TEST(DescribeUnrest, NamesReplacedSystemCalls) {
  const platform::ScopedSystemCalls calls;
  EXPECT_EQ(test::DescribeUnrest(), "system calls left replaced\n");
}

TEST(DescribeUnrest, HoldsWhatEveryCheckSays) {
  test::RunInChild([] {
    OwnUnrest() = "something of this file";
    umask(umask(0) ^ 0111);
    EXPECT_EQ(test::DescribeUnrest(), "umask changed\nsomething of this file\n");
  });
}

class Test : public testing::Test {
 public:
  explicit Test(const std::string& unrest) : unrest_(unrest) {}

 private:
  void TestBody() override { OwnUnrest() = unrest_; }
  std::string unrest_;
};

// Runs a test that does nothing but leave `unrest` behind, in a run of tests of its own.
test::ApartResult RunTestThatLeaves(const std::string& unrest) {
  return test::RunApart([&] {
    testing::RegisterTest("Extra", "Test", nullptr, nullptr, __FILE__, __LINE__,
                          [&] { return new Test(unrest); });
    testing::FLAGS_gtest_filter = "Extra.Test";
    testing::FLAGS_gtest_output = "";
    testing::FLAGS_gtest_repeat = 1;
    const bool failed = RUN_ALL_TESTS() != 0;
    fflush(nullptr);
    _exit(failed ? 1 : 0);
  });
}

TEST(RestingStateListener, FailsATestThatLeavesSomethingBehind) {
  const test::ApartResult result = RunTestThatLeaves("a mess");
  EXPECT_TRUE(result.failed);
  EXPECT_NE(result.output.find("left behind by this test or an earlier one:\na mess\n"),
            std::string::npos)
      << result.output;
  EXPECT_NE(result.output.find("[  FAILED  ] Extra.Test"), std::string::npos) << result.output;
}

TEST(RestingStateListener, LetsATestPassThatLeavesNothingBehind) {
  const test::ApartResult result = RunTestThatLeaves("");
  EXPECT_FALSE(result.failed);
  EXPECT_NE(result.output.find("[  PASSED  ] 1 test."), std::string::npos) << result.output;
}

}  // namespace
