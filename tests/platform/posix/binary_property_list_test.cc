#include "platform/posix/binary_property_list.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

using namespace std::string_literals;

namespace platform {
namespace {

std::string BigEndian(std::uint64_t number, std::size_t width) {
  std::string bytes(width, '\0');
  for (std::size_t i = width; i > 0; --i, number >>= 8) {
    bytes[i - 1] = static_cast<char>(number & 0xFF);
  }
  return bytes;
}

// What is spelled in a list besides its objects.
struct Layout {
  std::size_t offsetWidth = 2;
  std::size_t referenceWidth = 1;
  std::uint64_t root = 0;
  std::optional<std::uint64_t> objectCount = std::nullopt;  // else the right one
  std::optional<std::uint64_t> table = std::nullopt;        // else the right offset
};

std::string List(const std::vector<std::string>& objects, const Layout& layout = {}) {
  std::string list = "bplist00";
  std::string offsets;
  for (const std::string& object : objects) {
    offsets += BigEndian(list.size(), layout.offsetWidth);
    list += object;
  }
  const std::uint64_t table = list.size();
  return list + offsets + std::string(6, '\0') + BigEndian(layout.offsetWidth, 1) +
         BigEndian(layout.referenceWidth, 1) +
         BigEndian(layout.objectCount.value_or(objects.size()), 8) + BigEndian(layout.root, 8) +
         BigEndian(layout.table.value_or(table), 8);
}

std::optional<std::string> Find(const std::string& list, const std::string& key = "K") {
  return FindStringInBinaryPropertyList(list, key);
}

TEST(IsBinaryPropertyList, GoesByTheFirstBytes) {
  EXPECT_TRUE(IsBinaryPropertyList("bplist00"));
  EXPECT_TRUE(IsBinaryPropertyList(List({"\xD0"})));
  EXPECT_FALSE(IsBinaryPropertyList("bplist0"));
  EXPECT_FALSE(IsBinaryPropertyList("bplist15\xD0"));
  EXPECT_FALSE(IsBinaryPropertyList("<plist/>"));
  EXPECT_FALSE(IsBinaryPropertyList(""));
}

TEST(FindStringInBinaryPropertyList, FindsTheStringUnderAKey) {
  const std::string list = List({"\xD2\x01\x02\x03\x04", "QJ", "QK", "Qj", "Qk"});
  EXPECT_EQ(Find(list, "J"), "j");
  EXPECT_EQ(Find(list, "K"), "k");
  EXPECT_EQ(Find(list, "L"), std::nullopt);
  EXPECT_EQ(Find(list, ""), std::nullopt);
  EXPECT_EQ(Find(list, "KK"), std::nullopt);
}

TEST(FindStringInBinaryPropertyList, TakesNumbersOfEveryWidth) {
  for (const std::size_t offsetWidth : {1U, 2U, 3U, 4U, 5U, 8U}) {
    for (const std::size_t referenceWidth : {1U, 2U, 3U, 7U, 8U}) {
      SCOPED_TRACE(std::to_string(offsetWidth) + "/" + std::to_string(referenceWidth));
      const std::string list =
          List({"QK", "\xD1" + BigEndian(0, referenceWidth) + BigEndian(2, referenceWidth), "Qk"},
               {.offsetWidth = offsetWidth, .referenceWidth = referenceWidth, .root = 1});
      EXPECT_EQ(Find(list), "k");
    }
  }
}

TEST(FindStringInBinaryPropertyList, TakesCountsOfEveryWidth) {
  const std::string text(20, 't');
  const std::string objects[] = {"_\x10\x14"s, "_\x11\x00\x14"s, "_\x12\x00\x00\x00\x14"s,
                                 "_\x13\x00\x00\x00\x00\x00\x00\x00\x14"s};
  for (const std::string& object : objects) {
    SCOPED_TRACE(object.size());
    EXPECT_EQ(Find(List({"\xD1\x01\x02", "QK", object + text})), text);
  }
  // A short count may be written long.
  EXPECT_EQ(Find(List({"\xDF\x10\x01\x01\x02", "_\x10\x01K", "_\x10\x01k"})), "k");
}

TEST(FindStringInBinaryPropertyList, MakesUtf8OfUtf16) {
  struct Row {
    const char* name;
    std::string object;
    std::optional<std::string> text;
  };
  const Row rows[] = {
      {"empty", "\x60", ""},
      {"one byte", "\x62\x00\x41\x00\x7F"s, "A\x7F"},
      {"two bytes", "\x62\x00\x80\x07\xFF"s, "\xC2\x80\xDF\xBF"},
      {"three bytes", "\x63\x08\x00\x20\xAC\xFF\xFF"s, "\xE0\xA0\x80\xE2\x82\xAC\xEF\xBF\xBF"},
      {"around the surrogates", "\x62\xD7\xFF\xE0\x00"s, "\xED\x9F\xBF\xEE\x80\x80"},
      {"four bytes", "\x64\xD8\x00\xDC\x00\xDB\xFF\xDF\xFF"s, "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
      {"a high surrogate alone", "\x62\xD8\x00\x00\x41"s, std::nullopt},
      {"a high surrogate at the end", "\x61\xD8\x00"s, std::nullopt},
      {"two high surrogates", "\x63\xD8\x00\xD8\x00\xDC\x00"s, std::nullopt},
      {"a low surrogate alone", "\x61\xDC\x00"s, std::nullopt},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Find(List({"\xD1\x01\x02", "QK", row.object})), row.text);
  }
}

TEST(FindStringInBinaryPropertyList, FindsAKeyInUtf16) {
  const std::string list = List({"\xD1\x01\x02", "\x64\x00\x43\x00\x61\x00\x66\x00\xE9"s, "Qk"});
  EXPECT_EQ(Find(list, "Café"), "k");
  EXPECT_EQ(Find(list, "Cafe"), std::nullopt);
}

TEST(FindStringInBinaryPropertyList, FailsAtAValueThatIsNoString) {
  struct Row {
    const char* name;
    std::string object;
  };
  const Row rows[] = {
      {"null", "\x00"s},
      {"false", "\x08"},
      {"true", "\x09"},
      {"number", "\x10\x07"},
      {"real", "\x22\x3F\x80\x00\x00"s},
      {"date", "\x33"s + std::string(8, '\0')},
      {"data", "\x41k"},
      {"UID", "\x80\x01"},
      {"array", "\xA1\x01"},
      {"set", "\xC1\x01"},
      {"dictionary", "\xD0"},
      {"an unknown kind", "\xF1k"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Find(List({"\xD1\x01\x02", "QK", row.object})), std::nullopt);
  }
}

TEST(FindStringInBinaryPropertyList, FailsWithoutADictionaryAtTheRoot) {
  EXPECT_EQ(Find(List({"QK"})), std::nullopt);
  EXPECT_EQ(Find(List({"\xA1\x01\x02", "QK", "Qk"})), std::nullopt);
  EXPECT_EQ(Find(List({"\xD0"})), std::nullopt);
}

TEST(FindStringInBinaryPropertyList, PassesOverKeysThatAreNoStrings) {
  EXPECT_EQ(Find(List({"\xD3\x00\x01\x02\x04\x04\x03"s, "\x10\x07", "QK", "Qk", "Qj"})), "k");
}

TEST(FindStringInBinaryPropertyList, FailsAtAListThatIsCutOff) {
  const std::string list =
      List({"\xDF\x10\x02\x01\x02\x03\x04"s, "QJ", "QK", "_\x10\x01j", "\x61\x00k"s});
  ASSERT_EQ(Find(list), "k");
  for (std::size_t length = 0; length < list.size(); ++length) {
    SCOPED_TRACE(length);
    EXPECT_EQ(Find(list.substr(0, length)), std::nullopt);
  }
}

TEST(FindStringInBinaryPropertyList, FailsAtNumbersThatLeadOutOfTheList) {
  constexpr std::uint64_t kMost = ~std::uint64_t{0};
  const std::vector<std::string> objects = {"\xD1\x01\x02", "QK", "Qk"};
  struct Row {
    const char* name;
    std::string list;
  };
  const Row rows[] = {
      {"no objects", List({})},
      {"no objects declared", List(objects, {.objectCount = 0})},
      {"root behind the last object", List(objects, {.root = 3})},
      {"root far out", List(objects, {.root = kMost, .objectCount = kMost})},
      {"root whose offset would wrap around",
       List(objects, {.offsetWidth = 8, .root = std::uint64_t{1} << 61, .objectCount = kMost})},
      {"table behind the end", List(objects, {.table = 1000})},
      {"table far out", List(objects, {.table = kMost})},
      {"table in the trailer", List(objects, {.table = 22})},
      {"no offset width", List(objects, {.offsetWidth = 0})},
      {"offset width 9", List(objects, {.offsetWidth = 9})},
      {"offset width 255", List(objects, {.offsetWidth = 255})},
      {"no reference width", List({"\xD1", "QK", "Qk"}, {.referenceWidth = 0})},
      {"reference width 9", List(objects, {.referenceWidth = 9})},
      {"reference width 255", List(objects, {.referenceWidth = 255})},
      {"key behind the last object", List({"\xD1\x03\x02", "QK", "Qk"})},
      {"value behind the last object", List({"\xD1\x01\x03", "QK", "Qk"})},
      {"root in the table, behind the last object",
       List({"QK", "Qk", std::string("\xD1\0\x01", 3)}, {.root = 2, .objectCount = 2})},
      {"key in the table, behind the last object",
       List({"\xD1\x02\x01", "Qk", "QK"}, {.objectCount = 2})},
      {"value in the table, behind the last object", List(objects, {.objectCount = 2})},
      {"dictionary longer than the list", List({"\xDE\x01\x02", "QK", "Qk"})},
      {"dictionary of 2^63",
       List({"\xDF\x13\x80\x00\x00\x00\x00\x00\x00\x00\x01\x02"s, "QK", "Qk"})},
      {"dictionary of 2^64 - 1",
       List({"\xDF\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01\x02", "QK", "Qk"})},
      {"string longer than the list", List({"\xD1\x01\x02", "QK", "^k"})},
      {"string of 2^64 - 1",
       List({"\xD1\x01\x02", "QK", "_\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFFk"})},
      {"UTF-16 string longer than the list", List({"\xD1\x01\x02", "QK", "\x62\x00k\x00"s})},
      {"UTF-16 string of 2^63",
       List({"\xD1\x01\x02", "QK", "\x6F\x13\x80\x00\x00\x00\x00\x00\x00\x00\x00k"s})},
      {"count of 16 bytes",
       List({"\xD1\x01\x02", "QK", "_\x14"s + std::string(15, '\0') + "\x01k"})},
      {"count of 2^15 bytes", List({"\xD1\x01\x02", "QK", "_\x1F\x01k"})},
      {"count that is no number", List({"\xD1\x01\x02", "QK", "_\x20\x01k"})},
      {"count at the end of the objects", List({"\xD1\x01\x02", "QK", "_"})},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Find(row.list), std::nullopt);
  }
}

TEST(FindStringInBinaryPropertyList, FailsAtOffsetsThatLeadOutOfTheObjects) {
  std::string list = List({"\xD1\x01\x02", "QK", "Qk"}, {.offsetWidth = 8});
  ASSERT_EQ(Find(list), "k");
  const std::size_t valueOffset = list.size() - 32 - 8;
  for (const std::uint64_t offset : {15U, 200U}) {  // the table itself, behind everything
    list.replace(valueOffset, 8, BigEndian(offset, 8));
    EXPECT_EQ(Find(list), std::nullopt);
  }
  list.replace(valueOffset, 8, BigEndian(~std::uint64_t{0}, 8));
  EXPECT_EQ(Find(list), std::nullopt);
}

TEST(FindStringInBinaryPropertyList, ReadsBesideObjectsThatHoldThemselvesOrEachOtherManyTimes) {
  // Forty arrays, each twice the next: unfolded they would be a million million objects.
  std::vector<std::string> objects = {"\xD3\x01\x02\x03\x00\x05\x04"s, "QI", "QJ", "QK", "Qk"};
  for (int i = 0; i < 40; ++i) {
    const auto next = static_cast<char>(i < 39 ? objects.size() + 1 : 0);
    objects.push_back(std::string{'\xA2', next, next});
  }
  EXPECT_EQ(Find(List(objects)), "k");
}

TEST(FindStringInBinaryPropertyList, ReadsBesideAnyDepth) {
  std::vector<std::string> objects = {
      "\xD2" + BigEndian(1, 3) + BigEndian(2, 3) + BigEndian(4, 3) + BigEndian(3, 3), "QJ", "QK",
      "Qk"};
  for (std::size_t i = 0; i < 300'000; ++i) objects.push_back("\xA1" + BigEndian(5 + i, 3));
  objects.emplace_back("\xA0");
  EXPECT_EQ(Find(List(objects, {.offsetWidth = 3, .referenceWidth = 3})), "k");
}

TEST(FindStringInBinaryPropertyList, TakesNoTimeForALongKeyThatStandsInItMillionsOfTimes) {
  // Read for each of them, the key would be a million million bytes.
  constexpr std::size_t kCount = 1'000'000;
  const std::string list =
      List({"\xDF\x12" + BigEndian(kCount, 4) + std::string(2 * kCount, '\x01'),
            "_\x12" + BigEndian(kCount, 4) + std::string(kCount, 'K')},
           {.offsetWidth = 4});
  EXPECT_EQ(Find(list), std::nullopt);
}

}  // namespace
}  // namespace platform
