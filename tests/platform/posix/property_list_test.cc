#include "platform/property_list.h"

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

std::optional<std::string> Read(const std::string& content) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("list"), content);
  std::string value;
  if (!ReadPropertyListString(dir.Join("list"), "K", &value)) return std::nullopt;
  return value;
}

TEST(ReadPropertyListString, FindsNoTextThatIsNoUtf8) {
  EXPECT_EQ(Read("<dict><key>K</key><string>Caf\xC3\xA9</string></dict>"), "Caf\xC3\xA9");
  EXPECT_EQ(Read("<dict><key>K</key><string>Caf\xE9</string></dict>"), std::nullopt);
  const std::string begin = "bplist00\xD1\x01\x02QK"s;
  const std::string end =
      "\x08\x0B\x0D\x00\x00\x00\x00\x00\x00\x01\x01"
      "\x00\x00\x00\x00\x00\x00\x00\x03"
      "\x00\x00\x00\x00\x00\x00\x00\x00"
      "\x00\x00\x00\x00\x00\x00\x00\x0F"s;
  EXPECT_EQ(Read(begin + "Qv" + end), "v");
  EXPECT_EQ(Read(begin + "Q\xE9" + end), std::nullopt);
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
