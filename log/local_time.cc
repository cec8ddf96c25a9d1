#include "log/local_time.h"

#include <array>

#include "platform/clock.h"
#include "platform/host.h"

namespace dunmar {

namespace {

constexpr std::int64_t kDaySeconds = 86400;
constexpr std::size_t kDateTimeBufferBytes = 64;  // also for years of ten digits

std::string LocalTimeText(std::int64_t seconds, const char* format) {
  std::array<char, kDateTimeBufferBytes> buffer;
  const std::size_t length = FormatLocalTime(seconds, format, buffer.data(), buffer.size());
  return {buffer.data(), length};
}

}  // namespace

void RefreshTimeZone() { ::tzset(); }

bool ToLocalTime(std::int64_t seconds, std::tm* local) {
  const std::time_t time = seconds;
  std::tm converted = {};
  if (::localtime_r(&time, &converted) == nullptr) return false;
  *local = converted;
  return true;
}

std::size_t FormatLocalTime(std::int64_t seconds, const char* format, char* buffer,
                            std::size_t bufferBytes) {
  if (bufferBytes == 0) return 0;
  std::size_t length = 0;
  if (std::tm local = {}; ToLocalTime(seconds, &local)) {
    // A literal could not be "%x" either: its year of two digits is warned about.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    length = std::strftime(buffer, bufferBytes, format, &local);
#pragma GCC diagnostic pop
  }
  if (length == 0) buffer[0] = '\0';  // what `strftime` leaves when the text does not fit is open
  return length;
}

std::string GetDateText(int days) {
  const std::int64_t now = platform::CurrentHost().clock->Now().seconds;
  // Modulo 2^64: a sum that overflows is a year that cannot be converted either.
  const auto then = static_cast<std::int64_t>(static_cast<std::uint64_t>(now) +
                                              static_cast<std::uint64_t>(days * kDaySeconds));
  return LocalTimeText(then, "%Y-%m-%d");
}

std::string GetDateTimeText() {
  return LocalTimeText(platform::CurrentHost().clock->Now().seconds, "%Y-%m-%d %H-%M-%S");
}

}  // namespace dunmar
