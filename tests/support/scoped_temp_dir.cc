#include "tests/support/scoped_temp_dir.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fts.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace test {

namespace {

std::string MakeFolder() {
  const char* parent = std::getenv("TMPDIR");
  // On macOS /tmp is a link.
  char* resolved = realpath(parent != nullptr && *parent != '\0' ? parent : "/tmp", nullptr);
  if (resolved == nullptr) return "";
  std::string path = std::string(resolved) + "/test.XXXXXX";
  std::free(resolved);
  if (mkdtemp(path.data()) == nullptr || chmod(path.c_str(), 0755) != 0) return "";
  return path;
}

bool RemoveTree(const std::string& path) {
  std::string root = path;  // fts_open wants it writable
  char* roots[] = {root.data(), nullptr};
  FTS* walk = fts_open(roots, FTS_PHYSICAL, nullptr);
  if (walk == nullptr) return false;
  while (const FTSENT* entry = fts_read(walk)) {
    if (entry->fts_info == FTS_D) {
      // A test may have locked its user out; the folder is not opened before the next turn.
      (void)chmod(entry->fts_accpath, 0700);
    } else {
      (void)std::remove(entry->fts_accpath);
    }
  }
  fts_close(walk);
  struct stat item = {};
  return lstat(path.c_str(), &item) != 0;
}

}  // namespace

ScopedTempDir::ScopedTempDir() : path_(MakeFolder()) {
  if (path_.empty()) {
    std::fprintf(stderr, "no temporary folder: %s\n", std::strerror(errno));
    std::abort();
  }
}

ScopedTempDir::~ScopedTempDir() { EXPECT_TRUE(RemoveTree(path_)) << path_ << " cannot be removed"; }

std::string ScopedTempDir::Join(const std::string& relative) const {
  return path_ + "/" + relative;
}

}  // namespace test
