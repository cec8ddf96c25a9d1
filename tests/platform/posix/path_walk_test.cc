#include "platform/path_walk.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <string>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include "platform/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {
namespace {

// For the rest of the process's life: only in a child.
void GiveUpReadingEverything() {
  __user_cap_header_struct header = {.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
  __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
  ASSERT_EQ(0, ::syscall(SYS_capget, &header, data));
  data[0].effective &= ~((1U << CAP_DAC_OVERRIDE) | (1U << CAP_DAC_READ_SEARCH));
  ASSERT_EQ(0, ::syscall(SYS_capset, &header, data));
}

// Root may change every mode even where he may not read everything, as in a container.
TEST(OpenOwnFolderItself, ChangesNothingForRoot) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  const std::string path = dir.Join("users");
  test::MakeDirs(path);
  test::SetOwner(path, 1001, 1001);
  test::SetMode(path, 0751);
  test::RunInChild([&path] {
    GiveUpReadingEverything();
    UniqueFd folder;
    EXPECT_EQ(EACCES, OpenOwnFolderItself(path, &folder));
    EXPECT_FALSE(folder);
  });
  EXPECT_EQ(test::GetMode(path), mode_t{0751});
}

}  // namespace
}  // namespace platform
