#include "log/file_stream.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <ios>
#include <istream>
#include <memory>
#include <string>
#include <sys/types.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"

namespace dunmar {

namespace {

using platform::UniqueFd;
using Sizes = std::vector<std::size_t>;

// No two stretches alike.
std::string Bytes(std::size_t count) {
  std::string bytes;
  for (std::size_t i = 0; i < count; ++i) bytes += static_cast<char>(i * 2654435761U >> 24);
  return bytes;
}

Sizes writes;      // what was asked of `write`
int closings = 0;  // how often `close` was called

class FileStreamTest : public testing::Test {
 protected:
  void SetUp() override {
    writes.clear();
    closings = 0;
    calls_->write = [](int fd, const void* bytes, std::size_t count) {
      writes.push_back(count);
      return ::write(fd, bytes, count);
    };
    calls_->close = [](int fd) {
      ++closings;
      return ::close(fd);
    };
  }

  [[nodiscard]] UniqueFd Opened(int flags = O_RDWR | O_CREAT | O_APPEND) const {
    UniqueFd fd(::open(path_.c_str(), flags | O_CLOEXEC, 0644));
    EXPECT_TRUE(fd) << std::strerror(errno);
    return fd;
  }
  void Put(const std::string& content) const { test::PutFile(path_, content); }
  void ExpectContent(const std::string& content) const {
    EXPECT_TRUE(test::GetFile(path_) == content) << test::GetFile(path_).value_or("(none)");
  }
  void FailWrites() {
    calls_->write = [](int, const void*, std::size_t count) -> ssize_t {
      writes.push_back(count);
      errno = ENOSPC;
      return -1;
    };
  }
  void FailClosing(int error) {
    static int reported;
    reported = error;
    calls_->close = [](int fd) {
      ++closings;
      (void)::close(fd);
      errno = reported;
      return -1;
    };
  }

  const test::ScopedTempDir dir_;
  const std::string path_ = dir_.Join("file");
  platform::ScopedSystemCalls calls_;
};

// Opening and closing.

TEST_F(FileStreamTest, StartsClosedAndGood) {
  FileStream stream;
  EXPECT_FALSE(stream.is_open());
  EXPECT_TRUE(stream.good());
  EXPECT_NE(stream.rdbuf(), nullptr);
}

TEST_F(FileStreamTest, TakesADescriptorOverAndClosesIt) {
  FileStream stream;
  UniqueFd fd = Opened();
  const int number = fd.Get();
  stream.open(std::move(fd));
  EXPECT_TRUE(stream.is_open());
  EXPECT_TRUE(stream.good());
  stream << "text";
  stream.close();
  EXPECT_FALSE(stream.is_open());
  EXPECT_TRUE(stream.good());
  EXPECT_EQ(fcntl(number, F_GETFD), -1);
  EXPECT_EQ(closings, 1);
  ExpectContent("text");
}

TEST_F(FileStreamTest, OpeningWithoutADescriptorFails) {
  FileStream stream;
  stream.open(UniqueFd());
  EXPECT_FALSE(stream.is_open());
  EXPECT_EQ(stream.rdstate(), std::ios_base::failbit);
}

TEST_F(FileStreamTest, OpeningAnOpenStreamFailsAndKeepsWhatItHas) {
  test::PutFile(dir_.Join("other"), "");
  FileStream stream;
  stream.open(Opened());
  UniqueFd other(::open(dir_.Join("other").c_str(), O_WRONLY | O_CLOEXEC));
  const int number = other.Get();
  stream.open(std::move(other));
  EXPECT_TRUE(stream.is_open());
  EXPECT_EQ(stream.rdstate(), std::ios_base::failbit);
  EXPECT_EQ(fcntl(number, F_GETFD), -1);
  stream.clear();
  stream << "text";
  stream.close();
  ExpectContent("text");
  EXPECT_EQ(test::GetFile(dir_.Join("other")), "");
}

TEST_F(FileStreamTest, ClosingAClosedStreamFails) {
  FileStream stream;
  stream.close();
  EXPECT_EQ(stream.rdstate(), std::ios_base::failbit);
  EXPECT_EQ(closings, 0);
}

TEST_F(FileStreamTest, AGoodOpeningClearsTheState) {
  FileStream stream;
  stream.setstate(std::ios_base::failbit | std::ios_base::badbit | std::ios_base::eofbit);
  stream.open(UniqueFd());
  EXPECT_TRUE(stream.bad());
  stream.open(Opened());
  EXPECT_TRUE(stream.good());
}

TEST_F(FileStreamTest, OpensAgain) {
  FileStream stream;
  for (const char* const text : {"one ", "two ", "three"}) {
    stream.open(Opened());
    stream << text;
    stream.close();
    EXPECT_TRUE(stream.good());
  }
  ExpectContent("one two three");
}

TEST_F(FileStreamTest, OpensAnotherFileAfterUnreadInput) {
  Put("old input");
  for (const bool isWritten : {false, true}) {
    SCOPED_TRACE(isWritten);
    FileStream stream;
    stream.open(Opened());
    EXPECT_EQ(stream.get(), 'o');
    stream.close();
    EXPECT_TRUE(stream.good());
    const std::string other = dir_.Join("other");
    test::PutFile(other, "new");
    stream.open(UniqueFd(::open(other.c_str(), O_RDWR | O_CLOEXEC)));
    if (isWritten) {
      // At its beginning, whatever was left of the input before.
      stream << "N" << std::flush;
      EXPECT_TRUE(stream.good());
      EXPECT_EQ(test::GetFile(other), "New");
    } else {
      std::string text;
      EXPECT_TRUE(stream >> text);
      EXPECT_EQ(text, "new");
    }
  }
}

TEST_F(FileStreamTest, AClosedStreamHasNoUnreadInput) {
  Put("input");
  FileStream stream;
  stream.open(Opened());
  EXPECT_EQ(stream.get(), 'i');
  stream.close();
  EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
}

TEST_F(FileStreamTest, SharesADescriptorThatOutlivesItsOwn) {
  FileStream stream;
  EXPECT_FALSE(stream.ShareDescriptor());
  stream.open(Opened());
  const UniqueFd shared = stream.ShareDescriptor();
  ASSERT_TRUE(shared);
  EXPECT_EQ(::fcntl(shared.Get(), F_GETFD), FD_CLOEXEC);
  stream << "stream's " << std::flush;
  stream.close();
  EXPECT_EQ(::write(shared.Get(), "shared", 6), 6);
  ExpectContent("stream's shared");
  EXPECT_FALSE(stream.ShareDescriptor());
}

TEST_F(FileStreamTest, SharesItsDescriptorInAnyState) {
  FileStream stream;
  stream.open(Opened());
  stream.setstate(std::ios_base::badbit);
  EXPECT_TRUE(stream.ShareDescriptor());
}

TEST_F(FileStreamTest, ClosingReportsAFailedWrite) {
  FileStream stream;
  stream.open(Opened());
  stream << "lost";
  EXPECT_TRUE(stream.good());
  FailWrites();
  stream.close();
  EXPECT_EQ(stream.rdstate(), std::ios_base::failbit);
  EXPECT_FALSE(stream.is_open());
  EXPECT_EQ(closings, 1);
  ExpectContent("");
}

TEST_F(FileStreamTest, ClosingReportsAFailedClose) {
  FileStream stream;
  stream.open(Opened());
  FailClosing(EIO);
  stream << "text";
  stream.close();
  EXPECT_EQ(stream.rdstate(), std::ios_base::failbit);
  EXPECT_FALSE(stream.is_open());
  EXPECT_EQ(closings, 1);
  ExpectContent("text");
}

TEST_F(FileStreamTest, AnInterruptedCloseHasClosed) {
  FileStream stream;
  stream.open(Opened());
  FailClosing(EINTR);
  stream.close();
  EXPECT_TRUE(stream.good());
  EXPECT_EQ(closings, 1);
}

TEST_F(FileStreamTest, DestructionWritesAndCloses) {
  UniqueFd fd = Opened();
  const int number = fd.Get();
  {
    FileStream stream;
    stream.open(std::move(fd));
    stream << "text";
  }
  EXPECT_EQ(fcntl(number, F_GETFD), -1);
  EXPECT_EQ(closings, 1);
  ExpectContent("text");
}

TEST_F(FileStreamTest, IsDestroyedAsAnIostream) {
  auto stream = std::make_unique<FileStream>();
  stream->open(Opened());
  *stream << "text";
  const std::unique_ptr<std::iostream> base = std::move(stream);
  base->put('!');
  base->flush();
  ExpectContent("text!");
}

TEST_F(FileStreamTest, ThrowsWhereItIsAskedTo) {
  FileStream stream;
  stream.exceptions(std::ios_base::failbit);
  EXPECT_THROW(stream.close(), std::ios_base::failure);
  EXPECT_THROW(stream.open(UniqueFd()), std::ios_base::failure);
}

// Writing.

TEST_F(FileStreamTest, WritesOnceForEachFlush) {
  FileStream stream;
  stream.open(Opened());
  stream << "a line" << ' ' << 42;
  stream.put('\n');
  EXPECT_EQ(writes, Sizes());
  stream.flush();
  EXPECT_EQ(writes, Sizes({10}));
  stream.flush();
  stream << "x" << std::flush;
  EXPECT_EQ(writes, Sizes({10, 1}));
  ExpectContent("a line 42\nx");
}

TEST_F(FileStreamTest, AFullBufferIsOneWrite) {
  FileStream stream;
  stream.open(Opened());
  stream << Bytes(8191) << '\n' << std::flush;
  EXPECT_EQ(writes, Sizes({8192}));
  stream << Bytes(8192) << std::flush;
  EXPECT_EQ(writes, Sizes({8192, 8192}));
  ExpectContent(Bytes(8191) + '\n' + Bytes(8192));
}

TEST_F(FileStreamTest, OneByteMoreThanTheBufferFollows) {
  FileStream stream;
  stream.open(Opened());
  stream << Bytes(8192) << '\n' << std::flush;
  EXPECT_EQ(writes, Sizes({8192, 1}));
  ExpectContent(Bytes(8192) + '\n');
}

TEST_F(FileStreamTest, ALongTextIsWrittenAsItIsAfterWhatIsPending) {
  FileStream stream;
  stream.open(Opened());
  stream << Bytes(100000) << '\n' << std::flush;
  EXPECT_EQ(writes, Sizes({100000, 1}));
  writes.clear();
  stream << "pending" << Bytes(8193) << '\n' << std::flush;
  EXPECT_EQ(writes, Sizes({7, 8193, 1}));
  ExpectContent(Bytes(100000) + "\npending" + Bytes(8193) + '\n');
}

TEST_F(FileStreamTest, ATextThatNoLongerFitsWaitsForTheFlush) {
  FileStream stream;
  stream.open(Opened());
  stream << Bytes(5000) << Bytes(5000);
  EXPECT_EQ(writes, Sizes({5000}));
  stream.flush();
  EXPECT_EQ(writes, Sizes({5000, 5000}));
  ExpectContent(Bytes(5000) + Bytes(5000));
}

TEST_F(FileStreamTest, WritesSingleBytes) {
  const std::string bytes = Bytes(20000);
  FileStream stream;
  stream.open(Opened());
  for (const char byte : bytes) stream.put(byte);
  stream.flush();
  EXPECT_EQ(writes, Sizes({8192, 8192, 3616}));
  ExpectContent(bytes);
}

TEST_F(FileStreamTest, WritesNothingAtAll) {
  FileStream stream;
  stream.open(Opened());
  stream << "";
  stream.write(nullptr, 0);
  stream.flush();
  stream.close();
  EXPECT_TRUE(stream.good());
  EXPECT_EQ(writes, Sizes());
}

TEST_F(FileStreamTest, GoesOnAfterAPartAndAfterASignal) {
  FileStream stream;
  stream.open(Opened());
  calls_->write = [](int fd, const void* bytes, std::size_t) -> ssize_t {
    writes.push_back(1);
    if (writes.size() % 2 == 1) return ::write(fd, bytes, 1);
    errno = EINTR;
    return -1;
  };
  stream << "text" << std::flush;
  EXPECT_TRUE(stream.good());
  EXPECT_EQ(writes.size(), 7U);
  ExpectContent("text");
}

TEST_F(FileStreamTest, AWriteOfNothingFails) {
  FileStream stream;
  stream.open(Opened());
  calls_->write = [](int, const void*, std::size_t) -> ssize_t { return 0; };
  stream << "text" << std::flush;
  EXPECT_TRUE(stream.bad());
}

TEST_F(FileStreamTest, AFailedFlushIsBadAndWhatFollowsIsDropped) {
  FileStream stream;
  stream.open(Opened());
  FailWrites();
  stream << "first";
  EXPECT_TRUE(stream.good());
  stream.flush();
  EXPECT_TRUE(stream.bad());
  EXPECT_EQ(writes, Sizes({5}));
  stream << "second" << std::flush;
  stream.put('!');
  stream.write("third", 5);
  EXPECT_EQ(writes, Sizes({5}));
  SetUp();
  stream << "fourth" << std::flush;
  EXPECT_EQ(writes, Sizes());
  stream.close();
  EXPECT_FALSE(stream.is_open());
  EXPECT_EQ(closings, 1);
  EXPECT_TRUE(stream.bad());
  ExpectContent("");
  stream.open(Opened());
  EXPECT_TRUE(stream.good());
  stream << "fifth" << std::flush;
  ExpectContent("fifth");
}

TEST_F(FileStreamTest, AFailedWriteDropsOnlyWhatItCouldNotWrite) {
  FileStream stream;
  stream.open(Opened());
  calls_->write = [](int fd, const void* bytes, std::size_t count) -> ssize_t {
    writes.push_back(count);
    if (writes.size() == 1) return ::write(fd, bytes, 2);
    errno = ENOSPC;
    return -1;
  };
  stream << "text" << std::flush;
  EXPECT_TRUE(stream.bad());
  EXPECT_EQ(writes, Sizes({4, 2}));
  SetUp();
  stream.clear();
  stream << "more" << std::flush;
  EXPECT_TRUE(stream.good());
  ExpectContent("temore");
}

TEST_F(FileStreamTest, EveryWayOfWritingReportsAFailure) {
  const std::string full(8192, 'f');
  const std::string longer(8193, 'l');
  const struct {
    const char* name;
    std::string before;
    std::string text;  // one byte: `put`
    Sizes writes;
  } rows[] = {
      {"a byte into a full buffer", full, "b", {8192}},
      {"a text into a full buffer", full, "text", {8192}},
      {"a long text", "", longer, {8193}},
      {"a long text after another", "before", longer, {6}},
  };
  FailWrites();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    FileStream stream;
    stream.open(Opened());
    stream << row.before;
    EXPECT_TRUE(stream.good());
    writes.clear();
    if (row.text.size() == 1) {
      stream.put(row.text[0]);
    } else {
      stream << row.text;
    }
    EXPECT_TRUE(stream.bad());
    EXPECT_EQ(writes, row.writes);
    stream.close();
    EXPECT_EQ(writes, row.writes);
  }
  ExpectContent("");
}

TEST_F(FileStreamTest, AClosedStreamTakesNothing) {
  FileStream stream;
  stream.flush();
  EXPECT_TRUE(stream.good());
  stream << "text";
  EXPECT_TRUE(stream.bad());
  stream.clear();
  stream.put('x');
  EXPECT_TRUE(stream.bad());
  stream.clear();
  EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
  EXPECT_EQ(stream.rdstate(), std::ios_base::eofbit | std::ios_base::failbit);
  stream.clear();
  EXPECT_EQ(stream.tellp(), std::streampos(-1));
  stream.seekp(0);
  EXPECT_TRUE(stream.fail());
  EXPECT_EQ(writes, Sizes());
}

TEST_F(FileStreamTest, WhatWasDroppedIsNotInTheNextFile) {
  FileStream stream;
  stream.open(Opened());
  stream << "before" << std::flush;
  stream.close();
  stream << "between";
  stream.open(Opened());
  stream << " after" << std::flush;
  ExpectContent("before after");
}

TEST_F(FileStreamTest, AStreamThatWasWrittenToTakesNoByteWhenItIsClosed) {
  FileStream stream;
  stream.open(Opened());
  stream << "before" << std::flush;
  stream.close();
  stream.put('x');
  EXPECT_TRUE(stream.bad());
  stream.open(Opened());
  stream << " after" << std::flush;
  ExpectContent("before after");
}

TEST_F(FileStreamTest, CannotWriteWhereTheDescriptorIsForReading) {
  Put("old");
  FileStream stream;
  stream.open(Opened(O_RDONLY));
  stream << "text" << std::flush;
  EXPECT_TRUE(stream.bad());
  stream.close();
  ExpectContent("old");
}

TEST_F(FileStreamTest, CannotWriteToAFullDevice) {
  UniqueFd full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
  if (!full) GTEST_SKIP() << "no full device here";
  FileStream stream;
  stream.open(std::move(full));
  stream << "text";
  EXPECT_TRUE(stream.good());
  stream.flush();
  EXPECT_TRUE(stream.bad());
  stream.close();
  EXPECT_FALSE(stream.is_open());
}

TEST_F(FileStreamTest, AppendsBehindWhatOthersAppend) {
  FileStream stream;
  FileStream other;
  stream.open(Opened());
  other.open(Opened());
  stream << "a" << std::flush;
  other << "b" << std::flush;
  stream << "c" << std::flush;
  ExpectContent("abc");
}

// Reading.

TEST_F(FileStreamTest, ReadsWhatTheFileHas) {
  const std::string content = Bytes(20000);
  Put(content);
  FileStream stream;
  stream.open(Opened(O_RDONLY));
  std::string read(content.size(), '\0');
  stream.read(read.data(), static_cast<std::streamsize>(read.size()));
  EXPECT_TRUE(stream.good());
  EXPECT_TRUE(read == content);
  EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
  EXPECT_TRUE(stream.eof());
}

TEST_F(FileStreamTest, NoByteIsTheEnd) {
  std::string everyByte;
  for (int i = 0; i < 256; ++i) everyByte += static_cast<char>(i);
  FileStream stream;
  stream.open(Opened());
  for (const char byte : everyByte) stream.put(byte);
  EXPECT_TRUE(stream.good());
  // The buffer's last place and the first of the next.
  stream << Bytes(8192 - 257);
  stream.put('\xff').put('\xff');
  stream.flush();
  EXPECT_TRUE(stream.good());
  stream.seekg(0);
  for (int i = 0; i < 256; ++i) EXPECT_EQ(stream.get(), i);
  stream.seekg(8191);
  EXPECT_EQ(stream.peek(), 255);
  EXPECT_EQ(stream.get(), 255);
  EXPECT_EQ(stream.get(), 255);
  EXPECT_TRUE(stream.good());
  EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
}

TEST_F(FileStreamTest, ReadsLinesAndPutsBack) {
  Put("first\nsecond\n");
  FileStream stream;
  stream.open(Opened(O_RDONLY));
  std::string line;
  std::getline(stream, line);
  EXPECT_EQ(line, "first");
  EXPECT_EQ(stream.get(), 's');
  stream.unget();
  std::getline(stream, line);
  EXPECT_EQ(line, "second");
  EXPECT_FALSE(std::getline(stream, line));
  EXPECT_TRUE(stream.eof());
  EXPECT_FALSE(stream.bad());
}

TEST_F(FileStreamTest, ReadsOnWhenTheFileHasGrown) {
  Put("a");
  FileStream stream;
  stream.open(Opened(O_RDONLY));
  EXPECT_EQ(stream.get(), 'a');
  EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
  {
    const UniqueFd other = Opened(O_WRONLY | O_APPEND);
    ASSERT_EQ(::write(other.Get(), "b", 1), 1);
  }
  stream.clear();
  EXPECT_EQ(stream.get(), 'b');
}

TEST_F(FileStreamTest, CannotReadWhereTheDescriptorIsForWriting) {
  Put("old");
  FileStream stream;
  stream.open(Opened(O_WRONLY | O_APPEND));
  EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
  EXPECT_EQ(stream.rdstate(), std::ios_base::eofbit | std::ios_base::failbit);
  stream.clear();
  stream << " new" << std::flush;
  EXPECT_TRUE(stream.good());
  ExpectContent("old new");
}

// Both.

TEST_F(FileStreamTest, WritesWhereReadingHasCome) {
  Put("0123456789");
  FileStream stream;
  stream.open(Opened(O_RDWR));
  EXPECT_EQ(stream.get(), '0');
  EXPECT_EQ(stream.get(), '1');
  stream << "ab" << std::flush;
  ExpectContent("01ab456789");
  EXPECT_EQ(stream.get(), '4');
  stream.put('c');
  EXPECT_EQ(stream.get(), '6');
  ExpectContent("01ab4c6789");
  EXPECT_EQ(stream.peek(), '7');
  stream << "d" << std::flush;
  ExpectContent("01ab4c6d89");
}

TEST_F(FileStreamTest, WritesAtTheEndAfterReadingAllOfIt) {
  Put("01");
  FileStream stream;
  stream.open(Opened(O_RDWR));
  std::string word;
  stream >> word;
  EXPECT_EQ(word, "01");
  EXPECT_TRUE(stream.eof());
  stream.clear();
  stream << "ab";
  stream.close();
  EXPECT_TRUE(stream.good());
  ExpectContent("01ab");
}

TEST_F(FileStreamTest, WritesPendingOutputBeforeItReads) {
  Put("0123");
  FileStream stream;
  stream.open(Opened(O_RDWR));
  stream << "ab";
  EXPECT_EQ(writes, Sizes());
  EXPECT_EQ(stream.get(), '2');
  EXPECT_EQ(writes, Sizes({2}));
  ExpectContent("ab23");
}

TEST_F(FileStreamTest, ReadsNothingWherePendingOutputCannotBeWritten) {
  Put("0123");
  FileStream stream;
  stream.open(Opened(O_RDWR));
  FailWrites();
  stream << "ab";
  EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
  stream.clear();
  stream.seekp(0);
  EXPECT_TRUE(stream.good());  // what could not be written is gone
  stream << "ab";
  EXPECT_EQ(stream.tellp(), std::streampos(-1));
  ExpectContent("0123");
}

TEST_F(FileStreamTest, DoesNotWriteWhereReadInputCannotBeGivenBack) {
  std::array<int, 2> ends = {-1, -1};
  ASSERT_EQ(pipe(ends.data()), 0);
  const UniqueFd writer(ends[1]);
  ASSERT_EQ(::write(writer.Get(), "01", 2), 2);
  FileStream stream;
  stream.open(UniqueFd(ends[0]));
  EXPECT_EQ(stream.get(), '0');
  stream << "a";
  EXPECT_TRUE(stream.bad());
  stream.clear();
  stream.put('a');
  EXPECT_TRUE(stream.bad());
  stream.clear();
  EXPECT_EQ(stream.tellg(), std::streampos(-1));
  EXPECT_EQ(stream.get(), '1');
  EXPECT_EQ(writes, Sizes());
}

// Places.

TEST_F(FileStreamTest, TellsAndSeeks) {
  Put("0123456789");
  FileStream stream;
  stream.open(Opened(O_RDWR));
  EXPECT_EQ(stream.tellg(), std::streampos(0));
  EXPECT_EQ(stream.get(), '0');
  EXPECT_EQ(stream.tellg(), std::streampos(1));
  stream.seekg(3, std::ios_base::cur);
  EXPECT_EQ(stream.get(), '4');
  stream.seekg(-1, std::ios_base::end);
  EXPECT_EQ(stream.get(), '9');
  stream.seekg(2);
  EXPECT_EQ(stream.get(), '2');
  stream.seekp(5);
  stream << "ab";
  EXPECT_EQ(stream.tellp(), std::streampos(7));
  EXPECT_EQ(stream.get(), '7');
  stream.seekp(0, std::ios_base::end);
  stream << "end";
  stream.seekg(0);
  std::string all;
  stream >> all;
  EXPECT_EQ(all, "01234ab789end");
}

TEST_F(FileStreamTest, TellsTheEndAfterAppending) {
  Put("0123456789");
  FileStream stream;
  stream.open(Opened());
  stream << "ab";
  EXPECT_EQ(stream.tellp(), std::streampos(12));
}

TEST_F(FileStreamTest, DoesNotSeekBeforeTheBeginning) {
  Put("0123");
  FileStream stream;
  stream.open(Opened(O_RDWR));
  EXPECT_EQ(stream.get(), '0');
  stream.seekg(-1);
  EXPECT_EQ(stream.rdstate(), std::ios_base::failbit);
  stream.clear();
  EXPECT_EQ(stream.get(), '1');
}

}  // namespace

}  // namespace dunmar
