#ifndef CMDLINE_COMMAND_LINE_PARSER_H_
#define CMDLINE_COMMAND_LINE_PARSER_H_

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "log/api/abstract_logger.h"

namespace cmdline {

// Turns "--key=value" arguments into a table. Anything else is reported and skipped,
// never fatal.
//
// Messages have the component "CommandLineParser". They go to the logger that was set,
// else where the utilities' messages go (fileutils/log_hooks.h).
class CommandLineParser {
 public:
  // Not owned; null (the initial state) is allowed.
  void SetLogger(dunmar::AbstractLogger* logger) { logger_ = logger; }

  // Reads `argc` arguments. The first is the program's own path and never parsed. The
  // first "=" of an argument ends its key; without one the value is empty. Keys are
  // kept without their "--", as they are: "Install" is not "install". The first of
  // several values of a key stays. Arguments that begin with "-psn" are passed over.
  // False only where `argc` is not positive. A further call adds to the table. Null
  // arguments count as empty.
  bool Parse(int argc, const char* const* argv);

  // The value of a key, exactly as given. False, `value` unchanged, where it is absent.
  [[nodiscard]] bool GetValue(std::string_view key, std::string& value) const;

 private:
  void ParseArgument(const char* argument);

  std::map<std::string, std::string, std::less<>> arguments_;
  dunmar::AbstractLogger* logger_ = nullptr;
};

}  // namespace cmdline

#endif  // CMDLINE_COMMAND_LINE_PARSER_H_
