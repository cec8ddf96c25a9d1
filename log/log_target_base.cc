#include "log/log_target_base.h"

#include <cstdint>
#include <ios>
#include <mutex>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

#include "log/api/level.h"
#include "log/log_setup.h"

namespace dunmar {

LogTargetBase::LogTargetBase() { SetLevel(*this, kInfo); }

LogTargetBase::~LogTargetBase() = default;

void LogTargetBase::WriteLine(std::string_view text) {
  // What `write`, `put` and `flush` do, with one look at the state instead of three.
  const std::ostream::sentry ready(stream_);
  if (!ready) return;
  std::streambuf& buffer = *stream_.rdbuf();
  const auto length = static_cast<std::streamsize>(text.size());
  if (buffer.sputn(text.data(), length) != length ||
      buffer.sputc(stream_.widen('\n')) == std::char_traits<char>::eof() || buffer.pubsync() != 0) {
    stream_.setstate(std::ios_base::badbit);
  }
}

bool LogTargetBase::SetName(const char* text) {
  if (text == nullptr) return false;
  name_ = text;
  return true;
}

void LogTargetBase::AddReference() {
  const std::lock_guard<std::mutex> guard(mutex_);
  ++refCount_;
}

void LogTargetBase::RemoveReference() {
  const std::lock_guard<std::mutex> guard(mutex_);
  --refCount_;
}

std::uint32_t LogTargetBase::GetReferenceCount() const {
  const std::lock_guard<std::mutex> guard(mutex_);
  return refCount_;
}

}  // namespace dunmar
