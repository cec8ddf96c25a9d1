#include "platform/path_text.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

using namespace std::string_literals;

namespace platform {
namespace {

using test::Fault;

struct Parts {
  const char* path;
  const char* last;              // LastPathComponent
  const char* folder;            // DeletingLastPathComponent
  const char* extension;         // PathExtension
  const char* withoutExtension;  // DeletingPathExtension
  std::optional<Fault> fault = std::nullopt;
};

// The row falls victim to one of these faults.
bool IsVoid(std::optional<Fault> fault, std::initializer_list<Fault> faults) {
  return fault && test::HasFault(*fault) &&
         std::find(faults.begin(), faults.end(), *fault) != faults.end();
}

// Null where the systems that have these rules differ among themselves.
constexpr Parts kParts[] = {
    {"", "", "", "", ""},
    {"/", "/", "/", "", "/"},
    {"//", "/", "/", "", "/"},
    {"a", "a", "", "", "a"},
    {"a/", "a", "", "", "a"},
    {"/a", "a", "/", "", "/a"},
    {"/a/", "a", "/", "", "/a"},
    {"//a", "a", "/", "", "/a", Fault::kKeepsDoubledSlashes},
    {"a//b", "b", "a", "", "a/b", Fault::kKeepsDoubledSlashes},
    {"/a/b.c", "b.c", "/a", "c", "/a/b"},
    {"/a/b.c/", "b.c", "/a", "c", "/a/b"},
    {"/a.b/c", "c", "/a.b", "", "/a.b/c"},
    {".hidden", ".hidden", "", "", ".hidden"},
    {"/tmp/.hidden", ".hidden", "/tmp", "", "/tmp/.hidden", Fault::kTakesHiddenNamesForExtensions},
    {".hidden.txt", ".hidden.txt", "", "txt", ".hidden"},
    {"a.", "a.", "", "", nullptr},
    {"a..b", "a..b", "", "b", "a."},
    {".", ".", "", "", "."},
    {"..", "..", "", "", "..", Fault::kTakesHiddenNamesForExtensions},
    {"/..", "..", "/", "", "/..", Fault::kTakesHiddenNamesForExtensions},
    {"/../a", "a", "/..", "", "/../a"},
    {"a/..", "..", "a", "", "a/..", Fault::kTakesHiddenNamesForExtensions},
    {"/tmp/scratch.tiff", "scratch.tiff", "/tmp", "tiff", "/tmp/scratch"},
    {"/tmp/scratch.tiff/", "scratch.tiff", "/tmp", "tiff", "/tmp/scratch"},
    {"/tmp/", "tmp", "/", "", "/tmp"},
    {"scratch///", "scratch", "", "", "scratch"},
    {"scratch.bundle/", "scratch.bundle", "", "bundle", "scratch"},
    {"scratch..tiff", "scratch..tiff", "", "tiff", "scratch."},
    {"~", "~", "", "", "~"},
    {"~/x", "x", "~", "", "~/x", Fault::kKeepsTheSlashBehindATilde},
    {"a/b/c.tar.gz", "c.tar.gz", "a/b", "gz", "a/b/c.tar"},
    {"..zip", "..zip", "", nullptr, nullptr},
    {"..name.txt", "..name.txt", "", "txt", "..name"},
    {"name.ext with space", "name.ext with space", "", nullptr, nullptr},
    {"/a/b/.c/", ".c", "/a/b", "", "/a/b/.c", Fault::kTakesHiddenNamesForExtensions},
    {"café.téxt", "café.téxt", "", "téxt", "café"},
    {"/😎/❤️/", "❤️", "/😎", "", "/😎/❤️"},
    {"日本語.txt", "日本語.txt", "", "txt", "日本語"},
    {"a.日", "a.日", "", "日", "a"},
    {"\\a\\b", "\\a\\b", "", "", "\\a\\b", Fault::kTakesBackslashesForSlashes},
    {"Name.TXT", "Name.TXT", "", "TXT", "Name"},
};

TEST(PathText, MakesNothingOfANulByte) {
  const std::string nul = "a\0b"s;
  EXPECT_EQ(AppendingPathComponent(nul, "x"), std::nullopt);
  EXPECT_EQ(AppendingPathComponent("x", nul), std::nullopt);
  EXPECT_EQ(LastPathComponent(nul), std::nullopt);
  EXPECT_EQ(DeletingLastPathComponent(nul), std::nullopt);
  EXPECT_EQ(PathExtension(nul), std::nullopt);
  EXPECT_EQ(DeletingPathExtension(nul), std::nullopt);
  EXPECT_EQ(AppendingPathExtension(nul, "x"), std::nullopt);
  EXPECT_EQ(AppendingPathExtension("x", nul), std::nullopt);
  EXPECT_EQ(StandardizingPath(nul), std::nullopt);
}

TEST(LastPathComponent, IsTheTextAfterTheLastSlashOfTheNormalForm) {
  for (const Parts& row : kParts) {
    if (IsVoid(row.fault, {Fault::kTakesBackslashesForSlashes})) continue;
    SCOPED_TRACE(row.path);
    EXPECT_EQ(LastPathComponent(row.path), row.last);
  }
}

TEST(DeletingLastPathComponent, IsTheNormalFormUpToTheLastSlash) {
  for (const Parts& row : kParts) {
    if (IsVoid(row.fault,
               {Fault::kTakesBackslashesForSlashes, Fault::kKeepsTheSlashBehindATilde})) {
      continue;
    }
    SCOPED_TRACE(row.path);
    EXPECT_EQ(DeletingLastPathComponent(row.path), row.folder);
  }
}

TEST(PathExtension, IsTheTextAfterTheLastDotOfTheLastComponent) {
  for (const Parts& row : kParts) {
    if (row.extension == nullptr) continue;
    SCOPED_TRACE(row.path);
    EXPECT_EQ(PathExtension(row.path), row.extension);
  }
}

TEST(DeletingPathExtension, IsTheNormalFormWithoutDotAndExtension) {
  for (const Parts& row : kParts) {
    if (row.withoutExtension == nullptr) continue;
    if (IsVoid(row.fault, {Fault::kKeepsDoubledSlashes, Fault::kTakesHiddenNamesForExtensions})) {
      continue;
    }
    SCOPED_TRACE(row.path);
    EXPECT_EQ(DeletingPathExtension(row.path), row.withoutExtension);
  }
}

struct Joined {
  const char* path;
  const char* added;
  const char* result;  // null: no value
  std::optional<Fault> fault = std::nullopt;
};

TEST(AppendingPathComponent, JoinsWithOneSlashAndMakesTheNormalForm) {
  static constexpr Joined kRows[] = {
      {"", "", ""},
      {"", "x", "x"},
      {"", "/x", "/x"},
      {"", "x/", "x"},
      {"/", "", "/"},
      {"/", "x", "/x"},
      {"/", "/x", "/x"},
      {"//", "/", "/"},
      {"a", "", "a"},
      {"a", "x", "a/x"},
      {"a", "/x", "a/x"},
      {"a", "x/", "a/x"},
      {"a", "//x//", "a/x"},
      {"a", "/", "a"},
      {"a/", "", "a"},
      {"a/", "x", "a/x"},
      {"a//", "///x", "a/x"},
      {"/a//b", "c", "/a/b/c"},
      {"/a", "..", "/a/.."},
      {"/a", "../b", "/a/../b"},
      {"/a", "~/x", "/a/~/x"},
      {"/tmp/", "scratch.tiff", "/tmp/scratch.tiff"},
      {"café", "日", "café/日"},
      {"a\\", "x", "a\\/x", Fault::kTakesBackslashesForSlashes},
  };
  for (const Joined& row : kRows) {
    if (row.fault && test::HasFault(*row.fault)) continue;
    SCOPED_TRACE(std::string(row.path) + " + " + row.added);
    EXPECT_EQ(AppendingPathComponent(row.path, row.added), row.result);
  }
}

TEST(AppendingPathExtension, AddsADotAndTheExtensionToTheNormalForm) {
  static constexpr Joined kRows[] = {
      {"", "txt", nullptr, Fault::kGivesTheOldTextForNone},
      {"/", "txt", nullptr, Fault::kGivesTheOldTextForNone},
      {"//", "txt", nullptr, Fault::kGivesTheOldTextForNone},
      {"dir/", "txt", "dir.txt"},
      {"dir//", "txt", "dir.txt"},
      {"a", "txt", "a.txt"},
      {"a.", "txt", "a..txt"},
      {"a.b", "txt", "a.b.txt"},
      {"/tmp/", "tiff", "/tmp.tiff"},
      {"/~scratch", "tiff", "/~scratch.tiff"},
      {"~scratch", "tiff", "~scratch.tiff", Fault::kAddsNoExtensionToATilde},
      {"a", "", "a", Fault::kAddsADotForAnEmptyExtension},
      {"a//b/", "", "a/b", Fault::kKeepsDoubledSlashes},
      {"a", ".txt", "a..txt"},
      {"a", "/txt", nullptr, Fault::kGivesTheOldTextForNone},
      {"a", "tar.gz", "a.tar.gz"},
      {".hidden", "txt", ".hidden.txt"},
      {"a//b", "txt", "a/b.txt", Fault::kKeepsDoubledSlashes},
      {"café", "é", "café.é"},
  };
  for (const Joined& row : kRows) {
    if (row.fault && test::HasFault(*row.fault)) continue;
    SCOPED_TRACE(std::string(row.path) + " + " + row.added);
    const std::optional<std::string> result = AppendingPathExtension(row.path, row.added);
    if (row.result == nullptr) {
      EXPECT_EQ(result, std::nullopt);
    } else {
      EXPECT_EQ(result, row.result);
    }
  }
}

TEST(StandardizingPath, WorksOnTheTextAlone) {
  struct Row {
    const char* path;
    const char* result;
  };
  static constexpr Row kRows[] = {
      {"", ""},
      {"/", "/"},
      {"//", "/"},
      {"a", "a"},
      {"a/", "a"},
      {"a//b", "a/b"},
      {"/no such/./b", "/no such/b"},
      {"/no such/./././b/", "/no such/b"},
      {"a/.", "a"},
      {"a/./b", "a/b"},
      {"..", ".."},
      {"a/../b", "a/../b"},
      {"../a", "../a"},
      {"/../no such", "/no such"},
      {"/../../no such", "/no such"},
      {"/no such/../other", "/other"},
      {"/no such/./../other", "/other"},
      {"/no such/..", "/"},
      {"/no such/../..", "/"},
      {"/no such/.../..x", "/no such/.../..x"},
      {"x/~", "x/~"},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(StandardizingPath(row.path), row.result);
  }
}

// What becomes of the path of a temporary folder on a Mac: "/private" goes where the rest exists.
std::string WithoutPrivate(const std::string& path) {
  constexpr std::string_view kPrivate = "/private";
  if (!path.starts_with(std::string(kPrivate) + "/")) return path;
  const std::string rest = path.substr(kPrivate.size());
  return test::IsThere(rest) ? rest : path;
}

TEST(StandardizingPath, TakesParentsOutByTextWhereSomethingIsMissing) {
  const test::ScopedTempDir dir;
  if (!test::HasFault(Fault::kKeepsTheSlashBeforeParents)) {
    EXPECT_EQ(StandardizingPath(dir.Join("no such/..")), WithoutPrivate(dir.Path()));
  }
  EXPECT_EQ(StandardizingPath(dir.Join("no such/../x")), WithoutPrivate(dir.Join("x")));
}

TEST(StandardizingPath, TakesTheRealParentsWhereEverythingExists) {
  if (test::HasFault(Fault::kRemovesParentsByTextAlone)) GTEST_SKIP() << "GNUstep takes others";
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("usr/lib"));
  test::PutFile(dir.Join("usr/file"), "");
  test::MakeLink(dir.Join("link"), "usr/lib");
  EXPECT_EQ(StandardizingPath(dir.Join("link/..")), WithoutPrivate(dir.Join("usr")));
  EXPECT_EQ(StandardizingPath(dir.Join("link/../file")), WithoutPrivate(dir.Join("usr/file")));
  EXPECT_EQ(StandardizingPath(dir.Join("link/../missing")), WithoutPrivate(dir.Join("missing")));
}

TEST(StandardizingPath, LeavesLinksAloneWithoutParents) {
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("usr/lib"));
  test::MakeLink(dir.Join("link"), "usr");
  EXPECT_EQ(StandardizingPath(dir.Join("link")), WithoutPrivate(dir.Join("link")));
  EXPECT_EQ(StandardizingPath(dir.Join("link/lib/")), WithoutPrivate(dir.Join("link/lib")));
}

TEST(StandardizingPath, LeavesTheTildeOfAnUnknownUserAlone) {
  EXPECT_EQ(StandardizingPath("~nosuchuser/x"), "~nosuchuser/x");
  EXPECT_EQ(StandardizingPath("~nosuchuser"), "~nosuchuser");
}

TEST(StandardizingPath, LeavesThePrefixBeforeEachFolderThatTheRootHasForItself) {
  if (test::HasFault(Fault::kCutsPrivateAlways)) GTEST_SKIP() << "GNUstep takes it off";
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  static constexpr const char* kFolders[] = {"Applications", "Library", "System", "Users",
                                             "Volumes",      "bin",     "cores",  "dev",
                                             "opt",          "private", "sbin",   "usr"};
  const test::ScopedTempDir root;
  for (const std::string folder : kFolders) {
    test::MakeDirs(root.Join(folder + "/x"));
    // A longer name is another folder.
    test::MakeDirs(root.Join(folder + "2"));
  }
  test::RunInRoot(root.Path(), [] {
    for (const std::string folder : kFolders) {
      SCOPED_TRACE(folder);
      EXPECT_EQ(StandardizingPath("/private/" + folder), "/private/" + folder);
      EXPECT_EQ(StandardizingPath("/private/" + folder + "/x"), "/private/" + folder + "/x");
      EXPECT_EQ(StandardizingPath("/private/" + folder + "2"), "/" + folder + "2");
    }
  });
}

TEST(StandardizingProgramPath, TakesOutWhatDoesNotTellPlacesApart) {
  const struct {
    const char* path;
    const char* result;
  } rows[] = {
      {"/no such//x/", "/no such/x"},
      {"/no such/./x", "/no such/x"},
      {"/no such/y/../x", "/no such/x"},
      {"/", "/"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(StandardizingProgramPath(row.path), row.result);
  }
}

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
    std::optional<Fault> fault = std::nullopt;
  };
  static constexpr Row kRows[] = {
      {"/private", "/private", Fault::kRaisesForPrivate},
      {"/private/", "/private", Fault::kRaisesForPrivate},
      {"/private/tmp", "/tmp"},
      {"/private/var", "/var"},
      {"/private/etc/.", "/etc"},
      {"/private/var/missing", "/private/var/missing", Fault::kCutsPrivateAlways},
      {"/private/missing", "/private/missing", Fault::kCutsPrivateAlways},
      {"/privatetmp", "/privatetmp", Fault::kCutsPrivateAlways},
      {"private/tmp", "private/tmp"},
      {"/var/automount/tmp", "/tmp", Fault::kKnowsNoAutomounts},
      {"/var/automount/missing", "/var/automount/missing"},
      {"/private/var/automount/tmp", "/tmp", Fault::kKnowsNoAutomounts},
      {"/private/var/automount", "/private/var/automount", Fault::kCutsPrivateAlways},
      {"/private/private/tmp", "/private/private/tmp", Fault::kCutsPrivateAlways},
      {"/private/System", "/private/System", Fault::kCutsPrivateAlways},
      {"/private/System/x", "/private/System/x", Fault::kCutsPrivateAlways},
      {"/private/usr/lib", "/private/usr/lib", Fault::kCutsPrivateAlways},
      {"/private/tmp/../var", "/var"},
  };
  test::RunInRoot(root.Path(), [] {
    for (const Row& row : kRows) {
      if (row.fault && test::HasFault(*row.fault)) continue;
      SCOPED_TRACE(row.path);
      EXPECT_EQ(StandardizingPath(row.path), row.result);
    }
  });
}

}  // namespace
}  // namespace platform
