#include <algorithm>
#include <cstddef>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <ios>
#include <map>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

#include "log/log_target_default.h"
#include "log/log_target_for_testing.h"
#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/scoped_time_zone.h"

// Rotations beside somebody who owns the log's folder, and puts a file there that only root may
// read when the log has been opened and checked.

namespace dunmar {

namespace {

using Fields = LogTargetForTesting;

constexpr off_t kRipe = 15728640;
constexpr char kSecret[] = "for root's eyes";
constexpr char kRecord[] = "a record\n";

// Lets somebody act once, before the call of this number (from 0) among the replaceable ones that
// the rotation makes. One at a time.
class BeforeCall {
 public:
  BeforeCall(int number, std::function<void()> act) {
    State() = {.callsLeft = number, .act = std::move(act)};
    calls_->close = [](int fd) { return Count(), ::close(fd); };
    calls_->fstat = [](int fd, struct stat* status) { return Count(), ::fstat(fd, status); };
    calls_->fstatat = [](int folder, const char* name, struct stat* status, int flags) {
      return Count(), ::fstatat(folder, name, status, flags);
    };
    calls_->ftruncate = [](int fd, off_t size) { return Count(), ::ftruncate(fd, size); };
    calls_->write = [](int fd, const void* bytes, std::size_t count) {
      return Count(), ::write(fd, bytes, count);
    };
  }
  ~BeforeCall() { State() = {}; }
  BeforeCall(const BeforeCall&) = delete;
  BeforeCall& operator=(const BeforeCall&) = delete;

  [[nodiscard]] static bool HasActed() { return State().act == nullptr; }

 private:
  struct Pending {
    int callsLeft = 0;
    std::function<void()> act = nullptr;
  };
  static Pending& State() {
    static Pending state;
    return state;
  }
  static void Count() {
    if (State().callsLeft-- != 0) return;
    if (const auto act = std::exchange(State().act, nullptr)) act();
  }

  platform::ScopedSystemCalls calls_;
};

// A target with a ripe log open, and a file of root's beside the folder of logs.
class Rotation {
 public:
  Rotation() {
    test::MakeDirs(At("logs"));
    host_.clock.now.seconds = 1794810056;
    test::PutFile(At("secret"), kSecret);
    test::SetMode(At("secret"), 0600);
    Fields::FilePath(target_) = log_;
    EXPECT_TRUE(target_.Open());
    AppendTo(log_, kRecord);
    EXPECT_EQ(::truncate(log_.c_str(), kRipe), 0);
  }

  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }
  LogTargetDefault& Target() { return target_; }
  [[nodiscard]] const std::string& Log() const { return log_; }
  [[nodiscard]] const std::string& Copy() const { return copy_; }

  static void AppendTo(const std::string& path, const std::string& text) {
    const platform::UniqueFd fd(::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    EXPECT_EQ(::write(fd.Get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

  // What an owner of the folder of logs can do to it.
  void MoveLogAside() const { EXPECT_EQ(::rename(log_.c_str(), At("logs/aside").c_str()), 0); }
  void RemoveLog() const { EXPECT_EQ(::unlink(log_.c_str()), 0); }
  void PlantHardLink() const { test::MakeHardLink(log_, secret_); }
  void PlantFileItself() {
    EXPECT_EQ(::rename(secret_.c_str(), log_.c_str()), 0);
    secret_ = log_;
  }

  void ExpectSecretKept() const {
    EXPECT_EQ(test::GetFile(secret_), kSecret);
    EXPECT_EQ(test::GetMode(secret_), 0600U);
    for (const auto& [path, start] : Starts()) {
      const bool isSecret = test::GetMode(path) == 0600U;
      EXPECT_TRUE(isSecret || start.find(kSecret) == std::string::npos) << path;
    }
  }
  // Nothing that the log held is lost: it is in the log, wherever that is now, or in the copy.
  void ExpectRecordKept() const {
    bool isThere = false;
    for (const auto& [path, start] : Starts()) isThere = isThere || start.starts_with(kRecord);
    EXPECT_TRUE(isThere);
  }

 private:
  // The first bytes of every file, by its path: all that is no hole.
  [[nodiscard]] std::map<std::string, std::string> Starts() const {
    std::map<std::string, std::string> starts;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir_.Path())) {
      if (!entry.is_regular_file()) continue;
      const platform::UniqueFd fd(::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC));
      std::string start(4096, '\0');
      const ssize_t count = ::read(fd.Get(), start.data(), start.size());
      EXPECT_GE(count, 0);
      start.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
      starts[entry.path()] = start;
    }
    return starts;
  }

  test::ScopedTempDir dir_;
  test::ScopedTimeZone zone_{"UTC0"};
  test::FakeHost host_;
  std::string log_ = dir_.Join("logs/Ixer.log");
  std::string copy_ = dir_.Join("logs/Ixer 2026-11-16 06-20-56.log");
  std::string secret_ = dir_.Join("secret");
  LogTargetDefault target_{"Test"};
};

off_t SizeOf(const std::string& path) {
  struct stat status = {};
  return ::lstat(path.c_str(), &status) == 0 ? status.st_size : -1;
}

// Rotates again and again, each time with the exchange before another call, up to the last one.
void ExchangeBeforeEveryCall(const std::function<void(Rotation&)>& exchange, bool losesLog) {
  for (int number = 0;; ++number) {
    SCOPED_TRACE(number);
    Rotation rotation;
    {
      const BeforeCall before(number, [&] { exchange(rotation); });
      (void)rotation.Target().CheckRollover();
      if (!BeforeCall::HasActed()) {
        EXPECT_GE(number, 12) << "calls of a rotation";
        EXPECT_EQ(SizeOf(rotation.Copy()), kRipe);
        return;
      }
    }
    rotation.ExpectSecretKept();
    if (!losesLog) rotation.ExpectRecordKept();
    if (testing::Test::HasFailure()) return;
  }
}

TEST(LogRotation, NeverTouchesAFileWhoseSecondNameTakesTheLogsPlace) {
  ExchangeBeforeEveryCall(
      [](Rotation& rotation) {
        rotation.MoveLogAside();
        rotation.PlantHardLink();
      },
      /*losesLog=*/false);
}

TEST(LogRotation, NeverTouchesAFileThatIsRenamedToTheLogsPlace) {
  ExchangeBeforeEveryCall(
      [](Rotation& rotation) {
        rotation.MoveLogAside();
        rotation.PlantFileItself();
      },
      /*losesLog=*/false);
}

TEST(LogRotation, NeverTouchesAFileThatReplacesTheLog) {
  ExchangeBeforeEveryCall([](Rotation& rotation) { rotation.PlantFileItself(); },
                          /*losesLog=*/true);
  ExchangeBeforeEveryCall(
      [](Rotation& rotation) {
        rotation.RemoveLog();
        rotation.PlantHardLink();
      },
      /*losesLog=*/true);
}

TEST(LogRotation, CopiesNoRipeFileThatHasTakenTheLogsPlaceBefore) {
  for (const bool asHardLink : {true, false}) {
    SCOPED_TRACE(asHardLink);
    Rotation rotation;
    ASSERT_EQ(::truncate(rotation.At("secret").c_str(), kRipe), 0);
    rotation.MoveLogAside();
    asHardLink ? rotation.PlantHardLink() : rotation.PlantFileItself();
    // Opened anew under the checks of every opening, which allow no second name.
    EXPECT_EQ(rotation.Target().CheckRollover(), !asHardLink);
    EXPECT_EQ(Fields::Stream(rotation.Target()).is_open(), !asHardLink);
    EXPECT_FALSE(test::IsThere(rotation.Copy()));
    EXPECT_EQ(SizeOf(rotation.Log()), kRipe);
    EXPECT_EQ(SizeOf(rotation.At("logs/aside")), kRipe);
    EXPECT_EQ(test::GetMode(rotation.Log()), 0600U);
  }
}

TEST(LogRotation, OpensTheFileThatHasTakenTheLogsPlaceAndGoesOnThere) {
  Rotation rotation;
  test::PutFile(rotation.At("logs/Ixer 2026-11-10 10-00-00.log"), "old");
  rotation.MoveLogAside();
  test::PutFile(rotation.Log(), "");
  ASSERT_EQ(::truncate(rotation.Log().c_str(), kRipe), 0);
  EXPECT_TRUE(rotation.Target().CheckRollover());
  EXPECT_FALSE(test::IsThere(rotation.Copy()));
  // As after every copy that fails: the next record has the header before it, and old copies go.
  EXPECT_TRUE(Fields::HeaderPending(rotation.Target()));
  EXPECT_FALSE(test::IsThere(rotation.At("logs/Ixer 2026-11-10 10-00-00.log")));
  Fields::Stream(rotation.Target()) << "more" << std::flush;
  EXPECT_EQ(SizeOf(rotation.Log()), kRipe + 4);
  // It is the log from now on.
  EXPECT_TRUE(rotation.Target().CheckRollover());
  EXPECT_EQ(SizeOf(rotation.Copy()), kRipe + 4);
  EXPECT_EQ(SizeOf(rotation.Log()), 0);
}

TEST(LogRotation, RotatesAfterAFailedWriteToo) {
  Rotation rotation;
  Fields::Stream(rotation.Target()).setstate(std::ios_base::badbit);
  EXPECT_TRUE(rotation.Target().CheckRollover());
  EXPECT_EQ(SizeOf(rotation.Copy()), kRipe);
  EXPECT_EQ(SizeOf(rotation.Log()), 0);
  EXPECT_TRUE(Fields::Stream(rotation.Target()).good());
}

TEST(LogRotation, OpensTheLogFirstWhereTheTargetHasNothingOpen) {
  Rotation rotation;
  EXPECT_TRUE(rotation.Target().Close());
  EXPECT_TRUE(rotation.Target().CheckRollover());
  EXPECT_EQ(SizeOf(rotation.Copy()), kRipe);
  EXPECT_EQ(SizeOf(rotation.Log()), 0);
  EXPECT_TRUE(Fields::Stream(rotation.Target()).is_open());
}

TEST(LogRotation, CopiesNothingOfWhatAnAppenderWithoutTheLockAdds) {
  static std::string log;
  static int writes;
  Rotation rotation;
  Rotation::AppendTo(rotation.Log(), std::string(10000, 'x'));
  log = rotation.Log();
  writes = 0;
  {
    platform::ScopedSystemCalls calls;
    calls->write = [](int fd, const void* bytes, std::size_t count) {
      if (++writes < 100) Rotation::AppendTo(log, std::string(4096, 'y'));
      return ::write(fd, bytes, count);
    };
    EXPECT_TRUE(rotation.Target().CheckRollover());
  }
  EXPECT_GT(writes, 0);
  EXPECT_EQ(SizeOf(rotation.Copy()), kRipe + 10000);
  EXPECT_EQ(SizeOf(rotation.Log()), 0);
}

TEST(LogRotation, LeavesNoDescriptorOpen) {
  Rotation rotation;
  const platform::UniqueFd before(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  EXPECT_TRUE(rotation.Target().CheckRollover());
  const platform::UniqueFd after(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  EXPECT_LE(after.Get(), before.Get() + 1);
}

}  // namespace

}  // namespace dunmar
