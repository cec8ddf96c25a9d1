#include "platform/desktop.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "platform/posix/host_parts.h"
#include "platform/system_calls_for_testing.h"
#include "tests/platform/posix/icon_samples.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace platform {
namespace {

using test::Icns;
using test::IcnsElement;
using test::Png;

constexpr char kEntry[] = "[Desktop Entry]\nIcon=./.folder-icon.png\n";

// A folder, an icon file beside it, and what they held before the call.
class FolderIcon : public testing::Test {
 protected:
  void SetUp() override {
    test::MakeDirs(folder_);
    test::PutFile(icon_, Icns(IcnsElement("icp4", Png(16, 16, "small")) +
                              IcnsElement("ic08", Png(256, 256, "large"))));
  }

  bool Set() { return PosixDesktop().SetFolderIcon(icon_, folder_); }

  // What setting does to the whole tree.
  std::vector<std::string> ChangesOfSet(bool expected) {
    const test::Tree before = test::ReadTree(temp_.Path());
    EXPECT_EQ(Set(), expected);
    return test::CompareTrees(before, test::ReadTree(temp_.Path()));
  }

  void RemoveIconFile() const { ASSERT_EQ(unlink(icon_.c_str()), 0); }

  static std::vector<std::string> None() { return {}; }

  test::ScopedTempDir temp_;
  std::string icon_ = temp_.Join("icon.icns");
  std::string folder_ = temp_.Join("folder");
  std::string image_ = folder_ + "/.folder-icon.png";
  std::string entry_ = folder_ + "/.directory";
};

TEST_F(FolderIcon, IsTheLargestImageAndAnEntryThatNamesIt) {
  const test::ScopedUmask umask(022);
  EXPECT_EQ(ChangesOfSet(true),
            (std::vector<std::string>{"+ folder/.directory", "+ folder/.folder-icon.png"}));
  EXPECT_EQ(test::GetFile(image_), Png(256, 256, "large"));
  EXPECT_EQ(test::GetFile(entry_), "[Desktop Entry]\nIcon=./.folder-icon.png\n");
  EXPECT_EQ(test::GetMode(image_), mode_t{0644});
  EXPECT_EQ(test::GetMode(entry_), mode_t{0644});
}

TEST_F(FolderIcon, HasTheModeThatTheUmaskLeaves) {
  const test::ScopedUmask umask(077);
  EXPECT_TRUE(Set());
  EXPECT_EQ(test::GetMode(image_), mode_t{0600});
  EXPECT_EQ(test::GetMode(entry_), mode_t{0600});
}

TEST_F(FolderIcon, OutlivesItsIconFile) {
  EXPECT_TRUE(Set());
  RemoveIconFile();
  EXPECT_EQ(test::GetFile(image_), Png(256, 256, "large"));
}

TEST_F(FolderIcon, IsReplacedByTheNext) {
  EXPECT_TRUE(Set());
  test::SetMode(image_, 0640);
  struct stat before {};
  ASSERT_EQ(stat(entry_.c_str(), &before), 0);
  test::PutFile(icon_, Icns(IcnsElement("icp4", Png(16, 16, "next"))));
  EXPECT_EQ(ChangesOfSet(true), std::vector<std::string>{"~ folder/.folder-icon.png"});
  EXPECT_EQ(test::GetFile(image_), Png(16, 16, "next"));
  EXPECT_EQ(test::GetMode(image_), mode_t{0640});
  // The entry needs no change and gets none.
  struct stat after {};
  ASSERT_EQ(stat(entry_.c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
}

TEST_F(FolderIcon, GetsItsMissingEntryBack) {
  EXPECT_TRUE(Set());
  ASSERT_EQ(unlink(entry_.c_str()), 0);
  EXPECT_TRUE(Set());
  EXPECT_EQ(test::GetFile(entry_), kEntry);
}

TEST_F(FolderIcon, GoesWithoutAUsableImage) {
  const struct {
    const char* name;
    std::function<void()> arrange;
  } rows[] = {
      {"no file", [] {}},
      {"empty file", [this] { test::PutFile(icon_, ""); }},
      {"no icns", [this] { test::PutFile(icon_, Png(16, 16, "")); }},
      {"no PNG in it", [this] { test::PutFile(icon_, Icns(IcnsElement("is32", "pixels"))); }},
      {"a folder", [this] { test::MakeDirs(icon_); }},
      {"a dangling link", [this] { test::MakeLink(icon_, temp_.Join("missing")); }},
      {"a FIFO", [this] { test::MakeFifo(icon_); }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    test::PutFile(icon_, Icns(IcnsElement("icp4", Png(16, 16, ""))));
    ASSERT_TRUE(Set());
    RemoveIconFile();
    row.arrange();
    EXPECT_EQ(ChangesOfSet(true),
              (std::vector<std::string>{"- folder/.directory", "- folder/.folder-icon.png"}));
    (void)(unlink(icon_.c_str()) == 0 || rmdir(icon_.c_str()) == 0);
  }
}

TEST_F(FolderIcon, ComesFromAFileOfUpTo16MiB) {
  std::string content = *test::GetFile(icon_);
  content.resize(std::size_t{16} * 1024 * 1024);
  test::PutFile(icon_, content);
  EXPECT_TRUE(Set());
  EXPECT_EQ(test::GetFile(image_), Png(256, 256, "large"));
  content += '\0';
  test::PutFile(icon_, content);
  EXPECT_TRUE(Set());
  EXPECT_FALSE(test::IsThere(image_));
  EXPECT_FALSE(test::IsThere(entry_));
}

TEST_F(FolderIcon, NeedsNoRemovalWhereThereIsNone) {
  RemoveIconFile();
  test::PutFile(folder_ + "/other", "bytes");
  EXPECT_EQ(ChangesOfSet(true), None());
}

TEST_F(FolderIcon, IsRemovedWhereOnlyHalfOfItIsThere) {
  RemoveIconFile();
  test::PutFile(image_, "image");
  EXPECT_EQ(ChangesOfSet(true), std::vector<std::string>{"- folder/.folder-icon.png"});
  test::PutFile(entry_, kEntry);
  EXPECT_EQ(ChangesOfSet(true), std::vector<std::string>{"- folder/.directory"});
}

TEST_F(FolderIcon, ComesThroughALinkToItsFile) {
  test::MakeLink(temp_.Join("link.icns"), "icon.icns");
  EXPECT_TRUE(PosixDesktop().SetFolderIcon(temp_.Join("link.icns"), folder_));
  EXPECT_EQ(test::GetFile(image_), Png(256, 256, "large"));
}

TEST_F(FolderIcon, GoesThroughALinkToItsFolder) {
  test::MakeLink(temp_.Join("link"), "folder");
  EXPECT_TRUE(PosixDesktop().SetFolderIcon(icon_, temp_.Join("link")));
  EXPECT_EQ(test::GetFile(image_), Png(256, 256, "large"));
}

TEST_F(FolderIcon, DoesNotComeThroughTheLinkOfAStranger) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::MakeLink(temp_.Join("link.icns"), "icon.icns");
  test::SetOwner(temp_.Join("link.icns"), 1000, 1000);
  EXPECT_TRUE(PosixDesktop().SetFolderIcon(temp_.Join("link.icns"), folder_));
  EXPECT_FALSE(test::IsThere(image_));
}

TEST_F(FolderIcon, DoesNotGoThroughTheLinkOfAStranger) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::MakeLink(temp_.Join("link"), "folder");
  test::SetOwner(temp_.Join("link"), 1000, 1000);
  EXPECT_FALSE(PosixDesktop().SetFolderIcon(icon_, temp_.Join("link")));
  EXPECT_FALSE(test::IsThere(image_));
  EXPECT_FALSE(test::IsThere(entry_));
}

TEST_F(FolderIcon, NeedsAFolder) {
  test::PutFile(temp_.Join("file"), "bytes");
  const test::Tree before = test::ReadTree(temp_.Path());
  for (const std::string& path : {temp_.Join("missing"), temp_.Join("file"), std::string()}) {
    SCOPED_TRACE(path);
    EXPECT_FALSE(PosixDesktop().SetFolderIcon(icon_, path));
    EXPECT_FALSE(PosixDesktop().SetFolderIcon(temp_.Join("no-icon"), path));
  }
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(temp_.Path())), None());
}

// Beside items named ".directory" that are not ours, though some hold or lead to our bytes.
class FolderIconBesideForeignEntry : public FolderIcon {
 protected:
  void ForEachEntry(const std::function<void()>& check) {
    test::PutFile(temp_.Join("ours"), kEntry);
    const struct {
      const char* name;
      std::function<void()> arrange;
    } rows[] = {
        {"other bytes", [this] { test::PutFile(entry_, "[Desktop Entry]\nIcon=folder-red\n"); }},
        {"more bytes", [this] { test::PutFile(entry_, std::string(kEntry) + "\n"); }},
        {"fewer bytes",
         [this] { test::PutFile(entry_, "[Desktop Entry]\nIcon=./.folder-icon.png"); }},
        {"no bytes", [this] { test::PutFile(entry_, ""); }},
        {"a folder", [this] { test::MakeDirs(entry_); }},
        {"a FIFO", [this] { test::MakeFifo(entry_); }},
        {"a link", [this] { test::MakeLink(entry_, "../ours"); }},
        {"a dangling link", [this] { test::MakeLink(entry_, "../missing"); }},
    };
    for (const auto& row : rows) {
      SCOPED_TRACE(row.name);
      row.arrange();
      check();
      ASSERT_TRUE(unlink(entry_.c_str()) == 0 || rmdir(entry_.c_str()) == 0);
    }
  }
};

TEST_F(FolderIconBesideForeignEntry, IsNotSet) {
  ForEachEntry([this] { EXPECT_EQ(ChangesOfSet(false), None()); });
}

TEST_F(FolderIconBesideForeignEntry, IsRemovedAlone) {
  RemoveIconFile();
  ForEachEntry([this] {
    test::PutFile(image_, "image");
    EXPECT_EQ(ChangesOfSet(true), std::vector<std::string>{"- folder/.folder-icon.png"});
  });
}

TEST_F(FolderIcon, LeavesAFolderOfItsNameAlone) {
  test::PutFile(image_ + "/kept", "bytes");
  EXPECT_EQ(ChangesOfSet(false), None());
  RemoveIconFile();
  EXPECT_EQ(ChangesOfSet(false), None());
}

TEST_F(FolderIcon, LeavesAFifoOfItsNameAlone) {
  test::MakeFifo(image_);
  EXPECT_EQ(ChangesOfSet(false), None());
  RemoveIconFile();
  EXPECT_EQ(ChangesOfSet(false), None());
}

TEST_F(FolderIcon, TakesThePlaceOfALinkAndNotOfItsTarget) {
  for (const char* target : {"../target", "../missing"}) {
    SCOPED_TRACE(target);
    test::PutFile(temp_.Join("target"), "bytes");
    test::MakeLink(image_, target);
    EXPECT_EQ(ChangesOfSet(true),
              (std::vector<std::string>{"+ folder/.directory", "~ folder/.folder-icon.png"}));
    EXPECT_EQ(test::GetLink(image_), std::nullopt);
    EXPECT_EQ(test::GetFile(image_), Png(256, 256, "large"));
    ASSERT_EQ(unlink(image_.c_str()), 0);
    ASSERT_EQ(unlink(entry_.c_str()), 0);
  }
}

TEST_F(FolderIcon, IsRemovedAsALinkAndNotAsItsTarget) {
  RemoveIconFile();
  test::PutFile(temp_.Join("target"), "bytes");
  for (const char* target : {"../target", "../missing"}) {
    SCOPED_TRACE(target);
    test::MakeLink(image_, target);
    EXPECT_EQ(ChangesOfSet(true), std::vector<std::string>{"- folder/.folder-icon.png"});
  }
}

int FailToRenameToTheEntry(int oldFolder, const char* oldName, int newFolder, const char* newName) {
  if (std::strcmp(newName, ".directory") != 0) {
    return renameat(oldFolder, oldName, newFolder, newName);
  }
  errno = EIO;
  return -1;
}

TEST_F(FolderIcon, ReadsItsEntryThroughASignal) {
  ASSERT_TRUE(Set());
  RemoveIconFile();
  ScopedSystemCalls calls;
  static int interruptions;
  interruptions = 2;
  calls->read = [](int fd, void* bytes, std::size_t count) -> ssize_t {
    if (interruptions-- == 0) return read(fd, bytes, count);
    errno = EINTR;
    return -1;
  };
  EXPECT_EQ(ChangesOfSet(true),
            (std::vector<std::string>{"- folder/.directory", "- folder/.folder-icon.png"}));
}

TEST_F(FolderIcon, LeavesNothingWhereItsEntryCannotBeWritten) {
  ScopedSystemCalls calls;
  calls->renameat = FailToRenameToTheEntry;
  EXPECT_EQ(ChangesOfSet(false), None());
}

TEST_F(FolderIcon, KeepsAnImageThatWasThereWhereItsEntryCannotBeWritten) {
  test::PutFile(image_, "image");
  ScopedSystemCalls calls;
  calls->renameat = FailToRenameToTheEntry;
  EXPECT_EQ(ChangesOfSet(false), std::vector<std::string>{"~ folder/.folder-icon.png"});
  EXPECT_EQ(test::GetFile(image_), Png(256, 256, "large"));
}

TEST_F(FolderIcon, FailsWhereItsImageCannotBeWritten) {
  ScopedSystemCalls calls;
  calls->renameat = [](int, const char*, int, const char*) {
    errno = EIO;
    return -1;
  };
  EXPECT_EQ(ChangesOfSet(false), None());
}

TEST_F(FolderIcon, FailsWhereItCannotBeRemoved) {
  ASSERT_TRUE(Set());
  RemoveIconFile();
  ScopedSystemCalls calls;
  calls->unlinkat = [](int, const char*, int) {
    errno = EACCES;
    return -1;
  };
  EXPECT_EQ(ChangesOfSet(false), None());
  // The same for the image alone.
  ASSERT_EQ(unlink(entry_.c_str()), 0);
  EXPECT_EQ(ChangesOfSet(false), None());
}

TEST_F(FolderIcon, IsGoneWhereSomebodyElseRemovedItMeanwhile) {
  ASSERT_TRUE(Set());
  RemoveIconFile();
  ScopedSystemCalls calls;
  calls->unlinkat = [](int folder, const char* name, int flags) {
    EXPECT_EQ(unlinkat(folder, name, flags), 0);
    errno = ENOENT;
    return -1;
  };
  EXPECT_TRUE(Set());
  EXPECT_FALSE(test::IsThere(image_));
  EXPECT_FALSE(test::IsThere(entry_));
}

}  // namespace
}  // namespace platform
