#include "tests/program/run_journal.h"

#include <cstdlib>
#include <gtest/gtest.h>

#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace test {

namespace {

TEST(MaskTimes, LeavesNothingThatDiffersFromRunToRun) {
  EXPECT_EQ(MaskTimes("11/16/26 06:20:56:007 | [INFO] |  | Name |  |  |  | Part | 17 | 0 | a | 17\n"
                      "its second line\n"
                      "11/16/26 06:20:56:008 | [WARN] |  | Name |  |  |  |  |  | 0 | b\n"),
            "TIME | [INFO] |  | Name |  |  |  | Part | THREAD | 0 | a | 17\n"
            "its second line\n"
            "TIME | [WARN] |  | Name |  |  |  |  | THREAD | 0 | b\n");
  EXPECT_EQ(MaskTimes("half11/16/26 06:20:56:007 | [INFO] |  | Name |  |  |  | Part | 17 | 0 | a"),
            "halfTIME | [INFO] |  | Name |  |  |  | Part | THREAD | 0 | a");
  EXPECT_EQ(MaskTimes("+ Logs/Ixer 2026-11-16 06-20-56.log"), "+ Logs/Ixer 2026-11-16 TIME.log");
  EXPECT_EQ(MaskTimes("+ Applications"), "+ Applications");
  EXPECT_EQ(MaskTimes("11/16/26 06:20:56:007 cut"), "TIME cut");
}

TEST(RunJournal, WritesDownWhatARunDid) {
  const ScopedTempDir dir;
  RunInChild([&dir] {
    ASSERT_EQ(setenv("ZINT_RUN_JOURNAL", dir.Path().c_str(), 1), 0);
    const Tree before = {{"gone", {'f', 0644, 1, 2, 1, "old"}}};
    const Tree after = {{"new", {'f', 0600, 1, 2, 1, "text"}}, {"link", {'l', 0777, 0, 0, 1, "x"}}};
    RunJournal().Write(3, before, after);
    RunJournal().Write(0, after, after);
  });
  EXPECT_EQ(GetFile(dir.Join("RunJournal.WritesDownWhatARunDid")),
            "run: status 3\n"
            "- gone\n"
            "+ link l mode 511 owner 0:0 names 1\nx\n"
            "+ new f mode 384 owner 1:2 names 1\ntext\n"
            "run: status 0\n");
}

}  // namespace

}  // namespace test
