#include "fileutils/delete_directory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "tests/support/files.h"
#include "tests/support/mount_memory.h"
#include "tests/support/recording_logger.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace {

bool Delete(const std::string& path, bool checkSpecialPath,
            dunmar::AbstractLogger* logger = nullptr) {
  return fileutils::DeleteDirectory(path, /*recursive=*/true, /*unusedFlag=*/true, logger,
                                    /*logSuccess=*/true, checkSpecialPath);
}

TEST(DeleteDirectory, DoesNotEnterAMountPointWithTheCheckOff) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RootOptions options;
  options.mountProc = true;
  options.beforeChangeRoot = [&root] { test::MountMemory(root.Join("Volumes/Data")); };
  test::RunInRoot(
      root.Path(),
      [] {
        test::PutFile("/Volumes/Data/file", "x");
        test::RecordingLogger logger;
        for (const char* path : {"/Volumes/Data", "/Volumes"}) {
          SCOPED_TRACE(path);
          EXPECT_FALSE(Delete(path, /*checkSpecialPath=*/false, &logger));
        }
        EXPECT_EQ(test::GetFile("/Volumes/Data/file"), "x");
        ASSERT_EQ(logger.messages.size(), 2U);
        EXPECT_EQ(logger.messages[0].format, "Failed to remove file. Error: %s");
        EXPECT_EQ(logger.messages[1].format, "Failed to remove file. Error: %s");
      },
      options);
}

TEST(DeleteDirectory, DoesNotFollowAnothersLinkToWhatIsNotHis) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("real/tree/file"), "x");
  test::MakeLink(folder.Join("link"), "real");
  test::SetOwner(folder.Join("link"), 501, 20);
  EXPECT_FALSE(Delete(folder.Join("link/tree"), /*checkSpecialPath=*/true));
  EXPECT_EQ(test::GetFile(folder.Join("real/tree/file")), "x");
}

bool DeleteSingle(const std::string& path, dunmar::AbstractLogger* logger) {
  return fileutils::DeleteDirectory(path, /*recursive=*/false, /*unusedFlag=*/true, logger,
                                    /*logSuccess=*/true, /*checkSpecialPath=*/false);
}

// Lets somebody put a file into a directory at the first look at a name: after the directory was
// listed, and before it is removed.
class FilledAtALook {
 public:
  explicit FilledAtALook(const std::string& file) {
    File() = file;
    calls_->fstatat = [](int folder, const char* name, struct stat* status, int flags) {
      const std::string next = std::exchange(File(), "");
      if (!next.empty()) test::PutFile(next, "x");
      return ::fstatat(folder, name, status, flags);
    };
  }

 private:
  static std::string& File() {
    static std::string file;
    return file;
  }
  platform::ScopedSystemCalls calls_;
};

TEST(DeleteDirectory, LeavesAFolderThatIsFilledAfterTheListing) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("empty"));
  test::RecordingLogger logger;
  const FilledAtALook fill(folder.Join("empty/sub/file"));
  EXPECT_FALSE(DeleteSingle(folder.Join("empty"), &logger));
  EXPECT_EQ(test::GetFile(folder.Join("empty/sub/file")), "x");
  EXPECT_EQ(test::LevelsAndMessages(logger.messages),
            std::vector<std::string>{"40 Failed to remove file. Error: Directory not empty: " +
                                     folder.Join("empty")});
}

TEST(DeleteDirectory, RemovesAnEmptyFolderThatCannotBeListedAndLeavesAFullOne) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("his/empty"));
  test::PutFile(folder.Join("his/full/file"), "x");
  for (const char* name : {"his", "his/empty", "his/full"}) {
    test::SetOwner(folder.Join(name), 1001, 1001);
    test::SetMode(folder.Join(name), name == std::string("his") ? 0755 : 0300);
  }
  test::RunInChild([&] {
    ASSERT_EQ(seteuid(1001), 0);
    test::RecordingLogger logger;
    EXPECT_TRUE(DeleteSingle(folder.Join("his/empty"), &logger));
    EXPECT_FALSE(DeleteSingle(folder.Join("his/full"), &logger));
    ASSERT_EQ(logger.messages.size(), 2U);
    EXPECT_EQ(logger.messages[1].format, "Failed to remove file. Error: %s");
  });
  EXPECT_FALSE(test::IsThere(folder.Join("his/empty")));
  EXPECT_EQ(test::GetFile(folder.Join("his/full/file")), "x");
}

}  // namespace
