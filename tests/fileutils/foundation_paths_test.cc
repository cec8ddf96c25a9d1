#include "fileutils/foundation_paths.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "tests/support/known_faults.h"

namespace {

using test::Fault;

TEST(JoinPathComponent, JoinsByFoundationsRules) {
  const struct {
    const char* path;
    const char* component;
    const char* expected;
  } rows[] = {
      {"/tmp", "a.txt", "/tmp/a.txt"}, {"/tmp/", "/a", "/tmp/a"}, {"", "x/", "x"}, {"/", "", "/"},
      {"/a//b", "c", "/a/b/c"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.path) + " + " + row.component);
    std::string path = row.path;
    EXPECT_TRUE(fileutils::JoinPathComponent(path, row.component));
    EXPECT_EQ(path, row.expected);
  }
}

TEST(RemoveLastPathComponent, CutsByFoundationsRules) {
  const struct {
    const char* path;
    const char* expected;
  } rows[] = {{"/a/b/", "/a"}, {"/a", "/"}, {"a", ""}, {"/", "/"}, {"", ""}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    std::string path = row.path;
    EXPECT_TRUE(fileutils::RemoveLastPathComponent(path));
    EXPECT_EQ(path, row.expected);
  }
}

TEST(ReplacePathExtension, ReplacesOrAdds) {
  const struct {
    const char* path;
    const char* extension;
    const char* expected;
    std::optional<Fault> fault = std::nullopt;
  } rows[] = {
      {"/a/b.c", "d", "/a/b.d"},     {"/a/b", "d", "/a/b.d"},
      {"/a/b.c/", "d", "/a/b.d"},    {"a.tar.gz", "z", "a.tar.z"},
      {".hidden", "d", ".hidden.d"}, {"a.b", "", "a", Fault::kAddsADotForAnEmptyExtension},
  };
  for (const auto& row : rows) {
    if (row.fault && test::HasFault(*row.fault)) continue;
    SCOPED_TRACE(std::string(row.path) + " . " + row.extension);
    std::string path = row.path;
    EXPECT_TRUE(fileutils::ReplacePathExtension(path, row.extension));
    EXPECT_EQ(path, row.expected);
  }
}

TEST(ReplacePathExtension, FailsWhereTheExtensionCannotBePutOn) {
  if (test::HasFault(Fault::kGivesTheOldTextForNone)) GTEST_SKIP() << "GNUstep makes one";
  const struct {
    const char* path;
    const char* extension;
  } rows[] = {{"", "d"}, {"/", "d"}, {"/a/b.c", "/d"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.path) + " . " + row.extension);
    std::string path = row.path;
    EXPECT_FALSE(fileutils::ReplacePathExtension(path, row.extension));
    EXPECT_EQ(path, row.path);
  }
}

TEST(AppendPathExtension, PutsTheExtensionOn) {
  const struct {
    const char* path;
    const char* extension;
    const char* expected;
    std::optional<Fault> fault = std::nullopt;
  } rows[] = {{"dir/", "txt", "dir.txt"},
              {"a.b", "c", "a.b.c"},
              {"a", "", "a", Fault::kAddsADotForAnEmptyExtension}};
  for (const auto& row : rows) {
    if (row.fault && test::HasFault(*row.fault)) continue;
    SCOPED_TRACE(std::string(row.path) + " . " + row.extension);
    std::string path = row.path;
    EXPECT_TRUE(fileutils::AppendPathExtension(path, row.extension));
    EXPECT_EQ(path, row.expected);
  }
}

TEST(AppendPathExtension, FailsWhereFoundationMakesNoString) {
  if (test::HasFault(Fault::kGivesTheOldTextForNone)) GTEST_SKIP() << "GNUstep makes one";
  const struct {
    const char* path;
    const char* extension;
  } rows[] = {{"", "txt"}, {"/", "txt"}, {"a", "/txt"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.path) + " . " + row.extension);
    std::string path = row.path;
    EXPECT_FALSE(fileutils::AppendPathExtension(path, row.extension));
    EXPECT_EQ(path, row.path);
  }
}

TEST(RemovePathExtension, CutsTheExtensionAndATrailingSlash) {
  const struct {
    const char* path;
    const char* expected;
    std::optional<Fault> fault = std::nullopt;
  } rows[] = {
      {"/a/b.c", "/a/b"},
      {"/a/b.c/", "/a/b"},
      {"/tmp/.hidden", "/tmp/.hidden", Fault::kTakesHiddenNamesForExtensions},
      {"/a.b/c", "/a.b/c"},
  };
  for (const auto& row : rows) {
    if (row.fault && test::HasFault(*row.fault)) continue;
    SCOPED_TRACE(row.path);
    std::string path = row.path;
    EXPECT_TRUE(fileutils::RemovePathExtension(path));
    EXPECT_EQ(path, row.expected);
  }
}

TEST(IsBareName, IsTrueForAPathThatIsItsOwnLastComponent) {
  const struct {
    const char* path;
    bool expected;
  } rows[] = {
      {"a.log", true}, {"", true},    {"/", true},   {"..", true},
      {"a/b", false},  {"a/", false}, {"/a", false}, {"//", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(fileutils::IsBareName(row.path), row.expected);
  }
}

}  // namespace
