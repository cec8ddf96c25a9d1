#include "log/logger.h"

#include <cstdarg>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>
#include <vector>

#include "log/api/abstract_logger.h"
#include "log/api/level.h"
#include "log/api/printf_format.h"
#include "log/log_target_registry.h"
#include "tests/log/recording_target.h"
#include "tests/support/virtual_slot.h"

namespace {

using dunmar::Logger;
using test::RecordingTarget;
using test::VirtualSlot;
using Records = std::vector<test::WrittenRecord>;

static_assert(std::is_convertible_v<Logger*, dunmar::AbstractLogger*>);
// Nobody deletes a front end through a base, and a destructor has no place in the table.
static_assert(!std::has_virtual_destructor_v<Logger>);

// A target that is registered under a name for the life of the object.
struct Listener {
  test::LogMachine machine;
  RecordingTarget target;
  explicit Listener(const char* name) : target(name) {
    EXPECT_TRUE(dunmar::LogTargetRegistry::Instance().Register(&target));
  }
  ~Listener() { EXPECT_TRUE(dunmar::LogTargetRegistry::Instance().Unregister(&target)); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
};

// A record of a front end whose field 2 is "Module"; all of them are for now and with the lock.
test::WrittenRecord Record(dunmar::LogLevel level, const char* text4, const char* text5,
                           const char* text6, const char* format, const char* message) {
  return {level, {"", "Module", "", text4, text5, text6}, format, message, 0, true};
}

DUNMAR_PRINTF_FORMAT(5, 6)
void CallLogV(dunmar::AbstractLogger& logger, dunmar::LogLevel level, const char* text5,
              const char* text6, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  logger.LogV(level, text5, text6, format, arguments);
  va_end(arguments);
}

DUNMAR_PRINTF_FORMAT(6, 7)
void CallLogWithField4(Logger& logger, dunmar::LogLevel level, const char* text5, const char* text6,
                       const char* field4, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  logger.LogWithField4(level, text5, text6, field4, format, arguments);
  va_end(arguments);
}

TEST(Logger, HasTheVirtualTableOfItsInterface) {
  EXPECT_EQ(VirtualSlot(&Logger::Trace), 0U);
  EXPECT_EQ(VirtualSlot(&Logger::Debug), 1U);
  EXPECT_EQ(VirtualSlot(&Logger::Info), 2U);
  EXPECT_EQ(VirtualSlot(&Logger::Warn), 3U);
  EXPECT_EQ(VirtualSlot(&Logger::Error), 4U);
  EXPECT_EQ(VirtualSlot(&Logger::Fatal), 5U);
  EXPECT_EQ(VirtualSlot(&Logger::Log), 6U);
  EXPECT_EQ(VirtualSlot(&Logger::LogV), 7U);
  EXPECT_EQ(VirtualSlot(&Logger::TraceWith), 8U);
  EXPECT_EQ(VirtualSlot(&Logger::DebugWith), 9U);
  EXPECT_EQ(VirtualSlot(&Logger::InfoWith), 10U);
  EXPECT_EQ(VirtualSlot(&Logger::WarnWith), 11U);
  EXPECT_EQ(VirtualSlot(&Logger::ErrorWith), 12U);
  EXPECT_EQ(VirtualSlot(&Logger::FatalWith), 13U);
}

TEST(Logger, HandsEachOperationToItsTargets) {
  Listener listener("name");
  Logger logger("name");
  EXPECT_TRUE(logger.SetFieldText2("Module"));
  logger.Trace("a %d", 1);
  logger.Debug("b %d", 2);
  logger.Info("c %d", 3);
  logger.Warn("five", "d %d", 4);
  logger.Error("five", "e %d", 5);
  logger.Fatal("five", "f %d", 6);
  logger.Log(15, "five", "six", "g %d", 7);
  CallLogV(logger, -1, "five", "six", "h %d", 8);
  logger.TraceWith("four", "i %d", 9);
  logger.DebugWith("four", "j %d", 10);
  logger.InfoWith("four", "k %d", 11);
  logger.WarnWith("four", "five", "l %d", 12);
  logger.ErrorWith("four", "five", "m %d", 13);
  logger.FatalWith("four", "five", "n %d", 14);
  CallLogWithField4(logger, 99, "five", "six", "four", "o %d", 15);
  EXPECT_EQ(listener.target.records, (Records{
                                         Record(10, "", "", "", "a %d", "a 1"),
                                         Record(20, "", "", "", "b %d", "b 2"),
                                         Record(30, "", "", "", "c %d", "c 3"),
                                         Record(40, "", "five", "", "d %d", "d 4"),
                                         Record(50, "", "five", "", "e %d", "e 5"),
                                         Record(60, "", "five", "", "f %d", "f 6"),
                                         Record(15, "", "five", "six", "g %d", "g 7"),
                                         Record(-1, "", "five", "six", "h %d", "h 8"),
                                         Record(10, "four", "", "", "i %d", "i 9"),
                                         Record(20, "four", "", "", "j %d", "j 10"),
                                         Record(30, "four", "", "", "k %d", "k 11"),
                                         Record(40, "four", "five", "", "l %d", "l 12"),
                                         Record(50, "four", "five", "", "m %d", "m 13"),
                                         Record(60, "four", "five", "", "n %d", "n 14"),
                                         Record(99, "four", "five", "six", "o %d", "o 15"),
                                     }));
}

TEST(Logger, TakesANullTextForAnEmptyOne) {
  Listener listener("name");
  Logger logger("name");
  EXPECT_TRUE(logger.SetFieldText2("Module"));
  logger.Warn(nullptr, "x");
  logger.Error(nullptr, "x");
  logger.Fatal(nullptr, "x");
  logger.Log(30, nullptr, "six", "x");
  logger.Log(30, "five", nullptr, "x");
  EXPECT_EQ(listener.target.records, (Records{
                                         Record(40, "", "", "", "x", "x"),
                                         Record(50, "", "", "", "x", "x"),
                                         Record(60, "", "", "", "x", "x"),
                                         Record(30, "", "", "six", "x", "x"),
                                         Record(30, "", "five", "", "x", "x"),
                                     }));
}

TEST(Logger, LogsNothingForANullTextWithAFieldOfItsOwn) {
  const Listener listener("name");
  Logger logger("name");
  logger.TraceWith(nullptr, "x");
  logger.DebugWith(nullptr, "x");
  logger.InfoWith(nullptr, "x");
  logger.WarnWith(nullptr, "five", "x");
  logger.WarnWith("m", nullptr, "x");
  logger.ErrorWith(nullptr, "five", "x");
  logger.ErrorWith("m", nullptr, "x");
  logger.FatalWith(nullptr, "five", "x");
  logger.FatalWith("m", nullptr, "x");
  EXPECT_TRUE(listener.target.records.empty());
}

// A null that the compiler does not see.
const char* NoFormat() {
  static const char* volatile format = nullptr;
  return format;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
TEST(Logger, LogsNothingForANullFormat) {
  const Listener listener("name");
  Logger logger("name");
  logger.Trace(NoFormat());
  logger.Debug(NoFormat());
  logger.Info(NoFormat());
  logger.Warn("five", NoFormat());
  logger.Error("five", NoFormat());
  logger.Fatal("five", NoFormat());
  logger.Log(30, "five", "six", NoFormat());
  logger.TraceWith("four", NoFormat());
  logger.DebugWith("four", NoFormat());
  logger.InfoWith("four", NoFormat());
  logger.WarnWith("four", "five", NoFormat());
  logger.ErrorWith("four", "five", NoFormat());
  logger.FatalWith("four", "five", NoFormat());
  EXPECT_TRUE(listener.target.records.empty());
}
#pragma GCC diagnostic pop

TEST(Logger, HandsNullTextsOnWhereTheArgumentsComeInAList) {
  Listener listener("name");
  Logger logger("name");
  EXPECT_TRUE(logger.SetFieldText2("Module"));
  CallLogV(logger, 30, nullptr, nullptr, "x");
  CallLogWithField4(logger, 30, nullptr, nullptr, nullptr, "x");
  EXPECT_EQ(listener.target.records, (Records{
                                         Record(30, "", "(null)", "(null)", "x", "x"),
                                         Record(30, "(null)", "(null)", "(null)", "x", "x"),
                                     }));
}

TEST(Logger, KeepsItsSecondTextForANullOne) {
  Listener listener("name");
  Logger logger("name");
  EXPECT_FALSE(logger.SetFieldText2(nullptr));
  logger.Info("x");
  EXPECT_TRUE(logger.SetFieldText2("Module"));
  EXPECT_FALSE(logger.SetFieldText2(nullptr));
  logger.Info("y");
  EXPECT_TRUE(logger.SetFieldText2(""));
  logger.Info("z");
  ASSERT_EQ(listener.target.records.size(), 3U);
  EXPECT_EQ(listener.target.records[0].texts[1], "");
  EXPECT_EQ(listener.target.records[1].texts[1], "Module");
  EXPECT_EQ(listener.target.records[2].texts[1], "");
}

TEST(Logger, RoutesByTheEmptyNameWithoutOne) {
  for (const char* const name : {static_cast<const char*>(nullptr), ""}) {
    Listener listener("");
    Logger logger(name);
    logger.Info("x");
    EXPECT_EQ(listener.target.records.size(), 1U);
  }
}

TEST(Logger, ReachesTheTargetsOfItsNameOnly) {
  const Listener listener("name");
  Logger logger("other");
  logger.Info("x");
  logger.InfoWith("m", "x");
  EXPECT_TRUE(listener.target.records.empty());
}

TEST(Logger, GivesEveryTargetTheWholeMessage) {
  Listener first("name");
  Listener second("name");
  Logger logger("name");
  logger.Log(30, "", "", "%s %d %.1f", "a", 1, 2.5);
  logger.InfoWith("m", "%s %d %.1f", "b", 2, 3.5);
  for (const RecordingTarget* const target : {&first.target, &second.target}) {
    ASSERT_EQ(target->records.size(), 2U);
    EXPECT_EQ(target->records[0].message, "a 1 2.5");
    EXPECT_EQ(target->records[1].message, "b 2 3.5");
  }
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Sees what comes to `LogV` and drops it.
class DerivedLogger final : public Logger {
 public:
  using Logger::Logger;
  std::vector<std::string> seen;

  void LogV(dunmar::LogLevel level, const char* text5, const char* text6, const char* format,
            va_list /*arguments*/) override DUNMAR_PRINTF_FORMAT(5, 0) {
    seen.push_back(std::to_string(level) + " " + text5 + " " + text6 + " " + format);
  }
};

#pragma GCC diagnostic pop

TEST(Logger, ShowsADerivedFrontEndItsMessagesWithoutAFieldOfTheirOwn) {
  Listener listener("name");
  DerivedLogger logger("name");
  logger.Trace("a");
  logger.Debug("b");
  logger.Info("c");
  logger.Warn("five", "d");
  logger.Error("five", "e");
  logger.Fatal("five", "f");
  logger.Log(15, "five", "six", "g");
  EXPECT_EQ(logger.seen, (std::vector<std::string>{"10   a", "20   b", "30   c", "40 five  d",
                                                   "50 five  e", "60 five  f", "15 five six g"}));
  EXPECT_TRUE(listener.target.records.empty());
}

TEST(Logger, BypassesADerivedFrontEndWithAFieldOfItsOwn) {
  Listener listener("name");
  DerivedLogger logger("name");
  logger.TraceWith("four", "a");
  logger.DebugWith("four", "b");
  logger.InfoWith("four", "c");
  logger.WarnWith("four", "five", "d");
  logger.ErrorWith("four", "five", "e");
  logger.FatalWith("four", "five", "f");
  EXPECT_TRUE(logger.seen.empty());
  EXPECT_EQ(listener.target.records.size(), 6U);
}

}  // namespace
