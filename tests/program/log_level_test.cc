#include <filesystem>
#include <gtest/gtest.h>
#include <vector>

#include "tests/program/log_records.h"
#include "tests/support/files.h"

// Marker files that make the log say more.

namespace test {

namespace {

constexpr uid_t kMia = 1000;

class LogLevel : public LogTest {
 protected:
  // The lowest level among the records of a removal, which has one of each.
  [[nodiscard]] std::string LowestLevel(const std::string& log = kRootsLog) const {
    bool hasDebug = false;
    for (const std::string& line : Log({}, {}, log)) {
      if (line.starts_with("[TRACE]")) return "TRACE";
      hasDebug = hasDebug || line.starts_with("[DEBUG]");
    }
    return hasDebug ? "DEBUG" : "INFO";
  }

  void PutMarker(const std::string& name) const {
    PutFile(root.Join(std::string(kRootsLogs) + "/" + name), "");
  }
};

TEST_F(LogLevel, IsSetByTheFirstMarkerThereIs) {
  const struct {
    std::vector<const char*> markers;
    const char* level;
  } rows[] = {
      {{}, "INFO"},
      {{"Dunmar.trace"}, "TRACE"},
      {{"Dunmar.debug"}, "DEBUG"},
      {{"kobb.trace"}, "TRACE"},
      {{"kobb.debug"}, "DEBUG"},
      {{"Dunmar.trace", "Dunmar.debug"}, "TRACE"},
      {{"Dunmar.trace", "kobb.debug"}, "TRACE"},
      {{"Dunmar.debug", "kobb.trace"}, "DEBUG"},
      {{"Dunmar.debug", "kobb.debug"}, "DEBUG"},
      {{"kobb.trace", "kobb.debug"}, "TRACE"},
      {{"Dunmar.trace", "Dunmar.debug", "kobb.trace", "kobb.debug"}, "TRACE"},
      // Names that are none of them, that of the log among them.
      {{"Ixer.trace"}, "INFO"},
      {{"Ixer.debug"}, "INFO"},
      {{"Ixer.trace", "kobb.debug"}, "DEBUG"},
      {{"Dunmar.log.trace", "Dunmar", "Dunmar.log", "kobb", "kobb.log", ".trace", "trace"}, "INFO"},
      {{"ZintCustomHook.trace", "Dunmar.trace.txt", "kobb.info", "kobb.trace "}, "INFO"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.markers));
    std::filesystem::remove_all(root.Join("/root/Library"));
    for (const char* marker : row.markers) PutMarker(marker);
    EXPECT_EQ(LowestLevel(), row.level);
  }
}

TEST_F(LogLevel, IsNotSetByFolders) {
  for (const char* marker : {"Dunmar.trace", "Dunmar.debug", "kobb.trace", "kobb.debug"}) {
    MakeDirs(root.Join(std::string(kRootsLogs) + "/" + marker));
  }
  EXPECT_EQ(LowestLevel(), "INFO");
}

TEST_F(LogLevel, IsSetByTheNextMarkerWhereOneIsAFolder) {
  MakeDirs(root.Join(std::string(kRootsLogs) + "/Dunmar.trace"));
  PutMarker("Dunmar.debug");
  PutMarker("kobb.trace");
  EXPECT_EQ(LowestLevel(), "DEBUG");
  std::filesystem::remove(root.Join(std::string(kRootsLogs) + "/Dunmar.debug"));
  MakeDirs(root.Join(std::string(kRootsLogs) + "/Dunmar.debug"));
  EXPECT_EQ(LowestLevel(), "TRACE");
}

TEST_F(LogLevel, IsSetByWhateverIsNoFolder) {
  const std::string marker = root.Join(std::string(kRootsLogs) + "/kobb.trace");
  PutFile(marker, "keeplogs");
  SetMode(marker, 0);
  EXPECT_EQ(LowestLevel(), "TRACE");
  std::filesystem::remove(marker);
  MakeFifo(marker);
  EXPECT_EQ(LowestLevel(), "TRACE");
  std::filesystem::remove(marker);
  MakeLink(marker, "/Installer/ZintCustomHook");
  EXPECT_EQ(LowestLevel(), "TRACE");
  std::filesystem::remove(marker);
  MakeLink(marker, "/Installer");
  EXPECT_EQ(LowestLevel(), "INFO");
  std::filesystem::remove(marker);
  MakeLink(marker, "/nowhere");
  EXPECT_EQ(LowestLevel(), "INFO");
}

TEST_F(LogLevel, IsNotSetByMarkersElsewhere) {
  for (const char* folder :
       {"/root/Library/Logs/Caldris/Ixer", "/root/Library/Logs/Caldris", "/root/Library", "/root",
        "/", "/Installer", "/Library/Logs", "/Users/mia/Library/Logs", "/tmp"}) {
    for (const char* name : {"Dunmar.trace", "kobb.trace", "Ixer.trace"}) {
      PutFile(root.Join(std::string(folder) + "/" + name), "");
    }
  }
  EXPECT_EQ(LowestLevel(), "INFO");
}

TEST_F(LogLevel, IsSetByMarkersOfThePersonAtTheConsole) {
  NEED_CONSOLE(root, kMia);
  MakeDirs(root.Join("/Users/mia"));
  SetOwner(root.Join("/Users/mia"), kMia, kMia);
  const std::string log = "/Users/mia/Library/Logs/Caldris/Ixer/Ixer.log";
  PutMarker("kobb.trace");  // root's
  EXPECT_EQ(LowestLevel(log), "INFO");
  PutFile(root.Join("/Users/mia/Library/Logs/kobb.debug"), "");
  EXPECT_EQ(LowestLevel(log), "DEBUG");
  PutFile(root.Join("/Users/mia/Library/Logs/kobb.trace"), "");
  EXPECT_EQ(LowestLevel(log), "TRACE");
}

}  // namespace

}  // namespace test
