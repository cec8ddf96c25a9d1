#include "platform/property_list.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <plist/plist.h>
#include <string>
#include <string_view>
#include <utility>

#include "platform/checked_file.h"
#include "platform/posix/binary_property_list.h"

namespace platform {

namespace {

constexpr std::size_t kMaxBytes = std::size_t{16} << 20;

// The library frees nested lists by recursion and looks through a dictionary for each key that
// comes again: without a limit a file of a megabyte exhausts the stack, one of 16 takes hours. An
// Info.plist has some thousand at most.
constexpr std::ptrdiff_t kMaxTags = 1 << 15;

struct Releaser {
  void operator()(void* list) const { plist_free(list); }
};

std::optional<std::string> FindStringInXml(std::string_view content, const std::string& key) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (content.starts_with(kByteOrderMark)) content.remove_prefix(kByteOrderMark.size());
  if (std::count(content.begin(), content.end(), '<') > kMaxTags) return std::nullopt;

  plist_t parsed = nullptr;
  plist_from_xml(content.data(), static_cast<std::uint32_t>(content.size()), &parsed);
  const std::unique_ptr<void, Releaser> root(parsed);
  std::uint64_t length = 0;
  // Null for a missing node and for one that is no string. `plist_get_string_val` would abort the
  // process at a string that holds a NUL byte.
  const char* text = plist_get_string_ptr(plist_dict_get_item(root.get(), key.c_str()), &length);
  if (text == nullptr) return std::nullopt;
  return std::string(text, length);
}

}  // namespace

bool ReadPropertyListString(const std::string& path, const std::string& key, std::string* value) {
  std::string content;
  if (ReadWholeFile(path, kMaxBytes, &content) != 0) return false;
  std::optional<std::string> found = IsBinaryPropertyList(content)
                                         ? FindStringInBinaryPropertyList(content, key)
                                         : FindStringInXml(content, key);
  if (!found) return false;
  *value = std::move(*found);
  return true;
}

}  // namespace platform
