#include "log/api/log_call.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "log/api/level.h"
#include "tests/support/recording_logger.h"

namespace {

// Before any test could set one.
const bool kIsNullAtFirst = dunmar::LogCall() == nullptr;

int OtherLogCall(dunmar::LogLevel, const char*, const char*, const char*, const char*, const char*,
                 ...) DUNMAR_PRINTF_FORMAT(6, 7);

int OtherLogCall(dunmar::LogLevel, const char*, const char*, const char*, const char*, const char*,
                 ...) {
  return 0;
}

// As callers do it. Returns whether there was a log call.
bool LogItems(int count) {
  if (const dunmar::LogCallFunction log = dunmar::LogCall()) {
    EXPECT_EQ(log(30, "Module", "Component", "four", "five", "%d items", count), 0);
    return true;
  }
  return false;
}

TEST(LogCall, IsNullAtFirst) { EXPECT_TRUE(kIsNullAtFirst); }

TEST(LogCall, IsNotCalledWhileItIsNull) {
  {
    const test::ScopedRecordingLogCall scope;  // empties the list
  }
  EXPECT_FALSE(LogItems(3));
  EXPECT_TRUE(test::RecordedCalls().empty());
}

TEST(LogCall, GetsLevelModuleComponentTwoTextsFormatAndArgumentsInThisOrder) {
  const test::ScopedRecordingLogCall scope;
  EXPECT_TRUE(LogItems(3));
  EXPECT_EQ(test::RecordedCalls(),
            (std::vector<test::LoggedMessage>{
                {"call", 30, "Module", "Component", "four", "five", "%d items", "3 items"}}));
}

TEST(SetLogCall, ReplacesTheLogCall) {
  dunmar::SetLogCall(test::RecordingLogCall);
  EXPECT_EQ(dunmar::LogCall(), test::RecordingLogCall);
  dunmar::SetLogCall(OtherLogCall);
  EXPECT_EQ(dunmar::LogCall(), OtherLogCall);
  dunmar::SetLogCall(nullptr);
}

TEST(SetLogCall, TakesTheLogCallAwayWithNull) {
  dunmar::SetLogCall(test::RecordingLogCall);
  dunmar::SetLogCall(nullptr);
  EXPECT_EQ(dunmar::LogCall(), nullptr);
}

}  // namespace
