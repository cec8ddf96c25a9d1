#include "fileutils/delete_directory.h"

#include <gtest/gtest.h>
#include <string>

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

}  // namespace
