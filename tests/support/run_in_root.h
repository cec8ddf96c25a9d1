#ifndef TESTS_SUPPORT_RUN_IN_ROOT_H_
#define TESTS_SUPPORT_RUN_IN_ROOT_H_

#include <functional>
#include <string>
#include <sys/types.h>

namespace test {

struct RootOptions {
  bool mountProc = false;  // /proc of the child's own process namespace, below the new root
  // Called in the child after the namespaces are made and before the root is changed, for
  // mounts. Paths are still those of the machine.
  std::function<void()> beforeChangeRoot;
};

// Why RunInRoot cannot work here, empty where it can. For GTEST_SKIP:
//   if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
[[nodiscard]] std::string WhyNoRoot();

// As WhyNoRoot, and says so too where nothing can be mounted: for tests that use RootOptions.
// (Root can change its root folder even where namespaces are refused.)
[[nodiscard]] std::string WhyNoMounts();

// As WhyNoMounts, for root's child that becomes this user for good.
[[nodiscard]] std::string WhyNoMountsAs(uid_t user, gid_t group);

// As WhyNoMounts, and says so too where no overlay file system can be mounted.
[[nodiscard]] std::string WhyNoOverlays();

// As WhyNoRoot, and says so too where the process is not the machine's real root: for tests
// that need several real uids (chown, seteuid).
[[nodiscard]] std::string WhyNoRealRoot();

// Runs `body` in a child process with mount, IPC and process namespaces of its own (a user
// namespace too where the caller is not root), whose root folder is `root`. Failures of
// expectations in `body` fail the calling test, and so does a child that dies; its output
// appears in the test's. `body` runs with working folder "/". Nothing that it does to the
// process (uids, umask, descriptors, environment) reaches the caller. A skip belongs before the
// call: in `body` it is a failure.
void RunInRoot(const std::string& root, const std::function<void()>& body,
               const RootOptions& options = {});

// Runs `body` in a child process in the same way, without any change of root or namespaces:
// for what would spoil the test program's own process.
void RunInChild(const std::function<void()>& body);

}  // namespace test

#endif  // TESTS_SUPPORT_RUN_IN_ROOT_H_
