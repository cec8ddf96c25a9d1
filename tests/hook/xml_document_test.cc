#include "hook/xml_document.h"

#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <pugixml.hpp>
#include <string>

#include "tests/support/failing_allocation.h"

namespace hook {
namespace {

std::string Save(const XmlDocument& document) {
  std::string text;
  EXPECT_TRUE(document.SaveToString(text));
  return text;
}

pugi::xml_node FirstChild(XmlDocument& document) {
  pugi::xml_node node;
  EXPECT_TRUE(document.GetFirstChild(node));
  return node;
}

TEST(XmlDocument, IsEmptyAtFirst) {
  XmlDocument document;
  pugi::xml_node node;
  EXPECT_FALSE(document.GetFirstChild(node));
  EXPECT_EQ(Save(document), R"(<?xml version="1.0"?>)");
}

TEST(LoadFromString, TellsWhetherTheTextIsWellFormed) {
  const struct {
    const char* text;
    bool isWellFormed;
  } rows[] = {
      {"<SpecifierManifest/>", true},
      {"<a><b c='d'>e</b></a>", true},
      {"  <a/>\n", true},
      {"<?xml version='1.0'?><!-- x --><a/>", true},
      {"", false},
      {"text", false},
      {"<a>", false},
      {"<a></b>", false},
      {"<a", false},
      {"<>", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    XmlDocument document;
    EXPECT_EQ(document.LoadFromString(row.text), row.isWellFormed);
  }
}

TEST(LoadFromString, ReplacesTheContent) {
  XmlDocument document;
  EXPECT_TRUE(document.LoadFromString("<a/>"));
  EXPECT_TRUE(document.LoadFromString("<b/>"));
  EXPECT_EQ(Save(document), R"(<?xml version="1.0"?><b/>)");
}

TEST(GetFirstChild, FindsTheRootElement) {
  XmlDocument document;
  EXPECT_TRUE(document.LoadFromString("<SpecifierManifest/>"));
  pugi::xml_node node;
  EXPECT_TRUE(document.GetFirstChild(node));
  EXPECT_STREQ(node.name(), "SpecifierManifest");
}

TEST(GetFirstChild, PassesOverDeclarationAndComment) {
  XmlDocument document;
  EXPECT_TRUE(document.LoadFromString("<?xml version='1.0'?><!-- x --><a/>"));
  EXPECT_STREQ(FirstChild(document).name(), "a");
}

TEST(GetFirstChild, LeavesANullHandleInAnEmptyDocument) {
  XmlDocument other;
  EXPECT_TRUE(other.LoadFromString("<a/>"));
  pugi::xml_node node = FirstChild(other);
  XmlDocument document;
  EXPECT_FALSE(document.GetFirstChild(node));
  EXPECT_TRUE(node.empty());
}

TEST(AppendAttribute, AddsAttribute) {
  XmlDocument document;
  EXPECT_TRUE(document.LoadFromString("<a/>"));
  EXPECT_TRUE(document.AppendAttribute(FirstChild(document), "Version", "1.0"));
  EXPECT_TRUE(document.AppendAttribute(FirstChild(document), "b", ""));
  EXPECT_EQ(Save(document), R"(<?xml version="1.0"?><a Version="1.0" b=""/>)");
}

TEST(AppendAttribute, FailsForANullHandle) {
  XmlDocument document;
  EXPECT_TRUE(document.LoadFromString("<a/>"));
  EXPECT_FALSE(document.AppendAttribute(pugi::xml_node(), "Version", "1.0"));
  EXPECT_EQ(Save(document), R"(<?xml version="1.0"?><a/>)");
}

TEST(AppendTextElement, AddsElementAndReturnsIt) {
  XmlDocument document;
  EXPECT_TRUE(document.LoadFromString("<a/>"));
  pugi::xml_node element;
  EXPECT_TRUE(document.AppendTextElement("b", "text", FirstChild(document), element));
  EXPECT_STREQ(element.name(), "b");
  EXPECT_STREQ(element.text().get(), "text");
  pugi::xml_node inner;
  EXPECT_TRUE(document.AppendTextElement("c", "more", element, inner));
  EXPECT_EQ(Save(document), R"(<?xml version="1.0"?><a><b>text<c>more</c></b></a>)");
}

TEST(AppendTextElement, KeepsTheOrder) {
  XmlDocument document;
  EXPECT_TRUE(document.LoadFromString("<a/>"));
  pugi::xml_node element;
  for (const char* name : {"z", "b", "z"}) {
    EXPECT_TRUE(document.AppendTextElement(name, "1", FirstChild(document), element));
  }
  EXPECT_EQ(Save(document), R"(<?xml version="1.0"?><a><z>1</z><b>1</b><z>1</z></a>)");
}

TEST(AppendTextElement, WritesAnEmptyElementAsAPairOfTags) {
  XmlDocument document;
  EXPECT_TRUE(document.LoadFromString("<a/>"));
  pugi::xml_node element;
  EXPECT_TRUE(document.AppendTextElement("Locale", "", FirstChild(document), element));
  EXPECT_EQ(Save(document), R"(<?xml version="1.0"?><a><Locale></Locale></a>)");
}

TEST(AppendTextElement, FailsForANullHandle) {
  XmlDocument document;
  EXPECT_TRUE(document.LoadFromString("<a/>"));
  pugi::xml_node element = FirstChild(document);
  EXPECT_FALSE(document.AppendTextElement("b", "text", pugi::xml_node(), element));
  EXPECT_TRUE(element.empty());
  EXPECT_EQ(Save(document), R"(<?xml version="1.0"?><a/>)");
}

TEST(SaveToString, ReplacesTheText) {
  XmlDocument document;
  EXPECT_TRUE(document.LoadFromString("<a/>"));
  std::string text = "before";
  EXPECT_TRUE(document.SaveToString(text));
  EXPECT_EQ(text, R"(<?xml version="1.0"?><a/>)");
}

TEST(SaveToString, WritesNeitherIndentationNorLineBreaks) {
  XmlDocument document;
  EXPECT_TRUE(document.LoadFromString("<a>\n  <b>\n    <c/>\n  </b>\n</a>\n"));
  EXPECT_EQ(Save(document), R"(<?xml version="1.0"?><a><b><c/></b></a>)");
}

TEST(SaveToString, EscapesReservedCharacters) {
  XmlDocument document;
  EXPECT_TRUE(document.LoadFromString("<a/>"));
  EXPECT_TRUE(document.AppendAttribute(FirstChild(document), "b", "<&>"));
  pugi::xml_node element;
  EXPECT_TRUE(document.AppendTextElement("c", "1<2&3>2 \"x\" 'y'", FirstChild(document), element));
  EXPECT_EQ(Save(document),
            R"(<?xml version="1.0"?><a b="&lt;&amp;>"><c>1&lt;2&amp;3&gt;2 "x" 'y'</c></a>)");
}

TEST(SaveToString, WritesUtf8AsItIs) {
  XmlDocument document;
  EXPECT_TRUE(document.LoadFromString("<a/>"));
  pugi::xml_node element;
  EXPECT_TRUE(
      document.AppendTextElement("b", "\xC3\xA4\xE2\x82\xAC", FirstChild(document), element));
  EXPECT_EQ(Save(document), "<?xml version=\"1.0\"?><a><b>\xC3\xA4\xE2\x82\xAC</b></a>");
}

// Long enough that no part of the work can do without memory of its own.
const std::string& LongText() {
  static const std::string kText(100'000, 'x');
  return kText;
}

void ExpectBadAlloc(const std::function<void()>& work) {
  bool isThrown = false;
  try {
    const test::ScopedAllocationFailure failure(0);
    work();
  } catch (const std::bad_alloc&) {
    isThrown = true;
  }
  EXPECT_TRUE(isThrown);
}

TEST(XmlDocument, GivesPugixmlAnAllocatorThatThrows) {
  const XmlDocument document;
  ExpectBadAlloc(
      [] { pugi::get_memory_deallocation_function()(pugi::get_memory_allocation_function()(16)); });
}

TEST(XmlDocument, ThrowsWhenMemoryRunsOutWhileLoading) {
  const std::string text = "<a>" + LongText() + "</a>";
  XmlDocument document;
  ExpectBadAlloc([&] { (void)document.LoadFromString(text.c_str()); });
}

TEST(XmlDocument, ThrowsWhenMemoryRunsOutForAnAttribute) {
  XmlDocument document;
  EXPECT_TRUE(document.LoadFromString("<a/>"));
  const pugi::xml_node root = FirstChild(document);
  ExpectBadAlloc([&] { (void)document.AppendAttribute(root, "b", LongText().c_str()); });
}

TEST(XmlDocument, ThrowsWhenMemoryRunsOutForATextElement) {
  XmlDocument document;
  EXPECT_TRUE(document.LoadFromString("<a/>"));
  const pugi::xml_node root = FirstChild(document);
  pugi::xml_node element;
  ExpectBadAlloc([&] { (void)document.AppendTextElement("b", LongText().c_str(), root, element); });
}

TEST(XmlDocument, ThrowsWhenMemoryRunsOutWhileSavingAndLeavesTheText) {
  XmlDocument document;
  const std::string content = "<a>" + LongText() + "</a>";
  EXPECT_TRUE(document.LoadFromString(content.c_str()));
  const std::string whole = "<?xml version=\"1.0\"?>" + content;
  std::size_t successes = 0;
  for (bool hasFailed = true; hasFailed; ++successes) {
    SCOPED_TRACE(successes);
    std::string text = "before";
    bool isThrown = false;
    try {
      const test::ScopedAllocationFailure failure(successes);
      EXPECT_TRUE(document.SaveToString(text));
      hasFailed = failure.HasFailed();
    } catch (const std::bad_alloc&) {
      isThrown = true;
    }
    ASSERT_EQ(isThrown, hasFailed);
    ASSERT_TRUE(text == (isThrown ? "before" : whole));
  }
  EXPECT_GT(successes, 2U);
}

}  // namespace
}  // namespace hook
