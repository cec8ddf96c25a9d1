#include "tests/support/run_in_root.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/files.h"
#include "tests/support/mount_memory.h"
#include "tests/support/resting_state.h"
#include "tests/support/run_apart.h"
#include "tests/support/scoped_temp_dir.h"

#if __has_include(<linux/capability.h>)
#include <grp.h>
#include <linux/capability.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#endif

namespace {

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

std::string WorkingFolder() {
  const std::unique_ptr<char, void (*)(void*)> path(getcwd(nullptr, 0), std::free);
  return path == nullptr ? "" : path.get();
}

class RunInRoot : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  }
  const test::ScopedTempDir root_;
};

class RunInRootWithMounts : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  }
  const test::ScopedTempDir root_;
};

TEST_F(RunInRoot, HasTheFolderAsItsRootAndWorkingFolder) {
  test::PutFile(root_.Join("there"), "x");
  test::RunInRoot(root_.Path(), [&] {
    EXPECT_EQ(test::GetFile("/there"), "x");
    EXPECT_FALSE(test::IsThere(root_.Path()));
    EXPECT_EQ(WorkingFolder(), "/");
    test::PutFile("/new/file", "y");
  });
  EXPECT_EQ(test::GetFile(root_.Join("new/file")), "y");
}

TEST_F(RunInRoot, RunsTheBodyAsRoot) {
  test::RunInRoot(root_.Path(), [] { EXPECT_EQ(geteuid(), 0u); });
}

TEST_F(RunInRoot, LeavesTheCallersProcessAlone) {
  test::RunInRoot(root_.Path(), [] {
    umask(0123);
    setenv("TZ", "Nowhere", 1);
    EXPECT_GE(open("/", O_RDONLY), 0);
    std::signal(SIGPIPE, SIG_IGN);
  });
  EXPECT_EQ(test::DescribeUnrest(), "");
}

TEST_F(RunInRoot, ShowsTheBodyNoDescriptorsOfItsOwn) {
  const int next = dup(STDIN_FILENO);
  close(next);
  test::RunInRoot(root_.Path(), [&] { EXPECT_EQ(dup(STDIN_FILENO), next); });
}

TEST_F(RunInRoot, LeavesNoChildBehind) {
  test::RunInRoot(root_.Path(), [] {});
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(RunInRoot, FailsTheTestWithTheFailuresOfTheBody) {
  const test::ApartResult result = test::RunApart(
      [&] { test::RunInRoot(root_.Path(), [] { EXPECT_EQ(1, 2) << "on purpose"; }); });
  EXPECT_TRUE(result.failed);
  EXPECT_TRUE(Contains(result.output, "on purpose")) << result.output;
  EXPECT_TRUE(Contains(result.output, "the body failed in the child process, see above"))
      << result.output;
}

// The first process of a process namespace would not notice these signals.
TEST_F(RunInRoot, FailsTheTestWhereTheBodyDiesOfASignal) {
  const struct {
    int signal;
    const char* text;
  } rows[] = {{SIGTERM, "Terminated"}, {SIGKILL, "Killed"}, {SIGABRT, "Abort"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const test::ApartResult result =
        test::RunApart([&] { test::RunInRoot(root_.Path(), [&] { raise(row.signal); }); });
    EXPECT_TRUE(result.failed);
    EXPECT_TRUE(Contains(result.output, std::string("the child process died: ") + row.text))
        << result.output;
  }
}

TEST_F(RunInRoot, FailsTheTestWithTheReasonWhereThereIsNoRoot) {
  const test::ApartResult result = test::RunApart(
      [&] { test::RunInRoot(root_.Join("missing"), [] { std::puts("the body ran"); }); });
  EXPECT_TRUE(result.failed);
  EXPECT_TRUE(
      Contains(result.output, "chroot " + root_.Path() + "/missing: No such file or directory"))
      << result.output;
  EXPECT_FALSE(Contains(result.output, "the body ran"));
}

TEST_F(RunInRoot, CanBeCalledByABody) {
  test::MakeDirs(root_.Join("inner"));
  test::RunInRoot(root_.Path(),
                  [] { test::RunInRoot("/inner", [] { test::PutFile("/file", "x"); }); });
  EXPECT_EQ(test::GetFile(root_.Join("inner/file")), "x");
}

TEST_F(RunInRootWithMounts, MountsTheProcOfItsOwnProcesses) {
  test::RunInRoot(root_.Path(),
                  [] {
                    EXPECT_EQ(test::GetLink("/proc/self"), std::to_string(getpid()));
                    EXPECT_EQ(test::GetLink("/proc/self/root"), "/");
                    EXPECT_LT(getpid(), 10);
                  },
                  {.mountProc = true, .beforeChangeRoot = {}});
  // Of the child's mounts nothing is seen here.
  EXPECT_TRUE(test::IsThere(root_.Join("proc")));
  EXPECT_FALSE(test::IsThere(root_.Join("proc/self")));
}

TEST_F(RunInRootWithMounts, HasNamespacesOfItsOwn) {
  std::map<std::string, std::optional<std::string>> before;
  for (const char* name : {"mnt", "ipc", "pid"}) {
    before[name] = test::GetLink(std::string("/proc/self/ns/") + name);
    EXPECT_NE(before[name], std::nullopt) << name;
  }
  test::RunInRoot(root_.Path(),
                  [&] {
                    for (const auto& [name, text] : before) {
                      const std::optional<std::string> own = test::GetLink("/proc/self/ns/" + name);
                      EXPECT_NE(own, std::nullopt) << name;
                      EXPECT_NE(own, text) << name;
                    }
                  },
                  {.mountProc = true, .beforeChangeRoot = {}});
}

TEST_F(RunInRootWithMounts, CallsBeforeChangeRootWithThePathsOfTheMachine) {
  test::MakeDirs(root_.Join("a"));
  test::RunInRoot(
      root_.Path(), [] { EXPECT_EQ(test::GetFile("/a/file"), "x"); },
      {.mountProc = false, .beforeChangeRoot = [&] { test::PutFile(root_.Join("a/file"), "x"); }});
}

TEST_F(RunInRootWithMounts, StopsBeforeTheBodyWhereBeforeChangeRootFails) {
  const test::ApartResult result = test::RunApart([&] {
    test::RunInRoot(
        root_.Path(), [] { std::puts("the body ran"); },
        {.mountProc = false, .beforeChangeRoot = [] { ADD_FAILURE() << "on purpose"; }});
  });
  EXPECT_TRUE(result.failed);
  EXPECT_TRUE(Contains(result.output, "on purpose")) << result.output;
  EXPECT_TRUE(Contains(result.output, "beforeChangeRoot failed in the child process, see above"))
      << result.output;
  EXPECT_FALSE(Contains(result.output, "the body ran"));
}

TEST_F(RunInRootWithMounts, FailsTheTestWithTheReasonWhereProcCannotBeMounted) {
  test::PutFile(root_.Join("proc"), "in the way");
  const test::ApartResult result = test::RunApart([&] {
    test::RunInRoot(root_.Path(), [] { std::puts("the body ran"); },
                    {.mountProc = true, .beforeChangeRoot = {}});
  });
  EXPECT_TRUE(result.failed);
  EXPECT_TRUE(Contains(result.output, "mount " + root_.Path() + "/proc: Not a directory"))
      << result.output;
  EXPECT_FALSE(Contains(result.output, "the body ran"));
}

TEST(WhyNoRoot, IsEmptyWhereARootCanBeHadAndNowhereElse) {
  const test::ScopedTempDir root;
  const test::ApartResult result = test::RunApart([&] { test::RunInRoot(root.Path(), [] {}); });
  EXPECT_EQ(test::WhyNoRoot().empty(), !result.failed) << result.output;
  EXPECT_EQ(test::DescribeUnrest(), "");
}

TEST(WhyNoMounts, IsEmptyWhereProcCanBeMountedAndNowhereElse) {
  const test::ScopedTempDir root;
  const test::ApartResult result = test::RunApart(
      [&] { test::RunInRoot(root.Path(), [] {}, {.mountProc = true, .beforeChangeRoot = {}}); });
  EXPECT_EQ(test::WhyNoMounts().empty(), !result.failed) << result.output;
}

TEST(WhyNoRealRoot, IsEmptyWhereRootCanBecomeSomebodyElseAndNowhereElse) {
  bool realRoot = false;
  if (test::WhyNoRoot().empty()) {
    realRoot = !test::RunApart([] {
                  EXPECT_EQ(geteuid(), 0u);
                  EXPECT_EQ(seteuid(501), 0);
                }).failed;
  }
  EXPECT_EQ(test::WhyNoRealRoot().empty(), realRoot) << test::WhyNoRealRoot();
}

TEST(RunInChild, RunsTheBodyInAnotherProcess) {
  const test::ScopedTempDir folder;
  const pid_t caller = getpid();
  test::RunInChild([&] {
    EXPECT_NE(getpid(), caller);
    EXPECT_EQ(getppid(), caller);
    test::PutFile(folder.Join("ran"), "");
  });
  EXPECT_TRUE(test::IsThere(folder.Join("ran")));
}

TEST(RunInChild, LeavesTheCallersProcessAlone) {
  test::RunInChild([] {
    umask(0123);
    setenv("LANG", "xx", 1);
    close(STDIN_FILENO);
    EXPECT_EQ(chdir("/"), 0);
  });
  EXPECT_EQ(test::DescribeUnrest(), "");
}

TEST(RunInChild, LeavesNoChildBehind) {
  test::RunInChild([] {});
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST(RunInChild, FailsTheTestWithTheFailuresOfTheBody) {
  const test::ApartResult result =
      test::RunApart([] { test::RunInChild([] { ADD_FAILURE() << "on purpose"; }); });
  EXPECT_TRUE(result.failed);
  EXPECT_TRUE(Contains(result.output, "on purpose")) << result.output;
  EXPECT_TRUE(Contains(result.output, "the body failed in the child process, see above"))
      << result.output;
}

TEST(RunInChild, LeavesTheBodyAtAFailedAssertionAndRunsOnAfterIt) {
  const test::ApartResult result = test::RunApart([] {
    test::RunInChild([] {
      ASSERT_TRUE(false);
      std::puts("still in the body");
    });
    std::puts("after the body");
  });
  EXPECT_TRUE(result.failed);
  EXPECT_FALSE(Contains(result.output, "still in the body"));
  EXPECT_TRUE(Contains(result.output, "after the body"));
}

TEST(RunInChild, DoesNotTakeAnEarlierFailureForOneOfTheBody) {
  const test::ApartResult result = test::RunApart([] {
    ADD_FAILURE() << "earlier";
    test::RunInChild([] {});
  });
  EXPECT_TRUE(Contains(result.output, "earlier"));
  EXPECT_FALSE(Contains(result.output, "the body failed")) << result.output;
}

TEST(RunInChild, FailsTheTestWhereTheBodySkips) {
  const test::ApartResult result =
      test::RunApart([] { test::RunInChild([] { GTEST_SKIP() << "on purpose"; }); });
  EXPECT_TRUE(result.failed);
}

TEST(RunInChild, FailsTheTestWhereTheBodyExits) {
  const test::ApartResult result = test::RunApart([] { test::RunInChild([] { std::exit(0); }); });
  EXPECT_TRUE(result.failed);
  EXPECT_TRUE(Contains(result.output, "the child process exited early with status 0"))
      << result.output;
}

TEST(RunInChild, FailsTheTestWhereTheBodyDies) {
  const test::ApartResult result = test::RunApart([] { test::RunInChild([] { raise(SIGTERM); }); });
  EXPECT_TRUE(result.failed);
  EXPECT_TRUE(Contains(result.output, "the child process died: Terminated")) << result.output;
}

// Caught by nobody: an exception must not run on in the caller's code a second time.
TEST(RunInChild, FailsTheTestWhereTheBodyThrows) {
  const test::ApartResult result = test::RunApart([] {
    test::RunInChild([] {
      close(STDERR_FILENO);
      throw std::runtime_error("on purpose");
    });
  });
  EXPECT_TRUE(result.failed);
  EXPECT_TRUE(Contains(result.output, "the child process died: Abort")) << result.output;
}

TEST(RunInChild, WritesBufferedOutputOnce) {
  const test::ApartResult result = test::RunApart([] {
    std::fputs("(before)", stdout);
    test::RunInChild([] { std::fputs("(inside)", stdout); });
    std::fputs("(after)", stdout);
  });
  EXPECT_FALSE(result.failed);
  EXPECT_EQ(result.output, "(before)(inside)(after)");
}

#if __has_include(<linux/capability.h>)

// What a process needs for namespaces and mounts.
void DropSystemAdministration() {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[2] = {};
  ASSERT_EQ(syscall(SYS_capget, &header, data), 0);
  data[0].effective &= ~(1u << CAP_SYS_ADMIN);
  ASSERT_EQ(syscall(SYS_capset, &header, data), 0);
}

TEST_F(RunInRootWithMounts, HidesMountsFromTheMachine) {
  test::MakeDirs(root_.Join("a"));
  test::RunInRoot(root_.Path(), [] { EXPECT_EQ(test::GetFile("/a/file"), "x"); },
                  {.mountProc = false, .beforeChangeRoot = [&] {
                     ASSERT_EQ(mount("tmpfs", root_.Join("a").c_str(), "tmpfs", 0, nullptr), 0);
                     test::PutFile(root_.Join("a/file"), "x");
                   }});
  EXPECT_TRUE(test::IsThere(root_.Join("a")));
  EXPECT_FALSE(test::IsThere(root_.Join("a/file")));
}

TEST_F(RunInRoot, ChangesTheRootEvenWhereRootIsRefusedNamespaces) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::RunInChild([&] {
    DropSystemAdministration();
    test::RunInRoot(root_.Path(), [] { test::PutFile("/file", "x"); });
  });
  EXPECT_EQ(test::GetFile(root_.Join("file")), "x");
}

TEST_F(RunInRoot, FailsTheTestWithTheReasonWhereMountsAreRefused) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::RootOptions rows[] = {
      {.mountProc = true, .beforeChangeRoot = {}},
      {.mountProc = false, .beforeChangeRoot = [] {}},
  };
  for (const test::RootOptions& options : rows) {
    SCOPED_TRACE(options.mountProc ? "mountProc" : "beforeChangeRoot");
    const test::ApartResult result = test::RunApart([&] {
      DropSystemAdministration();
      test::RunInRoot(
          root_.Path(), [] { std::puts("the body ran"); }, options);
    });
    EXPECT_TRUE(result.failed);
    EXPECT_TRUE(Contains(result.output, "unshare: Operation not permitted")) << result.output;
    EXPECT_FALSE(Contains(result.output, "the body ran"));
  }
}

// Their answers are kept for the life of a process, so that this takes a new one.
TEST(WhyNoRoot, AndTheOthersHoldForRootWithLessPowerToo) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  if (access("/proc/self/exe", X_OK) != 0) GTEST_SKIP() << "/proc is not mounted";
  const struct {
    const char* name;
    unsigned long capability;
  } rows[] = {
      {"CAP_SYS_ADMIN", CAP_SYS_ADMIN},
      {"CAP_SYS_CHROOT", CAP_SYS_CHROOT},
      {"CAP_SETUID", CAP_SETUID},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const test::ApartResult result = test::RunApart([&] {
      ASSERT_EQ(prctl(PR_CAPBSET_DROP, row.capability, 0, 0, 0), 0);
      execl("/proc/self/exe", "tests", "--gtest_filter=WhyNo*.Is*", nullptr);
    });
    EXPECT_FALSE(result.failed) << result.output;
    EXPECT_TRUE(Contains(result.output, "[  PASSED  ] 3 tests.")) << result.output;
  }
}

TEST(WhyNoMountsAs, TellsTheSameAsWhyNoMountsForRootItself) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  EXPECT_EQ(test::WhyNoMountsAs(0, 0), test::WhyNoMounts());
}

TEST(WhyNoOverlays, TellsWhetherAnOverlayCanBeMounted) {
  const test::ScopedTempDir root;
  const test::ApartResult result = test::RunApart([&] {
    test::RunInRoot(
        root.Path(), [] {},
        {.mountProc = false, .beforeChangeRoot = [&] {
           test::MountMemory(root.Join("layers"));
           for (const std::string name : {"lower", "upper", "work", "all"}) {
             test::MakeDirs(root.Join("layers/" + name));
           }
           const std::string options = "lowerdir=" + root.Join("layers/lower") +
                                       ",upperdir=" + root.Join("layers/upper") +
                                       ",workdir=" + root.Join("layers/work");
           ASSERT_EQ(mount("none", root.Join("layers/all").c_str(), "overlay", 0, options.c_str()),
                     0);
         }});
  });
  EXPECT_EQ(test::WhyNoOverlays().empty(), !result.failed)
      << test::WhyNoOverlays() << result.output;
}

TEST_F(RunInRootWithMounts, IsRootOfAUserNamespaceForAnOrdinaryUser) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  if (const std::string why = test::WhyNoMountsAs(501, 20); !why.empty()) GTEST_SKIP() << why;
  test::SetOwner(root_.Path(), 501, 20);
  test::RunInChild([&] {
    ASSERT_EQ(setgroups(0, nullptr), 0);
    ASSERT_EQ(setgid(20), 0);
    ASSERT_EQ(setuid(501), 0);
    // The change of user has closed /proc/self to the process itself; a program that an
    // ordinary user starts has it open.
    ASSERT_EQ(prctl(PR_SET_DUMPABLE, 1), 0);
    test::RunInRoot(root_.Path(),
                    [] {
                      EXPECT_EQ(getuid(), 0u);
                      EXPECT_EQ(getgid(), 0u);
                      EXPECT_EQ(test::GetLink("/proc/self"), std::to_string(getpid()));
                      test::PutFile("/file", "x");
                    },
                    {.mountProc = true, .beforeChangeRoot = {}});
  });
  EXPECT_EQ(test::GetOwner(root_.Join("file")), 501u);
  EXPECT_EQ(test::GetGroup(root_.Join("file")), 20u);
}

#endif

}  // namespace
