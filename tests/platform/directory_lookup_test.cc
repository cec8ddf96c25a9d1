#include "platform/directory_lookup.h"

#include <climits>
#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <sys/types.h>
#include <unistd.h>
#include <vector>

#include "platform/host.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace platform {
namespace {

// A root folder whose account database knows the caller (who is root there) and a few others.
class DirectoryLookupTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
    test::PutFile(root_.Join("etc/nsswitch.conf"), "passwd: files\n");
    PutRootsHome("/home/kim");
  }

  void PutRootsHome(const std::string& home) const {
    test::PutFile(root_.Join("etc/passwd"), "root:x:0:0:Kim:" + home + ":/bin/sh\n" +
                                                "mia:x:1000:1000:Mia:/home/mia:/bin/sh\n"
                                                "slash:x:1001:1001::/home/slash//:/bin/sh\n"
                                                "top:x:1002:1002:://:/bin/sh\n"
                                                "homeless:x:1003:1003:::/bin/sh\n"
                                                ":x:1006:1006::/home/nameless:/bin/sh\n"
                                                "talker:x:1005:1005:" +
                                                std::string(5000, 'x') + ":/home/talker:/bin/sh\n");
  }

  [[nodiscard]] const std::string& Root() const { return root_.Path(); }
  [[nodiscard]] std::string Join(const std::string& relative) const { return root_.Join(relative); }

 private:
  test::ScopedTempDir root_;
};

std::optional<std::string> Find(unsigned long domain, unsigned long directory) {
  std::string path = "before";
  if (DefaultHost().directories->FindDirectory(domain, directory, &path)) return path;
  EXPECT_EQ(path, "before");
  return std::nullopt;
}

std::optional<std::string> HomeOf(const std::string& name) {
  std::string path = "before";
  if (DefaultHost().directories->HomeDirectoryForUser(name, &path)) return path;
  EXPECT_EQ(path, "before");
  return std::nullopt;
}

struct Row {
  unsigned long domain;
  unsigned long directory;
  const char* path;
};

constexpr Row kRows[] = {
    {2, 1, "/Applications"},
    {2, 5, "/Library"},
    {2, 7, "/Users"},
    {2, 14, "/Library/Application Support"},
    {1, 5, "/home/kim/Library"},
    {1, 9, "/home/kim/Documents"},
    {1, 12, "/home/kim/Desktop"},
    {1, 14, "/home/kim/Library/Application Support"},
    {1, 15, "/home/kim/Downloads"},
};

TEST_F(DirectoryLookupTest, FindsAndMakesEveryFolderOfItsTable) {
  test::RunInRoot(Root(), [] {
    for (const Row& row : kRows) {
      SCOPED_TRACE(row.path);
      EXPECT_EQ(Find(row.domain, row.directory), row.path);
      EXPECT_EQ(access(row.path, R_OK | W_OK | X_OK), 0);
    }
  });
}

TEST_F(DirectoryLookupTest, KnowsNoOtherFolder) {
  const test::Tree before = test::ReadTree(Root());
  test::RunInRoot(Root(), [] {
    for (const unsigned long domain : {1UL, 2UL}) {
      for (unsigned long directory = 0; directory <= 110; ++directory) {
        bool known = false;
        for (const Row& row : kRows) {
          known = known || (row.domain == domain && row.directory == directory);
        }
        if (known) continue;
        SCOPED_TRACE(std::to_string(domain) + ", " + std::to_string(directory));
        EXPECT_EQ(Find(domain, directory), std::nullopt);
      }
    }
  });
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(Root())), std::vector<std::string>());
}

TEST_F(DirectoryLookupTest, TakesExactlyOneKnownDomain) {
  const test::Tree before = test::ReadTree(Root());
  test::RunInRoot(Root(), [] {
    for (const unsigned long domain : {0UL, 3UL, 4UL, 8UL, 10UL, 0x0fffUL, ULONG_MAX}) {
      SCOPED_TRACE(domain);
      EXPECT_EQ(Find(domain, 5), std::nullopt);
    }
  });
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(Root())), std::vector<std::string>());
}

TEST_F(DirectoryLookupTest, GivesLocalFoldersTheDefaultMode) {
  test::RunInRoot(Root(), [] {
    {
      const test::ScopedUmask umask(022);
      EXPECT_EQ(Find(2, 1), "/Applications");
      EXPECT_EQ(test::GetMode("/Applications"), mode_t{0755});
    }
    const test::ScopedUmask umask(077);
    EXPECT_EQ(Find(2, 14), "/Library/Application Support");
    EXPECT_EQ(test::GetMode("/Library"), mode_t{0700});
    EXPECT_EQ(test::GetMode("/Library/Application Support"), mode_t{0700});
  });
}

TEST_F(DirectoryLookupTest, GivesEachNewLevelOfUserFoldersMode0700) {
  for (const mode_t mask : {mode_t{0}, mode_t{022}, mode_t{077}, mode_t{0177}}) {
    SCOPED_TRACE(mask);
    const test::ScopedTempDir parent;
    test::MakeDirs(parent.Join("root/etc"));
    test::PutFile(parent.Join("root/etc/nsswitch.conf"), "passwd: files\n");
    test::PutFile(parent.Join("root/etc/passwd"), "root:x:0:0:Kim:/home/kim:/bin/sh\n");
    test::RunInRoot(parent.Join("root"), [mask] {
      const test::ScopedUmask umask(mask);
      EXPECT_EQ(Find(1, 14), "/home/kim/Library/Application Support");
      EXPECT_EQ(test::GetMode("/home"), mode_t{0700});
      EXPECT_EQ(test::GetMode("/home/kim"), mode_t{0700});
      EXPECT_EQ(test::GetMode("/home/kim/Library"), mode_t{0700});
      EXPECT_EQ(test::GetMode("/home/kim/Library/Application Support"), mode_t{0700});
    });
  }
}

TEST_F(DirectoryLookupTest, GivesAnOrdinaryUsersFoldersMode0700WhateverHisUmask) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  for (const mode_t mask : {mode_t{0400}, mode_t{0700}, mode_t{0777}}) {
    SCOPED_TRACE(mask);
    const test::ScopedTempDir root;
    test::PutFile(root.Join("etc/nsswitch.conf"), "passwd: files\n");
    test::PutFile(root.Join("etc/passwd"), "mia:x:1000:1000:Mia:/home/mia:/bin/sh\n");
    test::MakeDirs(root.Join("home/mia"));
    test::SetOwner(root.Join("home/mia"), 1000, 1000);
    test::RunInRoot(root.Path(),
                    [mask] {
                      ASSERT_EQ(seteuid(1000), 0);
                      const test::ScopedUmask umask(mask);
                      EXPECT_EQ(Find(1, 14), "/home/mia/Library/Application Support");
                      EXPECT_EQ(test::GetMode("/home/mia/Library"), mode_t{0700});
                      EXPECT_EQ(test::GetMode("/home/mia/Library/Application Support"),
                                mode_t{0700});
                    },
                    {.mountProc = true, .beforeChangeRoot = {}});
  }
}

TEST_F(DirectoryLookupTest, LeavesExistingFoldersAsTheyAre) {
  test::PutFile(Join("Applications/kept"), "bytes");
  test::SetMode(Join("Applications"), 0711);
  test::MakeDirs(Join("home/kim/Library/Application Support"));
  test::SetMode(Join("home/kim/Library/Application Support"), 0750);
  const test::Tree before = test::ReadTree(Root());
  test::RunInRoot(Root(), [] {
    EXPECT_EQ(Find(2, 1), "/Applications");
    EXPECT_EQ(Find(1, 14), "/home/kim/Library/Application Support");
  });
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(Root())), std::vector<std::string>());
}

TEST_F(DirectoryLookupTest, GivesOnlyTheMissingLevelsTheUsersMode) {
  test::MakeDirs(Join("home/kim"));
  test::RunInRoot(Root(), [] {
    EXPECT_EQ(Find(1, 14), "/home/kim/Library/Application Support");
    EXPECT_EQ(test::GetMode("/home/kim"), mode_t{0755});
    EXPECT_EQ(test::GetMode("/home/kim/Library"), mode_t{0700});
    EXPECT_EQ(test::GetMode("/home/kim/Library/Application Support"), mode_t{0700});
  });
}

TEST_F(DirectoryLookupTest, FailsWhereAFileIsInTheWay) {
  test::PutFile(Join("Applications"), "bytes");
  test::PutFile(Join("Library"), "bytes");
  const test::Tree before = test::ReadTree(Root());
  test::RunInRoot(Root(), [] {
    EXPECT_EQ(Find(2, 1), std::nullopt);
    EXPECT_EQ(Find(2, 14), std::nullopt);
  });
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(Root())), std::vector<std::string>());
}

TEST_F(DirectoryLookupTest, TakesALinkToAFolderUnderItsOwnName) {
  test::MakeDirs(Join("elsewhere"));
  test::MakeLink(Join("Applications"), "/elsewhere");
  test::RunInRoot(Root(), [] { EXPECT_EQ(Find(2, 1), "/Applications"); });
  EXPECT_EQ(test::GetLink(Join("Applications")), "/elsewhere");
}

TEST_F(DirectoryLookupTest, FailsAtADanglingLink) {
  test::MakeLink(Join("Applications"), "/elsewhere");
  test::RunInRoot(Root(), [] { EXPECT_EQ(Find(2, 1), std::nullopt); });
  EXPECT_FALSE(test::IsThere(Join("elsewhere")));
}

TEST_F(DirectoryLookupTest, FindsForAnOrdinaryUserWhatIsThereAndMakesNothing) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::MakeDirs(Join("Library"));
  const test::Tree before = test::ReadTree(Root());
  test::RunInRoot(Root(), [] {
    ASSERT_EQ(seteuid(1000), 0);
    EXPECT_EQ(Find(2, 5), "/Library");
    EXPECT_EQ(Find(2, 1), std::nullopt);
    EXPECT_EQ(Find(2, 14), std::nullopt);
    EXPECT_EQ(Find(1, 5), std::nullopt);
  });
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(Root())), std::vector<std::string>());
}

TEST_F(DirectoryLookupTest, FollowsTheEffectiveUser) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::MakeDirs(Join("home/mia"));
  test::SetOwner(Join("home/mia"), 1000, 1000);
  test::RunInRoot(Root(), [] {
    EXPECT_EQ(DefaultHost().directories->HomeDirectory(), "/home/kim");
    ASSERT_EQ(seteuid(1000), 0);
    EXPECT_EQ(DefaultHost().directories->HomeDirectory(), "/home/mia");
    EXPECT_EQ(Find(1, 5), "/home/mia/Library");
    EXPECT_EQ(test::GetOwner("/home/mia/Library"), uid_t{1000});
    EXPECT_EQ(test::GetMode("/home/mia/Library"), mode_t{0700});
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(DefaultHost().directories->HomeDirectory(), "/home/kim");
  });
}

TEST_F(DirectoryLookupTest, TakesTheHomeFolderFromNoEnvironmentVariable) {
  test::RunInRoot(Root(), [] {
    for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"}) {
      ASSERT_EQ(setenv(name, "/elsewhere", /*replace=*/1), 0);
    }
    EXPECT_EQ(DefaultHost().directories->HomeDirectory(), "/home/kim");
    EXPECT_EQ(Find(1, 14), "/home/kim/Library/Application Support");
  });
}

TEST_F(DirectoryLookupTest, HasAnEmptyHomeWithoutAnEntry) {
  if (test::HasFault(test::Fault::kHasNoHomeForAStranger)) {
    GTEST_SKIP() << "GNUstep has no home then";
  }
  test::PutFile(Join("etc/passwd"), "mia:x:1000:1000:Mia:/home/mia:/bin/sh\n");
  test::RunInRoot(Root(),
                  [] { EXPECT_EQ(DefaultHost().directories->HomeDirectory(), "/var/empty"); });
}

TEST_F(DirectoryLookupTest, HasAnEmptyHomeWithoutAnAccountDatabase) {
  const test::ScopedTempDir bare;
  test::RunInRoot(bare.Path(), [] {
    if (!test::HasFault(test::Fault::kHasNoHomeForAStranger)) {
      EXPECT_EQ(DefaultHost().directories->HomeDirectory(), "/var/empty");
    }
    EXPECT_EQ(HomeOf("root"), std::nullopt);
  });
}

TEST_F(DirectoryLookupTest, WritesTheHomeFolderWithoutSlashesTooMany) {
  using test::Fault;
  const struct {
    const char* entry;
    const char* home;
    const char* library;
    std::optional<Fault> fault;
  } rows[] = {
      {"/home/kim", "/home/kim", "/home/kim/Library", {}},
      {"/home/kim/", "/home/kim", "/home/kim/Library", Fault::kTakesHomesAsTheyAreWritten},
      {"/home/kim///", "/home/kim", "/home/kim/Library", Fault::kTakesHomesAsTheyAreWritten},
      {"/", "/", "/Library", {}},
      {"//", "/", "/Library", Fault::kTakesHomesAsTheyAreWritten},
      {"", "/var/empty", "/var/empty/Library", Fault::kHasNoHomeForAStranger},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.entry);
    PutRootsHome(row.entry);
    test::RunInRoot(Root(), [&row] {
      if (!row.fault || !test::HasFault(*row.fault)) {
        EXPECT_EQ(DefaultHost().directories->HomeDirectory(), row.home);
      }
      EXPECT_EQ(Find(1, 5), row.library);
    });
  }
}

TEST_F(DirectoryLookupTest, KnowsTheHomeFoldersOfUsersByName) {
  test::RunInRoot(Root(), [] {
    EXPECT_EQ(HomeOf("mia"), "/home/mia");
    EXPECT_EQ(HomeOf("root"), "/home/kim");
    EXPECT_EQ(HomeOf("talker"), "/home/talker");
    if (test::HasFault(test::Fault::kTakesHomesAsTheyAreWritten)) return;
    EXPECT_EQ(HomeOf("slash"), "/home/slash");
    EXPECT_EQ(HomeOf("top"), "/");
  });
  EXPECT_FALSE(test::IsThere(Join("home")));
}

TEST_F(DirectoryLookupTest, KnowsNoHomeFolderOfOthers) {
  test::RunInRoot(Root(), [] {
    for (const std::string& name :
         {std::string("nobody-here"), std::string(), std::string("mia\0", 4),
          std::string("mia\0x", 5), std::string("Mia"), std::string("1000"),
          std::string("homeless")}) {
      SCOPED_TRACE(name);
      if (name.empty() && test::HasFault(test::Fault::kKnowsANamelessUser)) continue;
      EXPECT_EQ(HomeOf(name), std::nullopt);
    }
  });
}

TEST_F(DirectoryLookupTest, ReadsEntriesOfAnyLength) {
  test::PutFile(Join("etc/passwd"),
                "root:x:0:0:" + std::string(20000, 'x') + ":/home/kim:/bin/sh\n");
  test::RunInRoot(Root(),
                  [] { EXPECT_EQ(DefaultHost().directories->HomeDirectory(), "/home/kim"); });
}

}  // namespace
}  // namespace platform
