#include "tests/support/scoped_temp_dir.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/tree.h"

namespace {

TEST(ScopedTempDir, IsAFreshFolderWithMode0755WhateverTheUmask) {
  const test::ScopedUmask mask(0077);
  const test::ScopedTempDir folder;
  EXPECT_EQ(test::GetMode(folder.Path()), 0755u);
  EXPECT_EQ(test::ReadTree(folder.Path()).size(), 1u);
}

TEST(ScopedTempDir, IsAnotherOneEachTime) {
  const test::ScopedTempDir first;
  const test::ScopedTempDir second;
  EXPECT_NE(first.Path(), second.Path());
}

TEST(ScopedTempDir, HasAnAbsolutePathWithoutLinksAndTrailingSlash) {
  const test::ScopedTempDir outer;
  test::MakeDirs(outer.Join("real"));
  test::MakeLink(outer.Join("link"), "real");
  test::RunInChild([&] {
    setenv("TMPDIR", outer.Join("link/").c_str(), 1);
    const test::ScopedTempDir folder;
    EXPECT_EQ(folder.Path().rfind(outer.Join("real/"), 0), 0u) << folder.Path();
    EXPECT_NE(folder.Path().back(), '/');
    const std::unique_ptr<char, void (*)(void*)> resolved(realpath(folder.Path().c_str(), nullptr),
                                                          std::free);
    ASSERT_NE(resolved, nullptr);
    EXPECT_EQ(folder.Path(), resolved.get());
  });
}

TEST(ScopedTempDir, IsBelowTmpWithoutTmpdir) {
  for (const bool empty : {false, true}) {
    SCOPED_TRACE(empty ? "TMPDIR empty" : "TMPDIR not set");
    test::RunInChild([&] {
      unsetenv("TMPDIR");
      if (empty) setenv("TMPDIR", "", 1);
      const test::ScopedTempDir folder;
      EXPECT_NE(folder.Path().find("/tmp/"), std::string::npos) << folder.Path();
    });
  }
}

TEST(ScopedTempDir, JoinsItsPathAndARelativeOne) {
  const test::ScopedTempDir folder;
  EXPECT_EQ(folder.Join("a/b"), folder.Path() + "/a/b");
}

TEST(ScopedTempDir, RemovesItselfWithItsContent) {
  std::string path;
  {
    const test::ScopedTempDir folder;
    path = folder.Path();
    test::PutFile(folder.Join("a/b/c"), "x");
    test::MakeFifo(folder.Join("fifo"));
    test::MakeLink(folder.Join("a/dangling"), "no such item");
  }
  EXPECT_FALSE(test::IsThere(path));
}

TEST(ScopedTempDir, DoesNotFollowLinksWhenItIsRemoved) {
  const test::ScopedTempDir other;
  test::PutFile(other.Join("a/file"), "x");
  test::SetMode(other.Join("a"), 0750);
  {
    const test::ScopedTempDir folder;
    test::MakeLink(folder.Join("link"), other.Join("a"));
    test::MakeLink(folder.Join("fileLink"), other.Join("a/file"));
  }
  EXPECT_EQ(test::GetFile(other.Join("a/file")), "x");
  EXPECT_EQ(test::GetMode(other.Join("a")), 0750u);
}

// As an ordinary user these folders are obstacles; root passes them anyway.
TEST(ScopedTempDir, RemovesLockedFolders) {
  std::string path;
  {
    const test::ScopedTempDir folder;
    path = folder.Path();
    test::PutFile(folder.Join("a/b/c"), "x");
    test::SetMode(folder.Join("a/b"), 0);
    test::SetMode(folder.Join("a"), 0555);
    test::SetMode(folder.Path(), 0);
  }
  EXPECT_FALSE(test::IsThere(path));
}

TEST(ScopedTempDir, RemovesATreeDeeperThanAPathCanBeLong) {
  std::string path;
  test::RunInChild([&] {
    {
      const test::ScopedTempDir folder;
      path = folder.Path();
      ASSERT_EQ(chdir(path.c_str()), 0);
      const std::string name(200, 'd');
      for (int depth = 0; depth < 50; ++depth) {
        ASSERT_EQ(mkdir(name.c_str(), 0755), 0);
        ASSERT_EQ(chdir(name.c_str()), 0);
      }
      ASSERT_EQ(chdir("/"), 0);
    }
    EXPECT_FALSE(test::IsThere(path));
  });
}

TEST(ScopedTempDirDeathTest, EndsTheProgramWhereItCannotBeHad) {
  EXPECT_DEATH(
      {
        setenv("TMPDIR", "/no such folder", 1);
        const test::ScopedTempDir folder;
      },
      "no temporary folder: No such file or directory");
}

}  // namespace
