#ifndef TESTS_LOG_RECORDING_TARGET_H_
#define TESTS_LOG_RECORDING_TARGET_H_

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "log/api/level.h"
#include "log/api/printf_format.h"
#include "log/file_stream.h"
#include "log/log_target_base.h"
#include "log/session_header.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"

namespace test {

// A machine with a home folder for the log and nobody at the console. Every target wants one: its
// constructor makes a logs folder.
struct LogMachine {
  ScopedTempDir folder;
  FakeHost host;
  LogMachine() {
    host.directories.home = folder.Join("home");
    MakeDirs(host.directories.home);
  }
};

// A record as a target got it. Null texts are recorded as "(null)".
struct WrittenRecord {
  dunmar::LogLevel level = 0;
  std::array<std::string, 6> texts;
  std::string format;   // as passed
  std::string message;  // format and arguments put together
  std::int64_t timeMs = 0;
  bool useLock = false;
  bool operator==(const WrittenRecord&) const = default;
};

// Does nothing but record what it is asked.
class RecordingTarget final : public dunmar::LogTargetBase {
 public:
  explicit RecordingTarget(const char* name = nullptr) { (void)SetName(name); }

  // "Open", "Close", "Write <message>", "OpenStream <path>" for a stream of the caller's and
  // "OpenStream <path> (own)" for the target's.
  std::vector<std::string> calls;
  std::vector<WrittenRecord> records;
  bool openResult = true;
  bool closeResult = true;
  std::function<bool(dunmar::FileStream&)> openStream = [](dunmar::FileStream&) { return true; };
  std::function<void()> onOpen = [] {};
  std::function<void()> onClose = [] {};
  std::function<void()> onWrite = [] {};

  bool OpenStream(dunmar::FileStream& stream) override {
    calls.push_back("OpenStream " + filePath_ + (&stream == &stream_ ? " (own)" : ""));
    return openStream(stream);
  }
  bool Open() override {
    calls.emplace_back("Open");
    onOpen();
    return openResult;
  }
  bool Close() override {
    calls.emplace_back("Close");
    onClose();
    return closeResult;
  }
  bool Write(dunmar::LogLevel level, const char* text1, const char* text2, const char* text3,
             const char* text4, const char* text5, const char* text6, const char* format,
             va_list* arguments, std::int64_t timeMs, bool useLock) override
      DUNMAR_PRINTF_FORMAT(9, 0) {
    std::array<char, 1024> message;
    (void)std::vsnprintf(message.data(), message.size(), format, *arguments);
    calls.push_back(std::string("Write ") + message.data());
    records.push_back(
        {level,
         {Text(text1), Text(text2), Text(text3), Text(text4), Text(text5), Text(text6)},
         format,
         message.data(),
         timeMs,
         useLock});
    onWrite();
    return false;  // which nobody may mind
  }
  void WriteHeader(dunmar::LogLevel, const char*, const char*, const char*, const char*,
                   const dunmar::HeaderBlock*, bool) override {}

 private:
  static std::string Text(const char* text) { return text == nullptr ? "(null)" : text; }
};

}  // namespace test

#endif  // TESTS_LOG_RECORDING_TARGET_H_
