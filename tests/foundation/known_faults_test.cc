#include "tests/support/known_faults.h"

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "platform/atomic_write.h"
#include "platform/folder_creation.h"
#include "platform/folder_listing.h"
#include "platform/host.h"
#include "platform/item_removal.h"
#include "platform/path_text.h"
#include "platform/property_list.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

// That every fault of the list is there. A test that fails here brings good news: the fault is
// gone, and with it goes its name and whatever steps around it.

namespace platform {
namespace {

TEST(KnownFault, TakesBackslashesForSlashes) {
  EXPECT_EQ(LastPathComponent("\\a\\b"), "b");
  EXPECT_EQ(DeletingLastPathComponent("\\a\\b"), "\\a");
  EXPECT_EQ(AppendingPathComponent("a\\", "x"), "a/x");
}

TEST(KnownFault, KeepsTheSlashBehindATilde) { EXPECT_EQ(DeletingLastPathComponent("~/x"), "~/"); }

TEST(KnownFault, KeepsDoubledSlashes) {
  EXPECT_EQ(DeletingPathExtension("a//b"), "a//b");
  EXPECT_EQ(AppendingPathExtension("a//b", "txt"), "a//b.txt");
}

TEST(KnownFault, TakesHiddenNamesForExtensions) {
  EXPECT_EQ(DeletingPathExtension("/tmp/.hidden"), "/tmp/");
  EXPECT_EQ(DeletingPathExtension(".."), ".");
}

TEST(KnownFault, GivesTheOldTextForNone) {
  EXPECT_EQ(AppendingPathExtension("", "txt"), "");
  EXPECT_EQ(AppendingPathExtension("/", "txt"), "/");
  EXPECT_EQ(AppendingPathExtension("a", "/txt"), "a");
}

TEST(KnownFault, AddsNoExtensionToATilde) {
  EXPECT_EQ(AppendingPathExtension("~scratch", "tiff"), "~scratch");
}

TEST(KnownFault, AddsADotForAnEmptyExtension) { EXPECT_EQ(AppendingPathExtension("a", ""), "a."); }

TEST(KnownFault, KeepsTheSlashBeforeParents) {
  EXPECT_EQ(StandardizingPath("/missing/no/.."), "/missing/");
}

TEST(KnownFault, RemovesParentsByTextAlone) {
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("folder/inner"));
  test::PutFile(dir.Join("folder/file"), "");
  test::MakeLink(dir.Join("link"), "folder/inner");
  EXPECT_EQ(StandardizingPath(dir.Join("link/../file")), dir.Join("file"));
}

TEST(KnownFault, RaisesForPrivate) { EXPECT_ANY_THROW((void)StandardizingPath("/private")); }

TEST(KnownFault, CutsPrivateAlways) {
  EXPECT_EQ(StandardizingPath("/private/no such"), "/no such");
  EXPECT_EQ(StandardizingPath("/private/var/no such"), "/var/no such");
  EXPECT_EQ(StandardizingPath("/privatetmp"), "tmp");
}

TEST(KnownFault, KnowsNoAutomounts) {
  EXPECT_EQ(StandardizingPath("/var/automount/tmp"), "/var/automount/tmp");
  EXPECT_EQ(StandardizingPath("/private/var/automount/tmp"), "/var/automount/tmp");
}

TEST(KnownFault, MakesFilesFor0644) {
  const test::ScopedTempDir dir;
  const test::ScopedUmask mask(0);
  EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
  EXPECT_EQ(test::GetMode(dir.Join("file")), 0644U);
}

TEST(KnownFault, GivesTheModeBehindALink) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "old");
  test::SetMode(dir.Join("file"), 0600);
  test::MakeLink(dir.Join("link"), "file");
  EXPECT_TRUE(WriteFileAtomically(dir.Join("link"), "new"));
  EXPECT_EQ(test::GetMode(dir.Join("link")), 0600U);
}

TEST(KnownFault, KeepsTheOwner) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "old");
  test::SetOwner(dir.Join("file"), 1000, 1000);
  EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
  EXPECT_EQ(test::GetOwner(dir.Join("file")), 1000U);
}

TEST(KnownFault, LengthensNamesForWriting) {
  const test::ScopedTempDir dir;
  EXPECT_TRUE(WriteFileAtomically(dir.Join(std::string(249, 'n')), "new"));
  EXPECT_FALSE(WriteFileAtomically(dir.Join(std::string(250, 'n')), "new"));
}

TEST(KnownFault, TakesAnythingForAFolder) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "");
  EXPECT_TRUE(CreateFolder(dir.Join("file"), nullptr, nullptr));
}

TEST(KnownFault, FailsWithoutTheAttributes) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::SetMode(dir.Path(), 0777);
  test::RunInChild([&dir] {
    ASSERT_EQ(seteuid(1000), 0);
    FolderAttributes attributes;
    attributes.owner = 501;
    EXPECT_FALSE(CreateFolder(dir.Join("a"), &attributes, nullptr));
  });
  EXPECT_TRUE(test::IsThere(dir.Join("a")));
}

TEST(KnownFault, ListsUnreadableFoldersAsEmpty) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("closed/file"), "");
  test::SetMode(dir.Join("closed"), 0711);
  test::RunInChild([&dir] {
    ASSERT_EQ(seteuid(1000), 0);
    std::vector<std::string> names = {"before"};
    EXPECT_TRUE(ListFolder(dir.Join("closed"), &names));
    EXPECT_EQ(names, std::vector<std::string>());
  });
}

TEST(KnownFault, EntersMountPoints) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::PutFile(root.Join("elsewhere/file"), "");
  test::MakeDirs(root.Join("folder/mounted"));
  test::RootOptions options;
  options.beforeChangeRoot = [&root] {
    ASSERT_EQ(mount(root.Join("elsewhere").c_str(), root.Join("folder/mounted").c_str(), nullptr,
                    MS_BIND, nullptr),
              0);
  };
  test::RunInRoot(
      root.Path(), [] { EXPECT_FALSE(RemoveItem("/folder", nullptr)); }, options);
  EXPECT_FALSE(test::IsThere(root.Join("elsewhere/file")));
}

TEST(KnownFault, AsksNobodyBeforeRemoval) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("full/file"), "");
  EXPECT_TRUE(RemoveSingleItem(dir.Join("full"), nullptr));
  EXPECT_FALSE(test::IsThere(dir.Join("full")));
}

class KnownFaultOfHomesTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
    test::PutFile(root_.Join("etc/nsswitch.conf"), "passwd: files\n");
  }

  void PutAccounts(const std::string& lines) const {
    test::PutFile(root_.Join("etc/passwd"), lines);
  }

  [[nodiscard]] const std::string& Root() const { return root_.Path(); }

 private:
  test::ScopedTempDir root_;
};

TEST_F(KnownFaultOfHomesTest, HasNoHomeForAStranger) {
  PutAccounts("mia:x:1000:1000:Mia:/home/mia:/bin/sh\n");
  test::RunInRoot(Root(),
                  [] { EXPECT_EQ(DefaultHost().directories->HomeDirectory(), std::nullopt); });
}

TEST_F(KnownFaultOfHomesTest, TakesHomesAsTheyAreWritten) {
  PutAccounts("root:x:0:0:Kim:/home//kim/:/bin/sh\n");
  test::RunInRoot(Root(), [] {
    EXPECT_EQ(DefaultHost().directories->HomeDirectory(), "/home//kim/");
    std::string path;
    EXPECT_TRUE(DefaultHost().directories->HomeDirectoryForUser("root", &path));
    EXPECT_EQ(path, "/home//kim/");
  });
}

TEST_F(KnownFaultOfHomesTest, KnowsANamelessUser) {
  PutAccounts(":x:1006:1006::/home/nameless:/bin/sh\n");
  test::RunInRoot(Root(), [] {
    std::string path;
    EXPECT_TRUE(DefaultHost().directories->HomeDirectoryForUser("", &path));
    EXPECT_EQ(path, "/home/nameless");
  });
}

TEST(KnownFault, TakesAFolderOfItsOwnForBundle) {
  std::string executable;
  ASSERT_TRUE(DefaultHost().info->GetExecutablePath(&executable));
  std::string bundle;
  ASSERT_TRUE(DefaultHost().info->GetBundlePath(&bundle));
  EXPECT_EQ(bundle, executable.substr(0, executable.rfind('/')) + "/Resources" +
                        executable.substr(executable.rfind('/')));
}

TEST(KnownFault, SetsTheLocale) {
  const std::string found = setlocale(LC_CTYPE, nullptr);
  test::RunInChild([&found] { EXPECT_EQ(found, setlocale(LC_CTYPE, "")); });
}

TEST(KnownFault, ComplainsOnStandardError) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("said"), "");
  test::RunInChild([&dir] {
    const int file = open(dir.Join("said").c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_EQ(dup2(file, STDERR_FILENO), STDERR_FILENO);
    EXPECT_FALSE(WriteFileAtomically(dir.Join("missing/file"), "new"));
  });
  EXPECT_NE(test::GetFile(dir.Join("said")), "");
}

// The status with which this program ends when it is started anew.
int StartAnew(const std::string& arguments) {
  std::string executable;
  EXPECT_TRUE(DefaultHost().info->GetExecutablePath(&executable));
  const std::string command = "'" + executable + "' " + arguments;
  const int status = std::system((command + " >/dev/null 2>&1").c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(KnownFault, TakesNoBytesForArguments) {
  EXPECT_EQ(StartAnew("--gtest_list_tests '\xC3\xA9'"), 0);
  EXPECT_EQ(StartAnew("--gtest_list_tests '\xFF\xFE'"), 1);
}

TEST(KnownFault, NeedsAnAccount) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("passwd"), "");
  test::PutFile(dir.Join("nsswitch.conf"), "passwd: files\n");
  test::RootOptions options;
  options.mountProc = true;
  test::RunInRoot(
      "/",
      [&dir] {
        const auto cover = [&dir](const std::string& name) {
          const std::string place = "/etc/" + name;
          return mount(dir.Join(name).c_str(), place.c_str(), nullptr, MS_BIND, nullptr);
        };
        ASSERT_EQ(cover("nsswitch.conf"), 0);
        EXPECT_EQ(StartAnew("--gtest_list_tests"), 0);
        ASSERT_EQ(cover("passwd"), 0);
        EXPECT_EQ(StartAnew("--gtest_list_tests"), 1);
      },
      options);
}

TEST(KnownFault, IgnoresBrokenPipes) {
  struct sigaction action = {};
  EXPECT_EQ(sigaction(SIGPIPE, nullptr, &action), 0);
  EXPECT_EQ(action.sa_handler, SIG_IGN);
}

TEST(KnownFault, IgnoresBrokenPipesWhereTheCallerDoesNot) {
  test::RunInChild([] {
    ASSERT_NE(signal(SIGPIPE, SIG_DFL), SIG_ERR);
    EXPECT_EQ(StartAnew("--gtest_filter=KnownFault.IgnoresBrokenPipes"), 0);
  });
}

std::optional<std::string> Read(const std::string& content) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("list"), content);
  std::string value;
  if (!ReadPropertyListString(dir.Join("list"), "K", &value)) return std::nullopt;
  return value;
}

TEST(KnownFault, RaisesForBrokenBinaryLists) {
  using namespace std::string_literals;
  const std::string list =
      "bplist00\xD1\x01\x02QKQv\x08\x0B\x0D"
      "\x00\x00\x00\x00\x00\x00\x01\x01"
      "\x00\x00\x00\x00\x00\x00\x00\x03"
      "\x00\x00\x00\x00\x00\x00\x00\x00"
      "\x00\x00\x00\x00\x00\x00\x00\x0F"s;
  EXPECT_EQ(Read(list), "v");
  EXPECT_ANY_THROW((void)Read(list.substr(0, list.size() - 1)));
}

TEST(KnownFault, TakesNoByteOrderMark) {
  const std::string list =
      "<?xml version=\"1.0\"?><plist><dict><key>K</key><string>v</string></dict></plist>";
  EXPECT_EQ(Read("\xEF\xBB\xBF" + list), std::nullopt);
  EXPECT_EQ(Read(list), "v");
  std::string utf16 = "\xFF\xFE";
  for (const char c : list) utf16 += {c, '\0'};
  EXPECT_EQ(Read(utf16), std::nullopt);
}

TEST(KnownFault, NeedsADeclaration) {
  const std::string list = "<plist><dict><key>K</key><string>v</string></dict></plist>";
  EXPECT_EQ(Read(list), std::nullopt);
  EXPECT_EQ(Read("<?xml version=\"1.0\"?>" + list), "v");
}

TEST(KnownFault, LosesCharacterData) {
  EXPECT_EQ(Read("<?xml version=\"1.0\"?><plist><dict><key>K</key>"
                 "<string>a<![CDATA[b]]>c</string></dict></plist>"),
            "ac");
}

TEST(KnownFault, DropsUnknownEntities) {
  EXPECT_EQ(Read("<?xml version=\"1.0\"?><plist><dict><key>K</key>"
                 "<string>a&nothing;b</string></dict></plist>"),
            "ab");
}

TEST(KnownFault, DropsStrayWords) {
  EXPECT_EQ(Read("<?xml version=\"1.0\"?>words<plist><dict><key>K</key>"
                 "<string>v</string></dict></plist>"),
            "v");
}

TEST(KnownFault, DropsKeysWithoutValues) {
  EXPECT_EQ(Read("<?xml version=\"1.0\"?><plist><dict><key>K</key>"
                 "<string>v</string><key>L</key></dict></plist>"),
            "v");
}

}  // namespace
}  // namespace platform
