#include "tests/program/run_journal.h"

#include <cstddef>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string_view>
#include <vector>

#include "tests/support/shape.h"

namespace test {

namespace {

// Of the name of a log's copy.
constexpr std::string_view kCopyTimeShape = "9999-99-99 99-99-99";
constexpr int kThreadField = 8;

std::string MaskCopyTimes(std::string text) {
  for (std::size_t i = 0; i + kCopyTimeShape.size() <= text.size(); ++i) {
    if (HasShape(std::string_view(text).substr(i, kCopyTimeShape.size()), kCopyTimeShape)) {
      text.replace(i + 11, 8, "TIME");
    }
  }
  return text;
}

// Where a record begins in a line: behind whatever somebody else has left unfinished there.
std::size_t FindRecord(std::string_view line) {
  for (std::size_t i = 0; i + kTimestampShape.size() <= line.size(); ++i) {
    if (HasShape(line.substr(i, kTimestampShape.size()), kTimestampShape)) return i;
  }
  return std::string_view::npos;
}

// The fields before the thread's number hold no separator.
std::string MaskRecord(std::string_view line) {
  const std::size_t start = FindRecord(line);
  if (start == std::string_view::npos) return std::string(line);
  std::string masked = std::string(line.substr(0, start)) + "TIME";
  std::size_t begin = start + kTimestampShape.size();
  for (int field = 1; field < kThreadField; ++field) {
    const std::size_t end = line.find(" | ", begin + 3);
    if (end == std::string_view::npos) break;
    masked += line.substr(begin, end - begin);
    begin = end;
  }
  const std::size_t end = line.find(" | ", begin + 3);
  if (end == std::string_view::npos) return masked.append(line.substr(begin));
  return masked.append(" | THREAD").append(line.substr(end));
}

std::string WithoutHoles(const std::string& content) {
  std::string text = content;
  std::erase(text, '\0');
  return text;
}

}  // namespace

std::string MaskTimes(const std::string& text) {
  std::string masked;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    masked += MaskRecord(line);
    rest.remove_prefix(line.size());
    if (rest.empty()) break;
    masked += '\n';
    rest.remove_prefix(1);
  }
  return MaskCopyTimes(std::move(masked));
}

RunJournal::RunJournal() {
  const char* const folder = std::getenv("ZINT_RUN_JOURNAL");
  const testing::TestInfo* const info = testing::UnitTest::GetInstance()->current_test_info();
  if (folder == nullptr || info == nullptr) return;
  const std::string path = std::string(folder) + "/" + info->test_suite_name() + "." + info->name();
  file_.reset(std::fopen(path.c_str(), "ae"));
  if (file_ == nullptr) ADD_FAILURE() << path << " cannot be opened";
}

void RunJournal::Write(int status, const Tree& before, const Tree& after) {
  if (file_ == nullptr) return;
  std::string text = "run: status " + std::to_string(status) + "\n";
  for (const std::string& change : CompareTrees(before, after)) {
    text += MaskTimes(change);
    if (const auto found = after.find(change.substr(2)); found != after.end()) {
      const TreeItem& item = found->second;
      text += std::string(" ") + item.kind + " mode " + std::to_string(item.mode) + " owner " +
              std::to_string(item.owner) + ":" + std::to_string(item.group) + " names " +
              std::to_string(item.names) + "\n" + MaskTimes(WithoutHoles(item.content));
    }
    text += '\n';
  }
  (void)std::fputs(text.c_str(), file_.get());
  (void)std::fflush(file_.get());
}

}  // namespace test
