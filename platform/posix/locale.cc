#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/host_parts.h"

namespace platform {

namespace {

// The parts of "language[_territory][.codeset][@modifier]", as setlocale(3) takes it.
struct Locale {
  std::string language;
  std::string script;
  std::string region;
};

std::string_view Text(const char* variable) {
  return variable == nullptr ? std::string_view() : variable;
}

// The one that decides about messages; empty where none is set.
std::string_view LocaleInForce(const LocaleVariables& variables) {
  for (const char* const variable : {variables.lcAll, variables.lcMessages, variables.lang}) {
    if (!Text(variable).empty()) return variable;
  }
  return {};
}

std::string_view WithoutModifierAndCodeset(std::string_view text) {
  return text.substr(0, text.find_first_of(".@"));
}

bool IsPlain(std::string_view text) {
  const std::string_view name = WithoutModifierAndCodeset(text);
  return name == "C" || name == "POSIX";
}

// No value where the text names no language.
std::optional<Locale> Parse(std::string_view text) {
  if (IsPlain(text)) return std::nullopt;
  const std::string_view name = WithoutModifierAndCodeset(text);
  const std::size_t separator = name.find('_');
  Locale locale;
  locale.language = name.substr(0, separator);
  if (locale.language.empty()) return std::nullopt;
  if (separator != std::string_view::npos) locale.region = name.substr(separator + 1);
  const std::size_t at = text.find('@');
  if (at != std::string_view::npos && text.substr(at + 1) == "latin") locale.script = "Latn";
  return locale;
}

std::string Identifier(const Locale& locale) {
  std::string text = locale.language;
  if (!locale.script.empty()) text += '-' + locale.script;
  if (!locale.region.empty()) text += '_' + locale.region;
  return text;
}

std::string LanguageTag(const Locale& locale) {
  std::string text = Identifier(locale);
  std::replace(text.begin(), text.end(), '_', '-');
  return text;
}

}  // namespace

std::vector<std::string> LanguagesOf(const LocaleVariables& variables) {
  const std::string_view inForce = LocaleInForce(variables);
  std::vector<std::string> languages;
  if (IsPlain(inForce)) return languages;
  // A list in the order of preference, separated by colons.
  std::string_view rest = Text(variables.language);
  if (rest.empty()) rest = inForce;
  while (!rest.empty()) {
    const std::string_view entry = rest.substr(0, rest.find(':'));
    rest.remove_prefix(std::min(entry.size() + 1, rest.size()));
    if (const std::optional<Locale> locale = Parse(entry)) {
      languages.push_back(LanguageTag(*locale));
    }
  }
  return languages;
}

std::string LocaleIdentifierOf(const LocaleVariables& variables) {
  const std::optional<Locale> locale = Parse(LocaleInForce(variables));
  return locale ? Identifier(*locale) : "";
}

}  // namespace platform
