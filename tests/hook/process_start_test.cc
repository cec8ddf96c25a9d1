#include "hook/process_start.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace hook {
namespace {

// Beyond any number that the tests close or open.
constexpr int kFirstSpareNumber = 100;

std::set<int> OpenNumbers() {
  std::set<int> numbers;
  for (int number = 0; number < 2 * kFirstSpareNumber; ++number) {
    if (fcntl(number, F_GETFD) != -1) numbers.insert(number);
  }
  return numbers;
}

// What a descriptor leads to. All zeroes where it is closed.
struct Target {
  dev_t device = 0;
  ino_t item = 0;
  int access = 0;
  bool operator==(const Target&) const = default;
};

Target TargetOf(int number) {
  struct stat status = {};
  const int flags = fcntl(number, F_GETFL);
  return fstat(number, &status) == 0 ? Target{status.st_dev, status.st_ino, flags & O_ACCMODE}
                                     : Target{};
}

Target TargetOf(const char* path, int access) {
  struct stat status = {};
  EXPECT_EQ(stat(path, &status), 0);
  return {status.st_dev, status.st_ino, access};
}

// The standard streams with some of them closed meanwhile, and their former selves put
// back at the end so that the test can report.
class ScopedClosedStreams {
 public:
  explicit ScopedClosedStreams(const std::vector<int>& closed) {
    for (int& copy : copies_) {
      copy = fcntl(static_cast<int>(&copy - copies_), F_DUPFD_CLOEXEC, kFirstSpareNumber);
    }
    for (const int stream : closed) close(stream);
  }
  ~ScopedClosedStreams() {
    for (const int& copy : copies_) {
      dup2(copy, static_cast<int>(&copy - copies_));
      close(copy);
    }
  }
  ScopedClosedStreams(const ScopedClosedStreams&) = delete;
  ScopedClosedStreams& operator=(const ScopedClosedStreams&) = delete;

 private:
  int copies_[3];
};

struct Row {
  const char* name;
  std::vector<int> closed;
};

const Row kRows[] = {
    {"none", {}},
    {"input", {0}},
    {"output", {1}},
    {"errors", {2}},
    {"ends", {0, 2}},
    {"input, output", {0, 1}},
    {"output, errors", {1, 2}},
    {"all", {0, 1, 2}},
};

// Runs PrepareProcess with the row's streams closed. Those must lead to `expected`
// afterwards, the others where they led before, and nothing else may have been opened.
void ExpectStreamsFilled(const Row& row, const Target& expected) {
  SCOPED_TRACE(row.name);
  const std::set<int> openBefore = OpenNumbers();
  Target wanted[3];
  for (int stream = 0; stream < 3; ++stream) wanted[stream] = TargetOf(stream);
  for (const int stream : row.closed) wanted[stream] = expected;
  Target found[3];
  std::set<int> openAfter;
  {
    const ScopedClosedStreams streams(row.closed);
    PrepareProcess();
    for (int stream = 0; stream < 3; ++stream) found[stream] = TargetOf(stream);
    openAfter = OpenNumbers();
  }
  for (int stream = 0; stream < 3; ++stream) {
    EXPECT_EQ(found[stream], wanted[stream]) << "stream " << stream;
  }
  for (int copy = 0; copy < 3; ++copy) openAfter.erase(kFirstSpareNumber + copy);
  EXPECT_EQ(openAfter, openBefore);
}

TEST(PrepareProcess, OpensMissingStandardStreamsOnTheNullDevice) {
  for (const Row& row : kRows) {
    test::RunInChild([&] { ExpectStreamsFilled(row, TargetOf("/dev/null", O_RDWR)); });
  }
}

TEST(PrepareProcess, OpensMissingStandardStreamsOnTheRootFolderWithoutNullDevice) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  for (const Row& row : kRows) {
    const test::ScopedTempDir root;
    test::RunInRoot(root.Path(), [&] { ExpectStreamsFilled(row, TargetOf("/", O_RDONLY)); });
  }
}

void (*Disposition(int signal))(int) {
  struct sigaction action = {};
  EXPECT_EQ(sigaction(signal, nullptr, &action), 0);
  return action.sa_handler;
}

TEST(PrepareProcess, IgnoresSignalsThatReportFailedWrites) {
  test::RunInChild([] {
    for (const int signal : {SIGPIPE, SIGXFSZ}) ASSERT_NE(std::signal(signal, SIG_DFL), SIG_ERR);
    PrepareProcess();
    EXPECT_EQ(Disposition(SIGPIPE), SIG_IGN);
    EXPECT_EQ(Disposition(SIGXFSZ), SIG_IGN);
  });
}

TEST(PrepareProcess, LeavesOtherSignalsAlone) {
  test::RunInChild([] {
    for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGUSR1, SIGCHLD}) {
      ASSERT_NE(std::signal(signal, SIG_DFL), SIG_ERR);
    }
    PrepareProcess();
    for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGUSR1, SIGCHLD}) {
      EXPECT_EQ(Disposition(signal), SIG_DFL) << signal;
    }
  });
}

TEST(PrepareProcess, TurnsAClosedPipeIntoAnError) {
  test::RunInChild([] {
    ASSERT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR);
    PrepareProcess();
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    errno = 0;
    EXPECT_EQ(write(ends[1], "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
  });
}

TEST(PrepareProcess, AddsWritingByOthersToTheUmask) {
  const struct {
    mode_t before;
    mode_t after;
  } rows[] = {{0000, 0002}, {0002, 0002}, {0020, 0022}, {0022, 0022},
              {0027, 0027}, {0070, 0072}, {0077, 0077}, {0111, 0113}};
  for (const auto& row : rows) {
    test::RunInChild([&] {
      umask(row.before);
      PrepareProcess();
      EXPECT_EQ(umask(0), row.after) << "before: " << row.before;
    });
  }
}

TEST(PrepareProcess, ChangesNothingTheSecondTime) {
  test::RunInChild([] {
    umask(0050);
    PrepareProcess();
    const std::set<int> open = OpenNumbers();
    PrepareProcess();
    EXPECT_EQ(OpenNumbers(), open);
    EXPECT_EQ(Disposition(SIGPIPE), SIG_IGN);
    EXPECT_EQ(umask(0), mode_t{0052});
  });
}

}  // namespace
}  // namespace hook
