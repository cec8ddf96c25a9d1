#include "platform/path_text.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>

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

TEST(StandardizingPath, LeavesADotThatIsAllThereIs) { EXPECT_EQ(StandardizingPath("."), "."); }

TEST(StandardizingPath, TakesOffOnePrefixWhereTheRestExists) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  for (const char* folder : {"tmp", "var", "etc", "private/tmp", "privatetmp", "System", "usr/lib",
                             "private/System", "private/var/automount/home"}) {
    test::MakeDirs(root.Join(folder));
  }
  struct Row {
    const char* path;
    const char* result;
  };
  static constexpr Row kRows[] = {
      {"/private", "/private"},
      {"/private/", "/private"},
      {"/private/tmp", "/tmp"},
      {"/private/var", "/var"},
      {"/private/etc/.", "/etc"},
      {"/private/var/missing", "/private/var/missing"},
      {"/private/missing", "/private/missing"},
      {"/privatetmp", "/privatetmp"},
      {"private/tmp", "private/tmp"},
      {"/var/automount/tmp", "/tmp"},
      {"/var/automount/missing", "/var/automount/missing"},
      {"/private/var/automount/tmp", "/tmp"},
      {"/private/var/automount", "/private/var/automount"},
      {"/private/private/tmp", "/private/private/tmp"},
      {"/private/System", "/private/System"},
      {"/private/System/x", "/private/System/x"},
      {"/private/usr/lib", "/private/usr/lib"},
      {"/private/tmp/../var", "/var"},
  };
  test::RunInRoot(root.Path(), [] {
    for (const Row& row : kRows) {
      SCOPED_TRACE(row.path);
      EXPECT_EQ(StandardizingPath(row.path), row.result);
    }
  });
}

}  // namespace
}  // namespace platform
