#include "hook/hook_log.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "log/api/level.h"
#include "log/api/log_call.h"
#include "tests/support/recording_logger.h"
#include "tests/support/resting_state.h"

namespace hook {
namespace {

const test::RestingStateCheck kFrontEndIsEmpty([] {
  return FrontEnd() == nullptr ? std::string() : std::string("the hook's front end is still set");
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

}  // namespace
}  // namespace hook
