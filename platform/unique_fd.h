#ifndef PLATFORM_UNIQUE_FD_H_
#define PLATFORM_UNIQUE_FD_H_

#include <utility>

namespace platform {

// Owner of one file descriptor. Empty when it holds -1.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    Reset(std::exchange(other.fd_, -1));
    return *this;
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  ~UniqueFd() { Reset(); }

  [[nodiscard]] int Get() const { return fd_; }
  [[nodiscard]] explicit operator bool() const { return fd_ >= 0; }
  [[nodiscard]] int Release() { return std::exchange(fd_, -1); }

  // Closes what is held and takes over `fd`. `errno` is left as it was, so
  // that clean-up never hides the error that made it necessary.
  void Reset(int fd = -1);

 private:
  int fd_ = -1;
};

}  // namespace platform

#endif  // PLATFORM_UNIQUE_FD_H_
