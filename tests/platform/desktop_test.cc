#include "platform/desktop.h"

#include <gtest/gtest.h>
#include <iterator>
#include <string>

#include "platform/host.h"
#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {
namespace {

// An icns file with one image: a PNG of 16 by 16 black pixels.
std::string SmallIcon() {
  static constexpr unsigned char kBytes[] = {
      0x69, 0x63, 0x6e, 0x73, 0x00, 0x00, 0x00, 0x55, 0x69, 0x63, 0x70, 0x34, 0x00, 0x00, 0x00,
      0x4d, 0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a, 0x00, 0x00, 0x00, 0x0d, 0x49, 0x48,
      0x44, 0x52, 0x00, 0x00, 0x00, 0x10, 0x00, 0x00, 0x00, 0x10, 0x01, 0x00, 0x00, 0x00, 0x00,
      0x37, 0x88, 0xc2, 0xcc, 0x00, 0x00, 0x00, 0x0c, 0x49, 0x44, 0x41, 0x54, 0x78, 0xda, 0x63,
      0x60, 0x20, 0x0d, 0x00, 0x00, 0x00, 0x30, 0x00, 0x01, 0x28, 0x74, 0x49, 0x7d, 0x00, 0x00,
      0x00, 0x00, 0x49, 0x45, 0x4e, 0x44, 0xae, 0x42, 0x60, 0x82};
  return {std::begin(kBytes), std::end(kBytes)};
}

TEST(SetFolderIcon, TakesAnImageAndLeavesTheFolderItself) {
  const test::ScopedTempDir temp;
  test::PutFile(temp.Join("icon.icns"), SmallIcon());
  test::PutFile(temp.Join("folder/kept"), "bytes");
  test::SetMode(temp.Join("folder"), 0751);
  EXPECT_TRUE(DefaultHost().desktop->SetFolderIcon(temp.Join("icon.icns"), temp.Join("folder")));
  EXPECT_EQ(test::GetFile(temp.Join("folder/kept")), "bytes");
  EXPECT_EQ(test::GetMode(temp.Join("folder")), mode_t{0751});
  EXPECT_EQ(test::GetFile(temp.Join("icon.icns")), SmallIcon());
}

TEST(SetFolderIcon, TakesNoImage) {
  const test::ScopedTempDir temp;
  test::PutFile(temp.Join("icon.icns"), SmallIcon());
  test::PutFile(temp.Join("folder/kept"), "bytes");
  EXPECT_TRUE(DefaultHost().desktop->SetFolderIcon(temp.Join("missing"), temp.Join("folder")));
  EXPECT_TRUE(DefaultHost().desktop->SetFolderIcon(temp.Join("icon.icns"), temp.Join("folder")));
  EXPECT_TRUE(DefaultHost().desktop->SetFolderIcon(temp.Join("missing"), temp.Join("folder")));
  EXPECT_EQ(test::GetFile(temp.Join("folder/kept")), "bytes");
}

TEST(SetFolderIcon, TakesAnythingButAFileForNoImageWithoutWaiting) {
  const test::ScopedTempDir temp;
  test::MakeDirs(temp.Join("folder"));
  test::MakeFifo(temp.Join("fifo"));
  EXPECT_TRUE(DefaultHost().desktop->SetFolderIcon(temp.Join("fifo"), temp.Join("folder")));
  EXPECT_TRUE(DefaultHost().desktop->SetFolderIcon(temp.Path(), temp.Join("folder")));
}

TEST(SetFolderIcon, FailsForAMissingFolder) {
  const test::ScopedTempDir temp;
  test::PutFile(temp.Join("icon.icns"), SmallIcon());
  EXPECT_FALSE(DefaultHost().desktop->SetFolderIcon(temp.Join("icon.icns"), temp.Join("folder")));
  EXPECT_FALSE(test::IsThere(temp.Join("folder")));
}

}  // namespace
}  // namespace platform
