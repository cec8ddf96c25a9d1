#include "log/pruning.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
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

using Fate = CandidateChoice::Fate;

CandidateChoice Choose(const PruneScope& scope, std::size_t kept, const Names& candidates) {
  CandidateChoice choice(scope, kept);
  for (const std::string& candidate : candidates) choice.Add(candidate);
  return choice;
}

// Those that go where there are few, in the order that they go.
Names ChooseVictims(const PruneScope& scope, std::size_t kept, const Names& candidates) {
  const CandidateChoice choice = Choose(scope, kept, candidates);
  EXPECT_FALSE(choice.HasYoungerVictims());
  return {choice.OldestVictims().begin(), choice.OldestVictims().end()};
}

TEST(CandidateChoice, LetsTheOldestOfTooManyGo) {
  EXPECT_EQ(
      ChooseVictims(FourDays(), 3,
                    {"Ixer 2026-11-16 03-00-00.log", "Ixer.log", "Ixer 2026-11-14 09-00-00.log",
                     "Ixer 2026-11-16 01-00-00.log", "Ixer 2026-11-15 00-00-00.log"}),
      (Names{"Ixer 2026-11-14 09-00-00.log", "Ixer 2026-11-15 00-00-00.log"}));
}

TEST(CandidateChoice, LetsNoneGoWhileThereAreNotTooMany) {
  EXPECT_EQ(ChooseVictims(FourDays(), 5, {}), Names{});
  EXPECT_EQ(ChooseVictims(FourDays(), 2, {"Ixer 2026-11-16 a", "Ixer 2026-11-16 b"}), Names{});
  EXPECT_EQ(ChooseVictims(FourDays(), 3, {"Ixer 2026-11-16 a", "Ixer 2026-11-16 b"}), Names{});
}

TEST(CandidateChoice, CountsToTheLimitWithoutALiveFileToo) {
  EXPECT_EQ(ChooseVictims(FourDays(), 1, {"Ixer 2026-11-16 b", "Ixer 2026-11-16 a"}),
            Names{"Ixer 2026-11-16 a"});
}

TEST(CandidateChoice, NeverLetsTheLiveFileGo) {
  EXPECT_EQ(ChooseVictims(FourDays(), 0, {"Ixer.log"}), Names{});
  EXPECT_EQ(ChooseVictims(FourDays(), 0, {"Ixer.log", "Ixer 2026-11-16 a"}),
            Names{"Ixer 2026-11-16 a"});
}

TEST(CandidateChoice, CountsALiveFileThatSortsFirstAmongThoseThatStay) {
  const PruneScope scope = MakePruneScope("/a/Ixer", kFourDays);
  for (const Names& candidates :
       {Names{"Ixer 2026-11-16 c", "Ixer 2026-11-16 b", "Ixer", "Ixer 2026-11-16 a"},
        Names{"Ixer", "Ixer 2026-11-16 a", "Ixer 2026-11-16 b", "Ixer 2026-11-16 c"},
        Names{"Ixer 2026-11-16 a", "Ixer 2026-11-16 b", "Ixer 2026-11-16 c", "Ixer"}}) {
    EXPECT_EQ(ChooseVictims(scope, 2, candidates),
              (Names{"Ixer 2026-11-16 a", "Ixer 2026-11-16 b"}));
  }
}

TEST(CandidateChoice, GoesByBytes) {
  EXPECT_EQ(ChooseVictims(FourDays(), 0,
                          {"Ixer 2026-11-16 \xc3\xa9", "Ixer 2026-11-16 a", "Ixer 2026-11-16 Z"}),
            (Names{"Ixer 2026-11-16 Z", "Ixer 2026-11-16 a", "Ixer 2026-11-16 \xc3\xa9"}));
}

TEST(CandidateChoice, CountsTheSameCandidateOnce) {
  EXPECT_EQ(ChooseVictims(FourDays(), 2,
                          {"Ixer 2026-11-16 b", "Ixer 2026-11-16 b", "Ixer 2026-11-16 a",
                           "Ixer 2026-11-16 b"}),
            Names{});
}

TEST(CandidateChoice, HoldsNoMoreThanItTakes) {
  const std::size_t victims = 10 * CandidateChoice::kMostByAge;
  const auto name = [](std::size_t i) {
    return "Ixer 2026-11-16 " + std::string(1, static_cast<char>('A' + i / 26)) +
           std::string(1, static_cast<char>('a' + i % 26));
  };
  Names names;
  for (std::size_t i = 0; i < victims + 4; ++i) names.push_back(name(i));
  Names shuffled = names;
  std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(1));
  shuffled.emplace_back("Ixer.log");
  const CandidateChoice choice = Choose(FourDays(), 5, shuffled);
  ASSERT_EQ(choice.OldestVictims().size(), CandidateChoice::kMostByAge);
  EXPECT_TRUE(choice.HasYoungerVictims());
  for (std::size_t i = 0; i < names.size(); ++i) {
    SCOPED_TRACE(names[i]);
    EXPECT_EQ(choice.OldestVictims().count(names[i]), i < CandidateChoice::kMostByAge ? 1U : 0U);
    EXPECT_EQ(choice.Judge(names[i]), i < CandidateChoice::kMostByAge ? Fate::kGoesByAge
                                      : i < victims                   ? Fate::kGoes
                                                                      : Fate::kStays);
  }
  EXPECT_EQ(choice.Judge("Ixer.log"), Fate::kStays);
}

TEST(CandidateChoice, LetsAllButTheLiveFileGoWhereThatAloneStays) {
  Names names(CandidateChoice::kMostByAge + 1);
  for (std::size_t i = 0; i < names.size(); ++i) {
    names[i] = "Ixer 2026-11-16 " + std::to_string(100 + i);
  }
  names.emplace_back("Ixer.log");
  const CandidateChoice choice = Choose(FourDays(), 1, names);
  EXPECT_TRUE(choice.HasYoungerVictims());
  EXPECT_EQ(choice.Judge(names[CandidateChoice::kMostByAge]), Fate::kGoes);
  EXPECT_EQ(choice.Judge("Ixer.log"), Fate::kStays);
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

TEST_F(PruneOldLogsTest, RemovesTooManyCandidatesByAge) {
  static Names removed;
  removed.clear();
  PutLogs({"Ixer.log", "Ixer 2026-11-16 b", "Ixer 2026-11-15 c", "Ixer 2026-11-16 a",
           "Ixer 2026-11-13 d", "Ixer 2026-11-14 e", "Ixer 2026-11-15 x/f", "Ixer 2026-11-16 g",
           "Ixer 2026-11-16 h"});
  platform::ScopedSystemCalls system;
  system->unlinkat = [](int folder, const char* name, int flags) {
    removed.emplace_back(name);
    return ::unlinkat(folder, name, flags);
  };
  Prune();
  EXPECT_EQ(removed, (Names{"Ixer 2026-11-13 d", "Ixer 2026-11-14 e", "Ixer 2026-11-15 c",
                            "Ixer 2026-11-15 x", "f"}));
}

TEST_F(PruneOldLogsTest, RemovesAnyNumberOfCandidates) {
  PutLogs({"Ixer.log"});
  for (int i = 1000; i < 1500; ++i) PutLogs({"Ixer 2026-11-16 " + std::to_string(i)});
  Prune();
  EXPECT_EQ(Logs(), (Names{"Ixer 2026-11-16 1496", "Ixer 2026-11-16 1497", "Ixer 2026-11-16 1498",
                           "Ixer 2026-11-16 1499", "Ixer.log"}));
}

TEST_F(PruneOldLogsTest, EndsWhenItsTimeIsUp) {
  static int asked;
  asked = 0;
  PutLogs({"Ixer.log"});
  for (int i = 1000; i < 1500; ++i) PutLogs({"Ixer old " + std::to_string(i)});
  platform::ScopedSystemCalls system;
  // A second goes by between two looks at the clock.
  system->clockGettime = [](clockid_t /*clock*/, timespec* time) {
    *time = {.tv_sec = 1000 + asked++, .tv_nsec = 0};
    return 0;
  };
  Prune();
  const std::size_t left = Logs().size();
  EXPECT_GT(left, 1U);
  EXPECT_LT(left, 501U);
  EXPECT_EQ(Logs().back(), "Ixer.log");
}

TEST_F(PruneOldLogsTest, GoesOnWhereThePruningBeforeEnded) {
  static int asked;
  asked = 0;
  PutLogs({"Ixer.log"});
  for (int i = 1000; i < 1500; ++i) PutLogs({"Ixer old " + std::to_string(i)});
  {
    platform::ScopedSystemCalls system;
    system->clockGettime = [](clockid_t /*clock*/, timespec* time) {
      *time = {.tv_sec = 1000 + asked++, .tv_nsec = 0};
      return 0;
    };
    Prune();
  }
  Prune();
  EXPECT_EQ(Logs(), Names{"Ixer.log"});
}

TEST_F(PruneOldLogsTest, TriesToRemoveEachOfManyOnce) {
  static std::map<std::string, int> tries;
  tries.clear();
  PutLogs({"Ixer.log"});
  for (int i = 1000; i < 1200; ++i) PutLogs({"Ixer 2026-11-16 " + std::to_string(i) + "/file"});
  platform::ScopedSystemCalls system;
  system->unlinkat = [](int folder, const char* name, int flags) {
    ++tries[name];
    return ::unlinkat(folder, name, flags);
  };
  Prune();
  // Of 400 candidates 4 stay: two folders and what is in them.
  EXPECT_EQ(tries.size(), 198U + 1U);
  for (const auto& [name, times] : tries) {
    SCOPED_TRACE(name);
    EXPECT_EQ(times, name == "file" ? 198 : 1);
  }
  EXPECT_EQ(Logs().size(), 1U + 200U + 2U);
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

// A handle on a directory that is made in another one.
platform::UniqueFd MakeBelow(const platform::UniqueFd& directory, const std::string& name) {
  EXPECT_EQ(::mkdirat(directory.Get(), name.c_str(), 0755), 0);
  return platform::UniqueFd(
      ::openat(directory.Get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

void PutFileIn(const platform::UniqueFd& directory, const std::string& name) {
  const platform::UniqueFd file(
      ::openat(directory.Get(), name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
  EXPECT_TRUE(file) << name;
}

bool IsIn(const platform::UniqueFd& directory, const std::string& name) {
  return ::faccessat(directory.Get(), name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

TEST_F(PruneOldLogsTest, RemovesWhatAPathReachesAndNoMore) {
  const struct {
    std::string top;
    std::size_t nameLength;
  } rows[] = {
      {"Ixer old", 99},
      {"Ixer 2026-11-16 many", 20},  // more candidates than are held
      {"Ixer 2026-11-16 few", 240},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.top);
    const test::ScopedTempDir dir;
    test::MakeDirs(dir.Join(row.top));
    platform::UniqueFd directory(
        ::open(dir.Join(row.top).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // What is left for the last name of a path.
    std::size_t left = PATH_MAX - 1 - dir.Join(row.top + "/").size();
    for (; left > 250; left -= row.nameLength + 1) {
      PutFileIn(directory, "a");
      directory = MakeBelow(directory, std::string(row.nameLength, 'd'));
    }
    PutFileIn(directory, std::string(left, 'd'));
    PutFileIn(directory, std::string(left + 1, 'd'));
    PutFileIn(directory, "newest");
    const platform::UniqueFd lowest = MakeBelow(directory, std::string(left - 1, 'd'));
    PutFileIn(lowest, "a");
    PruneAt(kNoon, "UTC", dir.Join("Ixer.log"), 1);
    EXPECT_FALSE(IsIn(directory, std::string(left, 'd')));
    EXPECT_TRUE(IsIn(directory, std::string(left + 1, 'd')));
    EXPECT_TRUE(IsIn(lowest, "a"));
  }
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

// Prunes as one would without a thought of cost: collects every candidate, sorts them, and removes
// the oldest by their paths.
class PlainPruning {
 public:
  explicit PlainPruning(PruneScope scope) : scope_(std::move(scope)) {}

  // Returns how many candidates had to go.
  std::size_t Prune(std::size_t kept) {
    Walk("");
    const std::size_t excess = candidates_.size() - std::min(candidates_.size(), kept);
    std::sort(candidates_.begin(), candidates_.end());
    std::erase(candidates_, scope_.liveLeaf);
    candidates_.resize(std::min(candidates_.size(), excess));
    for (const std::string& victim : candidates_) (void)std::remove(At(victim).c_str());
    return candidates_.size();
  }

 private:
  [[nodiscard]] std::string At(const std::string& entry) const {
    return scope_.folder + "/" + entry;
  }

  void Walk(const std::string& directory) {
    Names names;
    for (const auto& entry : std::filesystem::directory_iterator(At(directory))) {
      names.push_back(entry.path().filename().string());
    }
    for (const std::string& name : names) {
      const std::string entry = directory.empty() ? name : directory + "/" + name;
      const PruneVerdict verdict = JudgeEntry(scope_, entry);
      if (verdict == PruneVerdict::kCandidate) candidates_.push_back(entry);
      if (verdict == PruneVerdict::kRemove) (void)std::remove(At(entry).c_str());
      if (std::filesystem::is_directory(std::filesystem::symlink_status(At(entry)))) Walk(entry);
    }
  }

  PruneScope scope_;
  Names candidates_;
};

struct PlannedItem {
  std::string path;
  char kind;  // of a file, a directory or a link
};

// A tree of names that begin with the stem, or nearly so, and of names that sort around a "/".
class RandomPlan {
 public:
  explicit RandomPlan(unsigned seed) : random_(seed) {
    Fill("", seed % 8 == 0 ? 25 : 8, 0);
    // More candidates than are held.
    if (seed % 8 == 0) Fill(AddDirectory("Ixer 2026-11-16 m"), 120, 2);
  }
  [[nodiscard]] const std::vector<PlannedItem>& Items() const { return items_; }

  void Make(const std::string& root) const {
    for (const PlannedItem& item : items_) {
      const std::string path = root + "/" + item.path;
      if (item.kind == 'd') test::MakeDirs(path);
      if (item.kind == 'f') test::PutFile(path, "");
      if (item.kind == 'l') test::MakeLink(path, "..");
    }
  }

 private:
  std::string AddDirectory(const std::string& path) {
    items_.push_back({path, 'd'});
    return path + "/";
  }

  [[nodiscard]] unsigned Below(unsigned end) { return static_cast<unsigned>(random_() % end); }

  void Fill(const std::string& above, unsigned most, int depth) {
    static constexpr std::array<const char*, 16> kTops = {"Ixer.log",
                                                          "Ixer",
                                                          "Ixer old",
                                                          "Ixer old.log",
                                                          "Ixer 2026-11-16",
                                                          "Ixer 2026-11-16 a",
                                                          "Ixer 2026-11-16 a-",
                                                          "Ixer 2026-11-16 a.log",
                                                          "Ixer 2026-11-15 b",
                                                          "Ixer 2026-11-13 c",
                                                          "Ixer 2026-11-12 z",
                                                          "Ixer.log.gz",
                                                          "other",
                                                          ".hidden",
                                                          "ixer",
                                                          "Ixer 2026-11-160"};
    static constexpr std::array<const char*, 8> kOthers = {
        "a", "a b", "a-", "a.b", ".c", "Ixer.log", "Ixer 2026-11-16 a", "z"};
    std::set<std::string> names;
    for (unsigned left = Below(most + 1); left > 0; --left) {
      std::string name = depth == 0 ? kTops[Below(kTops.size())] : kOthers[Below(kOthers.size())];
      if (most > 16) name += std::to_string(Below(100));
      names.insert(name);
    }
    for (const std::string& name : names) {
      const unsigned kind = Below(10);
      if (kind < 3 && depth < 4) {
        Fill(AddDirectory(above + name), depth == 0 ? 6 : 4, depth + 1);
      } else {
        items_.push_back({above + name, kind < 8 ? 'f' : 'l'});
      }
    }
  }

  std::mt19937 random_;
  std::vector<PlannedItem> items_;
};

Names PathsBelow(const std::string& root) {
  Names paths;
  for (const auto& [path, item] : test::ReadTree(root)) paths.push_back(path);
  return paths;
}

TEST_F(PruneOldLogsTest, LeavesWhatPlainPruningLeaves) {
  std::size_t mostVictims = 0;
  for (unsigned seed = 0; seed < 48; ++seed) {
    SCOPED_TRACE(seed);
    const RandomPlan plan(seed);
    const test::ScopedTempDir dir;
    for (const char* tree : {"/plain", "/pruned"}) {
      test::MakeDirs(dir.Path() + tree);
      plan.Make(dir.Path() + tree);
    }
    const std::string live = seed % 3 == 0 ? "/Ixer" : "/Ixer.log";
    const int days = std::array{4, 1, 0}[seed / 3 % 3];
    const auto keptDays = static_cast<std::size_t>(days);
    const Names dates(kFourDays.begin(), kFourDays.begin() + days);
    PlainPruning plain(MakePruneScope(dir.Join("plain") + live, dates));
    mostVictims = std::max(mostVictims, plain.Prune(keptDays + 1));
    PruneAt(kNoon, "UTC", dir.Join("pruned") + live, days);
    EXPECT_EQ(PathsBelow(dir.Join("pruned")), PathsBelow(dir.Join("plain")));
  }
  EXPECT_GT(mostVictims, CandidateChoice::kMostByAge + 10);
}

}  // namespace

}  // namespace dunmar
