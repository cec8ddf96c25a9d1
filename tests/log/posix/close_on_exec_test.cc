#include <array>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <string>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "fileutils/copy_file.h"
#include "fileutils/create_directory.h"
#include "fileutils/delete_directory.h"
#include "fileutils/link_check.h"
#include "fileutils/volume.h"
#include "fileutils/write_file.h"
#include "log/log_file.h"
#include "log/log_setup.h"
#include "log/log_target_default.h"
#include "log/log_target_registry.h"
#include "log/logger.h"
#include "log/pruning.h"
#include "log/rollover.h"
#include "platform/atomic_write.h"
#include "platform/checked_file.h"
#include "platform/entry_removal.h"
#include "platform/file_data.h"
#include "platform/folder_creation.h"
#include "platform/folder_listing.h"
#include "platform/host.h"
#include "platform/item_query.h"
#include "platform/item_removal.h"
#include "platform/mount_point.h"
#include "platform/path_walk.h"
#include "platform/property_list.h"
#include "platform/symbolic_link.h"
#include "platform/unique_fd.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/sanitizers.h"
#include "tests/support/scoped_temp_dir.h"

// A program that uses the libraries may start another one at any moment, from any thread. No
// descriptor of theirs may reach it, so each has to be close-on-exec from the very call that makes
// it. The kernel watches over that here: it ends a process that asks for another one.

namespace {

// A system call that makes a descriptor, and where it is told that it is to be close-on-exec.
struct MakingCall {
  std::uint32_t number;
  int flagsArgument;  // -1: it cannot be told
  std::uint32_t closeOnExec;
};

constexpr MakingCall kMakingCalls[] = {
    {SYS_openat, 2, O_CLOEXEC},
    {SYS_openat2, -1, 0},  // in memory, out of the filter's sight
    {SYS_open_by_handle_at, 2, O_CLOEXEC},
    {SYS_dup, -1, 0},
    {SYS_dup3, 2, O_CLOEXEC},
    {SYS_pipe2, 1, O_CLOEXEC},
    {SYS_socket, 1, SOCK_CLOEXEC},
    {SYS_socketpair, 1, SOCK_CLOEXEC},
    {SYS_accept, -1, 0},
    {SYS_accept4, 3, SOCK_CLOEXEC},
    {SYS_memfd_create, 1, MFD_CLOEXEC},
    {SYS_eventfd2, 1, EFD_CLOEXEC},
    {SYS_inotify_init1, 0, IN_CLOEXEC},
// Not every processor has those of old.
#ifdef SYS_open
    {SYS_open, 1, O_CLOEXEC},
#endif
#ifdef SYS_creat
    {SYS_creat, -1, 0},
#endif
#ifdef SYS_dup2
    {SYS_dup2, -1, 0},
#endif
#ifdef SYS_pipe
    {SYS_pipe, -1, 0},
#endif
};

static_assert(std::endian::native == std::endian::little, "where the low half of an argument is");

constexpr std::uint32_t OffsetOfArgument(int index) {
  return static_cast<std::uint32_t>(offsetof(seccomp_data, args) +
                                    sizeof(std::uint64_t) * static_cast<std::size_t>(index));
}

constexpr sock_filter kLoadNumber = {
    .code = BPF_LD | BPF_W | BPF_ABS, .jt = 0, .jf = 0, .k = offsetof(seccomp_data, nr)};
constexpr sock_filter kEnd = {.code = BPF_RET | BPF_K, .jt = 0, .jf = 0, .k = SECCOMP_RET_TRAP};
constexpr sock_filter kAllow = {.code = BPF_RET | BPF_K, .jt = 0, .jf = 0, .k = SECCOMP_RET_ALLOW};

sock_filter LoadArgument(int index) {
  return {.code = BPF_LD | BPF_W | BPF_ABS, .jt = 0, .jf = 0, .k = OffsetOfArgument(index)};
}

// Goes on with the next instruction if the value is `k`, else behind as many as `skipped`.
sock_filter SkipUnless(std::uint32_t k, std::uint8_t skipped) {
  return {.code = BPF_JMP | BPF_JEQ | BPF_K, .jt = 0, .jf = skipped, .k = k};
}

std::vector<sock_filter> FilterOfInheritedDescriptors() {
  std::vector<sock_filter> program;
  for (const MakingCall& call : kMakingCalls) {
    program.push_back(kLoadNumber);
    if (call.flagsArgument < 0) {
      program.push_back(SkipUnless(call.number, 1));
    } else {
      program.push_back(SkipUnless(call.number, 3));
      program.push_back(LoadArgument(call.flagsArgument));
      program.push_back(
          {.code = BPF_JMP | BPF_JSET | BPF_K, .jt = 1, .jf = 0, .k = call.closeOnExec});
    }
    program.push_back(kEnd);
  }
  program.push_back(kLoadNumber);
  program.push_back(SkipUnless(SYS_fcntl, 3));
  program.push_back(LoadArgument(1));
  program.push_back(SkipUnless(F_DUPFD, 1));
  program.push_back(kEnd);
  program.push_back(kAllow);
  return program;
}

// Makes the kernel end the process (SIGSYS) that asks for a descriptor which another program would
// inherit. For the rest of the process's life: only in a child.
void RefuseInheritedDescriptors() {
  std::vector<sock_filter> program = FilterOfInheritedDescriptors();
  const sock_fprog filter = {.len = static_cast<unsigned short>(program.size()),
                             .filter = program.data()};
  ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
  ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
}

// Why the kernel takes no filters, empty where it does. It looks for one at the null pointer then.
std::string WhyNoFilters() {
  if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, nullptr) == -1 && errno == EFAULT) return "";
  return "the kernel takes no filters of system calls";
}

// The signal that ended a child which made the call under the filter; 0 where the call came back.
int SignalUnderTheFilter(const std::function<int()>& call) {
  const pid_t child = fork();
  if (child == 0) {
    RefuseInheritedDescriptors();
    _exit(call() == -1 ? 1 : 0);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

TEST(CloseOnExec, IsWhatTheFilterAsksFor) {
  if (const std::string why = WhyNoFilters(); !why.empty()) GTEST_SKIP() << why;
  std::array<int, 2> ends = {};
  const std::vector<std::function<int()>> harmless = {
      [] { return open("/", O_RDONLY | O_CLOEXEC); },
      [] { return openat(AT_FDCWD, "/", O_RDONLY | O_CLOEXEC); },
      [] { return fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0); },
      [] { return fcntl(STDIN_FILENO, F_GETFD); },
      [] { return memfd_create("", MFD_CLOEXEC); },
      [] { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0); },
      [&] { return pipe2(ends.data(), O_CLOEXEC); },
  };
  for (const auto& call : harmless) EXPECT_EQ(SignalUnderTheFilter(call), 0);
  const std::vector<std::function<int()>> harmful = {
      [] { return open("/", O_RDONLY); },
      [] { return openat(AT_FDCWD, "/", O_RDONLY); },
      [] { return creat("/", 0600); },
      [] { return dup(STDIN_FILENO); },
      [] { return fcntl(STDIN_FILENO, F_DUPFD, 0); },
      [] { return memfd_create("", 0); },
      [] { return socket(AF_UNIX, SOCK_STREAM, 0); },
      [&] { return pipe(ends.data()); },
  };
  for (const auto& call : harmful) EXPECT_EQ(SignalUnderTheFilter(call), SIGSYS);
}

// What the operations find.
class Place {
 public:
  Place() {
    test::MakeDirs(Join("home"));
    test::MakeDirs(Join("empty"));
    test::PutFile(Join("file"), "text");
    test::PutFile(Join("tree/sub/file"), "text");
    test::PutFile(Join("other/sub/file"), "text");
    test::MakeLink(Join("link"), "file");
    test::PutFile(Join("list.plist"), "<plist><dict><key>k</key><string>v</string></dict></plist>");
    // What a writer leaves that is killed.
    test::PutFile(Join(".zint-write-0123456789abcdef"), "");
    // A log that is to be rotated, a copy that is to be pruned, and a marker that says nothing.
    test::PutFile(Join("logs/Ixer.log"), "text");
    EXPECT_EQ(truncate(Join("logs/Ixer.log").c_str(), off_t{15} << 20), 0);
    test::PutFile(Join("logs/Ixer sub/Ixer 2020-01-01 00-00-00.log"), "");
    test::PutFile(Join("logs/kobb.trace"), "");
  }
  [[nodiscard]] std::string Join(const std::string& relative) const {
    return folder_.Join(relative);
  }

 private:
  test::ScopedTempDir folder_;
};

struct Operation {
  const char* name;
  void (*run)(const Place& place);
};

constexpr Operation kFileOperations[] = {
    {"read",
     [](const Place& place) {
       std::string text;
       EXPECT_EQ(platform::ReadWholeFile(place.Join("link"), 10, &text), 0);
     }},
    {"open for reading and writing",
     [](const Place& place) {
       platform::UniqueFd fd;
       EXPECT_EQ(platform::OpenExistingFile(place.Join("file"), O_RDWR, &fd), 0);
     }},
    {"open to append, and make",
     [](const Place& place) {
       for (const char* const name : {"file", "new"}) {
         platform::LocatedItem item;
         platform::UniqueFd fd;
         int modeError = 0;
         EXPECT_EQ(platform::LocateItem(place.Join(name), platform::LastLink::kLeave, &item), 0);
         EXPECT_EQ(platform::OpenFileForAppending(item, &fd, &modeError), 0);
       }
     }},
    {"open to write, and make",
     [](const Place& place) {
       for (const char* const name : {"file", "new"}) {
         platform::LocatedItem item;
         platform::UniqueFd fd;
         EXPECT_EQ(platform::LocateItem(place.Join(name), platform::LastLink::kFollow, &item), 0);
         EXPECT_EQ(platform::OpenFileForWriting(item, platform::HardLinks::kRefuse, &fd), 0);
       }
     }},
    {"write atomically, a new file beside a leftover",
     [](const Place& place) {
       EXPECT_TRUE(platform::WriteFileAtomically(place.Join("new"), "text"));
       EXPECT_FALSE(test::IsThere(place.Join(".zint-write-0123456789abcdef")));
     }},
    {"write atomically, over a file",
     [](const Place& place) {
       EXPECT_TRUE(platform::WriteFileAtomically(place.Join("file"), "text"));
     }},
    {"look for data",
     [](const Place& place) {
       platform::UniqueFd fd;
       platform::Extent data;
       EXPECT_EQ(platform::OpenFileForReading(place.Join("logs/Ixer.log"), &fd), 0);
       EXPECT_TRUE(platform::FindData(fd.Get(), 0, platform::kNoEnd, &data));
     }},
    {"read a property list",
     [](const Place& place) {
       std::string value;
       EXPECT_TRUE(platform::ReadPropertyListString(place.Join("list.plist"), "k", &value));
     }},
    {"make a link",
     [](const Place& place) {
       EXPECT_TRUE(platform::CreateSymbolicLink(place.Join("new"), "file"));
     }},
    {"look at an item",
     [](const Place& place) {
       std::uint64_t size = 0;
       EXPECT_TRUE(platform::ItemExists(place.Join("link"), nullptr));
       EXPECT_TRUE(platform::GetItemSize(place.Join("file"), &size));
     }},
};

constexpr Operation kFolderOperations[] = {
    {"open",
     [](const Place& place) {
       platform::UniqueFd folder;
       EXPECT_EQ(platform::OpenFolder(place.Join("tree"), &folder), 0);
       EXPECT_EQ(platform::OpenFolderItself(place.Join("tree"), &folder), 0);
     }},
    {"make one",
     [](const Place& place) { EXPECT_EQ(platform::MakeFolder(place.Join("new"), 0700), 0); }},
    {"make with parents",
     [](const Place& place) {
       EXPECT_TRUE(platform::CreateFolder(place.Join("empty/a/b"), nullptr, nullptr));
     }},
    {"make with parents and attributes",
     [](const Place& place) {
       platform::FolderAttributes attributes;
       attributes.owner = geteuid();
       attributes.group = getegid();
       attributes.mode = 0750;
       EXPECT_TRUE(platform::CreateFolder(place.Join("empty/a/b"), &attributes, nullptr));
     }},
    {"list",
     [](const Place& place) {
       std::vector<std::string> names;
       EXPECT_TRUE(platform::ListFolder(place.Join("tree"), &names));
     }},
    {"walk",
     [](const Place& place) {
       int count = 0;
       platform::UniqueFd folder;
       EXPECT_EQ(platform::OpenFolder(place.Join("tree"), &folder), 0);
       platform::WalkFolder(folder.Get(), place.Join("tree"), [&](const std::string&) {
         ++count;
         return platform::WalkStep::kEnter;
       });
       EXPECT_EQ(count, 2);
     }},
    {"remove with all that is in it",
     [](const Place& place) { EXPECT_TRUE(platform::RemoveItem(place.Join("tree"), nullptr)); }},
    {"remove an entry of a subfolder",
     [](const Place& place) {
       platform::UniqueFd folder;
       EXPECT_EQ(platform::OpenFolder(place.Join("tree"), &folder), 0);
       EXPECT_EQ(platform::RemoveEntry(folder.Get(), "sub/file"), 0);
     }},
    {"tell the mount point",
     [](const Place& place) {
       std::string mountPoint;
       EXPECT_EQ(platform::GetMountPoint(place.Join("tree"), &mountPoint), 0);
     }},
    {"set and remove the icon",
     [](const Place& place) {
       (void)platform::DefaultHost().desktop->SetFolderIcon(place.Join("file"), place.Join("tree"));
     }},
};

constexpr Operation kQuestions[] = {
    {"who is at the console",
     [](const Place&) {
       platform::ConsoleUser user;
       (void)platform::DefaultHost().console->GetConsoleUser(&user);
     }},
    {"where home is",
     [](const Place&) {
       std::string path;
       (void)platform::DefaultHost().directories->HomeDirectory();
       (void)platform::DefaultHost().directories->HomeDirectoryForUser("root", &path);
     }},
    {"which system this is",
     [](const Place&) {
       platform::OperatingSystemVersion version;
       (void)platform::DefaultHost().info->GetOperatingSystemVersion(&version);
       (void)platform::DefaultHost().info->PreferredLanguages();
       (void)platform::DefaultHost().info->CurrentLocaleIdentifier();
     }},
    {"which program this is",
     [](const Place&) {
       std::string path;
       (void)platform::DefaultHost().info->GetExecutablePath(&path);
       (void)platform::DefaultHost().info->GetBundlePath(&path);
     }},
};

constexpr Operation kFileUtilities[] = {
    {"copy to a new file",
     [](const Place& place) {
       EXPECT_TRUE(fileutils::CopyFile(place.Join("file"), place.Join("new"), false));
     }},
    {"copy over a file",
     [](const Place& place) {
       EXPECT_TRUE(fileutils::CopyFile(place.Join("file"), place.Join("tree/sub/file"), true));
     }},
    {"write a file",
     [](const Place& place) {
       EXPECT_TRUE(fileutils::WriteFile(place.Join("link"), "text", true, true));
     }},
    {"make a folder",
     [](const Place& place) {
       EXPECT_TRUE(fileutils::CreateDirectory(place.Join("empty/a/b"), true, nullptr));
     }},
    {"remove a tree",
     [](const Place& place) {
       EXPECT_TRUE(
           fileutils::DeleteDirectory(place.Join("tree"), true, true, nullptr, false, false));
     }},
    {"look for links",
     [](const Place& place) {
       EXPECT_EQ(fileutils::CheckPathLinks(place.Join("link"), true, true), fileutils::kIsLink);
     }},
    {"tell the volume",
     [](const Place& place) {
       std::string root;
       EXPECT_TRUE(fileutils::GetVolumeRoot(place.Join("file"), root));
     }},
};

constexpr Operation kLogOperations[] = {
    {"open a log, and make one",
     [](const Place& place) {
       dunmar::FileStream stream;
       EXPECT_TRUE(dunmar::OpenLogFile(place.Join("logs/Ixer.log"), stream));
       EXPECT_TRUE(dunmar::OpenLogFile(place.Join("logs/new.log"), stream));
     }},
    {"copy a log, cut it, and make one",
     [](const Place& place) {
       dunmar::FileStream stream;
       platform::UniqueFd file;
       EXPECT_EQ(platform::OpenFileForReading(place.Join("logs/Ixer.log"), &file), 0);
       EXPECT_TRUE(dunmar::CopyLogFile(place.Join("logs/Ixer.log"), file, place.Join("copy")));
       EXPECT_TRUE(dunmar::TruncateLogFile(place.Join("logs/Ixer.log"), file, stream));
       EXPECT_TRUE(dunmar::TruncateLogFile(place.Join("logs/new.log"), file, stream));
     }},
    {"read the marker",
     [](const Place& place) {
       EXPECT_EQ(dunmar::ReadKeepLogsMarker(place.Join("logs/kobb.trace")), "");
     }},
    {"prune",
     [](const Place& place) {
       EXPECT_FALSE(dunmar::PruneOldLogs(place.Join("logs/Ixer.log"), 4));
       EXPECT_FALSE(test::IsThere(place.Join("logs/Ixer sub/Ixer 2020-01-01 00-00-00.log")));
     }},
    {"log, rotate and prune",
     [](const Place& place) {
       test::FakeHost host;
       host.directories.home = place.Join("home");
       host.clock.now.seconds = 1794810056;
       dunmar::LogTargetDefault target("Test");
       EXPECT_TRUE(dunmar::SetLogFile(target, "Ixer.log", place.Join("logs").c_str()));
       EXPECT_TRUE(dunmar::LogTargetRegistry::Instance().Register(&target));
       dunmar::Logger("Test").Info("text");
       EXPECT_TRUE(dunmar::LogTargetRegistry::Instance().Unregister(&target));
       EXPECT_FALSE(test::IsThere(place.Join("logs/Ixer sub/Ixer 2020-01-01 00-00-00.log")));
     }},
    {"log where the product does",
     [](const Place& place) {
       test::FakeHost host;
       host.directories.home = place.Join("home");
       host.console.user = {.name = "", .uid = geteuid(), .gid = getegid()};
       host.identity.user = geteuid();
       dunmar::LogTargetDefault target("Test");
       EXPECT_TRUE(dunmar::SetLogFile(target, nullptr, nullptr));
     }},
};

void ExpectNoInheritedDescriptor(const auto& operations) {
  if (const std::string why = WhyNoFilters(); !why.empty()) GTEST_SKIP() << why;
  if (test::kHasAddressSanitizer) GTEST_SKIP() << "the sanitizers open files of their own";
  for (const Operation& operation : operations) {
    SCOPED_TRACE(operation.name);
    const Place place;
    test::RunInChild([&] {
      ASSERT_NO_FATAL_FAILURE(RefuseInheritedDescriptors());
      operation.run(place);
    });
  }
}

TEST(CloseOnExec, IsSetWhereFilesAreOpened) { ExpectNoInheritedDescriptor(kFileOperations); }

TEST(CloseOnExec, IsSetWhereFoldersAreOpened) { ExpectNoInheritedDescriptor(kFolderOperations); }

TEST(CloseOnExec, IsSetWhereTheSystemIsAsked) { ExpectNoInheritedDescriptor(kQuestions); }

TEST(CloseOnExec, IsSetByTheFileUtilities) { ExpectNoInheritedDescriptor(kFileUtilities); }

TEST(CloseOnExec, IsSetByTheLog) { ExpectNoInheritedDescriptor(kLogOperations); }

}  // namespace
