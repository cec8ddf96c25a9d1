#include "fileutils/locale_mapping.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host.h"
#include "platform/host_info.h"

namespace fileutils {

namespace {

// Of several countries of a language the first one has the bare language.
constexpr std::array<std::string_view, 31> kCodes = {
    "cs_CZ", "da_DK", "de_DE", "el_GR", "en_US", "en_GB", "es_ES", "es_LA",
    "es_NA", "es_MX", "fi_FI", "fr_FR", "fr_CA", "hu_HU", "id_ID", "it_IT",
    "ja_JP", "ko_KR", "nb_NO", "nl_NL", "pl_PL", "pt_BR", "ro_RO", "ru_RU",
    "sv_SE", "th_TH", "tr_TR", "uk_UA", "vi_VN", "zh_CN", "zh_TW",
};

constexpr std::size_t kLanguageLength = 2;  // of the "xx" of a code
constexpr std::size_t kScriptLength = 7;    // of "xx-Yyyy"
constexpr std::size_t kRegionLength = 5;    // of "xx-YY"

// The keys that follow no rule. Those of Hong Kong have no twin "zh_hk", on purpose: that is plain
// Chinese (the test TakesLowerCaseHongKongWithAnUnderscoreForPlainChinese).
struct IrregularKey {
  std::string_view key;
  std::string_view code;
};
constexpr std::array<IrregularKey, 4> kIrregularKeys = {{
    {"zh-Hans", "zh_CN"},
    {"zh-Hant", "zh_TW"},
    {"zh-hk", "zh_TW"},
    {"zh_HK", "zh_TW"},
}};

class Entry {
 public:
  constexpr Entry() = default;
  constexpr Entry(std::string_view key, std::string_view code) : length_(key.size()), code_(code) {
    std::copy(key.begin(), key.end(), text_.begin());
  }
  [[nodiscard]] constexpr std::string_view Key() const { return {text_.data(), length_}; }
  [[nodiscard]] constexpr std::string_view Code() const { return code_; }

 private:
  std::array<char, kScriptLength> text_ = {};
  std::size_t length_ = 0;
  std::string_view code_;
};

constexpr bool KeyIsLess(const Entry& first, const Entry& second) {
  return first.Key() < second.Key();
}

constexpr bool KeyIsEqual(const Entry& first, const Entry& second) {
  return first.Key() == second.Key();
}

// As `tolower` in the C locale.
constexpr char LowerCaseByte(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

using Table = std::array<Entry, 122>;

consteval Table MakeTable() {
  Table table;
  std::size_t count = 0;
  std::string_view previous;
  for (const std::string_view code : kCodes) {
    std::array<char, kRegionLength> lower = {};
    std::transform(code.begin(), code.end(), lower.begin(), LowerCaseByte);
    const std::string_view key(lower.data(), lower.size());
    const std::string_view language = code.substr(0, kLanguageLength);
    if (language != previous) table.at(count++) = Entry(language, code);
    previous = language;
    table.at(count++) = Entry(code, code);
    table.at(count++) = Entry(key, code);
    lower[kLanguageLength] = '-';
    table.at(count++) = Entry(key, code);
  }
  for (const IrregularKey& irregular : kIrregularKeys) {
    table.at(count++) = Entry(irregular.key, irregular.code);
  }
  std::sort(table.begin(), table.end(), KeyIsLess);
  return table;
}

constexpr Table kTable = MakeTable();

static_assert(!kTable.front().Key().empty(), "no place left");
static_assert(std::adjacent_find(kTable.begin(), kTable.end(), KeyIsEqual) == kTable.end(),
              "no key twice");

bool LookUp(std::string_view key, std::string& locale) {
  const auto found = std::lower_bound(
      kTable.begin(), kTable.end(), key,
      [](const Entry& entry, std::string_view text) { return entry.Key() < text; });
  if (found == kTable.end() || found->Key() != key) return false;
  locale = found->Code();
  return true;
}

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = LowerCaseByte(c);
  return lower;
}

// For Arabic, which is no language of the table.
std::string_view ChooseArabic(const std::string& localeIdentifier) {
  const std::string locale = LowerCase(localeIdentifier);
  return locale == "ar_dz" || locale == "ar_tn" || locale == "ar_ma" ? "fr_MA" : "en_AE";
}

// False, `locale` unchanged, where none decides.
bool MapFirst(const std::vector<std::string>& languages, std::string& locale) {
  for (const std::string& language : languages) {
    const std::string lower = LowerCase(language);
    if (lower == "ar") {
      locale = ChooseArabic(platform::CurrentHost().info->CurrentLocaleIdentifier());
      return true;
    }
    if (lower == "he") {
      locale = "en_IL";
      return true;
    }
    if (MapLanguageToLocale(language, locale)) return true;
  }
  return false;
}

}  // namespace

bool MapLanguageToLocale(std::string_view language, std::string& locale) {
  if (LookUp(language, locale)) return true;
  if (language.size() > kScriptLength) {
    language = language.substr(0, kScriptLength);
    if (LookUp(language, locale)) return true;
  }
  if (language.size() > kRegionLength) {
    language = language.substr(0, kRegionLength);
    if (LookUp(language, locale)) return true;
  }
  std::string key = LowerCase(language);
  if (LookUp(key, locale)) return true;
  std::size_t separator = key.find('-');
  if (separator == std::string::npos) separator = key.find('_');
  if (separator == std::string::npos) return false;
  key.resize(separator);
  return LookUp(key, locale);
}

bool GetPreferredLocale(std::string& locale) {
  const std::vector<std::string> languages = platform::CurrentHost().info->PreferredLanguages();
  if (!MapFirst(languages, locale) && locale.empty()) locale = "en_US";
  return true;
}

}  // namespace fileutils
