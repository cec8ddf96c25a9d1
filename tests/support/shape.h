#ifndef TESTS_SUPPORT_SHAPE_H_
#define TESTS_SUPPORT_SHAPE_H_

#include <algorithm>
#include <string_view>

namespace test {

// Whether a text has a shape such as "99/99/99": each "9" stands for a digit, whatever else for
// itself.
[[nodiscard]] inline bool HasShape(std::string_view text, std::string_view shape) {
  return std::equal(text.begin(), text.end(), shape.begin(), shape.end(), [](char c, char wanted) {
    return wanted == '9' ? c >= '0' && c <= '9' : c == wanted;
  });
}

// That of a record's timestamp.
inline constexpr std::string_view kTimestampShape = "99/99/99 99:99:99:999";

}  // namespace test

#endif  // TESTS_SUPPORT_SHAPE_H_
