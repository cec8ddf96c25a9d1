#include "platform/posix/utf8.h"

#include <cstddef>

namespace platform {

namespace {

// The bytes of a character that begins with `lead`; 0 where none does.
std::size_t CountBytes(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  if (lead < 0xE0) return 2;
  return lead < 0xF0 ? 3 : 4;
}

// Whether `second` may follow `lead`: of some first bytes it makes a longer form than needed, a
// surrogate or a number above 0x10FFFF.
bool IsSecondByte(unsigned char lead, unsigned char second) {
  const unsigned char least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned char most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  return second >= least && second <= most;
}

}  // namespace

void AppendUtf8(char32_t character, std::string* text) {
  const auto append = [text](char32_t byte) { text->push_back(static_cast<char>(byte)); };
  if (character < 0x80) return append(character);
  if (character >= 0x10000) {
    append(0xF0 | character >> 18);
    append(0x80 | (character >> 12 & 0x3F));
  } else if (character >= 0x800) {
    append(0xE0 | character >> 12);
  }
  append(character < 0x800 ? 0xC0 | character >> 6 : 0x80 | (character >> 6 & 0x3F));
  append(0x80 | (character & 0x3F));
}

bool IsUtf8(std::string_view bytes) {
  const auto byteAt = [bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  for (std::size_t i = 0; i < bytes.size();) {
    const unsigned char lead = byteAt(i);
    const std::size_t count = CountBytes(lead);
    if (count == 0 || count > bytes.size() - i) return false;
    if (count > 1 && !IsSecondByte(lead, byteAt(i + 1))) return false;
    for (std::size_t k = 2; k < count; ++k) {
      if ((byteAt(i + k) & 0xC0) != 0x80) return false;
    }
    i += count;
  }
  return true;
}

}  // namespace platform
