#include "platform/path_text.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "platform/posix/normal_form.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

using namespace std::string_literals;

namespace platform {
namespace {

TEST(PathText, TakesAnyOtherBytes) {
  EXPECT_EQ(AppendingPathComponent("/\xFF", "\x80.\xC3"), "/\xFF/\x80.\xC3");
  EXPECT_EQ(LastPathComponent("/\xFF/\x80.\xC3"), "\x80.\xC3");
  EXPECT_EQ(DeletingLastPathComponent("/\xFF/\x80.\xC3"), "/\xFF");
  EXPECT_EQ(PathExtension("/\xFF/\x80.\xC3"), "\xC3");
  EXPECT_EQ(DeletingPathExtension("/\xFF/\x80.\xC3"), "/\xFF/\x80");
  EXPECT_EQ(AppendingPathExtension("/\xFF", "\x80"), "/\xFF.\x80");
  EXPECT_EQ(StandardizingPath("/\xFF/./\x80"), "/\xFF/\x80");
}

TEST(StandardizingPath, PutsHomesInPlaceOfALeadingTilde) {
  test::FakeHost host;
  host.directories.home = "/homes/mia/";
  host.directories.homes["leo"] = "/homes/leo";
  struct Row {
    const char* path;
    const char* result;
  };
  static constexpr Row kRows[] = {
      {"~", "/homes/mia"},      {"~/", "/homes/mia"},   {"~/x", "/homes/mia/x"},
      {"~/x/", "/homes/mia/x"}, {"~leo", "/homes/leo"}, {"~leo/x", "/homes/leo/x"},
      {"~other/x", "~other/x"}, {"x/~leo", "x/~leo"},   {"~/../ben", "/homes/ben"},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(StandardizingPath(row.path), row.result);
  }
}

TEST(StandardizingPath, LeavesTheTildeOfAHomeThatCannotBeTold) {
  test::FakeHost host;
  host.directories.tellsHome = false;
  EXPECT_EQ(StandardizingPath("~"), "~");
  EXPECT_EQ(StandardizingPath("~/x/"), "~/x");
}

TEST(StandardizingProgramPath, ExpandsNoTilde) {
  const test::FakeHost host;
  EXPECT_EQ(StandardizingProgramPath("~/x/"), "~/x");
}

TEST(StandardizingProgramPath, TakesOffNoPrefix) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::MakeDirs(root.Join("opt2/bin"));
  test::MakeDirs(root.Join("private/opt2/bin"));
  test::RunInRoot(root.Path(), [] {
    for (const char* path : {"/private/opt2/bin", "/var/automount/opt2/bin",
                             "/private/var/automount/opt2/bin", "/opt2/bin"}) {
      EXPECT_EQ(StandardizingProgramPath(path), path);
    }
    EXPECT_EQ(StandardizingProgramPath("//private/opt2/x/../bin/"), "/private/opt2/bin");
    EXPECT_EQ(StandardizingPath("/private/opt2/bin"), "/opt2/bin");
  });
}

TEST(NormalForm, TakesSlashesOutAndNothingElse) {
  const struct {
    const char* path;
    const char* normal;
  } rows[] = {
      {"", ""},
      {"/", "/"},
      {"///", "/"},
      {"a", "a"},
      {"a/", "a"},
      {"/a//b///c/", "/a/b/c"},
      {"/a/./b/../c", "/a/./b/../c"},
      {"~/x", "~/x"},
      {".", "."},
      {"/..", "/.."},
  };
  for (const auto& row : rows) EXPECT_EQ(NormalForm(row.path), row.normal);
}

TEST(StandardizingPath, LeavesADotThatIsAllThereIs) { EXPECT_EQ(StandardizingPath("."), "."); }

}  // namespace
}  // namespace platform
