#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "tests/program/log_records.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/shape.h"

// The messages of a run, one by one, as the log has them.

namespace test {

namespace {

class Messages : public LogTest {};

constexpr const char* kManifestPlace =
    "/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml";
constexpr const char* kSpecifiers = "/Library/Application Support/Velmora/Pellan/specifiers";
constexpr const char* kFolder = "/Applications/Velmora Caldris";
constexpr const char* kShortcut = "/Applications/Velmora Caldris/Velmora Caldris";

// Of the parser, before the actions.
Lines Parsed(const std::string& count) {
  return {Parser(
      "INFO", "Parsing the command line provided. Number of command line arguments is " + count)};
}

Lines FirstArgument() {
  return {Parser("DEBUG",
                 "First command line argument is /Installer/ZintCustomHook, Assuming the first "
                 "argument to be executable address ignoring it.")};
}

Lines Argument(const std::string& argument) {
  return {Parser("DEBUG", "Argument specified is " + argument)};
}

const Lines kNoHyphens = {
    Parser("ERROR", "The \"--\" is not there for the argument. Every argument should have \"--\"")};

// The parser's part of the usual installation with a trace marker.
Lines ParsedInstall() {
  return Concatenate({Parsed("2"), FirstArgument(), Argument("--install=1")});
}
Lines ParsedRemoval() { return Concatenate({Parsed("1"), FirstArgument()}); }

// Of the actions.
const Lines kManifestMade = {
    Hook("INFO",
         "Inside CreatePellanSpecifierFile | Successfully created Ixer Pellan Specifier file at "
         "/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml")};
const Lines kManifestGone = {
    Hook("INFO",
         "Inside DeletePellanSpecifierFile | Successfully deleted pellan Specifier file at "
         "/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml")};
const Lines kCreating = {Hook("TRACE", "Inside CreateZintShortcut")};
const Lines kDeleting = {Hook("TRACE", "Inside DeleteZintShortcut")};
const Lines kPath = {Hook("INFO",
                          "Inside GetZintShortcutPath | Zint shortcut path: "
                          "/Applications/Velmora Caldris/Velmora Caldris")};
const Lines kNoPath = {
    Hook("ERROR", "Inside GetZintShortcutPath | Unable to get the Zint shortcut path")};
const Lines kLinkGone = {
    Hook("INFO",
         "Inside DeleteZintShortcut | Successfully deleted Zint shortcut at path "
         "/Applications/Velmora Caldris/Velmora Caldris")};
const Lines kLinkStays = {Hook("TRACE",
                               "Inside DeleteZintShortcut | Unable to delete Zint shortcut at path "
                               "/Applications/Velmora Caldris/Velmora Caldris")};
const Lines kFolderMade = {Hook("TRACE",
                                "Inside CreateZintShortcut | Creating Zint shortcut folder at "
                                "/Applications/Velmora Caldris")};
const Lines kNoFolder = {
    Hook("ERROR",
         "Inside CreateZintShortcut | Unable to create Zint shortcut folder at "
         "/Applications/Velmora Caldris")};
const Lines kLinkMade = {
    Hook("INFO",
         "Inside CreateZintShortcut | Successfully created Zint shortcut at path: "
         "/Applications/Velmora Caldris/Velmora Caldris for "
         "/Applications/Utilities/Velmora Caldris/Ixer/Caldris.app")};
const Lines kNoLink = {Hook("ERROR",
                            "Inside CreateZintShortcut | Unable to create Zint shortcut at path: "
                            "/Applications/Velmora Caldris/Velmora Caldris for "
                            "/Applications/Utilities/Velmora Caldris/Ixer/Caldris.app")};
const Lines kInTheWay = {Hook("WARN",
                              "Inside CreateZintShortcut | Directory already present at path "
                              "/Applications/Velmora Caldris/Velmora Caldris")};

TEST_F(Messages, OfAFreshInstall) {
  EXPECT_EQ(Log({"--install=1"}),
            Concatenate({Parsed("2"), kManifestMade, kPath, kPath, kLinkGone, kLinkMade}));
}

TEST_F(Messages, OfAFreshInstallTraced) {
  EXPECT_EQ(TraceLog({"--install=1"}),
            Concatenate({ParsedInstall(), kManifestMade, kCreating, kPath, kDeleting, kPath,
                         kLinkGone, kFolderMade, kLinkMade}));
}

TEST_F(Messages, OfASecondInstall) {
  (void)root.Run({"--install=1"});
  EXPECT_EQ(Log({"--install=1"}),
            Concatenate({Parsed("2"), kManifestMade, kPath, kPath, kLinkGone, kLinkMade}));
}

TEST_F(Messages, OfASecondInstallTraced) {
  (void)root.Run({"--install=1"});
  EXPECT_EQ(TraceLog({"--install=1"}),
            Concatenate({ParsedInstall(), kManifestMade, kCreating, kPath, kDeleting, kPath,
                         kLinkGone, kLinkMade}));
}

TEST_F(Messages, OfAnUpdateAreThoseOfAnInstall) {
  EXPECT_EQ(Log({"--install=1", "--update=true"}),
            Concatenate({Parsed("3"), kManifestMade, kPath, kPath, kLinkGone, kLinkMade}));
}

TEST_F(Messages, OfTheCleanUpAreNone) {
  root.AddCefFolder();
  EXPECT_EQ(TraceLog({"--install=1"}),
            Concatenate({ParsedInstall(), kManifestMade, kCreating, kPath, kDeleting, kPath,
                         kLinkGone, kFolderMade, kLinkMade}));
  EXPECT_FALSE(IsThere(root.Join("/Applications/Utilities/Velmora Caldris/CEF")));
}

TEST_F(Messages, OfARemoval) {
  root.AddEarlierInstallation();
  EXPECT_EQ(Log({}), Concatenate({Parsed("1"), kManifestGone, kPath, kLinkGone}));
}

TEST_F(Messages, OfARemovalTraced) {
  root.AddEarlierInstallation();
  EXPECT_EQ(TraceLog({}),
            Concatenate({ParsedRemoval(), kManifestGone, kDeleting, kPath, kLinkGone}));
}

TEST_F(Messages, OfARemovalOfNothingAreThoseOfASuccess) {
  EXPECT_EQ(Log({}), Concatenate({Parsed("1"), kManifestGone, kPath, kLinkGone}));
  EXPECT_EQ(TraceLog({}),
            Concatenate({ParsedRemoval(), kManifestGone, kDeleting, kPath, kLinkGone}));
}

TEST_F(Messages, OfAnInstallOverAFullFolderInTheLinksPlace) {
  PutFile(root.Join(kShortcut) + "/file", "not ours");
  EXPECT_EQ(Log({"--install=1"}),
            Concatenate({Parsed("2"), kManifestMade, kPath, kPath, kInTheWay}));
  EXPECT_EQ(TraceLog({"--install=1"}),
            Concatenate({ParsedInstall(), kManifestMade, kCreating, kPath, kDeleting, kPath,
                         kLinkStays, kInTheWay}));
}

TEST_F(Messages, OfARemovalOfAFullFolderInTheLinksPlace) {
  PutFile(root.Join(kShortcut) + "/file", "not ours");
  EXPECT_EQ(Log({}), Concatenate({Parsed("1"), kManifestGone, kPath}));
  EXPECT_EQ(TraceLog({}),
            Concatenate({ParsedRemoval(), kManifestGone, kDeleting, kPath, kLinkStays}));
}

TEST_F(Messages, OfAnInstallOverALinkThatDangles) {
  MakeDirs(root.Join(kFolder));
  MakeLink(root.Join(kShortcut), "/nowhere");
  EXPECT_EQ(Log({"--install=1"}),
            Concatenate({Parsed("2"), kManifestMade, kPath, kPath, kLinkGone, kNoLink}));
  EXPECT_EQ(TraceLog({"--install=1"}), Concatenate({ParsedInstall(), kManifestMade, kCreating,
                                                    kPath, kDeleting, kPath, kLinkGone, kNoLink}));
}

TEST_F(Messages, OfARemovalOfALinkThatDangles) {
  MakeDirs(root.Join(kFolder));
  MakeLink(root.Join(kShortcut), "/nowhere");
  EXPECT_EQ(Log({}), Concatenate({Parsed("1"), kManifestGone, kPath, kLinkGone}));
}

TEST_F(Messages, OfAnInstallWithoutRoomForTheShortcutsFolder) {
  MakeLink(root.Join(kFolder), "/nowhere");
  EXPECT_EQ(Log({"--install=1"}),
            Concatenate({Parsed("2"), kManifestMade, kPath, kPath, kLinkGone, kNoFolder}));
  EXPECT_EQ(TraceLog({"--install=1"}),
            Concatenate({ParsedInstall(), kManifestMade, kCreating, kPath, kDeleting, kPath,
                         kLinkGone, kFolderMade, kNoFolder}));
}

TEST_F(Messages, WithAFullFolderInTheManifestsPlace) {
  PutFile(root.Join(kManifestPlace) + "/file", "not ours");
  EXPECT_EQ(Log({"--install=1"}),
            Concatenate({Parsed("2"),
                         {Hook("ERROR",
                               "Inside CreatePellanSpecifierFile | Unable to create file at "
                               "/Library/Application Support/Velmora/Pellan/specifiers/"
                               "caldris.xml")},
                         kPath,
                         kPath,
                         kLinkGone,
                         kLinkMade}));
  EXPECT_EQ(Log({}), Concatenate({Parsed("1"),
                                  {Hook("INFO",
                                        "Inside DeletePellanSpecifierFile | Unable to delete "
                                        "pellan Specifier file at /Library/Application "
                                        "Support/Velmora/Pellan/specifiers/caldris.xml")},
                                  kPath,
                                  kLinkGone}));
}

TEST_F(Messages, OfAnInstallWithoutRoomForTheManifestsFolder) {
  PutFile(root.Join("/Library/Application Support/Velmora"), "in the way");
  EXPECT_EQ(Log({"--install=1"}),
            Concatenate({Parsed("2"),
                         {Hook("WARN",
                               "Inside CreatePellanSpecifierFile | Unable to create folder at "
                               "/Library/Application Support/Velmora/Pellan/specifiers")},
                         kPath,
                         kPath,
                         kLinkGone,
                         kLinkMade}));
  EXPECT_FALSE(IsThere(root.Join(kSpecifiers)));
}

TEST_F(Messages, WithoutAnApplicationsFolder) {
  std::filesystem::remove_all(root.Join("/Applications"));
  PutFile(root.Join("/Applications"), "in the way");
  EXPECT_EQ(Log({"--install=1"}), Concatenate({Parsed("2"), kManifestMade, kNoPath}));
  EXPECT_EQ(TraceLog({"--install=1"}),
            Concatenate({ParsedInstall(), kManifestMade, kCreating, kNoPath}));
  EXPECT_EQ(TraceLog({}), Concatenate({ParsedRemoval(), kManifestGone, kDeleting, kNoPath}));
}

using LoggedArguments = Messages;

// What the parser says of one argument, with a trace marker.
class OneArgument : public Messages {
 protected:
  [[nodiscard]] Lines Said(const std::string& argument) const {
    const Lines lines = TraceLog({argument});
    const Lines before = Concatenate({Parsed("2"), FirstArgument()});
    const Lines after = Concatenate({kManifestGone, kDeleting, kPath, kLinkGone});
    EXPECT_GE(lines.size(), before.size() + after.size());
    if (lines.size() < before.size() + after.size()) return {};
    const auto begin = lines.begin() + static_cast<std::ptrdiff_t>(before.size());
    const auto end = lines.end() - static_cast<std::ptrdiff_t>(after.size());
    EXPECT_EQ(Lines(lines.begin(), begin), before);
    EXPECT_EQ(Lines(end, lines.end()), after);
    return {begin, end};
  }
};

TEST_F(OneArgument, ThatIsGoodIsOnlyShown) {
  for (const char* argument : {"--install=2", "--install", "--install=", "--path=/a=b", "---x=1",
                               "--Install=1", "--x= | ", "-psn_0_12345", "-psn"}) {
    SCOPED_TRACE(argument);
    EXPECT_EQ(Said(argument), Argument(argument));
  }
}

TEST_F(OneArgument, WithoutItsHyphensIsAnError) {
  for (const char* argument : {"", "x", "install=1", "-install=1", "=--x", "-", "-ps", "=", "-=--",
                               " --install=1", "/install=1"}) {
    SCOPED_TRACE(argument);
    EXPECT_EQ(Said(argument), Concatenate({Argument(argument), kNoHyphens}));
  }
}

TEST_F(OneArgument, WithAnEmptyKeyIsAnError) {
  for (const std::string argument : {"--", "--=", "--=1", "--=--x"}) {
    SCOPED_TRACE(argument);
    EXPECT_EQ(Said(argument),
              Concatenate({Argument(argument),
                           {Parser("ERROR", "The argument key is empty for " + argument)}}));
  }
}

TEST_F(OneArgument, IsNeverAFormat) {
  for (const char* argument : {"--%s%n=%d", "--x=%s%s%s%n%n", "--100%"}) {
    SCOPED_TRACE(argument);
    EXPECT_EQ(Said(argument), Argument(argument));
  }
}

TEST_F(OneArgument, MayHoldAnyBytes) {
  if (HasFault(Fault::kTakesNoBytesForArguments)) GTEST_SKIP() << "GNUstep ends the program";
  for (const char* argument : {"--x=\x80\xFF\xC3", "--\xFE\x01\x7F\t\r=\x1B[0m"}) {
    SCOPED_TRACE(argument);
    EXPECT_EQ(Said(argument), Argument(argument));
  }
}

TEST_F(OneArgument, MayHoldAnyText) {
  for (const char* argument : {"--x=\xC3\xA9", "--\x01\x7F\t\r=\x1B[0m"}) {
    SCOPED_TRACE(argument);
    EXPECT_EQ(Said(argument), Argument(argument));
  }
}

TEST_F(OneArgument, MayHoldLineEnds) {
  for (const char* argument : {"--x=a\nb", "--x=\n\n", "--\n=\n | \n"}) {
    SCOPED_TRACE(argument);
    EXPECT_EQ(Said(argument), Argument(argument));
  }
}

TEST_F(OneArgument, WithAnAccessTokenIsNotShown) {
  EXPECT_EQ(Said("--token=eyJhbGciOi.eyJzdWIi.x"),
            Lines{Parser("WARN", "Found access/device token. Log skipped.")});
  // Whatever the level: here that of an error, twice the same text.
  EXPECT_EQ(Said("--=eyJhbGciOi.eyJzdWIi.x"),
            (Lines{Parser("WARN", "Found access/device token. Log skipped."),
                   Parser("WARN", "Found access/device token. Log skipped.")}));
}

TEST_F(OneArgument, WithHalfATokenIsShown) {
  for (const char* argument :
       {"--x=eyJhbGciOi", "--x=x.eyJabc", "--x=eyJeyJ", "--x=EYJ.EYJ", "--x=eyJ.eyj"}) {
    SCOPED_TRACE(argument);
    EXPECT_EQ(Said(argument), Argument(argument));
  }
}

TEST_F(OneArgument, HasItsCredentialsMasked) {
  const struct {
    const char* argument;
    const char* shown;
  } rows[] = {
      {"--x=login <User>bob</User> <Password>x</Password>",
       "--x=login <User>****</User> <Password>****</Password>"},
      {"--x=<password></password>", "--x=<password></password>"},
      {"--x=<password>a</password><password>b</password>",
       "--x=<password>****</password><password>b</password>"},
      {"--x=<proxyuser>u</proxyuser>", "--x=<proxyuser>****</proxyuser>"},
      {"--x=<proxyusername>a</proxyusername><proxy-user>b</proxy-user><username>c</username>",
       "--x=<proxyusername>****</proxyusername><proxy-user>****</proxy-user>"
       "<username>****</username>"},
      {"--x=<proxy-password>a</proxy-password><proxypassword>b</proxypassword>"
       "<proxypass>c</proxypass>",
       "--x=<proxy-password>****</proxy-password><proxypassword>****</proxypassword>"
       "<proxypass>****</proxypass>"},
      {"--x=</user>x<user>y", "--x=</user>x<user>****</user>x<user>y"},
      {"--x=<password type=x>a</password>", "--x=<password type=x>a</password>"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.argument);
    EXPECT_EQ(Said(row.argument), Argument(row.shown));
  }
}

TEST_F(OneArgument, IsCutWhereTheMessageIsTooLong) {
  // 4094 bytes is what a message may have, its first words included.
  constexpr std::size_t kRoom = 4094 - sizeof("Argument specified is ") + 1;
  const std::string longArgument = "--x=" + std::string(5000, 'y');
  EXPECT_EQ(Said(longArgument), Argument(longArgument.substr(0, kRoom)));
  EXPECT_EQ(Said(longArgument.substr(0, kRoom)), Argument(longArgument.substr(0, kRoom)));
  EXPECT_EQ(Said(longArgument.substr(0, kRoom + 1)), Argument(longArgument.substr(0, kRoom)));
}

TEST_F(LoggedArguments, GivenTwiceAreAnErrorTheSecondTime) {
  EXPECT_EQ(
      TraceLog({"--update=true", "--update=false", "--install=0", "--install=1", "--install"}),
      Concatenate({Parsed("6"),
                   FirstArgument(),
                   Argument("--update=true"),
                   Argument("--update=false"),
                   {Parser("ERROR", "The argument update already sepecified")},
                   Argument("--install=0"),
                   Argument("--install=1"),
                   {Parser("ERROR", "The argument install already sepecified")},
                   Argument("--install"),
                   {Parser("ERROR", "The argument install already sepecified")},
                   kManifestGone,
                   kDeleting,
                   kPath,
                   kLinkGone}));
}

TEST_F(LoggedArguments, ThatAreBadShowWithoutATraceMarkerToo) {
  EXPECT_EQ(Log({"install=1", "--=1", "--a", "--a"}),
            Concatenate({Parsed("5"),
                         kNoHyphens,
                         {Parser("ERROR", "The argument key is empty for --=1")},
                         {Parser("ERROR", "The argument a already sepecified")},
                         kManifestGone,
                         kPath,
                         kLinkGone}));
}

TEST_F(LoggedArguments, WithATokenOrCredentialsShowWithoutATraceMarkerToo) {
  EXPECT_EQ(Log({"--=eyJ.eyJ", "--=<user>bob</user>"}),
            Concatenate({Parsed("3"),
                         {Parser("WARN", "Found access/device token. Log skipped.")},
                         {Parser("ERROR", "The argument key is empty for --=<user>****</user>")},
                         kManifestGone,
                         kPath,
                         kLinkGone}));
}

TEST_F(LoggedArguments, MayBeNone) {
  RunOptions options;
  options.emptyArgumentList = true;
  const Lines lines = TraceLog({}, options);
  const Lines actions = Concatenate({kManifestGone, kDeleting, kPath, kLinkGone});
  const Lines none = {Parser("ERROR",
                             "Argument count is zero. There should be at least one i.e. name of "
                             "application.")};
  // Newer kernels put in an empty one.
  const Lines empty = {Parser("DEBUG",
                              "First command line argument is , Assuming the first argument to be "
                              "executable address ignoring it.")};
  EXPECT_TRUE(lines == Concatenate({Parsed("0"), none, actions}) ||
              lines == Concatenate({Parsed("1"), empty, actions}))
      << testing::PrintToString(lines);
}

using LogFile = Messages;

TEST_F(LogFile, HasElevenFieldsALine) {
  const std::string process = root.RunWithLog({}).process;
  const std::string log = GetFile(root.Join(kRootsLog)).value_or("");
  const std::string line = log.substr(0, log.find('\n'));
  EXPECT_TRUE(HasShape(line.substr(0, 21), "99/99/99 99:99:99:999")) << line;
  EXPECT_EQ(line.substr(21),
            " | [INFO] |  | ZintCustomHook |  |  |  | CommandLineParser | " + process +
                " | 0 | Parsing the command line provided. Number of command line arguments is 1");
}

TEST_F(LogFile, GrowsByEachRun) {
  (void)root.Run({"--install=1"});
  const std::optional<std::string> log = GetFile(root.Join(kRootsLog));
  ASSERT_TRUE(log.has_value());
  (void)root.Run({});
  EXPECT_TRUE(GetFile(root.Join(kRootsLog)).value_or("").starts_with(*log));
  EXPECT_EQ(ReadLog(root.Join(kRootsLog)).size(), 6U + 4U);
}

TEST_F(LogFile, TakesWhatSomebodyElseHasLeftUnfinished) {
  PutFile(root.Join(kRootsLog), "half a rec");
  (void)root.Run({});
  const std::string log = GetFile(root.Join(kRootsLog)).value_or("");
  ASSERT_TRUE(log.starts_with("half a rec"));
  EXPECT_EQ(SplitRecords(log.substr(10)).size(), 4U);
}

}  // namespace

}  // namespace test
