#include "platform/property_list.h"

#include <optional>
#include <string>
#include <utility>

#include "platform/checked_file.h"
#include "platform/posix/binary_property_list.h"
#include "platform/posix/utf8.h"
#include "platform/posix/xml_property_list.h"

namespace platform {

bool ReadPropertyListString(const std::string& path, const std::string& key, std::string* value) {
  std::string content;
  if (ReadWholeFile(path, kMaxPropertyListBytes, &content) != 0) return false;
  std::optional<std::string> found = IsBinaryPropertyList(content)
                                         ? FindStringInBinaryPropertyList(content, key)
                                         : FindStringInXmlPropertyList(content, key);
  if (!found || !IsUtf8(*found)) return false;
  *value = std::move(*found);
  return true;
}

}  // namespace platform
