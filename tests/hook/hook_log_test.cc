#include "hook/hook_log.h"

#include <chrono>
#include <cstddef>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/types.h>
#include <vector>

#include "log/api/level.h"
#include "log/api/log_call.h"
#include "log/cross_process_lock.h"
#include "log/log_target_default.h"
#include "log/log_target_for_testing.h"
#include "log/log_target_registry.h"
#include "log/log_target_registry_for_testing.h"
#include "platform/console_user.h"
#include "platform/thread_id.h"
#include "tests/hook/machine_in_folder.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/recording_logger.h"
#include "tests/support/resting_state.h"
#include "tests/support/run_in_root.h"
#include "tests/support/shape.h"
#include "tests/support/tree.h"

namespace hook {
namespace {

const test::RestingStateCheck kFrontEndIsEmpty([] {
  return FrontEnd() == nullptr ? std::string() : std::string("the hook's front end is still set");
});

const test::RestingStateCheck kLogTargetIsEmpty([] {
  return LogTarget() == nullptr ? std::string() : std::string("the hook's log target is still set");
});

class ScopedFrontEnd {
 public:
  explicit ScopedFrontEnd(dunmar::AbstractLogger* frontEnd) { SetFrontEnd(frontEnd); }
  ~ScopedFrontEnd() { SetFrontEnd(nullptr); }
  ScopedFrontEnd(const ScopedFrontEnd&) = delete;
  ScopedFrontEnd& operator=(const ScopedFrontEnd&) = delete;
};

TEST(FrontEnd, IsNullAtFirst) { EXPECT_EQ(FrontEnd(), nullptr); }

TEST(FrontEnd, IsTheOneThatWasSet) {
  test::RecordingLogger logger;
  const ScopedFrontEnd frontEnd(&logger);
  EXPECT_EQ(FrontEnd(), &logger);
}

TEST(HookLogCallback, ReturnsZeroWithoutFrontEnd) {
  EXPECT_EQ(HookLogCallback(dunmar::kFatal, "Module", "Component", "four", "five", "%s", "text"),
            0);
}

TEST(HookLogCallback, HandsMessageToTheFrontEnd) {
  test::RecordingLogger logger;
  const ScopedFrontEnd frontEnd(&logger);
  EXPECT_EQ(HookLogCallback(dunmar::kError, "Module", "Component", "four", "five",
                            "%s and %d and %s", "text", 7, "100%n"),
            0);
  // Component and fourth text are lost on purpose.
  EXPECT_EQ(logger.messages,
            (std::vector<test::LoggedMessage>{{.operation = "LogV",
                                               .level = 50,
                                               .module = "",
                                               .component = "Module",
                                               .text4 = "",
                                               .text5 = "five",
                                               .format = "%s and %d and %s",
                                               .message = "text and 7 and 100%n"}}));
}

TEST(HookLogCallback, HandsOnEveryLevel) {
  for (const dunmar::LogLevel level : {-5, 0, 10, 15, 20, 30, 40, 50, 60, 70, 99}) {
    SCOPED_TRACE(level);
    test::RecordingLogger logger;
    const ScopedFrontEnd frontEnd(&logger);
    EXPECT_EQ(HookLogCallback(level, "Module", "Component", "", "", "plain"), 0);
    ASSERT_EQ(logger.messages.size(), 1U);
    EXPECT_EQ(logger.messages[0].level, level);
    EXPECT_EQ(logger.messages[0].message, "plain");
  }
}

TEST(HookLogCallback, UsesTheFrontEndOfTheMoment) {
  test::RecordingLogger first;
  test::RecordingLogger second;
  const ScopedFrontEnd frontEnd(&first);
  EXPECT_EQ(HookLogCallback(dunmar::kInfo, "", "", "", "", "one"), 0);
  SetFrontEnd(&second);
  EXPECT_EQ(HookLogCallback(dunmar::kInfo, "", "", "", "", "two"), 0);
  SetFrontEnd(nullptr);
  EXPECT_EQ(HookLogCallback(dunmar::kInfo, "", "", "", "", "three"), 0);
  EXPECT_EQ(test::LevelsAndMessages(first.messages), std::vector<std::string>{"30 one"});
  EXPECT_EQ(test::LevelsAndMessages(second.messages), std::vector<std::string>{"30 two"});
}

TEST(HookLog, DoesNothingWithoutLogCall) {
  ASSERT_EQ(dunmar::LogCall(), nullptr);
  bool isEvaluated = false;
  HOOK_LOG(dunmar::kError, "%d", (isEvaluated = true, 1));
  EXPECT_FALSE(isEvaluated);
}

TEST(HookLog, NamesTheHookAsModuleAndComponent) {
  const test::ScopedRecordingLogCall logCall;
  HOOK_LOG(dunmar::kWarn, "Inside %s | %d", "Action", 3);
  HOOK_LOG(dunmar::kTrace, "Inside Action");
  EXPECT_EQ(test::RecordedCalls(),
            (std::vector<test::LoggedMessage>{{.operation = "call",
                                               .level = 40,
                                               .module = "ZintCustomHook",
                                               .component = "ZintCustomHook",
                                               .text4 = "",
                                               .text5 = "",
                                               .format = "Inside %s | %d",
                                               .message = "Inside Action | 3"},
                                              {.operation = "call",
                                               .level = 10,
                                               .module = "ZintCustomHook",
                                               .component = "ZintCustomHook",
                                               .text4 = "",
                                               .text5 = "",
                                               .format = "Inside Action",
                                               .message = "Inside Action"}}));
}

TEST(HookLog, ReachesTheFrontEndThroughTheCallback) {
  test::RecordingLogger logger;
  const ScopedFrontEnd frontEnd(&logger);
  dunmar::SetLogCall(HookLogCallback);
  HOOK_LOG(dunmar::kInfo, "Inside Action | %s", "/a%sb");
  dunmar::SetLogCall(nullptr);
  EXPECT_EQ(logger.messages,
            (std::vector<test::LoggedMessage>{{.operation = "LogV",
                                               .level = 30,
                                               .module = "",
                                               .component = "ZintCustomHook",
                                               .text4 = "",
                                               .text5 = "",
                                               .format = "Inside Action | %s",
                                               .message = "Inside Action | /a%sb"}}));
}

TEST(LogTarget, IsNullAtFirst) { EXPECT_EQ(LogTarget(), nullptr); }

constexpr const char* kLogs = "Users/mia/Library/Logs";
constexpr const char* kLog = "Users/mia/Library/Logs/Caldris/Ixer/Ixer.log";

// The lines of the log, each without its timestamp.
std::vector<std::string> LogLines(const test::MachineInFolder& machine) {
  constexpr std::size_t kLength = test::kTimestampShape.size();
  std::vector<std::string> lines;
  std::istringstream text(test::GetFile(machine.At(kLog)).value_or("(no log)\n"));
  for (std::string line; std::getline(text, line);) {
    EXPECT_TRUE(test::HasShape(line.substr(0, kLength), test::kTimestampShape)) << line;
    lines.push_back(line.erase(0, kLength));
  }
  return lines;
}

// A line as the calling thread writes it while the host says that it is root.
std::string Line(const std::string& level, const std::string& component,
                 const std::string& message) {
  return " | [" + level + "] |  | ZintCustomHook |  |  |  | " + component + " | " +
         std::to_string(platform::CurrentThreadId()) + " | 0 | " + message;
}

// A file where the logs folder would be: there is no log to be had then, not even elsewhere.
void ObstructLog(const test::MachineInFolder& machine) {
  test::PutFile(machine.At(kLogs), "in the way");
}

TEST(StartLog, SetsTargetFrontEndAndLogCall) {
  const test::MachineInFolder machine;
  test::RunInChild([] {
    StartLog();
    ASSERT_NE(LogTarget(), nullptr);
    EXPECT_EQ(LogTarget()->GetName(), "ZintCustomHook");
    EXPECT_EQ(LogTarget()->GetLevel(), 30);
    EXPECT_EQ(LogTarget()->GetReferenceCount(), 1U);
    EXPECT_NE(FrontEnd(), nullptr);
    EXPECT_EQ(dunmar::LogCall(), HookLogCallback);
    StopLog();
  });
}

TEST(StartLog, LimitsTheWaitingForTheLockToAMinute) {
  const test::MachineInFolder machine;
  test::RunInChild([] {
    StartLog();
    auto* const target = dynamic_cast<dunmar::LogTargetDefault*>(LogTarget());
    ASSERT_NE(target, nullptr);
    const auto& lock = dunmar::LogTargetForTesting::ProcessLock(*target);
    ASSERT_NE(lock, nullptr);
    EXPECT_EQ(lock->WaitLeft(), std::chrono::seconds(60));
    StopLog();
  });
}

TEST(StartLog, MakesAnEmptyLogInTheConsoleUsersHome) {
  const test::MachineInFolder machine;
  const test::Tree before = test::ReadTree(machine.folder.Path());
  test::RunInChild([] {
    StartLog();
    StopLog();
  });
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())),
            (std::vector<std::string>{"+ Users/mia/Library", "+ Users/mia/Library/Logs",
                                      "+ Users/mia/Library/Logs/Caldris",
                                      "+ Users/mia/Library/Logs/Caldris/Ixer",
                                      "+ Users/mia/Library/Logs/Caldris/Ixer/Ixer.log"}));
  EXPECT_EQ(test::GetFile(machine.At(kLog)), "");
  EXPECT_EQ(test::GetMode(machine.At(kLog)), mode_t{0666});
}

TEST(StartLog, MakesMessagesReachTheLog) {
  const test::MachineInFolder machine;
  test::RunInChild([&] {
    StartLog();
    HOOK_LOG(dunmar::kTrace, "too low");
    HOOK_LOG(dunmar::kDebug, "too low");
    HOOK_LOG(dunmar::kInfo, "Inside Action | %s", "/a%sb");
    HOOK_LOG(dunmar::kError, "plain");
    FrontEnd()->Log(dunmar::kWarn, "", "CommandLineParser", "%d", 7);
    EXPECT_EQ(LogLines(machine), (std::vector<std::string>{
                                     Line("INFO", "ZintCustomHook", "Inside Action | /a%sb"),
                                     Line("ERROR", "ZintCustomHook", "plain"),
                                     Line("WARN", "CommandLineParser", "7"),
                                 }));
    StopLog();
  });
}

TEST(StartLog, SetsTheLevelBeforeTheFileHasItsName) {
  const struct {
    const char* marker;
    dunmar::LogLevel level;
  } rows[] = {
      {"Ixer.trace", 30},   {"Ixer.debug", 30}, {"Dunmar.trace", 10},
      {"Dunmar.debug", 20}, {"kobb.trace", 10}, {"kobb.debug", 20},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.marker);
    const test::MachineInFolder machine;
    test::PutFile(machine.At(std::string(kLogs) + "/" + row.marker), "");
    test::RunInChild([&] {
      StartLog();
      EXPECT_EQ(LogTarget()->GetLevel(), row.level);
      StopLog();
    });
  }
}

TEST(StartLog, FindsMarkersByTheConsoleUsersNameAndTheLogByItsOwnHome) {
  test::MachineInFolder machine;
  machine.host.console.user = platform::ConsoleUser{"greta", 501, 20};
  machine.host.directories.homes["greta"] = machine.At("Users/greta");
  test::PutFile(machine.At("Users/greta/Library/Logs/kobb.debug"), "");
  test::PutFile(machine.At(std::string(kLogs) + "/kobb.trace"), "");
  test::PutFile(machine.At(kLog), "");
  test::RunInChild([] {
    StartLog();
    EXPECT_EQ(LogTarget()->GetLevel(), 20);
    HOOK_LOG(dunmar::kInfo, "text");
    StopLog();
  });
  EXPECT_EQ(LogLines(machine).size(), 1U);
}

TEST(StopLog, ClosesTheLogAndLeavesTheRestSet) {
  const test::MachineInFolder machine;
  test::RunInChild([&] {
    const std::string resting = test::DescribeUnrest();
    StartLog();
    dunmar::LogTargetBase* const target = LogTarget();
    dunmar::AbstractLogger* const frontEnd = FrontEnd();
    HOOK_LOG(dunmar::kInfo, "before");
    StopLog();
    HOOK_LOG(dunmar::kInfo, "after");
    EXPECT_EQ(LogLines(machine),
              std::vector<std::string>{Line("INFO", "ZintCustomHook", "before")});
    EXPECT_EQ(LogTarget(), target);
    EXPECT_EQ(target->GetReferenceCount(), 0U);
    EXPECT_EQ(FrontEnd(), frontEnd);
    EXPECT_EQ(dunmar::LogCall(), HookLogCallback);
    // Neither registered target, nor descriptor, nor semaphores.
    dunmar::SetLogCall(nullptr);
    SetFrontEnd(nullptr);
    SetLogTarget(nullptr);
    EXPECT_EQ(test::DescribeUnrest(), resting);
  });
}

TEST(StopLog, DoesNothingWhereNoLogWasStarted) {
  StopLog();
  EXPECT_EQ(LogTarget(), nullptr);
}

TEST(HookLog, DropsMessagesWhereThereIsNoLogToBeHad) {
  const test::MachineInFolder machine;
  ObstructLog(machine);
  const test::Tree before = test::ReadTree(machine.folder.Path());
  test::RunInChild([&] {
    StartLog();
    ASSERT_NE(LogTarget(), nullptr);
    EXPECT_EQ(LogTarget()->GetReferenceCount(), 0U);
    EXPECT_TRUE(dunmar::IsEmptyForTesting(dunmar::LogTargetRegistry::Instance()));
    EXPECT_EQ(dunmar::LogCall(), HookLogCallback);
    ASSERT_NE(FrontEnd(), nullptr);
    HOOK_LOG(dunmar::kFatal, "%s", "lost");
    FrontEnd()->Log(dunmar::kFatal, "", "CommandLineParser", "lost");
    StopLog();
  });
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())),
            std::vector<std::string>());
}

}  // namespace
}  // namespace hook
