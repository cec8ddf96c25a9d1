#include "platform/posix/xml_property_list.h"

#include <bit>
#include <cstddef>
#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>
#include <pugixml.hpp>
#include <string>

using namespace std::string_literals;

namespace platform {
namespace {

std::optional<std::string> Find(const std::string& list) {
  return FindStringInXmlPropertyList(list, "K");
}

// A list with this under the key, or in place of key and value.
std::string ListOf(const std::string& value) {
  return "<plist><dict><key>K</key>" + value + "</dict></plist>";
}

std::string Repeat(const std::string& text, std::size_t times) {
  std::string repeated;
  while (times-- > 0) repeated += text;
  return repeated;
}

// ASCII text in UTF-16.
std::string Utf16(const std::string& text, std::endian order) {
  std::string bytes;
  for (const char c : text)
    bytes += order == std::endian::big ? std::string{'\0', c} : std::string{c, '\0'};
  return bytes;
}

TEST(FindStringInXmlPropertyList, ReadsTheTextOfAString) {
  const struct {
    const char* name;
    std::string value;
    std::optional<std::string> text;
  } rows[] = {
      {"empty", "<string/>", ""},
      {"a pair of tags", "<string></string>", ""},
      {"white space alone", "<string> \t</string>", " \t"},
      {"white space around", "<string> a  b </string>", " a  b "},
      {"line ends", "<string>a\r\nb\rc\nd</string>", "a\nb\nc\nd"},
      {"character data", "<string> <![CDATA[<&amp;>]]> b</string>", " <&amp;> b"},
      {"a comment", "<string>a<!-- b -->c</string>", "ac"},
      {"a processing instruction", "<string>a<?b c?>d</string>", "ad"},
      {"attributes", "<string a=\"1\" b='2'>c</string>", "c"},
      {"an element", "<string>a<b/></string>", std::nullopt},
      {"nested", "<string><string>a</string></string>", std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Find(ListOf(row.value)), row.text);
  }
}

TEST(FindStringInXmlPropertyList, UndoesReferences) {
  const struct {
    std::string reference;
    std::optional<std::string> text;
  } rows[] = {
      {"&lt;", "<"},
      {"&gt;", ">"},
      {"&amp;", "&"},
      {"&quot;", "\""},
      {"&apos;", "'"},
      {"&amp;lt;", "&lt;"},
      {"&lt;&lt;", "<<"},
      {"&#65;", "A"},
      {"&#x41;", "A"},
      {"&#xe9;", "\xC3\xA9"},
      {"&#xE9;", "\xC3\xA9"},
      {"&#x20AC;", "\xE2\x82\xAC"},
      {"&#x1F60E;", "\xF0\x9F\x98\x8E"},
      {"&#x10FFFF;", "\xF4\x8F\xBF\xBF"},
      {"&#000065;", "A"},
      {"&#9;&#10;&#13;", "\t\n\r"},
      {"&", std::nullopt},
      {"&;", std::nullopt},
      {"& lt;", std::nullopt},
      {"&lt", std::nullopt},
      {"&LT;", std::nullopt},
      {"&nothing;", std::nullopt},
      {"&#;", std::nullopt},
      {"&#x;", std::nullopt},
      {"&#X41;", std::nullopt},
      {"&#-65;", std::nullopt},
      {"&#+65;", std::nullopt},
      {"&# 65;", std::nullopt},
      {"&#65 ;", std::nullopt},
      {"&#6A;", std::nullopt},
      {"&#0;", std::nullopt},
      {"&#x0;", std::nullopt},
      {"&#1;", std::nullopt},
      {"&#x1F;", std::nullopt},
      {"&#xD800;", std::nullopt},
      {"&#xDFFF;", std::nullopt},
      {"&#xFFFE;", std::nullopt},
      {"&#x110000;", std::nullopt},
      {"&#4294967361;", std::nullopt},  // 65 and 2^32
      {"&#x100000041;", std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reference);
    EXPECT_EQ(Find(ListOf("<string>" + row.reference + "</string>")), row.text);
    // The same as a key.
    const std::string list = "<dict><key>" + row.reference + "</key><string>v</string></dict>";
    if (row.text) {
      EXPECT_EQ(FindStringInXmlPropertyList(list, *row.text), "v");
    } else {
      EXPECT_EQ(FindStringInXmlPropertyList(list, row.reference), std::nullopt);
    }
  }
  EXPECT_EQ(Find(ListOf("<string>&#0;</string>")), std::nullopt);
}

TEST(FindStringInXmlPropertyList, KnowsNoEntitiesOfTheListsOwn) {
  const std::string type = "<!DOCTYPE plist [<!ENTITY e \"v\">]>";
  EXPECT_EQ(Find(type + ListOf("<string>v</string>")), "v");
  EXPECT_EQ(Find(type + ListOf("<string>&e;</string>")), std::nullopt);
}

TEST(FindStringInXmlPropertyList, TakesADictionaryAsTheRootOrAloneInAList) {
  const std::string dictionary = "<dict><key>K</key><string>v</string></dict>";
  const struct {
    std::string list;
    bool isOne;
  } rows[] = {
      {dictionary, true},
      {"<plist>" + dictionary + "</plist>", true},
      {"<plist version='1.0'> \n" + dictionary + "\n </plist>", true},
      {" \n" + dictionary + " ", true},
      {"<!-- a --><?b c?><!DOCTYPE plist>\n" + dictionary, true},
      {dictionary + " and so on", true},
      {dictionary + "<and/>so<on/>", true},
      {"<plist>" + dictionary + "</plist><plist><dict/></plist>", true},
      {"words " + dictionary, false},
      {"<array/>" + dictionary, false},
      {"<plist/>" + dictionary, false},
      {"<plist><plist>" + dictionary + "</plist></plist>", false},
      {"<plist>" + dictionary + dictionary + "</plist>", false},
      {"<plist>" + dictionary + "<string>v</string></plist>", false},
      {"<plist>" + dictionary + " and so on</plist>", false},
      {"<plist>words" + dictionary + "</plist>", false},
      {"<list>" + dictionary + "</list>", false},
      {"<PLIST>" + dictionary + "</PLIST>", false},
      {"<plist><array>" + dictionary + "</array></plist>", false},
      {"<plist><Dict><key>K</key><string>v</string></Dict></plist>", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.list);
    EXPECT_EQ(Find(row.list), row.isOne ? std::optional("v"s) : std::nullopt);
  }
}

TEST(FindStringInXmlPropertyList, FailsAtADictionaryThatIsNoPairsOfKeyAndValue) {
  const std::string pair = "<key>K</key><string>v</string>";
  for (const std::string& other :
       {"<key>A</key>"s, "<string>a</string>"s, "<key>A</key><key>B</key>"s,
        "<string>a</string><string>b</string>"s, "<key>A</key><text>a</text>"s,
        "<key>A</key><plist/>"s, "<name>A</name><string>a</string>"s,
        "<key>A<b/></key><string>a</string>"s, "<key>&a;</key><string>a</string>"s, "words"s,
        "<![CDATA[ ]]>"s}) {
    SCOPED_TRACE(other);
    EXPECT_EQ(Find("<dict>" + pair + other + "</dict>"), std::nullopt);
    EXPECT_EQ(Find("<dict>" + other + pair + "</dict>"), std::nullopt);
  }
  for (const std::string& other :
       {"<string>a</string>"s, "<dict/>"s, "<array/>"s, "<integer>1</integer>"s, "<real>1</real>"s,
        "<true/>"s, "<false/>"s, "<date/>"s, "<data/>"s, "<array><text>a</text></array>"s,
        "<string>&a;</string>"s}) {
    SCOPED_TRACE(other);
    EXPECT_EQ(Find("<dict><key>A</key>" + other + pair + "</dict>"), "v");
  }
}

TEST(FindStringInXmlPropertyList, GoesByTheLastOfSeveralValues) {
  EXPECT_EQ(Find(ListOf("<true/><key>K</key><string>v</string>")), "v");
  EXPECT_EQ(Find(ListOf("<string>v</string><key>K</key><true/>")), std::nullopt);
}

TEST(FindStringInXmlPropertyList, FailsWhereTheXmlIsNotWellFormed) {
  const std::string list = ListOf("<string>v</string>");
  ASSERT_EQ(Find(list), "v");
  for (std::size_t length = 0; length < list.size(); ++length) {
    SCOPED_TRACE(length);
    EXPECT_EQ(Find(list.substr(0, length)), std::nullopt);
  }
  for (const std::string& broken :
       {ListOf("<string>v"), ListOf("<string>v</true>"), ListOf("<string>v</string></string>"),
        ListOf("<string a>v</string>"), ListOf("<string a=b>v</string>"),
        ListOf("<string>v</string><!-- "), ListOf("<string>v<![CDATA[</string>"),
        ListOf("<string>v\0</string>"s), list + "<", list + "<and", list + "</and>",
        "<!DOCTYPE " + list, "<?xml version=\"1.0\"" + list}) {
    SCOPED_TRACE(broken);
    EXPECT_EQ(Find(broken), std::nullopt);
  }
}

TEST(FindStringInXmlPropertyList, ReadsTheEncodingsThatItKnows) {
  const auto declared = [](const std::string& encoding, const std::string& text) {
    return "<?xml version=\"1.0\" encoding=\"" + encoding + "\"?>" +
           ListOf("<string>" + text + "</string>");
  };
  const std::string mark = "\xEF\xBB\xBF";
  const struct {
    const char* name;
    std::string list;
    std::optional<std::string> text;
  } rows[] = {
      {"UTF-8", declared("UTF-8", "\xC3\xA9"), "\xC3\xA9"},
      {"utf-8", declared("utf-8", "\xC3\xA9"), "\xC3\xA9"},
      {"US-ASCII", declared("US-ASCII", "e"), "e"},
      {"ISO-8859-1", declared("ISO-8859-1", "\xE9"), "\xC3\xA9"},
      {"latin1", declared("latin1", "\xE9"), "\xC3\xA9"},
      {"no encoding declared", "<?xml version=\"1.0\"?>" + ListOf("<string>\xC3\xA9</string>"),
       "\xC3\xA9"},
      {"another instruction", "<?xml-stylesheet encoding=\"x\"?>" + ListOf("<string>v</string>"),
       "v"},
      {"windows-1252", declared("windows-1252", "\xC3\xA9"), std::nullopt},
      {"ISO-8859-15", declared("ISO-8859-15", "\xC3\xA9"), std::nullopt},
      {"Shift_JIS", declared("Shift_JIS", "v"), std::nullopt},
      {"UTF-8x", declared("UTF-8x", "v"), std::nullopt},
      {"UTF-16 in single bytes", declared("UTF-16", "v"), std::nullopt},
      {"a mark before another name", mark + declared("ISO-8859-1", "\xC3\xA9"), "\xC3\xA9"},
      {"a broken declaration", "<?xml encoding=UTF-8?>" + ListOf("<string>v</string>"),
       std::nullopt},
      {"big-endian", "\xFE\xFF" + Utf16(declared("UTF-16", "v"), std::endian::big), "v"},
      {"little-endian", "\xFF\xFE" + Utf16(declared("UTF-16", "v"), std::endian::little), "v"},
      {"little-endian without a mark", Utf16(declared("UTF-16LE", "v"), std::endian::little), "v"},
      {"big-endian beyond 16 bits",
       "\xFE\xFF" + Utf16("<dict><key>K</key><string>", std::endian::big) + "\xD8\x3D\xDE\x0E" +
           Utf16("</string></dict>", std::endian::big),
       "\xF0\x9F\x98\x8E"},
      {"half a character",
       "\xFE\xFF" + Utf16("<dict><key>K</key><string>", std::endian::big) + "\xD8\x3D" +
           Utf16("</string></dict>", std::endian::big),
       std::nullopt},
      {"the other half",
       "\xFF\xFE" + Utf16("<dict><key>K</key><string>", std::endian::little) + "\x0E\xDE" +
           Utf16("</string></dict>", std::endian::little),
       std::nullopt},
      {"half a character at the end",
       "\xFE\xFF" + Utf16(ListOf("<string>v</string>"), std::endian::big) + "\xD8\x3D",
       std::nullopt},
      {"half a unit", "\xFE\xFF" + Utf16(ListOf("<string>v</string>"), std::endian::big) + "\n",
       std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Find(row.list), row.text);
  }
}

TEST(FindStringInXmlPropertyList, TakesAListOf32768TagsAndAttributesAndNoMore) {
  const std::string begin = "<plist><dict><key>K</key><string>v</string><key>A</key><array>";
  const std::string end = "</array></dict></plist>";
  EXPECT_EQ(Find(begin + Repeat("<true/>", 32'756) + end), "v");
  EXPECT_EQ(Find(begin + Repeat("<true/>", 32'757) + end), std::nullopt);
  EXPECT_EQ(Find(begin + Repeat("<true a=''/>", 16'378) + end), "v");
  EXPECT_EQ(Find(begin + "<true" + Repeat(" a=''", 32'756) + "/>" + end), std::nullopt);
}

TEST(FindStringInXmlPropertyList, ReadsBesideAnyDepth) {
  const std::string begin = "<dict><key>K</key><string>v</string><key>A</key>";
  EXPECT_EQ(Find(begin + Repeat("<array>", 16'000) + Repeat("</array>", 16'000) + "</dict>"), "v");
  EXPECT_EQ(Find(begin + Repeat("<array>", 32'000)), std::nullopt);
  EXPECT_EQ(Find(Repeat("<dict><key>K</key>", 10'000)), std::nullopt);
}

// Each of these takes minutes or hours where the work grows faster than the list.
TEST(FindStringInXmlPropertyList, TakesNoLongerPerByteForALargerList) {
  constexpr std::size_t kBytes = std::size_t{16} << 20;
  const auto fill = [](const std::string& text) { return Repeat(text, kBytes / text.size()); };
  EXPECT_EQ(Find(ListOf("<string>" + fill("&lt;") + "</string>")), std::string(kBytes / 4, '<'));
  EXPECT_EQ(Find(ListOf("<string>" + fill("\r\n") + "</string>")), std::string(kBytes / 2, '\n'));
  EXPECT_EQ(Find(ListOf("<string>" + fill("&") + "</string>")), std::nullopt);
  EXPECT_EQ(Find(ListOf("<string>&" + fill(";") + "</string>")), std::nullopt);
  EXPECT_EQ(Find(ListOf("<string a=\"" + fill("&lt;") + "\">v</string>")), "v");
  EXPECT_EQ(Find(ListOf("<string>v</string><!--" + fill("-") + "-->")), "v");
  EXPECT_EQ(Find("<!DOCTYPE " + fill("[") + ">" + ListOf("<string>v</string>")), "v");
  // Beginnings of declarations, and far behind all of them their ends.
  EXPECT_EQ(Find(Repeat("<?xml />", 32'000) + fill(" ") + Repeat("?>", 32'000) +
                 ListOf("<string>v</string>")),
            std::nullopt);
}

std::size_t remainingAllocations = 0;

void* AllocateWhileSomeRemain(std::size_t bytes) {
  if (remainingAllocations == 0) return nullptr;
  --remainingAllocations;
  return std::malloc(bytes);
}

// While it lives, pugixml has no memory after some allocations.
class ScopedLackOfMemory {
 public:
  explicit ScopedLackOfMemory(std::size_t allocations) {
    remainingAllocations = allocations;
    pugi::set_memory_management_functions(AllocateWhileSomeRemain, std::free);
  }
  ~ScopedLackOfMemory() { pugi::set_memory_management_functions(allocate_, deallocate_); }
  ScopedLackOfMemory(const ScopedLackOfMemory&) = delete;
  ScopedLackOfMemory& operator=(const ScopedLackOfMemory&) = delete;

 private:
  pugi::allocation_function allocate_ = pugi::get_memory_allocation_function();
  pugi::deallocation_function deallocate_ = pugi::get_memory_deallocation_function();
};

TEST(FindStringInXmlPropertyList, FindsNothingWhenMemoryRunsOut) {
  // A list that pugixml would find something in if it went on without memory: the value that
  // counts is the last, and the name of the encoding is behind other attributes.
  const std::string wrong = Repeat("<key>K</key><string>wrong</string>", 2000);
  const struct {
    const char* name;
    std::string list;
    std::optional<std::string> text;
  } rows[] = {
      {"the last value",
       "<?xml version='1.0' encoding='UTF-8'?>" +
           ListOf("<string>wrong</string>" + wrong + "<key>K</key>" + "<string>right</string>"),
       "right"},
      {"another encoding",
       "<?xml " + Repeat("a='' ", 2000) + "encoding='windows-1252'?>" +
           ListOf("<string>v</string>"),
       std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::size_t allocations = 0;
    for (bool isShort = true; isShort && allocations < 100; ++allocations) {
      const ScopedLackOfMemory lack(allocations);
      const std::optional<std::string> found = Find(row.list);
      isShort = remainingAllocations == 0;
      EXPECT_TRUE(found == row.text || (isShort && !found)) << allocations;
    }
    EXPECT_GT(allocations, 2U);
    EXPECT_LT(allocations, 100U);
  }
}

}  // namespace
}  // namespace platform
