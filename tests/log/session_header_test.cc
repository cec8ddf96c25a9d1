#include "log/session_header.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <sys/utsname.h>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"

namespace {

using dunmar::HeaderBlock;

const char kAsterisks[] =
    "******************************************************************************";

int AnswerMachine(struct utsname* names, const char* machine) {
  std::memcpy(names->machine, machine, std::strlen(machine) + 1);
  return 0;
}

int FailingUname(struct utsname* /*names*/) {
  errno = EFAULT;
  return -1;
}

// A machine with an applications folder of its own.
struct Machine {
  test::ScopedTempDir applications;
  test::FakeHost host;
  platform::ScopedSystemCalls calls;

  Machine() {
    host.directories.folders = {{{2, 1}, applications.Path()}};
    host.info.version = {.major = 14, .minor = 5, .patch = 0};
    host.info.languages = {"en-GB"};
    calls->uname = [](struct utsname* names) { return AnswerMachine(names, "x86_64"); };
  }

  void InstallProduct(const std::string& entries) const {
    test::PutFile(
        applications.Join("Utilities/Velmora Caldris/Ixer/Caldris.app/Contents/Info.plist"),
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<plist version=\"1.0\"><dict>" +
            entries + "</dict></plist>\n");
  }
};

HeaderBlock Prepare() {
  HeaderBlock header;
  dunmar::PrepareSessionHeader(header);
  return header;
}

TEST(PrepareSessionHeader, DescribesMachineAndProduct) {
  const Machine machine;
  machine.InstallProduct("<key>CFBundleShortVersionString</key><string>6.7.0</string>");
  const HeaderBlock header = Prepare();
  EXPECT_EQ(header.topLine, std::string(78, '*'));
  EXPECT_EQ(header.bottomLine, std::string(78, '*'));
  EXPECT_EQ(header.entries, (std::map<std::string, std::string>{{"Ixer Version: ", "6.7.0"},
                                                                {"OS Name: ", "Mac OS 14.5.0"},
                                                                {"OS Version: ", "14.5.0"},
                                                                {"OS Locale: ", "en_GB"},
                                                                {"Bit: ", "64"}}));
  EXPECT_FALSE(header.mergeIntoStored);
}

TEST(PrepareSessionHeader, GivesSevenLinesWithTheProduct) {
  const Machine machine;
  machine.InstallProduct("<key>CFBundleShortVersionString</key><string>6.7.0</string>");
  EXPECT_EQ(
      dunmar::HeaderLines(Prepare()),
      (std::vector<std::string>{kAsterisks, "Bit: 64", "Ixer Version: 6.7.0", "OS Locale: en_GB",
                                "OS Name: Mac OS 14.5.0", "OS Version: 14.5.0", kAsterisks}));
}

TEST(PrepareSessionHeader, GivesSixLinesWithoutTheProduct) {
  const Machine machine;
  EXPECT_EQ(dunmar::HeaderLines(Prepare()),
            (std::vector<std::string>{kAsterisks, "Bit: 64", "OS Locale: en_GB",
                                      "OS Name: Mac OS 14.5.0", "OS Version: 14.5.0", kAsterisks}));
}

TEST(PrepareSessionHeader, LeavesOutTheVersionOfAProductWithoutOne) {
  const Machine machine;
  machine.InstallProduct("<key>CFBundleVersion</key><string>1</string>");
  EXPECT_EQ(Prepare().entries.count("Ixer Version: "), 0U);
}

TEST(PrepareSessionHeader, LeavesOutTheVersionWithoutAnApplicationsFolder) {
  Machine machine;
  machine.host.directories.folders.clear();
  EXPECT_EQ(Prepare().entries.count("Ixer Version: "), 0U);
}

TEST(PrepareSessionHeader, HasZerosWhereTheSystemDoesNotTell) {
  Machine machine;
  machine.host.info.version.reset();
  machine.calls->uname = FailingUname;
  EXPECT_EQ(dunmar::HeaderLines(Prepare()),
            (std::vector<std::string>{kAsterisks, "Bit: 0", "OS Locale: en_GB",
                                      "OS Name: Mac OS 0.0.0", "OS Version: 0.0.0", kAsterisks}));
}

TEST(PrepareSessionHeader, HasTheLocaleThatStandsInForNone) {
  Machine machine;
  machine.host.info.languages.clear();
  EXPECT_EQ(Prepare().entries["OS Locale: "], "en_US");
}

HeaderBlock Block(const std::string& top, const std::map<std::string, std::string>& entries,
                  const std::string& bottom, bool mergeIntoStored) {
  return {
      .topLine = top, .entries = entries, .bottomLine = bottom, .mergeIntoStored = mergeIntoStored};
}

HeaderBlock Stored() {
  return Block("top", {{"OS Locale: ", "en_US"}, {"Bit: ", "64"}}, "bottom",
               /*mergeIntoStored=*/false);
}

const std::vector<std::string> kStoredLines = {"top", "Bit: 64", "OS Locale: en_US", "bottom"};

TEST(ChooseHeader, TakesTheStoredBlockForNull) {
  HeaderBlock stored = Stored();
  EXPECT_EQ(dunmar::HeaderLines(dunmar::ChooseHeader(stored, nullptr)), kStoredLines);
  EXPECT_EQ(dunmar::HeaderLines(stored), kStoredLines);
}

TEST(ChooseHeader, TakesTheGivenBlockAndLeavesTheStoredOneAlone) {
  HeaderBlock stored = Stored();
  const HeaderBlock block = Block("", {{"Key: ", "value"}}, "end", /*mergeIntoStored=*/false);
  EXPECT_EQ(dunmar::HeaderLines(dunmar::ChooseHeader(stored, &block)),
            (std::vector<std::string>{"Key: value", "end"}));
  EXPECT_EQ(dunmar::HeaderLines(stored), kStoredLines);
}

TEST(ChooseHeader, MergesAnEntryIntoTheStoredBlockForGood) {
  HeaderBlock stored = Stored();
  const HeaderBlock block = Block("", {{"OS Locale: ", "de_DE"}}, "", /*mergeIntoStored=*/true);
  const std::vector<std::string> expected = {"top", "Bit: 64", "OS Locale: de_DE", "bottom"};
  EXPECT_EQ(dunmar::HeaderLines(dunmar::ChooseHeader(stored, &block)), expected);
  EXPECT_EQ(dunmar::HeaderLines(dunmar::ChooseHeader(stored, nullptr)), expected);
}

TEST(ChooseHeader, MergesNewKeysAndLines) {
  HeaderBlock stored = Stored();
  const HeaderBlock block =
      Block("TOP", {{"Bit: ", ""}, {"A: ", "new"}}, "BOTTOM", /*mergeIntoStored=*/true);
  const std::vector<std::string> expected = {"TOP", "A: new", "Bit: ", "OS Locale: en_US",
                                             "BOTTOM"};
  EXPECT_EQ(dunmar::HeaderLines(dunmar::ChooseHeader(stored, &block)), expected);
  EXPECT_EQ(dunmar::HeaderLines(stored), expected);
}

TEST(ChooseHeader, MergesTopAndBottomLineEachByItself) {
  HeaderBlock stored = Stored();
  const HeaderBlock top = Block("TOP", {}, "", /*mergeIntoStored=*/true);
  EXPECT_EQ(dunmar::HeaderLines(dunmar::ChooseHeader(stored, &top)),
            (std::vector<std::string>{"TOP", "Bit: 64", "OS Locale: en_US", "bottom"}));
  const HeaderBlock bottom = Block("", {}, "BOTTOM", /*mergeIntoStored=*/true);
  EXPECT_EQ(dunmar::HeaderLines(dunmar::ChooseHeader(stored, &bottom)),
            (std::vector<std::string>{"TOP", "Bit: 64", "OS Locale: en_US", "BOTTOM"}));
}

TEST(HeaderLines, OrdersEntriesByTheBytesOfTheirKeys) {
  EXPECT_EQ(dunmar::HeaderLines(
                Block("", {{"b", "1"}, {"B", "2"}, {"\xC3\x84", "3"}, {"a", "4"}, {"", "5"}}, "",
                      /*mergeIntoStored=*/false)),
            (std::vector<std::string>{"5", "B2", "a4", "b1",
                                      "\xC3\x84"
                                      "3"}));
}

TEST(HeaderLines, LeavesOutAnEmptyTopAndBottomLine) {
  EXPECT_EQ(dunmar::HeaderLines(HeaderBlock()), std::vector<std::string>());
  EXPECT_EQ(dunmar::HeaderLines(Block("t", {}, "", /*mergeIntoStored=*/false)),
            std::vector<std::string>{"t"});
  EXPECT_EQ(dunmar::HeaderLines(Block("", {}, "b", /*mergeIntoStored=*/false)),
            std::vector<std::string>{"b"});
}

TEST(QueryOSVersion, FillsInTheThreeNumbers) {
  test::FakeHost host;
  host.info.version = {.major = 14, .minor = 5, .patch = 1};
  std::int64_t major = 99;
  std::int64_t minor = 99;
  std::int64_t patch = 99;
  EXPECT_TRUE(dunmar::QueryOSVersion(major, minor, patch));
  EXPECT_EQ(major, 14);
  EXPECT_EQ(minor, 5);
  EXPECT_EQ(patch, 1);
}

TEST(QueryOSVersion, StoresNothingWhereTheSystemDoesNotTell) {
  const test::FakeHost host;
  std::int64_t major = 99;
  std::int64_t minor = 98;
  std::int64_t patch = 97;
  EXPECT_FALSE(dunmar::QueryOSVersion(major, minor, patch));
  EXPECT_EQ(major, 99);
  EXPECT_EQ(minor, 98);
  EXPECT_EQ(patch, 97);
}

TEST(GetProcessorBits, Is32OnlyForI386) {
  const struct {
    int (*uname)(struct utsname* names);
    int bits;
  } rows[] = {
      {[](struct utsname* names) { return AnswerMachine(names, "i386"); }, 32},
      {[](struct utsname* names) { return AnswerMachine(names, "x86_64"); }, 64},
      {[](struct utsname* names) { return AnswerMachine(names, "arm64"); }, 64},
      {[](struct utsname* names) { return AnswerMachine(names, "i686"); }, 64},
      {[](struct utsname* names) { return AnswerMachine(names, "i386x"); }, 64},
      {[](struct utsname* names) { return AnswerMachine(names, "i38"); }, 64},
      {[](struct utsname* names) { return AnswerMachine(names, ""); }, 64},
  };
  for (const auto& row : rows) {
    platform::ScopedSystemCalls calls;
    calls->uname = row.uname;
    int bits = 0;
    EXPECT_TRUE(dunmar::GetProcessorBits(bits));
    EXPECT_EQ(bits, row.bits);
  }
}

TEST(GetProcessorBits, StoresNothingWhereUnameFails) {
  platform::ScopedSystemCalls calls;
  calls->uname = FailingUname;
  int bits = 99;
  EXPECT_FALSE(dunmar::GetProcessorBits(bits));
  EXPECT_EQ(bits, 99);
}

}  // namespace
