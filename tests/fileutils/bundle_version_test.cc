#include "fileutils/bundle_version.h"

#include <gtest/gtest.h>
#include <string>

#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"

namespace {

std::string InfoWith(const std::string& entries) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<plist version=\"1.0\"><dict>" +
         entries + "</dict></plist>\n";
}

void PutInfo(const test::ScopedTempDir& folder, const std::string& content) {
  test::PutFile(folder.Join("X.app/Contents/Info.plist"), content);
}

void ExpectNoVersion(const std::string& bundle) {
  std::string version = "before";
  EXPECT_FALSE(fileutils::GetBundleVersion(bundle, version));
  EXPECT_EQ(version, "before");
}

const char kVersion[] = "<key>CFBundleShortVersionString</key><string>6.7.0</string>";

TEST(GetBundleVersion, ReadsTheShortVersion) {
  const test::ScopedTempDir folder;
  PutInfo(folder, InfoWith("<key>CFBundleVersion</key><string>1</string>" + std::string(kVersion)));
  std::string version = "before";
  EXPECT_TRUE(fileutils::GetBundleVersion(folder.Join("X.app"), version));
  EXPECT_EQ(version, "6.7.0");
}

TEST(GetBundleVersion, TakesABundlePathThatEndsInASlash) {
  const test::ScopedTempDir folder;
  PutInfo(folder, InfoWith(kVersion));
  std::string version;
  EXPECT_TRUE(fileutils::GetBundleVersion(folder.Join("X.app/"), version));
  EXPECT_EQ(version, "6.7.0");
}

TEST(GetBundleVersion, FailsWithoutTheKey) {
  const test::ScopedTempDir folder;
  PutInfo(folder, InfoWith("<key>CFBundleVersion</key><string>1</string>"));
  ExpectNoVersion(folder.Join("X.app"));
}

TEST(GetBundleVersion, FailsWhereTheValueIsNoText) {
  const test::ScopedTempDir folder;
  PutInfo(folder, InfoWith("<key>CFBundleShortVersionString</key><integer>6</integer>"));
  ExpectNoVersion(folder.Join("X.app"));
}

TEST(GetBundleVersion, FailsWhereTheFileHoldsNoDictionary) {
  const test::ScopedTempDir folder;
  PutInfo(folder, "no property list");
  ExpectNoVersion(folder.Join("X.app"));
}

TEST(GetBundleVersion, FailsWithoutTheFile) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("X.app/Contents"));
  ExpectNoVersion(folder.Join("X.app"));
  ExpectNoVersion(folder.Join("Missing.app"));
}

TEST(GetBundleVersion, FailsOnAnEmptyPath) { ExpectNoVersion(""); }

}  // namespace
