#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/posix/host_parts.h"

namespace platform {

namespace {

using Languages = std::vector<std::string>;

struct Row {
  const char* text;
  const char* tag;         // the language; empty: none
  const char* identifier;  // of the locale
};

constexpr Row kRows[] = {
    {"en_US.UTF-8", "en-US", "en_US"},
    {"en_US", "en-US", "en_US"},
    {"fr", "fr", "fr"},
    {"fr.ISO-8859-1", "fr", "fr"},
    {"zh_CN.GB18030", "zh-CN", "zh_CN"},
    {"es_419", "es-419", "es_419"},
    {"ast_ES", "ast-ES", "ast_ES"},

    // The modifier for a script, and others.
    {"sr_RS@latin", "sr-Latn-RS", "sr-Latn_RS"},
    {"sr_RS.UTF-8@latin", "sr-Latn-RS", "sr-Latn_RS"},
    {"en_US.UTF-8@latin", "en-Latn-US", "en-Latn_US"},
    {"sr@latin", "sr-Latn", "sr-Latn"},
    {"de_DE@euro", "de-DE", "de_DE"},
    {"de_DE.UTF-8@euro", "de-DE", "de_DE"},
    {"be_BY@Latin", "be-BY", "be_BY"},
    {"be_BY@latin1", "be-BY", "be_BY"},
    {"be_BY@", "be-BY", "be_BY"},
    {"be_BY@latin.UTF-8", "be-BY", "be_BY"},

    // As other systems write them.
    {"zh-Hans-CN", "zh-Hans-CN", "zh-Hans-CN"},
    {"zh_Hans_CN", "zh-Hans-CN", "zh_Hans_CN"},
    {"zh-Hans_CN.UTF-8", "zh-Hans-CN", "zh-Hans_CN"},

    // No language.
    {"C", "", ""},
    {"POSIX", "", ""},
    {"C.UTF-8", "", ""},
    {"C.utf8", "", ""},
    {"POSIX.UTF-8", "", ""},
    {"C@latin", "", ""},
    {".UTF-8", "", ""},
    {"@latin", "", ""},
    {".UTF-8@latin", "", ""},
    {"_US", "", ""},
    {"_", "", ""},

    // Odd ones.
    {"en_", "en", "en"},
    {"en_.UTF-8", "en", "en"},
    {"en_US.", "en-US", "en_US"},
    {"en_US.UTF-8.x", "en-US", "en_US"},
    {"c", "c", "c"},
    {"posix", "posix", "posix"},
    {"Cx", "Cx", "Cx"},
    {"C_US", "C-US", "C_US"},
    {"\xff", "\xff", "\xff"},
};

Languages ListOf(const char* tag) { return *tag == '\0' ? Languages() : Languages{tag}; }

TEST(LanguagesOf, ReadsALocaleName) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(ListOf(row.tag), LanguagesOf({.lang = row.text}));
    EXPECT_EQ(ListOf(row.tag), LanguagesOf({.language = row.text, .lang = "nl_NL"}));
  }
}

TEST(LanguagesOf, IsEmptyWhereNothingIsSet) {
  EXPECT_EQ(Languages(), LanguagesOf({}));
  EXPECT_EQ(Languages(), LanguagesOf({.language = "", .lcAll = "", .lcMessages = "", .lang = ""}));
}

TEST(LanguagesOf, AsksLcAllBeforeLcMessagesBeforeLang) {
  EXPECT_EQ(Languages{"de"}, LanguagesOf({.lcAll = "de", .lcMessages = "fr", .lang = "nl"}));
  EXPECT_EQ(Languages{"fr"}, LanguagesOf({.lcMessages = "fr", .lang = "nl"}));
  EXPECT_EQ(Languages{"nl"}, LanguagesOf({.lang = "nl"}));
}

TEST(LanguagesOf, TakesAnEmptyVariableForOneThatIsNotSet) {
  EXPECT_EQ(Languages{"fr"}, LanguagesOf({.lcAll = "", .lcMessages = "fr", .lang = "nl"}));
  EXPECT_EQ(Languages{"nl"}, LanguagesOf({.lcAll = "", .lcMessages = "", .lang = "nl"}));
  EXPECT_EQ(Languages{"nl"}, LanguagesOf({.language = "", .lang = "nl"}));
}

TEST(LanguagesOf, ReadsAListInItsOrder) {
  EXPECT_EQ((Languages{"de-AT", "de", "en-GB"}),
            LanguagesOf({.language = "de_AT:de:en_GB.UTF-8", .lang = "nl_NL"}));
  EXPECT_EQ((Languages{"sr-Latn", "sr"}), LanguagesOf({.language = "sr@latin:sr", .lang = "nl"}));
}

TEST(LanguagesOf, PassesOverEntriesThatNameNoLanguage) {
  for (const char* const list :
       {"a:b", "a::b", ":a:b", "a:b:", "::a::b::", "a:C:b", "POSIX:a:b", "a:.UTF-8:b:@latin"}) {
    SCOPED_TRACE(list);
    EXPECT_EQ((Languages{"a", "b"}), LanguagesOf({.language = list, .lang = "nl"}));
  }
}

TEST(LanguagesOf, IsEmptyWhereAListHasNoLanguage) {
  for (const char* const list : {":", "::", "C", "C:POSIX"}) {
    SCOPED_TRACE(list);
    EXPECT_EQ(Languages(), LanguagesOf({.language = list, .lang = "nl"}));
  }
}

TEST(LanguagesOf, ReadsAListWithoutALocale) {
  EXPECT_EQ((Languages{"de", "en"}), LanguagesOf({.language = "de:en"}));
}

// Only of the variable that counts is it asked whether it says so.
TEST(LanguagesOf, ReadsNoListWhereTheLocaleIsNone) {
  for (const char* const none : {"C", "POSIX", "C.UTF-8", "C.utf8"}) {
    SCOPED_TRACE(none);
    EXPECT_EQ(Languages(), LanguagesOf({.language = "de", .lcAll = none, .lang = "nl"}));
    EXPECT_EQ(Languages(), LanguagesOf({.language = "de", .lcMessages = none, .lang = "nl"}));
    EXPECT_EQ(Languages(), LanguagesOf({.language = "de", .lang = none}));
    EXPECT_EQ(Languages{"de"}, LanguagesOf({.language = "de", .lcAll = "nl", .lang = none}));
    EXPECT_EQ(Languages{"nl"}, LanguagesOf({.lcAll = "nl", .lang = none}));
    EXPECT_EQ(Languages(), LanguagesOf({.lcAll = none, .lang = "nl"}));
  }
}

TEST(LocaleIdentifierOf, ReadsALocaleName) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(row.identifier, LocaleIdentifierOf({.lang = row.text}));
  }
}

TEST(LocaleIdentifierOf, AsksLcAllBeforeLcMessagesBeforeLang) {
  EXPECT_EQ("ar_MA", LocaleIdentifierOf({.lcAll = "ar_MA", .lcMessages = "fr", .lang = "nl"}));
  EXPECT_EQ("fr_FR", LocaleIdentifierOf({.lcAll = "", .lcMessages = "fr_FR", .lang = "nl"}));
  EXPECT_EQ("nl", LocaleIdentifierOf({.lcAll = "", .lcMessages = "", .lang = "nl"}));
  EXPECT_EQ("", LocaleIdentifierOf({.lcAll = "C", .lang = "nl"}));
}

TEST(LocaleIdentifierOf, DoesNotLookAtTheListOfLanguages) {
  EXPECT_EQ("nl_NL", LocaleIdentifierOf({.language = "de_AT:de", .lang = "nl_NL"}));
  EXPECT_EQ("", LocaleIdentifierOf({.language = "de_AT:de"}));
  EXPECT_EQ("", LocaleIdentifierOf({.language = "de_AT:de", .lang = "C"}));
}

TEST(LocaleIdentifierOf, IsEmptyWhereNothingIsSet) { EXPECT_EQ("", LocaleIdentifierOf({})); }

}  // namespace

}  // namespace platform
