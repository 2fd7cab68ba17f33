#include "platform/pixels/kept_pixels.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "tests/support/counted_passes.h"

namespace kelvo {
namespace {

using testing::countingPasses;

constexpr PixelLayout kRgb8{3, SampleType::u8, AlphaInfo::none};
constexpr PixelLayout kRgba16{4, SampleType::u16, AlphaInfo::last};

std::vector<std::byte> someBytes(std::size_t count) {
  std::vector<std::byte> bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::byte>(i * i % 251);
  return bytes;
}

// Three times the rows that are read at a time, and some.
CGImage tall(PixelLayout layout) {
  return CGImageCreateWithPixels(7, 53, layout, someBytes(7 * 53 * layout.pixelBytes()),
                                 CGColorSpaceCreateDeviceRGB());
}

TEST(KeptPixels, AKeptPictureIsReadFromMemoryAsOftenAsOneLikes) {
  for (const PixelLayout layout : {kRgb8, kRgba16}) {
    const auto passes = std::make_shared<int>(0);
    const auto kept = keepPixels(countingPasses(tall(layout), passes), kMostKeptBytes);
    ASSERT_TRUE(kept.has_value());
    EXPECT_EQ(kept->width, 7U);
    EXPECT_EQ(kept->height, 53U);
    EXPECT_EQ(kept->layout, layout);
    for (int i = 0; i < 2; ++i) {
      const auto pixels = readAllPixels(*kept);
      ASSERT_TRUE(pixels.ok());
      EXPECT_EQ(*pixels, someBytes(7 * 53 * layout.pixelBytes()));
    }
    EXPECT_EQ(*passes, 1);
  }
}

TEST(KeptPixels, ItOutlivesThePictureItWasReadFrom) {
  std::optional<CGImage> kept;
  {
    const CGImage image = tall(kRgb8);
    kept = keepPixels(image, kMostKeptBytes);
  }
  ASSERT_TRUE(kept.has_value());
  auto rows = kept->openRows();
  ASSERT_TRUE(rows.ok());
  kept.reset();
  std::vector<std::byte> pixels(7 * 53 * 3);
  ASSERT_TRUE((*rows)->read(pixels, 53).ok());
  EXPECT_EQ(pixels, someBytes(7 * 53 * 3));
}

TEST(KeptPixels, EveryRowIsHandedOnOnceInOrderAndKeptAsItWasChanged) {
  std::vector<std::byte> seen;
  const auto kept = keepPixels(tall(kRgb8), kMostKeptBytes, [&](std::span<std::byte> strip) {
    EXPECT_EQ(strip.size() % (7 * 3), 0U);
    seen.insert(seen.end(), strip.begin(), strip.end());
    for (std::byte& b : strip) b = ~b;
  });
  ASSERT_TRUE(kept.has_value());
  EXPECT_EQ(seen, someBytes(7 * 53 * 3));
  const auto pixels = readAllPixels(*kept);
  ASSERT_TRUE(pixels.ok());
  for (std::size_t i = 0; i < seen.size(); ++i) ASSERT_EQ((*pixels)[i], ~seen[i]);
}

TEST(KeptPixels, APictureOverTheCeilingIsNotEvenOpened) {
  const auto passes = std::make_shared<int>(0);
  const CGImage image = countingPasses(tall(kRgb8), passes);
  EXPECT_FALSE(keepPixels(image, 7 * 53 * 3 - 1).has_value());
  EXPECT_FALSE(keepPixels(image, 0).has_value());
  EXPECT_EQ(*passes, 0);
  EXPECT_TRUE(keepPixels(image, 7 * 53 * 3).has_value());
}

TEST(KeptPixels, AnIndexedPictureIsNotKept) {
  CGImage image = tall(kRgb8);
  image.palette = std::make_shared<const Palette>(Palette{{0, 0, 0, 255}});
  EXPECT_FALSE(keepPixels(image, kMostKeptBytes).has_value());
}

TEST(KeptPixels, SidesWhoseProductOverflowsAreOverTheCeiling) {
  CGImage image = tall(kRgba16);
  image.width = std::numeric_limits<std::uint32_t>::max();
  image.height = std::numeric_limits<std::uint32_t>::max();
  EXPECT_FALSE(keepPixels(image, kMostKeptBytes).has_value());
}

TEST(KeptPixels, MemoryThatTheSystemDoesNotHaveIsNotKept) {
  CGImage image = tall(kRgb8);
  image.width = 1U << 30;
  image.height = 1U << 30;
  EXPECT_FALSE(keepPixels(image, std::numeric_limits<std::uint64_t>::max()).has_value());
}

TEST(KeptPixels, ADamagedPictureIsNotKept) {
  class DamagedRows final : public RowSource {
   public:
    Result<void> read(std::span<std::byte>, std::uint32_t) override {
      if (++reads_ == 2) return Error{"damaged"};
      return {};
    }

   private:
    int reads_ = 0;
  };
  CGImage image = tall(kRgb8);
  image.openRows = []() -> Result<std::unique_ptr<RowSource>> {
    return std::unique_ptr<RowSource>(std::make_unique<DamagedRows>());
  };
  EXPECT_FALSE(keepPixels(image, kMostKeptBytes).has_value());
  image.openRows = []() -> Result<std::unique_ptr<RowSource>> { return Error{"damaged"}; };
  EXPECT_FALSE(keepPixels(image, kMostKeptBytes).has_value());
}

TEST(KeptPixels, RowsPastTheEndAreRefused) {
  const auto kept = keepPixels(tall(kRgb8), kMostKeptBytes);
  ASSERT_TRUE(kept.has_value());
  auto rows = kept->openRows();
  ASSERT_TRUE(rows.ok());
  std::vector<std::byte> pixels(7 * 54 * 3);
  EXPECT_FALSE((*rows)->read(pixels, 54).ok());
}

TEST(KeptPixels, AtMostAQuarterOfWhatTheProcessMayTake) {
  EXPECT_EQ(keptBytesWithin(0), 0U);
  EXPECT_EQ(keptBytesWithin(64 << 20), 16U << 20);
  EXPECT_EQ(keptBytesWithin(1ULL << 30), 256ULL << 20);
  EXPECT_EQ(keptBytesWithin(1ULL << 40), kMostKeptBytes);
}

}  // namespace
}  // namespace kelvo
