#include "log/log_file.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/support/after_removal.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace dunmar {

namespace {

constexpr uid_t kUser = 1001;

int RefuseRemoval(int /*folder*/, const char* /*name*/, int /*flags*/) {
  errno = EIO;
  return -1;
}

class LogFileTest : public testing::Test {
 protected:
  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }
  [[nodiscard]] std::string Path() const { return At("Ixer.log"); }

  [[nodiscard]] static bool IsRegular(const std::string& path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
  }

  // Cuts what is at the path now.
  [[nodiscard]] static bool Truncate(const std::string& path, FileStream& stream) {
    const platform::UniqueFd file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    return TruncateLogFile(path, file, stream);
  }

  // Leaves the stream open on a file of its own, in a good state.
  void OpenOther(FileStream& stream) const {
    ASSERT_TRUE(OpenLogFile(At("other"), stream));
    stream << "before" << std::flush;
  }
  // The stream is still on that file.
  void ExpectOnOther(FileStream& stream) const {
    EXPECT_TRUE(stream.is_open());
    EXPECT_TRUE(stream.good());
    stream << " after" << std::flush;
    EXPECT_EQ(test::GetFile(At("other")), "before after");
  }

  static void ExpectClosedAndFailed(FileStream& stream) {
    EXPECT_FALSE(stream.is_open());
    EXPECT_TRUE(stream.fail());
  }

  test::ScopedTempDir dir_;
};

using OpenLogFileTest = LogFileTest;

TEST_F(OpenLogFileTest, MakesAMissingFileThatEverybodyMayWriteWhateverTheUmask) {
  for (const mode_t mask : {mode_t{0}, mode_t{002}, mode_t{022}, mode_t{077}, mode_t{0777}}) {
    SCOPED_TRACE(mask);
    const test::ScopedUmask umask(mask);
    FileStream stream;
    EXPECT_TRUE(OpenLogFile(Path(), stream));
    EXPECT_TRUE(stream.is_open());
    EXPECT_TRUE(stream.good());
    stream << "text" << std::flush;
    EXPECT_EQ(test::GetFile(Path()), "text");
    EXPECT_EQ(test::GetMode(Path()), mode_t{0666});
    stream.close();
    EXPECT_EQ(unlink(Path().c_str()), 0);
  }
}

TEST_F(OpenLogFileTest, AppendsToAFileThatIsThereAndKeepsItsMode) {
  for (const mode_t mode : {mode_t{0600}, mode_t{0644}, mode_t{0640}, mode_t{0777}}) {
    SCOPED_TRACE(mode);
    test::PutFile(Path(), "old ");
    test::SetMode(Path(), mode);
    FileStream stream;
    EXPECT_TRUE(OpenLogFile(Path(), stream));
    stream << "new" << std::flush;
    EXPECT_EQ(test::GetFile(Path()), "old new");
    EXPECT_EQ(test::GetMode(Path()), mode);
  }
}

TEST_F(OpenLogFileTest, AppendsWhereTheEndIsByThen) {
  FileStream stream;
  ASSERT_TRUE(OpenLogFile(Path(), stream));
  stream << "first " << std::flush;
  test::PutFile(Path(), "cut ");
  stream << "second" << std::flush;
  EXPECT_EQ(test::GetFile(Path()), "cut second");
}

TEST_F(OpenLogFileTest, SaysOnStandardErrorWhereTheModeCannotBeSetAndGoesOn) {
  const test::ScopedUmask umask(022);
  platform::ScopedSystemCalls calls;
  calls->fchmod = [](int, mode_t) {
    errno = EPERM;
    return -1;
  };
  FileStream stream;
  testing::internal::CaptureStderr();
  EXPECT_TRUE(OpenLogFile(Path(), stream));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "\n Error Set File permissions. errno = Operation not permitted");
  EXPECT_TRUE(stream.good());
  stream << "text" << std::flush;
  EXPECT_EQ(test::GetFile(Path()), "text");
  EXPECT_EQ(test::GetMode(Path()), mode_t{0644});
}

TEST_F(OpenLogFileTest, SaysNothingOnStandardErrorOtherwise) {
  test::PutFile(At("old"), "");
  test::MakeDirs(At("folder"));
  FileStream stream;
  testing::internal::CaptureStderr();
  EXPECT_TRUE(OpenLogFile(Path(), stream));
  EXPECT_TRUE(OpenLogFile(At("old"), stream));
  EXPECT_FALSE(OpenLogFile(At("folder"), stream));
  EXPECT_FALSE(OpenLogFile(At("missing/Ixer.log"), stream));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(OpenLogFileTest, SetsTheModeAgainWhereASignalInterrupts) {
  static int interruptions;
  interruptions = 2;
  platform::ScopedSystemCalls calls;
  calls->fchmod = [](int fd, mode_t mode) {
    if (interruptions-- > 0) {
      errno = EINTR;
      return -1;
    }
    return ::fchmod(fd, mode);
  };
  FileStream stream;
  EXPECT_TRUE(OpenLogFile(Path(), stream));
  EXPECT_EQ(interruptions, -1);
  EXPECT_EQ(test::GetMode(Path()), mode_t{0666});
}

TEST_F(OpenLogFileTest, PutsAFileInThePlaceOfALinkAndLeavesItsTargetAlone) {
  const test::ScopedUmask umask(022);
  test::PutFile(At("target"), "kept");
  test::SetMode(At("target"), 0600);
  test::MakeDirs(At("folder"));
  for (const char* destination : {"target", "folder", "."}) {
    SCOPED_TRACE(destination);
    test::MakeLink(Path(), destination);
    FileStream stream;
    EXPECT_TRUE(OpenLogFile(Path(), stream));
    stream << "text" << std::flush;
    EXPECT_TRUE(IsRegular(Path()));
    EXPECT_EQ(test::GetFile(Path()), "text");
    EXPECT_EQ(test::GetMode(Path()), mode_t{0666});
    EXPECT_EQ(unlink(Path().c_str()), 0);
  }
  EXPECT_EQ(test::GetFile(At("target")), "kept");
  EXPECT_EQ(test::GetMode(At("target")), mode_t{0600});
}

TEST_F(OpenLogFileTest, PutsAFileInThePlaceOfADanglingLinkAndMakesNothingBehindIt) {
  test::MakeLink(Path(), "missing");
  FileStream stream;
  EXPECT_TRUE(OpenLogFile(Path(), stream));
  EXPECT_TRUE(IsRegular(Path()));
  EXPECT_EQ(test::GetMode(Path()), mode_t{0666});
  EXPECT_FALSE(test::IsThere(At("missing")));
}

TEST_F(OpenLogFileTest, FailsAndLeavesTheStreamWhereTheLinkWillNotGo) {
  test::MakeLink(Path(), "missing");
  FileStream stream;
  OpenOther(stream);
  platform::ScopedSystemCalls calls;
  calls->unlinkat = RefuseRemoval;
  EXPECT_FALSE(OpenLogFile(Path(), stream));
  ExpectOnOther(stream);
  EXPECT_EQ(test::GetLink(Path()), "missing");
}

TEST_F(OpenLogFileTest, RefusesAFileOfSeveralNamesAndLeavesTheStream) {
  test::PutFile(At("target"), "kept");
  test::MakeHardLink(Path(), At("target"));
  FileStream stream;
  OpenOther(stream);
  EXPECT_FALSE(OpenLogFile(Path(), stream));
  ExpectOnOther(stream);
  EXPECT_EQ(test::GetFile(At("target")), "kept");
}

TEST_F(OpenLogFileTest, RefusesAFolder) {
  test::MakeDirs(Path());
  FileStream stream;
  EXPECT_FALSE(OpenLogFile(Path(), stream));
  EXPECT_FALSE(stream.is_open());
}

TEST_F(OpenLogFileTest, RefusesAFifoWithoutWaiting) {
  test::MakeFifo(Path());
  FileStream stream;
  OpenOther(stream);
  EXPECT_FALSE(OpenLogFile(Path(), stream));
  ExpectClosedAndFailed(stream);
}

TEST_F(OpenLogFileTest, AppendsToACharacterDeviceAndKeepsItsMode) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  struct stat null = {};
  ASSERT_EQ(stat("/dev/null", &null), 0);
  (void)mknod(Path().c_str(), S_IFCHR | 0600, null.st_rdev);
  const platform::UniqueFd probe(open(Path().c_str(), O_WRONLY | O_CLOEXEC));
  if (!probe) GTEST_SKIP() << "no devices in this folder";
  const std::optional<mode_t> mode = test::GetMode(Path());
  FileStream stream;
  EXPECT_TRUE(OpenLogFile(Path(), stream));
  stream << "text" << std::flush;
  EXPECT_TRUE(stream.good());
  EXPECT_EQ(test::GetMode(Path()), mode);
}

TEST_F(OpenLogFileTest, ClosesWhatWasOpenFirst) {
  FileStream stream;
  OpenOther(stream);
  stream << " last";
  EXPECT_TRUE(OpenLogFile(Path(), stream));
  EXPECT_EQ(test::GetFile(At("other")), "before last");
  stream << "text" << std::flush;
  EXPECT_EQ(test::GetFile(Path()), "text");
}

TEST_F(OpenLogFileTest, OpensTheSameFileAgain) {
  FileStream stream;
  OpenOther(stream);
  EXPECT_TRUE(OpenLogFile(At("other"), stream));
  ExpectOnOther(stream);
}

TEST_F(OpenLogFileTest, ClearsTheStateThatAFailureLeft) {
  FileStream stream;
  OpenOther(stream);
  stream.setstate(std::ios_base::badbit);
  EXPECT_TRUE(OpenLogFile(Path(), stream));
  EXPECT_TRUE(stream.good());
  EXPECT_FALSE(OpenLogFile(At("missing/Ixer.log"), stream));
  EXPECT_TRUE(OpenLogFile(Path(), stream));
  EXPECT_TRUE(stream.good());
}

TEST_F(OpenLogFileTest, FailsWhereTheSystemRefuses) {
  test::PutFile(At("file"), "");
  for (const std::string& path :
       {std::string(), At("missing/Ixer.log"), At("file/Ixer.log"), At(std::string(256, 'n')),
        At("file/"), At("missing/"), Path() + std::string("\0x", 2)}) {
    SCOPED_TRACE(path);
    FileStream stream;
    OpenOther(stream);
    EXPECT_FALSE(OpenLogFile(path, stream));
    ExpectClosedAndFailed(stream);
  }
  EXPECT_FALSE(test::IsThere(At("missing")));
  EXPECT_FALSE(test::IsThere(Path()));
}

TEST_F(OpenLogFileTest, FailsWithoutTheRightToWrite) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("roots"), "kept");
  test::RunInChild([this] {
    ASSERT_EQ(seteuid(kUser), 0);
    FileStream stream;
    EXPECT_FALSE(OpenLogFile(Path(), stream));
    ExpectClosedAndFailed(stream);
    EXPECT_FALSE(OpenLogFile(At("roots"), stream));
    ExpectClosedAndFailed(stream);
  });
}

TEST_F(OpenLogFileTest, KeepsToTheOwnerRuleAmongTheAncestors) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::MakeDirs(At("roots"));
  test::MakeLink(At("his"), "roots");
  test::SetOwner(At("his"), kUser, kUser);
  FileStream stream;
  EXPECT_FALSE(OpenLogFile(At("his/Ixer.log"), stream));
  ExpectClosedAndFailed(stream);
  EXPECT_FALSE(test::IsThere(At("roots/Ixer.log")));

  test::MakeLink(At("roots/Ixer.log"), "missing");
  OpenOther(stream);
  EXPECT_FALSE(OpenLogFile(At("his/Ixer.log"), stream));
  ExpectOnOther(stream);
  EXPECT_EQ(test::GetLink(At("roots/Ixer.log")), "missing");

  test::SetOwner(At("roots"), kUser, kUser);
  EXPECT_TRUE(OpenLogFile(At("his/Ixer.log"), stream));
  EXPECT_TRUE(IsRegular(At("roots/Ixer.log")));
}

TEST_F(OpenLogFileTest, FollowsALinkAmongTheAncestors) {
  test::MakeDirs(At("folder"));
  test::MakeLink(At("link"), "folder");
  FileStream stream;
  EXPECT_TRUE(OpenLogFile(At("link/Ixer.log"), stream));
  EXPECT_EQ(test::GetMode(At("folder/Ixer.log")), mode_t{0666});
}

TEST_F(OpenLogFileTest, RefusesALinkThatTakesThePlaceOfTheRemovedOne) {
  test::PutFile(At("target"), "kept");
  test::SetMode(At("target"), 0600);
  test::MakeLink(Path(), "missing");
  const test::AfterRemoval planting([this] { test::MakeLink(Path(), "target"); });
  FileStream stream;
  OpenOther(stream);
  EXPECT_FALSE(OpenLogFile(Path(), stream));
  ExpectClosedAndFailed(stream);
  EXPECT_EQ(test::GetFile(At("target")), "kept");
  EXPECT_EQ(test::GetMode(At("target")), mode_t{0600});
  EXPECT_EQ(test::GetLink(Path()), "target");
}

TEST_F(OpenLogFileTest, RefusesASecondNameThatTakesThePlaceOfTheRemovedLink) {
  test::PutFile(At("target"), "kept");
  test::SetMode(At("target"), 0600);
  test::MakeLink(Path(), "missing");
  const test::AfterRemoval planting([this] { test::MakeHardLink(Path(), At("target")); });
  FileStream stream;
  EXPECT_FALSE(OpenLogFile(Path(), stream));
  ExpectClosedAndFailed(stream);
  EXPECT_EQ(test::GetMode(At("target")), mode_t{0600});
}

TEST_F(OpenLogFileTest, RefusesAFifoThatTakesThePlaceOfTheRemovedLink) {
  test::MakeLink(Path(), "missing");
  const test::AfterRemoval planting([this] { test::MakeFifo(Path()); });
  FileStream stream;
  EXPECT_FALSE(OpenLogFile(Path(), stream));
  ExpectClosedAndFailed(stream);
}

TEST_F(OpenLogFileTest, KeepsTheModeOfAFileThatAnotherMakesMeanwhile) {
  test::MakeLink(Path(), "missing");
  const test::AfterRemoval planting([this] {
    test::PutFile(Path(), "his ");
    test::SetMode(Path(), 0600);
  });
  FileStream stream;
  EXPECT_TRUE(OpenLogFile(Path(), stream));
  stream << "mine" << std::flush;
  EXPECT_EQ(test::GetFile(Path()), "his mine");
  EXPECT_EQ(test::GetMode(Path()), mode_t{0600});
}

TEST_F(OpenLogFileTest, LeavesNoFileThatOthersCannotWriteWhenItIsKilled) {
  const test::ScopedUmask umask(022);
  const pid_t child = fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    platform::ScopedSystemCalls calls;
    calls->fchmod = [](int, mode_t) { return raise(SIGKILL); };
    FileStream stream;
    (void)OpenLogFile(Path(), stream);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_FALSE(test::IsThere(Path()));

  FileStream stream;
  EXPECT_TRUE(OpenLogFile(Path(), stream));
  EXPECT_EQ(test::GetMode(Path()), mode_t{0666});
  EXPECT_EQ(test::ReadTree(dir_.Path()).size(), 2U) << "the folder and the log";
}

class CopyLogFileTest : public LogFileTest {
 protected:
  // The log, as a target has it open.
  [[nodiscard]] platform::UniqueFd OpenLog(const std::string& content) const {
    test::PutFile(Path(), content);
    return platform::UniqueFd(open(Path().c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
  }
  [[nodiscard]] bool Copy(const platform::UniqueFd& file) const {
    return CopyLogFile(Path(), file, At("copy"));
  }
};

TEST_F(CopyLogFileTest, CopiesTheLogAndLeavesIt) {
  const platform::UniqueFd file = OpenLog("text");
  EXPECT_TRUE(Copy(file));
  EXPECT_EQ(test::GetFile(At("copy")), "text");
  EXPECT_EQ(test::GetFile(Path()), "text");
}

TEST_F(CopyLogFileTest, CopiesNothingThatIsAppendedMeanwhile) {
  static std::string log;
  static int writes;
  log = Path();
  writes = 0;
  const std::string content(10000, 'x');
  const platform::UniqueFd file = OpenLog(content);
  platform::ScopedSystemCalls calls;
  calls->write = [](int fd, const void* bytes, std::size_t count) {
    if (++writes < 100) {
      const platform::UniqueFd other(open(log.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
      const std::string more(5000, 'y');
      EXPECT_EQ(write(other.Get(), more.data(), more.size()), 5000);
    }
    return ::write(fd, bytes, count);
  };
  EXPECT_TRUE(Copy(file));
  EXPECT_EQ(writes, 3);
  EXPECT_TRUE(test::GetFile(At("copy")) == content);
}

TEST_F(CopyLogFileTest, CopiesNoOtherFile) {
  const platform::UniqueFd file = OpenLog("text");
  EXPECT_EQ(rename(Path().c_str(), At("aside").c_str()), 0);
  EXPECT_FALSE(Copy(file));
  test::PutFile(Path(), "other");
  EXPECT_FALSE(Copy(file));
  EXPECT_EQ(unlink(Path().c_str()), 0);
  test::MakeLink(Path(), "aside");
  EXPECT_FALSE(Copy(file));
  EXPECT_EQ(unlink(Path().c_str()), 0);
  test::MakeFifo(Path());
  EXPECT_FALSE(Copy(file));
  EXPECT_FALSE(CopyLogFile(At("aside"), platform::UniqueFd(), At("copy")));
  EXPECT_FALSE(CopyLogFile(At("missing/Ixer.log"), file, At("copy")));
  EXPECT_FALSE(test::IsThere(At("copy")));
}

TEST_F(CopyLogFileTest, CopiesNoFileOfSeveralNames) {
  const platform::UniqueFd file = OpenLog("text");
  test::MakeHardLink(At("second"), Path());
  EXPECT_FALSE(Copy(file));
  EXPECT_FALSE(test::IsThere(At("copy")));
  EXPECT_EQ(unlink(At("second").c_str()), 0);
  EXPECT_TRUE(Copy(file));
}

TEST_F(CopyLogFileTest, TreatsItsDestinationAsEveryCopy) {
  const test::ScopedUmask umask(027);
  const platform::UniqueFd file = OpenLog("text");
  test::PutFile(At("victim"), "kept");
  test::MakeLink(At("copy"), "victim");
  EXPECT_TRUE(Copy(file));
  EXPECT_TRUE(IsRegular(At("copy")));
  EXPECT_EQ(test::GetFile(At("copy")), "text");
  EXPECT_EQ(test::GetMode(At("copy")), mode_t{0640});
  test::MakeHardLink(At("second"), At("copy"));
  EXPECT_FALSE(Copy(file));
  test::MakeDirs(At("folder"));
  test::MakeLink(At("link"), "folder");
  EXPECT_FALSE(CopyLogFile(Path(), file, At("link/copy")));
  EXPECT_FALSE(CopyLogFile(Path(), file, Path()));
  EXPECT_EQ(test::GetFile(At("victim")), "kept");
  EXPECT_EQ(test::GetFile(Path()), "text");
}

using TruncateLogFileTest = LogFileTest;

TEST_F(TruncateLogFileTest, CutsTheFileAndKeepsItsMode) {
  test::PutFile(Path(), "old");
  test::SetMode(Path(), 0640);
  FileStream stream;
  EXPECT_TRUE(Truncate(Path(), stream));
  EXPECT_EQ(test::GetFile(Path()), "");
  EXPECT_EQ(test::GetMode(Path()), mode_t{0640});
  EXPECT_FALSE(stream.is_open());
  EXPECT_TRUE(stream.good());
}

TEST_F(TruncateLogFileTest, ClosesTheStreamFirst) {
  FileStream stream;
  ASSERT_TRUE(OpenLogFile(Path(), stream));
  stream << "written" << std::flush << "not yet";
  EXPECT_TRUE(Truncate(Path(), stream));
  EXPECT_FALSE(stream.is_open());
  EXPECT_EQ(test::GetFile(Path()), "");
}

TEST_F(TruncateLogFileTest, LeavesTheSameFileToOthersWhoHaveItOpen) {
  FileStream other;
  ASSERT_TRUE(OpenLogFile(Path(), other));
  other << "before" << std::flush;
  FileStream stream;
  EXPECT_TRUE(Truncate(Path(), stream));
  other << "after" << std::flush;
  EXPECT_EQ(test::GetFile(Path()), "after");
}

TEST_F(TruncateLogFileTest, MakesAMissingFileUnderTheUmask) {
  const struct {
    mode_t mask;
    mode_t mode;
  } rows[] = {{0, 0666}, {022, 0644}, {077, 0600}};
  for (const auto& [mask, mode] : rows) {
    SCOPED_TRACE(mask);
    const test::ScopedUmask umask(mask);
    FileStream stream;
    EXPECT_TRUE(Truncate(Path(), stream));
    EXPECT_EQ(test::GetFile(Path()), "");
    EXPECT_EQ(test::GetMode(Path()), mode);
    EXPECT_EQ(unlink(Path().c_str()), 0);
  }
}

TEST_F(TruncateLogFileTest, PutsAnEmptyFileInThePlaceOfALink) {
  const test::ScopedUmask umask(022);
  test::PutFile(At("target"), "kept");
  for (const char* destination : {"target", "missing"}) {
    SCOPED_TRACE(destination);
    test::MakeLink(Path(), destination);
    FileStream stream;
    EXPECT_TRUE(Truncate(Path(), stream));
    EXPECT_TRUE(IsRegular(Path()));
    EXPECT_EQ(test::GetFile(Path()), "");
    EXPECT_EQ(test::GetMode(Path()), mode_t{0644});
    EXPECT_EQ(unlink(Path().c_str()), 0);
  }
  EXPECT_EQ(test::GetFile(At("target")), "kept");
  EXPECT_FALSE(test::IsThere(At("missing")));
}

TEST_F(TruncateLogFileTest, FailsWhereTheLinkWillNotGo) {
  test::PutFile(At("target"), "kept");
  test::MakeLink(Path(), "target");
  platform::ScopedSystemCalls calls;
  calls->unlinkat = RefuseRemoval;
  FileStream stream;
  EXPECT_FALSE(Truncate(Path(), stream));
  EXPECT_EQ(test::GetFile(At("target")), "kept");
}

TEST_F(TruncateLogFileTest, RefusesAFileOfSeveralNamesWithTheStreamClosed) {
  test::PutFile(At("target"), "kept");
  test::MakeHardLink(Path(), At("target"));
  FileStream stream;
  OpenOther(stream);
  EXPECT_FALSE(Truncate(Path(), stream));
  EXPECT_FALSE(stream.is_open());
  EXPECT_TRUE(stream.good());
  EXPECT_EQ(test::GetFile(At("target")), "kept");
}

TEST_F(TruncateLogFileTest, RefusesAnythingButARegularFile) {
  test::MakeFifo(At("fifo"));
  test::MakeDirs(At("folder"));
  test::PutFile(At("file"), "kept");
  if (geteuid() == 0) (void)mknod(At("device").c_str(), S_IFCHR | 0666, 0);
  const test::Tree before = test::ReadTree(dir_.Path());
  for (const char* name : {"fifo", "folder", "device", "file/", "missing/"}) {
    SCOPED_TRACE(name);
    if (name == std::string("device") && !test::IsThere(At(name))) continue;
    FileStream stream;
    EXPECT_FALSE(Truncate(At(name), stream));
    EXPECT_FALSE(stream.is_open());
  }
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(dir_.Path())), std::vector<std::string>{});
}

TEST_F(TruncateLogFileTest, FailsWithoutAFolder) {
  FileStream stream;
  EXPECT_FALSE(Truncate(At("missing/Ixer.log"), stream));
  ExpectClosedAndFailed(stream);
  EXPECT_FALSE(test::IsThere(At("missing")));
}

TEST_F(TruncateLogFileTest, FailsWhereTheFileCannotBeCut) {
  test::PutFile(Path(), "kept");
  platform::ScopedSystemCalls calls;
  calls->ftruncate = [](int, off_t) {
    errno = EIO;
    return -1;
  };
  FileStream stream;
  EXPECT_FALSE(Truncate(Path(), stream));
  ExpectClosedAndFailed(stream);
  EXPECT_EQ(test::GetFile(Path()), "kept");
}

TEST_F(TruncateLogFileTest, CutsNoOtherFileThanTheGivenOne) {
  test::PutFile(Path(), "log");
  const platform::UniqueFd file(open(Path().c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
  ASSERT_EQ(rename(Path().c_str(), At("aside").c_str()), 0);
  test::PutFile(Path(), "kept");
  FileStream stream;
  EXPECT_FALSE(TruncateLogFile(Path(), file, stream));
  ExpectClosedAndFailed(stream);
  EXPECT_FALSE(TruncateLogFile(Path(), platform::UniqueFd(), stream));
  EXPECT_EQ(test::GetFile(Path()), "kept");
  EXPECT_EQ(test::GetFile(At("aside")), "log");
  ASSERT_EQ(rename(At("aside").c_str(), Path().c_str()), 0);
  EXPECT_TRUE(TruncateLogFile(Path(), file, stream));
  EXPECT_EQ(test::GetFile(Path()), "");
}

TEST_F(TruncateLogFileTest, CutsAgainWhereASignalInterrupts) {
  static int interruptions;
  interruptions = 2;
  test::PutFile(Path(), "old");
  platform::ScopedSystemCalls calls;
  calls->ftruncate = [](int fd, off_t length) {
    if (interruptions-- > 0) {
      errno = EINTR;
      return -1;
    }
    return ::ftruncate(fd, length);
  };
  FileStream stream;
  EXPECT_TRUE(Truncate(Path(), stream));
  EXPECT_EQ(test::GetFile(Path()), "");
}

TEST_F(TruncateLogFileTest, KeepsToTheOwnerRuleAmongTheAncestors) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("roots/Ixer.log"), "kept");
  test::MakeLink(At("his"), "roots");
  test::SetOwner(At("his"), kUser, kUser);
  FileStream stream;
  EXPECT_FALSE(Truncate(At("his/Ixer.log"), stream));
  EXPECT_EQ(test::GetFile(At("roots/Ixer.log")), "kept");
  test::SetOwner(At("roots"), kUser, kUser);
  EXPECT_TRUE(Truncate(At("his/Ixer.log"), stream));
  EXPECT_EQ(test::GetFile(At("roots/Ixer.log")), "");
}

TEST_F(TruncateLogFileTest, CutsNothingBehindALinkThatTakesThePlaceOfTheRemovedOne) {
  test::PutFile(At("target"), "kept");
  test::MakeLink(Path(), "missing");
  const test::AfterRemoval planting([this] { test::MakeLink(Path(), "target"); });
  FileStream stream;
  EXPECT_FALSE(Truncate(Path(), stream));
  ExpectClosedAndFailed(stream);
  EXPECT_EQ(test::GetFile(At("target")), "kept");
}

TEST_F(TruncateLogFileTest, CutsNoSecondNameThatTakesThePlaceOfTheRemovedLink) {
  test::PutFile(At("target"), "kept");
  test::MakeLink(Path(), "missing");
  const test::AfterRemoval planting([this] { test::MakeHardLink(Path(), At("target")); });
  FileStream stream;
  EXPECT_FALSE(Truncate(Path(), stream));
  EXPECT_EQ(test::GetFile(At("target")), "kept");
}

}  // namespace

}  // namespace dunmar
