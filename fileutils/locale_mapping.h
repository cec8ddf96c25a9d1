#ifndef FILEUTILS_LOCALE_MAPPING_H_
#define FILEUTILS_LOCALE_MAPPING_H_

#include <string>
#include <string_view>

// The installer family speaks of user-interface languages by 31 codes of the form "xx_YY".

namespace fileutils {

// The code of one language as the platform writes it, with hyphens or underscores, with or without
// script and region. False, `locale` unchanged, where it has none.
//
//   "en-GB" -> "en_GB"        "zh-Hans-CN" -> "zh_CN"   "es-419" -> "es_ES"
//   "fr" -> "fr_FR"           "ZH_HK" -> "zh_CN"        "he-IL" -> false
[[nodiscard]] bool MapLanguageToLocale(std::string_view language, std::string& locale);

// The code for the user: that of the first preferred language which has one. Arabic and Hebrew,
// exactly "ar" and "he" in any case, have results of their own that are no codes: "fr_MA" for
// Arabic where the current locale is that of Algeria, Tunisia or Morocco, else "en_AE"; "en_IL".
// Where no language decides, `locale` stays what it was, and is "en_US" if that was nothing.
// Always true.
bool GetPreferredLocale(std::string& locale);

}  // namespace fileutils

#endif  // FILEUTILS_LOCALE_MAPPING_H_
