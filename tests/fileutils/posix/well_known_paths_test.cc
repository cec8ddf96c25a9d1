#include "fileutils/well_known_paths.h"

#include <gtest/gtest.h>
#include <string>

#include "fileutils/path_kind.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace {

TEST(GetWellKnownPath, KeepsTheFolderPrivateBeforeTheProgram) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const struct {
    const char* executable;
    const char* bundle;
    const char* item;
    const char* parent;
  } rows[] = {
      {"/private/X/Tool.app/Contents/MacOS/tool", "/private/X/Tool.app", "/private/X/Tool.app",
       "/private/X"},
      {"/private/X/tool", "/private/X", "/private/X/tool", "/private/X"},
      {"/X/tool", "/private/X", "/private/X", "/private"},
  };
  const test::ScopedTempDir root;
  test::MakeDirs(root.Join("X/Tool.app"));
  test::MakeDirs(root.Join("private/X/Tool.app"));
  test::RunInRoot(root.Path(), [&rows] {
    for (const auto& row : rows) {
      SCOPED_TRACE(row.executable);
      test::FakeHost host;
      host.info.executable = row.executable;
      host.info.bundle = row.bundle;
      std::string path;
      EXPECT_TRUE(fileutils::GetWellKnownPath(fileutils::kProgramItem, path));
      EXPECT_EQ(path, row.item);
      EXPECT_TRUE(fileutils::GetWellKnownPath(fileutils::kProgramParent, path));
      EXPECT_EQ(path, row.parent);
    }
  });
}

}  // namespace
