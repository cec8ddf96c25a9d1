#include "log/api/abstract_logger.h"

#include <cstdarg>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/recording_logger.h"
#include "tests/support/virtual_slot.h"

namespace {

using dunmar::AbstractLogger;
using test::VirtualSlot;

// Nobody deletes through this type, and a destructor has no place in the table.
static_assert(!std::has_virtual_destructor_v<AbstractLogger>);
static_assert(!std::is_destructible_v<AbstractLogger>);
static_assert(std::is_abstract_v<AbstractLogger>);
// The table's address and nothing else.
static_assert(sizeof(AbstractLogger) == sizeof(void*));

TEST(AbstractLogger, HasItsOperationsInAFixedOrderInTheVirtualTable) {
  EXPECT_EQ(VirtualSlot(&AbstractLogger::Trace), 0u);
  EXPECT_EQ(VirtualSlot(&AbstractLogger::Debug), 1u);
  EXPECT_EQ(VirtualSlot(&AbstractLogger::Info), 2u);
  EXPECT_EQ(VirtualSlot(&AbstractLogger::Warn), 3u);
  EXPECT_EQ(VirtualSlot(&AbstractLogger::Error), 4u);
  EXPECT_EQ(VirtualSlot(&AbstractLogger::Fatal), 5u);
  EXPECT_EQ(VirtualSlot(&AbstractLogger::Log), 6u);
  EXPECT_EQ(VirtualSlot(&AbstractLogger::LogV), 7u);
  EXPECT_EQ(VirtualSlot(&AbstractLogger::TraceWith), 8u);
  EXPECT_EQ(VirtualSlot(&AbstractLogger::DebugWith), 9u);
  EXPECT_EQ(VirtualSlot(&AbstractLogger::InfoWith), 10u);
  EXPECT_EQ(VirtualSlot(&AbstractLogger::WarnWith), 11u);
  EXPECT_EQ(VirtualSlot(&AbstractLogger::ErrorWith), 12u);
  EXPECT_EQ(VirtualSlot(&AbstractLogger::FatalWith), 13u);
}

void CallLogV(AbstractLogger* logger, const char* format, ...) DUNMAR_PRINTF_FORMAT(2, 3);

void CallLogV(AbstractLogger* logger, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  logger->LogV(15, "five", "six", format, arguments);
  va_end(arguments);
}

TEST(AbstractLogger, CallsNothingButTheOperationThatIsAsked) {
  const struct {
    std::function<void(AbstractLogger*)> call;
    test::LoggedMessage recorded;
  } rows[] = {
      {[](AbstractLogger* logger) { logger->Trace("%d", 1); },
       {"Trace", 10, "", "", "", "", "%d", "1"}},
      {[](AbstractLogger* logger) { logger->Debug("%d", 1); },
       {"Debug", 20, "", "", "", "", "%d", "1"}},
      {[](AbstractLogger* logger) { logger->Info("%d", 1); },
       {"Info", 30, "", "", "", "", "%d", "1"}},
      {[](AbstractLogger* logger) { logger->Warn("five", "%d", 1); },
       {"Warn", 40, "", "", "", "five", "%d", "1"}},
      {[](AbstractLogger* logger) { logger->Error("five", "%d", 1); },
       {"Error", 50, "", "", "", "five", "%d", "1"}},
      {[](AbstractLogger* logger) { logger->Fatal("five", "%d", 1); },
       {"Fatal", 60, "", "", "", "five", "%d", "1"}},
      {[](AbstractLogger* logger) { logger->Log(99, "five", "six", "%d", 1); },
       {"Log", 99, "", "six", "", "five", "%d", "1"}},
      {[](AbstractLogger* logger) { CallLogV(logger, "%d", 1); },
       {"LogV", 15, "", "six", "", "five", "%d", "1"}},
      {[](AbstractLogger* logger) { logger->TraceWith("four", "%d", 1); },
       {"TraceWith", 10, "", "", "four", "", "%d", "1"}},
      {[](AbstractLogger* logger) { logger->DebugWith("four", "%d", 1); },
       {"DebugWith", 20, "", "", "four", "", "%d", "1"}},
      {[](AbstractLogger* logger) { logger->InfoWith("four", "%d", 1); },
       {"InfoWith", 30, "", "", "four", "", "%d", "1"}},
      {[](AbstractLogger* logger) { logger->WarnWith("four", "five", "%d", 1); },
       {"WarnWith", 40, "", "", "four", "five", "%d", "1"}},
      {[](AbstractLogger* logger) { logger->ErrorWith("four", "five", "%d", 1); },
       {"ErrorWith", 50, "", "", "four", "five", "%d", "1"}},
      {[](AbstractLogger* logger) { logger->FatalWith("four", "five", "%d", 1); },
       {"FatalWith", 60, "", "", "four", "five", "%d", "1"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.recorded.operation);
    test::RecordingLogger logger;
    row.call(&logger);
    EXPECT_EQ(logger.messages, std::vector<test::LoggedMessage>{row.recorded});
  }
}

}  // namespace
