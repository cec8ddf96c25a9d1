#include "platform/posix/utf8.h"

#include <gtest/gtest.h>
#include <string>

using namespace std::string_literals;

namespace platform {
namespace {

TEST(AppendUtf8, TakesOneToFourBytes) {
  const struct {
    char32_t character;
    std::string bytes;
  } rows[] = {
      {0, "\0"s},
      {0x7F, "\x7F"},
      {0x80, "\xC2\x80"},
      {0x7FF, "\xDF\xBF"},
      {0x800, "\xE0\xA0\x80"},
      {0xFFFF, "\xEF\xBF\xBF"},
      {0x10000, "\xF0\x90\x80\x80"},
      {0x10FFFF, "\xF4\x8F\xBF\xBF"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(static_cast<unsigned long>(row.character));
    std::string text = "a";
    AppendUtf8(row.character, &text);
    EXPECT_EQ(text, "a" + row.bytes);
    EXPECT_TRUE(IsUtf8(text));
  }
}

TEST(IsUtf8, TakesWholeCharactersInTheirShortestForm) {
  const struct {
    std::string bytes;
    bool isUtf8;
  } rows[] = {
      {"", true},
      {"abc", true},
      {"a\0b"s, true},
      {"Café 😎", true},
      {"\x80", false},
      {"\xBF", false},
      {"a\xC2", false},
      {"\xC2 ", false},
      {"\xC2\xC2", false},
      {"\xC0\x80", false},
      {"\xC1\xBF", false},
      {"\xC2\x80", true},
      {"\xE0\xA0", false},
      {"\xE0\xA0 ", false},
      {"\xE0\xA0\xC0", false},
      {"\xE0\x9F\xBF", false},
      {"\xE0\xA0\x80", true},
      {"\xED\x9F\xBF", true},
      {"\xED\xA0\x80", false},
      {"\xEE\x80\x80", true},
      {"\xF0\x8F\xBF\xBF", false},
      {"\xF0\x90\x80\x80", true},
      {"\xF0\x90\x80", false},
      {"\xF0\x90\x80 ", false},
      {"\xF4\x8F\xBF\xBF", true},
      {"\xF4\x90\x80\x80", false},
      {"\xF5\x80\x80\x80", false},
      {"\xFF", false},
      {"abc\xE9", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.bytes));
    EXPECT_EQ(IsUtf8(row.bytes), row.isUtf8);
  }
}

}  // namespace
}  // namespace platform
