#include <atomic>
#include <chrono>
#include <cstddef>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <sys/types.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "log/log_setup.h"
#include "log/log_target_default.h"
#include "log/log_target_for_testing.h"
#include "log/log_target_registry.h"
#include "log/logger.h"
#include "platform/system_calls_for_testing.h"
#include "tests/log/recording_target.h"
#include "tests/support/files.h"
#include "tests/support/scoped_time_zone.h"

// What logger.h promises to threads that log at once.

namespace {

using Fields = dunmar::LogTargetForTesting;

constexpr int kThreads = 4;
constexpr int kRecords = 250;

// A log that is registered under "Test", and due to be looked at for its size.
struct Log {
  Log() {
    writers = 0;
    calls->write = WriteAlone;
    test::MakeDirs(machine.folder.Join("logs"));
    machine.host.clock.now.seconds = 1794810056;
    EXPECT_TRUE(dunmar::SetLogFile(target, name.c_str(), machine.folder.Join("logs").c_str()));
    EXPECT_TRUE(dunmar::LogTargetRegistry::Instance().Register(&target));
    Fields::SessionHeader(target) = {.topLine = "header", .entries = {}, .bottomLine = ""};
    Fields::LastCheckTime(target) = 0;
  }
  ~Log() { EXPECT_TRUE(dunmar::LogTargetRegistry::Instance().Unregister(&target)); }
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  // The messages in the log, and how often each is there.
  [[nodiscard]] std::map<std::string, int> CountMessages() const {
    std::map<std::string, int> messages;
    std::istringstream lines(test::GetFile(machine.folder.Join("logs/" + name)).value_or(""));
    for (std::string line; std::getline(lines, line);) {
      ++messages[line.substr(line.rfind(" | ") + 3)];
    }
    return messages;
  }

  // Leaves other threads time to write too, if nothing keeps them from it.
  static ssize_t WriteAlone(int fd, const void* bytes, std::size_t count) {
    EXPECT_EQ(++writers, 1);
    std::this_thread::sleep_for(std::chrono::microseconds(10));
    const ssize_t written = write(fd, bytes, count);
    --writers;
    return written;
  }

  inline static std::atomic<int> writers = 0;
  platform::ScopedSystemCalls calls;
  const std::string name = "Ixer.log";
  test::LogMachine machine;
  test::ScopedTimeZone zone{"UTC0"};
  dunmar::LogTargetDefault target{"Test"};
};

// What thread `thread` logs: so long that two of them, mixed, would not look like one.
std::string Message(int thread, int record) {
  return std::string(200, static_cast<char>('a' + thread)) + std::to_string(record);
}

void LogFromThreads(const std::vector<dunmar::Logger*>& loggers) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&loggers, thread] {
      dunmar::Logger& logger = *loggers[static_cast<std::size_t>(thread) % loggers.size()];
      for (int record = 0; record < kRecords; ++record) {
        logger.Info("%s", Message(thread, record).c_str());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

std::map<std::string, int> AllMessagesOnce() {
  std::map<std::string, int> messages;
  for (int thread = 0; thread < kThreads; ++thread) {
    for (int record = 0; record < kRecords; ++record) messages[Message(thread, record)] = 1;
  }
  return messages;
}

TEST(Threads, LogAtOnceThroughOneLogger) {
  const Log log;
  dunmar::Logger logger("Test");
  LogFromThreads({&logger});
  EXPECT_TRUE(log.CountMessages() == AllMessagesOnce());
}

TEST(Threads, LogAtOnceThroughLoggersOfTheirOwn) {
  const Log log;
  dunmar::Logger first("Test");
  dunmar::Logger second("Test");
  LogFromThreads({&first, &second});
  EXPECT_TRUE(log.CountMessages() == AllMessagesOnce());
}

TEST(Threads, RotateALogOnceThatTheyLogTo) {
  const Log log;
  ASSERT_EQ(truncate(log.machine.folder.Join("logs/Ixer.log").c_str(), off_t{15} << 20), 0);
  dunmar::Logger logger("Test");
  LogFromThreads({&logger});
  std::map<std::string, int> expected = AllMessagesOnce();
  expected["header"] = 1;
  EXPECT_TRUE(log.CountMessages() == expected);
  EXPECT_TRUE(test::IsThere(log.machine.folder.Join("logs/Ixer 2026-11-16 06-20-56.log")));
}

}  // namespace
