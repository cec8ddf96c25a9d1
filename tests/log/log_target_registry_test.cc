#include "log/log_target_registry.h"

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "log/api/level.h"
#include "log/api/printf_format.h"
#include "log/log_target_registry_for_testing.h"
#include "tests/log/recording_target.h"
#include "tests/support/failing_allocation.h"

namespace {

using dunmar::LogTargetRegistry;
using test::RecordingTarget;
using Calls = std::vector<std::string>;

static_assert(!std::is_copy_constructible_v<LogTargetRegistry>);
static_assert(!std::is_copy_assignable_v<LogTargetRegistry>);

void Dispatch(LogTargetRegistry& registry, const char* targetName, const char* format, ...)
    DUNMAR_PRINTF_FORMAT(3, 4);

void Dispatch(LogTargetRegistry& registry, const char* targetName, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  registry.Dispatch(targetName, dunmar::kWarn, "1", "2", "3", "4", "5", "6", format, arguments,
                    1792127216007);
  va_end(arguments);
}

TEST(Register, OpensTheTargetAndListsItOnce) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget target("name");
  EXPECT_TRUE(registry.Register(&target));
  EXPECT_EQ(target.calls, Calls{"Open"});
  EXPECT_EQ(target.GetReferenceCount(), 1U);
  EXPECT_FALSE(IsEmptyForTesting(registry));
}

TEST(Register, OpensATargetAgainThatIsListedAlready) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget target("name");
  EXPECT_TRUE(registry.Register(&target));
  EXPECT_TRUE(registry.Register(&target));
  EXPECT_EQ(target.calls, (Calls{"Open", "Open"}));
  EXPECT_EQ(target.GetReferenceCount(), 1U);
  Dispatch(registry, "name", "x");
  EXPECT_EQ(target.records.size(), 1U);
}

TEST(Register, ListsNoTargetThatCannotBeOpened) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget target("name");
  target.openResult = false;
  EXPECT_FALSE(registry.Register(&target));
  EXPECT_EQ(target.calls, Calls{"Open"});
  EXPECT_EQ(target.GetReferenceCount(), 0U);
  EXPECT_TRUE(IsEmptyForTesting(registry));
}

TEST(Register, KeepsAListedTargetThatCannotBeOpenedAgain) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget target("name");
  EXPECT_TRUE(registry.Register(&target));
  target.openResult = false;
  EXPECT_FALSE(registry.Register(&target));
  EXPECT_EQ(target.GetReferenceCount(), 1U);
  Dispatch(registry, "name", "x");
  EXPECT_EQ(target.records.size(), 1U);
}

TEST(Register, FailsForNull) {
  LogTargetRegistry registry;
  EXPECT_FALSE(registry.Register(nullptr));
  EXPECT_TRUE(IsEmptyForTesting(registry));
}

TEST(Register, ListsNothingWhereMemoryRunsOut) {
  const test::LogMachine machine;
  std::size_t successes = 0;
  for (bool hasFailed = true; hasFailed; ++successes) {
    SCOPED_TRACE(successes);
    LogTargetRegistry registry;
    RecordingTarget target("a name that is too long for a text without memory of its own");
    bool isThrown = false;
    try {
      const test::ScopedAllocationFailure failure(successes);
      EXPECT_TRUE(registry.Register(&target));
      hasFailed = failure.HasFailed();
    } catch (const std::bad_alloc&) {
      isThrown = true;
    }
    ASSERT_EQ(isThrown, hasFailed);
    EXPECT_EQ(IsEmptyForTesting(registry), isThrown);
    EXPECT_EQ(target.GetReferenceCount(), isThrown ? 0U : 1U);
    target.calls.clear();
    // True where nothing is listed under the name, and nothing is closed then.
    EXPECT_TRUE(registry.Unregister(&target));
    EXPECT_EQ(target.calls, isThrown ? Calls{} : Calls{"Close"});
  }
  EXPECT_GT(successes, 2U);
}

TEST(Register, KeepsTheListWhereMemoryRunsOut) {
  const test::LogMachine machine;
  std::size_t successes = 0;
  for (bool hasFailed = true; hasFailed; ++successes) {
    SCOPED_TRACE(successes);
    LogTargetRegistry registry;
    RecordingTarget first("name");
    RecordingTarget second("name");
    EXPECT_TRUE(registry.Register(&first));
    bool isThrown = false;
    try {
      const test::ScopedAllocationFailure failure(successes);
      EXPECT_TRUE(registry.Register(&second));
      hasFailed = failure.HasFailed();
    } catch (const std::bad_alloc&) {
      isThrown = true;
    }
    ASSERT_EQ(isThrown, hasFailed);
    EXPECT_EQ(second.GetReferenceCount(), isThrown ? 0U : 1U);
    EXPECT_EQ(registry.Unregister(&second), !isThrown);
    EXPECT_TRUE(registry.Unregister(&first));
    EXPECT_TRUE(IsEmptyForTesting(registry));
  }
  EXPECT_GT(successes, 1U);
}

TEST(Register, ListsATargetUnderEachNameThatItHas) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget target("first");
  EXPECT_TRUE(registry.Register(&target));
  EXPECT_TRUE(target.SetName("second"));
  EXPECT_TRUE(registry.Register(&target));
  EXPECT_EQ(target.GetReferenceCount(), 2U);
  Dispatch(registry, "first", "x");
  Dispatch(registry, "second", "y");
  EXPECT_EQ(target.calls, (Calls{"Open", "Open", "Write x", "Write y"}));
}

TEST(Unregister, ClosesTheTargetAndTakesItOut) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget target("name");
  EXPECT_TRUE(registry.Register(&target));
  EXPECT_TRUE(registry.Unregister(&target));
  EXPECT_EQ(target.calls, (Calls{"Open", "Close"}));
  EXPECT_EQ(target.GetReferenceCount(), 0U);
  EXPECT_TRUE(IsEmptyForTesting(registry));
  Dispatch(registry, "name", "x");
  EXPECT_TRUE(target.records.empty());
}

TEST(Unregister, TakesATargetOutThatCannotBeClosed) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget target("name");
  target.closeResult = false;
  EXPECT_TRUE(registry.Register(&target));
  EXPECT_FALSE(registry.Unregister(&target));
  EXPECT_EQ(target.calls, (Calls{"Open", "Close"}));
  EXPECT_TRUE(IsEmptyForTesting(registry));
}

TEST(Unregister, FailsForNull) {
  LogTargetRegistry registry;
  EXPECT_FALSE(registry.Unregister(nullptr));
}

TEST(Unregister, SucceedsWhereNothingIsListedUnderTheName) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget listed("other");
  EXPECT_TRUE(registry.Register(&listed));
  RecordingTarget target("name");
  EXPECT_TRUE(registry.Unregister(&target));
  EXPECT_TRUE(target.calls.empty());
  EXPECT_EQ(target.GetReferenceCount(), 0U);
}

TEST(Unregister, FailsWhereOnlyOthersAreListedUnderTheName) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget listed("name");
  EXPECT_TRUE(registry.Register(&listed));
  RecordingTarget target("name");
  EXPECT_FALSE(registry.Unregister(&target));
  EXPECT_TRUE(target.calls.empty());
  EXPECT_EQ(target.GetReferenceCount(), 0U);
  Dispatch(registry, "name", "x");
  EXPECT_EQ(listed.records.size(), 1U);
}

TEST(Unregister, ClosesATargetOnlyWhenNoNameHasItAnyMore) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget target("first");
  target.closeResult = false;
  EXPECT_TRUE(registry.Register(&target));
  EXPECT_TRUE(target.SetName("second"));
  EXPECT_TRUE(registry.Register(&target));
  target.calls.clear();

  EXPECT_TRUE(registry.Unregister(&target));
  EXPECT_TRUE(target.calls.empty());
  EXPECT_EQ(target.GetReferenceCount(), 1U);

  EXPECT_TRUE(target.SetName("first"));
  EXPECT_FALSE(registry.Unregister(&target));
  EXPECT_EQ(target.calls, Calls{"Close"});
  EXPECT_TRUE(IsEmptyForTesting(registry));
}

TEST(Unregister, KeepsTheOrderOfTheOthers) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  std::vector<std::string> order;
  RecordingTarget first("name");
  RecordingTarget second("name");
  RecordingTarget third("name");
  first.onWrite = [&] { order.emplace_back("first"); };
  second.onWrite = [&] { order.emplace_back("second"); };
  third.onWrite = [&] { order.emplace_back("third"); };
  for (RecordingTarget* const target : {&first, &second, &third}) {
    EXPECT_TRUE(registry.Register(target));
  }
  EXPECT_TRUE(registry.Unregister(&first));
  Dispatch(registry, "name", "x");
  EXPECT_EQ(order, (Calls{"second", "third"}));
  EXPECT_TRUE(registry.Register(&first));
  Dispatch(registry, "name", "x");
  EXPECT_EQ(order, (Calls{"second", "third", "second", "third", "first"}));
}

TEST(Dispatch, HandsEveryFieldOverAsItIs) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget target("name");
  EXPECT_TRUE(registry.Register(&target));
  Dispatch(registry, "name", "%s %d", "six times", 7);
  EXPECT_EQ(
      target.records,
      (std::vector<test::WrittenRecord>{
          {40, {"1", "2", "3", "4", "5", "6"}, "%s %d", "six times 7", 1792127216007, true}}));
}

DUNMAR_PRINTF_FORMAT(2, 3)
void DispatchWithoutTexts(LogTargetRegistry& registry, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  registry.Dispatch("name", dunmar::kInfo, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                    format, arguments, 0);
  va_end(arguments);
}

TEST(Dispatch, HandsNullTextsOver) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget target("name");
  EXPECT_TRUE(registry.Register(&target));
  DispatchWithoutTexts(registry, "x");
  EXPECT_EQ(
      target.records,
      (std::vector<test::WrittenRecord>{
          {30, {"(null)", "(null)", "(null)", "(null)", "(null)", "(null)"}, "x", "x", 0, true}}));
}

TEST(Dispatch, GivesEachTargetTheArgumentsAnew) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  std::vector<std::string> order;
  RecordingTarget first("name");
  RecordingTarget second("name");
  first.onWrite = [&] { order.emplace_back("first"); };
  second.onWrite = [&] { order.emplace_back("second"); };
  EXPECT_TRUE(registry.Register(&first));
  EXPECT_TRUE(registry.Register(&second));
  // More than the registers of a call hold, of every kind.
  Dispatch(registry, "name", "%s %d %.2f %lld %s %d %d %.1f %s", "a", 1, 2.5,
           std::numeric_limits<long long>::max(), "b", 3, 4, 5.5, "c");
  for (const RecordingTarget* const target : {&first, &second}) {
    ASSERT_EQ(target->records.size(), 1U);
    EXPECT_EQ(target->records[0].message, "a 1 2.50 9223372036854775807 b 3 4 5.5 c");
  }
  EXPECT_EQ(order, (Calls{"first", "second"}));
}

DUNMAR_PRINTF_FORMAT(2, 3)
void DispatchTwice(LogTargetRegistry& registry, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  for (int i = 0; i < 2; ++i) {
    registry.Dispatch("name", dunmar::kInfo, "", "", "", "", "", "", format, arguments, 0);
  }
  va_end(arguments);
}

TEST(Dispatch, LeavesTheCallersArgumentsAsTheyWere) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget target("name");
  EXPECT_TRUE(registry.Register(&target));
  DispatchTwice(registry, "%d %s", 1, "a");
  EXPECT_EQ(target.calls, (Calls{"Open", "Write 1 a", "Write 1 a"}));
}

TEST(Dispatch, ReachesOnlyTheTargetsOfTheName) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget target("name");
  RecordingTarget other("nam");
  RecordingTarget unnamed;
  for (RecordingTarget* const each : {&target, &other, &unnamed}) {
    EXPECT_TRUE(registry.Register(each));
  }
  Dispatch(registry, "name", "x");
  Dispatch(registry, "", "y");
  Dispatch(registry, "names", "z");
  Dispatch(registry, "Name", "z");
  EXPECT_EQ(target.calls, (Calls{"Open", "Write x"}));
  EXPECT_EQ(other.calls, Calls{"Open"});
  EXPECT_EQ(unnamed.calls, (Calls{"Open", "Write y"}));
}

TEST(Dispatch, DropsRecordsForNoName) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget unnamed;
  EXPECT_TRUE(registry.Register(&unnamed));
  Dispatch(registry, nullptr, "x");
  EXPECT_TRUE(unnamed.records.empty());
}

TEST(Dispatch, LetsATargetLogWhileItWrites) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget first("name");
  RecordingTarget second("other");
  EXPECT_TRUE(registry.Register(&first));
  EXPECT_TRUE(registry.Register(&second));
  first.onWrite = [&] { Dispatch(registry, "other", "%s", "inner"); };
  Dispatch(registry, "name", "%s", "outer");
  EXPECT_EQ(first.calls, (Calls{"Open", "Write outer"}));
  EXPECT_EQ(second.calls, (Calls{"Open", "Write inner"}));
}

TEST(Register, ListsATargetAfterItHasOpened) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget target("name");
  target.onOpen = [&] { Dispatch(registry, "name", "%s", "opening"); };
  EXPECT_TRUE(registry.Register(&target));
  EXPECT_EQ(target.calls, Calls{"Open"});
  EXPECT_TRUE(registry.Register(&target));
  EXPECT_EQ(target.calls, (Calls{"Open", "Open", "Write opening"}));
}

TEST(Unregister, TakesATargetOutAfterItHasClosed) {
  const test::LogMachine machine;
  LogTargetRegistry registry;
  RecordingTarget target("name");
  RecordingTarget other("name");
  EXPECT_TRUE(registry.Register(&target));
  EXPECT_TRUE(registry.Register(&other));
  target.onClose = [&] {
    EXPECT_EQ(target.GetReferenceCount(), 0U);
    Dispatch(registry, "name", "%s", "closing");
  };
  EXPECT_TRUE(registry.Unregister(&target));
  EXPECT_EQ(target.calls, (Calls{"Open", "Close", "Write closing"}));
  EXPECT_EQ(other.calls, (Calls{"Open", "Write closing"}));
}

TEST(LogTargetRegistry, DeletesNoTarget) {
  const test::LogMachine machine;
  RecordingTarget target("name");
  {
    LogTargetRegistry registry;
    EXPECT_TRUE(registry.Register(&target));
  }
  EXPECT_EQ(target.calls, Calls{"Open"});
  EXPECT_EQ(target.GetReferenceCount(), 1U);
}

TEST(LogTargetRegistry, IsOneForTheProcess) {
  EXPECT_EQ(&LogTargetRegistry::Instance(), &LogTargetRegistry::Instance());
}

}  // namespace
