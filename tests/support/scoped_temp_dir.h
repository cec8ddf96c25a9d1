#ifndef TESTS_SUPPORT_SCOPED_TEMP_DIR_H_
#define TESTS_SUPPORT_SCOPED_TEMP_DIR_H_

#include <string>

namespace test {

// A fresh, empty folder (mode 0755) whose path holds no link, removed with its content at the
// end of the scope, links in it not followed. Ends the test program where it cannot be had.
class ScopedTempDir {
 public:
  ScopedTempDir();
  ~ScopedTempDir();
  ScopedTempDir(const ScopedTempDir&) = delete;
  ScopedTempDir& operator=(const ScopedTempDir&) = delete;

  // Absolute, without a trailing "/".
  [[nodiscard]] const std::string& Path() const { return path_; }

  // Path() + "/" + `relative`.
  [[nodiscard]] std::string Join(const std::string& relative) const;

 private:
  std::string path_;
};

}  // namespace test

#endif  // TESTS_SUPPORT_SCOPED_TEMP_DIR_H_
