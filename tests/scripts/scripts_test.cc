#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#if __has_include(<sched.h>)
#include <sched.h>
#endif
// Only where there are namespaces are the arguments of mount those used here.
#ifdef CLONE_NEWNS
#include <sys/mount.h>
#endif

#include "tests/scripts/checkout.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"

namespace {

using test::Checkout;
using test::Outcome;

long CountLines(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

// The words are refused, with a reason and the usage.
void ExpectRefusal(const Outcome& outcome, const std::string& reason) {
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.output, "");
  const std::size_t end = outcome.message.find('\n');
  EXPECT_EQ(outcome.message.substr(0, end), reason);
  EXPECT_EQ(outcome.message.substr(end + 1, 7), "usage: ");
}

// It fails, and says no more than that.
void ExpectLine(const Outcome& outcome, const std::string& line) {
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.message, line + "\n");
}

TEST(EveryScript, TellsItsUsageWhenAsked) {
  const Checkout checkout;
  ASSERT_GT(checkout.Commands().size(), 10U);
  for (const std::string& name : checkout.Commands()) {
    for (const std::string flag : {"-h", "--help"}) {
      SCOPED_TRACE(name + " " + flag);
      const Outcome outcome = checkout.Run("script/" + name + " " + flag);
      EXPECT_EQ(outcome.status, 0);
      EXPECT_TRUE(outcome.output.starts_with("Usage: ")) << outcome.output;
      EXPECT_NE(outcome.output.find("script/" + name), std::string::npos) << outcome.output;
      EXPECT_GE(CountLines(outcome.output), 2);
      EXPECT_EQ(outcome.message, "");
    }
  }
}

TEST(EveryScript, RefusesAnUnknownOption) {
  const Checkout checkout;
  for (const std::string& name : checkout.Commands()) {
    // Theirs are those of what they run.
    if (name == "bench" || name == "try") continue;
    SCOPED_TRACE(name);
    ExpectRefusal(checkout.Run("script/" + name + " --nothing"),
                  "script/" + name + ": no option --nothing");
  }
}

TEST(EveryScript, RefusesMoreWordsThanItTakes) {
  const Checkout checkout;
  for (const std::string words :
       {"bootstrap x", "bootstrap --ci x", "check_includes x", "cibuild x", "compare_builds x y",
        "format x", "lint x", "list_sources x y", "test x y"}) {
    SCOPED_TRACE(words);
    ExpectRefusal(checkout.Run("script/" + words),
                  "script/" + words.substr(0, words.find(' ')) + ": too many words");
  }
}

TEST(EveryScript, RunsFromAnyFolder) {
  const Checkout checkout;
  test::MakeDirs(checkout.Join("a b"));
  const Outcome outcome =
      checkout.Run("sh -c 'cd \"a b\" && CDPATH=.. && ../script/list_sources x'");
  ExpectRefusal(outcome, "script/list_sources: no folder x");
  EXPECT_EQ(checkout.Run("sh -c 'cd script && ./list_sources'").status, 0);
}

TEST(BuildScript, RefusesAPresetThatIsNotThere) {
  const Checkout checkout;
  checkout.PutAllThatIsNeeded();
  for (const std::string preset : {"nothing", "de", "dev2", "d.v", "base"}) {
    SCOPED_TRACE(preset);
    ExpectRefusal(checkout.Run("script/build " + preset),
                  "script/build: no preset " + preset + " here");
  }
  EXPECT_FALSE(test::IsThere(checkout.Join("build")));
}

TEST(BuildScript, RefusesAnOptionAmongTheTargets) {
  const Checkout checkout;
  ExpectRefusal(checkout.Run("script/build dev all -v"), "script/build: no option -v");
}

TEST(TestScript, RefusesAPresetWithoutTests) {
  const Checkout checkout;
  checkout.PutAllThatIsNeeded();
  for (const std::string preset : {"release", "nothing"}) {
    SCOPED_TRACE(preset);
    ExpectRefusal(checkout.Run("env PRESET=" + preset + " script/test"),
                  "script/test: no tests with the preset " + preset + " here");
  }
}

// A machine on which an installer fails: apt-get, or brew.
class BootstrapTest : public testing::Test {
 protected:
  BootstrapTest() {
    checkout_.PutCommand("uname", "echo Linux");
    checkout_.PutCommand("id", "echo 0");
  }

  // `update` and `install` are what it does then.
  void PutAptGet(const std::string& update, const std::string& install) const {
    checkout_.PutCommand("apt-get", "case \" $* \" in\n*' update '*)\n" + update + " ;;\n*)\n" +
                                        install + "\nexit 100 ;;\nesac");
  }

  // The sentence, and then no more than what tells why.
  void ExpectSentence(const std::string& sentence) const {
    const Outcome outcome = checkout_.Run("script/bootstrap");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(CountLines(outcome.output), 1) << outcome.output;
    EXPECT_TRUE(outcome.output.starts_with("script/bootstrap: installing ")) << outcome.output;
    EXPECT_TRUE(outcome.message.starts_with(sentence)) << outcome.message;
    EXPECT_GE(CountLines(outcome.message), 2) << outcome.message;
    EXPECT_LE(CountLines(outcome.message), 4) << outcome.message;
  }

  Checkout checkout_;
};

// What apt-get has to say of one package.
constexpr char kManyLines[] = R"(n=0
while [ $n -lt 30 ]; do
  echo "Err:$n http://deb.example p$n"
  echo "E: Failed to fetch http://deb.example/p$n.deb  Temporary failure resolving 'deb.example'"
  n=$((n + 1))
done
echo 'E: Unable to fetch some archives, maybe run apt-get update or try with --fix-missing?')";

TEST_F(BootstrapTest, SaysInASentenceThatPackagesCannotBeFetched) {
  PutAptGet("", kManyLines);
  ExpectSentence("script/bootstrap: could not fetch g++ ");
  EXPECT_NE(checkout_.Run("script/bootstrap").message.find(" (is there a network?)\n"),
            std::string::npos);
}

TEST_F(BootstrapTest, SaysSoTooWhereNoListOfPackagesWasEverFetched) {
  PutAptGet(
      "echo \"W: Failed to fetch http://deb.example/InRelease  Could not resolve 'deb.example'\"",
      "echo 'E: Unable to locate package g++'");
  ExpectSentence("script/bootstrap: could not fetch g++ ");
}

TEST_F(BootstrapTest, BlamesNoNetworkWhereAnotherThingFails) {
  const std::string unreachable = "echo 'W: Failed to fetch http://other.example/InRelease'";
  PutAptGet(unreachable, "echo 'E: Could not get lock /var/lib/dpkg/lock-frontend.'");
  ExpectSentence("script/bootstrap: could not install g++ ");
  PutAptGet("", "echo 'E: Unable to locate package g++'");
  ExpectSentence("script/bootstrap: could not install g++ ");
}

TEST_F(BootstrapTest, SaysWhatTheInstallerSaidLastWhereItNamesNoError) {
  PutAptGet("", "echo one; echo two; echo three; echo four; echo");
  ExpectSentence("script/bootstrap: could not install g++ ");
  EXPECT_TRUE(checkout_.Run("script/bootstrap").message.ends_with("\n  two\n  three\n  four\n"));
}

TEST_F(BootstrapTest, SaysInASentenceWhatBrewCannotFetch) {
  checkout_.PutCommand("uname", "echo Darwin");
  checkout_.PutCommand("xcode-select", "");
  checkout_.PutCommand(
      "brew", "[ \"$1\" = --prefix ] && echo /opt/homebrew && exit\n" + std::string(kManyLines) +
                  "\necho 'curl: (6) Could not resolve host: ghcr.example'\nexit 1");
  ExpectSentence("script/bootstrap: could not fetch ninja pugixml googletest ");
}

TEST_F(BootstrapTest, IsSilentWhereNothingIsMissing) {
  checkout_.PutAllThatIsNeeded();
  const Outcome outcome = checkout_.Run("script/bootstrap");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.message, "");
}

// A checkout with a CMake that knows the preset dev, and does what a test says when it is to
// configure and to build.
class BuildTest : public testing::Test {
 protected:
  BuildTest() { checkout_.PutAllThatIsNeeded(); }

  void PutCMake(const std::string& configure, const std::string& build) const {
    checkout_.PutCommand("cmake", "case $1 in\n--list-presets=*) echo '  \"dev\"' ;;\n--preset)\n" +
                                      configure + " ;;\n--build)\n" + build + " ;;\nesac");
  }

  // Runs `body` where a memory file system is at the folder of the build.
  void RunOnMemory(unsigned long flags, const char* options,
                   const std::function<void()>& body) const {
#ifdef CLONE_NEWNS
    test::MakeDirs(checkout_.Join("build"));
    test::RunInRoot(
        "/", body, {.beforeChangeRoot = [&] {
          ASSERT_EQ(mount("none", checkout_.Join("build").c_str(), "tmpfs", flags, options), 0);
        }});
#else
    (void)flags, (void)options, (void)body;
#endif
  }

  Checkout checkout_;
};

constexpr char kPage[] = "for line in 1 2 3 4 5 6 7 8 9; do echo \"CMake Error $line\"; done";

TEST_F(BuildTest, SaysInALineThatTheTreeIsReadOnly) {
#ifdef CLONE_NEWNS
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  PutCMake(kPage, "");
  RunOnMemory(MS_RDONLY, nullptr, [&] {
    for (const std::string script : {"build", "lint", "test"}) {
      const std::string speaker = script == "test" ? "build" : script;
      ExpectLine(checkout_.Run("script/" + script), "script/" + speaker + ": cannot write below " +
                                                        checkout_.Path() +
                                                        ": Read-only file system");
    }
  });
#else
  GTEST_SKIP() << "no mounts on this system";
#endif
}

TEST_F(BuildTest, SaysInALineThatTheDiskIsFull) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  PutCMake(kPage, "");
  RunOnMemory(0, "size=64k", [&] {
    ExpectLine(checkout_.Run("script/build"), "script/build: cannot write below " +
                                                  checkout_.Path() + ": No space left on device");
    EXPECT_FALSE(test::IsThere(checkout_.Join("build/.room")));
  });
}

TEST_F(BuildTest, SaysInALineThatTheDiskIsFullByNow) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const std::string fill = "head -c 4000000 /dev/zero >build/large 2>/dev/null\n";
  for (const bool isConfigured : {false, true}) {
    SCOPED_TRACE(isConfigured);
    const std::string failure = fill + kPage + "\nexit 1";
    PutCMake(isConfigured ? "" : failure, failure);
    RunOnMemory(0, "size=2m", [&] {
      ExpectLine(checkout_.Run("script/build"), "script/build: cannot write below " +
                                                    checkout_.Path() + ": No space left on device");
    });
  }
}

TEST_F(BuildTest, SaysInALineThatTheTreeIsAnotherUsers) {
  if (geteuid() == 0) {
    if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  }
  PutCMake(kPage, "");
  test::SetMode(checkout_.Path(), 0555);
  ExpectLine(checkout_.Run("script/build", geteuid() == 0 ? 1000 : 0),
             "script/build: cannot write below " + checkout_.Path() + ": Permission denied");
}

TEST_F(BuildTest, SaysInALineThatAToolFoundAFullDiskElsewhere) {
  const std::string compiler =
      "echo 'fatal error: error writing to /tmp/x.s: No space left on device'";
  for (const bool isConfigured : {false, true}) {
    SCOPED_TRACE(isConfigured);
    const std::string failure = std::string(kPage) + "\n" + compiler + "\n" + kPage + "\nexit 1";
    PutCMake(isConfigured ? "" : failure, failure);
    ExpectLine(checkout_.Run("script/build"),
               "script/build: No space left on device, here or in /tmp");
  }
}

TEST_F(BuildTest, ShowsWhatACompilerSays) {
  PutCMake("",
           "echo '[1/2] x.cc'\necho 'x.cc:1: error: no'\n"
           "echo '    1 |   // No space left on device'\nexit 1");
  const Outcome outcome = checkout_.Run("script/build");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.message, "x.cc:1: error: no\n    1 |   // No space left on device\n");
}

TEST_F(BuildTest, PrintsTheProgramsPath) {
  PutCMake("", "echo '[1/1] x.cc'\necho 'x.cc:1: warning: so'");
  const Outcome outcome = checkout_.Run("script/build");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output,
            "x.cc:1: warning: so\n" + checkout_.Join("build/ZintCustomHook") + "\n");
}

TEST_F(BuildTest, ShowsItsProgressOnATerminalAlsoForATry) {
  // Which is as far as this needs to get.
  checkout_.PutCommand("chroot", "");
  PutCMake("", "echo '[1/2] x.cc'\nexit 1");
  for (const std::string script : {"build", "try"}) {
    SCOPED_TRACE(script);
    const Outcome shown = checkout_.RunOnTerminal("script/" + script);
    EXPECT_EQ(shown.status, 1);
    EXPECT_NE(shown.output.find("[1/2] x.cc\n"), std::string::npos) << shown.output;
    const Outcome quiet = checkout_.Run("script/" + script);
    EXPECT_EQ(quiet.status, 1);
    EXPECT_EQ((quiet.output + quiet.message).find("[1/2] x.cc\n"), std::string::npos);
  }
}

}  // namespace
