#ifndef TESTS_PROGRAM_LOG_RECORDS_H_
#define TESTS_PROGRAM_LOG_RECORDS_H_

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "tests/program/throw_away_root.h"

namespace test {

// A record of a log, by its eleven fields.
struct Record {
  std::string timestamp;
  std::string level;  // with its brackets
  std::array<std::string, 6> texts;
  std::string thread;
  std::string user;
  std::string message;
};

// The records of the text of a log. A line that does not begin as a record does belongs to the
// message of the one before. Anything else that is no record fails the test.
[[nodiscard]] std::vector<Record> SplitRecords(std::string_view text);

// The records of the log at a path. Fails the test where it cannot be read.
[[nodiscard]] std::vector<Record> ReadLog(const std::string& path);

// Records as the tests compare them: "[INFO] CommandLineParser: Parsing the command line ...".
using Lines = std::vector<std::string>;
[[nodiscard]] std::string Hook(const std::string& level, const std::string& message);
[[nodiscard]] std::string Parser(const std::string& level, const std::string& message);
// A line of the session header.
[[nodiscard]] std::string Header(const std::string& message);

[[nodiscard]] Lines Concatenate(const std::vector<Lines>& parts);

// Where root's log is while nobody is at the console.
inline constexpr const char* kRootsLogs = "/root/Library/Logs";
inline constexpr const char* kRootsLog = "/root/Library/Logs/Caldris/Ixer/Ixer.log";

// A test of what the program writes to its log.
class LogTest : public ProgramTest {
 protected:
  LogTest();

  // Runs the program and returns the records that it added to the log at `log`. Of each the fields
  // that the lines do not show are examined here.
  [[nodiscard]] Lines Log(const std::vector<std::string>& arguments, const RunOptions& options = {},
                          const std::string& log = kRootsLog) const;
  // With a trace marker in root's logs folder.
  [[nodiscard]] Lines TraceLog(const std::vector<std::string>& arguments,
                               const RunOptions& options = {}) const;
};

}  // namespace test

#endif  // TESTS_PROGRAM_LOG_RECORDS_H_
