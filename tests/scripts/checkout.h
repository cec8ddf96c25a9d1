#ifndef TESTS_SCRIPTS_CHECKOUT_H_
#define TESTS_SCRIPTS_CHECKOUT_H_

#include <string>
#include <sys/types.h>
#include <vector>

#include "tests/support/scoped_temp_dir.h"

namespace test {

struct Outcome {
  int status = -1;      // -1: it did not end by itself
  std::string output;   // standard output; on a terminal all that is shown there
  std::string message;  // standard error
};

// The commands in `script/` with what they read, in a folder of their own. They find the everyday
// tools of the system on their path, CMake, and the stand-ins that a test puts there; no compiler
// and nothing that installs one.
class Checkout {
 public:
  Checkout();

  // A stand-in: the text of a shell script.
  void PutCommand(const std::string& name, const std::string& text) const;
  // Stand-ins by which `script/bootstrap` finds that nothing is missing.
  void PutAllThatIsNeeded() const;

  // Runs `words` with a shell in the folder of the checkout, as another user where one is given.
  [[nodiscard]] Outcome Run(const std::string& words, uid_t user = 0) const;
  // The same on a terminal.
  [[nodiscard]] Outcome RunOnTerminal(const std::string& words) const;

  // The commands that are in `script/`.
  [[nodiscard]] std::vector<std::string> Commands() const;
  [[nodiscard]] std::string Path() const { return folder_.Join("checkout"); }
  [[nodiscard]] std::string Join(const std::string& relative) const {
    return folder_.Join("checkout/" + relative);
  }

 private:
  [[noreturn]] void Execute(const std::string& words) const;

  ScopedTempDir folder_;
};

}  // namespace test

#endif  // TESTS_SCRIPTS_CHECKOUT_H_
