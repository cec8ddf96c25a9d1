#include "cmdline/command_line_parser.h"

#include <cstddef>

#include "fileutils/log_hooks.h"
#include "log/api/level.h"

namespace cmdline {

namespace {

constexpr const char* kComponent = "CommandLineParser";

const char* ArgumentAt(const char* const* argv, int index) {
  const char* const argument = argv == nullptr ? nullptr : argv[index];
  return argument == nullptr ? "" : argument;
}

}  // namespace

bool CommandLineParser::Parse(int argc, const char* const* argv) {
  FILEUTILS_LOG(logger_, dunmar::kInfo, kComponent,
                "Parsing the command line provided. Number of command line arguments is %d", argc);
  if (argc <= 0) {
    FILEUTILS_LOG(logger_, dunmar::kError, kComponent,
                  "Argument count is zero. There should be at least one i.e. name of application.");
    return false;
  }
  FILEUTILS_LOG(logger_, dunmar::kDebug, kComponent,
                "First command line argument is %s, Assuming the first argument to be executable "
                "address ignoring it.",
                ArgumentAt(argv, 0));
  for (int index = 1; index < argc; ++index) ParseArgument(ArgumentAt(argv, index));
  return true;
}

bool CommandLineParser::GetValue(std::string_view key, std::string& value) const {
  const auto entry = arguments_.find(key);
  if (entry == arguments_.end()) return false;
  value = entry->second;
  return true;
}

void CommandLineParser::ParseArgument(const char* argument) {
  FILEUTILS_LOG(logger_, dunmar::kDebug, kComponent, "Argument specified is %s", argument);
  const std::string_view text(argument);
  // The process serial number, which the launcher of macOS may add.
  if (text.starts_with("-psn")) return;
  const std::size_t separator = text.find('=');
  std::string_view key = text.substr(0, separator);
  if (!key.starts_with("--")) {
    FILEUTILS_LOG(logger_, dunmar::kError, kComponent,
                  "The \"--\" is not there for the argument. Every argument should have \"--\"");
    return;
  }
  key.remove_prefix(2);
  if (key.empty()) {
    FILEUTILS_LOG(logger_, dunmar::kError, kComponent, "The argument key is empty for %s",
                  argument);
    return;
  }
  const std::string_view value =
      separator == std::string_view::npos ? std::string_view() : text.substr(separator + 1);
  const auto [entry, isNew] = arguments_.try_emplace(std::string(key), value);
  if (!isNew) {
    // Whoever reads these logs looks for this spelling.
    FILEUTILS_LOG(logger_, dunmar::kError, kComponent, "The argument %s already sepecified",
                  entry->first.c_str());
  }
}

}  // namespace cmdline
