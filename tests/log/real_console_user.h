#ifndef TESTS_LOG_REAL_CONSOLE_USER_H_
#define TESTS_LOG_REAL_CONSOLE_USER_H_

#include <string>
#include <sys/types.h>

#include "platform/host_for_testing.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"

// A console user of the machine's own accounts, for tests in a root folder of their own.

namespace test {

struct Person {
  uid_t uid;
  gid_t gid;
};

// A root folder with mia's home in it.
struct MiasRoot {
  ScopedTempDir folder;
  explicit MiasRoot(const Person& mia) {
    const std::string ids = std::to_string(mia.uid) + ":" + std::to_string(mia.gid);
    PutFile(folder.Join("etc/passwd"),
            "root:x:0:0:root:/root:/bin/sh\nmia:x:" + ids + ":Mia:/Users/mia:/bin/sh\n");
    MakeDirs(folder.Join("root"));
    MakeDirs(folder.Join("Users/mia"));
    SetOwner(folder.Join("Users/mia"), mia.uid, mia.gid);
  }
  [[nodiscard]] std::string Join(const std::string& path) const { return folder.Join(path); }
};

// A link that mia may have put where a folder of her log belongs, into a folder of root's.
struct MiasLink {
  const char* place;
  const char* destination;
};
inline constexpr MiasLink kMiasLinks[] = {
    {"Users/mia/Library", "/canary"},
    {"Users/mia/Library/Logs", "/canary"},
    {"Users/mia/Library/Logs/Caldris", "/canary"},
    {"Users/mia/Library/Logs/Caldris/Ixer", "/canary"},
    {"Users/mia/Library/Logs/Caldris/Ixer", "/canary/missing"},
};

// Puts it there, with root's folders that it needs.
inline void PutMiasLink(const MiasRoot& root, const Person& mia, const MiasLink& link) {
  MakeDirs(root.Join("canary"));
  const std::string path = root.Join(link.place);
  MakeDirs(path.substr(0, path.rfind('/')));
  MakeLink(path, link.destination);
  SetOwner(path, mia.uid, mia.gid);
}

// Everything real but the one at the console.
struct RealMachine {
  CallRecord calls;
  FakeConsole console{&calls};
  platform::ScopedHost host;
  explicit RealMachine(const Person& mia) {
    console.user = {.name = "mia", .uid = mia.uid, .gid = mia.gid};
    host->console = &console;
  }
};

}  // namespace test

#endif  // TESTS_LOG_REAL_CONSOLE_USER_H_
