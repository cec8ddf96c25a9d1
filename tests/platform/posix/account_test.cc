#include "platform/posix/account.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <pwd.h>
#include <string>
#include <sys/resource.h>
#include <sys/types.h>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/sanitizers.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {
namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;

// What the replaced lookups answer: this number for a buffer of fewer bytes than an entry needs,
// and for the others `errors`, one after the other, then the entry.
struct Answers {
  inline static std::vector<int> errors;
  inline static std::size_t neededBytes;
  inline static std::vector<std::size_t> sizes;  // of the buffers, call by call
};

int Answer(passwd* entry, char* buffer, std::size_t size, passwd** found) {
  Answers::sizes.push_back(size);
  *found = nullptr;
  if (size < Answers::neededBytes) return ERANGE;
  if (!Answers::errors.empty()) {
    const int error = Answers::errors.front();
    Answers::errors.erase(Answers::errors.begin());
    return error;
  }
  std::snprintf(buffer, size, "mia");
  *entry = {.pw_name = buffer,
            .pw_passwd = buffer,
            .pw_uid = 1000,
            .pw_gid = 1005,
            .pw_gecos = buffer,
            .pw_dir = buffer,
            .pw_shell = buffer};
  *found = entry;
  return 0;
}

// Both lookups.
const struct {
  const char* name;
  int (*find)(Account* account);
} kLookups[] = {
    {"by number", [](Account* account) { return FindAccountByUid(1000, account); }},
    {"by name", [](Account* account) { return FindAccountByName("mia", account); }},
};

class AccountAnswer : public testing::Test {
 protected:
  AccountAnswer() {
    Answers::errors.clear();
    Answers::neededBytes = 0;
    Answers::sizes.clear();
    calls_->getpwuid_r = [](uid_t uid, passwd* entry, char* buffer, std::size_t size,
                            passwd** found) {
      EXPECT_EQ(uid, uid_t{1000});
      return Answer(entry, buffer, size, found);
    };
    calls_->getpwnam_r = [](const char* name, passwd* entry, char* buffer, std::size_t size,
                            passwd** found) {
      EXPECT_STREQ(name, "mia");
      return Answer(entry, buffer, size, found);
    };
  }

  // Expects a failure that leaves the account alone.
  static void ExpectError(int (*find)(Account*), int error) {
    Account account = {.name = "before", .uid = 7, .gid = 8, .home = "/before"};
    EXPECT_EQ(find(&account), error);
    EXPECT_EQ(account.name, "before");
    EXPECT_EQ(account.uid, uid_t{7});
    EXPECT_EQ(account.gid, gid_t{8});
    EXPECT_EQ(account.home, "/before");
  }

  ScopedSystemCalls calls_;
};

TEST_F(AccountAnswer, IsNoEntryForTheResultsOfAMissingOne) {
  for (const auto& row : kLookups) {
    for (const int error : {0, ENOENT, ESRCH}) {
      SCOPED_TRACE(std::string(row.name) + " " + std::to_string(error));
      Answers::errors = {error};
      ExpectError(row.find, ENOENT);
    }
  }
}

TEST_F(AccountAnswer, IsTheErrorForAllOtherResults) {
  for (const auto& row : kLookups) {
    for (const int error : {EIO, EMFILE, ENFILE, ENOMEM, EAGAIN, EACCES, EPERM, EBADF, EISDIR,
                            ELOOP, ETIMEDOUT, EINVAL}) {
      SCOPED_TRACE(std::string(row.name) + " " + std::to_string(error));
      Answers::errors = {error};
      ExpectError(row.find, error);
    }
  }
}

TEST_F(AccountAnswer, IsAskedForAgainAfterASignal) {
  for (const auto& row : kLookups) {
    SCOPED_TRACE(row.name);
    Answers::errors = {EINTR, EINTR};
    Account account;
    EXPECT_EQ(row.find(&account), 0);
    EXPECT_EQ(account.name, "mia");
  }
}

TEST_F(AccountAnswer, GetsABufferOfUpToAMiB) {
  std::vector<std::size_t> sizes;
  for (std::size_t size = 1024; size <= kMiB; size *= 2) sizes.push_back(size);
  for (const auto& row : kLookups) {
    for (const std::size_t needed : {kMiB, kMiB / 2 + 1}) {
      SCOPED_TRACE(std::string(row.name) + " " + std::to_string(needed));
      Answers::neededBytes = needed;
      Answers::sizes.clear();
      Account account;
      EXPECT_EQ(row.find(&account), 0);
      EXPECT_EQ(account.name, "mia");
      EXPECT_EQ(account.uid, uid_t{1000});
      EXPECT_EQ(account.gid, gid_t{1005});
      EXPECT_EQ(Answers::sizes, sizes);
    }
    SCOPED_TRACE(row.name);
    Answers::neededBytes = kMiB + 1;
    Answers::sizes.clear();
    ExpectError(row.find, ERANGE);
    EXPECT_EQ(Answers::sizes, sizes);
  }
}

TEST_F(AccountAnswer, IsNotAskedForWithANameThatNoEntryHas) {
  for (const std::string& name : {std::string(), std::string("mia\0", 4)}) {
    Account account;
    EXPECT_EQ(FindAccountByName(name, &account), ENOENT);
  }
  EXPECT_TRUE(Answers::sizes.empty());
}

// The real lookups, in a root folder with a database of its own.

class AccountDatabase : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
    test::PutFile(root_.Join("etc/nsswitch.conf"), "passwd: files\n");
  }

  void PutEntry(const std::string& comment) const {
    test::PutFile(root_.Join("etc/passwd"), "root:x:0:0:root:/root:/bin/sh\nmia:x:1000:1005:" +
                                                comment + ":/home/mia:/bin/sh\n");
  }

  // Expects the same of both lookups.
  void ExpectFind(const std::function<bool(int)>& isExpected) const {
    test::RunInRoot(root_.Path(), [&] {
      for (const auto& row : kLookups) {
        SCOPED_TRACE(row.name);
        Account account;
        const int error = row.find(&account);
        EXPECT_TRUE(isExpected(error)) << error;
        EXPECT_EQ(account.home, error == 0 ? "/home/mia" : "");
      }
    });
  }

  static bool IsFound(int error) { return error == 0; }
  static bool IsMissing(int error) { return error == ENOENT; }
  static bool IsError(int error) { return error != 0 && error != ENOENT; }

  test::ScopedTempDir root_;
};

TEST_F(AccountDatabase, HasTheEntry) {
  PutEntry("Mia");
  ExpectFind(IsFound);
}

TEST_F(AccountDatabase, HasNoSuchEntry) {
  test::PutFile(root_.Join("etc/passwd"), "root:x:0:0:root:/root:/bin/sh\n");
  ExpectFind(IsMissing);
}

TEST_F(AccountDatabase, IsMissing) { ExpectFind(IsMissing); }

TEST_F(AccountDatabase, IsAFolder) {
  test::MakeDirs(root_.Join("etc/passwd"));
  ExpectFind(IsError);
}

TEST_F(AccountDatabase, IsALinkToItself) {
  test::MakeLink(root_.Join("etc/passwd"), "passwd");
  ExpectFind(IsError);
}

TEST_F(AccountDatabase, CannotBeOpenedWithoutADescriptor) {
  if (test::kHasAddressSanitizer) GTEST_SKIP() << "the sanitizers need descriptors";
  PutEntry("Mia");
  test::RunInRoot(root_.Path(), [] {
    constexpr rlimit kNone = {.rlim_cur = 0, .rlim_max = 0};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &kNone), 0);
    for (const auto& row : kLookups) {
      SCOPED_TRACE(row.name);
      Account account;
      EXPECT_EQ(row.find(&account), EMFILE);
    }
  });
}

TEST_F(AccountDatabase, MayHaveLongEntriesButNoneOverTheLimit) {
  PutEntry(std::string(kMiB / 2 + 1000, 'x'));
  ExpectFind(IsFound);
  PutEntry(std::string(kMiB, 'x'));
  ExpectFind([](int error) { return error == ERANGE; });
}

}  // namespace
}  // namespace platform
