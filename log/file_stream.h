#ifndef LOG_FILE_STREAM_H_
#define LOG_FILE_STREAM_H_

#include <array>
#include <cstddef>
#include <iostream>
#include <streambuf>

#include "platform/unique_fd.h"

namespace dunmar {

// The buffer of a FileStream.
class FileStreamBuffer final : public std::streambuf {
 public:
  // What is written goes to the file in one `write` as long as it fits in here between two flushes.
  static constexpr std::size_t kBytes = 8192;

  FileStreamBuffer() = default;
  // Writes what is left and closes.
  ~FileStreamBuffer() override;
  FileStreamBuffer(const FileStreamBuffer&) = delete;
  FileStreamBuffer& operator=(const FileStreamBuffer&) = delete;

  // Takes over a descriptor. False where one is held already, or `fd` is empty.
  bool Open(platform::UniqueFd fd);
  [[nodiscard]] bool IsOpen() const { return static_cast<bool>(fd_); }
  // Writes what is left and closes. False where nothing is open or either failed; closed in any
  // case.
  bool Close();
  // Another descriptor of what is open; empty where there is none.
  [[nodiscard]] platform::UniqueFd ShareDescriptor() const;

 protected:
  int_type underflow() override;
  int_type overflow(int_type character) override;
  std::streamsize xsputn(const char* bytes, std::streamsize count) override;
  int sync() override;
  pos_type seekoff(off_type offset, std::ios_base::seekdir from,
                   std::ios_base::openmode which) override;
  pos_type seekpos(pos_type position, std::ios_base::openmode which) override;

 private:
  [[nodiscard]] bool StartWriting();
  [[nodiscard]] bool WriteOut();
  [[nodiscard]] bool LeaveReading();

  platform::UniqueFd fd_;
  std::array<char, kBytes> bytes_;  // of the writer or of the reader, never of both
};

// A file stream like std::fstream that never opens a file by its name: it takes over a descriptor
// that somebody opened and checked. Bytes pass through unchanged. Whether it can be read and
// written is the descriptor's matter.
//
// States as those of a std::fstream: opening an open stream and closing a closed one set failbit, a
// good opening clears the state, a failed write sets badbit and what it could not write is dropped.
// Everything written after that is dropped too, until the stream is opened again. No operation
// throws unless `exceptions` asks for it.
class FileStream final : public std::iostream {
 public:
  FileStream();
  ~FileStream() override;
  FileStream(const FileStream&) = delete;
  FileStream& operator=(const FileStream&) = delete;

  // NOLINTBEGIN(readability-identifier-naming): the names that every file stream has.

  // Takes over the descriptor. failbit where the stream is open already, and where `fd` is empty:
  // the way to tell a stream that its file could not be opened.
  void open(platform::UniqueFd fd);
  [[nodiscard]] bool is_open() const { return buffer_.IsOpen(); }
  // Writes what is left and closes. failbit where the stream is closed or either fails.
  void close();

  // NOLINTEND(readability-identifier-naming)

  // Another descriptor of what is open, which stays when the stream closes its own. Empty where
  // nothing is open or the process can have no more descriptors.
  [[nodiscard]] platform::UniqueFd ShareDescriptor() const { return buffer_.ShareDescriptor(); }

 private:
  FileStreamBuffer buffer_;
};

}  // namespace dunmar

#endif  // LOG_FILE_STREAM_H_
