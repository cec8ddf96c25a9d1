#include <algorithm>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <system_error>
#include <vector>

#include "tests/program/log_records.h"
#include "tests/support/files.h"
#include "tests/support/shape.h"

// A log that has grown too large, and its old copies.

namespace test {

namespace {

constexpr const char* kLogFolder = "/root/Library/Logs/Caldris/Ixer/";
constexpr const char* kAsterisks =
    "******************************************************************************";
constexpr std::uintmax_t kLimit = 15'728'640;

// The date some days ago, where the program runs: it knows no other time zone than UTC.
std::string Day(int daysAgo) {
  const std::time_t then = std::time(nullptr) - std::time_t{daysAgo} * 86'400;
  struct tm day = {};
  char text[16] = "";
  if (gmtime_r(&then, &day) == nullptr || std::strftime(text, sizeof text, "%Y-%m-%d", &day) == 0) {
    ADD_FAILURE() << "no date";
  }
  return text;
}

bool IsNewCopy(const std::string& name) { return HasShape(name, "Ixer 9999-99-99 99-99-99.log"); }

class Rotation : public LogTest {
 protected:
  Rotation() { PutFile(root.Join("/etc/os-release"), "VERSION_ID=\"14.5\"\n"); }

  // A log of this size without any block of its own on the disk.
  void PutLog(std::uintmax_t size) const {
    PutFile(root.Join(kRootsLog), "");
    std::error_code error;
    std::filesystem::resize_file(root.Join(kRootsLog), size, error);
    EXPECT_FALSE(error) << error.message();
  }

  // An old copy, or whatever has a name like one.
  void PutCopy(const std::string& name) const { PutFile(root.Join(kLogFolder + name), "old"); }

  // The names in the log's folder in order, where those of this list are not named: the copy that
  // the run made is "(new)".
  [[nodiscard]] Lines NamesAfterRun(const Lines& oldNames) const {
    (void)root.Run({});
    Lines names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(root.Join(kLogFolder), error)) {
      const std::string name = entry.path().filename();
      const bool isOld = std::find(oldNames.begin(), oldNames.end(), name) != oldNames.end();
      names.push_back(!isOld && IsNewCopy(name) ? "(new)" : name);
    }
    EXPECT_FALSE(error) << error.message();
    std::sort(names.begin(), names.end());
    return names;
  }
};

Lines HeaderOf(const Lines& versions, const std::string& locale) {
  return Concatenate({{Header(kAsterisks), Header("Bit: 64")},
                      versions,
                      {Header("OS Locale: " + locale), Header("OS Name: Mac OS 14.5.0"),
                       Header("OS Version: 14.5.0"), Header(kAsterisks)}});
}

const Lines kRemoval = {
    Parser("INFO", "Parsing the command line provided. Number of command line arguments is 1"),
    Hook("INFO",
         "Inside DeletePellanSpecifierFile | Successfully deleted pellan Specifier file at "
         "/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"),
    Hook("INFO",
         "Inside GetZintShortcutPath | Zint shortcut path: "
         "/Applications/Velmora Caldris/Velmora Caldris"),
    Hook("INFO",
         "Inside DeleteZintShortcut | Successfully deleted Zint shortcut at path "
         "/Applications/Velmora Caldris/Velmora Caldris")};

TEST_F(Rotation, CopiesALogAtTheLimitAsideAndBeginsANewOne) {
  PutLog(kLimit);
  SetMode(root.Join(kRootsLog), 0640);
  const Outcome outcome = root.RunWithLog({});
  ASSERT_EQ(outcome.changes.size(), 2U) << testing::PrintToString(outcome.changes);
  const std::string folder = "root/Library/Logs/Caldris/Ixer/";
  ASSERT_TRUE(outcome.changes[0].starts_with("+ " + folder));
  const std::string name = outcome.changes[0].substr(2 + folder.size());
  EXPECT_TRUE(IsNewCopy(name)) << name;
  EXPECT_TRUE(GetFile(root.Join(kLogFolder + name)) == std::string(kLimit, '\0'));
  EXPECT_EQ(GetMode(root.Join(kLogFolder + name)), mode_t{0644});
  EXPECT_EQ(outcome.changes[1], "~ " + folder + "Ixer.log");
  EXPECT_EQ(GetMode(root.Join(kRootsLog)), mode_t{0640});
}

TEST_F(Rotation, LeavesALogBelowTheLimitAsItIs) {
  PutLog(kLimit - 1);
  EXPECT_EQ(Log({}), kRemoval);
  EXPECT_EQ(NamesAfterRun({}), (Lines{"(new)", "Ixer.log"}));  // now it is larger
}

TEST_F(Rotation, WritesAHeaderWithoutTheProductsVersion) {
  PutLog(kLimit);
  EXPECT_EQ(Log({}), Concatenate({HeaderOf({}, "en_US"), kRemoval}));
}

TEST_F(Rotation, WritesAHeaderWithTheProductsVersion) {
  PutFile(root.Join("/Applications/Utilities/Velmora Caldris/Ixer/Caldris.app/Contents/Info.plist"),
          "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
          "<key>CFBundleVersion</key><string>1</string>"
          "<key>CFBundleShortVersionString</key><string>6.7.0.123</string></dict></plist>\n");
  PutLog(kLimit);
  RunOptions options;
  options.environment = {"LANG=de_DE.UTF-8"};
  EXPECT_EQ(
      Log({}, options),
      Concatenate({HeaderOf({Header("Ixer Version: 6.7.0.123")}, kIsPosixHalf ? "de_DE" : "en_US"),
                   kRemoval}));
}

TEST_F(Rotation, WritesTheHeaderOnce) {
  PutLog(kLimit);
  (void)root.Run({});
  EXPECT_EQ(Log({}), kRemoval);
}

TEST_F(Rotation, WritesNoHeaderIntoANewLog) { EXPECT_EQ(Log({}), kRemoval); }

TEST_F(Rotation, HasAHigherLimitWhereMoreIsLogged) {
  const struct {
    const char* marker;
    std::uintmax_t limit;
  } rows[] = {{"kobb.debug", 20'971'520}, {"kobb.trace", 52'428'800}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.marker);
    std::filesystem::remove_all(root.Join("/root/Library"));
    PutFile(root.Join(std::string(kRootsLogs) + "/" + row.marker), "");
    PutLog(row.limit - 1);
    EXPECT_EQ(NamesAfterRun({}), Lines{"Ixer.log"});
    PutLog(row.limit);
    EXPECT_EQ(NamesAfterRun({}), (Lines{"(new)", "Ixer.log"}));
  }
}

TEST_F(Rotation, HasTheUsualLimitForAMarkerBesideTheLog) {
  PutCopy("kobb.trace");
  PutLog(kLimit);
  EXPECT_EQ(NamesAfterRun({}), (Lines{"(new)", "Ixer.log", "kobb.trace"}));
}

TEST_F(Rotation, RemovesOldCopies) {
  Lines names;
  // Around midnight a day of today is one of yesterday, which changes nothing here.
  for (int i = 1; i <= 7; ++i) {
    names.push_back("Ixer " + Day(1) + " 00-00-0" + std::to_string(i) + ".log");
  }
  names.push_back("Ixer " + Day(6) + " 23-59-59.log");
  for (const std::string& name : names) PutCopy(name);
  PutLog(kLimit);
  EXPECT_EQ(NamesAfterRun(names), (Lines{"(new)", names[4], names[5], names[6], "Ixer.log"}));
}

TEST_F(Rotation, RemovesWhateverHasTheLogsNameInFront) {
  const std::string kept = "Ixer " + Day(1) + " notes";
  for (const char* name : {"Ixer", "Ixer.trace", "Ixer notes.txt", "Ixer 2001-01-01 00-00-00.log",
                           "Ixer old/file", "Ixer.log.1", "IxerNotes"}) {
    PutCopy(name);
  }
  const Lines others = {".Ixer.log", "Caldris.log", "My Ixer.log", "ixer.log",
                        "old/Ixer 2001-01-01 00-00-00.log"};
  for (const std::string& name : others) PutCopy(name);
  PutCopy(kept);
  PutLog(kLimit);
  Lines names = NamesAfterRun({});
  // Whether a folder is empty in time depends on the order in which the disk lists it.
  std::erase(names, "Ixer old");
  EXPECT_EQ(names, (Lines{"(new)", ".Ixer.log", "Caldris.log", kept, "Ixer.log", "My Ixer.log",
                          "ixer.log", "old"}));
  EXPECT_TRUE(IsThere(root.Join(std::string(kLogFolder) + "old/Ixer 2001-01-01 00-00-00.log")));
  EXPECT_FALSE(IsThere(root.Join(std::string(kLogFolder) + "Ixer old/file")));
}

TEST_F(Rotation, RemovesNothingWhereTheLogIsSmall) {
  PutCopy("Ixer 2001-01-01 00-00-00.log");
  PutLog(kLimit - 1);
  const Lines names = {"Ixer 2001-01-01 00-00-00.log", "Ixer.log"};
  EXPECT_EQ(NamesAfterRun(names), names);
}

TEST_F(Rotation, RemovesNothingWhereAMarkerSaysKeepLogs) {
  const struct {
    std::string content;
    bool isKept;
  } rows[] = {
      {"keeplogs", true},
      {std::string("keeplogs\0", 9), true},
      {"keeplogs\n", false},
      {"KEEPLOGS", false},
      {"keeplog", false},
      {" keeplogs", false},
      {"", false},
      {std::string("keeplogs\0more", 13), true},
      {"keeplogsmore", false},
  };
  const Lines old = {"Ixer 2001-01-01 00-00-00.log"};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.content));
    std::filesystem::remove_all(root.Join("/root/Library"));
    PutCopy(old[0]);
    PutFile(root.Join(std::string(kLogFolder) + "kobb.trace"), row.content);
    PutLog(kLimit);
    EXPECT_EQ(NamesAfterRun(old), row.isKept ? (Lines{"(new)", old[0], "Ixer.log", "kobb.trace"})
                                             : (Lines{"(new)", "Ixer.log", "kobb.trace"}));
  }
}

TEST_F(Rotation, IsNotStoppedByAMarkerThatIsNoFile) {
  const std::string marker = root.Join(std::string(kLogFolder) + "kobb.trace");
  for (const bool isFifo : {false, true}) {
    SCOPED_TRACE(isFifo);
    std::filesystem::remove_all(root.Join("/root/Library"));
    PutCopy("Ixer 2001-01-01 00-00-00.log");
    isFifo ? MakeFifo(marker) : MakeDirs(marker);
    PutLog(kLimit);
    EXPECT_EQ(NamesAfterRun({}), (Lines{"(new)", "Ixer.log", "kobb.trace"}));
  }
}

TEST_F(Rotation, NeitherCopiesNorCutsALogOfAnotherName) {
  PutFile(root.Join("/Elsewhere/canary"), "canary");
  std::error_code error;
  std::filesystem::resize_file(root.Join("/Elsewhere/canary"), kLimit, error);
  MakeDirs(root.Join("/root/Library/Logs/Caldris/Ixer"));
  MakeLink(root.Join(kRootsLog), "/Elsewhere/canary");
  EXPECT_EQ(NamesAfterRun({}), Lines{"Ixer.log"});
  EXPECT_EQ(std::filesystem::file_size(root.Join("/Elsewhere/canary"), error), kLimit);
}

TEST_F(Rotation, OfACopyKeepsOthersFromWriting) {
  PutLog(kLimit);
  RunOptions options;
  options.umask = 0;
  const Outcome outcome = root.RunWithLog({}, options);
  ASSERT_FALSE(outcome.changes.empty());
  EXPECT_EQ(GetMode(root.Join("/" + outcome.changes[0].substr(2))), mode_t{0664});
}

}  // namespace

}  // namespace test
