#include "log/log_target_base.h"

#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <locale>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <thread>
#include <type_traits>
#include <unistd.h>
#include <utility>
#include <vector>

#include "log/file_stream.h"
#include "log/log_target_for_testing.h"
#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/log/recording_target.h"
#include "tests/support/files.h"
#include "tests/support/virtual_slot.h"

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using dunmar::LogTargetBase;
using dunmar::LogTargetForTesting;
using test::RecordingTarget;
using test::VirtualSlot;

static_assert(std::is_abstract_v<LogTargetBase>);
static_assert(std::has_virtual_destructor_v<LogTargetBase>);
static_assert(!std::is_copy_constructible_v<LogTargetBase>);
static_assert(!std::is_copy_assignable_v<LogTargetBase>);

TEST(LogTargetBase, HasItsOperationsInAFixedOrderInTheVirtualTable) {
  EXPECT_EQ(VirtualSlot(&LogTargetBase::OpenStream), 0U);
  // The destructor has two places.
  EXPECT_EQ(VirtualSlot(&LogTargetBase::Open), 3U);
  EXPECT_EQ(VirtualSlot(&LogTargetBase::Close), 4U);
  EXPECT_EQ(VirtualSlot(&LogTargetBase::Write), 5U);
  EXPECT_EQ(VirtualSlot(&LogTargetBase::WriteHeader), 6U);
  EXPECT_EQ(VirtualSlot(&LogTargetBase::WriteLine), 7U);
}

platform::UniqueFd OpenForAppending(const std::string& path) {
  return platform::UniqueFd(open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644));
}

TEST(LogTargetBase, BeginsClosedAndEnabledWithTheLevelInfo) {
  const test::LogMachine machine;
  RecordingTarget target;
  EXPECT_EQ(target.GetName(), "");
  EXPECT_EQ(LogTargetForTesting::Separator(target), " | ");
  EXPECT_EQ(LogTargetForTesting::FileName(target), "Dunmar.log");
  EXPECT_EQ(LogTargetForTesting::FilePath(target), "");
  EXPECT_EQ(target.GetLevel(), 30);
  EXPECT_FALSE(LogTargetForTesting::Stream(target).is_open());
  EXPECT_TRUE(LogTargetForTesting::Enabled(target));
  EXPECT_FALSE(LogTargetForTesting::IsOpen(target));
  EXPECT_EQ(target.GetReferenceCount(), 0U);
  EXPECT_TRUE(target.calls.empty());
}

TEST(LogTargetBase, BeginsWithTheLevelOfAMarkerFile) {
  for (const auto& [marker, level] : {std::pair{"Dunmar.trace", 10}, {"kobb.debug", 20}}) {
    const test::LogMachine machine;
    test::PutFile(machine.folder.Join(std::string("home/Library/Logs/") + marker), "");
    EXPECT_EQ(RecordingTarget().GetLevel(), level);
  }
}

TEST(LogTargetBase, KeepsItsNameForANullOne) {
  const test::LogMachine machine;
  RecordingTarget target;
  EXPECT_FALSE(target.SetName(nullptr));
  EXPECT_EQ(target.GetName(), "");
  EXPECT_TRUE(target.SetName("name"));
  EXPECT_EQ(target.GetName(), "name");
  EXPECT_FALSE(target.SetName(nullptr));
  EXPECT_EQ(target.GetName(), "name");
  EXPECT_TRUE(target.SetName(""));
  EXPECT_EQ(target.GetName(), "");
}

TEST(LogTargetBase, CountsItsReferences) {
  const test::LogMachine machine;
  RecordingTarget target;
  target.AddReference();
  target.AddReference();
  EXPECT_EQ(target.GetReferenceCount(), 2U);
  target.RemoveReference();
  EXPECT_EQ(target.GetReferenceCount(), 1U);
  target.RemoveReference();
  EXPECT_EQ(target.GetReferenceCount(), 0U);
}

TEST(LogTargetBase, CountsTheReferencesOfSeveralThreads) {
  const test::LogMachine machine;
  RecordingTarget target;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&target] {
      for (int j = 0; j < 10000; ++j) {
        target.AddReference();
        target.AddReference();
        target.RemoveReference();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(target.GetReferenceCount(), 40000U);
}

TEST(WriteLine, PutsALineEndBehindTheText) {
  const test::LogMachine machine;
  const std::string path = machine.folder.Join("a.log");
  RecordingTarget target;
  LogTargetForTesting::Stream(target).open(OpenForAppending(path));
  // The file has each line as soon as it is written.
  target.WriteLine("one");
  EXPECT_EQ(test::GetFile(path), "one\n");
  target.WriteLine("");
  EXPECT_EQ(test::GetFile(path), "one\n\n");
  target.WriteLine("t\0w\no %s \xff"sv);
  EXPECT_EQ(test::GetFile(path), "one\n\nt\0w\no %s \xff\n"s);
  EXPECT_TRUE(LogTargetForTesting::Stream(target).good());
}

std::vector<std::string>& Writes() {
  static std::vector<std::string> writes;
  return writes;
}

TEST(WriteLine, WritesTextAndLineEndAtOnce) {
  const test::LogMachine machine;
  RecordingTarget target;
  LogTargetForTesting::Stream(target).open(OpenForAppending(machine.folder.Join("a.log")));
  Writes().clear();
  platform::ScopedSystemCalls calls;
  calls->write = [](int, const void* bytes, std::size_t count) {
    Writes().emplace_back(static_cast<const char*>(bytes), count);
    return static_cast<ssize_t>(count);
  };
  const std::string record(dunmar::FileStreamBuffer::kBytes - 1, 'r');
  target.WriteLine("one");
  target.WriteLine(record);
  EXPECT_EQ(Writes(), (std::vector<std::string>{"one\n", record + "\n"}));
}

// A locale in which lines end in "!".
class OtherLineEnds final : public std::ctype<char> {
  char do_widen(char c) const override { return c == '\n' ? '!' : c; }
  const char* do_widen(const char* first, const char* last, char* out) const override {
    while (first != last) *out++ = do_widen(*first++);
    return last;
  }
};

TEST(WriteLine, TakesTheLineEndOfTheStreamsLocale) {
  const test::LogMachine machine;
  const std::string path = machine.folder.Join("a.log");
  RecordingTarget target;
  LogTargetForTesting::Stream(target).open(OpenForAppending(path));
  (void)LogTargetForTesting::Stream(target).imbue(
      std::locale(std::locale::classic(), new OtherLineEnds));
  target.WriteLine("one");
  EXPECT_EQ(test::GetFile(path), "one!");
}

TEST(WriteLine, LeavesErrorsInTheStreamsState) {
  const test::LogMachine machine;
  const std::string path = machine.folder.Join("a.log");
  RecordingTarget target;
  target.WriteLine("one");
  EXPECT_TRUE(LogTargetForTesting::Stream(target).bad());

  LogTargetForTesting::Stream(target).open(OpenForAppending(path));
  {
    platform::ScopedSystemCalls calls;
    calls->write = [](int, const void*, std::size_t) {
      errno = ENOSPC;
      return ssize_t{-1};
    };
    target.WriteLine("two");
  }
  EXPECT_TRUE(LogTargetForTesting::Stream(target).bad());
  target.WriteLine("three");
  EXPECT_EQ(test::GetFile(path), "");
}

}  // namespace
