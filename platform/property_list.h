#ifndef PLATFORM_PROPERTY_LIST_H_
#define PLATFORM_PROPERTY_LIST_H_

#include <string>

namespace platform {

// dictionaryWithContentsOfFile: of NSDictionary and one lookup: the text under
// `key` in the dictionary at the root of the property list `path`. False,
// `value` unchanged, where there is no such file, no dictionary in it, no such
// key, or the value is not a string.
//
// POSIX half: XML (of at most 32,768 tags) and binary lists of at most 16 MiB in
// a regular file; links are followed under the owner rule of path_walk.h. Of a
// binary list only what leads to the value is looked at.
[[nodiscard]] bool ReadPropertyListString(const std::string& path, const std::string& key,
                                          std::string* value);

}  // namespace platform

#endif  // PLATFORM_PROPERTY_LIST_H_
