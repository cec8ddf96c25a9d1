#include "tests/support/recording_logger.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "log/api/level.h"
#include "log/api/log_call.h"

namespace test {

// For the messages of gtest.
static void PrintTo(const LoggedMessage& message, std::ostream* stream) {
  *stream << message.operation << " " << message.level << " |" << message.module << "|"
          << message.component << "|" << message.text4 << "|" << message.text5 << "|"
          << message.format << "|" << message.message;
}

}  // namespace test

namespace {

using Messages = std::vector<test::LoggedMessage>;

// From a variable, so that the compiler lets null and odd texts pass as formats.
const char* const kNull = nullptr;

void CallLogV(test::RecordingLogger* logger, const char* format, ...) DUNMAR_PRINTF_FORMAT(2, 3);

void CallLogV(test::RecordingLogger* logger, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  logger->LogV(15, "five", "six", format, arguments);
  va_end(arguments);
}

TEST(RecordingLogger, RecordsWhatEachOperationGot) {
  test::RecordingLogger logger;
  logger.Trace("t %d", 1);
  logger.Debug("d %d", 2);
  logger.Info("i %d", 3);
  logger.Warn("five", "w %d", 4);
  logger.Error("five", "e %d", 5);
  logger.Fatal("five", "f %d", 6);
  logger.Log(99, "five", "six", "l %d", 7);
  CallLogV(&logger, "v %d", 8);
  logger.TraceWith("four", "t %d", 9);
  logger.DebugWith("four", "d %d", 10);
  logger.InfoWith("four", "i %d", 11);
  logger.WarnWith("four", "five", "w %d", 12);
  logger.ErrorWith("four", "five", "e %d", 13);
  logger.FatalWith("four", "five", "f %d", 14);
  EXPECT_EQ(logger.messages, (Messages{
                                 {"Trace", 10, "", "", "", "", "t %d", "t 1"},
                                 {"Debug", 20, "", "", "", "", "d %d", "d 2"},
                                 {"Info", 30, "", "", "", "", "i %d", "i 3"},
                                 {"Warn", 40, "", "", "", "five", "w %d", "w 4"},
                                 {"Error", 50, "", "", "", "five", "e %d", "e 5"},
                                 {"Fatal", 60, "", "", "", "five", "f %d", "f 6"},
                                 {"Log", 99, "", "six", "", "five", "l %d", "l 7"},
                                 {"LogV", 15, "", "six", "", "five", "v %d", "v 8"},
                                 {"TraceWith", 10, "", "", "four", "", "t %d", "t 9"},
                                 {"DebugWith", 20, "", "", "four", "", "d %d", "d 10"},
                                 {"InfoWith", 30, "", "", "four", "", "i %d", "i 11"},
                                 {"WarnWith", 40, "", "", "four", "five", "w %d", "w 12"},
                                 {"ErrorWith", 50, "", "", "four", "five", "e %d", "e 13"},
                                 {"FatalWith", 60, "", "", "four", "five", "f %d", "f 14"},
                             }));
}

TEST(RecordingLogger, RecordsNullTextsAsSuch) {
  test::RecordingLogger logger;
  logger.WarnWith(nullptr, nullptr, "text");
  logger.Log(10, nullptr, nullptr, kNull);
  EXPECT_EQ(logger.messages, (Messages{
                                 {"WarnWith", 40, "", "", "(null)", "(null)", "text", "text"},
                                 {"Log", 10, "", "(null)", "", "(null)", "(null)", "(null)"},
                             }));
}

TEST(RecordingLogger, PutsLongMessagesTogetherWhole) {
  test::RecordingLogger logger;
  const std::string text(100000, 'x');
  logger.Info("<%s>", text.c_str());
  ASSERT_EQ(logger.messages.size(), 1u);
  EXPECT_TRUE(logger.messages[0].message == "<" + text + ">");
}

TEST(RecordingLogger, PutsAnEmptyMessageTogether) {
  test::RecordingLogger logger;
  logger.Info("%s", "");
  ASSERT_EQ(logger.messages.size(), 1u);
  EXPECT_EQ(logger.messages[0].message, "");
}

TEST(LevelsAndMessages, IsOneLineForEachMessage) {
  test::RecordingLogger logger;
  EXPECT_EQ(test::LevelsAndMessages(logger.messages), std::vector<std::string>());
  logger.Info("first %s", "message");
  logger.Log(-1, "", "", "second");
  EXPECT_EQ(test::LevelsAndMessages(logger.messages),
            (std::vector<std::string>{"30 first message", "-1 second"}));
}

TEST(RecordingLogCall, RecordsItsArgumentsAndReturns0) {
  const test::ScopedRecordingLogCall scope;
  EXPECT_EQ(test::RecordingLogCall(20, "Module", "Component", "four", "five", "%d items", 3), 0);
  EXPECT_EQ(test::RecordedCalls(),
            (Messages{{"call", 20, "Module", "Component", "four", "five", "%d items", "3 items"}}));
}

TEST(RecordingLogCall, RecordsNullTextsAsSuch) {
  const test::ScopedRecordingLogCall scope;
  EXPECT_EQ(test::RecordingLogCall(20, nullptr, nullptr, nullptr, nullptr, kNull), 0);
  EXPECT_EQ(test::RecordedCalls(),
            (Messages{{"call", 20, "(null)", "(null)", "(null)", "(null)", "(null)", "(null)"}}));
}

TEST(ScopedRecordingLogCall, SetsTheLogCallWithAnEmptyListAndTakesItAwayAgain) {
  ASSERT_EQ(dunmar::LogCall(), nullptr);
  for (int round = 0; round < 2; ++round) {
    SCOPED_TRACE(round);
    const test::ScopedRecordingLogCall scope;
    EXPECT_EQ(test::RecordedCalls(), Messages());
    ASSERT_EQ(dunmar::LogCall(), test::RecordingLogCall);
    EXPECT_EQ(dunmar::LogCall()(30, "", "", "", "", "text"), 0);
    EXPECT_EQ(test::LevelsAndMessages(test::RecordedCalls()), std::vector<std::string>{"30 text"});
  }
  EXPECT_EQ(dunmar::LogCall(), nullptr);
}

}  // namespace
