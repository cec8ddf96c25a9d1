#include "fileutils/write_file.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace {

using Lines = std::vector<std::string>;

bool Write(const std::string& path, const std::string& content, bool skipLinkCheck) {
  return fileutils::WriteFile(path, content, /*unusedFlag=*/false, skipLinkCheck);
}

TEST(WriteFile, LeavesTheOldFileWhereItFails) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "old");
  const test::Tree before = test::ReadTree(folder.Path());
  platform::ScopedSystemCalls calls;
  calls->fsync = [](int) {
    errno = EIO;
    return -1;
  };
  for (const bool skipLinkCheck : {false, true}) {
    SCOPED_TRACE(skipLinkCheck);
    EXPECT_FALSE(Write(folder.Join("file"), "new", skipLinkCheck));
  }
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(folder.Path())), Lines{});
}

}  // namespace
