#include "cmdline/command_line_parser.h"

#include <climits>
#include <gtest/gtest.h>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "fileutils/log_hooks.h"
#include "log/api/log_call.h"
#include "tests/support/recording_logger.h"

namespace cmdline {
namespace {

using Lines = std::vector<std::string>;

bool Parse(CommandLineParser& parser, std::initializer_list<const char*> arguments) {
  const std::vector<const char*> argv(arguments);
  return parser.Parse(static_cast<int>(argv.size()), argv.data());
}

std::optional<std::string> Value(const CommandLineParser& parser, const char* key) {
  std::string value;
  return parser.GetValue(key, value) ? std::optional(value) : std::nullopt;
}

// A parser that was given one argument after the program's path, and what it logged.
struct OneArgument {
  explicit OneArgument(const char* argument) {
    parser.SetLogger(&logger);
    EXPECT_TRUE(Parse(parser, {"/opt/hook", argument}));
  }

  // Less the two messages that come before those of the argument.
  [[nodiscard]] Lines Messages() const {
    Lines lines = test::LevelsAndMessages(logger.messages);
    lines.erase(lines.begin(), lines.begin() + 2);
    return lines;
  }

  test::RecordingLogger logger;
  CommandLineParser parser;
};

// The parser logs through what the utilities log through while it has no logger.
class ScopedUtilityLogs {
 public:
  ScopedUtilityLogs(dunmar::LogCallFunction hook, dunmar::AbstractLogger* logger) {
    fileutils::SetLogHook(hook);
    fileutils::SetDefaultLogger(logger);
  }
  ~ScopedUtilityLogs() {
    fileutils::SetLogHook(nullptr);
    fileutils::SetDefaultLogger(nullptr);
  }
  ScopedUtilityLogs(const ScopedUtilityLogs&) = delete;
  ScopedUtilityLogs& operator=(const ScopedUtilityLogs&) = delete;
};

TEST(CommandLineParser, StoresValueOfKey) {
  const OneArgument run("--install=1");
  EXPECT_EQ(Value(run.parser, "install"), "1");
  EXPECT_EQ(run.Messages(), Lines{"20 Argument specified is --install=1"});
}

TEST(CommandLineParser, StoresEmptyValueWithoutEqualsSign) {
  const OneArgument run("--install");
  EXPECT_EQ(Value(run.parser, "install"), "");
  EXPECT_EQ(run.Messages(), Lines{"20 Argument specified is --install"});
}

TEST(CommandLineParser, StoresEmptyValueAfterEqualsSign) {
  const OneArgument run("--install=");
  EXPECT_EQ(Value(run.parser, "install"), "");
  EXPECT_EQ(run.Messages(), Lines{"20 Argument specified is --install="});
}

TEST(CommandLineParser, SplitsAtTheFirstEqualsSignOnly) {
  const OneArgument run("--path=/a=b");
  EXPECT_EQ(Value(run.parser, "path"), "/a=b");
  EXPECT_EQ(Value(run.parser, "path=/a"), std::nullopt);
}

TEST(CommandLineParser, RejectsKeyPartWithoutTwoHyphens) {
  for (const std::string argument :
       {"install=1", "-install=1", "=--x", "=", "-", "-=--", "", " --install=1"}) {
    SCOPED_TRACE(argument);
    const OneArgument run(argument.c_str());
    EXPECT_EQ(run.Messages(),
              (Lines{"20 Argument specified is " + argument,
                     "50 The \"--\" is not there for the argument. Every argument should have "
                     "\"--\""}));
    for (const char* key : {"install", "-install", "nstall", "x", "--x", ""}) {
      EXPECT_EQ(Value(run.parser, key), std::nullopt) << key;
    }
  }
}

TEST(CommandLineParser, RejectsEmptyKey) {
  for (const std::string argument : {"--=1", "--", "--=", "--==x"}) {
    SCOPED_TRACE(argument);
    const OneArgument run(argument.c_str());
    EXPECT_EQ(run.Messages(), (Lines{"20 Argument specified is " + argument,
                                     "50 The argument key is empty for " + argument}));
    EXPECT_EQ(Value(run.parser, ""), std::nullopt);
  }
}

TEST(CommandLineParser, TakesOnlyTwoHyphensOffTheKey) {
  const OneArgument run("---x=1");
  EXPECT_EQ(Value(run.parser, "-x"), "1");
  EXPECT_EQ(Value(run.parser, "x"), std::nullopt);
}

TEST(CommandLineParser, TellsCapitalsApart) {
  const OneArgument run("--Install=1");
  EXPECT_EQ(Value(run.parser, "Install"), "1");
  EXPECT_EQ(Value(run.parser, "install"), std::nullopt);
}

TEST(CommandLineParser, KeepsTheFirstOfSeveralValues) {
  test::RecordingLogger logger;
  CommandLineParser parser;
  parser.SetLogger(&logger);
  EXPECT_TRUE(Parse(parser, {"/opt/hook", "--update=true", "--update=false", "--update"}));
  EXPECT_EQ(Value(parser, "update"), "true");
  EXPECT_EQ(
      test::LevelsAndMessages(logger.messages),
      (Lines{"30 Parsing the command line provided. Number of command line arguments is 4",
             "20 First command line argument is /opt/hook, Assuming the first argument to be "
             "executable address ignoring it.",
             "20 Argument specified is --update=true", "20 Argument specified is --update=false",
             "50 The argument update already sepecified", "20 Argument specified is --update",
             "50 The argument update already sepecified"}));
}

TEST(CommandLineParser, KeepsAnEmptyFirstValue) {
  CommandLineParser parser;
  EXPECT_TRUE(Parse(parser, {"/opt/hook", "--install", "--install=1"}));
  EXPECT_EQ(Value(parser, "install"), "");
}

TEST(CommandLineParser, PassesOverProcessSerialNumber) {
  for (const std::string argument : {"-psn_0_12345", "-psn", "-psn=1"}) {
    SCOPED_TRACE(argument);
    const OneArgument run(argument.c_str());
    EXPECT_EQ(run.Messages(), Lines{"20 Argument specified is " + argument});
    for (const char* key : {"psn", "psn_0_12345", "n", "n_0_12345"}) {
      EXPECT_EQ(Value(run.parser, key), std::nullopt) << key;
    }
  }
}

TEST(CommandLineParser, RejectsWhatOnlyResemblesAProcessSerialNumber) {
  for (const std::string argument : {"-ps", "-PSN_0_1", "psn_0_1"}) {
    SCOPED_TRACE(argument);
    const OneArgument run(argument.c_str());
    EXPECT_EQ(run.Messages(),
              (Lines{"20 Argument specified is " + argument,
                     "50 The \"--\" is not there for the argument. Every argument should have "
                     "\"--\""}));
  }
}

TEST(CommandLineParser, KnowsNoProcessSerialNumberAfterTwoHyphens) {
  const OneArgument run("--psn=1");
  EXPECT_EQ(Value(run.parser, "psn"), "1");
}

TEST(CommandLineParser, NeverParsesTheProgramsOwnPath) {
  test::RecordingLogger logger;
  CommandLineParser parser;
  parser.SetLogger(&logger);
  EXPECT_TRUE(Parse(parser, {"--install=1"}));
  EXPECT_EQ(Value(parser, "install"), std::nullopt);
  EXPECT_EQ(test::LevelsAndMessages(logger.messages),
            (Lines{"30 Parsing the command line provided. Number of command line arguments is 1",
                   "20 First command line argument is --install=1, Assuming the first argument to "
                   "be executable address ignoring it."}));
}

TEST(CommandLineParser, FailsWithoutAnyArgument) {
  const struct {
    int count;
    const char* firstLine;
  } rows[] = {
      {0, "30 Parsing the command line provided. Number of command line arguments is 0"},
      {-1, "30 Parsing the command line provided. Number of command line arguments is -1"},
      {INT_MIN,
       "30 Parsing the command line provided. Number of command line arguments is -2147483648"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.count);
    test::RecordingLogger logger;
    CommandLineParser parser;
    parser.SetLogger(&logger);
    const char* const argv[] = {"/opt/hook", "--install=1", nullptr};
    EXPECT_FALSE(parser.Parse(row.count, argv));
    EXPECT_EQ(Value(parser, "install"), std::nullopt);
    EXPECT_EQ(test::LevelsAndMessages(logger.messages),
              (Lines{row.firstLine,
                     "50 Argument count is zero. There should be at least one i.e. name of "
                     "application."}));
  }
}

TEST(CommandLineParser, GoesOnAfterBadArguments) {
  CommandLineParser parser;
  EXPECT_TRUE(Parse(parser, {"/opt/hook", "bad", "--", "-psn_0_1", "--=", "--install=1"}));
  EXPECT_EQ(Value(parser, "install"), "1");
}

TEST(CommandLineParser, SucceedsThoughEveryArgumentIsRejected) {
  CommandLineParser parser;
  EXPECT_TRUE(Parse(parser, {"/opt/hook", "bad", "--"}));
}

TEST(CommandLineParser, AddsToTheTableOnFurtherCalls) {
  CommandLineParser parser;
  EXPECT_TRUE(Parse(parser, {"/opt/hook", "--install=1"}));
  EXPECT_TRUE(Parse(parser, {"/opt/hook", "--install=0", "--update=true"}));
  EXPECT_EQ(Value(parser, "install"), "1");
  EXPECT_EQ(Value(parser, "update"), "true");
}

TEST(CommandLineParser, CountsNullArgumentsAsEmpty) {
  test::RecordingLogger logger;
  CommandLineParser parser;
  parser.SetLogger(&logger);
  EXPECT_TRUE(Parse(parser, {nullptr, nullptr, "--install=1"}));
  EXPECT_EQ(Value(parser, "install"), "1");
  EXPECT_EQ(test::LevelsAndMessages(logger.messages),
            (Lines{"30 Parsing the command line provided. Number of command line arguments is 3",
                   "20 First command line argument is , Assuming the first argument to be "
                   "executable address ignoring it.",
                   "20 Argument specified is ",
                   "50 The \"--\" is not there for the argument. Every argument should have \"--\"",
                   "20 Argument specified is --install=1"}));
}

TEST(CommandLineParser, CountsNullArrayAsEmptyArguments) {
  test::RecordingLogger logger;
  CommandLineParser parser;
  parser.SetLogger(&logger);
  EXPECT_TRUE(parser.Parse(2, nullptr));
  EXPECT_EQ(
      test::LevelsAndMessages(logger.messages),
      (Lines{"30 Parsing the command line provided. Number of command line arguments is 2",
             "20 First command line argument is , Assuming the first argument to be executable "
             "address ignoring it.",
             "20 Argument specified is ",
             "50 The \"--\" is not there for the argument. Every argument should have \"--\""}));
}

TEST(CommandLineParser, KeepsTheBytesOfKeysAndValues) {
  CommandLineParser parser;
  EXPECT_TRUE(Parse(parser, {"/opt/hook", "--k\xff\n=%s%n\x80 ", "-- a = b "}));
  EXPECT_EQ(Value(parser, "k\xff\n"), "%s%n\x80 ");
  EXPECT_EQ(Value(parser, " a "), " b ");
}

TEST(CommandLineParser, PutsArgumentsIntoMessagesAsText) {
  const OneArgument run("-%s%n");
  EXPECT_EQ(run.Messages().front(), "20 Argument specified is -%s%n");
}

TEST(CommandLineParser, LogsTheWholeOfALongArgument) {
  const std::string argument = "--k=" + std::string(100'000, 'x');
  const OneArgument run(argument.c_str());
  EXPECT_EQ(run.Messages(), Lines{"20 Argument specified is " + argument});
  EXPECT_EQ(Value(run.parser, "k"), std::string(100'000, 'x'));
}

TEST(GetValue, LeavesTheTextAloneForAnAbsentKey) {
  test::RecordingLogger logger;
  CommandLineParser parser;
  parser.SetLogger(&logger);
  std::string value = "before";
  EXPECT_FALSE(parser.GetValue("install", value));
  EXPECT_EQ(value, "before");
  EXPECT_EQ(logger.messages, std::vector<test::LoggedMessage>{});
}

TEST(GetValue, ReplacesTheText) {
  CommandLineParser parser;
  EXPECT_TRUE(Parse(parser, {"/opt/hook", "--install=1"}));
  std::string value = "before";
  EXPECT_TRUE(parser.GetValue("install", value));
  EXPECT_EQ(value, "1");
}

TEST(GetValue, WantsTheKeyExactly) {
  CommandLineParser parser;
  EXPECT_TRUE(Parse(parser, {"/opt/hook", "--install=1"}));
  for (const char* key : {"", "instal", "installs", "install ", " install", "--install"}) {
    EXPECT_EQ(Value(parser, key), std::nullopt) << key;
  }
}

TEST(CommandLineParserMessages, GoToTheLoggerThatWasSet) {
  test::RecordingLogger logger;
  test::RecordingLogger defaultLogger;
  test::RecordedCalls().clear();
  const ScopedUtilityLogs utilities(test::RecordingLogCall, &defaultLogger);
  CommandLineParser parser;
  parser.SetLogger(&logger);
  EXPECT_FALSE(parser.Parse(0, nullptr));
  EXPECT_EQ(
      logger.messages,
      (std::vector<test::LoggedMessage>{
          {.operation = "Log",
           .level = 30,
           .module = "",
           .component = "CommandLineParser",
           .text4 = "",
           .text5 = "",
           .format = "Parsing the command line provided. Number of command line arguments is %d",
           .message = "Parsing the command line provided. Number of command line arguments is 0"},
          {.operation = "Log",
           .level = 50,
           .module = "",
           .component = "CommandLineParser",
           .text4 = "",
           .text5 = "",
           .format =
               "Argument count is zero. There should be at least one i.e. name of application.",
           .message = "Argument count is zero. There should be at least one i.e. name of "
                      "application."}}));
  EXPECT_EQ(test::RecordedCalls(), std::vector<test::LoggedMessage>{});
  EXPECT_EQ(defaultLogger.messages, std::vector<test::LoggedMessage>{});
}

TEST(CommandLineParserMessages, HaveTheseFormats) {
  test::RecordingLogger logger;
  CommandLineParser parser;
  parser.SetLogger(&logger);
  EXPECT_TRUE(Parse(parser, {"/opt/hook", "--a", "a", "--", "--a"}));
  Lines formats;
  for (const test::LoggedMessage& message : logger.messages) {
    EXPECT_EQ(message.operation, "Log");
    EXPECT_EQ(message.component, "CommandLineParser");
    EXPECT_EQ(message.text5, "");
    formats.push_back(message.format);
  }
  EXPECT_EQ(formats,
            (Lines{"Parsing the command line provided. Number of command line arguments is %d",
                   "First command line argument is %s, Assuming the first argument to be "
                   "executable address ignoring it.",
                   "Argument specified is %s", "Argument specified is %s",
                   "The \"--\" is not there for the argument. Every argument should have \"--\"",
                   "Argument specified is %s", "The argument key is empty for %s",
                   "Argument specified is %s", "The argument %s already sepecified"}));
}

TEST(CommandLineParserMessages, GoToTheUtilitiesLogCallWithoutLogger) {
  test::RecordingLogger defaultLogger;
  test::RecordedCalls().clear();
  const ScopedUtilityLogs utilities(test::RecordingLogCall, &defaultLogger);
  CommandLineParser parser;
  EXPECT_TRUE(Parse(parser, {"/opt/hook", "x"}));
  ASSERT_EQ(test::RecordedCalls().size(), 4U);
  EXPECT_EQ(
      test::RecordedCalls().back(),
      (test::LoggedMessage{
          .operation = "call",
          .level = 50,
          .module = "DunmarUtils",
          .component = "CommandLineParser",
          .text4 = "",
          .text5 = "",
          .format = "The \"--\" is not there for the argument. Every argument should have \"--\"",
          .message =
              "The \"--\" is not there for the argument. Every argument should have \"--\""}));
  EXPECT_EQ(defaultLogger.messages, std::vector<test::LoggedMessage>{});
}

TEST(CommandLineParserMessages, GoToTheUtilitiesDefaultLoggerAtLast) {
  test::RecordingLogger defaultLogger;
  const ScopedUtilityLogs utilities(nullptr, &defaultLogger);
  CommandLineParser parser;
  EXPECT_TRUE(Parse(parser, {"/opt/hook", "--=x"}));
  ASSERT_EQ(defaultLogger.messages.size(), 4U);
  EXPECT_EQ(defaultLogger.messages.back(),
            (test::LoggedMessage{.operation = "Log",
                                 .level = 50,
                                 .module = "",
                                 .component = "CommandLineParser",
                                 .text4 = "",
                                 .text5 = "",
                                 .format = "The argument key is empty for %s",
                                 .message = "The argument key is empty for --=x"}));
}

TEST(CommandLineParserMessages, NeverGoToTheLogCallOfTheProgram) {
  const test::ScopedRecordingLogCall logCall;
  CommandLineParser parser;
  EXPECT_TRUE(Parse(parser, {"/opt/hook", "x"}));
  EXPECT_EQ(test::RecordedCalls(), std::vector<test::LoggedMessage>{});
}

TEST(CommandLineParserMessages, AreDroppedWithoutAnyListener) {
  CommandLineParser parser;
  EXPECT_TRUE(Parse(parser, {"/opt/hook", "x", "--", "--install=1", "--install=0"}));
  EXPECT_FALSE(parser.Parse(0, nullptr));
  EXPECT_EQ(Value(parser, "install"), "1");
}

}  // namespace
}  // namespace cmdline
