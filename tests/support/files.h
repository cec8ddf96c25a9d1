#ifndef TESTS_SUPPORT_FILES_H_
#define TESTS_SUPPORT_FILES_H_

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

// Arranging and examining files in tests. A failure to arrange is a failure of the test,
// with the error's text (ADD_FAILURE), so that calls need no check of their own.

namespace test {

void MakeDirs(const std::string& path);  // with missing parents, mode 0755 whatever the umask
void PutFile(const std::string& path, std::string_view content);         // mode 0644, parents made
void MakeLink(const std::string& path, const std::string& destination);  // symbolic
void MakeHardLink(const std::string& path, const std::string& existing);
void MakeFifo(const std::string& path);
void SetMode(const std::string& path, mode_t mode);
void SetOwner(const std::string& path, uid_t uid, gid_t gid);  // of a link: its own

// No value where the file cannot be read.
[[nodiscard]] std::optional<std::string> GetFile(const std::string& path);
// The text of a symbolic link; no value where the item is none.
[[nodiscard]] std::optional<std::string> GetLink(const std::string& path);
// lstat's answers; no value where nothing is there.
[[nodiscard]] std::optional<mode_t> GetMode(const std::string& path);  // permission bits
[[nodiscard]] std::optional<uid_t> GetOwner(const std::string& path);
[[nodiscard]] std::optional<gid_t> GetGroup(const std::string& path);
// Whether names in the folder may hold any bytes, not UTF-8 alone as on APFS.
[[nodiscard]] bool TakesAnyBytes(const std::string& folder);
// Anything is there, a dangling link included.
[[nodiscard]] bool IsThere(const std::string& path);

// Sets the umask for a scope.
class ScopedUmask {
 public:
  explicit ScopedUmask(mode_t mask);
  ~ScopedUmask();
  ScopedUmask(const ScopedUmask&) = delete;
  ScopedUmask& operator=(const ScopedUmask&) = delete;

 private:
  mode_t previous_;
};

}  // namespace test

#endif  // TESTS_SUPPORT_FILES_H_
