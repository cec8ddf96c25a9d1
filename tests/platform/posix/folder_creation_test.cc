#include "platform/folder_creation.h"

#include <cerrno>
#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

using namespace std::string_literals;

namespace platform {
namespace {

// What the calls were asked, and the modes that folders had before `fchmod`.
struct Asked {
  inline static std::vector<mode_t> modesBefore;
  inline static std::vector<std::string> calls;
};

int RefuseMode(int fd, mode_t mode) {
  struct stat status = {};
  EXPECT_EQ(fstat(fd, &status), 0);
  EXPECT_TRUE(S_ISDIR(status.st_mode));
  Asked::modesBefore.push_back(status.st_mode & 07777U);
  Asked::calls.push_back("mode " + std::to_string(mode));
  errno = EPERM;
  return -1;
}

int RefuseOwner(int /*fd*/, uid_t owner, gid_t group) {
  if (owner != static_cast<uid_t>(-1)) Asked::calls.push_back("owner " + std::to_string(owner));
  if (group != static_cast<gid_t>(-1)) Asked::calls.push_back("group " + std::to_string(group));
  errno = EPERM;
  return -1;
}

class CreateFolderAttributesTest : public testing::Test {
 protected:
  CreateFolderAttributesTest() {
    Asked::modesBefore.clear();
    Asked::calls.clear();
    calls_->fchmod = RefuseMode;
    calls_->fchown = RefuseOwner;
  }

  ScopedSystemCalls calls_;
  test::ScopedTempDir dir_;
};

TEST_F(CreateFolderAttributesTest, AreTriedOneByOneAndTheirFailuresIgnored) {
  FolderAttributes attributes;
  attributes.owner = 501;
  attributes.group = 20;
  attributes.mode = 0775;
  EXPECT_TRUE(CreateFolder(dir_.Join("a/b"), &attributes, nullptr));
  EXPECT_EQ(Asked::calls, std::vector<std::string>({"mode 509", "owner 501", "group 20", "mode 509",
                                                    "owner 501", "group 20"}));
}

TEST_F(CreateFolderAttributesTest, AreNotAskedForWhereThereAreNone) {
  EXPECT_TRUE(CreateFolder(dir_.Join("a"), nullptr, nullptr));
  const FolderAttributes attributes;
  EXPECT_TRUE(CreateFolder(dir_.Join("b"), &attributes, nullptr));
  EXPECT_EQ(Asked::calls, std::vector<std::string>());
}

TEST_F(CreateFolderAttributesTest, NeverLeaveAFolderMoreOpenThanAskedForNorThanTheUmaskAllows) {
  struct Row {
    mode_t mask;
    mode_t mode;
    mode_t before;
  };
  static constexpr Row kRows[] = {{0, 0700, 0700}, {022, 0700, 0700}, {027, 0777, 0750}};
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.mode);
    const test::ScopedTempDir dir;
    const test::ScopedUmask mask(row.mask);
    Asked::modesBefore.clear();
    FolderAttributes attributes;
    attributes.mode = row.mode;
    EXPECT_TRUE(CreateFolder(dir.Join("a"), &attributes, nullptr));
    EXPECT_EQ(Asked::modesBefore, std::vector<mode_t>({row.before}));
  }
}

// Stands for the other process that makes a folder while the call is under way.
struct Meanwhile {
  inline static std::string link;    // made to lead to `folder`
  inline static std::string folder;  // made with mode 0700
};

int MakeMeanwhile(int fd, mode_t mode) {
  if (!Meanwhile::folder.empty()) {
    EXPECT_EQ(mkdir(Meanwhile::folder.c_str(), 0700), 0);
    if (!Meanwhile::link.empty()) test::MakeLink(Meanwhile::link, Meanwhile::folder);
    Meanwhile::folder.clear();
  }
  return fchmod(fd, mode);
}

TEST(CreateFolder, GoesOnInAFolderThatAnotherProcessMadeMeanwhileAndLeavesItAsItIs) {
  const test::ScopedTempDir dir;
  Meanwhile::link = "";
  Meanwhile::folder = dir.Join("a/b");
  ScopedSystemCalls calls;
  calls->fchmod = MakeMeanwhile;
  FolderAttributes attributes;
  attributes.mode = 0775;
  EXPECT_TRUE(CreateFolder(dir.Join("a/b/c"), &attributes, nullptr));
  EXPECT_EQ(test::GetMode(dir.Join("a")), 0775U);
  EXPECT_EQ(test::GetMode(dir.Join("a/b")), 0700U);
  EXPECT_EQ(test::GetMode(dir.Join("a/b/c")), 0775U);
}

TEST(CreateFolder, GoesOnBehindALinkThatAnotherProcessMadeMeanwhile) {
  const test::ScopedTempDir dir;
  Meanwhile::link = dir.Join("a/b");
  Meanwhile::folder = dir.Join("elsewhere");
  ScopedSystemCalls calls;
  calls->fchmod = MakeMeanwhile;
  FolderAttributes attributes;
  attributes.mode = 0775;
  EXPECT_TRUE(CreateFolder(dir.Join("a/b/c"), &attributes, nullptr));
  EXPECT_EQ(test::GetMode(dir.Join("elsewhere")), 0700U);
  EXPECT_EQ(test::GetMode(dir.Join("elsewhere/c")), 0775U);
}

// What another process does around the making of the folder "b".
struct Neighbour {
  inline static std::function<void()> before;
  inline static std::function<void()> after;
};

int MakeAmongNeighbours(int folder, const char* name, mode_t mode) {
  const bool isMeant = name == "b"s;
  if (isMeant && Neighbour::before) Neighbour::before();
  const int result = mkdirat(folder, name, mode);
  const int error = errno;
  if (isMeant && Neighbour::after) Neighbour::after();
  errno = error;
  return result;
}

// Root makes "his/b/c" below a folder of the user 501, whose the new folders are to become, while
// the neighbour is at work.
class CreateFolderAmongNeighboursTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
    test::MakeDirs(At("his"));
    test::SetOwner(At("his"), 501, 20);
    attributes_.owner = 501;
    attributes_.group = 20;
    attributes_.mode = 0775;
    attributes_.onlyBelowSameOwner = true;
    calls_->mkdirat = MakeAmongNeighbours;
  }
  void TearDown() override {
    Neighbour::before = nullptr;
    Neighbour::after = nullptr;
  }

  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }

  ScopedSystemCalls calls_;
  FolderAttributes attributes_;
  test::ScopedTempDir dir_;
};

TEST_F(CreateFolderAmongNeighboursTest, HandsOutWhatItMadeAlone) {
  EXPECT_TRUE(CreateFolder(At("his/b/c"), &attributes_, nullptr));
  EXPECT_EQ(test::GetOwner(At("his/b")), 501U);
  EXPECT_EQ(test::GetOwner(At("his/b/c")), 501U);
}

TEST_F(CreateFolderAmongNeighboursTest, SucceedsWhereAnotherProcessFillsTheNewFolder) {
  Neighbour::after = [this] { test::MakeDirs(At("his/b/c")); };
  EXPECT_TRUE(CreateFolder(At("his/b/c"), &attributes_, nullptr));
  EXPECT_EQ(test::GetOwner(At("his/b/c")), 0U);
}

TEST_F(CreateFolderAmongNeighboursTest, HandsNothingOutInAFolderThatSomebodyElseMade) {
  Neighbour::before = [this] {
    test::MakeDirs(At("his/b"));
    test::SetOwner(At("his/b"), 502, 20);
  };
  EXPECT_TRUE(CreateFolder(At("his/b/c"), &attributes_, nullptr));
  EXPECT_EQ(test::GetOwner(At("his/b")), 502U);
  EXPECT_EQ(test::GetOwner(At("his/b/c")), 0U);
  EXPECT_EQ(test::GetMode(At("his/b/c")), 0775U);
}

TEST_F(CreateFolderAmongNeighboursTest, HandsNothingOutBehindALinkThatTookItsPlace) {
  test::MakeDirs(At("elsewhere"));
  test::SetOwner(At("elsewhere"), 502, 20);
  Neighbour::after = [this] {
    EXPECT_EQ(rename(At("his/b").c_str(), At("moved").c_str()), 0);
    test::MakeLink(At("his/b"), At("elsewhere"));
    test::SetOwner(At("his/b"), 502, 20);
  };
  EXPECT_TRUE(CreateFolder(At("his/b/c"), &attributes_, nullptr));
  EXPECT_EQ(test::GetOwner(At("elsewhere/c")), 0U);
}

TEST_F(CreateFolderAmongNeighboursTest, ChangesAndHandsOutNothingOfAFolderThatTookItsPlace) {
  test::PutFile(At("roots/file"), "x");
  Neighbour::after = [this] {
    EXPECT_EQ(rename(At("his/b").c_str(), At("moved").c_str()), 0);
    EXPECT_EQ(rename(At("roots").c_str(), At("his/b").c_str()), 0);
  };
  EXPECT_TRUE(CreateFolder(At("his/b/c"), &attributes_, nullptr));
  EXPECT_EQ(test::GetOwner(At("his/b")), 0U);
  EXPECT_EQ(test::GetMode(At("his/b")), 0755U);
  EXPECT_EQ(test::GetOwner(At("his/b/c")), 0U);
}

// A user's umask that keeps him out of the folder that he makes, so that its mode is set by name.
class CreateFolderBehindAUmaskTest : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) return;
    if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
    test::SetMode(dir_.Path(), 0777);
  }

  void RunAsUser(const std::function<void()>& body) const {
    test::RunInChild([&body] {
      if (geteuid() == 0) {
        ASSERT_EQ(seteuid(1000), 0);
      }
      const test::ScopedUmask mask(0400);
      body();
    });
  }

  test::ScopedTempDir dir_;
};

TEST_F(CreateFolderBehindAUmaskTest, SetsTheModeByName) {
  RunAsUser([this] {
    static std::vector<std::string> named;
    ScopedSystemCalls calls;
    calls->fchmodat = [](int parent, const char* name, mode_t mode, int flags) {
      named.emplace_back(name);
      return fchmodat(parent, name, mode, flags);
    };
    FolderAttributes attributes;
    attributes.mode = 0700;
    EXPECT_TRUE(CreateFolder(dir_.Join("a/b"), &attributes, nullptr));
    EXPECT_EQ(named, (std::vector<std::string>{"a", "b"}));
  });
  EXPECT_EQ(test::GetMode(dir_.Join("a")), 0700U);
  EXPECT_EQ(test::GetMode(dir_.Join("a/b")), 0700U);
}

TEST_F(CreateFolderBehindAUmaskTest, SetsNoModeThroughALinkThatTookThePlaceOfTheFolder) {
  RunAsUser([this] {
    test::PutFile(dir_.Join("canary"), "x");
    test::SetMode(dir_.Join("canary"), 0604);
    static std::string place;
    static std::string canary;
    place = dir_.Join("a");
    canary = dir_.Join("canary");
    ScopedSystemCalls calls;
    calls->fchmodat = [](int parent, const char* name, mode_t mode, int flags) {
      EXPECT_EQ(rmdir(place.c_str()), 0);
      test::MakeLink(place, canary);
      return fchmodat(parent, name, mode, flags);
    };
    FolderAttributes attributes;
    attributes.mode = 0700;
    EXPECT_FALSE(CreateFolder(place, &attributes, nullptr));
    EXPECT_EQ(test::GetLink(place), canary);
    EXPECT_EQ(test::GetMode(canary), 0604U);
  });
}

TEST(CreateFolder, SaysWhatIsInTheWay) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "");
  test::MakeLink(dir.Join("dangling"), "missing");
  struct Row {
    std::string path;
    std::string text;
  };
  const Row rows[] = {
      {dir.Join("file"), "File exists: " + dir.Join("file")},
      {dir.Join("dangling"), "File exists: " + dir.Join("dangling")},
      {dir.Join("dangling/a"), "File exists: " + dir.Join("dangling/a")},
      {dir.Join("file/a"), "Not a directory: " + dir.Join("file/a")},
      {"", "No such file or directory: "},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.path);
    std::string text;
    EXPECT_FALSE(CreateFolder(row.path, nullptr, &text));
    EXPECT_EQ(text, row.text);
  }
}

// The folders that change places.
struct Swap {
  inline static std::string made;
  inline static std::string other;
};

// Puts another folder in the place of the new one as soon as that has been looked at.
int ExchangeAndSetMode(int fd, mode_t mode) {
  if (!Swap::made.empty()) {
    EXPECT_EQ(rename(Swap::made.c_str(), (Swap::made + "-away").c_str()), 0);
    EXPECT_EQ(rename(Swap::other.c_str(), Swap::made.c_str()), 0);
    Swap::made.clear();
  }
  return fchmod(fd, mode);
}

TEST(CreateFolder, GoesOnInTheFolderThatItMadeThoughAnotherTookItsPlace) {
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("other"));
  Swap::made = dir.Join("a");
  Swap::other = dir.Join("other");
  ScopedSystemCalls calls;
  calls->fchmod = ExchangeAndSetMode;
  FolderAttributes attributes;
  attributes.mode = 0775;
  EXPECT_TRUE(CreateFolder(dir.Join("a/b"), &attributes, nullptr));
  EXPECT_TRUE(test::IsThere(dir.Join("a-away/b")));
  EXPECT_FALSE(test::IsThere(dir.Join("a/b")));
}

TEST(CreateFolder, GivesOwnerAndGroupOnRequestOnlyBelowAFolderThatHasThem) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("his"));
  test::SetOwner(dir.Join("his"), 501, 20);
  test::MakeDirs(dir.Join("group"));
  test::SetOwner(dir.Join("group"), 501, 0);
  test::MakeDirs(dir.Join("roots"));
  FolderAttributes attributes;
  attributes.owner = 501;
  attributes.group = 20;
  attributes.mode = 0775;
  attributes.onlyBelowSameOwner = true;
  for (const char* parent : {"his", "group", "roots"}) {
    SCOPED_TRACE(parent);
    const std::string made = dir.Join(parent) + "/a/b";
    EXPECT_TRUE(CreateFolder(made, &attributes, nullptr));
    EXPECT_EQ(test::GetOwner(made), parent == std::string("his") ? 501U : 0U);
    EXPECT_EQ(test::GetGroup(made), parent == std::string("his") ? 20U : 0U);
    EXPECT_EQ(test::GetMode(made), 0775U);
  }
}

TEST(CreateFolder, MakesNothingBehindALinkToSomebodyElsesFolder) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("folder"));
  test::MakeLink(dir.Join("link"), "folder");
  test::SetOwner(dir.Join("link"), 501, 501);
  std::string text;
  EXPECT_FALSE(CreateFolder(dir.Join("link/a/b"), nullptr, &text));
  EXPECT_EQ(text, "Permission denied: " + dir.Join("link/a/b"));
  // Also where the link comes after a folder that had to be made.
  EXPECT_FALSE(CreateFolder(dir.Join("x/../link/a"), nullptr, nullptr));
  EXPECT_FALSE(test::IsThere(dir.Join("folder/a")));
  // Nothing has to be made here.
  EXPECT_TRUE(CreateFolder(dir.Join("link"), nullptr, nullptr));

  test::SetOwner(dir.Join("folder"), 501, 501);
  EXPECT_TRUE(CreateFolder(dir.Join("link/a/b"), nullptr, nullptr));
  EXPECT_TRUE(test::IsThere(dir.Join("folder/a/b")));
}

}  // namespace
}  // namespace platform
