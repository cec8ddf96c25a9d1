#include "tests/support/files.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace test {

namespace {

// Adds the failure of `operation` on `path` with the text of errno.
void FailWithErrno(const char* operation, const std::string& path) {
  const int error = errno;
  ADD_FAILURE() << operation << " " << path << ": " << std::strerror(error);
}

void MakeParents(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash != std::string::npos && slash > 0) MakeDirs(path.substr(0, slash));
}

std::optional<struct stat> Look(const std::string& path) {
  struct stat item = {};
  if (lstat(path.c_str(), &item) != 0) return std::nullopt;
  return item;
}

bool WriteAll(int fd, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = write(fd, content.data(), content.size());
    if (written < 0) return false;
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

void MakeDirs(const std::string& path) {
  struct stat item = {};
  if (stat(path.c_str(), &item) == 0 && S_ISDIR(item.st_mode)) return;
  MakeParents(path);
  // The umask has no say in chmod.
  if (mkdir(path.c_str(), 0755) != 0 || chmod(path.c_str(), 0755) != 0) {
    FailWithErrno("mkdir", path);
  }
}

void PutFile(const std::string& path, std::string_view content) {
  MakeParents(path);
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) return FailWithErrno("open", path);
  if (!WriteAll(fd, content) || fchmod(fd, 0644) != 0) FailWithErrno("write", path);
  close(fd);
}

void MakeLink(const std::string& path, const std::string& destination) {
  if (symlink(destination.c_str(), path.c_str()) != 0) FailWithErrno("symlink", path);
}

void MakeHardLink(const std::string& path, const std::string& existing) {
  if (link(existing.c_str(), path.c_str()) != 0) FailWithErrno("link", path);
}

void MakeFifo(const std::string& path) {
  if (mkfifo(path.c_str(), 0644) != 0) FailWithErrno("mkfifo", path);
}

void SetMode(const std::string& path, mode_t mode) {
  if (chmod(path.c_str(), mode) != 0) FailWithErrno("chmod", path);
}

void SetOwner(const std::string& path, uid_t uid, gid_t gid) {
  if (lchown(path.c_str(), uid, gid) != 0) FailWithErrno("lchown", path);
}

std::optional<std::string> GetFile(const std::string& path) {
  // Without O_NONBLOCK a FIFO would hang the test instead of failing it.
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  std::string content;
  char buffer[65536];
  ssize_t got = 0;
  while ((got = read(fd, buffer, sizeof buffer)) > 0) {
    content.append(buffer, static_cast<std::size_t>(got));
  }
  close(fd);
  if (got < 0) return std::nullopt;
  return content;
}

std::optional<std::string> GetLink(const std::string& path) {
  char text[4096];
  const ssize_t length = readlink(path.c_str(), text, sizeof text);
  if (length < 0) return std::nullopt;
  return std::string(text, static_cast<std::size_t>(length));
}

std::optional<mode_t> GetMode(const std::string& path) {
  const std::optional<struct stat> item = Look(path);
  if (!item) return std::nullopt;
  return static_cast<mode_t>(item->st_mode & 07777);
}

std::optional<uid_t> GetOwner(const std::string& path) {
  const std::optional<struct stat> item = Look(path);
  if (!item) return std::nullopt;
  return item->st_uid;
}

std::optional<gid_t> GetGroup(const std::string& path) {
  const std::optional<struct stat> item = Look(path);
  if (!item) return std::nullopt;
  return item->st_gid;
}

bool TakesAnyBytes(const std::string& folder) {
  const std::string path = folder + "/\xff";
  return symlink("x", path.c_str()) == 0 && unlink(path.c_str()) == 0;
}

bool IsThere(const std::string& path) { return Look(path).has_value(); }

ScopedUmask::ScopedUmask(mode_t mask) : previous_(umask(mask)) {}

ScopedUmask::~ScopedUmask() { umask(previous_); }

}  // namespace test
