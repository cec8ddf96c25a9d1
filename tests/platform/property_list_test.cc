#include "platform/property_list.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <unistd.h>

#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

using namespace std::string_literals;

namespace platform {
namespace {

constexpr char kInfo[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>CFBundleExecutable</key>
	<string>App</string>
	<key>CFBundleDocumentTypes</key>
	<array>
		<dict>
			<key>CFBundleShortVersionString</key>
			<string>0.0.1</string>
		</dict>
	</array>
	<!-- <key>CFBundleShortVersionString</key><string>0.0.2</string> -->
	<key>CFBundleShortVersionString</key>
	<string>23.10.2</string>
	<key>Empty</key>
	<string/>
	<key>Blanks</key>
	<string>  two  </string>
	<key>Marked &amp; named</key>
	<string>&lt;Café&gt; &quot;&apos;&#8364;</string>
	<key>Characters</key>
	<string>a<![CDATA[<&>]]>b</string>
	<key>Number</key>
	<integer>7</integer>
	<key>Real</key>
	<real>1.5</real>
	<key>Truth</key>
	<true/>
	<key>Date</key>
	<date>2011-11-11T11:11:11Z</date>
	<key>Data</key>
	<data>YWJj</data>
	<key>Dictionary</key>
	<dict/>
</dict>
</plist>
)";

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// The text under `key` in a list of that content.
std::optional<std::string> Read(const std::string& content, const std::string& key) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("Info.plist"), content);
  std::string value = "untouched";
  if (ReadPropertyListString(dir.Join("Info.plist"), key, &value)) return value;
  EXPECT_EQ(value, "untouched");
  return std::nullopt;
}

TEST(ReadPropertyListString, FindsTheStringUnderAKey) {
  EXPECT_EQ(Read(kInfo, "CFBundleShortVersionString"), "23.10.2");
  EXPECT_EQ(Read(kInfo, "CFBundleExecutable"), "App");
}

TEST(ReadPropertyListString, KeepsTheTextAsItIs) {
  EXPECT_EQ(Read(kInfo, "Empty"), "");
  EXPECT_EQ(Read(kInfo, "Blanks"), "  two  ");
}

TEST(ReadPropertyListString, UndoesMarkup) {
  EXPECT_EQ(Read(kInfo, "Marked & named"), "<Café> \"'€");
  if (test::HasFault(test::Fault::kLosesCharacterData)) return;
  EXPECT_EQ(Read(kInfo, "Characters"), "a<&>b");
}

TEST(ReadPropertyListString, FailsWithoutTheKey) {
  EXPECT_EQ(Read(kInfo, "Missing"), std::nullopt);
  EXPECT_EQ(Read(kInfo, "CFBUNDLEEXECUTABLE"), std::nullopt);
  EXPECT_EQ(Read(kInfo, ""), std::nullopt);
}

TEST(ReadPropertyListString, FailsAtAValueThatIsNoString) {
  for (const std::string key :
       {"Number", "Real", "Truth", "Date", "Data", "Dictionary", "CFBundleDocumentTypes"}) {
    SCOPED_TRACE(key);
    EXPECT_EQ(Read(kInfo, key), std::nullopt);
  }
}

TEST(ReadPropertyListString, TakesTheLastOfTwoValues) {
  EXPECT_EQ(Read(kDeclaration + "<plist><dict><key>K</key><string>a</string>"
                                "<key>K</key><string>b</string></dict></plist>"s,
                 "K"),
            "b");
}

TEST(ReadPropertyListString, TakesListsInOtherDress) {
  const std::string dictionary = "<dict><key>K</key><string>v</string></dict>";
  const struct {
    const char* name;
    std::string content;
  } rows[] = {
      {"no plist element", kDeclaration + dictionary},
      {"carriage returns", kDeclaration + "\r\n<plist>\r\n"s + dictionary + "\r\n</plist>\r\n"},
      {"something behind it", kDeclaration + dictionary + " and so on"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Read(row.content, "K"), "v");
  }
}

TEST(ReadPropertyListString, TakesAListWithAByteOrderMark) {
  if (test::HasFault(test::Fault::kTakesNoByteOrderMark)) GTEST_SKIP() << "GNUstep takes none";
  EXPECT_EQ(Read("\xEF\xBB\xBF"s + kDeclaration +
                     "<plist><dict><key>K</key><string>v</string></dict></plist>",
                 "K"),
            "v");
}

TEST(ReadPropertyListString, ReadsOtherEncodings) {
  const std::string list = "<plist><dict><key>K</key><string>Caf\xE9</string></dict></plist>";
  EXPECT_EQ(Read("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + list, "K"), "Café");
  if (test::HasFault(test::Fault::kTakesNoByteOrderMark)) return;
  std::string utf16 = "\xFF\xFE";
  for (const char c : "<?xml version=\"1.0\" encoding=\"UTF-16\"?>" + list) {
    utf16 += c;
    utf16 += '\0';
  }
  EXPECT_EQ(Read(utf16, "K"), "Café");
}

TEST(ReadPropertyListString, TakesListsWithoutADeclaration) {
  if (test::HasFault(test::Fault::kNeedsADeclaration)) GTEST_SKIP() << "GNUstep takes none";
  const std::string dictionary = "<dict><key>K</key><string>v</string></dict>";
  for (const std::string& content :
       {"<plist version=\"1.0\">" + dictionary + "</plist>", dictionary,
        "<plist>\r\n" + dictionary + "\r\n</plist>\r\n", dictionary + " and so on"}) {
    SCOPED_TRACE(content);
    EXPECT_EQ(Read(content, "K"), "v");
  }
}

TEST(ReadPropertyListString, FailsWithoutADictionaryAtTheRoot) {
  struct Row {
    const char* name;
    std::string content;
    std::optional<test::Fault> fault = std::nullopt;
  };
  const Row rows[] = {
      {"nothing", ""},
      {"white space", " \n\t"},
      {"an array", "<plist><array><string>K</string><string>v</string></array></plist>"},
      {"a string", "<plist><string>K</string></plist>"},
      {"an empty list", "<plist/>"},
      {"an empty dictionary", "<plist><dict/></plist>"},
      {"JSON", R"({"K": "v"})"},
      {"words", "K v"},
      {"other bytes", "\0\xFF\xFE\x80"s},
      {"cut off in a string", "<plist><dict><key>K</key><string>v"},
      {"cut off behind a value", "<plist><dict><key>K</key><string>v</string>"},
      {"cut off behind the dictionary", "<plist><dict><key>K</key><string>v</string></dict>"},
      {"words before it", "words <plist><dict><key>K</key><string>v</string></dict></plist>",
       test::Fault::kDropsStrayWords},
      {"a byte that is no UTF-8", "<plist><dict><key>K</key><string>\xE9</string></dict></plist>"},
      {"two dictionaries", "<plist><dict><key>K</key><string>v</string></dict><dict/></plist>"},
      {"a key without a value",
       "<plist><dict><key>K</key><string>v</string><key>L</key></dict></plist>",
       test::Fault::kDropsKeysWithoutValues},
      {"crossed elements", "<plist><dict><key>K</key><string>v</dict></string></plist>"},
      {"a value without a key", "<plist><dict><string>v</string></dict></plist>"},
      {"an unknown element", "<plist><dict><key>K</key><text>v</text></dict></plist>"},
      {"an unknown entity", "<plist><dict><key>K</key><string>&v;</string></dict></plist>",
       test::Fault::kDropsUnknownEntities},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Read(row.content, "K"), std::nullopt);
    if (row.fault && test::HasFault(*row.fault)) continue;
    EXPECT_EQ(Read(kDeclaration + row.content, "K"), std::nullopt);
  }
}

TEST(ReadPropertyListString, ReadsABinaryList) {
  const std::string list =
      "bplist00"
      "\xD4\x01\x02\x03\x04\x05\x06\x08\x09"
      "_\x10\x1A"
      "CFBundleShortVersionString"
      "TList"
      "TName"
      "VNumber"
      "W23.10.2"
      "\xA1\x07"
      "Qx"
      "g\x00"
      "C\x00"
      "a\x00"
      "f\x00\xE9\x00 \xD8=\xDE\x0E"
      "\x10\x07"
      "\x08\x11.38?GIKZ"
      "\x00\x00\x00\x00\x00\x00"
      "\x01\x01"
      "\x00\x00\x00\x00\x00\x00\x00\x0A"
      "\x00\x00\x00\x00\x00\x00\x00\x00"
      "\x00\x00\x00\x00\x00\x00\x00\x5C"s;
  EXPECT_EQ(Read(list, "CFBundleShortVersionString"), "23.10.2");
  EXPECT_EQ(Read(list, "Name"), "Café 😎");
  EXPECT_EQ(Read(list, "Number"), std::nullopt);
  EXPECT_EQ(Read(list, "List"), std::nullopt);
  EXPECT_EQ(Read(list, "Missing"), std::nullopt);
  if (test::HasFault(test::Fault::kRaisesForBrokenBinaryLists)) return;
  EXPECT_EQ(Read(list.substr(0, list.size() - 1), "Name"), std::nullopt);
  EXPECT_EQ(Read(list.substr(0, list.size() / 2), "Name"), std::nullopt);
}

TEST(ReadPropertyListString, FollowsLinks) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("folder/list"), kInfo);
  test::MakeLink(dir.Join("folder/Info.plist"), "list");
  test::MakeLink(dir.Join("way"), "folder");
  std::string value;
  EXPECT_TRUE(ReadPropertyListString(dir.Join("way/Info.plist"), "CFBundleExecutable", &value));
  EXPECT_EQ(value, "App");
}

TEST(ReadPropertyListString, FailsWithoutAFileAndLeavesTheValue) {
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("folder"));
  test::MakeLink(dir.Join("dangling"), "missing");
  for (const std::string name : {"missing", "missing/x", "folder", "dangling", ""}) {
    SCOPED_TRACE(name);
    std::string value = "untouched";
    EXPECT_FALSE(ReadPropertyListString(dir.Join(name), "K", &value));
    EXPECT_EQ(value, "untouched");
  }
  std::string value;
  EXPECT_FALSE(ReadPropertyListString("", "K", &value));
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
  test::PutFile(dir.Join("file"), kInfo);
  test::MakeLink(dir.Join("link"), "file");
  test::SetOwner(dir.Join("link"), 501, 501);
  std::string value;
  EXPECT_FALSE(ReadPropertyListString(dir.Join("link"), "CFBundleExecutable", &value));
  test::SetOwner(dir.Join("file"), 501, 501);
  EXPECT_TRUE(ReadPropertyListString(dir.Join("link"), "CFBundleExecutable", &value));
}

TEST(ReadPropertyListString, TakesAFileOf16MebibytesAndNoLarger) {
  std::string content = kInfo;
  content.resize(16'777'216, '\n');
  EXPECT_EQ(Read(content, "CFBundleExecutable"), "App");
  EXPECT_EQ(Read(content + "\n", "CFBundleExecutable"), std::nullopt);
}

TEST(ReadPropertyListString, FailsAtAFileThatMayNotBeRead) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("Info.plist"), kInfo);
  test::SetMode(dir.Join("Info.plist"), 0600);
  test::RunInChild([&dir] {
    ASSERT_EQ(seteuid(1000), 0);
    std::string value;
    EXPECT_FALSE(ReadPropertyListString(dir.Join("Info.plist"), "CFBundleExecutable", &value));
  });
}

}  // namespace
}  // namespace platform
