#include "fileutils/link_removal.h"

#include <cerrno>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "platform/path_walk.h"
#include "platform/system_calls_for_testing.h"
#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"

namespace {

platform::LocatedItem Locate(const std::string& path) {
  platform::LocatedItem item;
  EXPECT_EQ(platform::LocateItem(path, platform::LastLink::kLeave, &item), 0);
  return item;
}

TEST(RemoveLink, RemovesALinkAndNotWhatItLeadsTo) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "x");
  for (const char* destination : {"file", ".", "nowhere"}) {
    SCOPED_TRACE(destination);
    test::MakeLink(folder.Join("link"), destination);
    EXPECT_TRUE(fileutils::RemoveLink(Locate(folder.Join("link"))));
    EXPECT_FALSE(test::IsThere(folder.Join("link")));
  }
  EXPECT_EQ(test::GetFile(folder.Join("file")), "x");
}

TEST(RemoveLink, LeavesAnythingElse) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "x");
  test::MakeDirs(folder.Join("empty"));
  for (const char* name : {"file", "empty", "missing"}) {
    SCOPED_TRACE(name);
    EXPECT_TRUE(fileutils::RemoveLink(Locate(folder.Join(name))));
  }
  EXPECT_EQ(test::GetFile(folder.Join("file")), "x");
  EXPECT_TRUE(test::IsThere(folder.Join("empty")));
}

TEST(RemoveLink, StaysInTheFolderWhereTheItemWasFound) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("his"));
  test::MakeLink(folder.Join("his/link"), "nowhere");
  test::MakeDirs(folder.Join("other"));
  test::MakeLink(folder.Join("other/link"), "nowhere");
  const platform::LocatedItem item = Locate(folder.Join("his/link"));
  ASSERT_EQ(std::rename(folder.Join("his").c_str(), folder.Join("moved").c_str()), 0);
  test::MakeLink(folder.Join("his"), "other");
  EXPECT_TRUE(fileutils::RemoveLink(item));
  EXPECT_FALSE(test::IsThere(folder.Join("moved/link")));
  EXPECT_TRUE(test::IsThere(folder.Join("other/link")));
}

TEST(RemoveLink, SucceedsWhereAnotherRemovesTheLinkMeanwhile) {
  const test::ScopedTempDir folder;
  test::MakeLink(folder.Join("link"), "nowhere");
  platform::ScopedSystemCalls calls;
  calls->unlinkat = [](int parent, const char* name, int flags) {
    EXPECT_EQ(::unlinkat(parent, name, flags), 0);
    return ::unlinkat(parent, name, flags);
  };
  EXPECT_TRUE(fileutils::RemoveLink(Locate(folder.Join("link"))));
}

TEST(RemoveLink, FailsWhereTheLinkWillNotGo) {
  const test::ScopedTempDir folder;
  test::MakeLink(folder.Join("link"), "nowhere");
  platform::ScopedSystemCalls calls;
  calls->unlinkat = [](int, const char*, int) {
    errno = EIO;
    return -1;
  };
  EXPECT_FALSE(fileutils::RemoveLink(Locate(folder.Join("link"))));
  EXPECT_TRUE(test::IsThere(folder.Join("link")));
}

}  // namespace
