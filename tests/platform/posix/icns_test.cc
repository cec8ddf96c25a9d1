#include "platform/posix/icns.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "tests/platform/posix/icon_samples.h"

namespace platform {
namespace {

using test::BigEndian;
using test::Icns;
using test::IcnsElement;
using test::Png;

TEST(FindLargestPng, TakesTheImageOfTheMostPixelsWhereverItStands) {
  const std::string small = IcnsElement("icp4", Png(16, 16, "small"));
  const std::string large = IcnsElement("ic08", Png(256, 256, "large"));
  const std::string medium = IcnsElement("ic07", Png(128, 128, "medium"));
  EXPECT_EQ(FindLargestPng(Icns(small + large + medium)), Png(256, 256, "large"));
  EXPECT_EQ(FindLargestPng(Icns(large + small + medium)), Png(256, 256, "large"));
  EXPECT_EQ(FindLargestPng(Icns(small + medium + large)), Png(256, 256, "large"));
}

TEST(FindLargestPng, GivesAViewOfTheContent) {
  const std::string content = Icns(IcnsElement("ic08", Png(256, 256, "data")));
  EXPECT_EQ(FindLargestPng(content).data(), content.data() + 16);
}

TEST(FindLargestPng, CountsPixelsAndNotBytes) {
  EXPECT_EQ(FindLargestPng(Icns(IcnsElement("ic07", Png(16, 16, std::string(1000, 'x'))) +
                                IcnsElement("ic08", Png(17, 16, "")))),
            Png(17, 16, ""));
}

TEST(FindLargestPng, MultipliesWithoutOverflow) {
  // 65536 * 65536 is 0 in 32 bits.
  EXPECT_EQ(FindLargestPng(Icns(IcnsElement("ic07", Png(512, 512, "")) +
                                IcnsElement("ic08", Png(65536, 65536, "")))),
            Png(65536, 65536, ""));
  EXPECT_EQ(FindLargestPng(Icns(IcnsElement("ic07", Png(0xffffffff, 0xfffffffe, "")) +
                                IcnsElement("ic08", Png(0xffffffff, 0xffffffff, "")))),
            Png(0xffffffff, 0xffffffff, ""));
}

TEST(FindLargestPng, TakesTheFirstOfEquals) {
  EXPECT_EQ(FindLargestPng(Icns(IcnsElement("ic13", Png(256, 256, "first")) +
                                IcnsElement("ic08", Png(128, 512, "second")))),
            Png(256, 256, "first"));
}

TEST(FindLargestPng, PassesOverElementsThatAreNoPng) {
  EXPECT_EQ(
      FindLargestPng(Icns(IcnsElement("TOC ", IcnsElement("ic08", "")) +
                          IcnsElement("is32", std::string(700, '\x80')) +
                          IcnsElement("ic09", BigEndian(12) + "jP  \r\n\x87\n") +
                          IcnsElement("null", "") + IcnsElement("ic07", Png(128, 128, "the one")))),
      Png(128, 128, "the one"));
}

TEST(FindLargestPng, TellsAPngByItsFirstBytes) {
  const std::string png = Png(16, 16, "");
  for (std::size_t i = 0; i < 16; ++i) {
    SCOPED_TRACE(i);
    std::string other = png;
    other[i] = static_cast<char>(other[i] ^ 1);
    EXPECT_EQ(FindLargestPng(Icns(IcnsElement("icp4", other))), "");
  }
  EXPECT_EQ(FindLargestPng(Icns(IcnsElement("icp4", png.substr(0, 24)))), png.substr(0, 24));
  EXPECT_EQ(FindLargestPng(Icns(IcnsElement("icp4", png.substr(0, 23)))), "");
}

TEST(FindLargestPng, TakesNoImageWithoutPixels) {
  EXPECT_EQ(FindLargestPng(Icns(IcnsElement("icp4", Png(0, 16, "")))), "");
  EXPECT_EQ(FindLargestPng(Icns(IcnsElement("icp4", Png(16, 0, "")))), "");
  EXPECT_EQ(FindLargestPng(Icns(IcnsElement("ic08", Png(0xffffffff, 0, "")) +
                                IcnsElement("icp4", Png(1, 1, "")))),
            Png(1, 1, ""));
}

TEST(FindLargestPng, FindsNothingInWhatIsNoIcnsFile) {
  const std::string png = Png(16, 16, "");
  const std::string element = IcnsElement("icp4", png);
  for (const std::string& content :
       {std::string(), std::string("i"), std::string("icns"), std::string("icns\0\0\0", 7),
        std::string("icns\0\0\0\x08", 8), png, element, "ICNS" + Icns(element).substr(4),
        " " + Icns(element), std::string("{\n  \"icns\": 1\n}\n")}) {
    SCOPED_TRACE(content);
    EXPECT_EQ(FindLargestPng(content), "");
  }
}

TEST(FindLargestPng, ReadsNoFurtherThanTheFileSaysOrIs) {
  const std::string small = IcnsElement("icp4", Png(16, 16, ""));
  const std::string large = IcnsElement("ic08", Png(256, 256, ""));
  // Bytes behind the end do not count.
  EXPECT_EQ(FindLargestPng(Icns(small) + large), Png(16, 16, ""));
  // A file that ends early is read as far as it goes.
  EXPECT_EQ(FindLargestPng("icns" + BigEndian(0xffffffff) + small + large), Png(256, 256, ""));
  EXPECT_EQ(FindLargestPng("icns" + BigEndian(1000) + small), Png(16, 16, ""));
  // A length that does not even cover the head leaves nothing.
  for (std::uint32_t length = 0; length <= 8; ++length) {
    SCOPED_TRACE(length);
    EXPECT_EQ(FindLargestPng("icns" + BigEndian(length) + small), "");
  }
}

TEST(FindLargestPng, StopsAtAnElementThatDoesNotFit) {
  const std::string small = IcnsElement("icp4", Png(16, 16, ""));
  const std::string png = Png(256, 256, "");
  const auto size = static_cast<std::uint32_t>(png.size());
  for (const std::uint32_t length : {0U, 1U, 7U, size + 9, 0x7fffffffU, 0xfffffff8U, 0xffffffffU}) {
    SCOPED_TRACE(length);
    std::string elements = small;
    elements.append("ic08").append(BigEndian(length)).append(png);
    EXPECT_EQ(FindLargestPng(Icns(elements)), Png(16, 16, ""));
  }
  // One that the container cuts off counts no more than one that the file cuts off.
  EXPECT_EQ(FindLargestPng("icns" + BigEndian(static_cast<std::uint32_t>(8 + small.size() + 30)) +
                           small + IcnsElement("ic08", png)),
            Png(16, 16, ""));
}

TEST(FindLargestPng, NeverLooksOutsideOfWhatItIsGiven) {
  const std::string content =
      Icns(IcnsElement("TOC ", "") + IcnsElement("icp4", Png(16, 16, "abc")) +
           IcnsElement("ic08", Png(256, 256, "defgh")));
  const auto check = [](const std::string& bytes) {
    const std::string_view png = FindLargestPng(bytes);
    if (png.empty()) return;
    EXPECT_GE(png.data(), bytes.data() + 16);
    EXPECT_LE(png.data() + png.size(), bytes.data() + bytes.size());
  };
  for (std::size_t length = 0; length <= content.size(); ++length) {
    std::string cut = content.substr(0, length);
    cut.shrink_to_fit();  // A sanitizer sees a step over the end.
    check(cut);
  }
  for (std::size_t i = 0; i < content.size(); ++i) {
    for (int byte = 0; byte < 256; ++byte) {
      std::string changed = content;
      changed[i] = static_cast<char>(byte);
      check(changed);
    }
  }
}

}  // namespace
}  // namespace platform
