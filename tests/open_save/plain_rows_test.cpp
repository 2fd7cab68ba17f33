#include "platform/open_save/plain_rows.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace kelvo {
namespace {

template <typename Sample>
CGImage pictureOf(std::uint32_t height, PixelLayout layout, const std::vector<Sample>& samples) {
  std::vector<std::byte> bytes(samples.size() * sizeof(Sample));
  std::memcpy(bytes.data(), samples.data(), bytes.size());
  const auto width = static_cast<std::uint32_t>(samples.size() / layout.components / height);
  return CGImageCreateWithPixels(width, height, layout, std::move(bytes), nullptr);
}

// All rows, one at a time.
template <typename Sample>
std::vector<Sample> read(const CGImage& image, PixelLayout stored) {
  auto rows = PlainRows::open(image, stored, "TEST");
  EXPECT_TRUE(rows);
  std::vector<Sample> all;
  for (std::uint32_t y = 0; y < image.height; ++y) {
    const auto pixels = rows->read(1);
    EXPECT_TRUE(pixels) << pixels.error().message;
    if (!pixels) return {};
    EXPECT_EQ(pixels->size(), image.width * stored.pixelBytes());
    const std::size_t before = all.size();
    all.resize(before + pixels->size() / sizeof(Sample));
    std::memcpy(&all[before], pixels->data(), pixels->size());
  }
  return all;
}

using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::uint16_t>;

TEST(PlainRows, ArePassedOnWhereTheLayoutsAreTheSame) {
  const PixelLayout layout = {3, SampleType::u8, AlphaInfo::none};
  const Bytes samples = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  EXPECT_EQ(read<std::uint8_t>(pictureOf(2, layout, samples), layout), samples);
}

TEST(PlainRows, AreRoundedTo8Bits) {
  // 257 levels of 16 bits are one of 8: 128 is below the middle of the first, 129 above.
  const Words samples = {0, 128, 129, 257, 32767, 32768, 65406, 65407, 65535};
  EXPECT_EQ(read<std::uint8_t>(pictureOf(1, {1, SampleType::u16, AlphaInfo::none}, samples),
                               {1, SampleType::u8, AlphaInfo::none}),
            (Bytes{0, 0, 1, 1, 127, 128, 254, 255, 255}));
}

TEST(PlainRows, AreDividedByAnAlphaThatTheyWereMultipliedWith) {
  // 255 * 50 / 100 = 127.5, 255 * 33 / 100 = 84.15; more than alpha is as much as alpha.
  EXPECT_EQ(read<std::uint8_t>(pictureOf(1, {4, SampleType::u8, AlphaInfo::premultipliedLast},
                                         Bytes{50, 33, 101, 100, 0, 0, 0, 0, 9, 8, 7, 255}),
                               {4, SampleType::u8, AlphaInfo::last}),
            (Bytes{128, 84, 255, 100, 0, 0, 0, 0, 9, 8, 7, 255}));
  // 65535 * 10000 / 40000 = 16383.75.
  EXPECT_EQ(read<std::uint16_t>(pictureOf(1, {2, SampleType::u16, AlphaInfo::premultipliedLast},
                                          Words{10000, 40000, 65535, 65535}),
                                {2, SampleType::u16, AlphaInfo::last}),
            (Words{16384, 40000, 65535, 65535}));
  EXPECT_EQ(read<std::uint8_t>(pictureOf(1, {2, SampleType::u16, AlphaInfo::premultipliedLast},
                                         Words{10000, 40000, 0, 0}),
                               {2, SampleType::u8, AlphaInfo::last}),
            (Bytes{64, 156, 0, 0}));
}

TEST(PlainRows, LeaveOutAnAlphaThatIsOpaque) {
  EXPECT_EQ(read<std::uint8_t>(pictureOf(2, {4, SampleType::u8, AlphaInfo::last},
                                         Bytes{1, 2, 3, 255, 4, 5, 6, 255}),
                               {3, SampleType::u8, AlphaInfo::none}),
            (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST(PlainRows, AreRefusedWhereTransparencyWouldBeLost) {
  const CGImage image = pictureOf(2, {2, SampleType::u16, AlphaInfo::last},
                                  Words{1, 65535, 2, 65535, 3, 65535, 4, 65534});
  auto rows = PlainRows::open(image, {1, SampleType::u8, AlphaInfo::none}, "TEST");
  ASSERT_TRUE(rows);
  EXPECT_TRUE(rows->read(1));
  const auto second = rows->read(1);
  ASSERT_FALSE(second);
  EXPECT_EQ(second.error().message,
            "the picture is transparent in places, and TEST files are opaque");
}

}  // namespace
}  // namespace kelvo
