#include "platform/item_removal.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/platform/posix/deny_system_calls.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace platform {

namespace {

// Has a function called in place of unlinkat, for a scope.
class ScopedUnlink {
 public:
  using Function = std::function<int(int folder, const char* name, int flags)>;

  explicit ScopedUnlink(Function function) {
    current = std::move(function);
    calls_->unlinkat = [](int folder, const char* name, int flags) {
      return current(folder, name, flags);
    };
  }
  ~ScopedUnlink() { current = nullptr; }
  ScopedUnlink(const ScopedUnlink&) = delete;
  ScopedUnlink& operator=(const ScopedUnlink&) = delete;

 private:
  static inline Function current;
  ScopedSystemCalls calls_;
};

class PosixRemoveItemTest : public testing::Test {
 protected:
  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }

  void ExpectFailure(const std::string& path, const std::string& text) const {
    std::string errorText;
    EXPECT_FALSE(RemoveItem(path, &errorText));
    EXPECT_EQ(text, errorText);
  }

  void ExpectSuccess(const std::string& path) const {
    std::string errorText;
    EXPECT_TRUE(RemoveItem(path, &errorText)) << errorText;
    EXPECT_FALSE(test::IsThere(path));
  }

  // Removes `relative` while `interfere` is called once, before the entry `name` goes.
  [[nodiscard]] bool RemoveWhile(const std::string& relative, const std::string& name,
                                 const std::function<void()>& interfere,
                                 std::string* errorText) const {
    bool done = false;
    const ScopedUnlink unlink([&](int folder, const char* entry, int flags) {
      if (!done && entry == name) {
        done = true;
        interfere();
      }
      return ::unlinkat(folder, entry, flags);
    });
    const bool removed = RemoveItem(At(relative), errorText);
    EXPECT_TRUE(done);
    return removed;
  }

  void Rename(const std::string& from, const std::string& to) const {
    EXPECT_EQ(0, ::rename(At(from).c_str(), At(to).c_str()));
  }

  test::ScopedTempDir dir_;
};

// A chain of folders below the folder `top`, which is made.
void MakeChain(const std::string& top, int length) {
  test::MakeDirs(top);
  UniqueFd folder(::open(top.c_str(), O_PATH | O_CLOEXEC));
  for (int i = 0; i < length; ++i) {
    ASSERT_EQ(0, ::mkdirat(folder.Get(), "d", 0755));
    folder.Reset(::openat(folder.Get(), "d", O_PATH | O_CLOEXEC));
    ASSERT_TRUE(folder);
  }
}

TEST_F(PosixRemoveItemTest, FailsWithoutAnItem) {
  test::PutFile(At("file"), "x");
  const struct {
    std::string path;
    std::string text;
  } rows[] = {
      {At("missing"), "No such file or directory: " + At("missing")},
      {At("missing/"), "No such file or directory: " + At("missing/")},
      {At("missing/x"), "No such file or directory: " + At("missing/x")},
      {At("file/x"), "Not a directory: " + At("file/x")},
      {"", "No such file or directory: "},
      {At(std::string("file\0", 5)), "Invalid argument: " + At(std::string("file\0", 5))},
      {At(std::string(256, 'n')), "File name too long: " + At(std::string(256, 'n'))},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    std::string errorText;
    EXPECT_FALSE(RemoveItem(row.path, &errorText));
    EXPECT_EQ(row.text, errorText);
    EXPECT_FALSE(RemoveItem(row.path, nullptr));
  }
  EXPECT_EQ("x", test::GetFile(At("file")));
}

TEST_F(PosixRemoveItemTest, RefusesATrailingSlashBehindAnythingButAFolder) {
  test::PutFile(At("file"), "x");
  test::MakeDirs(At("folder"));
  test::MakeLink(At("link"), "folder");
  for (const std::string path : {"file/", "link/", "link//"}) {
    SCOPED_TRACE(path);
    std::string errorText;
    EXPECT_FALSE(RemoveItem(At(path), &errorText));
    EXPECT_EQ("Not a directory: " + At(path), errorText);
  }
  EXPECT_TRUE(test::IsThere(At("file")));
  EXPECT_TRUE(test::IsThere(At("link")));
  EXPECT_TRUE(test::IsThere(At("folder")));
}

TEST_F(PosixRemoveItemTest, RefusesAFolderNamedByADot) {
  test::PutFile(At("a/b/file"), "x");
  const test::Tree before = test::ReadTree(dir_.Path());
  for (const std::string path : {"a/.", "a/./", "a/b/..", "a/b/../"}) {
    SCOPED_TRACE(path);
    std::string errorText;
    EXPECT_FALSE(RemoveItem(At(path), &errorText));
    EXPECT_EQ("Invalid argument: " + At(path), errorText);
  }
  EXPECT_EQ(before, test::ReadTree(dir_.Path()));
}

TEST_F(PosixRemoveItemTest, TellsWhatAnOrdinaryUserMayNot) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  constexpr uid_t kUser = 1001;
  for (const mode_t mode : {0U, 0300U, 0400U, 0555U}) {
    SCOPED_TRACE(mode);
    const std::string name = "his/tree" + std::to_string(mode);
    test::PutFile(At(name + "/file"), "x");
    for (const std::string& item : {std::string("his"), name}) {
      test::SetOwner(At(item), kUser, kUser);
    }
    test::SetMode(At(name), mode);
    test::RunInChild([&] {
      ASSERT_EQ(0, ::seteuid(kUser));
      ExpectFailure(At(name), "Permission denied: " + At(name));
    });
  }
}

TEST_F(PosixRemoveItemTest, FailsOnATreeThatIsDeeperThanAnyPathIsLong) {
  constexpr int kHalf = 1900;
  std::string way;
  for (int i = 0; i < kHalf; ++i) way += "/d";
  // As deep as paths reach, three times.
  for (const char* part : {"a", "b", "c"}) MakeChain(At(part), kHalf);
  Rename("c", "b" + way + "/c");
  Rename("b", "a" + way + "/b");
  ExpectFailure(At("a"), "File name too long: " + At("a"));
  Rename("a" + way + "/b", "b");
  ExpectSuccess(At("b"));
  ExpectSuccess(At("a"));
}

TEST_F(PosixRemoveItemTest, RemovesADeepTreeWithFewDescriptors) {
  test::MakeDirs(At("tree"));
  UniqueFd folder(::open(At("tree").c_str(), O_PATH | O_CLOEXEC));
  for (int i = 0; i < 3000; ++i) {
    ASSERT_EQ(0, ::mkdirat(folder.Get(), "beside", 0755));
    ASSERT_EQ(0, ::mkdirat(folder.Get(), "down", 0755));
    folder.Reset(::openat(folder.Get(), "down", O_PATH | O_CLOEXEC));
    ASSERT_TRUE(folder);
  }
  folder.Reset();
  test::RunInChild([&] {
    const rlimit few = {.rlim_cur = 20, .rlim_max = 20};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &few));
    ExpectSuccess(At("tree"));
  });
}

TEST_F(PosixRemoveItemTest, RemovesAWideTree) {
  test::MakeDirs(At("tree"));
  const UniqueFd folder(::open(At("tree").c_str(), O_PATH | O_CLOEXEC));
  for (int i = 0; i < 5000; ++i) {
    const std::string name = "an entry of the tree " + std::to_string(i);
    ASSERT_EQ(0, i % 5 == 0 ? ::mkdirat(folder.Get(), name.c_str(), 0755)
                            : ::symlinkat("x", folder.Get(), name.c_str()));
    if (i % 100 == 0) {
      ASSERT_EQ(0, ::mkdirat(folder.Get(), (name + "/inner").c_str(), 0755));
    }
  }
  ExpectSuccess(At("tree"));
}

TEST_F(PosixRemoveItemTest, RemovesATreeOfALowerLayer) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  if (const std::string why = test::WhyNoOverlays(); !why.empty()) GTEST_SKIP() << why;
  test::MakeDirs(At("layers"));
  test::MakeDirs(At("all"));
  test::RunInRoot(dir_.Path(), [&] { ExpectSuccess("/all/app/tree"); },
                  {.mountProc = false, .beforeChangeRoot = [&] {
                     ASSERT_EQ(0, ::mount("none", At("layers").c_str(), "tmpfs", 0, nullptr));
                     test::PutFile(At("layers/lower/app/tree/sub/deep/file"), "x");
                     test::MakeDirs(At("layers/upper"));
                     test::MakeDirs(At("layers/work"));
                     const std::string options = "lowerdir=" + At("layers/lower") +
                                                 ",upperdir=" + At("layers/upper") +
                                                 ",workdir=" + At("layers/work");
                     ASSERT_EQ(0,
                               ::mount("none", At("all").c_str(), "overlay", 0, options.c_str()));
                   }});
}

TEST_F(PosixRemoveItemTest, NeverEntersAMountInTheTree) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("canary/file"), "x");
  for (const std::string tree : {"memory", "bind", "empty", "file"}) {
    test::MakeDirs(At(tree + "/a/mount"));
  }
  test::PutFile(At("file/a/mount/file"), "");
  test::RunInRoot(dir_.Path(),
                  [&] {
                    for (const std::string tree : {"/memory", "/bind", "/empty", "/file"}) {
                      SCOPED_TRACE(tree);
                      ExpectFailure(tree, "Device or resource busy: " + tree);
                      EXPECT_TRUE(test::IsThere(tree + "/a/mount"));
                    }
                    EXPECT_EQ("x", test::GetFile("/memory/a/mount/sub/file"));
                    EXPECT_EQ("x", test::GetFile("/canary/file"));
                  },
                  {.beforeChangeRoot = [&] {
                    ASSERT_EQ(0,
                              ::mount("none", At("memory/a/mount").c_str(), "tmpfs", 0, nullptr));
                    test::PutFile(At("memory/a/mount/sub/file"), "x");
                    ASSERT_EQ(0, ::mount(At("canary").c_str(), At("bind/a/mount").c_str(), nullptr,
                                         MS_BIND, nullptr));
                    ASSERT_EQ(0, ::mount("none", At("empty/a/mount").c_str(), "tmpfs", 0, nullptr));
                    ASSERT_EQ(0, ::mount(At("canary/file").c_str(), At("file/a/mount/file").c_str(),
                                         nullptr, MS_BIND, nullptr));
                  }});
}

TEST_F(PosixRemoveItemTest, RefusesAMountPoint) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("canary/file"), "x");
  for (const std::string mount : {"memory", "bind", "empty"}) test::MakeDirs(At(mount));
  test::PutFile(At("file"), "");
  test::RunInRoot(
      dir_.Path(),
      [&] {
        for (const std::string mount : {"/memory", "/memory/", "/bind", "/empty", "/file"}) {
          SCOPED_TRACE(mount);
          ExpectFailure(mount, "Device or resource busy: " + mount);
          EXPECT_TRUE(test::IsThere(mount));
        }
        EXPECT_EQ("x", test::GetFile("/memory/sub/file"));
        EXPECT_EQ("x", test::GetFile("/canary/file"));
        // What is in a mount is no mount.
        ExpectSuccess("/memory/sub");
      },
      {.beforeChangeRoot = [&] {
        ASSERT_EQ(0, ::mount("none", At("memory").c_str(), "tmpfs", 0, nullptr));
        test::PutFile(At("memory/sub/file"), "x");
        ASSERT_EQ(0, ::mount(At("canary").c_str(), At("bind").c_str(), nullptr, MS_BIND, nullptr));
        ASSERT_EQ(0, ::mount("none", At("empty").c_str(), "tmpfs", 0, nullptr));
        ASSERT_EQ(
            0, ::mount(At("canary/file").c_str(), At("file").c_str(), nullptr, MS_BIND, nullptr));
      }});
}

TEST_F(PosixRemoveItemTest, RemovesNothingWithoutKnowingTheMounts) {
  test::PutFile(At("tree/sub/file"), "x");
  test::RunInChild([&] {
    test::DenySystemCalls({SYS_statx, SYS_name_to_handle_at}, EPERM);
    ExpectFailure(At("tree"), "Operation not permitted: " + At("tree"));
  });
  EXPECT_EQ("x", test::GetFile(At("tree/sub/file")));
}

TEST_F(PosixRemoveItemTest, KeepsToTheOwnerRuleAmongTheAncestors) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("roots/tree/file"), "x");
  test::PutFile(At("his/tree/file"), "x");
  test::SetOwner(At("his"), 1001, 1001);
  test::MakeLink(At("bad"), "roots");
  test::SetOwner(At("bad"), 1001, 1001);
  test::MakeLink(At("good"), "his");
  test::SetOwner(At("good"), 1001, 1001);
  ExpectFailure(At("bad/tree"), "Permission denied: " + At("bad/tree"));
  EXPECT_EQ("x", test::GetFile(At("roots/tree/file")));
  ExpectSuccess(At("good/tree"));
  // The link itself goes, whoever owns it.
  ExpectSuccess(At("bad"));
}

TEST_F(PosixRemoveItemTest, TouchesNothingBehindALinkThatTakesThePlaceOfAFolder) {
  test::PutFile(At("canary/file"), "x");
  test::PutFile(At("tree/first"), "x");
  test::PutFile(At("tree/sub/file"), "x");
  std::string errorText;
  EXPECT_TRUE(RemoveWhile(
      "tree", "first",
      [&] {
        Rename("tree/sub", "moved");
        test::MakeLink(At("tree/sub"), "../canary");
      },
      &errorText))
      << errorText;
  EXPECT_FALSE(test::IsThere(At("tree")));
  EXPECT_EQ("x", test::GetFile(At("canary/file")));
  EXPECT_EQ("x", test::GetFile(At("moved/file")));
}

TEST_F(PosixRemoveItemTest, RemovesAFileThatTakesThePlaceOfAFolder) {
  test::PutFile(At("tree/first"), "x");
  test::MakeDirs(At("tree/sub"));
  std::string errorText;
  EXPECT_TRUE(RemoveWhile(
      "tree", "first",
      [&] {
        EXPECT_EQ(0, ::rmdir(At("tree/sub").c_str()));
        test::PutFile(At("tree/sub"), "x");
      },
      &errorText))
      << errorText;
  EXPECT_FALSE(test::IsThere(At("tree")));
}

TEST_F(PosixRemoveItemTest, FailsWhereAFolderTakesThePlaceOfAFile) {
  test::PutFile(At("tree/first"), "x");
  std::string errorText;
  EXPECT_FALSE(RemoveWhile(
      "tree", "first",
      [&] {
        EXPECT_EQ(0, ::unlink(At("tree/first").c_str()));
        test::PutFile(At("tree/first/file"), "x");
      },
      &errorText));
  EXPECT_EQ("Is a directory: " + At("tree"), errorText);
  EXPECT_EQ("x", test::GetFile(At("tree/first/file")));
}

TEST_F(PosixRemoveItemTest, StopsWhereAFolderIsMovedOutOfTheTree) {
  test::PutFile(At("tree/a/b/c/file"), "x");
  test::PutFile(At("outside/b/file"), "x");
  test::PutFile(At("outside/file"), "x");
  std::string errorText;
  // The walk is in "b" by then, and its way back would lead to "outside".
  EXPECT_FALSE(RemoveWhile(
      "tree", "file", [&] { Rename("tree/a/b", "outside/moved"); }, &errorText));
  EXPECT_EQ("Stale file handle: " + At("tree"), errorText);
  EXPECT_EQ("x", test::GetFile(At("outside/b/file")));
  EXPECT_EQ("x", test::GetFile(At("outside/file")));
  EXPECT_TRUE(test::IsThere(At("outside/moved")));
  EXPECT_TRUE(test::IsThere(At("tree/a")));
}

TEST_F(PosixRemoveItemTest, TouchesNothingInATreeThatTakesThePlaceOfTheItem) {
  test::PutFile(At("tree/a/b/file"), "x");
  test::PutFile(At("other/a/b/file"), "x");
  std::string errorText;
  EXPECT_FALSE(RemoveWhile(
      "tree", "file",
      [&] {
        Rename("tree", "moved");
        Rename("other", "tree");
      },
      &errorText));
  EXPECT_EQ("Directory not empty: " + At("tree"), errorText);
  EXPECT_EQ("x", test::GetFile(At("tree/a/b/file")));
}

TEST_F(PosixRemoveItemTest, DoesNotMindEntriesThatVanish) {
  test::PutFile(At("tree/first"), "x");
  test::PutFile(At("tree/sub/inner/file"), "x");
  std::string errorText;
  EXPECT_TRUE(RemoveWhile(
      "tree", "first",
      [&] {
        EXPECT_EQ(0, ::unlink(At("tree/first").c_str()));
        EXPECT_EQ(0, ::unlink(At("tree/sub/inner/file").c_str()));
        EXPECT_EQ(0, ::rmdir(At("tree/sub/inner").c_str()));
        EXPECT_EQ(0, ::rmdir(At("tree/sub").c_str()));
      },
      &errorText))
      << errorText;
  EXPECT_FALSE(test::IsThere(At("tree")));
}

TEST_F(PosixRemoveItemTest, DoesNotMindAFolderThatVanishesOnceItIsEmpty) {
  test::PutFile(At("tree/sub/inner/file"), "x");
  for (const std::string name : {"inner", "sub", "tree"}) {
    SCOPED_TRACE(name);
    test::PutFile(At("tree/sub/inner/file"), "x");
    const std::string path = name == "inner" ? "tree/sub/inner" : name == "sub" ? "tree/sub" : name;
    std::string errorText;
    EXPECT_TRUE(RemoveWhile(
        "tree", name, [&] { EXPECT_EQ(0, ::rmdir(At(path).c_str())); }, &errorText))
        << errorText;
    EXPECT_FALSE(test::IsThere(At("tree")));
  }
}

TEST_F(PosixRemoveItemTest, FailsOnAFolderThatIsFilledAgain) {
  test::PutFile(At("tree/sub/file"), "x");
  std::string errorText;
  EXPECT_FALSE(RemoveWhile(
      "tree", "sub", [&] { test::PutFile(At("tree/sub/new"), "x"); }, &errorText));
  EXPECT_EQ("Directory not empty: " + At("tree"), errorText);
  EXPECT_EQ("x", test::GetFile(At("tree/sub/new")));
}

TEST_F(PosixRemoveItemTest, EndsThoughSomebodyMakesFoldersAllTheTime) {
  test::MakeDirs(At("tree/sub"));
  int made = 0;
  const ScopedUnlink unlink([&](int folder, const char* name, int flags) {
    EXPECT_GT(100, ++made);
    test::MakeDirs(At("tree/new" + std::to_string(made)));
    return ::unlinkat(folder, name, flags);
  });
  ExpectFailure(At("tree"), "Directory not empty: " + At("tree"));
}

TEST_F(PosixRemoveItemTest, GoesThroughTheTreeOnceWhereNothingIsReallyRemoved) {
  test::PutFile(At("tree/a/b/c/file"), "x");
  test::PutFile(At("tree/a/b/file"), "x");
  test::PutFile(At("tree/d/file"), "x");
  test::MakeDirs(At("tree/e"));
  const test::Tree before = test::ReadTree(dir_.Path());
  std::multiset<std::string> names;
  {
    const ScopedUnlink unlink([&](int /*folder*/, const char* name, int flags) {
      names.insert(std::string(name) + (flags == AT_REMOVEDIR ? "/" : ""));
      return 0;
    });
    EXPECT_TRUE(RemoveItem(At("tree"), nullptr));
  }
  EXPECT_EQ(
      (std::multiset<std::string>{"a/", "b/", "c/", "d/", "e/", "file", "file", "file", "tree/"}),
      names);
  EXPECT_EQ(before, test::ReadTree(dir_.Path()));
}

TEST_F(PosixRemoveItemTest, TriesToRemoveNothingByAPathThatNamesNoEntry) {
  int calls = 0;
  const ScopedUnlink unlink([&](int, const char*, int) {
    ++calls;
    return 0;
  });
  for (const std::string path :
       {"/", "//", "/.", "/..", "/tmp/..", ".", "./", "..", "../", "../."}) {
    SCOPED_TRACE(path);
    ExpectFailure(path, "Invalid argument: " + path);
  }
  ExpectFailure("", "No such file or directory: ");
  EXPECT_EQ(0, calls);
}

TEST_F(PosixRemoveItemTest, EndsWithTheFirstError) {
  for (int i = 0; i < 3; ++i) {
    test::PutFile(At("tree/file" + std::to_string(i)), "x");
    test::PutFile(At("tree/sub" + std::to_string(i) + "/file"), "x");
  }
  const test::Tree before = test::ReadTree(dir_.Path());
  int calls = 0;
  const ScopedUnlink unlink([&](int, const char*, int) {
    ++calls;
    errno = EIO;
    return -1;
  });
  ExpectFailure(At("tree"), "Input/output error: " + At("tree"));
  EXPECT_EQ(1, calls);
  EXPECT_FALSE(RemoveItem(At("tree"), nullptr));
  EXPECT_EQ(before, test::ReadTree(dir_.Path()));
}

TEST_F(PosixRemoveItemTest, TellsAFailureToRemoveAnyFolder) {
  test::MakeDirs(At("tree/a/b/c"));
  for (const std::string name : {"c", "b", "a", "tree"}) {
    SCOPED_TRACE(name);
    test::MakeDirs(At("tree/a/b/c"));
    const ScopedUnlink unlink([&](int folder, const char* entry, int flags) {
      if (entry != name) return ::unlinkat(folder, entry, flags);
      errno = EROFS;
      return -1;
    });
    ExpectFailure(At("tree"), "Read-only file system: " + At("tree"));
    EXPECT_TRUE(test::IsThere(At("tree")));
  }
}

TEST_F(PosixRemoveItemTest, FailsWithoutADescriptorToSpare) {
  test::PutFile(At("tree/sub/file"), "x");
  test::RunInChild([&] {
    // With nothing but the call in between: sanitizers need descriptors for their own checks.
    const std::string path = At("tree");
    rlimit limit = {};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &limit));
    const rlimit none = {.rlim_cur = 0, .rlim_max = limit.rlim_max};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &none));
    const bool removed = RemoveItem(path, nullptr);
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
    EXPECT_FALSE(removed);
  });
  EXPECT_EQ("x", test::GetFile(At("tree/sub/file")));
}

using PosixRemoveSingleItemTest = PosixRemoveItemTest;

TEST_F(PosixRemoveSingleItemTest, TellsWhyNot) {
  test::PutFile(At("full/file"), "x");
  test::PutFile(At("file"), "x");
  const struct {
    std::string path;
    std::string text;
  } rows[] = {
      {At("full"), "Directory not empty: " + At("full")},
      {At("missing"), "No such file or directory: " + At("missing")},
      {At("file/"), "Not a directory: " + At("file/")},
      {At("full/."), "Invalid argument: " + At("full/.")},
      {"/", "Invalid argument: /"},
      {"", "No such file or directory: "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    std::string errorText;
    EXPECT_FALSE(RemoveSingleItem(row.path, &errorText));
    EXPECT_EQ(row.text, errorText);
  }
}

TEST_F(PosixRemoveSingleItemTest, DoesNotMindAnItemThatVanishes) {
  test::PutFile(At("file"), "x");
  const ScopedUnlink unlink([&](int folder, const char* name, int flags) {
    EXPECT_EQ(0, ::unlink(At("file").c_str()));
    return ::unlinkat(folder, name, flags);
  });
  EXPECT_TRUE(RemoveSingleItem(At("file"), nullptr));
}

TEST_F(PosixRemoveSingleItemTest, RefusesAMountPoint) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  test::MakeDirs(At("empty"));
  test::RunInRoot(dir_.Path(),
                  [] {
                    std::string errorText;
                    EXPECT_FALSE(RemoveSingleItem("/empty", &errorText));
                    EXPECT_EQ("Device or resource busy: /empty", errorText);
                  },
                  {.beforeChangeRoot = [&] {
                    ASSERT_EQ(0, ::mount("none", At("empty").c_str(), "tmpfs", 0, nullptr));
                  }});
}

TEST_F(PosixRemoveSingleItemTest, KeepsToTheOwnerRuleAmongTheAncestors) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::MakeDirs(At("roots/empty"));
  test::MakeLink(At("bad"), "roots");
  test::SetOwner(At("bad"), 1001, 1001);
  std::string errorText;
  EXPECT_FALSE(RemoveSingleItem(At("bad/empty"), &errorText));
  EXPECT_EQ("Permission denied: " + At("bad/empty"), errorText);
  EXPECT_TRUE(test::IsThere(At("roots/empty")));
  EXPECT_TRUE(RemoveSingleItem(At("bad"), nullptr));
}

}  // namespace

}  // namespace platform
