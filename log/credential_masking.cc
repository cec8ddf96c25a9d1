#include "log/credential_masking.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace dunmar {

namespace {

char ToLower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

// The closing tag may stand before the content, and what is between is repeated then.
void ReplaceContent(std::string& text, std::size_t contentStart, std::size_t closeStart) {
  text.replace(contentStart, std::string::npos, "****" + text.substr(closeStart));
}

}  // namespace

void InitMaskedKeys(std::vector<std::string>& maskedKeys) {
  maskedKeys.insert(maskedKeys.end(),
                    {"proxyusername", "proxy-user", "proxyuser", "user", "username",
                     "proxy-password", "proxypassword", "password", "proxypass"});
}

void MaskCredentials(const std::vector<std::string>& maskedKeys, std::string_view text,
                     std::string& out) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), ToLower);
  for (const std::string& key : maskedKeys) {
    const std::string openTag = "<" + key + ">";
    const std::size_t openStart = lower.find(openTag);
    if (openStart == std::string::npos) continue;
    const std::size_t closeStart = lower.find("</" + key + ">");
    const std::size_t contentStart = openStart + openTag.size();
    if (closeStart == std::string::npos || closeStart == contentStart) continue;
    ReplaceContent(out, contentStart, closeStart);
    ReplaceContent(lower, contentStart, closeStart);  // positions stay those of `out`
  }
}

}  // namespace dunmar
