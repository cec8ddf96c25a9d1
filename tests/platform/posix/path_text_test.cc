#include "platform/path_text.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "tests/support/fake_host.h"

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

}  // namespace
}  // namespace platform
