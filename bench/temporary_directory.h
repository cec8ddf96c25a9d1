#ifndef BENCH_TEMPORARY_DIRECTORY_H_
#define BENCH_TEMPORARY_DIRECTORY_H_

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

#include "platform/item_removal.h"

namespace bench {

[[noreturn]] inline void Fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

// A fresh directory, removed at the end of the scope with whatever is in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory()
      : path_((std::filesystem::canonical(std::filesystem::temp_directory_path()) / "bench.XXXXXX")
                  .string()) {
    if (mkdtemp(path_.data()) == nullptr) Fail("mkdtemp");
  }
  ~TemporaryDirectory() { (void)platform::RemoveItem(path_, nullptr); }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  [[nodiscard]] const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace bench

#endif  // BENCH_TEMPORARY_DIRECTORY_H_
