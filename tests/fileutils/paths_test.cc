#include "fileutils/paths.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "platform/system_calls_for_testing.h"

namespace {

TEST(AppendPathComponent, PutsOneSeparatorAtTheSeam) {
  const struct {
    const char* path;
    const char* component;
    const char* expected;
  } rows[] = {
      {"/a", "b", "/a/b"},           {"/a/", "/b", "/a/b"}, {"/a", "///b/", "/a/b/"},
      {"/a", "//", "/a/"},           {"/a/", "/", "/a/"},   {"/a//", "/b", "/a//b"},
      {"/a//", "/", "/a//"},         {"a", "b", "a/b"},     {"/", "b", "/b"},
      {"/a", "b//c//", "/a/b//c//"}, {"/a", "..", "/a/.."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.path) + " + " + row.component);
    std::string path = row.path;
    EXPECT_TRUE(fileutils::AppendPathComponent(path, row.component));
    EXPECT_EQ(path, row.expected);
  }
}

TEST(AppendPathComponent, FailsOnAnEmptyPath) {
  std::string path;
  EXPECT_FALSE(fileutils::AppendPathComponent(path, "b"));
  EXPECT_EQ(path, "");
}

TEST(AppendPathComponent, FailsOnAnEmptyComponent) {
  std::string path = "/a";
  EXPECT_FALSE(fileutils::AppendPathComponent(path, ""));
  EXPECT_EQ(path, "/a");
}

TEST(AppendPathComponent, TakesAPartOfThePathItself) {
  std::string path = "/a/b";
  EXPECT_TRUE(fileutils::AppendPathComponent(path, std::string_view(path).substr(2)));
  EXPECT_EQ(path, "/a/b/b");
}

TEST(AppendPathComponent, TakesTheWholePathThoughItMovesWhileItGrows) {
  for (const std::size_t length : {2U, 15U, 16U, 30U, 31U, 64U}) {
    SCOPED_TRACE(length);
    const std::string name(length - 1, 'x');
    std::string path = "/" + name;
    path.shrink_to_fit();
    EXPECT_TRUE(fileutils::AppendPathComponent(path, path));
    EXPECT_EQ(path, "/" + name + "/" + name);
  }
}

TEST(GetParentPath, IsTheDirname) {
  const struct {
    const char* path;
    const char* expected;
  } rows[] = {
      {"/a/b", "/a"}, {"/a/b/", "/a"}, {"/a", "/"}, {"/", "/"}, {"//", "/"}, {"///", "/"},
      {"//a", "/"},   {"a", "."},      {"a/", "."}, {".", "."}, {"..", "."}, {"a/b", "a"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    std::string path = row.path;
    EXPECT_TRUE(fileutils::GetParentPath(path));
    EXPECT_EQ(path, row.expected);
  }
}

TEST(GetParentPath, FailsOnAnEmptyPath) {
  std::string path;
  EXPECT_FALSE(fileutils::GetParentPath(path));
  EXPECT_EQ(path, "");
}

TEST(GetParentPath, KeepsThePathWhereDirnameFails) {
  platform::ScopedSystemCalls calls;
  calls->dirname = [](char*) -> char* { return nullptr; };
  std::string path = "/a/b";
  EXPECT_FALSE(fileutils::GetParentPath(path));
  EXPECT_EQ(path, "/a/b");
}

TEST(GetParentPath, GivesOneSlashWhereDirnameGivesSeveral) {
  platform::ScopedSystemCalls calls;
  static char slashes[] = "//";
  calls->dirname = [](char*) -> char* { return slashes; };
  std::string path = "//a";
  EXPECT_TRUE(fileutils::GetParentPath(path));
  EXPECT_EQ(path, "/");
}

TEST(GetPathExtension, IsTheTextAfterTheLastDotOfTheWholePath) {
  const struct {
    const char* path;
    const char* expected;
  } rows[] = {
      {"/a.b/c", "b/c"}, {"/a/b.c", "c"}, {"a.tar.gz", "gz"}, {"a.", ""}, {".hidden", "hidden"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    std::string extension = "before";
    EXPECT_TRUE(fileutils::GetPathExtension(row.path, extension));
    EXPECT_EQ(extension, row.expected);
  }
}

TEST(GetPathExtension, FailsWithoutADot) {
  for (const char* path : {"", "/a/b"}) {
    SCOPED_TRACE(path);
    std::string extension = "before";
    EXPECT_FALSE(fileutils::GetPathExtension(path, extension));
    EXPECT_EQ(extension, "before");
  }
}

TEST(GetFileName, IsTheBasename) {
  const struct {
    const char* path;
    const char* expected;
  } rows[] = {
      {"/a/b", "b"}, {"/a/b/", "b"}, {"a", "a"}, {"/", "/"}, {"//", "/"}, {"", "."}, {"/.b", ".b"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    std::string name = "before";
    EXPECT_TRUE(fileutils::GetFileName(row.path, name));
    EXPECT_EQ(name, row.expected);
  }
}

TEST(GetFileName, ReplacesThePathThatItIsGiven) {
  std::string text = "/a/b";
  EXPECT_TRUE(fileutils::GetFileName(text, text));
  EXPECT_EQ(text, "b");
}

TEST(GetFileName, EmptiesTheNameWhereBasenameFails) {
  platform::ScopedSystemCalls calls;
  calls->basename = [](char*) -> char* { return nullptr; };
  std::string name = "before";
  EXPECT_FALSE(fileutils::GetFileName("/a/b", name));
  EXPECT_EQ(name, "");
}

}  // namespace
