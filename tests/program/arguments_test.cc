#include <gtest/gtest.h>

#include "tests/program/throw_away_root.h"
#include "tests/support/known_faults.h"

namespace test {

namespace {

using Arguments = ProgramTest;

// A machine on which each branch leaves marks of its own.
Changes RunOnUsedMachine(const std::vector<std::string>& arguments,
                         const RunOptions& options = {}) {
  const ThrowAwayRoot root;
  root.AddInstalledBundle();
  root.AddEarlierInstallation();
  root.AddCefFolder();
  return root.Run(arguments, options);
}

const Changes kInstalled = {
    "- Applications/Utilities/Velmora Caldris/CEF",
    "- Applications/Utilities/Velmora Caldris/CEF/locales",
    "- Applications/Utilities/Velmora Caldris/CEF/locales/en.pak",
    "+ Applications/Velmora Caldris/.directory",
    "+ Applications/Velmora Caldris/.folder-icon.png",
    "~ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
};

const Changes kRemoved = {
    "- Applications/Velmora Caldris/Velmora Caldris",
    "- Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
};

TEST_F(Arguments, InstallWhereTheFirstValueOfInstallIsExactlyOne) {
  const std::vector<std::string> rows[] = {
      {"--install=1"},
      {"--install=1", "--update=true"},
      {"--update=true", "--install=1"},
      {"--install=1", "--update=TRUE"},
      {"--install=1", "--update"},
      {"--install=1", "--install=0"},
      {"install=0", "-install=0", "--Install=0", "--install=1"},
      {"-psn_0_12345", "--install=1"},
      {"", "-", "--", "--=1", "=", "=--x", "a=b", "--install=1"},
      {"%s%n%s%n", "--%n=%s", "--%s%n", "--=%n", "--install=1"},
      {"a\nb", "--\n=\n", "--install=1"},
  };
  for (const std::vector<std::string>& arguments : rows) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    EXPECT_EQ(RunOnUsedMachine(arguments), kInstalled);
  }
}

TEST_F(Arguments, RemoveInEveryOtherCase) {
  const std::vector<std::string> rows[] = {
      {},
      {""},
      {"--"},
      {"--=1"},
      {"--install"},
      {"--install="},
      {"--install=0"},
      {"--install=01"},
      {"--install=11"},
      {"--install=1 "},
      {"--install= 1"},
      {"--install=1\n"},
      {"--install=1=1"},
      {"--install=true"},
      {"--install=yes"},
      {"--install=\xEF\xBC\x91"},  // a full-width digit
      {"--install", "1"},
      {"--install", "--install=1"},
      {"--install=0", "--install=1"},
      {"--update=true"},
      {"--Install=1"},
      {"--INSTALL=1"},
      {"---install=1"},
      {"-install=1"},
      {"install=1"},
      {"/install=1"},
      {" --install=1"},
      {"=--install=1"},
      {"-psn_0_12345"},
      {"-psn--install=1"},
      {"--\xC3\xA9=1"},
  };
  for (const std::vector<std::string>& arguments : rows) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    EXPECT_EQ(RunOnUsedMachine(arguments), kRemoved);
  }
}

TEST_F(Arguments, MayHoldAnyBytes) {
  if (HasFault(Fault::kTakesNoBytesForArguments)) GTEST_SKIP() << "GNUstep ends the program";
  EXPECT_EQ(RunOnUsedMachine({"--x=\x80\xFF\xC3", "\xFE", "--install=1"}), kInstalled);
  EXPECT_EQ(RunOnUsedMachine({"--x=1", "\xFF\xFE"}), kRemoved);
}

TEST_F(Arguments, RemoveForAnEmptyArgumentList) {
  RunOptions options;
  options.emptyArgumentList = true;
  EXPECT_EQ(RunOnUsedMachine({}, options), kRemoved);
}

TEST_F(Arguments, MayBeVeryLong) {
  const std::string longText(60'000, 'x');
  EXPECT_EQ(RunOnUsedMachine({longText, "--" + longText, "--a=" + longText,
                              "--" + longText + "=" + longText, "--install=1"}),
            kInstalled);
}

TEST_F(Arguments, MayBeVeryMany) {
  std::vector<std::string> arguments;
  for (int i = 0; i < 20'000; ++i) arguments.push_back("--key" + std::to_string(i) + "=1");
  arguments.push_back("--install=1");
  EXPECT_EQ(RunOnUsedMachine(arguments), kInstalled);
}

}  // namespace

}  // namespace test
