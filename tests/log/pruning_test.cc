#include "log/pruning.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "tests/support/after_removal.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/scoped_time_zone.h"
#include "tests/support/tree.h"

namespace dunmar {

namespace {

using Names = std::vector<std::string>;

constexpr uid_t kUser = 1001;

// 2026-11-16 12:00:00 in UTC.
constexpr std::int64_t kNoon = 1794830400;

const Names kFourDays = {"2026-11-16", "2026-11-15", "2026-11-14", "2026-11-13"};

TEST(MakePruneScope, TakesThePathApart) {
  const PruneScope scope = MakePruneScope("/a/b/Ixer.log", {"2026-11-16", "2026-11-15"});
  EXPECT_EQ(scope.folder, "/a/b");
  EXPECT_EQ(scope.stemLeaf, "Ixer");
  EXPECT_EQ(scope.liveLeaf, "Ixer.log");
  EXPECT_EQ(scope.keptPrefixes, (Names{"Ixer 2026-11-16", "Ixer 2026-11-15"}));
}

TEST(MakePruneScope, GoesByTheLastComponent) {
  const struct {
    const char* path;
    const char* folder;
    const char* stemLeaf;
    const char* liveLeaf;
    std::optional<test::Fault> fault = std::nullopt;
  } rows[] = {
      {"/a/Ixer.1.log", "/a", "Ixer.1", "Ixer.1.log"},
      {"/a/Ixer", "/a", "Ixer", "Ixer"},
      {"/a.b/Ixer", "/a.b", "Ixer", "Ixer"},
      {"/a/.log", "/a", ".log", ".log", test::Fault::kTakesHiddenNamesForExtensions},
      {"/a/Ixer.", "/a", "Ixer", "Ixer."},
      {"/a//Ixer.log", "/a", "Ixer", "Ixer.log", test::Fault::kKeepsDoubledSlashes},
      {"/a/Ixer.log/", "/a", "Ixer", "Ixer.log"},
      {"a/Ixer.log", "a", "Ixer", "Ixer.log"},
      // No folder that could be walked.
      {"/Ixer.log", "", "Ixer", "Ixer.log"},
      {"Ixer.log", "Ixer", "Ixer", "Ixer.log"},
  };
  for (const auto& row : rows) {
    if (row.fault && test::HasFault(*row.fault)) continue;
    SCOPED_TRACE(row.path);
    const PruneScope scope = MakePruneScope(row.path, {});
    EXPECT_EQ(scope.folder, row.folder);
    EXPECT_EQ(scope.stemLeaf, row.stemLeaf);
    EXPECT_EQ(scope.liveLeaf, row.liveLeaf);
    EXPECT_TRUE(scope.keptPrefixes.empty());
  }
}

PruneScope FourDays() { return MakePruneScope("/a/Ixer.log", kFourDays); }

TEST(JudgeEntry, IgnoresWhatDoesNotBeginWithTheStem) {
  for (const char* entry :
       {"", "I", "Ixe", "ixer.log", "IXER.log", ".Ixer.log", " Ixer.log", "kobb.trace",
        "sub/Ixer.log", "sub/Ixer 2020-01-01 00-00-00.log", "xIxer 2020-01-01 00-00-00.log"}) {
    SCOPED_TRACE(entry);
    EXPECT_EQ(JudgeEntry(FourDays(), entry), PruneVerdict::kIgnore);
  }
}

TEST(JudgeEntry, LetsStayWhatIsOfAKeptDay) {
  for (const char* entry :
       {"Ixer 2026-11-16 06-20-56.log", "Ixer 2026-11-15 23-59-59.log",
        "Ixer 2026-11-14 00-00-00.log", "Ixer 2026-11-13 00-00-00.log", "Ixer 2026-11-13",
        "Ixer 2026-11-130", "Ixer 2026-11-16 x/file", "Ixer 2026-11-16.txt"}) {
    SCOPED_TRACE(entry);
    EXPECT_EQ(JudgeEntry(FourDays(), entry), PruneVerdict::kCandidate);
  }
}

TEST(JudgeEntry, LetsTheLiveFileStay) {
  EXPECT_EQ(JudgeEntry(FourDays(), "Ixer.log"), PruneVerdict::kCandidate);
  EXPECT_EQ(JudgeEntry(MakePruneScope("/a/Ixer.log", {}), "Ixer.log"), PruneVerdict::kCandidate);
}

TEST(JudgeEntry, RemovesEveryOther) {
  for (const char* entry :
       {"Ixer 2026-11-12 23-59-59.log", "Ixer 2026-11-17 00-00-00.log", "Ixer 2026-11-1",
        "Ixer  2026-11-16.log", "Ixer-2026-11-16.log", "Ixer", "Ixer.logx", "Ixer.log.gz",
        "Ixer.trace", "Ixer.log/file", "IxerOther.log", "Ixer old/Ixer 2026-11-16 06-20-56.log"}) {
    SCOPED_TRACE(entry);
    EXPECT_EQ(JudgeEntry(FourDays(), entry), PruneVerdict::kRemove);
  }
}

TEST(ChooseVictims, ChoosesTheOldestOfTooMany) {
  EXPECT_EQ(
      ChooseVictims(FourDays(),
                    {"Ixer 2026-11-16 03-00-00.log", "Ixer.log", "Ixer 2026-11-14 09-00-00.log",
                     "Ixer 2026-11-16 01-00-00.log", "Ixer 2026-11-15 00-00-00.log"},
                    3),
      (Names{"Ixer 2026-11-14 09-00-00.log", "Ixer 2026-11-15 00-00-00.log"}));
}

TEST(ChooseVictims, ChoosesNoneWhileThereAreNotTooMany) {
  EXPECT_EQ(ChooseVictims(FourDays(), {}, 5), Names{});
  EXPECT_EQ(ChooseVictims(FourDays(), {"Ixer 2026-11-16 a", "Ixer 2026-11-16 b"}, 2), Names{});
  EXPECT_EQ(ChooseVictims(FourDays(), {"Ixer 2026-11-16 a", "Ixer 2026-11-16 b"}, 3), Names{});
}

TEST(ChooseVictims, CountsToTheLimitWithoutALiveFileToo) {
  EXPECT_EQ(ChooseVictims(FourDays(), {"Ixer 2026-11-16 b", "Ixer 2026-11-16 a"}, 1),
            Names{"Ixer 2026-11-16 a"});
}

TEST(ChooseVictims, NeverChoosesTheLiveFile) {
  EXPECT_EQ(ChooseVictims(FourDays(), {"Ixer.log"}, 0), Names{});
  EXPECT_EQ(ChooseVictims(FourDays(), {"Ixer.log", "Ixer 2026-11-16 a"}, 0),
            Names{"Ixer 2026-11-16 a"});
}

TEST(ChooseVictims, CountsALiveFileThatSortsFirstAmongThoseThatStay) {
  const PruneScope scope = MakePruneScope("/a/Ixer", kFourDays);
  EXPECT_EQ(ChooseVictims(
                scope, {"Ixer 2026-11-16 c", "Ixer 2026-11-16 b", "Ixer", "Ixer 2026-11-16 a"}, 2),
            (Names{"Ixer 2026-11-16 a", "Ixer 2026-11-16 b"}));
}

TEST(ChooseVictims, SortsByBytes) {
  EXPECT_EQ(
      ChooseVictims(FourDays(),
                    {"Ixer 2026-11-16 \xc3\xa9", "Ixer 2026-11-16 a", "Ixer 2026-11-16 Z"}, 0),
      (Names{"Ixer 2026-11-16 Z", "Ixer 2026-11-16 a", "Ixer 2026-11-16 \xc3\xa9"}));
}

class PruneOldLogsTest : public testing::Test {
 protected:
  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }

  // Empty files below "logs".
  void PutLogs(const Names& names) const {
    for (const std::string& name : names) test::PutFile(At("logs/" + name), "");
  }

  // Prunes at a moment in a time zone.
  static void PruneAt(std::int64_t now, const char* zone, const std::string& filePath, int days) {
    const test::ScopedTimeZone timeZone(zone);
    test::FakeHost host;
    host.clock.now.seconds = now;
    EXPECT_FALSE(PruneOldLogs(filePath, days));
  }
  void Prune(int days = 4) const { PruneAt(kNoon, "UTC", At("logs/Ixer.log"), days); }

  // Everything below "logs", sorted.
  [[nodiscard]] Names Logs() const {
    Names names;
    for (const auto& [path, item] : test::ReadTree(At("logs"))) {
      if (!path.empty()) names.push_back(path);
    }
    return names;
  }

  test::ScopedTempDir dir_;
};

TEST_F(PruneOldLogsTest, KeepsTheLiveFileAndTheFourNewestOfSevenCopiesOfToday) {
  PutLogs({"Ixer.log", "Ixer 2026-11-16 01-00-00.log", "Ixer 2026-11-16 02-00-00.log",
           "Ixer 2026-11-16 03-00-00.log", "Ixer 2026-11-16 04-00-00.log",
           "Ixer 2026-11-16 05-00-00.log", "Ixer 2026-11-16 06-00-00.log",
           "Ixer 2026-11-16 07-00-00.log"});
  Prune();
  EXPECT_EQ(Logs(),
            (Names{"Ixer 2026-11-16 04-00-00.log", "Ixer 2026-11-16 05-00-00.log",
                   "Ixer 2026-11-16 06-00-00.log", "Ixer 2026-11-16 07-00-00.log", "Ixer.log"}));
}

TEST_F(PruneOldLogsTest, KeepsFourCopies) {
  const Names logs = {"Ixer 2026-11-13 01-00-00.log", "Ixer 2026-11-14 01-00-00.log",
                      "Ixer 2026-11-15 01-00-00.log", "Ixer 2026-11-16 01-00-00.log", "Ixer.log"};
  PutLogs(logs);
  Prune();
  EXPECT_EQ(Logs(), logs);
}

TEST_F(PruneOldLogsTest, RemovesACopyOfFiveDaysAgoThoughItIsTheOnlyOne) {
  PutLogs({"Ixer.log", "Ixer 2026-11-11 01-00-00.log"});
  Prune();
  EXPECT_EQ(Logs(), Names{"Ixer.log"});
}

TEST_F(PruneOldLogsTest, RemovesCopiesThatAreNotOfTheLastFourDays) {
  PutLogs({"Ixer.log", "Ixer 2026-11-12 23-59-59.log", "Ixer 2026-11-13 00-00-00.log",
           "Ixer 2026-11-17 00-00-00.log", "Ixer 2025-11-16 00-00-00.log"});
  Prune();
  EXPECT_EQ(Logs(), (Names{"Ixer 2026-11-13 00-00-00.log", "Ixer.log"}));
}

TEST_F(PruneOldLogsTest, NeverTouchesWhatDoesNotBeginWithTheStem) {
  const Names others = {".Ixer 2020-01-01 00-00-00.log", ".hidden", "Other 2020-01-01 00-00-00.log",
                        "ixer 2020-01-01 00-00-00.log", "kobb.trace"};
  PutLogs(others);
  PutLogs({"Ixer 2020-01-01 00-00-00.log"});
  Prune();
  EXPECT_EQ(Logs(), others);
}

TEST_F(PruneOldLogsTest, NeverTouchesWhatIsInFoldersThatDoNotBeginWithTheStem) {
  PutLogs({".hidden/Ixer 2020-01-01 00-00-00.log", "sub/Ixer 2020-01-01 00-00-00.log",
           "sub/Ixer old/file"});
  test::MakeDirs(At("logs/sub/Ixer empty"));
  test::MakeDirs(At("logs/empty"));
  const Names before = Logs();
  Prune();
  EXPECT_EQ(Logs(), before);
}

TEST_F(PruneOldLogsTest, RemovesEverythingElseThatBeginsWithTheStem) {
  PutLogs({"Ixer", "Ixer.log", "Ixer.log.gz", "Ixer.trace", "IxerOther.log", "Ixer-1.log"});
  test::MakeFifo(At("logs/Ixer.fifo"));
  Prune();
  EXPECT_EQ(Logs(), Names{"Ixer.log"});
}

TEST_F(PruneOldLogsTest, EntersFoldersThatBeginWithTheStem) {
  PutLogs({"Ixer.log", "Ixer old/Ixer.log", "Ixer old/file", "Ixer old/sub/deep", "Ixer.log.d/x"});
  test::MakeDirs(At("logs/Ixer empty"));
  test::MakeDirs(At("logs/Ixer old/empty"));
  Prune();
  // A folder that had something in it when its turn came stays.
  EXPECT_EQ(Logs(), (Names{"Ixer old", "Ixer old/sub", "Ixer.log", "Ixer.log.d"}));
  Prune();
  EXPECT_EQ(Logs(), (Names{"Ixer old", "Ixer.log"}));
  Prune();
  EXPECT_EQ(Logs(), Names{"Ixer.log"});
}

TEST_F(PruneOldLogsTest, CountsWhatIsInAFolderOfAKeptDay) {
  PutLogs({"Ixer.log", "Ixer 2026-11-15 01-00-00.log", "Ixer 2026-11-16 01-00-00.log",
           "Ixer 2026-11-16 x/a", "Ixer 2026-11-16 x/b", "Ixer 2026-11-16 x/c"});
  Prune();
  EXPECT_EQ(Logs(), (Names{"Ixer 2026-11-16 x", "Ixer 2026-11-16 x/a", "Ixer 2026-11-16 x/b",
                           "Ixer 2026-11-16 x/c", "Ixer.log"}));
}

TEST_F(PruneOldLogsTest, CountsAFullFolderThatStaysAsGone) {
  PutLogs({"Ixer.log", "Ixer 2026-11-13 x/a", "Ixer 2026-11-13 x/b", "Ixer 2026-11-16 01-00-00.log",
           "Ixer 2026-11-16 02-00-00.log", "Ixer 2026-11-16 03-00-00.log"});
  Prune();
  EXPECT_EQ(Logs(),
            (Names{"Ixer 2026-11-13 x", "Ixer 2026-11-13 x/b", "Ixer 2026-11-16 01-00-00.log",
                   "Ixer 2026-11-16 02-00-00.log", "Ixer 2026-11-16 03-00-00.log", "Ixer.log"}));
}

TEST_F(PruneOldLogsTest, NeverRemovesALiveFileThatSortsFirst) {
  PutLogs({"Ixer", "Ixer 2026-11-16 01-00-00", "Ixer 2026-11-16 02-00-00",
           "Ixer 2026-11-16 03-00-00", "Ixer 2026-11-16 04-00-00", "Ixer 2026-11-16 05-00-00"});
  PruneAt(kNoon, "UTC", At("logs/Ixer"), 4);
  EXPECT_EQ(Logs(), (Names{"Ixer", "Ixer 2026-11-16 02-00-00", "Ixer 2026-11-16 03-00-00",
                           "Ixer 2026-11-16 04-00-00", "Ixer 2026-11-16 05-00-00"}));
}

TEST_F(PruneOldLogsTest, KeepsFiveCopiesWhereThereIsNoLiveFile) {
  PutLogs({"Ixer 2026-11-16 01-00-00.log", "Ixer 2026-11-16 02-00-00.log",
           "Ixer 2026-11-16 03-00-00.log", "Ixer 2026-11-16 04-00-00.log",
           "Ixer 2026-11-16 05-00-00.log", "Ixer 2026-11-16 06-00-00.log"});
  Prune();
  EXPECT_EQ(Logs(), (Names{"Ixer 2026-11-16 02-00-00.log", "Ixer 2026-11-16 03-00-00.log",
                           "Ixer 2026-11-16 04-00-00.log", "Ixer 2026-11-16 05-00-00.log",
                           "Ixer 2026-11-16 06-00-00.log"}));
}

TEST_F(PruneOldLogsTest, KeepsTheNewestCopyOfTodayForOneDay) {
  PutLogs({"Ixer.log", "Ixer 2026-11-16 01-00-00.log", "Ixer 2026-11-16 02-00-00.log",
           "Ixer 2026-11-15 23-59-59.log"});
  Prune(1);
  EXPECT_EQ(Logs(), (Names{"Ixer 2026-11-16 02-00-00.log", "Ixer.log"}));
}

TEST_F(PruneOldLogsTest, KeepsTheLiveFileAloneForNoDays) {
  for (const int days : {0, -1, -2147483647 - 1}) {
    SCOPED_TRACE(days);
    PutLogs({"Ixer.log", "Ixer 2026-11-16 01-00-00.log"});
    Prune(days);
    EXPECT_EQ(Logs(), Names{"Ixer.log"});
  }
}

TEST_F(PruneOldLogsTest, ReckonsWithDaysOfLocalTime) {
  const Names logs = {"Ixer 2026-11-15 23-59-59.log", "Ixer 2026-11-16 00-00-00.log", "Ixer.log"};
  // 22:00:00 of the 15th in UTC is midnight two hours further east.
  constexpr std::int64_t kMidnight = 1794780000;
  PutLogs(logs);
  PruneAt(kMidnight - 1, "EAST-2", At("logs/Ixer.log"), 1);
  EXPECT_EQ(Logs(), (Names{"Ixer 2026-11-15 23-59-59.log", "Ixer.log"}));
  PutLogs(logs);
  PruneAt(kMidnight, "EAST-2", At("logs/Ixer.log"), 1);
  EXPECT_EQ(Logs(), (Names{"Ixer 2026-11-16 00-00-00.log", "Ixer.log"}));
}

TEST_F(PruneOldLogsTest, StepsBackBy24HoursAndMayMissADayOf23) {
  PutLogs({"Ixer.log", "Ixer 2026-03-26 12-00-00.log", "Ixer 2026-03-28 12-00-00.log",
           "Ixer 2026-03-29 12-00-00.log", "Ixer 2026-03-30 00-10-00.log"});
  // Half an hour past midnight, the day after the clock was put forward.
  PruneAt(1774823400, test::kCentralEurope, At("logs/Ixer.log"), 4);
  EXPECT_EQ(Logs(), (Names{"Ixer 2026-03-26 12-00-00.log", "Ixer 2026-03-28 12-00-00.log",
                           "Ixer 2026-03-30 00-10-00.log", "Ixer.log"}));
}

TEST_F(PruneOldLogsTest, RemovesLinksThemselvesAndFollowsNone) {
  PutLogs({"Ixer.log"});
  test::PutFile(At("outside/Ixer 2020-01-01 00-00-00.log"), "kept");
  test::PutFile(At("outside/file"), "kept");
  const test::Tree before = test::ReadTree(At("outside"));
  test::MakeLink(At("logs/Ixer folder"), "../outside");
  test::MakeLink(At("logs/Ixer file"), "../outside/file");
  test::MakeLink(At("logs/Ixer dangling"), "missing");
  test::MakeLink(At("logs/Ixer loop"), ".");
  test::MakeLink(At("logs/Ixer 2026-11-16 folder"), "../outside");
  Prune();
  EXPECT_EQ(Logs(), (Names{"Ixer 2026-11-16 folder", "Ixer.log"}));
  Prune(0);
  EXPECT_EQ(Logs(), Names{"Ixer.log"});
  EXPECT_EQ(test::ReadTree(At("outside")), before);
}

TEST_F(PruneOldLogsTest, DoesNotEnterALinkThatTakesThePlaceOfAFolder) {
  PutLogs({"Ixer.log", "Ixer old/file"});
  test::PutFile(At("outside/file"), "kept");
  const test::AfterRemoval swap([this] {
    EXPECT_EQ(std::rename(At("logs/Ixer old").c_str(), At("logs/moved").c_str()), 0);
    test::MakeLink(At("logs/Ixer old"), "../outside");
  });
  Prune();
  EXPECT_EQ(test::GetFile(At("outside/file")), "kept");
  EXPECT_EQ(Logs(), (Names{"Ixer old", "Ixer.log", "moved", "moved/file"}));
}

TEST_F(PruneOldLogsTest, RemovesNothingBehindALinkThatTakesThePlaceOfAFolder) {
  PutLogs({"Ixer.log", "Ixer 2026-11-16 x/file", "Ixer 2026-11-16 y"});
  test::PutFile(At("outside/file"), "kept");
  // The folder is the first victim and stays, for it is full; what is in it is the second.
  const test::AfterRemoval swap([this] {
    EXPECT_EQ(std::rename(At("logs/Ixer 2026-11-16 x").c_str(), At("logs/moved").c_str()), 0);
    test::MakeLink(At("logs/Ixer 2026-11-16 x"), "../outside");
  });
  Prune(1);
  EXPECT_EQ(test::GetFile(At("outside/file")), "kept");
  EXPECT_EQ(Logs(),
            (Names{"Ixer 2026-11-16 x", "Ixer 2026-11-16 y", "Ixer.log", "moved", "moved/file"}));
}

TEST_F(PruneOldLogsTest, RemovesWhereTheFolderWasWhenThePruningBegan) {
  PutLogs({"Ixer.log", "Ixer 2026-11-16 a", "Ixer 2026-11-16 b", "Ixer old"});
  test::PutFile(At("other/Ixer 2026-11-16 a"), "kept");
  const test::AfterRemoval swap([this] {
    EXPECT_EQ(std::rename(At("logs").c_str(), At("moved").c_str()), 0);
    test::MakeLink(At("logs"), "other");
  });
  Prune(1);
  EXPECT_EQ(test::GetFile(At("other/Ixer 2026-11-16 a")), "kept");
  EXPECT_FALSE(test::IsThere(At("moved/Ixer 2026-11-16 a")));
  EXPECT_TRUE(test::IsThere(At("moved/Ixer 2026-11-16 b")));
}

TEST_F(PruneOldLogsTest, GoesOnAfterWhatCannotBeRemoved) {
  static int calls;
  calls = 0;
  PutLogs({"Ixer.log", "Ixer a", "Ixer b", "Ixer 2026-11-16 a", "Ixer 2026-11-16 b",
           "Ixer 2026-11-16 c"});
  const Names before = Logs();
  platform::ScopedSystemCalls system;
  system->unlinkat = [](int, const char*, int) {
    ++calls;
    errno = EPERM;
    return -1;
  };
  Prune(1);
  EXPECT_EQ(calls, 4);
  EXPECT_EQ(Logs(), before);
}

TEST_F(PruneOldLogsTest, FollowsALinkToTheFolderUnderTheOwnerRule) {
  PutLogs({"Ixer.log", "Ixer old"});
  test::MakeLink(At("link"), "logs");
  if (test::WhyNoRealRoot().empty()) {
    test::SetOwner(At("link"), kUser, kUser);
    PruneAt(kNoon, "UTC", At("link/Ixer.log"), 4);
    EXPECT_EQ(Logs(), (Names{"Ixer old", "Ixer.log"}));
    test::SetOwner(At("logs"), kUser, kUser);
  }
  PruneAt(kNoon, "UTC", At("link/Ixer.log"), 4);
  EXPECT_EQ(Logs(), Names{"Ixer.log"});
}

TEST_F(PruneOldLogsTest, DoesNothingWithoutAFolder) {
  PutLogs({"Ixer old"});
  EXPECT_FALSE(PruneOldLogs(At("missing/Ixer.log"), 4));
  EXPECT_FALSE(PruneOldLogs("", 4));
  test::RunInChild([this] {
    ASSERT_EQ(chdir(At("logs").c_str()), 0);
    EXPECT_FALSE(PruneOldLogs("Ixer.log", 4));
  });
  EXPECT_EQ(Logs(), Names{"Ixer old"});
}

TEST_F(PruneOldLogsTest, AcceptsARelativePath) {
  PutLogs({"Ixer.log", "Ixer old"});
  test::RunInChild([this] {
    ASSERT_EQ(chdir(dir_.Path().c_str()), 0);
    EXPECT_FALSE(PruneOldLogs("logs/Ixer.log", 4));
  });
  EXPECT_EQ(Logs(), Names{"Ixer.log"});
}

}  // namespace

}  // namespace dunmar
