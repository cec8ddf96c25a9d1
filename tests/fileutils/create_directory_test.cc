#include "fileutils/create_directory.h"

#include <cstdarg>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "tests/fileutils/scoped_log_hooks.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/recording_logger.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace {

using test::LevelsAndMessages;
using test::LoggedMessage;
using Lines = std::vector<std::string>;

std::string AncestorLine(const std::string& ancestor) {
  return "30  shouldSetPermission is true, parent folder found  =  " + ancestor + " ";
}

std::string OwnerLine(const std::string& path) {
  return "30 shouldSetPermission is true,owner =" +
         std::to_string(test::GetOwner(path).value_or(0)) +
         ",group =" + std::to_string(test::GetGroup(path).value_or(0));
}

TEST(CreateDirectory, MakesMissingParentsWithTheDefaultModeAndSaysNothing) {
  const test::ScopedTempDir folder;
  const test::ScopedUmask umask(027);
  test::RecordingLogger logger;
  EXPECT_TRUE(
      fileutils::CreateDirectory(folder.Join("a/b"), /*shouldSetPermission=*/false, &logger));
  EXPECT_EQ(test::GetMode(folder.Join("a")), 0750U);
  EXPECT_EQ(test::GetMode(folder.Join("a/b")), 0750U);
  EXPECT_TRUE(logger.messages.empty());
}

TEST(CreateDirectory, GivesEveryNewFolderTheModeWhateverTheUmask) {
  const test::ScopedTempDir folder;
  const test::ScopedUmask umask(077);
  EXPECT_TRUE(
      fileutils::CreateDirectory(folder.Join("a/b/c"), /*shouldSetPermission=*/true, nullptr));
  for (const char* made : {"a", "a/b", "a/b/c"}) {
    SCOPED_TRACE(made);
    EXPECT_EQ(test::GetMode(folder.Join(made)), 0775U);
  }
  EXPECT_EQ(test::GetMode(folder.Path()), 0755U);
}

TEST(CreateDirectory, NamesTheAncestorAndItsOwner) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("old"));
  test::RecordingLogger logger;
  EXPECT_TRUE(
      fileutils::CreateDirectory(folder.Join("old/a/b"), /*shouldSetPermission=*/true, &logger));
  ASSERT_EQ(logger.messages.size(), 2U);
  EXPECT_EQ(logger.messages[0],
            (LoggedMessage{"Log", 30, "", "FileUtils", "", "",
                           " shouldSetPermission is true, parent folder found  =  %s ",
                           " shouldSetPermission is true, parent folder found  =  " +
                               folder.Join("old") + " "}));
  EXPECT_EQ(logger.messages[1].format, "shouldSetPermission is true,owner =%d,group =%d");
  EXPECT_EQ(LevelsAndMessages(logger.messages),
            (Lines{AncestorLine(folder.Join("old")), OwnerLine(folder.Join("old"))}));
}

TEST(CreateDirectory, SucceedsOnAFolderAndLeavesItAsItIs) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("old"));
  test::SetMode(folder.Join("old"), 0711);
  test::RecordingLogger logger;
  EXPECT_TRUE(
      fileutils::CreateDirectory(folder.Join("old"), /*shouldSetPermission=*/false, &logger));
  EXPECT_TRUE(logger.messages.empty());
  EXPECT_TRUE(
      fileutils::CreateDirectory(folder.Join("old"), /*shouldSetPermission=*/true, &logger));
  EXPECT_EQ(LevelsAndMessages(logger.messages),
            (Lines{AncestorLine(folder.Join("old")), OwnerLine(folder.Join("old"))}));
  EXPECT_EQ(test::GetMode(folder.Join("old")), 0711U);
}

TEST(CreateDirectory, FailsWhereAFileIsInTheWay) {
  if (test::HasFault(test::Fault::kTakesAnythingForAFolder)) {
    GTEST_SKIP() << "GNUstep takes a file for a folder";
  }
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "x");
  test::RecordingLogger logger;
  EXPECT_FALSE(
      fileutils::CreateDirectory(folder.Join("file"), /*shouldSetPermission=*/false, &logger));
  EXPECT_EQ(logger.messages,
            (std::vector<LoggedMessage>{
                {"Log", 50, "", "FileUtils", "", "", "Failed to create directory at path ex %s ",
                 "Failed to create directory at path ex " + folder.Join("file") + " "}}));
  EXPECT_EQ(test::GetFile(folder.Join("file")), "x");
}

TEST(CreateDirectory, SaysInThisOrderWhatItFoundAndThatItFailed) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "x");
  test::RecordingLogger logger;
  EXPECT_FALSE(
      fileutils::CreateDirectory(folder.Join("file/a"), /*shouldSetPermission=*/true, &logger));
  EXPECT_EQ(LevelsAndMessages(logger.messages),
            (Lines{AncestorLine(folder.Join("file")), OwnerLine(folder.Join("file")),
                   "50 Failed to create directory at path ex " + folder.Join("file/a") + " "}));
}

TEST(CreateDirectory, KeepsWhatItMadeBeforeItFailed) {
  const test::ScopedTempDir folder;
  const std::string tooLong(300, 'x');
  EXPECT_FALSE(fileutils::CreateDirectory(folder.Join("a/" + tooLong),
                                          /*shouldSetPermission=*/false, nullptr));
  EXPECT_TRUE(test::IsThere(folder.Join("a")));
}

TEST(CreateDirectory, FailsOnADanglingLink) {
  const test::ScopedTempDir folder;
  test::MakeLink(folder.Join("dangling"), "nothing");
  EXPECT_FALSE(
      fileutils::CreateDirectory(folder.Join("dangling"), /*shouldSetPermission=*/false, nullptr));
  EXPECT_FALSE(test::IsThere(folder.Join("nothing")));
}

// The two arguments of the last error, of which its format prints one.
struct ErrorArguments {
  std::string path;
  std::string description;
};

ErrorArguments& LastErrorArguments() {
  static ErrorArguments arguments;
  return arguments;
}

int ReadErrorArguments(dunmar::LogLevel level, const char* module, const char* component,
                       const char* text4, const char* text5, const char* format, ...)
    DUNMAR_PRINTF_FORMAT(6, 7);

int ReadErrorArguments(dunmar::LogLevel level, const char* /*module*/, const char* /*component*/,
                       const char* /*text4*/, const char* /*text5*/, const char* format, ...) {
  if (level != 50) return 0;
  va_list arguments;
  va_start(arguments, format);
  LastErrorArguments().path = va_arg(arguments, const char*);
  LastErrorArguments().description = va_arg(arguments, const char*);
  va_end(arguments);
  return 0;
}

TEST(CreateDirectory, HandsTheDescriptionOnThoughTheFormatDoesNotPrintIt) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "x");
  LastErrorArguments() = {};
  const test::ScopedLogHooks hooks(ReadErrorArguments);
  EXPECT_FALSE(
      fileutils::CreateDirectory(folder.Join("file/a"), /*shouldSetPermission=*/false, nullptr));
  EXPECT_EQ(LastErrorArguments().path, folder.Join("file/a"));
  EXPECT_NE(LastErrorArguments().description, "");
  EXPECT_NE(LastErrorArguments().description, folder.Join("file/a"));
}

TEST(CreateDirectory, SetsOnlyTheModeBelowALink) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("real"));
  test::MakeLink(folder.Join("link"), "real");
  const test::ScopedUmask umask(077);
  test::RecordingLogger logger;
  EXPECT_TRUE(
      fileutils::CreateDirectory(folder.Join("link/a"), /*shouldSetPermission=*/true, &logger));
  EXPECT_EQ(LevelsAndMessages(logger.messages), Lines{AncestorLine(folder.Join("link"))});
  EXPECT_EQ(test::GetMode(folder.Join("real/a")), 0775U);
}

TEST(CreateDirectory, EndsOnAnEmptyPath) {
  test::RecordingLogger logger;
  EXPECT_FALSE(fileutils::CreateDirectory("", /*shouldSetPermission=*/true, &logger));
  EXPECT_EQ(LevelsAndMessages(logger.messages),
            (Lines{"30  shouldSetPermission is true, parent folder found  =   ",
                   "50 Failed to create directory at path ex  "}));
}

TEST(CreateDirectory, LogsThroughTheHookWithoutALogger) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "x");
  test::RecordingLogger byDefault;
  const test::ScopedLogHooks hooks(test::RecordingLogCall, &byDefault);
  EXPECT_FALSE(
      fileutils::CreateDirectory(folder.Join("file/a"), /*shouldSetPermission=*/true, nullptr));
  EXPECT_EQ(LevelsAndMessages(test::RecordedCalls()),
            (Lines{AncestorLine(folder.Join("file")), OwnerLine(folder.Join("file")),
                   "50 Failed to create directory at path ex " + folder.Join("file/a") + " "}));
  for (const LoggedMessage& message : test::RecordedCalls()) {
    SCOPED_TRACE(message.message);
    EXPECT_EQ(message.module, "DunmarUtils");
    EXPECT_EQ(message.component, "FileUtils");
    EXPECT_EQ(message.text4, "");
    EXPECT_EQ(message.text5, "");
  }
  EXPECT_TRUE(byDefault.messages.empty());
}

TEST(CreateDirectory, LogsThroughTheDefaultLoggerWithoutAHook) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "x");
  test::RecordingLogger byDefault;
  const test::ScopedLogHooks hooks(nullptr, &byDefault);
  EXPECT_FALSE(
      fileutils::CreateDirectory(folder.Join("file/a"), /*shouldSetPermission=*/true, nullptr));
  EXPECT_EQ(LevelsAndMessages(byDefault.messages),
            (Lines{AncestorLine(folder.Join("file")), OwnerLine(folder.Join("file")),
                   "50 Failed to create directory at path ex " + folder.Join("file/a") + " "}));
}

TEST(CreateDirectory, CopiesOwnerAndGroupOfTheAncestor) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("old"));
  test::SetOwner(folder.Join("old"), 501, 20);
  const test::ScopedUmask umask(077);
  test::RecordingLogger logger;
  EXPECT_TRUE(
      fileutils::CreateDirectory(folder.Join("old/a/b"), /*shouldSetPermission=*/true, &logger));
  for (const char* made : {"old/a", "old/a/b"}) {
    SCOPED_TRACE(made);
    EXPECT_EQ(test::GetOwner(folder.Join(made)), 501U);
    EXPECT_EQ(test::GetGroup(folder.Join(made)), 20U);
    EXPECT_EQ(test::GetMode(folder.Join(made)), 0775U);
  }
  EXPECT_EQ(LevelsAndMessages(logger.messages),
            (Lines{AncestorLine(folder.Join("old")),
                   "30 shouldSetPermission is true,owner =501,group =20"}));
}

TEST(CreateDirectory, CopiesNoOwnerWithoutTheRequest) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("old"));
  test::SetOwner(folder.Join("old"), 501, 20);
  EXPECT_TRUE(
      fileutils::CreateDirectory(folder.Join("old/a"), /*shouldSetPermission=*/false, nullptr));
  EXPECT_EQ(test::GetOwner(folder.Join("old/a")), 0U);
}

TEST(CreateDirectory, CopiesNoOwnerBelowALink) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("real"));
  test::SetOwner(folder.Join("real"), 501, 20);
  test::MakeLink(folder.Join("link"), "real");
  EXPECT_TRUE(
      fileutils::CreateDirectory(folder.Join("link/a"), /*shouldSetPermission=*/true, nullptr));
  EXPECT_EQ(test::GetOwner(folder.Join("real/a")), 0U);
  EXPECT_EQ(test::GetMode(folder.Join("real/a")), 0775U);
}

TEST(CreateDirectory, PrintsLargeIdsAsTheSignedNumbersThatTheFormatAsksFor) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("old"));
  test::SetOwner(folder.Join("old"), 4294967294U, 4294967293U);
  test::RecordingLogger logger;
  EXPECT_TRUE(
      fileutils::CreateDirectory(folder.Join("old/a"), /*shouldSetPermission=*/true, &logger));
  EXPECT_EQ(LevelsAndMessages(logger.messages),
            (Lines{AncestorLine(folder.Join("old")),
                   "30 shouldSetPermission is true,owner =-2,group =-3"}));
  EXPECT_EQ(test::GetOwner(folder.Join("old/a")), 4294967294U);
}

TEST(FindExistingAncestor, IsThePathItselfWhereItExists) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "x");
  EXPECT_EQ(fileutils::FindExistingAncestor(folder.Path()), folder.Path());
  EXPECT_EQ(fileutils::FindExistingAncestor(folder.Join("file")), folder.Join("file"));
  EXPECT_EQ(fileutils::FindExistingAncestor(folder.Path() + "/"), folder.Path() + "/");
}

TEST(FindExistingAncestor, IsTheNearestFolderAboveWhatIsMissing) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("a"));
  test::MakeLink(folder.Join("a/dangling"), "nothing");
  EXPECT_EQ(fileutils::FindExistingAncestor(folder.Join("a/b/c/d")), folder.Join("a"));
  EXPECT_EQ(fileutils::FindExistingAncestor(folder.Join("a/dangling")), folder.Join("a"));
  EXPECT_EQ(fileutils::FindExistingAncestor("/nothing-of-this-name/x"), "/");
  EXPECT_EQ(fileutils::FindExistingAncestor("nothing-of-this-name/x"), ".");
}

TEST(FindExistingAncestor, EndsOnAnEmptyPath) {
  EXPECT_EQ(fileutils::FindExistingAncestor(""), "");
}

TEST(FindExistingAncestor, EndsWhereNotEvenTheTopCanBeFound) {
  platform::ScopedSystemCalls calls;
  static char self[] = "nothing-of-this-name";
  calls->dirname = [](char*) -> char* { return self; };
  EXPECT_EQ(fileutils::FindExistingAncestor("/nothing-of-this-name/x"), "nothing-of-this-name");
}

}  // namespace
