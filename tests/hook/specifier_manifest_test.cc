#include "hook/specifier_manifest.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <new>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "fileutils/path_kind.h"
#include "tests/hook/machine_in_folder.h"
#include "tests/support/failing_allocation.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/recording_logger.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace hook {
namespace {

using Lines = std::vector<std::string>;

// The folder of kVelmoraShared, and what the hook makes in it.
constexpr const char* kMakerFolder = "Library/Application Support/Velmora";
constexpr const char* kSpecifierFolder = "Library/Application Support/Velmora/Pellan/specifiers";
constexpr const char* kManifest =
    "Library/Application Support/Velmora/Pellan/specifiers/caldris.xml";

std::string ManifestFor(const std::string& applicationPath) {
  return R"(<?xml version="1.0"?><SpecifierManifest Version="1.0"><Name>caldris</Name>)"
         R"(<Version>6.7.0</Version><Locale></Locale><Group></Group><Path>)" +
         applicationPath + "</Path></SpecifierManifest>";
}

std::string ManifestOf(const test::MachineInFolder& machine) {
  return ManifestFor(machine.At("Applications/Utilities/Velmora Caldris/Ixer/Caldris.app"));
}

Lines Messages() { return test::LevelsAndMessages(test::RecordedCalls()); }

TEST(BuildSpecifierManifest, IsOneLineOfRawXml) {
  EXPECT_EQ(BuildSpecifierManifest("/Applications/Utilities/Velmora Caldris/Ixer/Caldris.app"),
            "<?xml version=\"1.0\"?><SpecifierManifest Version=\"1.0\"><Name>caldris</Name>"
            "<Version>6.7.0</Version><Locale></Locale><Group></Group>"
            "<Path>/Applications/Utilities/Velmora Caldris/Ixer/Caldris.app</Path>"
            "</SpecifierManifest>");
}

TEST(BuildSpecifierManifest, HoldsThePathAsText) {
  const struct {
    const char* path;
    const char* text;
  } rows[] = {
      {"", ""},
      {".app", ".app"},
      {"/a & b/<c>.app", "/a &amp; b/&lt;c&gt;.app"},
      {"/\"a\" 'b'", "/\"a\" 'b'"},
      {"/&amp;", "/&amp;amp;"},
      {"/%s%n", "/%s%n"},
      {"/\xC3\xA4", "/\xC3\xA4"},
      {" / ", " / "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(BuildSpecifierManifest(row.path), ManifestFor(row.text));
  }
}

TEST(BuildSpecifierManifest, HoldsALongPath) {
  const std::string path = "/" + std::string(100'000, 'x');
  EXPECT_TRUE(BuildSpecifierManifest(path) == ManifestFor(path));
}

TEST(BuildSpecifierManifest, NeverReturnsAShortTextWhenMemoryRunsOut) {
  const std::string path = "/" + std::string(100'000, 'x');
  const std::string whole = ManifestFor(path);
  std::size_t successes = 0;
  for (bool hasFailed = true; hasFailed; ++successes) {
    SCOPED_TRACE(successes);
    std::string manifest;
    bool isThrown = false;
    try {
      const test::ScopedAllocationFailure failure(successes);
      manifest = BuildSpecifierManifest(path);
      hasFailed = failure.HasFailed();
    } catch (const std::bad_alloc&) {
      isThrown = true;
    }
    ASSERT_EQ(isThrown, hasFailed);
    ASSERT_TRUE(manifest == (isThrown ? "" : whole));
  }
  EXPECT_GT(successes, 5U);
}

TEST(CreatePellanSpecifierFile, MakesFolderAndFile) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  EXPECT_TRUE(CreatePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_EQ(test::GetFile(machine.At(kManifest)), ManifestOf(machine));
  EXPECT_EQ(Messages(), Lines{"30 Inside CreatePellanSpecifierFile | Successfully created Ixer "
                              "Pellan Specifier file at " +
                              machine.At(kManifest)});
}

TEST(CreatePellanSpecifierFile, WritesBytesWithoutAnyLineBreak) {
  const test::MachineInFolder machine;
  EXPECT_TRUE(CreatePellanSpecifierFile(fileutils::kVelmoraShared));
  const std::string content = test::GetFile(machine.At(kManifest)).value_or("\n");
  EXPECT_EQ(content.find_first_of("\r\n"), std::string::npos);
  EXPECT_EQ(content.rfind("<?xml version=\"1.0\"?><SpecifierManifest", 0), 0U);
}

TEST(CreatePellanSpecifierFile, GivesFolderAndFileTheSystemsDefaults) {
  const test::MachineInFolder machine;
  const test::ScopedUmask mask(027);
  EXPECT_TRUE(CreatePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_EQ(test::GetMode(machine.At(kMakerFolder)), mode_t{0750});
  EXPECT_EQ(test::GetMode(machine.At(kSpecifierFolder)), mode_t{0750});
  EXPECT_EQ(test::GetMode(machine.At(kManifest)), mode_t{0640});
}

TEST(CreatePellanSpecifierFile, LogsAsTheHook) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  EXPECT_TRUE(CreatePellanSpecifierFile(fileutils::kVelmoraShared));
  ASSERT_EQ(test::RecordedCalls().size(), 1U);
  EXPECT_EQ(test::RecordedCalls()[0],
            (test::LoggedMessage{
                .operation = "call",
                .level = 30,
                .module = "ZintCustomHook",
                .component = "ZintCustomHook",
                .text4 = "",
                .text5 = "",
                .format = "Inside CreatePellanSpecifierFile | Successfully created Ixer Pellan "
                          "Specifier file at %s",
                .message = "Inside CreatePellanSpecifierFile | Successfully created Ixer Pellan "
                           "Specifier file at " +
                           machine.At(kManifest)}));
}

TEST(CreatePellanSpecifierFile, WorksWithoutLogCall) {
  const test::MachineInFolder machine;
  EXPECT_TRUE(CreatePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_EQ(test::GetFile(machine.At(kManifest)), ManifestOf(machine));
}

TEST(CreatePellanSpecifierFile, ReplacesTheManifestThatIsThere) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  test::PutFile(machine.At(kManifest), std::string(10'000, 'x'));
  test::PutFile(machine.At(std::string(kSpecifierFolder) + "/other.xml"), "other");
  EXPECT_TRUE(CreatePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_EQ(test::GetFile(machine.At(kManifest)), ManifestOf(machine));
  EXPECT_EQ(test::GetFile(machine.At(std::string(kSpecifierFolder) + "/other.xml")), "other");
  EXPECT_EQ(Messages(), Lines{"30 Inside CreatePellanSpecifierFile | Successfully created Ixer "
                              "Pellan Specifier file at " +
                              machine.At(kManifest)});
}

TEST(CreatePellanSpecifierFile, LeavesNothingButTheManifestInItsFolder) {
  const test::MachineInFolder machine;
  EXPECT_TRUE(CreatePellanSpecifierFile(fileutils::kVelmoraShared));
  const test::Tree once = test::ReadTree(machine.folder.Path());
  EXPECT_TRUE(CreatePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_EQ(test::CompareTrees(once, test::ReadTree(machine.folder.Path())), Lines{});
  EXPECT_EQ(test::ReadTree(machine.At(kSpecifierFolder)).size(), 2U);  // the folder itself too
}

TEST(CreatePellanSpecifierFile, WritesThroughALinkAtTheFile) {
  const test::MachineInFolder machine;
  test::MakeDirs(machine.At(kSpecifierFolder));
  test::PutFile(machine.At("elsewhere"), "old");
  test::MakeLink(machine.At(kManifest), machine.At("elsewhere"));
  EXPECT_TRUE(CreatePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_EQ(test::GetLink(machine.At(kManifest)), machine.At("elsewhere"));
  EXPECT_EQ(test::GetFile(machine.At("elsewhere")), ManifestOf(machine));
}

TEST(CreatePellanSpecifierFile, WritesBelowALinkedFolder) {
  const test::MachineInFolder machine;
  test::MakeDirs(machine.At("elsewhere"));
  test::MakeDirs(machine.At(std::string(kMakerFolder) + "/Pellan"));
  test::MakeLink(machine.At(kSpecifierFolder), machine.At("elsewhere"));
  EXPECT_TRUE(CreatePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_EQ(test::GetFile(machine.At("elsewhere/caldris.xml")), ManifestOf(machine));
}

TEST(CreatePellanSpecifierFile, EscapesReservedCharactersOfThePath) {
  test::MachineInFolder machine;
  machine.host.directories.folders[{2, 1}] = "/a & b/<c>";
  EXPECT_TRUE(CreatePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_EQ(test::GetFile(machine.At(kManifest)),
            ManifestFor("/a &amp; b/&lt;c&gt;/Utilities/Velmora Caldris/Ixer/Caldris.app"));
}

TEST(CreatePellanSpecifierFile, WarnsWhereTheFolderCannotBeMade) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  test::PutFile(machine.At(kMakerFolder), "in the way");
  EXPECT_FALSE(CreatePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_EQ(Messages(), Lines{"40 Inside CreatePellanSpecifierFile | Unable to create folder at " +
                              machine.At(kSpecifierFolder)});
  EXPECT_EQ(test::RecordedCalls().back().format,
            "Inside CreatePellanSpecifierFile | Unable to create folder at %s");
  EXPECT_EQ(test::GetFile(machine.At(kMakerFolder)), "in the way");
}

TEST(CreatePellanSpecifierFile, FailsWhereAFolderHasTheFilesName) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  test::MakeDirs(machine.At(kManifest));
  const test::Tree before = test::ReadTree(machine.folder.Path());
  EXPECT_FALSE(CreatePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_EQ(Messages(), Lines{"50 Inside CreatePellanSpecifierFile | Unable to create file at " +
                              machine.At(kManifest)});
  EXPECT_EQ(test::RecordedCalls().back().format,
            "Inside CreatePellanSpecifierFile | Unable to create file at %s");
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())), Lines{});
}

TEST(CreatePellanSpecifierFile, FailsWhereAFileHasTheFoldersName) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  test::PutFile(machine.At(kSpecifierFolder), "in the way");
  EXPECT_FALSE(CreatePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_EQ(Messages(), Lines{"50 Inside CreatePellanSpecifierFile | Unable to create file at " +
                              machine.At(kManifest)});
  EXPECT_EQ(test::GetFile(machine.At(kSpecifierFolder)), "in the way");
}

TEST(CreatePellanSpecifierFile, GoesToTheFolderOfTheKind) {
  const test::MachineInFolder machine;
  EXPECT_TRUE(CreatePellanSpecifierFile(fileutils::kLocalAppSupport));
  EXPECT_EQ(test::GetFile(machine.At("Library/Application Support/Pellan/specifiers/caldris.xml")),
            ManifestOf(machine));
}

TEST(CreatePellanSpecifierFile, WarnsWithAnEmptyPathForAnUnknownKind) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  const test::Tree before = test::ReadTree(machine.folder.Path());
  EXPECT_FALSE(CreatePellanSpecifierFile(static_cast<fileutils::PathKind>(48)));
  EXPECT_EQ(Messages(), Lines{"40 Inside CreatePellanSpecifierFile | Unable to create folder at "});
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())), Lines{});
}

TEST(CreatePellanSpecifierFile, WorksOnWhatAFailedLookupLeaves) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    const test::FakeHost host;  // knows no folder
    const test::ScopedRecordingLogCall logCall;
    EXPECT_TRUE(CreatePellanSpecifierFile(fileutils::kVelmoraShared));
    EXPECT_EQ(Messages(), Lines{"30 Inside CreatePellanSpecifierFile | Successfully created Ixer "
                                "Pellan Specifier file at /Velmora/Pellan/specifiers/caldris.xml"});
    EXPECT_EQ(test::GetFile("/Velmora/Pellan/specifiers/caldris.xml"),
              ManifestFor("/Utilities/Velmora Caldris/Ixer/Caldris.app"));
  });
}

TEST(CreatePellanSpecifierFile, NeverLeavesAShortFileWhenMemoryRunsOut) {
  std::size_t successes = 0;
  for (bool hasFailed = true; hasFailed; ++successes) {
    SCOPED_TRACE(successes);
    const test::MachineInFolder machine;
    test::PutFile(machine.At(kManifest), "old");
    std::optional<bool> isWritten;
    try {
      const test::ScopedAllocationFailure failure(successes);
      isWritten = CreatePellanSpecifierFile(fileutils::kVelmoraShared);
      hasFailed = failure.HasFailed();
    } catch (const std::bad_alloc&) {
      isWritten.reset();
    }
    const std::string content = test::GetFile(machine.At(kManifest)).value_or("");
    ASSERT_EQ(isWritten.value_or(false), !hasFailed);
    ASSERT_TRUE(content == ManifestOf(machine) || (content == "old" && hasFailed)) << content;
  }
  EXPECT_GT(successes, 20U);
}

TEST(DeletePellanSpecifierFile, DeletesTheFileAndLeavesItsFolders) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  test::PutFile(machine.At(kManifest), "old");
  const test::Tree before = test::ReadTree(machine.folder.Path());
  EXPECT_TRUE(DeletePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())),
            Lines{"- Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"});
  EXPECT_EQ(Messages(), Lines{"30 Inside DeletePellanSpecifierFile | Successfully deleted pellan "
                              "Specifier file at " +
                              machine.At(kManifest)});
}

TEST(DeletePellanSpecifierFile, SucceedsWhereNothingIs) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  const test::Tree before = test::ReadTree(machine.folder.Path());
  EXPECT_TRUE(DeletePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())), Lines{});
  EXPECT_EQ(Messages(), Lines{"30 Inside DeletePellanSpecifierFile | Successfully deleted pellan "
                              "Specifier file at " +
                              machine.At(kManifest)});
}

TEST(DeletePellanSpecifierFile, LogsAsTheHook) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  EXPECT_TRUE(DeletePellanSpecifierFile(fileutils::kVelmoraShared));
  ASSERT_EQ(test::RecordedCalls().size(), 1U);
  EXPECT_EQ(test::RecordedCalls()[0],
            (test::LoggedMessage{
                .operation = "call",
                .level = 30,
                .module = "ZintCustomHook",
                .component = "ZintCustomHook",
                .text4 = "",
                .text5 = "",
                .format = "Inside DeletePellanSpecifierFile | Successfully deleted pellan "
                          "Specifier file at %s",
                .message = "Inside DeletePellanSpecifierFile | Successfully deleted pellan "
                           "Specifier file at " +
                           machine.At(kManifest)}));
}

TEST(DeletePellanSpecifierFile, IsTrueAndInformsWhereItCannotDelete) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  test::PutFile(machine.At(std::string(kManifest) + "/kept"), "kept");
  EXPECT_TRUE(DeletePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_EQ(test::GetFile(machine.At(std::string(kManifest) + "/kept")), "kept");
  EXPECT_EQ(Messages(),
            Lines{"30 Inside DeletePellanSpecifierFile | Unable to delete pellan Specifier file "
                  "at " +
                  machine.At(kManifest)});
  EXPECT_EQ(test::RecordedCalls().back().format,
            "Inside DeletePellanSpecifierFile | Unable to delete pellan Specifier file at %s");
}

TEST(DeletePellanSpecifierFile, RemovesALinkAndNotWhatItLeadsTo) {
  const test::MachineInFolder machine;
  test::MakeDirs(machine.At(kSpecifierFolder));
  test::PutFile(machine.At("elsewhere"), "kept");
  test::MakeLink(machine.At(kManifest), machine.At("elsewhere"));
  EXPECT_TRUE(DeletePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_FALSE(test::IsThere(machine.At(kManifest)));
  EXPECT_EQ(test::GetFile(machine.At("elsewhere")), "kept");
}

TEST(DeletePellanSpecifierFile, LeavesADanglingLinkAndReportsSuccess) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  test::MakeDirs(machine.At(kSpecifierFolder));
  test::MakeLink(machine.At(kManifest), machine.At("nowhere"));
  EXPECT_TRUE(DeletePellanSpecifierFile(fileutils::kVelmoraShared));
  EXPECT_EQ(test::GetLink(machine.At(kManifest)), machine.At("nowhere"));
  EXPECT_EQ(Messages(), Lines{"30 Inside DeletePellanSpecifierFile | Successfully deleted pellan "
                              "Specifier file at " +
                              machine.At(kManifest)});
}

TEST(DeletePellanSpecifierFile, GoesToTheFolderOfTheKind) {
  const test::MachineInFolder machine;
  test::PutFile(machine.At("Library/Application Support/Pellan/specifiers/caldris.xml"), "old");
  test::PutFile(machine.At(kManifest), "kept");
  EXPECT_TRUE(DeletePellanSpecifierFile(fileutils::kLocalAppSupport));
  EXPECT_FALSE(
      test::IsThere(machine.At("Library/Application Support/Pellan/specifiers/caldris.xml")));
  EXPECT_EQ(test::GetFile(machine.At(kManifest)), "kept");
}

TEST(DeletePellanSpecifierFile, InformsWithAnEmptyPathForAnUnknownKind) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  EXPECT_TRUE(DeletePellanSpecifierFile(static_cast<fileutils::PathKind>(48)));
  EXPECT_EQ(Messages(), Lines{"30 Inside DeletePellanSpecifierFile | Successfully deleted pellan "
                              "Specifier file at "});
}

}  // namespace
}  // namespace hook
