#ifndef PLATFORM_POSIX_XML_PROPERTY_LIST_H_
#define PLATFORM_POSIX_XML_PROPERTY_LIST_H_

#include <optional>
#include <string>
#include <string_view>

namespace platform {

// Finds the text under `key` in the dictionary at the root of an XML property list; the last one,
// where the key comes several times. No value where the XML is not well-formed or in an encoding
// other than Unicode's and ISO-8859-1, where there is no dictionary, no such key or no string under
// it, and for a list of more than 32,768 of the characters "<" and "=". The bytes are not checked:
// a list that is not valid UTF-8 gives a text that is not.
//
// The root is a "dict" element, or a "plist" element with nothing but one in it. Only its own keys
// are looked at, and that a value follows each: what is in the values of other keys, and what
// stands behind the root, only has to be well-formed.
//
// The work grows with the size of the list and not faster.
[[nodiscard]] std::optional<std::string> FindStringInXmlPropertyList(std::string_view content,
                                                                     std::string_view key);

}  // namespace platform

#endif  // PLATFORM_POSIX_XML_PROPERTY_LIST_H_
