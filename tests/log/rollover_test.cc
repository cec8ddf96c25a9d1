#include "log/rollover.h"

#include <cstdint>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <string>
#include <unistd.h>

#include "platform/fopen_access.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/scoped_time_zone.h"

namespace dunmar {

namespace {

using namespace std::string_literals;

constexpr uid_t kUser = 1001;
constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();

TEST(SizeLimit, Is50MebibytesAtTraceAnd20AtDebug) {
  EXPECT_EQ(SizeLimit(10), 52428800U);
  EXPECT_EQ(SizeLimit(20), 20971520U);
}

TEST(SizeLimit, Is15MebibytesAtAnyOther) {
  for (const LogLevel level :
       {30, 40, 50, 60, 70, 0, 11, 15, 21, -10, -2147483647 - 1, 2147483647}) {
    SCOPED_TRACE(level);
    EXPECT_EQ(SizeLimit(level), 15728640U);
  }
}

TEST(IsCheckDue, After900SecondsOfRecordTime) {
  EXPECT_FALSE(IsCheckDue(1000, 1000));
  EXPECT_FALSE(IsCheckDue(1899, 1000));
  EXPECT_TRUE(IsCheckDue(1900, 1000));
  EXPECT_TRUE(IsCheckDue(1000000, 1000));
  EXPECT_FALSE(IsCheckDue(449, -450));
  EXPECT_TRUE(IsCheckDue(450, -450));
}

TEST(IsCheckDue, NotWhileTheClockIsBehind) {
  EXPECT_FALSE(IsCheckDue(999, 1000));
  EXPECT_FALSE(IsCheckDue(0, 1000000));
  EXPECT_FALSE(IsCheckDue(-900, 0));
}

TEST(IsCheckDue, KnowsNoTimeThatIsTooFar) {
  EXPECT_TRUE(IsCheckDue(kLatest, kEarliest));
  EXPECT_FALSE(IsCheckDue(kEarliest, kLatest));
  EXPECT_TRUE(IsCheckDue(kLatest, -1));
  EXPECT_FALSE(IsCheckDue(-1, kLatest));
  EXPECT_FALSE(IsCheckDue(kEarliest, 1));
  EXPECT_TRUE(IsCheckDue(1, kEarliest));
  EXPECT_FALSE(IsCheckDue(kLatest, kLatest - 899));
  EXPECT_TRUE(IsCheckDue(kLatest, kLatest - 900));
  EXPECT_FALSE(IsCheckDue(kEarliest + 899, kEarliest));
  EXPECT_TRUE(IsCheckDue(kEarliest + 900, kEarliest));
}

TEST(MakeBackupName, PutsDateAndTimeBetweenStemAndExtension) {
  const struct {
    const char* path;
    const char* expected;
    std::optional<test::Fault> fault = std::nullopt;
  } rows[] = {
      {"/a/Ixer.log", "/a/Ixer 2026-11-16 06-20-56.log"},
      {"Ixer.log", "Ixer 2026-11-16 06-20-56.log"},
      {"/a/Ixer.1.log", "/a/Ixer.1 2026-11-16 06-20-56.log"},
      {"/a/b c/I x.log", "/a/b c/I x 2026-11-16 06-20-56.log"},
      {"/a//Ixer.log", "/a/Ixer 2026-11-16 06-20-56.log", test::Fault::kKeepsDoubledSlashes},
      {"/a/Ixer", "/a/Ixer 2026-11-16 06-20-56", test::Fault::kAddsADotForAnEmptyExtension},
      {"/a/Ixer.", "/a/Ixer 2026-11-16 06-20-56", test::Fault::kAddsADotForAnEmptyExtension},
      // What the two rules for extensions see differently: the text after the last "." is put back
      // even where the stem still has it or it is a folder's.
      {"/a/.log", "/a/.log 2026-11-16 06-20-56.log", test::Fault::kTakesHiddenNamesForExtensions},
      {"/a.b/Ixer", "/a.b/Ixer 2026-11-16 06-20-56.b/Ixer"},
  };
  for (const auto& row : rows) {
    if (row.fault && test::HasFault(*row.fault)) continue;
    SCOPED_TRACE(row.path);
    EXPECT_EQ(MakeBackupName(row.path, "2026-11-16 06-20-56"), row.expected);
  }
}

TEST(MakeBackupName, KeepsThePathWhereItHasNoStringOnThePlatform) {
  EXPECT_EQ(MakeBackupName("/a/I\0xer.log"s, "2026-11-16 06-20-56"),
            "/a/I\0xer.log 2026-11-16 06-20-56"s);
}

TEST(MakeBackupName, IsForNowInLocalTime) {
  test::FakeHost host;
  host.clock.now.seconds = 1794810056;
  {
    const test::ScopedTimeZone zone("UTC");
    EXPECT_EQ(MakeBackupName("/a/Ixer.log"), "/a/Ixer 2026-11-16 06-20-56.log");
  }
  const test::ScopedTimeZone zone("WEST+7");
  EXPECT_EQ(MakeBackupName("/a/Ixer.log"), "/a/Ixer 2026-11-15 23-20-56.log");
}

TEST(KeepLogsMarkerPath, LiesBesideTheFileBehindADoubledSlash) {
  EXPECT_EQ(KeepLogsMarkerPath("/a/Ixer.log"), "/a//kobb.trace");
  EXPECT_EQ(KeepLogsMarkerPath("/a/b c/Ixer.log"), "/a/b c//kobb.trace");
  EXPECT_EQ(KeepLogsMarkerPath("/Ixer.log"), "//kobb.trace");
  EXPECT_EQ(KeepLogsMarkerPath("/a//Ixer.log"), "/a///kobb.trace");
}

TEST(KeepLogsMarkerPath, TakesAPathWithoutSlashForTheFolder) {
  EXPECT_EQ(KeepLogsMarkerPath("Ixer.log"), "Ixer.log//kobb.trace");
}

class ReadKeepLogsMarkerTest : public testing::Test {
 protected:
  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }
  void PutMarker(const std::string& content) const {
    test::PutFile(At("kobb.trace"), content);
    test::SetMode(At("kobb.trace"), 0666);
  }
  [[nodiscard]] std::string Read() const {
    return ReadKeepLogsMarker(KeepLogsMarkerPath(At("Ixer.log")));
  }

  test::ScopedTempDir dir_;
};

TEST_F(ReadKeepLogsMarkerTest, GivesNineBytesAtMost) {
  for (const std::string& content : {""s, "k"s, "keeplogs"s, "keeplogs\n"s, "keeplogs\0"s}) {
    PutMarker(content);
    EXPECT_EQ(Read(), content);
  }
  PutMarker("keeplogs\0more"s);
  EXPECT_EQ(Read(), "keeplogs\0"s);
  PutMarker(std::string(100000, 'x'));
  EXPECT_EQ(Read(), "xxxxxxxxx");
}

TEST_F(ReadKeepLogsMarkerTest, GivesNothingWithoutAMarker) {
  EXPECT_EQ(Read(), "");
  EXPECT_EQ(ReadKeepLogsMarker(""), "");
  EXPECT_EQ(ReadKeepLogsMarker(At("missing/kobb.trace")), "");
}

TEST_F(ReadKeepLogsMarkerTest, GivesNothingForAFolder) {
  test::MakeDirs(At("kobb.trace"));
  EXPECT_EQ(Read(), "");
}

TEST_F(ReadKeepLogsMarkerTest, DoesNotWaitForAFifo) {
  test::MakeFifo(At("kobb.trace"));
  EXPECT_EQ(Read(), "");
}

TEST_F(ReadKeepLogsMarkerTest, DoesNotReadFromAFifoThatHoldsTheWord) {
  test::MakeFifo(At("kobb.trace"));
  const int fifo = open(At("kobb.trace").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(fifo, 0);
  EXPECT_EQ(write(fifo, "keeplogs", 8), 8);
  EXPECT_EQ(Read(), "");
  char bytes[16];
  EXPECT_EQ(read(fifo, bytes, sizeof bytes), 8);
  close(fifo);
}

TEST_F(ReadKeepLogsMarkerTest, DoesNotReadADevice) {
  EXPECT_EQ(ReadKeepLogsMarker("/dev/zero"), "");
}

TEST_F(ReadKeepLogsMarkerTest, FollowsALink) {
  test::PutFile(At("elsewhere"), "keeplogs");
  test::MakeLink(At("kobb.trace"), "elsewhere");
  EXPECT_EQ(Read(), "keeplogs");
}

TEST_F(ReadKeepLogsMarkerTest, GivesNothingForADanglingLinkAndMakesNothing) {
  test::MakeLink(At("kobb.trace"), "missing");
  EXPECT_EQ(Read(), "");
  EXPECT_FALSE(test::IsThere(At("missing")));
}

TEST_F(ReadKeepLogsMarkerTest, FollowsNoLinkToSomebodyElsesFile) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("secret"), "keeplogs");
  test::MakeLink(At("kobb.trace"), "secret");
  test::SetOwner(At("kobb.trace"), kUser, kUser);
  EXPECT_EQ(Read(), "");
  test::SetOwner(At("secret"), kUser, kUser);
  EXPECT_EQ(Read(), "keeplogs");
}

TEST_F(ReadKeepLogsMarkerTest, AcceptsAFileOfSeveralNames) {
  PutMarker("keeplogs");
  test::MakeHardLink(At("other"), At("kobb.trace"));
  EXPECT_EQ(Read(), "keeplogs");
}

TEST_F(ReadKeepLogsMarkerTest, OpensWithTheAccessThatTheSystemGivesForRwPlus) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  PutMarker("keeplogs");
  test::RunInChild([this] {
    ASSERT_EQ(seteuid(kUser), 0);
    EXPECT_EQ(Read(), "keeplogs");
  });
  test::SetMode(At("kobb.trace"), 0444);
  test::RunInChild([this] {
    ASSERT_EQ(seteuid(kUser), 0);
    EXPECT_EQ(Read(), platform::AccessOfReadWritePlus() == O_RDONLY ? "keeplogs" : "");
  });
  test::SetMode(At("kobb.trace"), 0222);
  test::RunInChild([this] {
    ASSERT_EQ(seteuid(kUser), 0);
    EXPECT_EQ(Read(), "");
  });
}

TEST(SaysKeepLogs, IfTheWordEndsThereOrANulFollows) {
  EXPECT_TRUE(SaysKeepLogs("keeplogs"));
  EXPECT_TRUE(SaysKeepLogs("keeplogs\0"s));
}

TEST(SaysKeepLogs, NotForAnythingElse) {
  for (const std::string& text :
       {""s, "\0"s, "keeplog"s, "keeplog\0"s, "keeplog\0s"s, "keeplogs\n"s, "keeplogs\r"s,
        "keeplogs "s, "keeplogsx"s, "KEEPLOGS"s, "Keeplogs"s, " keeplogs"s, "\0keeplogs"s}) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(SaysKeepLogs(text));
  }
}

}  // namespace

}  // namespace dunmar
