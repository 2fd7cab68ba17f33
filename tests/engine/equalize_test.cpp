#include "engine/equalize.h"

#include <gtest/gtest.h>

#include <random>

#include "engine/filter_globals.h"
#include "tests/support/counted_passes.h"
#include "tests/support/formula.h"

namespace kelvo {
namespace {

using testing::kOpaque8;
using testing::kPremultiplied8;
using testing::kStraight8;
using testing::picture;
using testing::Rgba;
using testing::Rgba8;

struct Bounds {
  float lower, upper;
  friend bool operator==(const Bounds&, const Bounds&) = default;
};

Bounds measured(const CGImage& image) {
  Bounds bounds{-7, -7};
  getGrayMin(bounds.lower, bounds.upper, image);
  return bounds;
}

// The same from straight 8-bit pixels: half a percent passed over at either end, and one more.
Bounds expectedBounds(const std::vector<Rgba8>& pixels) {
  std::vector<int> sorted;
  for (const Rgba8& p : pixels) {
    // What double precision loses may not keep a level from being reached.
    sorted.push_back(static_cast<int>(0.3 * p[0] + 0.59 * p[1] + 0.11 * p[2] + 1e-9));
  }
  std::ranges::sort(sorted);
  const auto cut = static_cast<std::size_t>(static_cast<double>(pixels.size()) * 0.005);
  if (cut == 0) return {0, 1};
  // The count from an end reaches the cut in the bin of the cut-th pixel.
  return {static_cast<float>(sorted[cut - 1] + 1) / 255.0F,
          static_cast<float>(sorted[sorted.size() - cut] - 1) / 255.0F};
}

// What 8-bit premultiplying and its undoing leave of a straight pixel.
Rgba8 thereAndBack(const Rgba8& p) {
  const int a = p[3];
  if (a == 0) return {0, 0, 0, 0};
  Rgba8 result = p;
  for (std::size_t c = 0; c < 3; ++c) {
    const int premultiplied = (2 * p[c] * a + 255) / 510;  // to nearest
    result[c] = static_cast<std::uint8_t>(std::min(255, (255 * premultiplied + a / 2) / a));
  }
  return result;
}

std::vector<Rgba8> uniform(std::size_t count, Rgba8 pixel) {
  return std::vector<Rgba8>(count, pixel);
}

std::vector<Rgba8> randomPixels(std::size_t count, std::uint32_t seed, int low, int high) {
  std::mt19937 random(seed);
  std::vector<Rgba8> pixels(count);
  for (Rgba8& pixel : pixels) {
    for (std::size_t c = 0; c < 3; ++c) {
      pixel[c] = static_cast<std::uint8_t>(
          low + static_cast<int>(random() % static_cast<std::uint32_t>(high - low + 1)));
    }
    pixel[3] = 255;
  }
  return pixels;
}

CIImageRef equalized(const CIImageRef& input) {
  registerAdjustmentFilters();
  return applyEqualizeForCIImage(input);
}

TEST(GetGrayMin, APictureOfFewerThan200PixelsHasTheWholeRange) {
  EXPECT_EQ(measured(picture(uniform(199, {90, 90, 90, 255}), kOpaque8)), (Bounds{0, 1}));
  EXPECT_EQ(measured(picture(uniform(1, {0, 0, 0, 255}), kOpaque8)), (Bounds{0, 1}));
}

TEST(GetGrayMin, From200PixelsOnOneIsPassedOverAtEachEnd) {
  EXPECT_EQ(measured(picture(uniform(200, {90, 90, 90, 255}), kOpaque8)),
            (Bounds{91.0F / 255, 89.0F / 255}));
  EXPECT_EQ(measured(picture(uniform(200, {90, 90, 90, 255}), kOpaque8, 20)),
            (Bounds{91.0F / 255, 89.0F / 255}));
}

TEST(GetGrayMin, TheBoundsOfAUniformMidGreyCross) {
  EXPECT_EQ(measured(picture(uniform(40000, {128, 128, 128, 255}), kOpaque8, 200)),
            (Bounds{129.0F / 255, 127.0F / 255}));
}

TEST(GetGrayMin, WhereTheDarkestHalfPercentAreBlackTheLowerBoundIsOneStepUp) {
  auto pixels = uniform(1000, {100, 100, 100, 255});
  for (std::size_t i = 0; i < 5; ++i) pixels[i * 7] = {0, 0, 0, 255};
  EXPECT_EQ(measured(picture(pixels, kOpaque8)).lower, 1.0F / 255);
  // One of them lighter: the count reaches the cut only there.
  pixels[7] = {60, 60, 60, 255};
  EXPECT_EQ(measured(picture(pixels, kOpaque8)).lower, 61.0F / 255);
}

TEST(GetGrayMin, AllWhiteAndAllBlackStepBeyondTheLevels) {
  EXPECT_EQ(measured(picture(uniform(400, {255, 255, 255, 255}), kOpaque8)),
            (Bounds{256.0F / 255, 254.0F / 255}));
  EXPECT_EQ(measured(picture(uniform(400, {0, 0, 0, 255}), kOpaque8)),
            (Bounds{1.0F / 255, -1.0F / 255}));
}

TEST(GetGrayMin, EveryGreyFallsIntoTheBinOfItsLevel) {
  for (int v = 0; v < 256; ++v) {
    const auto level = static_cast<std::uint8_t>(v);
    EXPECT_EQ(measured(picture(uniform(200, {level, level, level, 255}), kOpaque8)),
              (Bounds{static_cast<float>(v + 1) / 255, static_cast<float>(v - 1) / 255}))
        << v;
  }
}

TEST(GetGrayMin, RedGreenAndBlueWeigh30And59And11Percent) {
  // Truncated: 76.5, 150.45, 28.05.
  for (const auto& [pixel, level] : std::initializer_list<std::pair<Rgba8, float>>{
           {{255, 0, 0, 255}, 76.0F}, {{0, 255, 0, 255}, 150.0F}, {{0, 0, 255, 255}, 28.0F}}) {
    EXPECT_EQ(measured(picture(uniform(200, pixel), kOpaque8)),
              (Bounds{(level + 1) / 255, (level - 1) / 255}));
  }
}

TEST(GetGrayMin, HalfAPercentIsTruncatedToAWholeNumberOfPixels) {
  // 399 pixels: one; 400: two.
  auto pixels = uniform(399, {100, 100, 100, 255});
  pixels[3] = {20, 20, 20, 255};
  EXPECT_EQ(measured(picture(pixels, kOpaque8)).lower, 21.0F / 255);
  pixels.push_back({100, 100, 100, 255});
  EXPECT_EQ(measured(picture(pixels, kOpaque8)).lower, 101.0F / 255);
}

TEST(GetGrayMin, RandomPicturesOfAnyShapeHaveTheBoundsOfTheirSortedLuma) {
  std::uint32_t seed = 0;
  for (const auto& [width, height] : std::initializer_list<std::pair<std::uint32_t, std::uint32_t>>{
           {1, 1000}, {1000, 1}, {37, 53}, {16, 16}, {17, 33}, {211, 97}, {3, 200}}) {
    const int low = static_cast<int>(seed * 11);
    const auto pixels = randomPixels(width * height, ++seed, low, 255 - low);
    EXPECT_EQ(measured(picture(pixels, kOpaque8, width)), expectedBounds(pixels))
        << width << ' ' << height;
  }
}

TEST(GetGrayMin, PremultipliedColourIsUnpremultipliedBeforeItIsMeasured) {
  // Half-transparent light grey, stored darker than it is.
  EXPECT_EQ(measured(picture(uniform(200, {100, 100, 100, 128}), kPremultiplied8)),
            (Bounds{200.0F / 255, 198.0F / 255}));
  // Nothing has no colour and counts as black.
  EXPECT_EQ(measured(picture(uniform(200, {0, 0, 0, 0}), kPremultiplied8)).lower, 1.0F / 255);
}

TEST(GetGrayMin, APictureThatCannotBeReadHasTheWholeRange) {
  CGImage broken = picture(uniform(1000, {90, 90, 90, 255}), kOpaque8);
  broken.openRows = []() -> Result<std::unique_ptr<RowSource>> { return Error{"it is gone"}; };
  EXPECT_EQ(measured(broken), (Bounds{0, 1}));

  class Damaged final : public RowSource {
   public:
    Result<void> read(std::span<std::byte>, std::uint32_t) override {
      return Error{"it is damaged"};
    }
  };
  broken.openRows = []() -> Result<std::unique_ptr<RowSource>> {
    return std::unique_ptr<RowSource>(std::make_unique<Damaged>());
  };
  EXPECT_EQ(measured(broken), (Bounds{0, 1}));
}

// The stretch between the bounds in single precision, luminance with the filter's own weights.
void expectStretched(const std::vector<Rgba8>& pixels, PixelLayout layout, std::uint32_t width) {
  std::vector<Rgba8> seen = pixels;
  if (layout.components == 4) std::ranges::transform(seen, seen.begin(), thereAndBack);
  const Bounds bounds = expectedBounds(seen);
  const double range = bounds.upper - bounds.lower;
  testing::expectLevels(equalized(testing::image(pixels, layout, width)), pixels,
                        [&](const Rgba& c) -> std::optional<Rgba> {
                          const double y = 0.2125 * c[0] + 0.7154 * c[1] + 0.0721 * c[2];
                          if (y == 0) return Rgba{0, 0, 0, c[3]};
                          const double ratio = (y - bounds.lower) / range / y;
                          Rgba out = c;
                          for (std::size_t i = 0; i < 3; ++i) {
                            out[i] = std::clamp(c[i] * ratio, 0.0, 1.0) * c[3];
                          }
                          return out;
                        });
}

TEST(Equalize, EveryPixelIsStretchedBetweenTheMeasuredBounds) {
  ASSERT_NO_FATAL_FAILURE(expectStretched(testing::allGreys(), kOpaque8, 32));
  ASSERT_NO_FATAL_FAILURE(expectStretched(testing::colorCube(), kOpaque8, 324));
  ASSERT_NO_FATAL_FAILURE(expectStretched(testing::translucentPixels(), kStraight8, 64));
  ASSERT_NO_FATAL_FAILURE(expectStretched(randomPixels(5000, 77, 60, 190), kOpaque8, 100));
  ASSERT_NO_FATAL_FAILURE(expectStretched(randomPixels(5000, 78, 0, 40), kOpaque8, 50));
}

TEST(Equalize, ALowContrastPictureSpansTheWholeRangeAfterwards) {
  std::vector<Rgba8> pixels;
  for (int i = 0; i < 4000; ++i) {
    const auto level = static_cast<std::uint8_t>(100 + i % 50);
    pixels.push_back({level, level, level, 255});
  }
  const auto out = testing::rendered(equalized(testing::image(pixels, kOpaque8, 40)));
  ASSERT_EQ(out.size(), pixels.size());
  EXPECT_EQ(out[0], (Rgba8{0, 0, 0, 255}));
  EXPECT_EQ(out[49], (Rgba8{255, 255, 255, 255}));
  EXPECT_EQ(out[1], (Rgba8{0, 0, 0, 255}));  // level 101 is the lower bound
}

TEST(Equalize, APictureOfFewerThan200PixelsStaysAsItIs) {
  auto cube = testing::colorCube();
  cube.resize(199);
  EXPECT_EQ(testing::rendered(equalized(testing::image(cube, kOpaque8))), cube);
}

TEST(Equalize, UniformMidGreyIsStretchedByCrossedBoundsAndStaysInTheMiddle) {
  // (128 - 129) / (127 - 129) = 0.5.
  const auto out = testing::renderedFloats(
      equalized(testing::image(uniform(40000, {128, 128, 128, 255}), kOpaque8, 200)));
  ASSERT_EQ(out.size(), 40000U);
  EXPECT_NEAR(out[0][0], 0.5, 1e-4);
}

TEST(Equalize, CrossedBoundsInvertTheTones) {
  auto pixels = uniform(40000, {128, 128, 128, 255});
  pixels[0] = {127, 127, 127, 255};
  pixels[1] = {129, 129, 129, 255};
  const auto out = testing::rendered(equalized(testing::image(pixels, kOpaque8, 200)));
  EXPECT_EQ(out.at(0), (Rgba8{255, 255, 255, 255}));
  EXPECT_EQ(out.at(1), (Rgba8{0, 0, 0, 255}));
}

TEST(Equalize, BoundsThatMeetLeaveNothingToStretchAndGiveBlack) {
  // Levels 100 and 102: both bounds are 101, the gain is infinite.
  auto pixels = uniform(400, {100, 100, 100, 255});
  std::fill(pixels.begin() + 200, pixels.end(), Rgba8{102, 102, 102, 255});
  for (const Rgba8& out : testing::rendered(equalized(testing::image(pixels, kOpaque8, 20)))) {
    ASSERT_EQ(out, (Rgba8{0, 0, 0, 255}));
  }
}

TEST(Equalize, AnIndexedPictureIsMeasuredLikeAnyOther) {
  const std::vector<Rgba8> table{{200, 180, 90, 128}, {20, 60, 90, 255}, {90, 90, 90, 40}};
  std::vector<Rgba8> pixels;
  for (std::size_t i = 0; i < 900; ++i) pixels.push_back(table[i * i % 3]);
  const auto plain = testing::rendered(equalized(testing::image(pixels, kStraight8, 30)));
  CGImage indexed = picture(pixels, kStraight8, 30);
  indexed.palette = std::make_shared<const Palette>(table);
  EXPECT_EQ(testing::rendered(equalized(CIImage::imageWithCGImage(indexed))), plain);
  EXPECT_NE(plain, testing::rendered(testing::image(pixels, kStraight8, 30)));
}

TEST(Equalize, APictureKeptAndAPictureDecodedAgainComeOutTheSame) {
  registerAdjustmentFilters();
  const auto opaque = randomPixels(900, 11, 60, 150);
  const auto translucent = testing::translucentPixels(900);
  for (const auto& [pixels, layout] :
       {std::pair(opaque, kOpaque8), std::pair(translucent, kStraight8),
        std::pair(translucent, kPremultiplied8)}) {
    const std::uint64_t bytes = pixels.size() * layout.pixelBytes();
    const auto passes = std::make_shared<int>(0);
    const CIImageRef input =
        CIImage::imageWithCGImage(testing::countingPasses(picture(pixels, layout, 30), passes));
    const auto kept = testing::rendered(applyEqualizeForCIImage(input, bytes));
    EXPECT_EQ(*passes, 1);
    const auto decodedAgain = testing::rendered(applyEqualizeForCIImage(input, bytes - 1));
    EXPECT_EQ(*passes, 3);
    EXPECT_EQ(kept.size(), pixels.size());
    EXPECT_EQ(kept, decodedAgain);
    EXPECT_NE(kept, testing::rendered(input));
  }
}

TEST(Equalize, AKeptPictureKeepsItsDepth) {
  registerAdjustmentFilters();
  // Levels of 16 bits between those of 8.
  constexpr PixelLayout kDeep{3, SampleType::u16, AlphaInfo::none};
  std::vector<std::uint16_t> samples;
  for (int i = 0; i < 900 * 3; ++i) samples.push_back(static_cast<std::uint16_t>(20000 + 7 * i));
  const auto bytes = std::as_bytes(std::span(samples));
  const CIImageRef input = CIImage::imageWithCGImage(CGImageCreateWithPixels(
      30, 30, kDeep, {bytes.begin(), bytes.end()}, CGColorSpaceCreateDeviceRGB()));
  const auto deep = [&](std::uint64_t mostKept) {
    const auto result = render(applyEqualizeForCIImage(input, mostKept), {.type = SampleType::u16});
    if (!result) return std::vector<std::byte>();
    auto pixels = readAllPixels(*result);
    return pixels ? *std::move(pixels) : std::vector<std::byte>();
  };
  EXPECT_EQ(deep(bytes.size()).size(), bytes.size());
  EXPECT_EQ(deep(bytes.size()), deep(0));
}

TEST(Equalize, WithoutAnImageThereIsNoResult) { EXPECT_EQ(equalized(nullptr), nullptr); }

}  // namespace
}  // namespace kelvo
