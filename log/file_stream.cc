#include "log/file_stream.h"

#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <string_view>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

#include "platform/interrupted_call.h"
#include "platform/system_calls.h"
#include "platform/unique_fd.h"
#include "platform/write_all.h"

// `bytes_` is the put area, the get area or neither. Pending output is written before the buffer
// becomes a reader's, and unread input given back before it becomes a writer's.

namespace dunmar {

FileStreamBuffer::~FileStreamBuffer() { (void)Close(); }

bool FileStreamBuffer::Open(platform::UniqueFd fd) {
  if (fd_ || !fd) return false;
  fd_ = std::move(fd);
  return true;
}

bool FileStreamBuffer::Close() {
  if (!fd_) return false;
  const bool isWritten = WriteOut();
  setp(nullptr, nullptr);
  setg(nullptr, nullptr, nullptr);
  // An interrupted close has closed.
  const bool isClosed = platform::Calls().close(fd_.Release()) == 0 || errno == EINTR;
  return isWritten && isClosed;
}

platform::UniqueFd FileStreamBuffer::ShareDescriptor() const {
  return platform::UniqueFd(fd_ ? ::fcntl(fd_.Get(), F_DUPFD_CLOEXEC, 0) : -1);
}

FileStreamBuffer::int_type FileStreamBuffer::underflow() {
  if (!fd_ || !WriteOut()) return traits_type::eof();
  setp(nullptr, nullptr);
  const ssize_t count = platform::RepeatInterrupted(
      [this] { return ::read(fd_.Get(), bytes_.data(), bytes_.size()); });
  char* const begin = bytes_.data();
  setg(begin, begin, count > 0 ? begin + count : begin);
  return count > 0 ? traits_type::to_int_type(*begin) : traits_type::eof();
}

FileStreamBuffer::int_type FileStreamBuffer::overflow(int_type character) {
  if (!StartWriting() || !WriteOut()) return traits_type::eof();
  *pptr() = traits_type::to_char_type(character);
  pbump(1);
  return character;
}

std::streamsize FileStreamBuffer::xsputn(const char* bytes, std::streamsize count) {
  if (!StartWriting()) return 0;
  const std::string_view text(bytes, static_cast<std::size_t>(count));
  if (count > epptr() - pptr() && !WriteOut()) return 0;
  if (count > epptr() - pptr()) {
    // More than the buffer holds.
    return platform::WriteAll(fd_.Get(), text) == 0 ? count : 0;
  }
  traits_type::copy(pptr(), bytes, text.size());
  pbump(static_cast<int>(count));
  return count;
}

int FileStreamBuffer::sync() { return WriteOut() ? 0 : -1; }

FileStreamBuffer::pos_type FileStreamBuffer::seekoff(off_type offset, std::ios_base::seekdir from,
                                                     std::ios_base::openmode /*which*/) {
  const pos_type failure(off_type(-1));
  if (!fd_ || !WriteOut() || !LeaveReading()) return failure;
  int whence = SEEK_SET;
  if (from == std::ios_base::cur) whence = SEEK_CUR;
  if (from == std::ios_base::end) whence = SEEK_END;
  return pos_type(::lseek(fd_.Get(), offset, whence));
}

FileStreamBuffer::pos_type FileStreamBuffer::seekpos(pos_type position,
                                                     std::ios_base::openmode which) {
  return seekoff(off_type(position), std::ios_base::beg, which);
}

bool FileStreamBuffer::StartWriting() {
  if (!fd_ || !LeaveReading()) return false;
  if (pbase() == nullptr) setp(bytes_.data(), bytes_.data() + bytes_.size());
  return true;
}

bool FileStreamBuffer::WriteOut() {
  if (pptr() == pbase()) return true;
  const std::string_view pending(pbase(), static_cast<std::size_t>(pptr() - pbase()));
  // Empty whatever happens: what could not be written is dropped.
  setp(pbase(), epptr());
  return platform::WriteAll(fd_.Get(), pending) == 0;
}

bool FileStreamBuffer::LeaveReading() {
  if (gptr() < egptr() && ::lseek(fd_.Get(), gptr() - egptr(), SEEK_CUR) == -1) return false;
  setg(nullptr, nullptr, nullptr);
  return true;
}

// The buffer does not exist yet while the base is made.
FileStream::FileStream() : std::iostream(nullptr) { rdbuf(&buffer_); }

FileStream::~FileStream() = default;

void FileStream::open(platform::UniqueFd fd) {
  if (buffer_.Open(std::move(fd))) {
    clear();
  } else {
    setstate(failbit);
  }
}

void FileStream::close() {
  if (!buffer_.Close()) setstate(failbit);
}

}  // namespace dunmar
