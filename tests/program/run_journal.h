#ifndef TESTS_PROGRAM_RUN_JOURNAL_H_
#define TESTS_PROGRAM_RUN_JOURNAL_H_

#include <cstdio>
#include <memory>
#include <string>

#include "tests/support/tree.h"

namespace test {

// What runs of the program did, written down so that those of two builds can be compared
// (script/compare_builds): in the folder that ZINT_RUN_JOURNAL names a file for each test, with the
// exit status, what became of the tree and what is now in it. What differs from run to run is
// masked: times, and the number of the thread in a log's records. Without the variable nothing
// happens.
class RunJournal {
 public:
  // Opens the running test's file; what it holds stays. To be made before the root is changed.
  RunJournal();

  void Write(int status, const Tree& before, const Tree& after);

 private:
  struct Close {
    void operator()(std::FILE* file) const { (void)std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Close> file_;
};

// The masking, for one text: that of a path or of a file.
[[nodiscard]] std::string MaskTimes(const std::string& text);

}  // namespace test

#endif  // TESTS_PROGRAM_RUN_JOURNAL_H_
