#include "platform/file_data.h"

#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <gtest/gtest.h>
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

using Find = bool (*)(int fd, off_t position, off_t end, Extent* data);

constexpr Find kAll[] = {&FindData, &FindDataBySeeking, &FindDataByReading};

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
    while (extents.size() < 100 && find(fd_.Get(), data.end, kNoEnd, &data))
      extents.push_back(data);
    return extents;
  }

  // What is not between the extents, zeros in its place.
  [[nodiscard]] std::string ReadExtents(Find find, std::size_t size) const {
    std::string content(size, '\0');
    for (const Extent& extent : FindAll(find)) {
      const auto begin = static_cast<std::size_t>(extent.begin);
      const std::size_t end = extent.end == kNoEnd ? size : static_cast<std::size_t>(extent.end);
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
  for (const Find find : kAll) {
    EXPECT_TRUE(ReadExtents(find, 1 << 20) == Content());
  }
}

TEST_F(FileDataTest, HasNoneInAnEmptyFileAndNoneBehindTheEnd) {
  PutSparse(0, {});
  Extent data = {.begin = 1, .end = 2};
  for (const Find find : kAll) {
    EXPECT_FALSE(find(Fd(), 0, kNoEnd, &data));
    EXPECT_FALSE(find(Fd(), kBlock, kNoEnd, &data));
  }
  EXPECT_EQ(data.begin, 1);
  EXPECT_EQ(data.end, 2);
}

TEST_F(FileDataTest, HasNoneFromTheGivenEndOn) {
  PutSparse(8 << 20, {{1 << 20, std::string(1 << 20, 'a')}});
  for (const Find find : kAll) {
    Extent data;
    ASSERT_TRUE(find(Fd(), 0, (1 << 20) + 7, &data));
    EXPECT_LE(data.begin, 1 << 20);
    EXPECT_EQ(data.end, (1 << 20) + 7);
    EXPECT_FALSE(find(Fd(), (1 << 20) + 7, (1 << 20) + 7, &data));
    EXPECT_FALSE(find(Fd(), (1 << 20) + 7, 1 << 20, &data));
    EXPECT_EQ(data.end, (1 << 20) + 7);
  }
}

using FindDataByReadingTest = FileDataTest;

TEST_F(FindDataByReadingTest, TakesABlockOfZerosForAHole) {
  PutSparse(10 * kBlock, {{2 * kBlock, "a"}, {3 * kBlock + 5, "b"}, {6 * kBlock - 1, "c"}});
  EXPECT_EQ(Describe(FindAll(&FindDataByReading)), "[8192 16384)[20480 24576)");
}

TEST_F(FindDataByReadingTest, EndsWithTheFile) {
  PutSparse(kBlock + 10, {{kBlock + 9, "a"}});
  EXPECT_EQ(Describe(FindAll(&FindDataByReading)), "[4096 4106)");
}

TEST_F(FindDataByReadingTest, HasNoneInAFileOfZeros) {
  PutSparse(3 * kBlock + 1, {{0, std::string(100, '\0')}});
  EXPECT_EQ(Describe(FindAll(&FindDataByReading)), "");
}

TEST_F(FindDataByReadingTest, BeginsAtAnyPlace) {
  PutSparse(3 * kBlock, {{kBlock + 1, "ab"}});
  Extent data;
  ASSERT_TRUE(FindDataByReading(Fd(), kBlock + 2, kNoEnd, &data));
  EXPECT_EQ(Describe({data}), "[4098 8194)");
  EXPECT_FALSE(FindDataByReading(Fd(), kBlock + 3, kNoEnd, &data));
}

using FindDataTest = FileDataTest;

TEST_F(FindDataTest, FindsDataFarBehindInAFileOfManyTerabytes) {
  constexpr off_t kSize = off_t{8} << 40;
  PutSparse(1 << 20, {{kBlock, "a"}});
  if (ftruncate(Fd(), kSize) != 0 || lseek(Fd(), 2 * kBlock, SEEK_DATA) >= 0 || errno != ENXIO) {
    GTEST_SKIP() << "no such files here, or none whose holes can be told";
  }
  const off_t places[] = {(off_t{64} << 20) - 1, kSize - 2 * kBlock};
  for (const off_t place : places) ASSERT_EQ(pwrite(Fd(), "bc", 2, place), 2);
  std::size_t found = 0;
  for (const Extent& extent : FindAll(&FindData)) {
    ASSERT_LT(extent.end - extent.begin, 1 << 20);
    for (const off_t place : places) {
      found += extent.begin <= place && place < extent.end ? 1U : 0U;
      found += extent.begin <= place + 1 && place + 1 < extent.end ? 1U : 0U;
    }
  }
  EXPECT_EQ(found, 4U);
}

TEST(FindDataByReading, TakesAllForDataWhereItCannotRead) {
  const test::ScopedTempDir dir;
  const UniqueFd fd(open(dir.Join("file").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  Extent data;
  ASSERT_TRUE(FindDataByReading(fd.Get(), 7, kNoEnd, &data));
  EXPECT_EQ(data.begin, 7);
  EXPECT_EQ(data.end, kNoEnd);
  ASSERT_TRUE(FindDataByReading(fd.Get(), 7, 9, &data));
  EXPECT_EQ(data.end, 9);
  EXPECT_FALSE(FindDataByReading(fd.Get(), 9, 9, &data));
}

}  // namespace
}  // namespace platform
