#include <filesystem>
#include <gtest/gtest.h>

#include "tests/program/throw_away_root.h"

namespace test {

namespace {

using Removal = ProgramTest;

TEST_F(Removal, RemovesManifestAndLinkAndLeavesFoldersAndIcon) {
  root.AddInstalledBundle();
  (void)root.Run({"--install=1"});
  EXPECT_EQ(root.Run({}), Changes({
                              "- Applications/Velmora Caldris/Velmora Caldris",
                              "- Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
                          }));
}

TEST_F(Removal, DoneTwiceFindsNothingLeft) {
  root.AddInstalledBundle();
  root.AddEarlierInstallation();
  (void)root.Run({});
  EXPECT_EQ(root.Run({}), Changes());
}

TEST_F(Removal, OfNothingChangesNothing) { EXPECT_EQ(root.Run({}), Changes()); }

TEST_F(Removal, OfNothingMakesTheStandardFoldersWhereTheyAreMissing) {
  std::filesystem::remove_all(root.Join("/Applications"));
  std::filesystem::remove_all(root.Join("/Library"));
  EXPECT_EQ(root.Run({}), Changes({
                              "+ Applications",
                              "+ Library",
                              "+ Library/Application Support",
                          }));
}

TEST_F(Removal, LeavesALinkThatDangles) {
  root.AddEarlierInstallation();
  EXPECT_EQ(root.Run({}), Changes({
                              "- Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
                          }));
}

TEST_F(Removal, LeavesTheCefFolder) {
  root.AddCefFolder();
  EXPECT_EQ(root.Run({}), Changes());
}

}  // namespace

}  // namespace test
