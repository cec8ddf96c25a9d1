#include "platform/file_data.h"

#include <cstddef>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {
namespace {

constexpr off_t kBlock = 4096;
constexpr off_t kUnknown = std::numeric_limits<off_t>::max();

using Find = bool (*)(int fd, off_t position, Extent* data);

std::string Describe(const std::vector<Extent>& extents) {
  std::string text;
  for (const Extent& extent : extents) {
    text += "[" + std::to_string(extent.begin) + " " + std::to_string(extent.end) + ")";
  }
  return text;
}

class FileDataTest : public testing::Test {
 protected:
  // A file of `size` bytes, a hole but for the texts.
  void PutSparse(off_t size, const std::vector<std::pair<off_t, std::string>>& texts) {
    fd_ = UniqueFd(open(dir_.Join("file").c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    ASSERT_TRUE(fd_);
    ASSERT_EQ(ftruncate(fd_.Get(), size), 0);
    for (const auto& [place, text] : texts) {
      ASSERT_EQ(pwrite(fd_.Get(), text.data(), text.size(), place),
                static_cast<ssize_t>(text.size()));
    }
  }

  [[nodiscard]] std::vector<Extent> FindAll(Find find) const {
    std::vector<Extent> extents;
    Extent data;
    while (extents.size() < 100 && find(fd_.Get(), data.end, &data)) extents.push_back(data);
    return extents;
  }

  // What is not between the extents, zeros in its place.
  [[nodiscard]] std::string ReadExtents(Find find, std::size_t size) const {
    std::string content(size, '\0');
    for (const Extent& extent : FindAll(find)) {
      const auto begin = static_cast<std::size_t>(extent.begin);
      const std::size_t end = extent.end == kUnknown ? size : static_cast<std::size_t>(extent.end);
      EXPECT_GE(pread(fd_.Get(), &content.at(begin), end - begin, extent.begin), 0);
    }
    return content;
  }

  [[nodiscard]] int Fd() const { return fd_.Get(); }
  [[nodiscard]] std::string Content() const { return test::GetFile(dir_.Join("file")).value(); }

 private:
  test::ScopedTempDir dir_;
  UniqueFd fd_;
};

TEST_F(FileDataTest, LeavesNothingButZerosBetweenTheExtents) {
  const std::string block(kBlock, 'x');
  PutSparse(1 << 20, {{0, "a"}, {7 * kBlock - 1, "bc"}, {100 * kBlock, block + block + "d"}});
  for (const Find find : {&FindData, &FindDataByReading}) {
    EXPECT_TRUE(ReadExtents(find, 1 << 20) == Content());
  }
}

TEST_F(FileDataTest, HasNoneInAnEmptyFileAndNoneBehindTheEnd) {
  PutSparse(0, {});
  Extent data = {.begin = 1, .end = 2};
  for (const Find find : {&FindData, &FindDataByReading}) {
    EXPECT_FALSE(find(Fd(), 0, &data));
    EXPECT_FALSE(find(Fd(), kBlock, &data));
  }
  EXPECT_EQ(data.begin, 1);
  EXPECT_EQ(data.end, 2);
}

using FindDataByReadingTest = FileDataTest;

TEST_F(FindDataByReadingTest, TakesABlockOfZerosForAHole) {
  PutSparse(10 * kBlock, {{2 * kBlock, "a"}, {3 * kBlock + 5, "b"}, {6 * kBlock - 1, "c"}});
  EXPECT_EQ(Describe(FindAll(FindDataByReading)), "[8192 16384)[20480 24576)");
}

TEST_F(FindDataByReadingTest, EndsWithTheFile) {
  PutSparse(kBlock + 10, {{kBlock + 9, "a"}});
  EXPECT_EQ(Describe(FindAll(FindDataByReading)), "[4096 4106)");
}

TEST_F(FindDataByReadingTest, HasNoneInAFileOfZeros) {
  PutSparse(3 * kBlock + 1, {{0, std::string(100, '\0')}});
  EXPECT_EQ(Describe(FindAll(FindDataByReading)), "");
}

TEST_F(FindDataByReadingTest, BeginsAtAnyPlace) {
  PutSparse(3 * kBlock, {{kBlock + 1, "ab"}});
  Extent data;
  ASSERT_TRUE(FindDataByReading(Fd(), kBlock + 2, &data));
  EXPECT_EQ(Describe({data}), "[4098 8194)");
  EXPECT_FALSE(FindDataByReading(Fd(), kBlock + 3, &data));
}

TEST(FindDataByReading, TakesAllForDataWhereItCannotRead) {
  const test::ScopedTempDir dir;
  const UniqueFd fd(open(dir.Join("file").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  Extent data;
  ASSERT_TRUE(FindDataByReading(fd.Get(), 7, &data));
  EXPECT_EQ(data.begin, 7);
  EXPECT_EQ(data.end, kUnknown);
}

}  // namespace
}  // namespace platform
