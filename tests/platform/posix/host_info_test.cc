#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/auxv.h>
#include <sys/utsname.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "platform/host.h"
#include "platform/posix/host_parts.h"
#include "platform/system_calls_for_testing.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {
namespace {

std::string Write(const OperatingSystemVersion& version) {
  return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
         std::to_string(version.patch);
}

std::string Parse(const std::string& text) {
  const std::optional<OperatingSystemVersion> version = ParseVersion(text);
  return version ? Write(*version) : "none";
}

TEST(ParseVersion, ReadsTheNumbersAtTheStart) {
  const struct {
    const char* text;
    const char* version;
  } rows[] = {
      {"12", "12.0.0"},
      {"22.04", "22.4.0"},
      {"6.1.0-18-amd64", "6.1.0"},
      {"10.15.7", "10.15.7"},
      {"1.2.3.4", "1.2.3"},
      {"6.18-rc3", "6.18.0"},
      {"12.", "12.0.0"},
      {"12.x.3", "12.0.0"},
      {"12..3", "12.0.0"},
      {"12.-3", "12.0.0"},
      {"12 (bookworm)", "12.0.0"},
      {"3.5.0_alpha20240807", "3.5.0"},
      {"20240807", "20240807.0.0"},
      {"007", "7.0.0"},
      {"0", "0.0.0"},
      {"9223372036854775807", "9223372036854775807.0.0"},
      {"1.2.9223372036854775807", "1.2.9223372036854775807"},
      {"1.2.3.9223372036854775808", "1.2.3"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(Parse(row.text), row.version);
  }
}

TEST(ParseVersion, HasNoValueWithoutANumberThatFits) {
  for (const char* text : {"", "x", ".1", "-1", "+1", " 1", "v1", "rolling", "9223372036854775808",
                           "1.9223372036854775808", "1.2.99999999999999999999"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(Parse(text), "none");
  }
}

TEST(ParseVersion, StopsAtTheEndOfTheText) {
  EXPECT_EQ(ParseVersion(std::string_view("12345", 2))->major, 12);
  EXPECT_EQ(ParseVersion(std::string_view("1.2", 2))->minor, 0);
}

TEST(FindVersionId, FindsTheAssignment) {
  EXPECT_EQ(FindVersionId("PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n"
                          "NAME=\"Debian GNU/Linux\"\n"
                          "VERSION_ID=\"12\"\n"
                          "VERSION=\"12 (bookworm)\"\n"
                          "ID=debian\n"),
            "12");
}

TEST(FindVersionId, UndoesTheQuotes) {
  const struct {
    const char* line;
    const char* value;
  } rows[] = {
      {"VERSION_ID=12", "12"},
      {"VERSION_ID=\"12\"", "12"},
      {"VERSION_ID='12'", "12"},
      {"VERSION_ID=", ""},
      {"VERSION_ID=\"\"", ""},
      {"VERSION_ID=12 # comment", "12"},
      {"VERSION_ID=12\t", "12"},
      {"VERSION_ID=\"12 a\"", "12 a"},
      {"VERSION_ID='12 a'", "12 a"},
      {"VERSION_ID=\"a\\\"b\"", "a\"b"},
      {"VERSION_ID=\"a\\\\b\\$c\\`d\"", "a\\b$c`d"},
      {"VERSION_ID=\"a\\bc\"", "a\\bc"},
      {"VERSION_ID='a\\b\"c'", "a\\b\"c"},
      {"VERSION_ID=\"a'b\"", "a'b"},
      {"VERSION_ID=a\\ b\\'c", "a b'c"},
      {"VERSION_ID=\"12", "12"},
      {"VERSION_ID=12\\", "12\\"},
      {"VERSION_ID=\"12\\", "12\\"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(FindVersionId(row.line), row.value);
    EXPECT_EQ(FindVersionId(std::string(row.line) + "\nID=x\n"), row.value);
  }
}

TEST(FindVersionId, LetsTheLastAssignmentWin) {
  EXPECT_EQ(FindVersionId("VERSION_ID=11\nVERSION_ID=12\n"), "12");
}

TEST(FindVersionId, HasNoValueWithoutTheAssignment) {
  for (const char* text : {"", "\n", "VERSION=12\n", "#VERSION_ID=12\n", "# VERSION_ID=12\n",
                           "MY_VERSION_ID=12\n", "VERSION_ID 12\n", "VERSION_ID\n",
                           "VERSION_IDS=12\n", "version_id=12\n", "NAME=\"VERSION_ID=12\"\n"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(FindVersionId(text), std::nullopt);
  }
}

TEST(BundleOfExecutable, IsItsFolderLessMacOSAndTheOneAbove) {
  const struct {
    const char* executable;
    const char* bundle;
  } rows[] = {
      {"/X.app/Contents/MacOS/x", "/X.app"},
      {"/a/X.app/Contents/MacOS/x", "/a/X.app"},
      {"/a/b/MacOS/x", "/a"},
      {"/a/MacOS/x", "/"},
      {"/MacOS/x", "/"},
      {"/a/MacOS/b/x", "/a/MacOS/b"},
      {"/a/macos/x", "/a/macos"},
      {"/a/MacOS", "/a"},
      {"/a/MacOS/MacOS/x", "/a"},
      {"/bin/x", "/bin"},
      {"/x", "/"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.executable);
    EXPECT_EQ(BundleOfExecutable(row.executable), row.bundle);
  }
}

class SystemVersion : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  }

  void ExpectVersion(const std::string& expected) const {
    test::RunInRoot(root_.Path(), [&expected] {
      OperatingSystemVersion version;
      ASSERT_TRUE(PosixHostInfo().GetOperatingSystemVersion(&version));
      EXPECT_EQ(Write(version), expected);
    });
  }

  // The kernel's own, read in another way.
  static std::string KernelVersion() {
    utsname names{};
    EXPECT_EQ(uname(&names), 0);
    long numbers[3] = {0, 0, 0};
    (void)std::sscanf(names.release, "%ld.%ld.%ld", &numbers[0], &numbers[1], &numbers[2]);
    return Write({numbers[0], numbers[1], numbers[2]});
  }

  test::ScopedTempDir root_;
};

TEST_F(SystemVersion, IsThatOfTheDistribution) {
  test::PutFile(root_.Join("etc/os-release"), "ID=x\nVERSION_ID=\"22.04\"\n");
  test::PutFile(root_.Join("usr/lib/os-release"), "VERSION_ID=1\n");
  ExpectVersion("22.4.0");
}

TEST_F(SystemVersion, IsReadThroughTheUsualLink) {
  test::PutFile(root_.Join("usr/lib/os-release"), "VERSION_ID=12\n");
  test::MakeDirs(root_.Join("etc"));
  test::MakeLink(root_.Join("etc/os-release"), "../usr/lib/os-release");
  ExpectVersion("12.0.0");
}

TEST_F(SystemVersion, IsReadFromTheVendorsFileWhereThereIsNoOther) {
  test::PutFile(root_.Join("usr/lib/os-release"), "VERSION_ID=12\n");
  ExpectVersion("12.0.0");
}

TEST_F(SystemVersion, IsReadFromTheVendorsFileWhereTheOtherIsNoFile) {
  test::MakeDirs(root_.Join("etc"));
  test::MakeFifo(root_.Join("etc/os-release"));
  test::PutFile(root_.Join("usr/lib/os-release"), "VERSION_ID=12\n");
  ExpectVersion("12.0.0");
}

TEST_F(SystemVersion, IsTheKernelsWithoutAnyFile) { ExpectVersion(KernelVersion()); }

TEST_F(SystemVersion, IsTheKernelsWhereTheDistributionHasNone) {
  test::PutFile(root_.Join("etc/os-release"), "ID=x\n");
  test::PutFile(root_.Join("usr/lib/os-release"), "VERSION_ID=12\n");
  ExpectVersion(KernelVersion());
}

TEST_F(SystemVersion, IsTheKernelsWhereTheDistributionsIsNoNumber) {
  test::PutFile(root_.Join("etc/os-release"), "VERSION_ID=rolling\n");
  ExpectVersion(KernelVersion());
}

TEST_F(SystemVersion, IsUnknownWhereTheKernelDoesNotTellEither) {
  test::RunInRoot(root_.Path(), [] {
    ScopedSystemCalls calls;
    calls->uname = [](utsname*) {
      errno = EFAULT;
      return -1;
    };
    OperatingSystemVersion version = {.major = 1, .minor = 2, .patch = 3};
    EXPECT_FALSE(PosixHostInfo().GetOperatingSystemVersion(&version));
    EXPECT_EQ(Write(version), "1.2.3");
  });
}

TEST_F(SystemVersion, IsUnknownWhereTheKernelsIsNoNumber) {
  test::RunInRoot(root_.Path(), [] {
    ScopedSystemCalls calls;
    calls->uname = [](utsname* names) {
      *names = {};
      return 0;
    };
    OperatingSystemVersion version = {.major = 1, .minor = 2, .patch = 3};
    EXPECT_FALSE(PosixHostInfo().GetOperatingSystemVersion(&version));
    EXPECT_EQ(Write(version), "1.2.3");
  });
}

TEST_F(SystemVersion, IsReadFromFilesOfUpTo64KiB) {
  std::string text = "VERSION_ID=12\n";
  text += "#" + std::string(65536 - text.size() - 2, 'x') + "\n";
  ASSERT_EQ(text.size(), 65536U);
  test::PutFile(root_.Join("etc/os-release"), text);
  ExpectVersion("12.0.0");
  test::PutFile(root_.Join("etc/os-release"), text + "\n");
  ExpectVersion(KernelVersion());
}

TEST(HasMacOSVersionNumbers, IsFalse) { EXPECT_FALSE(PosixHostInfo().HasMacOSVersionNumbers()); }

// Of the four variables only `name` is set.
void SetOnly(const std::string& name, const std::string& value) {
  for (const char* const variable : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (name == variable) {
      ASSERT_EQ(setenv(variable, value.c_str(), /*replace=*/1), 0);
    } else {
      ASSERT_EQ(unsetenv(variable), 0);
    }
  }
}

TEST(LocaleOfTheEnvironment, IsReadAtEachCall) {
  test::RunInChild([] {
    for (const std::string name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
      for (const std::string value : {"de_AT", "fr_CH"}) {
        SCOPED_TRACE(name + "=" + value);
        SetOnly(name, value + ".UTF-8");
        EXPECT_EQ(PosixHostInfo().CurrentLocaleIdentifier(), value);
        EXPECT_EQ(PosixHostInfo().PreferredLanguages(),
                  std::vector<std::string>{value.substr(0, 2) + "-" + value.substr(3)});
      }
    }
  });
}

TEST(LocaleOfTheEnvironment, HasAListOfLanguages) {
  test::RunInChild([] {
    SetOnly("LANG", "de_AT.UTF-8");
    ASSERT_EQ(setenv("LANGUAGE", "sr_RS@latin:en_GB", /*replace=*/1), 0);
    EXPECT_EQ(PosixHostInfo().PreferredLanguages(),
              (std::vector<std::string>{"sr-Latn-RS", "en-GB"}));
    EXPECT_EQ(PosixHostInfo().CurrentLocaleIdentifier(), "de_AT");
  });
}

TEST(LocaleOfTheEnvironment, MayBeEmpty) {
  test::RunInChild([] {
    SetOnly("", "");
    EXPECT_EQ(PosixHostInfo().PreferredLanguages(), std::vector<std::string>());
    EXPECT_EQ(PosixHostInfo().CurrentLocaleIdentifier(), "");
  });
}

TEST(GetExecutablePath, IsTheRunningFile) {
  std::error_code error;
  const std::string expected = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) GTEST_SKIP() << "/proc is not mounted: " << error.message();
  std::string path;
  ASSERT_TRUE(PosixHostInfo().GetExecutablePath(&path));
  EXPECT_EQ(path, expected);
}

// The test above once more, in a copy of this program far down.
TEST(GetExecutablePath, HasAnyLength) {
  std::error_code error;
  const std::string program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) GTEST_SKIP() << "/proc is not mounted: " << error.message();
  const test::ScopedTempDir temp;
  const std::string folder =
      temp.Join(std::string(200, 'a') + "/" + std::string(200, 'b') + "/" + std::string(200, 'c'));
  test::MakeDirs(folder);
  std::filesystem::copy_file(program, folder + "/copy");

  const std::string command =
      "'" + folder + "/copy' --gtest_filter=GetExecutablePath.IsTheRunningFile 2>&1";
  std::FILE* const output = popen(command.c_str(), "r");
  ASSERT_NE(output, nullptr);
  std::string text;
  for (int c = std::fgetc(output); c != EOF; c = std::fgetc(output)) text += static_cast<char>(c);
  EXPECT_EQ(pclose(output), 0);
  EXPECT_NE(text.find("[  PASSED  ] 1 test."), std::string::npos) << text;
}

// The path that this program was started by, put into another root.
class WithoutProc : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  }

  static std::string StartedPath() {
    return std::filesystem::absolute(std::bit_cast<const char*>(getauxval(AT_EXECFN)));
  }

  test::ScopedTempDir root_;
};

TEST_F(WithoutProc, TheExecutableIsTheStartedFile) {
  test::RunInRoot(root_.Path(), [] {
    // A relative path counts from the working folder, which is "/" here.
    const std::string started = StartedPath();
    test::PutFile(started, "");
    std::string path;
    ASSERT_TRUE(PosixHostInfo().GetExecutablePath(&path));
    EXPECT_EQ(path, std::filesystem::canonical(started));
    std::string bundle;
    ASSERT_TRUE(PosixHostInfo().GetBundlePath(&bundle));
    EXPECT_EQ(bundle, BundleOfExecutable(path));
  });
}

TEST_F(WithoutProc, TheExecutableIsWhatTheStartedLinkLeadsTo) {
  test::PutFile(root_.Join("X.app/Contents/MacOS/x"), "");
  test::RunInRoot(root_.Path(), [] {
    const std::string started = StartedPath();
    test::MakeDirs(started.substr(0, started.rfind('/')));
    test::MakeLink(started, "/X.app/Contents/MacOS/x");
    std::string path;
    ASSERT_TRUE(PosixHostInfo().GetExecutablePath(&path));
    EXPECT_EQ(path, "/X.app/Contents/MacOS/x");
    std::string bundle;
    ASSERT_TRUE(PosixHostInfo().GetBundlePath(&bundle));
    EXPECT_EQ(bundle, "/X.app");
  });
}

TEST_F(WithoutProc, AnExecutableThatIsGoneIsUnknown) {
  test::RunInRoot(root_.Path(), [] {
    std::string path = "before";
    EXPECT_FALSE(PosixHostInfo().GetExecutablePath(&path));
    EXPECT_FALSE(PosixHostInfo().GetBundlePath(&path));
    EXPECT_EQ(path, "before");
  });
}

}  // namespace
}  // namespace platform
