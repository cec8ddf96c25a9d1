// Many processes log to one file, each through a registry, a front end and a target of its own.

#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "log/log_target_default.h"
#include "log/log_target_for_testing.h"
#include "log/log_target_registry.h"
#include "log/logger.h"
#include "platform/clock.h"
#include "platform/host_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/scoped_time_zone.h"
#include "tests/support/tree.h"

namespace {

using Fields = dunmar::LogTargetForTesting;

// 14 November 2023, 22:13:20 UTC. Not ahead of the real time, by which the lock knows a dead
// creator.
constexpr std::int64_t kEvening = 1700000000;

// A clock that all processes share, and on which a second passes each time that one of them looks:
// checks of the size come due, and no two copies get the same name.
class SharedClock final : public platform::Clock {
 public:
  SharedClock()
      : memory_(
            mmap(nullptr, sizeof(Seconds), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANON, -1, 0)) {
    EXPECT_NE(memory_, MAP_FAILED);
    seconds_ = new (memory_) Seconds(kEvening);
  }
  ~SharedClock() { munmap(memory_, sizeof(Seconds)); }
  SharedClock(const SharedClock&) = delete;
  SharedClock& operator=(const SharedClock&) = delete;

  [[nodiscard]] platform::TimeOfDay Now() override { return {.seconds = ++*seconds_}; }

 private:
  using Seconds = std::atomic<std::int64_t>;
  static_assert(Seconds::is_always_lock_free);

  void* memory_;
  Seconds* seconds_;
};

// Where processes meet.
class Pipe {
 public:
  Pipe() {
    std::array<int, 2> ends = {-1, -1};
    EXPECT_EQ(pipe(ends.data()), 0);
    out_ = platform::UniqueFd(ends[0]);
    in_ = platform::UniqueFd(ends[1]);
  }

  // One step of the other side is told, or waited for.
  void Tell() const { EXPECT_EQ(write(in_.Get(), "!", 1), 1); }
  [[nodiscard]] bool Await() const {
    char step = 0;
    return read(out_.Get(), &step, 1) == 1;
  }
  // Nothing comes from here: the others see the end when nobody can tell them anything any more.
  void CloseIn() { in_ = {}; }
  // Waits for that.
  void AwaitEnd() const {
    while (Await()) {
    }
  }

 private:
  platform::UniqueFd out_;
  platform::UniqueFd in_;
};

struct RecordName {
  int writer = 0;
  int number = 0;
  bool operator==(const RecordName&) const = default;
};

constexpr std::size_t kMessageBytes = 4000;

// No two alike anywhere, so that a mixture of two shows.
std::string MakeMessage(const RecordName& name) {
  std::string message = "<" + std::to_string(name.writer) + "/" + std::to_string(name.number) + ":";
  unsigned int state = static_cast<unsigned int>(name.writer * 1000003 + name.number + 1);
  while (message.size() < kMessageBytes) {
    state = state * 1664525U + 1013904223U;
    message += static_cast<char>('a' + (state >> 24) % 26);
  }
  return message + ">";
}

// Which record a message says that it is.
std::optional<RecordName> NameOf(std::string_view message) {
  RecordName name;
  const char* const end = message.data() + message.size();
  if (!message.starts_with("<")) return std::nullopt;
  const auto writer = std::from_chars(message.data() + 1, end, name.writer);
  if (writer.ec != std::errc() || writer.ptr == end || *writer.ptr != '/') return std::nullopt;
  const auto number = std::from_chars(writer.ptr + 1, end, name.number);
  if (number.ec != std::errc() || number.ptr == end || *number.ptr != ':') return std::nullopt;
  return name;
}

// What stands before a message: the time, then this.
constexpr std::string_view kMiddle = " | [INFO] |  |  |  |  |  |  |  | 0 | ";
constexpr std::size_t kTimeBytes = 21;  // "11/16/26 06:20:56:007"

// A process's own way to log to the file.
class Writer {
 public:
  explicit Writer(const std::string& path) {
    Fields::FilePath(target_) = path;
    Fields::LogThreadId(target_) = false;
    Fields::SessionHeader(target_) = {.topLine = "header", .entries = {}, .bottomLine = ""};
    EXPECT_TRUE(dunmar::LogTargetRegistry::Instance().Register(&target_));
  }
  ~Writer() { EXPECT_TRUE(dunmar::LogTargetRegistry::Instance().Unregister(&target_)); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void Write(const RecordName& name) { logger_.Info("%s", MakeMessage(name).c_str()); }

 private:
  dunmar::LogTargetDefault target_{"shared"};
  dunmar::Logger logger_{"shared"};
};

pid_t Fork(const std::function<void()>& body) {
  const pid_t child = fork();
  if (child != 0) return child;
  body();
  _exit(testing::Test::HasFailure() ? 1 : 0);
}

int AwaitChild(pid_t child) {
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

// The set of semaphores of the file; -1 where there is none.
int FindSet(const std::string& path) { return semget(ftok(path.c_str(), 11), 0, 0); }

// Calls `body` with a folder for logs, where it can be had in namespaces of its own: whatever
// becomes of the processes, no set of theirs stays then.
void RunWithLogs(const std::function<void(const std::string& folder)>& body) {
  const test::ScopedTempDir root;
  test::MakeDirs(root.Join("logs"));
  const auto run = [&](const std::string& top) {
    const test::ScopedTimeZone zone("UTC0");
    test::FakeHost host;
    host.directories.home = top + "/home";
    host.clock.now.seconds = kEvening;
    body(top + "/logs");
  };
  if (test::WhyNoRoot().empty()) {
    test::RunInRoot(root.Path(), [&] { run(""); });
  } else {
    run(root.Path());
  }
}

// ---- What the files hold ----

// The text before the whole record that a line ends with, and the record. No value where the line
// does not end with one.
struct ParsedLine {
  std::string_view fragment;
  RecordName name;
};

std::optional<ParsedLine> ParseLine(std::string_view line) {
  const std::size_t start = line.rfind('<');
  if (start == std::string_view::npos || start < kTimeBytes + kMiddle.size()) return std::nullopt;
  const std::optional<RecordName> name = NameOf(line.substr(start));
  if (!name || line.substr(start) != MakeMessage(*name)) return std::nullopt;
  const std::string_view before = line.substr(0, start);
  if (!before.ends_with(kMiddle)) return std::nullopt;
  const std::string_view timed = before.substr(0, before.size() - kMiddle.size());
  const std::string_view time = timed.substr(timed.size() - kTimeBytes);
  if (!time.starts_with("11/1") || !time.ends_with(":000")) return std::nullopt;
  return ParsedLine{timed.substr(0, timed.size() - kTimeBytes), *name};
}

// Calls `take` with each line, without its end, and returns what follows the last line end.
std::string_view ForEachLine(std::string_view content,
                             const std::function<void(std::string_view)>& take) {
  for (;;) {
    const std::size_t end = content.find('\n');
    if (end == std::string_view::npos) return content;
    take(content.substr(0, end));
    content.remove_prefix(end + 1);
  }
}

// How often each record was found, by writer.
class Tally {
 public:
  void Add(const RecordName& name) { ++records_[name.writer][name.number]; }

  // The records of a writer are 0 to `count` - 1, each once. Or to any number, without `count`.
  void ExpectOnceEach(int writer, std::optional<int> count = std::nullopt) {
    const std::map<int, int>& records = records_[writer];
    if (count) {
      EXPECT_EQ(records.size(), static_cast<std::size_t>(*count)) << "of " << writer;
    }
    int next = 0;
    for (const auto& [number, times] : records) {
      EXPECT_EQ(number, next++) << "of " << writer;
      EXPECT_EQ(times, 1) << number << " of " << writer;
    }
  }
  int CountOf(int writer) { return static_cast<int>(records_[writer].size()); }
  [[nodiscard]] std::size_t Writers() const { return records_.size(); }

 private:
  std::map<int, std::map<int, int>> records_;
};

// ---- Through rotations ----

constexpr int kWriters = 16;
constexpr int kRecords = 2000;

// 128 MB, some eight rotations.
void RunWriters(const std::string& path) {
  Pipe ready;
  Pipe start;
  std::vector<pid_t> writers;
  for (int writer = 0; writer < kWriters; ++writer) {
    writers.push_back(Fork([&, writer] {
      start.CloseIn();
      Writer own(path);
      ready.Tell();
      ready.CloseIn();
      start.AwaitEnd();
      for (int number = 0; number < kRecords; ++number) own.Write({writer, number});
    }));
  }
  ready.CloseIn();
  for (int writer = 0; writer < kWriters; ++writer) EXPECT_TRUE(ready.Await());
  EXPECT_EQ(semctl(FindSet(path), 0, GETVAL), kWriters);
  start.CloseIn();
  for (const pid_t writer : writers) EXPECT_EQ(AwaitChild(writer), 0);
}

// A copy is as large as a file must be that is rotated; every file that a rotation began begins
// with the header.
void ReadRotated(const std::string& path, bool isFirst, Tally* tally) {
  const std::string content = test::GetFile(path).value_or("");
  int headers = 0;
  bool isTop = true;
  const std::string_view rest = ForEachLine(content, [&](std::string_view line) {
    if (line.ends_with(" | header")) {
      EXPECT_TRUE(isTop) << path;
      EXPECT_EQ(line.substr(kTimeBytes), std::string(kMiddle) + "header");
      ++headers;
    } else {
      const std::optional<ParsedLine> parsed = ParseLine(line);
      ASSERT_TRUE(parsed) << line;
      EXPECT_EQ(parsed->fragment, "");
      tally->Add(parsed->name);
    }
    isTop = false;
  });
  EXPECT_EQ(rest, "");
  EXPECT_EQ(headers, isFirst ? 0 : 1) << path;
}

TEST(SharedLog, LosesTearsAndDoublesNoRecordThroughRotations) {
  RunWithLogs([](const std::string& folder) {
    SharedClock clock;
    platform::ScopedHost host;
    host->clock = &clock;
    const std::string path = folder + "/Ixer.log";
    test::PutFile(folder + "/kobb.trace", "keeplogs");

    RunWriters(path);

    EXPECT_EQ(FindSet(path), -1);
    Tally tally;
    int copies = 0;
    for (const auto& [name, item] : test::ReadTree(folder)) {
      if (!name.starts_with("Ixer ")) continue;
      EXPECT_GE(item.content.size(), 15728640U) << name;
      ReadRotated(folder + "/" + name, copies == 0, &tally);
      ++copies;
    }
    ReadRotated(path, /*isFirst=*/false, &tally);
    EXPECT_GE(copies, 3);
    EXPECT_EQ(tally.Writers(), static_cast<std::size_t>(kWriters));
    for (int writer = 0; writer < kWriters; ++writer) tally.ExpectOnceEach(writer, kRecords);
  });
}

// ---- With killed writers ----

constexpr int kSurvivors = 4;
constexpr int kVictims = 12;
constexpr int kSurvivorRecords = 600;
constexpr int kVictimRecords = 20000;  // more than they get to

// Each victim is killed amid writing, the survivors write half of their records before that is
// over and the other half behind it.
void RunAndKillWriters(const std::string& path) {
  Pipe over;
  std::vector<pid_t> survivors;
  for (int writer = 0; writer < kSurvivors; ++writer) {
    survivors.push_back(Fork([&, writer] {
      over.CloseIn();
      Writer own(path);
      for (int number = 0; number < kSurvivorRecords; ++number) {
        if (number == kSurvivorRecords / 2) over.AwaitEnd();
        own.Write({writer, number});
      }
    }));
  }
  for (int victim = 0; victim < kVictims; ++victim) {
    Pipe progress;
    const pid_t child = Fork([&] {
      Writer own(path);
      for (int number = 0; number < kVictimRecords; ++number) {
        own.Write({kSurvivors + victim, number});
        if (number == 10 * victim) progress.Tell();
      }
    });
    EXPECT_TRUE(progress.Await());
    EXPECT_EQ(kill(child, SIGKILL), 0);
    int status = AwaitChild(child);
    EXPECT_TRUE(WIFSIGNALED(status)) << status;
  }
  over.CloseIn();
  for (const pid_t survivor : survivors) EXPECT_EQ(AwaitChild(survivor), 0);
}

// A piece of a line that is no whole record is the beginning of the record behind the last whole
// one of a victim. The name of the victim, if the piece reaches so far.
std::optional<RecordName> ExpectBeginning(std::string_view piece) {
  const std::size_t start = piece.find('<');
  if (start == std::string_view::npos) {
    EXPECT_LT(piece.size(), kTimeBytes + kMiddle.size()) << piece;
    return std::nullopt;
  }
  EXPECT_EQ(start, kTimeBytes + kMiddle.size()) << piece;
  const std::optional<RecordName> name = NameOf(piece.substr(start));
  if (name) {
    EXPECT_TRUE(MakeMessage(*name).starts_with(piece.substr(start))) << piece;
  }
  return name;
}

TEST(SharedLog, LosesNoRecordOfTheSurvivorsWhenOthersAreKilled) {
  RunWithLogs([](const std::string& folder) {
    const std::string path = folder + "/Ixer.log";
    RunAndKillWriters(path);

    // Their places in the count are never given back, the lock is.
    const int set = FindSet(path);
    EXPECT_EQ(semctl(set, 0, GETVAL), kVictims);
    EXPECT_EQ(semctl(set, 1, GETVAL), 1);
    EXPECT_EQ(semctl(set, 0, IPC_RMID), 0);

    const std::string content = test::GetFile(path).value_or("");
    Tally tally;
    std::vector<std::string_view> pieces;
    const std::string_view rest = ForEachLine(content, [&](std::string_view line) {
      const std::optional<ParsedLine> parsed = ParseLine(line);
      ASSERT_TRUE(parsed) << line;
      tally.Add(parsed->name);
      if (!parsed->fragment.empty()) pieces.push_back(parsed->fragment);
    });
    EXPECT_EQ(rest, "");
    for (int writer = 0; writer < kSurvivors; ++writer) {
      tally.ExpectOnceEach(writer, kSurvivorRecords);
    }
    for (int victim = 0; victim < kVictims; ++victim) {
      tally.ExpectOnceEach(kSurvivors + victim);
      EXPECT_GT(tally.CountOf(kSurvivors + victim), 10 * victim);
    }
    EXPECT_LE(pieces.size(), static_cast<std::size_t>(kVictims));
    std::set<int> cut;
    for (const std::string_view piece : pieces) {
      const std::optional<RecordName> name = ExpectBeginning(piece);
      if (!name) continue;
      EXPECT_GE(name->writer, kSurvivors) << piece;
      EXPECT_EQ(name->number, tally.CountOf(name->writer)) << piece;
      EXPECT_TRUE(cut.insert(name->writer).second) << piece;
    }
  });
}

}  // namespace
