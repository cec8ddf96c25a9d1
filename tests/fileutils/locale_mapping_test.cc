#include "fileutils/locale_mapping.h"

#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/fake_host.h"

namespace {

// The code of a language, "none" where it has none and the output was left alone.
std::string Map(std::string_view language) {
  std::string locale = "none";
  const bool found = fileutils::MapLanguageToLocale(language, locale);
  EXPECT_EQ(found, locale != "none");
  return locale;
}

TEST(MapLanguageToLocale, KnowsEveryCodeByEachOfItsKeys) {
  const struct {
    const char* key;
    const char* code;
  } rows[] = {
      {"cs_CZ", "cs_CZ"}, {"cs-cz", "cs_CZ"}, {"cs_cz", "cs_CZ"}, {"cs", "cs_CZ"},
      {"da_DK", "da_DK"}, {"da-dk", "da_DK"}, {"da_dk", "da_DK"}, {"da", "da_DK"},
      {"de_DE", "de_DE"}, {"de-de", "de_DE"}, {"de_de", "de_DE"}, {"de", "de_DE"},
      {"el_GR", "el_GR"}, {"el-gr", "el_GR"}, {"el_gr", "el_GR"}, {"el", "el_GR"},
      {"en_US", "en_US"}, {"en-us", "en_US"}, {"en_us", "en_US"}, {"en", "en_US"},
      {"en_GB", "en_GB"}, {"en-gb", "en_GB"}, {"en_gb", "en_GB"}, {"es_ES", "es_ES"},
      {"es-es", "es_ES"}, {"es_es", "es_ES"}, {"es", "es_ES"},    {"es_LA", "es_LA"},
      {"es-la", "es_LA"}, {"es_la", "es_LA"}, {"es_NA", "es_NA"}, {"es-na", "es_NA"},
      {"es_na", "es_NA"}, {"es_MX", "es_MX"}, {"es-mx", "es_MX"}, {"es_mx", "es_MX"},
      {"fi_FI", "fi_FI"}, {"fi-fi", "fi_FI"}, {"fi_fi", "fi_FI"}, {"fi", "fi_FI"},
      {"fr_FR", "fr_FR"}, {"fr-fr", "fr_FR"}, {"fr_fr", "fr_FR"}, {"fr", "fr_FR"},
      {"fr_CA", "fr_CA"}, {"fr-ca", "fr_CA"}, {"fr_ca", "fr_CA"}, {"hu_HU", "hu_HU"},
      {"hu-hu", "hu_HU"}, {"hu_hu", "hu_HU"}, {"hu", "hu_HU"},    {"id_ID", "id_ID"},
      {"id-id", "id_ID"}, {"id_id", "id_ID"}, {"id", "id_ID"},    {"it_IT", "it_IT"},
      {"it-it", "it_IT"}, {"it_it", "it_IT"}, {"it", "it_IT"},    {"ja_JP", "ja_JP"},
      {"ja-jp", "ja_JP"}, {"ja_jp", "ja_JP"}, {"ja", "ja_JP"},    {"ko_KR", "ko_KR"},
      {"ko-kr", "ko_KR"}, {"ko_kr", "ko_KR"}, {"ko", "ko_KR"},    {"nb_NO", "nb_NO"},
      {"nb-no", "nb_NO"}, {"nb_no", "nb_NO"}, {"nb", "nb_NO"},    {"nl_NL", "nl_NL"},
      {"nl-nl", "nl_NL"}, {"nl_nl", "nl_NL"}, {"nl", "nl_NL"},    {"pl_PL", "pl_PL"},
      {"pl-pl", "pl_PL"}, {"pl_pl", "pl_PL"}, {"pl", "pl_PL"},    {"pt_BR", "pt_BR"},
      {"pt-br", "pt_BR"}, {"pt_br", "pt_BR"}, {"pt", "pt_BR"},    {"ro_RO", "ro_RO"},
      {"ro-ro", "ro_RO"}, {"ro_ro", "ro_RO"}, {"ro", "ro_RO"},    {"ru_RU", "ru_RU"},
      {"ru-ru", "ru_RU"}, {"ru_ru", "ru_RU"}, {"ru", "ru_RU"},    {"sv_SE", "sv_SE"},
      {"sv-se", "sv_SE"}, {"sv_se", "sv_SE"}, {"sv", "sv_SE"},    {"th_TH", "th_TH"},
      {"th-th", "th_TH"}, {"th_th", "th_TH"}, {"th", "th_TH"},    {"tr_TR", "tr_TR"},
      {"tr-tr", "tr_TR"}, {"tr_tr", "tr_TR"}, {"tr", "tr_TR"},    {"uk_UA", "uk_UA"},
      {"uk-ua", "uk_UA"}, {"uk_ua", "uk_UA"}, {"uk", "uk_UA"},    {"vi_VN", "vi_VN"},
      {"vi-vn", "vi_VN"}, {"vi_vn", "vi_VN"}, {"vi", "vi_VN"},    {"zh_CN", "zh_CN"},
      {"zh-cn", "zh_CN"}, {"zh_cn", "zh_CN"}, {"zh", "zh_CN"},    {"zh-Hans", "zh_CN"},
      {"zh_TW", "zh_TW"}, {"zh-tw", "zh_TW"}, {"zh_tw", "zh_TW"}, {"zh-Hant", "zh_TW"},
      {"zh-hk", "zh_TW"}, {"zh_HK", "zh_TW"},
  };
  std::set<std::string> keys;
  std::set<std::string> codes;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.key);
    EXPECT_EQ(Map(row.key), row.code);
    keys.insert(row.key);
    codes.insert(row.code);
  }
  EXPECT_EQ(std::size(rows), 122U);
  EXPECT_EQ(keys.size(), 122U);
  EXPECT_EQ(codes.size(), 31U);
}

// What looks like a key is found by a later try, if at all: what that gives tells them apart.
TEST(MapLanguageToLocale, HasNoOtherKeys) {
  const struct {
    const char* language;
    const char* code;
  } rows[] = {
      {"zh_hk", "zh_CN"},    // "zh"; as a key it would give zh_TW
      {"zh-hans", "zh_CN"},  // "zh"
      {"zh-hant", "zh_CN"},  // "zh"; as a key it would give zh_TW
      {"zh_Hant", "zh_CN"},  // "zh"; the same
      {"zh_hant", "zh_CN"}, {"ZH-HANT", "zh_CN"}, {"en_IE", "en_US"},
      {"fr_MA", "fr_FR"},  // a result for Arabic, but no code of the table
      {"en_AE", "en_US"},   {"en_IL", "en_US"},   {"ar", "none"},
      {"he", "none"},       {"ar_AE", "none"},    {"he_IL", "none"},
      {"no", "none"},       {"pt_PT", "pt_BR"},   {"cs_CZ_", "cs_CZ"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.language);
    EXPECT_EQ(Map(row.language), row.code);
  }
}

TEST(MapLanguageToLocale, TakesLowerCaseHongKongWithAnUnderscoreForPlainChinese) {
  EXPECT_EQ(Map("zh-hk"), "zh_TW");
  EXPECT_EQ(Map("zh_HK"), "zh_TW");
  EXPECT_EQ(Map("zh-HK"), "zh_TW");
  EXPECT_EQ(Map("zh_hk"), "zh_CN");
}

TEST(MapLanguageToLocale, TakesCapitalHongKongWithAnUnderscoreForPlainChinese) {
  EXPECT_EQ(Map("ZH_HK"), "zh_CN");
}

TEST(MapLanguageToLocale, CutsEightCharactersOrMoreToLanguageAndScript) {
  EXPECT_EQ(Map("zh-Hant-TW"), "zh_TW");
  EXPECT_EQ(Map("zh-Hant-HK"), "zh_TW");
  EXPECT_EQ(Map("zh-Hantx"), "zh_TW");
  EXPECT_EQ(Map("zh-Hant-" + std::string(100000, 'x')), "zh_TW");
  // Not in another case: lower case is tried after the cut to five.
  EXPECT_EQ(Map("zh-hant-tw"), "zh_CN");
}

TEST(MapLanguageToLocale, CutsSixCharactersOrMoreToLanguageAndRegion) {
  EXPECT_EQ(Map("fr_CAx"), "fr_CA");
  EXPECT_EQ(Map("en_GB@x"), "en_GB");
  EXPECT_EQ(Map("fr-ca-x-private"), "fr_CA");
  EXPECT_EQ(Map("es_MX.UTF-8"), "es_MX");
}

TEST(MapLanguageToLocale, TriesLowerCaseAfterTheCuts) {
  EXPECT_EQ(Map("en-GB"), "en_GB");
  EXPECT_EQ(Map("EN_GB"), "en_GB");
  EXPECT_EQ(Map("Fr-cA"), "fr_CA");
  EXPECT_EQ(Map("DE"), "de_DE");
  EXPECT_EQ(Map("en-GB-oxendict"), "en_GB");
  // Cut to "es-La", which is the region LA then.
  EXPECT_EQ(Map("es-Latn-ES"), "es_LA");
}

TEST(MapLanguageToLocale, TriesTheLanguageBeforeAHyphenLast) {
  EXPECT_EQ(Map("es-419"), "es_ES");
  EXPECT_EQ(Map("en-AU"), "en_US");
  EXPECT_EQ(Map("FR-CH"), "fr_FR");
  EXPECT_EQ(Map("de-"), "de_DE");
  EXPECT_EQ(Map("de-_-x"), "de_DE");
}

TEST(MapLanguageToLocale, TriesTheLanguageBeforeAnUnderscoreWhereThereIsNoHyphen) {
  EXPECT_EQ(Map("en_AU"), "en_US");
  EXPECT_EQ(Map("FR_CH"), "fr_FR");
  EXPECT_EQ(Map("de__x"), "de_DE");
  // Before the hyphen is "de_x".
  EXPECT_EQ(Map("de_x-"), "none");
}

TEST(MapLanguageToLocale, CutsTheSeparatorOffWhatTheCutsLeft) {
  // "zh-xx-" and what follows: the separator is looked for in the first five characters.
  EXPECT_EQ(Map("zh-xx-yy"), "zh_CN");
  EXPECT_EQ(Map("deutsch-DE"), "none");
}

TEST(MapLanguageToLocale, FailsWithoutASeparator) {
  EXPECT_EQ(Map(""), "none");
  EXPECT_EQ(Map("x"), "none");
  EXPECT_EQ(Map("xx"), "none");
  EXPECT_EQ(Map("english"), "none");
  EXPECT_EQ(Map("de.UT"), "none");
}

TEST(MapLanguageToLocale, FailsWhereTheLanguageIsUnknown) {
  EXPECT_EQ(Map("xx-DE"), "none");
  EXPECT_EQ(Map("xx_DE"), "none");
  EXPECT_EQ(Map("-"), "none");
  EXPECT_EQ(Map("-de"), "none");
  EXPECT_EQ(Map("_de"), "none");
  EXPECT_EQ(Map("ar-SA"), "none");
  EXPECT_EQ(Map("he-IL"), "none");
}

TEST(MapLanguageToLocale, TakesAnyBytes) {
  EXPECT_EQ(Map(std::string_view("de\0", 3)), "none");
  EXPECT_EQ(Map(std::string_view("\0", 1)), "none");
  EXPECT_EQ(Map("\xc3\x84\xff"), "none");
  EXPECT_EQ(Map("de-\xff"), "de_DE");
  // Only the letters from A to Z have a lower case here.
  EXPECT_EQ(Map("\xc4\xc5"), "none");
  EXPECT_EQ(Map("D@"), "none");
  EXPECT_EQ(Map("D["), "none");
}

TEST(MapLanguageToLocale, TakesTheOutputForItsInput) {
  std::string text = "pt-PT";
  EXPECT_TRUE(fileutils::MapLanguageToLocale(text, text));
  EXPECT_EQ(text, "pt_BR");
}

class GetPreferredLocale : public testing::Test {
 protected:
  // The code for a user who prefers these languages.
  std::string Get(std::vector<std::string> languages, std::string locale = "") {
    host_.info.languages = std::move(languages);
    EXPECT_TRUE(fileutils::GetPreferredLocale(locale));
    return locale;
  }

  test::FakeHost host_;
};

TEST_F(GetPreferredLocale, IsThatOfTheFirstLanguage) {
  EXPECT_EQ(Get({"fr-FR", "de", "he"}), "fr_FR");
  EXPECT_EQ(Get({"fr-FR", "de", "he"}, "before"), "fr_FR");
}

TEST_F(GetPreferredLocale, KnowsBritishEnglish) { EXPECT_EQ(Get({"en-GB"}), "en_GB"); }

TEST_F(GetPreferredLocale, TellsChineseByItsScript) {
  EXPECT_EQ(Get({"zh-Hans-CN"}), "zh_CN");
  EXPECT_EQ(Get({"zh-Hant-TW"}), "zh_TW");
}

TEST_F(GetPreferredLocale, TakesLatinAmericanSpanishForSpanish) {
  EXPECT_EQ(Get({"es-419"}), "es_ES");
}

TEST_F(GetPreferredLocale, LooksAtTheCurrentLocaleForArabic) {
  const struct {
    const char* current;
    const char* code;
  } rows[] = {
      {"ar_MA", "fr_MA"},  {"ar_TN", "fr_MA"},  {"ar_DZ", "fr_MA"},      {"AR_dz", "fr_MA"},
      {"ar_ma", "fr_MA"},  {"ar_SA", "en_AE"},  {"ar", "en_AE"},         {"", "en_AE"},
      {"ar-MA", "en_AE"},  {"fr_MA", "en_AE"},  {"ar_MA@rg=x", "en_AE"}, {"ar_M", "en_AE"},
      {"xar_MA", "en_AE"}, {"ar_DZ_", "en_AE"}, {"ar_LB", "en_AE"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.current);
    host_.info.localeIdentifier = row.current;
    for (const std::string language : {"ar", "AR", "Ar", "aR"}) {
      EXPECT_EQ(Get({language, "de"}), row.code);
      EXPECT_EQ(Get({language}, "before"), row.code);
    }
  }
}

TEST_F(GetPreferredLocale, KnowsHebrew) {
  for (const std::string language : {"he", "HE", "He", "hE"}) {
    SCOPED_TRACE(language);
    EXPECT_EQ(Get({language, "de"}), "en_IL");
    EXPECT_EQ(Get({language}, "before"), "en_IL");
  }
}

TEST_F(GetPreferredLocale, PassesOverHebrewWithARegion) {
  EXPECT_EQ(Get({"he-IL"}), "en_US");
  EXPECT_EQ(Get({"he-IL", "fr"}), "fr_FR");
}

TEST_F(GetPreferredLocale, PassesOverArabicWithARegion) {
  host_.info.localeIdentifier = "ar_MA";
  EXPECT_EQ(Get({"ar-SA"}), "en_US");
  EXPECT_EQ(Get({"ar-MA", "fr"}), "fr_FR");
}

TEST_F(GetPreferredLocale, PassesOverUnknownLanguages) {
  EXPECT_EQ(Get({"xx", "de"}), "de_DE");
  EXPECT_EQ(Get({"xx", "", "yy-ZZ", "he"}), "en_IL");
  EXPECT_EQ(Get({"xx", "ar"}), "en_AE");
}

TEST_F(GetPreferredLocale, IsAmericanEnglishWhereNothingDecides) {
  EXPECT_EQ(Get({}), "en_US");
  EXPECT_EQ(Get({"xx"}), "en_US");
  EXPECT_EQ(Get({"xx", "yy"}), "en_US");
  EXPECT_EQ(Get({""}), "en_US");
}

TEST_F(GetPreferredLocale, KeepsWhatWasThereWhereNothingDecides) {
  EXPECT_EQ(Get({}, "de_DE"), "de_DE");
  EXPECT_EQ(Get({"xx"}, "anything"), "anything");
}

TEST_F(GetPreferredLocale, TakesCapitalHongKongWithAnUnderscoreForPlainChinese) {
  EXPECT_EQ(Get({"ZH_HK"}), "zh_CN");
}

}  // namespace
