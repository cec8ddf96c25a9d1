#ifndef TESTS_SUPPORT_RUN_APART_H_
#define TESTS_SUPPORT_RUN_APART_H_

#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"

namespace test {

struct ApartResult {
  bool failed = false;
  std::string output;  // standard output
};

// Runs `body` in a child process whose failures stay there, for tests of what makes tests fail.
inline ApartResult RunApart(const std::function<void()>& body) {
  const ScopedTempDir folder;
  const std::string path = folder.Join("output");
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    const int output = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(output, STDOUT_FILENO);
    close(output);
    body();
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status)) << status;
  return {WEXITSTATUS(status) != 0, GetFile(path).value_or("")};
}

}  // namespace test

#endif  // TESTS_SUPPORT_RUN_APART_H_
