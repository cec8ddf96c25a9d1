#include "fileutils/copy_file.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace {

using namespace std::string_literals;
using fileutils::CopyFile;
using Lines = std::vector<std::string>;

enum Check : bool { kChecked = false, kSkipped = true };

constexpr Check kBoth[] = {kChecked, kSkipped};

// No two blocks alike.
std::string Bytes(std::size_t count) {
  std::string bytes;
  bytes.reserve(count);
  for (std::size_t i = 0; i < count; ++i) bytes += static_cast<char>(i * 2654435761U >> 24);
  return bytes;
}

void MakeSocket(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const platform::UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM, 0));
  ASSERT_EQ(bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0)
      << std::strerror(errno);
}

// A file of `size` bytes, a hole but for `text` at each of the places.
void PutSparse(const std::string& path, off_t size, const std::vector<off_t>& places,
               const std::string& text) {
  const platform::UniqueFd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  ASSERT_TRUE(fd) << std::strerror(errno);
  ASSERT_EQ(ftruncate(fd.Get(), size), 0) << std::strerror(errno);
  for (const off_t place : places) {
    ASSERT_EQ(pwrite(fd.Get(), text.data(), text.size(), place), static_cast<ssize_t>(text.size()));
  }
}

off_t AllocatedBytes(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0);
  return static_cast<off_t>(status.st_blocks) * 512;
}

// Why holes are not kept in this folder or cannot be told from data there, empty where they can.
std::string WhyNoHoles(const test::ScopedTempDir& folder) {
  constexpr off_t kSize = 4 << 20;
  PutSparse(folder.Join("probe"), kSize, {kSize / 2}, "data");
  if (AllocatedBytes(folder.Join("probe")) > kSize / 8) return "no holes of this size here";
  const platform::UniqueFd fd(open(folder.Join("probe").c_str(), O_RDONLY | O_CLOEXEC));
  if (lseek(fd.Get(), kSize - 1, SEEK_DATA) < 0 && errno == ENXIO) return "";
  return "this file system does not tell holes from data";
}

TEST(CopyFile, CopiesEveryByteWhateverTheNumberOfBlocks) {
  const test::ScopedTempDir folder;
  for (const Check check : kBoth) {
    for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 8191U, 8192U, 8193U, 1000000U}) {
      SCOPED_TRACE(std::to_string(size) + (check == kSkipped ? " skipped" : " checked"));
      test::PutFile(folder.Join("source"), Bytes(size));
      test::PutFile(folder.Join("destination"), Bytes(5000) + "old");
      EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("destination"), check));
      EXPECT_TRUE(test::GetFile(folder.Join("destination")) == Bytes(size));
      EXPECT_TRUE(test::GetFile(folder.Join("source")) == Bytes(size));
    }
  }
}

TEST(CopyFile, WritesBlocksOf4096Bytes) {
  static std::vector<std::size_t> blocks;
  blocks.clear();
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), Bytes(8193));
  platform::ScopedSystemCalls calls;
  calls->write = [](int fd, const void* bytes, std::size_t count) {
    blocks.push_back(count);
    return ::write(fd, bytes, count);
  };
  EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("destination"), kChecked));
  EXPECT_EQ(blocks, (std::vector<std::size_t>{4096, 4096, 1}));
}

TEST(CopyFile, GivesANewFileTheDefaultModeAndKeepsThatOfAnOldOne) {
  const test::ScopedTempDir folder;
  const test::ScopedUmask umask(027);
  test::PutFile(folder.Join("source"), "x");
  test::SetMode(folder.Join("source"), 0600);
  for (const Check check : kBoth) {
    SCOPED_TRACE(check);
    const std::string path = folder.Join(check == kSkipped ? "skipped" : "checked");
    EXPECT_TRUE(CopyFile(folder.Join("source"), path, check));
    EXPECT_EQ(test::GetMode(path), 0640U);
    test::SetMode(path, 0606);
    EXPECT_TRUE(CopyFile(folder.Join("source"), path, check));
    EXPECT_EQ(test::GetMode(path), 0606U);
  }
}

TEST(CopyFile, NeitherMakesNorEmptiesTheDestinationWithoutASource) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("old"), "old");
  const test::Tree before = test::ReadTree(folder.Path());
  for (const Check check : kBoth) {
    SCOPED_TRACE(check);
    EXPECT_FALSE(CopyFile(folder.Join("missing"), folder.Join("old"), check));
    EXPECT_FALSE(CopyFile(folder.Join("missing"), folder.Join("new"), check));
    EXPECT_FALSE(CopyFile("", folder.Join("new"), check));
  }
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(folder.Path())), Lines{});
}

TEST(CopyFile, FailsWhereTheDestinationCannotBeMade) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), "x");
  const test::Tree before = test::ReadTree(folder.Path());
  for (const Check check : kBoth) {
    for (const char* name : {"missing/new", "new/", "source/new", "."}) {
      SCOPED_TRACE(std::string(name) + (check == kSkipped ? " skipped" : " checked"));
      EXPECT_FALSE(CopyFile(folder.Join("source"), folder.Join(name), check));
    }
    EXPECT_FALSE(CopyFile(folder.Join("source"), "", check));
  }
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(folder.Path())), Lines{});
}

TEST(CopyFile, ReadsAndWritesRegularFilesOnlyAndWaitsForNothing) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "x");
  test::MakeDirs(folder.Join("folder"));
  test::MakeFifo(folder.Join("fifo"));
  MakeSocket(folder.Join("socket"));
  test::MakeLink(folder.Join("linkToFifo"), "fifo");
  const test::Tree before = test::ReadTree(folder.Path());
  for (const char* name : {"folder", "fifo", "socket"}) {
    for (const Check check : kBoth) {
      SCOPED_TRACE(std::string(name) + (check == kSkipped ? " skipped" : " checked"));
      EXPECT_FALSE(CopyFile(folder.Join(name), folder.Join("new"), check));
      EXPECT_FALSE(CopyFile(folder.Join("file"), folder.Join(name), check));
    }
  }
  EXPECT_FALSE(CopyFile(folder.Join("linkToFifo"), folder.Join("new"), kChecked));
  EXPECT_FALSE(CopyFile(folder.Join("file"), folder.Join("linkToFifo"), kSkipped));
  EXPECT_FALSE(CopyFile("/dev/zero", folder.Join("new"), kChecked));
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(folder.Path())), Lines{});
}

TEST(CopyFile, LeavesAFileThatIsSourceAndDestinationAsItIs) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "content");
  EXPECT_FALSE(CopyFile(folder.Join("file"), folder.Join("file"), kChecked));
  EXPECT_FALSE(CopyFile(folder.Join("file"), folder.Join("./file"), kChecked));
  test::MakeLink(folder.Join("link"), "file");
  EXPECT_FALSE(CopyFile(folder.Join("file"), folder.Join("link"), kSkipped));
  EXPECT_FALSE(CopyFile(folder.Join("link"), folder.Join("file"), kChecked));
  test::MakeHardLink(folder.Join("other"), folder.Join("file"));
  EXPECT_FALSE(CopyFile(folder.Join("file"), folder.Join("other"), kSkipped));
  EXPECT_EQ(test::GetFile(folder.Join("file")), "content");
}

TEST(CopyFile, ReadsThroughALink) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("real/file"), "x");
  test::MakeLink(folder.Join("link"), "real/file");
  test::MakeLink(folder.Join("linkedFolder"), "real");
  for (const char* source : {"link", "linkedFolder/file"}) {
    SCOPED_TRACE(source);
    test::PutFile(folder.Join("destination"), "old");
    EXPECT_TRUE(CopyFile(folder.Join(source), folder.Join("destination"), kChecked));
    EXPECT_EQ(test::GetFile(folder.Join("destination")), "x");
  }
}

TEST(CopyFile, FailsOnADanglingLinkAsSource) {
  const test::ScopedTempDir folder;
  test::MakeLink(folder.Join("dangling"), "nothing");
  EXPECT_FALSE(CopyFile(folder.Join("dangling"), folder.Join("destination"), kChecked));
  EXPECT_FALSE(test::IsThere(folder.Join("destination")));
}

TEST(CopyFile, ReadsAFileOfSeveralNames) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), "x");
  test::MakeHardLink(folder.Join("other"), folder.Join("source"));
  EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("destination"), kChecked));
  EXPECT_EQ(test::GetFile(folder.Join("destination")), "x");
}

TEST(CopyFile, ReplacesALinkByAPlainFileWithTheCheckOn) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), "new");
  test::PutFile(folder.Join("target"), "old");
  test::MakeDirs(folder.Join("targetFolder"));
  for (const std::string target : {"target", "targetFolder", "nothing", "source"}) {
    SCOPED_TRACE(target);
    const std::string link = folder.Join("linkTo" + target);
    test::MakeLink(link, target);
    EXPECT_TRUE(CopyFile(folder.Join("source"), link, kChecked));
    EXPECT_EQ(test::GetLink(link), std::nullopt);
    EXPECT_EQ(test::GetFile(link), "new");
  }
  EXPECT_EQ(test::GetFile(folder.Join("target")), "old");
  EXPECT_EQ(test::GetFile(folder.Join("source")), "new");
  EXPECT_FALSE(test::IsThere(folder.Join("nothing")));
}

TEST(CopyFile, FailsWhereALinkCannotBeRemoved) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), "new");
  test::PutFile(folder.Join("target"), "old");
  for (const char* target : {"target", "nothing"}) {
    SCOPED_TRACE(target);
    const std::string link = folder.Join("linkTo"s + target);
    test::MakeLink(link, target);
    platform::ScopedSystemCalls calls;
    calls->unlinkat = [](int, const char*, int) {
      errno = EIO;
      return -1;
    };
    EXPECT_FALSE(CopyFile(folder.Join("source"), link, kChecked));
    EXPECT_EQ(test::GetLink(link), target);
  }
  EXPECT_EQ(test::GetFile(folder.Join("target")), "old");
  EXPECT_FALSE(test::IsThere(folder.Join("nothing")));
}

TEST(CopyFile, RemovesALinkBeforeItLooksForTheSource) {
  const test::ScopedTempDir folder;
  test::MakeLink(folder.Join("link"), "nothing");
  EXPECT_FALSE(CopyFile(folder.Join("missing"), folder.Join("link"), kChecked));
  EXPECT_FALSE(test::IsThere(folder.Join("link")));
}

TEST(CopyFile, WritesThroughALinkWithTheCheckSkipped) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), "new");
  test::PutFile(folder.Join("sub/target"), "old");
  test::MakeLink(folder.Join("link"), "sub/target");
  test::MakeLink(folder.Join("dangling"), "sub/fresh");
  EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("link"), kSkipped));
  EXPECT_EQ(test::GetLink(folder.Join("link")), "sub/target");
  EXPECT_EQ(test::GetFile(folder.Join("sub/target")), "new");
  EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("dangling"), kSkipped));
  EXPECT_EQ(test::GetLink(folder.Join("dangling")), "sub/fresh");
  EXPECT_EQ(test::GetFile(folder.Join("sub/fresh")), "new");
}

TEST(CopyFile, FailsOnADestinationOfSeveralNamesWithTheCheckOn) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), "new");
  test::PutFile(folder.Join("destination"), "old");
  test::MakeHardLink(folder.Join("other"), folder.Join("destination"));
  EXPECT_FALSE(CopyFile(folder.Join("source"), folder.Join("destination"), kChecked));
  EXPECT_EQ(test::GetFile(folder.Join("destination")), "old");
  EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("destination"), kSkipped));
  EXPECT_EQ(test::GetFile(folder.Join("destination")), "new");
  EXPECT_EQ(test::GetFile(folder.Join("other")), "new");
}

TEST(CopyFile, FailsBelowALinkedFolderWithTheCheckOn) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), "new");
  test::PutFile(folder.Join("real/file"), "old");
  test::MakeLink(folder.Join("link"), "real");
  const test::Tree before = test::ReadTree(folder.Path());
  EXPECT_FALSE(CopyFile(folder.Join("source"), folder.Join("link/file"), kChecked));
  EXPECT_FALSE(CopyFile(folder.Join("source"), folder.Join("link/fresh"), kChecked));
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(folder.Path())), Lines{});
  EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("link/file"), kSkipped));
  EXPECT_EQ(test::GetFile(folder.Join("real/file")), "new");
}

TEST(CopyFile, ExemptsVarAloneFromTheCheck) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    test::PutFile("/source", "x");
    test::MakeDirs("/private/var/folders");
    test::MakeDirs("/private/tmp");
    test::MakeLink("/var", "private/var");
    test::MakeLink("/tmp", "private/tmp");
    EXPECT_TRUE(CopyFile("/source", "/var/folders/file", kChecked));
    EXPECT_EQ(test::GetFile("/private/var/folders/file"), "x");
    EXPECT_FALSE(CopyFile("/source", "/tmp/file", kChecked));
    EXPECT_FALSE(test::IsThere("/private/tmp/file"));
  });
}

TEST(CopyFile, DoesNotNoticeErrorsWhileWritingAndEndsWithTheFirst) {
  static int writes;
  writes = 0;
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), Bytes(12288));
  platform::ScopedSystemCalls calls;
  calls->write = [](int fd, const void* bytes, std::size_t count) -> ssize_t {
    if (++writes == 2) {
      errno = ENOSPC;
      return -1;
    }
    return ::write(fd, bytes, count);
  };
  EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("destination"), kChecked));
  EXPECT_EQ(writes, 2);
  EXPECT_TRUE(test::GetFile(folder.Join("destination")) == Bytes(4096));
}

TEST(CopyFile, EndsWhereAWriteTakesNothing) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), "x");
  platform::ScopedSystemCalls calls;
  calls->write = [](int, const void*, std::size_t) -> ssize_t { return 0; };
  EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("destination"), kChecked));
  EXPECT_EQ(test::GetFile(folder.Join("destination")), "");
}

TEST(CopyFile, GoesOnAfterInterruptedAndPartialWrites) {
  static int writes;
  writes = 0;
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), Bytes(10000));
  platform::ScopedSystemCalls calls;
  calls->write = [](int fd, const void* bytes, std::size_t count) -> ssize_t {
    if (++writes % 2 == 1) {
      errno = EINTR;
      return -1;
    }
    return ::write(fd, bytes, std::min<std::size_t>(count, 1000));
  };
  EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("destination"), kChecked));
  EXPECT_TRUE(test::GetFile(folder.Join("destination")) == Bytes(10000));
}

TEST(CopyFile, DoesNotNoticeAnErrorOnClosing) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), "x");
  platform::ScopedSystemCalls calls;
  calls->close = [](int fd) {
    (void)::close(fd);
    errno = EIO;
    return -1;
  };
  EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("destination"), kChecked));
  EXPECT_EQ(test::GetFile(folder.Join("destination")), "x");
}

TEST(CopyFile, KeepsHolesAtTheStartInTheMiddleAndAtTheEnd) {
  const test::ScopedTempDir folder;
  if (const std::string why = WhyNoHoles(folder); !why.empty()) GTEST_SKIP() << why;
  constexpr off_t kMiB = 1 << 20;
  const struct {
    const char* name;
    std::vector<off_t> places;
  } rows[] = {
      {"a hole and nothing else", {}},
      {"holes at the end", {0}},
      {"holes at the start", {4 * kMiB - 10}},
      {"holes on both sides", {2 * kMiB}},
      {"a hole in the middle", {0, 4 * kMiB - 10}},
      {"holes everywhere", {kMiB, 2 * kMiB + 12345, 3 * kMiB}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const test::ScopedTempDir own;
    PutSparse(own.Join("source"), 4 * kMiB, row.places, "0123456789");
    EXPECT_TRUE(CopyFile(own.Join("source"), own.Join("destination"), kChecked));
    EXPECT_TRUE(test::GetFile(own.Join("destination")) == test::GetFile(own.Join("source")));
    EXPECT_LE(AllocatedBytes(own.Join("destination")), 512 * 1024);
  }
}

TEST(CopyFile, GoesOnBehindAHoleThatEndsABlockEarly) {
  const test::ScopedTempDir folder;
  if (const std::string why = WhyNoHoles(folder); !why.empty()) GTEST_SKIP() << why;
  PutSparse(folder.Join("source"), 300000, {0, 100000, 200001}, Bytes(5000));
  EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("destination"), kChecked));
  EXPECT_TRUE(test::GetFile(folder.Join("destination")) == test::GetFile(folder.Join("source")));
}

TEST(CopyFile, TakesNeitherTimeNorDiskForALargeSparseFile) {
  const test::ScopedTempDir folder;
  if (const std::string why = WhyNoHoles(folder); !why.empty()) GTEST_SKIP() << why;
  constexpr off_t kGiB = 1 << 30;
  PutSparse(folder.Join("source"), kGiB, {kGiB / 2}, "in the middle");
  EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("destination"), kChecked));
  struct stat status = {};
  ASSERT_EQ(lstat(folder.Join("destination").c_str(), &status), 0);
  EXPECT_EQ(status.st_size, kGiB);
  EXPECT_LE(AllocatedBytes(folder.Join("destination")), 512 * 1024);
  const platform::UniqueFd fd(open(folder.Join("destination").c_str(), O_RDONLY | O_CLOEXEC));
  char text[14] = {};
  EXPECT_EQ(pread(fd.Get(), text, 13, kGiB / 2), 13);
  EXPECT_STREQ(text, "in the middle");
}

TEST(CopyFile, DoesNotKeepTheHoleAtTheEndAfterAnError) {
  const test::ScopedTempDir folder;
  if (const std::string why = WhyNoHoles(folder); !why.empty()) GTEST_SKIP() << why;
  PutSparse(folder.Join("source"), 1 << 20, {0}, "x");
  platform::ScopedSystemCalls calls;
  calls->write = [](int, const void*, std::size_t) -> ssize_t {
    errno = ENOSPC;
    return -1;
  };
  EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("destination"), kChecked));
  EXPECT_EQ(test::GetFile(folder.Join("destination")), "");
}

TEST(CopyFile, ReadsOnToTheEndWhereHolesCannotBeTold) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RootOptions options;
  options.mountProc = true;
  test::RunInRoot(
      root.Path(),
      [] {
        const std::optional<std::string> content = test::GetFile("/proc/version");
        ASSERT_TRUE(content);
        ASSERT_FALSE(content->empty());
        EXPECT_TRUE(CopyFile("/proc/version", "/copy", kChecked));
        EXPECT_EQ(test::GetFile("/copy"), content);
      },
      options);
}

TEST(CopyFile, FollowsAnothersLinkOnlyToWhatIsHis) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), "new");
  test::PutFile(folder.Join("file"), "old");
  test::MakeLink(folder.Join("link"), "file");
  test::SetOwner(folder.Join("link"), 501, 20);
  EXPECT_FALSE(CopyFile(folder.Join("source"), folder.Join("link"), kSkipped));
  EXPECT_FALSE(CopyFile(folder.Join("link"), folder.Join("copy"), kChecked));
  EXPECT_EQ(test::GetFile(folder.Join("file")), "old");
  EXPECT_FALSE(test::IsThere(folder.Join("copy")));
  test::SetOwner(folder.Join("file"), 501, 20);
  EXPECT_TRUE(CopyFile(folder.Join("link"), folder.Join("copy"), kChecked));
  EXPECT_EQ(test::GetFile(folder.Join("copy")), "old");
  EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("link"), kSkipped));
  EXPECT_EQ(test::GetFile(folder.Join("file")), "new");
  EXPECT_EQ(test::GetOwner(folder.Join("file")), 501U);
}

TEST(CopyFile, RemovesAnothersLinkWithTheCheckOn) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), "new");
  test::PutFile(folder.Join("file"), "old");
  test::MakeLink(folder.Join("link"), "file");
  test::SetOwner(folder.Join("link"), 501, 20);
  EXPECT_TRUE(CopyFile(folder.Join("source"), folder.Join("link"), kChecked));
  EXPECT_EQ(test::GetLink(folder.Join("link")), std::nullopt);
  EXPECT_EQ(test::GetFile(folder.Join("link")), "new");
  EXPECT_EQ(test::GetFile(folder.Join("file")), "old");
}

TEST(CopyFile, RemovesNoLinkInAFolderThatAnothersLinkLeadsTo) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), "new");
  test::MakeDirs(folder.Join("real"));
  test::MakeLink(folder.Join("real/link"), "file");
  test::MakeLink(folder.Join("his"), "real");
  test::SetOwner(folder.Join("his"), 501, 20);
  EXPECT_FALSE(CopyFile(folder.Join("source"), folder.Join("his/link"), kChecked));
  EXPECT_EQ(test::GetLink(folder.Join("real/link")), "file");
}

TEST(CopyFile, NeverTakesAPathWithANulByteForAShorterOne) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), "new");
  test::PutFile(folder.Join("file"), "old");
  const test::Tree before = test::ReadTree(folder.Path());
  for (const Check check : kBoth) {
    SCOPED_TRACE(check);
    EXPECT_FALSE(CopyFile(folder.Join("source"), folder.Join("file\0x"s), check));
    EXPECT_FALSE(CopyFile(folder.Join("source\0x"s), folder.Join("file"), check));
  }
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(folder.Path())), Lines{});
}

// ---- From an open file ----

bool CopyFirst(off_t size, const std::string& source, const std::string& destination) {
  const platform::UniqueFd fd(open(source.c_str(), O_RDONLY | O_CLOEXEC));
  return fileutils::CopyOpenFile(fd, size, destination);
}

TEST(CopyOpenFile, CopiesTheFirstBytesAndNoMore) {
  const test::ScopedTempDir folder;
  const std::string content = Bytes(10000);
  test::PutFile(folder.Join("source"), content);
  for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 8192U, 9999U, 10000U, 20000U}) {
    SCOPED_TRACE(size);
    test::PutFile(folder.Join("destination"), "old");
    EXPECT_TRUE(
        CopyFirst(static_cast<off_t>(size), folder.Join("source"), folder.Join("destination")));
    EXPECT_TRUE(test::GetFile(folder.Join("destination")) == content.substr(0, size));
  }
}

TEST(CopyOpenFile, StartsAtTheBeginningWhereverTheDescriptorIs) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), "content");
  const platform::UniqueFd fd(open(folder.Join("source").c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(lseek(fd.Get(), 3, SEEK_SET), 3);
  EXPECT_TRUE(fileutils::CopyOpenFile(fd, 7, folder.Join("destination")));
  EXPECT_EQ(test::GetFile(folder.Join("destination")), "content");
}

TEST(CopyOpenFile, EndsInTheMiddleOfAHole) {
  const test::ScopedTempDir folder;
  if (const std::string why = WhyNoHoles(folder); !why.empty()) GTEST_SKIP() << why;
  constexpr off_t kMiB = 1 << 20;
  PutSparse(folder.Join("source"), 6 * kMiB, {0, 5 * kMiB}, "0123456789");
  for (const off_t size : {5 * kMiB + 3, 5 * kMiB, 2 * kMiB + 5}) {
    SCOPED_TRACE(size);
    EXPECT_TRUE(CopyFirst(size, folder.Join("source"), folder.Join("destination")));
    EXPECT_TRUE(test::GetFile(folder.Join("destination")) ==
                test::GetFile(folder.Join("source"))->substr(0, static_cast<std::size_t>(size)));
    EXPECT_LE(AllocatedBytes(folder.Join("destination")), 512 * 1024);
  }
}

TEST(CopyOpenFile, TreatsItsDestinationAsWithTheCheckOn) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("source"), "new");
  test::PutFile(folder.Join("target"), "old");
  test::MakeLink(folder.Join("link"), "target");
  EXPECT_TRUE(CopyFirst(3, folder.Join("source"), folder.Join("link")));
  EXPECT_EQ(test::GetLink(folder.Join("link")), std::nullopt);
  EXPECT_EQ(test::GetFile(folder.Join("link")), "new");
  EXPECT_EQ(test::GetFile(folder.Join("target")), "old");
  test::MakeHardLink(folder.Join("other"), folder.Join("target"));
  EXPECT_FALSE(CopyFirst(3, folder.Join("source"), folder.Join("target")));
  test::MakeDirs(folder.Join("real"));
  test::MakeLink(folder.Join("linked"), "real");
  EXPECT_FALSE(CopyFirst(3, folder.Join("source"), folder.Join("linked/file")));
  EXPECT_FALSE(CopyFirst(3, folder.Join("source"), folder.Join("source")));
  EXPECT_EQ(test::GetFile(folder.Join("source")), "new");
  EXPECT_EQ(test::GetFile(folder.Join("target")), "old");
}

}  // namespace
