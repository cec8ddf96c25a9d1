#include "platform/item_query.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>

#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"

using namespace std::string_literals;

namespace platform {
namespace {

TEST(ItemExists, FindsNothingAtAPathWithANulByte) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "");
  EXPECT_FALSE(ItemExists(dir.Join("file\0x"s), nullptr));
}

TEST(GetItemSize, FindsNothingAtAPathWithANulByte) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "");
  std::uint64_t size = 0;
  EXPECT_FALSE(GetItemSize(dir.Join("file\0x"s), &size));
}

}  // namespace
}  // namespace platform
