#include "platform/fopen_access.h"

#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>

#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

TEST(AccessOfReadWritePlus, IsForReadingAndWriting) { EXPECT_EQ(O_RDWR, AccessOfReadWritePlus()); }

TEST(AccessOfReadWritePlus, IsThatOfTheLibraryAtHand) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "abc");
  const char* volatile mode = "rw+";  // compilers warn of such a text
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
      std::fopen(dir.Join("file").c_str(), mode), std::fclose);
  ASSERT_NE(nullptr, file);
  EXPECT_EQ(AccessOfReadWritePlus(), ::fcntl(::fileno(file.get()), F_GETFL) & O_ACCMODE);
  EXPECT_EQ("abc", test::GetFile(dir.Join("file")));
}

}  // namespace

}  // namespace platform
