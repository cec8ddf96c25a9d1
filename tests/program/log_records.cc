#include "tests/program/log_records.h"

#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <utility>

#include "tests/support/files.h"
#include "tests/support/shape.h"

namespace test {

namespace {

bool BeginsRecord(std::string_view line) {
  return HasShape(line.substr(0, kTimestampShape.size()), kTimestampShape);
}

// Takes a field and the separator behind it from `line`.
std::string TakeField(std::string_view& line) {
  const std::size_t end = line.find(" | ");
  if (end == std::string_view::npos) {
    ADD_FAILURE() << "a field is missing before: " << line;
    return "";
  }
  std::string field(line.substr(0, end));
  line.remove_prefix(end + 3);
  return field;
}

Record SplitRecord(std::string_view line) {
  Record record;
  record.timestamp = TakeField(line);
  record.level = TakeField(line);
  for (std::string& text : record.texts) text = TakeField(line);
  record.thread = TakeField(line);
  record.user = TakeField(line);
  record.message = line;
  return record;
}

// What `log` holds beyond `earlier`, or all of it where it begins otherwise.
std::string_view AddedTo(std::string_view earlier, std::string_view log) {
  return log.starts_with(earlier) ? log.substr(earlier.size()) : log;
}

}  // namespace

std::vector<Record> SplitRecords(std::string_view text) {
  std::vector<Record> records;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos) {
      ADD_FAILURE() << "no line end after: " << text;
      break;
    }
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    if (BeginsRecord(line)) {
      records.push_back(SplitRecord(line));
    } else if (records.empty()) {
      ADD_FAILURE() << "no record: " << line.substr(0, 200);
    } else {
      records.back().message.append("\n").append(line);
    }
  }
  return records;
}

std::vector<Record> ReadLog(const std::string& path) {
  const std::optional<std::string> text = GetFile(path);
  if (!text.has_value()) ADD_FAILURE() << path << " cannot be read";
  return SplitRecords(text.value_or(""));
}

std::string Hook(const std::string& level, const std::string& message) {
  return "[" + level + "] ZintCustomHook: " + message;
}

std::string Parser(const std::string& level, const std::string& message) {
  return "[" + level + "] CommandLineParser: " + message;
}

std::string Header(const std::string& message) { return "[INFO] : " + message; }

Lines Concatenate(const std::vector<Lines>& parts) {
  Lines all;
  for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

LogTest::LogTest() { root.AddInstalledBundle(); }

Lines LogTest::Log(const std::vector<std::string>& arguments, const RunOptions& options,
                   const std::string& log) const {
  std::string earlier;
  if (std::filesystem::is_regular_file(root.Join(log))) {
    earlier = GetFile(root.Join(log)).value_or("");
  }
  const Outcome outcome = root.RunWithLog(arguments, options);
  const std::optional<std::string> text = GetFile(root.Join(log));
  if (!text.has_value()) ADD_FAILURE() << log << " cannot be read";
  Lines lines;
  for (const Record& record : SplitRecords(AddedTo(earlier, text.value_or("")))) {
    std::string line = record.level + " " + record.texts[5] + ": " + record.message;
    const std::array<std::string, 6> texts = {"", "ZintCustomHook", "", "", "", record.texts[5]};
    EXPECT_EQ(record.texts, texts) << line;
    EXPECT_EQ(record.thread, outcome.process) << line;
    EXPECT_EQ(record.user, std::to_string(options.user)) << line;
    lines.push_back(std::move(line));
  }
  return lines;
}

Lines LogTest::TraceLog(const std::vector<std::string>& arguments,
                        const RunOptions& options) const {
  PutFile(root.Join(std::string(kRootsLogs) + "/kobb.trace"), "");
  return Log(arguments, options);
}

}  // namespace test
