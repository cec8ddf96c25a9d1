#include "platform/property_list.h"

#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <unistd.h>

#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

using namespace std::string_literals;

namespace platform {
namespace {

constexpr char kList[] = "<dict><key>K</key><string>v</string></dict>";

std::optional<std::string> Read(const std::string& content) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("list"), content);
  std::string value;
  if (!ReadPropertyListString(dir.Join("list"), "K", &value)) return std::nullopt;
  return value;
}

std::string Repeat(const std::string& text, std::size_t times) {
  std::string repeated;
  while (times-- > 0) repeated += text;
  return repeated;
}

TEST(ReadPropertyListString, FailsAtAnythingButAFileWithoutWaiting) {
  const test::ScopedTempDir dir;
  test::MakeFifo(dir.Join("fifo"));
  std::string value;
  EXPECT_FALSE(ReadPropertyListString(dir.Join("fifo"), "K", &value));
}

TEST(ReadPropertyListString, FailsBehindALinkToSomebodyElsesFile) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), kList);
  test::MakeLink(dir.Join("link"), "file");
  test::SetOwner(dir.Join("link"), 501, 501);
  std::string value;
  EXPECT_FALSE(ReadPropertyListString(dir.Join("link"), "K", &value));
  test::SetOwner(dir.Join("file"), 501, 501);
  EXPECT_TRUE(ReadPropertyListString(dir.Join("link"), "K", &value));
}

TEST(ReadPropertyListString, TakesAFileOf16MebibytesAndNoLarger) {
  std::string content = kList;
  content.resize(16'777'216, ' ');
  EXPECT_EQ(Read(content), "v");
  EXPECT_EQ(Read(content + " "), std::nullopt);
}

TEST(ReadPropertyListString, TakesAnXmlListOf32768TagsAndNoMore) {
  const std::string begin = "<plist><dict><key>K</key><string>v</string><key>A</key><array>";
  const std::string end = "</array></dict></plist>";
  EXPECT_EQ(Read(begin + Repeat("<true/>", 32'756) + end), "v");
  EXPECT_EQ(Read(begin + Repeat("<true/>", 32'757) + end), std::nullopt);
}

TEST(ReadPropertyListString, TakesADeepListAndRefusesABottomlessOne) {
  const std::string begin = "<dict><key>K</key><string>v</string><key>A</key>";
  const auto nested = [&begin](std::size_t depth) {
    return begin + Repeat("<array>", depth) + Repeat("</array>", depth) + "</dict>";
  };
  EXPECT_EQ(Read(nested(16'000)), "v");
  EXPECT_EQ(Read(nested(1'000'000)), std::nullopt);
  EXPECT_EQ(Read(Repeat("<array>", 32'768)), std::nullopt);
  EXPECT_EQ(Read(Repeat("<dict><key>K</key>", 10'000)), std::nullopt);
}

TEST(ReadPropertyListString, TakesDictionariesOfManyKeysAndKeysThatComeAgain) {
  std::string content = "<dict>";
  for (int i = 0; i < 2000; ++i) content += "<key>" + std::to_string(i) + "</key><true/>";
  content += "<key>K</key><string>first</string>";
  for (int i = 0; i < 2000; ++i) content += "<key>" + std::to_string(i) + "</key><false/>";
  content += "<key>K</key><string>second</string></dict>";
  EXPECT_EQ(Read(content), "second");
}

TEST(ReadPropertyListString, SurvivesANulByteInAString) {
  const std::optional<std::string> value = Read("<dict><key>K</key><string>a\0b</string></dict>"s);
  EXPECT_TRUE(value.has_value());
}

TEST(ReadPropertyListString, PrintsNothingAtABrokenList) {
  const test::ScopedTempDir dir;
  test::RunInChild([&dir] {
    const int out = open(dir.Join("printed").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_NE(out, -1);
    fflush(stdout);
    const int savedOut = dup(1);
    const int savedError = dup(2);
    ASSERT_EQ(dup2(out, 1), 1);
    ASSERT_EQ(dup2(out, 2), 2);
    for (const std::string& content :
         {"<dict><key>K</key><text/></dict>"s, "<dict><string>v</string></dict>"s, "<dict"s,
          "<plist><dict></array></plist>"s, "<date>never</date>"s, "words"s, "bplist00"s,
          "bplist00\xD1\x00\x00"s + std::string(40, '\xFF')}) {
      test::PutFile(dir.Join("list"), content);
      std::string value;
      (void)ReadPropertyListString(dir.Join("list"), "K", &value);
    }
    fflush(stdout);
    dup2(savedOut, 1);
    dup2(savedError, 2);
  });
  EXPECT_EQ(test::GetFile(dir.Join("printed")), "");
}

}  // namespace
}  // namespace platform
