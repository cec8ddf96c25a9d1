#include "log/record_format.h"

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/thread_id.h"
#include "tests/support/fake_host.h"
#include "tests/support/known_faults.h"
#include "tests/support/scoped_time_zone.h"

namespace {

using dunmar::LogLevel;
using dunmar::RecordTexts;

constexpr std::int64_t kTime = 1794810056007;  // 2026-11-16 06:20:56.007 UTC
constexpr RecordTexts kNoTexts = {};

struct Formatted {
  int result = 0;
  std::array<char, 4096> buffer = {};
};

Formatted FormatV(const char* format, va_list* arguments) DUNMAR_PRINTF_FORMAT(1, 0);

Formatted FormatV(const char* format, va_list* arguments) {
  Formatted formatted;
  formatted.buffer.fill('?');
  formatted.result =
      dunmar::FormatMessage(formatted.buffer.data(), formatted.buffer.size(), format, arguments);
  return formatted;
}

Formatted Format(const char* format, ...) DUNMAR_PRINTF_FORMAT(1, 2);

Formatted Format(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const Formatted formatted = FormatV(format, &arguments);
  va_end(arguments);
  return formatted;
}

TEST(FormatMessage, FormatsItsArguments) {
  const Formatted formatted = Format("%d items in %s", 3, "/a");
  EXPECT_EQ(formatted.result, 13);
  EXPECT_STREQ(formatted.buffer.data(), "3 items in /a");
}

TEST(FormatMessage, LeavesTheBufferAloneWithoutArguments) {
  const Formatted formatted = FormatV("100%s", nullptr);
  EXPECT_EQ(formatted.result, 0);
  EXPECT_EQ(std::string_view(formatted.buffer.data(), 4096), std::string(4096, '?'));
}

TEST(FormatMessage, KeepsAtMost4094Bytes) {
  const struct {
    int bytes;
    std::size_t kept;
  } rows[] = {{4093, 4093}, {4094, 4094}, {4095, 4094}, {4096, 4094}, {5000, 4094}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.bytes);
    std::string text(static_cast<std::size_t>(row.bytes), 'x');
    text[0] = 'a';
    text[4092] = 'b';
    const Formatted formatted = Format("%s", text.c_str());
    EXPECT_EQ(formatted.result, row.bytes);
    EXPECT_EQ(std::string(formatted.buffer.data()), text.substr(0, row.kept));
    EXPECT_EQ(formatted.buffer[4095], '?');
  }
}

int FormatInto(char* buffer, std::size_t bufferBytes, const char* format, ...)
    DUNMAR_PRINTF_FORMAT(3, 4);

int FormatInto(char* buffer, std::size_t bufferBytes, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = dunmar::FormatMessage(buffer, bufferBytes, format, &arguments);
  va_end(arguments);
  return result;
}

TEST(FormatMessage, LeavesABufferWithoutRoomAlone) {
  for (const std::size_t bufferBytes : {0U, 1U}) {
    std::array<char, 8> bytes;
    bytes.fill('?');
    EXPECT_EQ(FormatInto(bytes.data() + 4, bufferBytes, "%s", "abc"), 0);
    EXPECT_EQ(std::string_view(bytes.data(), bytes.size()), "????????");
  }
}

TEST(FormatMessage, KeepsNothingInTheSmallestBuffer) {
  std::array<char, 8> bytes;
  bytes.fill('?');
  EXPECT_EQ(FormatInto(bytes.data() + 4, 2, "%s", "abc"), 3);
  EXPECT_EQ(std::string_view(bytes.data(), bytes.size()), std::string_view("????\0???", 8));
}

TEST(FormatMessage, KeepsNothingOfAnEmptyMessage) {
  const Formatted formatted = Format("%s", "");
  EXPECT_EQ(formatted.result, 0);
  EXPECT_STREQ(formatted.buffer.data(), "");
}

TEST(FormatMessage, EndsTheTextWhereAnArgumentCannotBeFormatted) {
  if (test::HasFault(test::Fault::kSetsTheLocale)) GTEST_SKIP() << "GNUstep left the C locale";
  // No character of the C locale.
  const Formatted formatted = Format("before %lc after", static_cast<std::wint_t>(0x20AC));
  EXPECT_LT(formatted.result, 0);
  EXPECT_STREQ(formatted.buffer.data(), "before ");
}

TEST(FormatMessage, EndsALongTextWhereAnArgumentCannotBeFormatted) {
  if (test::HasFault(test::Fault::kSetsTheLocale)) GTEST_SKIP() << "GNUstep left the C locale";
  const std::string text(5000, 'x');
  const Formatted formatted = Format("%s%lc", text.c_str(), static_cast<std::wint_t>(0x20AC));
  EXPECT_LT(formatted.result, 0);
  EXPECT_EQ(std::string(formatted.buffer.data()), text.substr(0, 4094));
}

// What a target holds.
struct Target {
  std::string separator = " | ";
  bool logThreadId = false;
  std::vector<std::string> maskedKeys = {"user", "password"};
  std::int64_t lastRecordTime = -77;
  dunmar::TimestampCache timestampCache;

  dunmar::RecordContext Context() {
    return {.separator = separator,
            .logThreadId = logThreadId,
            .maskedKeys = maskedKeys,
            .lastRecordTime = lastRecordTime,
            .timestampCache = timestampCache};
  }
};

std::string Timestamp(Target& target, std::int64_t timeMs) {
  std::string out;
  dunmar::FormatTimestamp(timeMs, target.timestampCache, target.lastRecordTime, out);
  return out;
}

std::string Timestamp(std::int64_t timeMs) {
  Target target;
  return Timestamp(target, timeMs);
}

TEST(FormatTimestamp, GivesLocalDateAndTimeAndMilliseconds) {
  const test::ScopedTimeZone zone("UTC0");
  EXPECT_EQ(Timestamp(kTime), "11/16/26 06:20:56:007");
  const test::ScopedTimeZone centralEurope(test::kCentralEurope);
  EXPECT_EQ(Timestamp(kTime), "11/16/26 07:20:56:007");
  EXPECT_EQ(Timestamp(1785738056999), "08/03/26 08:20:56:999");
}

TEST(FormatTimestamp, AppendsAndSetsTheLastRecordTime) {
  const test::ScopedTimeZone zone("UTC0");
  Target target;
  std::string out = "before ";
  dunmar::FormatTimestamp(1500, target.timestampCache, target.lastRecordTime, out);
  EXPECT_EQ(out, "before 01/01/70 00:00:01:500");
  EXPECT_EQ(target.lastRecordTime, 1);
}

TEST(FormatTimestamp, GivesAtLeastThreeDigitsOfMilliseconds) {
  const test::ScopedTimeZone zone("UTC0");
  EXPECT_EQ(Timestamp(7), "01/01/70 00:00:00:007");
  EXPECT_EQ(Timestamp(1000), "01/01/70 00:00:01:000");
  EXPECT_EQ(Timestamp(1009), "01/01/70 00:00:01:009");
  EXPECT_EQ(Timestamp(1010), "01/01/70 00:00:01:010");
  EXPECT_EQ(Timestamp(1099), "01/01/70 00:00:01:099");
  EXPECT_EQ(Timestamp(1100), "01/01/70 00:00:01:100");
  EXPECT_EQ(Timestamp(1999), "01/01/70 00:00:01:999");
}

TEST(FormatTimestamp, AsksTheClockForTimeZero) {
  const test::ScopedTimeZone zone("UTC0");
  test::FakeHost host;
  host.clock.now = {.seconds = 1794810056, .microseconds = 7999};
  Target target;
  EXPECT_EQ(Timestamp(target, 0), "11/16/26 06:20:56:007");
  EXPECT_EQ(target.lastRecordTime, 1794810056);
  host.clock.now = {.seconds = 1794810056, .microseconds = 999};
  EXPECT_EQ(Timestamp(target, 0), "11/16/26 06:20:56:000");
}

TEST(FormatTimestamp, DividesTimesBeforeTheEpochTowardsIt) {
  const test::ScopedTimeZone zone("UTC0");
  Target target;
  EXPECT_EQ(Timestamp(target, -1500), "12/31/69 23:59:59:-500");
  EXPECT_EQ(target.lastRecordTime, -1);
  EXPECT_EQ(Timestamp(target, -7), "01/01/70 00:00:00:-007");
  EXPECT_EQ(target.lastRecordTime, 0);
  EXPECT_EQ(Timestamp(target, -1000), "12/31/69 23:59:59:000");
}

TEST(FormatTimestamp, TakesAnyNumberOfMilliseconds) {
  Target target;
  EXPECT_TRUE(Timestamp(target, std::numeric_limits<std::int64_t>::max()).ends_with(":807"));
  EXPECT_EQ(target.lastRecordTime, 9223372036854775);
  EXPECT_TRUE(Timestamp(target, std::numeric_limits<std::int64_t>::min()).ends_with(":-808"));
  EXPECT_EQ(target.lastRecordTime, -9223372036854775);
}

TEST(FormatTimestamp, GivesAnEmptyDateForATimeThatCannotBeConverted) {
  const test::ScopedTimeZone zone("UTC0");
  test::FakeHost host;
  Target target;
  for (const std::int64_t seconds :
       {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
    host.clock.now = {.seconds = seconds, .microseconds = 42000};
    EXPECT_EQ(Timestamp(target, 0), ":042");
    EXPECT_EQ(target.lastRecordTime, seconds);
    EXPECT_EQ(Timestamp(target, kTime), "11/16/26 06:20:56:007");
  }
}

TEST(FormatTimestamp, ConvertsASecondOnceInARow) {
  Target target;
  {
    const test::ScopedTimeZone zone("UTC0");
    EXPECT_EQ(Timestamp(target, 1), "01/01/70 00:00:00:001");
  }
  const test::ScopedTimeZone zone("UTC-5");
  EXPECT_EQ(Timestamp(target, 999), "01/01/70 00:00:00:999");
  EXPECT_EQ(Timestamp(target, 1000), "01/01/70 05:00:01:000");
  EXPECT_EQ(Timestamp(target, 999), "01/01/70 05:00:00:999");
}

TEST(GetThreadIdText, IsTheKernelsNumberOfTheThread) {
  EXPECT_EQ(dunmar::GetThreadIdText(/*logThreadId=*/true),
            std::to_string(platform::CurrentThreadId()));
  std::string other;
  std::thread([&] { other = dunmar::GetThreadIdText(/*logThreadId=*/true); }).join();
  EXPECT_NE(other, "");
  EXPECT_NE(other, dunmar::GetThreadIdText(/*logThreadId=*/true));
}

TEST(GetThreadIdText, IsEmptyWhereItIsNotWanted) {
  EXPECT_EQ(dunmar::GetThreadIdText(/*logThreadId=*/false), "");
}

TEST(HoldsAccessToken, FindsADottedStartBehindAStart) {
  for (const char* message : {"a eyJhbGciOi.eyJzdWIi.x", "eyJ.eyJ", "eyJa eyJb.eyJc", "eyJeyJ.eyJ",
                              "x.eyJa.eyJb", "eyJ yJ J eJ y.eyJ", "eyJ\n\n.eyJ", "J eyJ.eyJ"}) {
    EXPECT_TRUE(dunmar::HoldsAccessToken(message)) << message;
  }
}

TEST(HoldsAccessToken, FindsNothingElse) {
  for (const char* message : {"", "J", "yJ", ".J", "eyJ", ".eyJ", "x.eyJabc", "eyJa eyJb",
                              "eyJ eyJ eyJ", "eyJeyJ", "eyJ.eyj", "EyJ.EyJ", "eyj.eyJ", "eyJ.ey",
                              "eyJ. eyJ", "eyJ.eyK", "e.yJ.eyJ", "Just a message. No Job's jar"}) {
    EXPECT_FALSE(dunmar::HoldsAccessToken(message)) << message;
  }
}

TEST(HoldsAccessToken, TakesLongMessagesAndAnyByte) {
  const std::string filler(5000, 'J');
  EXPECT_TRUE(dunmar::HoldsAccessToken("eyJ" + filler + ".eyJ"));
  EXPECT_FALSE(dunmar::HoldsAccessToken(filler + "eyJ" + filler));
  EXPECT_TRUE(dunmar::HoldsAccessToken(std::string_view("\0\xFF eyJ\0.eyJ", 11)));
}

// The line of a record in the zone UTC, for a process of user 501's.
std::string Record(Target target, LogLevel level, const RecordTexts& texts,
                   std::string_view message) {
  const test::ScopedTimeZone zone("UTC0");
  test::FakeHost host;
  host.identity.user = 501;
  std::string out;
  dunmar::FormatRecord(target.Context(), kTime, level, texts, message, out);
  return out;
}

std::string Record(LogLevel level, std::string_view message) {
  return Record(Target(), level, kNoTexts, message);
}

TEST(FormatRecord, JoinsElevenFields) {
  Target target;
  target.logThreadId = true;
  EXPECT_EQ(Record(target, 30, {"t1", "t2", "t3", "t4", "t5", "t6"}, "Started"),
            "11/16/26 06:20:56:007 | [INFO] | t1 | t2 | t3 | t4 | t5 | t6 | " +
                std::to_string(platform::CurrentThreadId()) + " | 501 | Started");
}

TEST(FormatRecord, ShowsEmptyFieldsAsTwoBlanks) {
  EXPECT_EQ(Record(Target(), 30, {nullptr, "Module", "", nullptr, nullptr, "Module"}, "Started"),
            "11/16/26 06:20:56:007 | [INFO] |  | Module |  |  |  | Module |  | 501 | Started");
}

TEST(FormatRecord, AppendsWithoutALineEndAndSetsTheLastRecordTime) {
  const test::ScopedTimeZone zone("UTC0");
  test::FakeHost host;
  host.identity.user = 0;
  Target target;
  std::string out = "before\n";
  dunmar::FormatRecord(target.Context(), kTime, 30, kNoTexts, "m", out);
  EXPECT_EQ(out, "before\n11/16/26 06:20:56:007 | [INFO] |  |  |  |  |  |  |  | 0 | m");
  EXPECT_EQ(target.lastRecordTime, 1794810056);
}

TEST(FormatRecord, TakesTheTargetsSeparator) {
  Target target;
  target.separator = ";";
  EXPECT_EQ(Record(target, 30, {"a", "b", "c", "d", "e", "f"}, "m | n"),
            "11/16/26 06:20:56:007;[INFO];a;b;c;d;e;f;;501;m | n");
}

TEST(FormatRecord, NamesTheLevel) {
  const struct {
    LogLevel level;
    const char* name;
  } rows[] = {{10, "TRACE"}, {20, "DEBUG"}, {30, "INFO"}, {40, "WARN"}, {50, "ERROR"},
              {60, "FATAL"}, {70, "NONE"},  {35, "ALL"},  {0, "ALL"},   {-1, "ALL"}};
  for (const auto& row : rows) {
    EXPECT_EQ(Record(row.level, "m"), "11/16/26 06:20:56:007 | [" + std::string(row.name) +
                                          "] |  |  |  |  |  |  |  | 501 | m");
  }
}

TEST(FormatRecord, PrintsTheEffectiveUserWithoutASign) {
  const test::ScopedTimeZone zone("UTC0");
  test::FakeHost host;
  host.identity.user = 4294967294U;
  Target target;
  std::string out;
  dunmar::FormatRecord(target.Context(), kTime, 30, kNoTexts, "m", out);
  EXPECT_EQ(out, "11/16/26 06:20:56:007 | [INFO] |  |  |  |  |  |  |  | 4294967294 | m");
}

TEST(FormatRecord, ReplacesAMessageWithATokenAndWarns) {
  const char expected[] =
      "11/16/26 06:20:56:007 | [WARN] |  |  |  |  |  |  |  | 501 | "
      "Found access/device token. Log skipped.";
  EXPECT_EQ(Record(50, "a eyJhbGciOi.eyJzdWIi.x"), expected);
  EXPECT_EQ(Record(30, "a eyJhbGciOi.eyJzdWIi.x"), expected);
  EXPECT_EQ(Record(40, "<user>bob</user> eyJ.eyJ"), expected);
}

TEST(FormatRecord, WritesAMessageWithASingleTokenStart) {
  EXPECT_EQ(Record(50, "x.eyJabc"),
            "11/16/26 06:20:56:007 | [ERROR] |  |  |  |  |  |  |  | 501 | x.eyJabc");
  EXPECT_EQ(Record(50, "eyJ"), "11/16/26 06:20:56:007 | [ERROR] |  |  |  |  |  |  |  | 501 | eyJ");
  EXPECT_EQ(Record(50, "eyJa eyJb"),
            "11/16/26 06:20:56:007 | [ERROR] |  |  |  |  |  |  |  | 501 | eyJa eyJb");
}

TEST(FormatRecord, MasksCredentials) {
  EXPECT_EQ(Record(30, "login <User>bob</User> <Password>x</Password> x.eyJabc"),
            "11/16/26 06:20:56:007 | [INFO] |  |  |  |  |  |  |  | 501 | "
            "login <User>****</User> <Password>****</Password> x.eyJabc");
}

TEST(FormatRecord, LooksForSecretsInTheMessageAlone) {
  EXPECT_EQ(Record(Target(), 30,
                   {"eyJ.eyJ", "<user>bob</user>", nullptr, nullptr, nullptr, "eyJ.eyJ"}, "m"),
            "11/16/26 06:20:56:007 | [INFO] | eyJ.eyJ | <user>bob</user> |  |  |  | eyJ.eyJ |  | "
            "501 | m");
}

TEST(FormatRecord, WritesAFormatWithoutArgumentsAsItStands) {
  EXPECT_EQ(Record(30, "100%s of %d%n"),
            "11/16/26 06:20:56:007 | [INFO] |  |  |  |  |  |  |  | 501 | 100%s of %d%n");
}

TEST(FormatRecord, PassesAnyBytesThrough) {
  const std::string message = "\xC3\x84 \xFF\x80\xC3 line\nline\r\n\t\x01<\xFF>";
  EXPECT_EQ(Record(Target(), 30, {"\xFF", "a\nb", nullptr, nullptr, nullptr, nullptr}, message),
            "11/16/26 06:20:56:007 | [INFO] | \xFF | a\nb |  |  |  |  |  | 501 | " + message);
}

TEST(FormatRecord, TakesTextsOfAnyLength) {
  const std::string text(100000, 't');
  EXPECT_EQ(Record(Target(), 30, {text.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr}, text),
            "11/16/26 06:20:56:007 | [INFO] | " + text + " |  |  |  |  |  |  | 501 | " + text);
}

TEST(FormatRecord, TakesAnEmptyMessage) {
  EXPECT_EQ(Record(30, ""), "11/16/26 06:20:56:007 | [INFO] |  |  |  |  |  |  |  | 501 | ");
}

}  // namespace
