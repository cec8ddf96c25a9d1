#include "fileutils/log_hooks.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "log/api/level.h"
#include "tests/fileutils/scoped_log_hooks.h"
#include "tests/support/recording_logger.h"

namespace {

using test::LoggedMessage;

void LogSample(dunmar::AbstractLogger* given) {
  FILEUTILS_LOG(given, dunmar::kWarn, "FileUtils", "%s and %d", "text", 7);
}

const LoggedMessage kSampleToLogger = {"Log", 40, "",          "FileUtils",
                                       "",    "", "%s and %d", "text and 7"};
const LoggedMessage kSampleToCall = {"call", 40, "DunmarUtils", "FileUtils",
                                     "",     "", "%s and %d",   "text and 7"};

TEST(LogHook, IsNullUntilSet) {
  EXPECT_EQ(fileutils::LogHook(), nullptr);
  {
    const test::ScopedLogHooks hooks(test::RecordingLogCall);
    EXPECT_EQ(fileutils::LogHook(), &test::RecordingLogCall);
  }
  EXPECT_EQ(fileutils::LogHook(), nullptr);
}

TEST(DefaultLogger, IsNullUntilSet) {
  EXPECT_EQ(fileutils::DefaultLogger(), nullptr);
  test::RecordingLogger logger;
  {
    const test::ScopedLogHooks hooks(nullptr, &logger);
    EXPECT_EQ(fileutils::DefaultLogger(), &logger);
  }
  EXPECT_EQ(fileutils::DefaultLogger(), nullptr);
}

TEST(ChooseLogRoute, PrefersTheGivenLoggerThenTheHookThenTheDefaultLogger) {
  test::RecordingLogger given;
  test::RecordingLogger byDefault;
  const struct {
    const char* name;
    dunmar::AbstractLogger* given;
    dunmar::LogCallFunction hook;
    dunmar::AbstractLogger* defaultLogger;
    dunmar::AbstractLogger* expectedLogger;
    dunmar::LogCallFunction expectedCall;
  } rows[] = {
      {"all", &given, test::RecordingLogCall, &byDefault, &given, nullptr},
      {"given alone", &given, nullptr, nullptr, &given, nullptr},
      {"hook and default", nullptr, test::RecordingLogCall, &byDefault, nullptr,
       test::RecordingLogCall},
      {"hook alone", nullptr, test::RecordingLogCall, nullptr, nullptr, test::RecordingLogCall},
      {"default alone", nullptr, nullptr, &byDefault, &byDefault, nullptr},
      {"none", nullptr, nullptr, nullptr, nullptr, nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const test::ScopedLogHooks hooks(row.hook, row.defaultLogger);
    const fileutils::LogRoute route = fileutils::ChooseLogRoute(row.given);
    EXPECT_EQ(route.logger, row.expectedLogger);
    EXPECT_EQ(route.call, row.expectedCall);
  }
}

TEST(FileutilsLog, GivesALoggerAnEmptyTextAndTheComponent) {
  test::RecordingLogger given;
  test::RecordingLogger byDefault;
  const test::ScopedLogHooks hooks(test::RecordingLogCall, &byDefault);
  LogSample(&given);
  EXPECT_EQ(given.messages, std::vector<LoggedMessage>{kSampleToLogger});
  EXPECT_TRUE(test::RecordedCalls().empty());
  EXPECT_TRUE(byDefault.messages.empty());
}

TEST(FileutilsLog, GivesTheHookTheModuleAndTwoEmptyTexts) {
  test::RecordingLogger byDefault;
  const test::ScopedLogHooks hooks(test::RecordingLogCall, &byDefault);
  LogSample(nullptr);
  EXPECT_EQ(test::RecordedCalls(), std::vector<LoggedMessage>{kSampleToCall});
  EXPECT_TRUE(byDefault.messages.empty());
}

TEST(FileutilsLog, GivesTheDefaultLoggerTheSameAsAGivenOne) {
  test::RecordingLogger byDefault;
  const test::ScopedLogHooks hooks(nullptr, &byDefault);
  LogSample(nullptr);
  EXPECT_EQ(byDefault.messages, std::vector<LoggedMessage>{kSampleToLogger});
}

TEST(FileutilsLog, LogsNothingWithoutAnyAndLeavesTheLogCallOfTheProgramAlone) {
  const test::ScopedRecordingLogCall program;
  LogSample(nullptr);
  EXPECT_TRUE(test::RecordedCalls().empty());
}

}  // namespace
