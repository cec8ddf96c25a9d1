#ifndef TESTS_FOUNDATION_STAND_INS_H_
#define TESTS_FOUNDATION_STAND_INS_H_

#include <string>
#include <vector>

// The macOS half on Linux runs against GNUstep's Foundation. What GNUstep lacks, or cannot do
// without a desktop, is stood in for here: the console-user query and `Gestalt`, which answer as
// the POSIX half would, so that both builds can be compared; the search-path folders of macOS;
// images and the workspace, which record what they were asked.

namespace test {

// The icons that were set since the program began, e.g. "12 bytes -> /folder", "none -> /folder"
// where there was no image.
[[nodiscard]] std::vector<std::string>& SetIcons();

// Whether the process tells its operating-system version; where not, `Gestalt` is asked. True at
// first.
void SetTellsOperatingSystemVersion(bool tells);

// What `Gestalt` was asked since the program began, and the selector with which it fails; none (0)
// at first.
[[nodiscard]] std::vector<unsigned int>& GestaltSelectors();
void SetFailingSelector(unsigned int selector);

}  // namespace test

#endif  // TESTS_FOUNDATION_STAND_INS_H_
