#include "platform/temporary_name.h"

#include <array>
#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "platform/system_calls.h"

namespace platform {

namespace {

constexpr std::size_t kDigits = 16;

}  // namespace

bool MakeTemporaryName(std::string_view prefix, std::string* name) {
  std::uint64_t random = 0;
  if (Calls().getentropy(&random, sizeof random) != 0) return false;
  std::array<char, kDigits + 1> digits = {};
  (void)std::snprintf(digits.data(), digits.size(), "%016" PRIx64, random);
  *name = std::string(prefix).append(digits.data());
  return true;
}

bool IsTemporaryName(std::string_view prefix, std::string_view name) {
  return name.size() == prefix.size() + kDigits && name.starts_with(prefix) &&
         name.find_first_not_of("0123456789abcdef", prefix.size()) == std::string_view::npos;
}

}  // namespace platform
