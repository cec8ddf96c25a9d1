#include "log/record_format.h"

#include <charconv>
#include <cstdio>

#include "log/credential_masking.h"
#include "log/local_time.h"
#include "platform/clock.h"
#include "platform/host.h"
#include "platform/process_identity.h"
#include "platform/thread_id.h"

namespace dunmar {

namespace {

constexpr std::size_t kMaxDigits = 20;
constexpr std::size_t kTokenStartBytes = 3;  // "eyJ"
constexpr std::string_view kTokenText = "Found access/device token. Log skipped.";

template <typename Number>
void AppendDecimal(Number number, std::string& out) {
  std::array<char, kMaxDigits> digits;
  out.append(digits.data(), std::to_chars(digits.begin(), digits.end(), number).ptr);
}

// As "%.3d".
void AppendMilliseconds(std::int32_t milliseconds, std::string& out) {
  if (milliseconds < 0) out += '-';
  const std::int32_t amount = milliseconds < 0 ? -milliseconds : milliseconds;
  if (amount < 100) out += '0';
  if (amount < 10) out += '0';
  AppendDecimal(amount, out);
}

}  // namespace

int FormatMessage(char* buffer, std::size_t bufferBytes, const char* format, va_list* arguments) {
  if (arguments == nullptr || bufferBytes < 2) return 0;
  const std::size_t limit = bufferBytes - 1;
  // Where the arguments cannot be formatted, C does not promise a NUL: there is one in any case.
  buffer[0] = '\0';
  const int length = std::vsnprintf(buffer, limit, format, *arguments);
  buffer[limit - 1] = '\0';
  return length;
}

void FormatTimestamp(std::int64_t timeMs, TimestampCache& cache, std::int64_t& lastRecordTime,
                     std::string& out) {
  platform::TimeOfDay time = {.seconds = timeMs / 1000,
                              .microseconds = static_cast<std::int32_t>(timeMs % 1000 * 1000)};
  if (timeMs == 0) time = platform::CurrentHost().clock->Now();
  lastRecordTime = time.seconds;
  if (cache.length == 0 || cache.seconds != time.seconds) {
    cache.length = FormatLocalTime(time.seconds, "%x %X", cache.text.data(), cache.text.size());
    cache.seconds = time.seconds;
  }
  out.append(cache.text.data(), cache.length);
  out += ':';
  AppendMilliseconds(time.microseconds / 1000, out);
}

std::string GetThreadIdText(bool logThreadId) {
  return logThreadId ? std::to_string(platform::CurrentThreadId()) : std::string();
}

bool HoldsAccessToken(std::string_view message) {
  // "J" is rare in messages, "e" and "." are not.
  bool holdsStart = false;
  for (std::size_t i = message.find('J'); i != std::string_view::npos;
       i = message.find('J', i + 1)) {
    if (!message.substr(0, i + 1).ends_with("eyJ")) continue;
    if (holdsStart && message[i - kTokenStartBytes] == '.') return true;
    holdsStart = true;
  }
  return false;
}

void FormatRecord(const RecordContext& context, std::int64_t timeMs, LogLevel level,
                  const RecordTexts& texts, std::string_view message, std::string& out) {
  std::string masked;
  if (HoldsAccessToken(message)) {
    message = kTokenText;
    level = kWarn;
  } else if (message.find('<') != std::string_view::npos) {
    // Every tag begins so: most messages need no copy.
    masked = message;
    MaskCredentials(context.maskedKeys, message, masked);
    message = masked;
  }
  FormatTimestamp(timeMs, context.timestampCache, context.lastRecordTime, out);
  out += context.separator;
  out += '[';
  out += GetLevelName(level);
  out += ']';
  out += context.separator;
  for (const char* text : texts) {
    if (text != nullptr) out += text;
    out += context.separator;
  }
  out += GetThreadIdText(context.logThreadId);
  out += context.separator;
  AppendDecimal(platform::CurrentHost().identity->EffectiveUser(), out);
  out += context.separator;
  out += message;
}

}  // namespace dunmar
