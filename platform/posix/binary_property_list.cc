#include "platform/posix/binary_property_list.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/posix/utf8.h"

namespace platform {

namespace {

constexpr std::string_view kMagic = "bplist00";
constexpr std::size_t kTrailerBytes = 32;

// The kinds of objects that matter here.
constexpr std::uint64_t kInteger = 0x1;
constexpr std::uint64_t kAsciiString = 0x5;
constexpr std::uint64_t kUtf16String = 0x6;
constexpr std::uint64_t kDictionary = 0xD;

constexpr std::uint64_t kCountFollows = 15;

bool IsWidth(std::uint64_t width) { return width >= 1 && width <= 8; }

// No value for a number of an impossible width or not wholly inside of `bytes`.
std::optional<std::uint64_t> ReadNumber(std::string_view bytes, std::uint64_t offset,
                                        std::uint64_t width) {
  if (!IsWidth(width) || bytes.size() < width || offset > bytes.size() - width) {
    return std::nullopt;
  }
  std::uint64_t number = 0;
  for (const char byte : bytes.substr(offset, width)) {
    number = number << 8 | static_cast<unsigned char>(byte);
  }
  return number;
}

// `bytes` are whole units. No value where a surrogate stands alone.
std::optional<std::string> Utf8FromUtf16(std::string_view bytes) {
  std::string text;
  char32_t high = 0;
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    const auto unit = static_cast<char32_t>(*ReadNumber(bytes, i, 2));
    const bool isLow = unit >= 0xDC00 && unit < 0xE000;
    if (isLow != (high != 0)) return std::nullopt;
    if (isLow) {
      AppendUtf8(0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00), &text);
      high = 0;
    } else if (unit >= 0xD800 && unit < 0xDC00) {
      high = unit;
    } else {
      AppendUtf8(unit, &text);
    }
  }
  if (high != 0) return std::nullopt;
  return text;
}

struct List {
  std::string_view objects;
  std::string_view offsets;
  std::uint64_t offsetWidth;
  std::uint64_t referenceWidth;
  std::uint64_t objectCount;
  std::uint64_t root;
};

struct Object {
  std::uint64_t kind;
  std::uint64_t count;
  std::string_view data;  // and whatever follows it
};

std::optional<List> OpenList(std::string_view content) {
  if (!IsBinaryPropertyList(content) || content.size() < kMagic.size() + kTrailerBytes) {
    return std::nullopt;
  }
  const std::string_view trailer = content.substr(content.size() - kTrailerBytes);
  content.remove_suffix(kTrailerBytes);
  const std::uint64_t offsetWidth = *ReadNumber(trailer, 6, 1);
  const std::uint64_t referenceWidth = *ReadNumber(trailer, 7, 1);
  const std::uint64_t table = *ReadNumber(trailer, 24, 8);
  if (!IsWidth(offsetWidth) || !IsWidth(referenceWidth) || table > content.size()) {
    return std::nullopt;
  }
  return List{.objects = content.substr(0, table),
              .offsets = content.substr(table),
              .offsetWidth = offsetWidth,
              .referenceWidth = referenceWidth,
              .objectCount = *ReadNumber(trailer, 8, 8),
              .root = *ReadNumber(trailer, 16, 8)};
}

std::optional<Object> FindObject(const List& list, std::uint64_t reference) {
  // The table has at least a byte for each object; with that, no product below overflows.
  if (reference >= list.objectCount || reference >= list.offsets.size()) return std::nullopt;
  const auto offset = ReadNumber(list.offsets, reference * list.offsetWidth, list.offsetWidth);
  if (!offset) return std::nullopt;
  const auto marker = ReadNumber(list.objects, *offset, 1);
  if (!marker) return std::nullopt;
  Object object = {*marker >> 4, *marker & 0xF, list.objects.substr(*offset + 1)};
  if (object.count != kCountFollows) return object;

  const auto countMarker = ReadNumber(object.data, 0, 1);
  if (!countMarker || *countMarker >> 4 != kInteger) return std::nullopt;
  const std::uint64_t width = std::uint64_t{1} << (*countMarker & 0xF);
  const auto count = ReadNumber(object.data, 1, width);
  if (!count) return std::nullopt;
  object.count = *count;
  object.data.remove_prefix(1 + width);
  return object;
}

std::optional<std::string> ReadString(const Object& object) {
  if (object.kind == kAsciiString && object.count <= object.data.size()) {
    return std::string(object.data.substr(0, object.count));
  }
  if (object.kind == kUtf16String && object.count <= object.data.size() / 2) {
    return Utf8FromUtf16(object.data.substr(0, 2 * object.count));
  }
  return std::nullopt;
}

// Whether the string `object` is `text`. A longer one is not even read: the same long key may stand
// in a dictionary millions of times.
bool IsString(const Object& object, std::string_view text) {
  return object.count <= text.size() && ReadString(object) == text;
}

}  // namespace

bool IsBinaryPropertyList(std::string_view content) { return content.starts_with(kMagic); }

std::optional<std::string> FindStringInBinaryPropertyList(std::string_view content,
                                                          std::string_view key) {
  const std::optional<List> list = OpenList(content);
  if (!list) return std::nullopt;
  const std::optional<Object> root = FindObject(*list, list->root);
  if (!root || root->kind != kDictionary) return std::nullopt;
  const std::uint64_t width = list->referenceWidth;
  if (root->count > root->data.size() / (2 * width)) return std::nullopt;
  for (std::uint64_t i = 0; i < root->count; ++i) {
    const auto name = FindObject(*list, *ReadNumber(root->data, i * width, width));
    if (!name || !IsString(*name, key)) continue;
    const auto value = FindObject(*list, *ReadNumber(root->data, (root->count + i) * width, width));
    return value ? ReadString(*value) : std::nullopt;
  }
  return std::nullopt;
}

}  // namespace platform
