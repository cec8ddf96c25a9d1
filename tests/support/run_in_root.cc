#include "tests/support/run_in_root.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#if __has_include(<sched.h>)
#include <sched.h>
#endif
// Only where there are namespaces are the arguments of mount those used here.
#ifdef CLONE_NEWNS
#include <grp.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#endif

namespace test {

namespace {

// What a child has to say to its parent, in memory that both have: a pipe would be an open
// descriptor that the body can see and close.
struct Report {
  bool finished;  // set last; false where the child died, or left by exit
  char text[4096 - sizeof(bool)];
};

std::string WithErrno(const std::string& what) {
  const int error = errno;
  return what + ": " + std::strerror(error);
}

std::string DescribeEnd(int status) {
  if (WIFSIGNALED(status)) {
    return std::string("the child process died: ") + strsignal(WTERMSIG(status));
  }
  return "the child process exited early with status " + std::to_string(WEXITSTATUS(status));
}

// Never returns and never throws: nothing of the caller's may go on twice. _exit, so that
// neither the test program's summary nor a search for leaks runs in the child.
[[noreturn]] void ReportAndExit(const std::function<std::string()>& run, Report* report) noexcept {
  const std::string text = run();
  text.copy(report->text, sizeof report->text - 1);
  std::fflush(nullptr);
  report->finished = true;
  _exit(0);
}

// Runs `run` in a child process. What `run` says is wrong, or how the child died before it
// could; empty where all went well.
std::string RunForked(const std::function<std::string()>& run) {
  void* memory =
      mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANON, -1, 0);
  if (memory == MAP_FAILED) return WithErrno("mmap");
  Report* report = static_cast<Report*>(memory);
  std::fflush(nullptr);  // what is buffered now would be written twice
  const pid_t child = fork();
  if (child == 0) ReportAndExit(run, report);
  std::string text;
  if (child < 0) {
    text = WithErrno("fork");
  } else {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    text = report->finished ? report->text : DescribeEnd(status);
  }
  munmap(memory, sizeof(Report));
  return text;
}

class FailureWatch final : public testing::EmptyTestEventListener {
 public:
  bool failed = false;

 private:
  // A skip counts: the calling test would pass without having tested anything.
  void OnTestPartResult(const testing::TestPartResult& result) override {
    if (!result.passed()) failed = true;
  }
};

// The failures themselves are printed as they happen.
std::string RunWatched(const std::function<void()>& run, const std::string& name) {
  testing::TestEventListeners& listeners = testing::UnitTest::GetInstance()->listeners();
  auto* watch = new FailureWatch;
  listeners.Append(watch);  // owns it: `run` may leave by exit
  run();
  const std::unique_ptr<testing::TestEventListener> owned(listeners.Release(watch));
  return watch->failed ? name + " failed in the child process, see above" : "";
}

#ifdef CLONE_NEWNS

std::string Put(const std::string& path, const std::string& text) {
  std::FILE* file = std::fopen(path.c_str(), "we");
  if (file == nullptr) return WithErrno(path);
  const bool written = std::fputs(text.c_str(), file) >= 0;
  return std::fclose(file) == 0 && written ? "" : WithErrno(path);
}

// The process namespace is one for the children of the calling process.
std::string MakeNamespaces() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  const int own = user == 0 ? 0 : CLONE_NEWUSER;
  if (unshare(CLONE_NEWNS | CLONE_NEWIPC | CLONE_NEWPID | own) != 0) return WithErrno("unshare");
  if (own != 0) {
    std::string why = Put("/proc/self/setgroups", "deny");
    if (why.empty()) why = Put("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    if (why.empty()) why = Put("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    if (!why.empty()) return why;
  }
  if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return WithErrno("mount /");
  return "";
}

// Root may change its root folder without namespaces too, as in a container that refuses them.
std::string LeaveMachine(bool toMount) {
  const bool root = geteuid() == 0;
  const std::string why = MakeNamespaces();
  return root && !toMount ? "" : why;
}

std::string BecomeUser(uid_t user, gid_t group) {
  if (setgroups(0, nullptr) != 0 || setgid(group) != 0 || setuid(user) != 0) {
    return WithErrno("setuid");
  }
  // The change of user has closed /proc/self to the process itself; a program that an ordinary user
  // starts has it open.
  return prctl(PR_SET_DUMPABLE, 1) == 0 ? "" : WithErrno("prctl");
}

std::string MountProc(const std::string& folder) {
  if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) return WithErrno("mkdir " + folder);
  if (mount("proc", folder.c_str(), "proc", 0, nullptr) != 0) return WithErrno("mount " + folder);
  return "";
}

// On memory, in place of what is at the folder.
std::string MountOverlay(const std::string& folder) {
  if (mount("none", folder.c_str(), "tmpfs", 0, nullptr) != 0) return WithErrno("mount " + folder);
  for (const char* const name : {"/lower", "/upper", "/work", "/all"}) {
    if (mkdir((folder + name).c_str(), 0755) != 0) return WithErrno("mkdir " + folder + name);
  }
  const std::string options =
      "lowerdir=" + folder + "/lower,upperdir=" + folder + "/upper,workdir=" + folder + "/work";
  if (mount("none", (folder + "/all").c_str(), "overlay", 0, options.c_str()) != 0) {
    return WithErrno("mount an overlay");
  }
  return "";
}

#else

std::string LeaveMachine(bool) { return "no namespaces on this system"; }

std::string BecomeUser(uid_t, gid_t) { return "no namespaces on this system"; }

std::string MountProc(const std::string&) { return "no namespaces on this system"; }

std::string MountOverlay(const std::string&) { return "no namespaces on this system"; }

#endif

std::string ChangeRoot(const std::string& root) {
  if (chroot(root.c_str()) != 0) return WithErrno("chroot " + root);
  if (chdir("/") != 0) return WithErrno("chdir /");
  return "";
}

// The first process of the process namespace.
std::string RunBelow(const std::string& root, const std::function<void()>& body,
                     const RootOptions& options) {
  std::string why;
  if (options.beforeChangeRoot) why = RunWatched(options.beforeChangeRoot, "beforeChangeRoot");
  if (why.empty() && options.mountProc) why = MountProc(root + "/proc");
  if (why.empty()) why = ChangeRoot(root);
  if (!why.empty()) return why;
  // One more: signals of its own do nothing to the first process of a namespace.
  return RunForked([&] { return RunWatched(body, "the body"); });
}

}  // namespace

std::string WhyNoRoot() {
  static const std::string why = RunForked([] {
    const std::string refusal = LeaveMachine(/*toMount=*/false);
    return refusal.empty() ? ChangeRoot("/") : refusal;
  });
  return why;
}

std::string WhyNoMounts() {
  static const std::string why = RunForked([] {
    const std::string refusal = LeaveMachine(/*toMount=*/true);
    return refusal.empty() ? RunForked([] { return MountProc("/proc"); }) : refusal;
  });
  return WhyNoRoot().empty() ? why : WhyNoRoot();
}

std::string WhyNoMountsAs(uid_t user, gid_t group) {
  return RunForked([&] {
    std::string refusal = BecomeUser(user, group);
    if (refusal.empty()) refusal = LeaveMachine(/*toMount=*/true);
    return refusal.empty() ? RunForked([] { return MountProc("/proc"); }) : refusal;
  });
}

std::string WhyNoOverlays() {
  static const std::string why = RunForked([] {
    const std::string refusal = LeaveMachine(/*toMount=*/true);
    return refusal.empty() ? RunForked([] { return MountOverlay("/proc"); }) : refusal;
  });
  return WhyNoMounts().empty() ? why : WhyNoMounts();
}

std::string WhyNoRealRoot() {
  static const std::string why = RunForked([]() -> std::string {
    if (geteuid() != 0) return "not root";
    return seteuid(1000) == 0 ? "" : WithErrno("not the real root: seteuid");
  });
  return WhyNoRoot().empty() ? why : WhyNoRoot();
}

void RunInRoot(const std::string& root, const std::function<void()>& body,
               const RootOptions& options) {
  const std::string why = RunForked([&] {
    const std::string refusal = LeaveMachine(options.mountProc || options.beforeChangeRoot);
    return refusal.empty() ? RunForked([&] { return RunBelow(root, body, options); }) : refusal;
  });
  if (!why.empty()) ADD_FAILURE() << why;
}

void RunInChild(const std::function<void()>& body) {
  const std::string why = RunForked([&] { return RunWatched(body, "the body"); });
  if (!why.empty()) ADD_FAILURE() << why;
}

}  // namespace test
