#include "platform/image/render.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "platform/image/ci_filter.h"
#include "tests/support/pixels.h"

namespace kelvo {
namespace {

using testing::image;
using testing::kOpaque8;
using testing::kPremultiplied8;
using testing::kStraight8;
using testing::picture;
using testing::rendered;
using testing::Rgba8;

// Any kernel as a filter over a list of arguments.
class AnyFilter final : public CIFilter {
 public:
  static CIImageRef output(const std::string& source, std::vector<CIKernelArgument> arguments,
                           const ApplyOptions& options = {}) {
    const auto kernels = CIKernel::kernelsWithString(source);
    return apply(kernels.empty() ? nullptr : kernels.front(), std::move(arguments), options);
  }
  static CIImageRef output(const CIKernelRef& kernel, std::vector<CIKernelArgument> arguments) {
    return apply(kernel, std::move(arguments), {});
  }
  [[nodiscard]] CIImageRef outputImage() const override { return nullptr; }
};

CISampler sampler(const CIImageRef& input) { return CISampler::samplerWithImage(input); }

constexpr const char* kPass = "kernel vec4 pass(sampler s){return sample(s, samplerCoord(s));}";

TEST(Render, AnUntouchedOpaquePictureComesOutAsItWent) {
  const auto cube = testing::colorCube();
  const auto result = render(image(cube, kOpaque8, 18), {});
  ASSERT_TRUE(result.ok());
  EXPECT_EQ(result->width, 18U);
  EXPECT_EQ(result->height, 324U);
  EXPECT_EQ(result->layout, kOpaque8);
  EXPECT_EQ(rendered(image(cube, kOpaque8, 18)), cube);
}

TEST(Render, APictureWithAlphaComesOutPremultiplied) {
  const auto pixels = testing::translucentPixels(1000);
  const auto result = render(image(pixels, kStraight8), {});
  ASSERT_TRUE(result.ok());
  EXPECT_EQ(result->layout, kPremultiplied8);
  const auto actual = rendered(image(pixels, kStraight8));
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    EXPECT_LE(testing::distance(actual[i], testing::levels(testing::straight(pixels[i]))), 0.501);
  }
}

TEST(Render, APremultipliedPictureComesOutAsItWentWhereItsColourIsWithinItsAlpha) {
  EXPECT_EQ(rendered(image({{10, 20, 30, 40}, {200, 3, 40, 40}}, kPremultiplied8)),
            (std::vector<Rgba8>{{10, 20, 30, 40}, {40, 3, 40, 40}}));
}

TEST(Render, AlphaCanBeLeftOut) {
  const auto result = render(image({{100, 50, 25, 255}}, kStraight8), {.dropAlpha = true});
  ASSERT_TRUE(result.ok());
  EXPECT_EQ(result->layout, kOpaque8);
}

TEST(Render, ColoursAreLimitedToAlphaAndRoundedToNearest) {
  const float nan = std::nanf("");
  const float inf = std::numeric_limits<float>::infinity();
  const float pixels[4][4] = {
      {0.5F, 1.5F, -1, 1}, {nan, inf, -inf, 0.5F}, {0.2F, 0.6F, 0.5F, nan}, {0.25F, 2, 0, 3}};
  const CIImageRef input = CIImage::initWithBitmapData_bytesPerRow_size_format_colorSpace(
      std::as_bytes(std::span(pixels)), 64, 4, 1, kCIFormatRGBAf, nullptr);
  EXPECT_EQ(
      rendered(input),
      (std::vector<Rgba8>{{128, 255, 0, 255}, {0, 128, 0, 128}, {0, 0, 0, 0}, {64, 255, 0, 255}}));
}

TEST(Render, SixteenBitSourcesRenderToEightOrKeepTheirDepth) {
  const PixelLayout layout{3, SampleType::u16, AlphaInfo::none};
  std::vector<std::uint16_t> samples;
  for (std::uint32_t v = 0; v < 65536; ++v) samples.push_back(static_cast<std::uint16_t>(v));
  samples.resize(65535 + 3, 65535);
  samples.resize(samples.size() / 3 * 3);
  std::vector<std::byte> bytes(samples.size() * 2);
  std::memcpy(bytes.data(), samples.data(), bytes.size());
  const auto width = static_cast<std::uint32_t>(samples.size() / 3);
  const CIImageRef input = CIImage::imageWithCGImage(
      CGImageCreateWithPixels(width, 1, layout, bytes, CGColorSpaceCreateDeviceRGB()));

  const auto kept = render(input, {.type = SampleType::u16});
  ASSERT_TRUE(kept.ok());
  EXPECT_EQ(*readAllPixels(*kept), bytes);

  const auto eight = readAllPixels(*render(input, {}));
  ASSERT_TRUE(eight.ok());
  for (std::size_t i = 0; i < samples.size(); ++i) {
    // Halves do not occur: 65535 = 255 * 257 and 257 is odd.
    EXPECT_EQ(std::to_integer<int>((*eight)[i]), std::lround(samples[i] * 255.0 / 65535));
  }
}

TEST(Render, RowsComeOutTheSameHoweverManyAreAskedForAtATime) {
  const auto cube = testing::colorCube();
  const CIImageRef moved = AnyFilter::output(
      "kernel vec4 k(sampler s){vec4 p = sample(s, samplerCoord(s)); vec2 d = destCoord();"
      "return vec4(p.r, d.x / 18.0, d.y / 324.0, 1.0);}",
      {sampler(image(cube, kOpaque8, 18))});
  const auto result = render(moved, {});
  ASSERT_TRUE(result.ok());
  const auto whole = readAllPixels(*result);
  ASSERT_TRUE(whole.ok());
  for (const std::uint32_t step : {1U, 7U, 16U, 33U, 324U}) {
    auto rows = result->openRows();
    ASSERT_TRUE(rows.ok());
    std::vector<std::byte> pieces;
    for (std::uint32_t y = 0; y < 324; y += step) {
      const std::uint32_t count = std::min(step, 324 - y);
      std::vector<std::byte> piece(std::size_t{count} * 18 * 3);
      ASSERT_TRUE((*rows)->read(piece, count).ok());
      pieces.insert(pieces.end(), piece.begin(), piece.end());
    }
    EXPECT_EQ(pieces, *whole) << step;
  }
  // Green tells the column, blue the row.
  EXPECT_EQ(std::to_integer<int>((*whole)[(18 * 100 + 9) * 3 + 1]), std::lround(255 * 9 / 18.0));
  EXPECT_EQ(std::to_integer<int>((*whole)[(18 * 100 + 9) * 3 + 2]), std::lround(255 * 100 / 324.0));
}

TEST(Render, AChainOfFiltersIsReadOncePerPass) {
  int opened = 0;
  CGImage counted = picture({{1, 2, 3, 255}, {4, 5, 6, 255}}, kOpaque8);
  counted.openRows = [&opened, open = counted.openRows] {
    ++opened;
    return open();
  };
  CIImageRef chain = CIImage::imageWithCGImage(counted);
  for (int i = 0; i < 5; ++i) chain = AnyFilter::output(kPass, {sampler(chain)});
  const CIImageRef twice = AnyFilter::output(
      "kernel vec4 mean(sampler a, sampler b)"
      "{return (sample(a, samplerCoord(a)) + sample(b, samplerCoord(b))) * 0.5;}",
      {sampler(chain), sampler(AnyFilter::output(kPass, {sampler(chain)}))});
  EXPECT_EQ(opened, 0);
  EXPECT_EQ(rendered(twice), (std::vector<Rgba8>{{1, 2, 3, 255}, {4, 5, 6, 255}}));
  EXPECT_EQ(opened, 1);
}

class FailingRows final : public RowSource {
 public:
  Result<void> read(std::span<std::byte>, std::uint32_t) override {
    return Error{"row 7 is damaged"};
  }
};

TEST(Render, AnErrorOfTheSourceComesOutUnchanged) {
  CGImage broken = picture({{1, 2, 3, 255}}, kOpaque8);
  broken.openRows = []() -> Result<std::unique_ptr<RowSource>> {
    return std::unique_ptr<RowSource>(std::make_unique<FailingRows>());
  };
  const auto result =
      render(AnyFilter::output(kPass, {sampler(CIImage::imageWithCGImage(broken))}), {});
  ASSERT_TRUE(result.ok());
  const auto pixels = readAllPixels(*result);
  ASSERT_FALSE(pixels.ok());
  EXPECT_EQ(pixels.error().message, "row 7 is damaged");
}

TEST(Render, NoImageIsAnError) {
  EXPECT_FALSE(render(nullptr, {}).ok());
  EXPECT_EQ(AnyFilter::output("kernel vec4 broken(", {}), nullptr);
  EXPECT_EQ(AnyFilter::output(kPass, {sampler(nullptr)}), nullptr);
}

TEST(Render, AnEmptyExtentIsAnError) {
  const CIImageRef input = image({{1, 2, 3, 255}}, kOpaque8);
  EXPECT_FALSE(render(AnyFilter::output(kPass, {sampler(input)},
                                        {{kCIApplyOptionDefinition, {{0, 0, 0, 0}}}}),
                      {})
                   .ok());
}

TEST(Render, TheWrongNumberOfArgumentsIsAnError) {
  EXPECT_FALSE(
      render(AnyFilter::output(kPass, {sampler(image({{1, 2, 3, 255}}, kOpaque8)), 1.0}), {}).ok());
}

TEST(Render, OutsideTheInputThePictureIsTransparent) {
  const CIImageRef input = image({{10, 20, 30, 255}, {40, 50, 60, 255}}, kOpaque8);
  const CIImageRef larger =
      AnyFilter::output(kPass, {sampler(input)}, {{kCIApplyOptionDefinition, {{-1, -1, 4, 3}}}});
  EXPECT_EQ(rendered(larger), (std::vector<Rgba8>{{0, 0, 0, 0},
                                                  {0, 0, 0, 0},
                                                  {0, 0, 0, 0},
                                                  {0, 0, 0, 0},
                                                  {0, 0, 0, 0},
                                                  {10, 20, 30, 255},
                                                  {40, 50, 60, 255},
                                                  {0, 0, 0, 0},
                                                  {0, 0, 0, 0},
                                                  {0, 0, 0, 0},
                                                  {0, 0, 0, 0},
                                                  {0, 0, 0, 0}}));
}

TEST(Render, ADefinitionInsideTheInputCutsItOut) {
  std::vector<Rgba8> pixels;
  for (int i = 0; i < 12; ++i) pixels.push_back({static_cast<std::uint8_t>(i), 0, 0, 255});
  const CIImageRef part = AnyFilter::output(kPass, {sampler(image(pixels, kOpaque8, 4))},
                                            {{kCIApplyOptionDefinition, {{1, 1, 2, 2}}}});
  EXPECT_EQ(rendered(part), (std::vector<Rgba8>{pixels[5], pixels[6], pixels[9], pixels[10]}));
}

// A picture looked up by computed coordinates: column i holds i in red.
CIImageRef ramp(int columns) {
  std::vector<float> pixels;
  for (int i = 0; i < columns; ++i) {
    for (const float v : {static_cast<float>(i), 0.0F, 0.0F, 1.0F}) pixels.push_back(v);
  }
  return CIImage::initWithBitmapData_bytesPerRow_size_format_colorSpace(
      std::as_bytes(std::span(pixels)), static_cast<std::size_t>(columns) * 16,
      static_cast<std::uint32_t>(columns), 1, kCIFormatRGBAf, nullptr);
}

TEST(Render, ComputedCoordinatesAddressColumnsExactlyInterpolateBetweenAndKeepToTheEdge) {
  const CIImageRef input = image(std::vector<Rgba8>(6, {0, 0, 0, 255}), kOpaque8);
  const CIImageRef looked = AnyFilter::output(
      "kernel vec4 k(sampler s, sampler ramp, float at)"
      "{return sample(ramp, vec2(at + destCoord().x * 0.75, 0.5));}",
      {sampler(input), sampler(ramp(4)), -0.5}, {{kCIApplyOptionDefinition, {{0, 0, 6, 1}}}});
  const auto out = testing::renderedFloats(looked);
  ASSERT_EQ(out.size(), 6U);
  const float expected[] = {0, 0.25F, 1, 1.75F, 2.5F, 3};  // -0.5, 0.25, 1, 1.75, 2.5, 3.25
  for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(out[i][0], expected[i]) << i;
}

TEST(Render, OnlyTheRegionOfInterestIsPreparedForLookups) {
  const auto kernels = CIKernel::kernelsWithString(
      "kernel vec4 k(sampler s, sampler ramp)"
      "{return sample(ramp, vec2(destCoord().x * 3.0, 0.5));}");
  ASSERT_EQ(kernels.size(), 1U);
  int asked = -1;
  kernels[0]->setROISelector([&](int index, const CGRect&) {
    asked = index;
    return CGRect{0, 0, 2, 1};
  });
  const CIImageRef input = image(std::vector<Rgba8>(2, {0, 0, 0, 255}), kOpaque8);
  const auto out =
      testing::renderedFloats(AnyFilter::output(kernels[0], {sampler(input), sampler(ramp(4))}));
  ASSERT_EQ(out.size(), 4U);  // as wide as the ramp
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(out[1][0], 1.0F);  // column 3 lies outside the region, whose edge is column 1
}

CGImage indexed(const Palette& palette, const std::vector<std::uint8_t>& indices) {
  std::vector<Rgba8> pixels;
  bool opaque = true;
  for (const std::uint8_t i : indices) pixels.push_back(palette[i]);
  for (const auto& entry : palette) opaque = opaque && entry[3] == 255;
  CGImage result = picture(pixels, opaque ? kOpaque8 : kStraight8);
  result.palette = std::make_shared<const Palette>(palette);
  return result;
}

TEST(Render, AnIndexedPictureStaysIndexedAndItsTableIsMapped) {
  const CIFilterRef invert = CIFilter::filterWithName("CIColorInvert");
  invert->setValue_forKey(
      CIImage::imageWithCGImage(indexed({{0, 10, 255, 255}, {1, 2, 3, 255}}, {1, 0, 1})),
      "inputImage");
  const auto result = render(std::get<CIImageRef>(invert->valueForKey("outputImage")), {});
  ASSERT_TRUE(result.ok());
  ASSERT_NE(result->palette, nullptr);
  EXPECT_EQ(*result->palette, (Palette{{255, 245, 0, 255}, {254, 253, 252, 255}}));
  EXPECT_EQ(std::to_integer<int>(readAllPixels(*result)->at(3)), 255);
}

TEST(Render, TranslucentTableEntriesAreMappedAsTheirPixelsAre) {
  const CIFilterRef invert = CIFilter::filterWithName("CIColorInvert");
  invert->setValue_forKey(CIImage::imageWithCGImage(indexed(
                              {{0, 0, 255, 255}, {255, 0, 255, 128}, {9, 9, 9, 0}}, {0, 1, 2})),
                          "inputImage");
  const auto result = render(std::get<CIImageRef>(invert->valueForKey("outputImage")), {});
  ASSERT_TRUE(result.ok());
  ASSERT_NE(result->palette, nullptr);
  EXPECT_EQ(*result->palette, (Palette{{255, 255, 0, 255}, {0, 255, 0, 128}, {0, 0, 0, 0}}));
}

TEST(Render, AResultThatDependsOnPositionsIsNoLongerIndexed) {
  const CIImageRef input = CIImage::imageWithCGImage(indexed({{0, 10, 255, 255}}, {0, 0}));
  const auto result = render(
      AnyFilter::output("kernel vec4 k(sampler s){return vec4(destCoord().x, 0.0, 0.0, 1.0);}",
                        {sampler(input)}),
      {});
  ASSERT_TRUE(result.ok());
  EXPECT_EQ(result->palette, nullptr);
}

TEST(CIImage, PicturesThatAreNotRgbMakeNoImage) {
  const PixelLayout gray{1, SampleType::u8, AlphaInfo::none};
  auto space = std::make_shared<CGColorSpace>();
  space->model = ColorModel::gray;
  EXPECT_EQ(CIImage::imageWithCGImage(
                CGImageCreateWithPixels(1, 1, gray, std::vector<std::byte>(1), space)),
            nullptr);
}

TEST(CIImage, BitmapDataShorterThanItsSizeMakesNoImage) {
  const std::vector<std::byte> bytes(2 * 32 - 1);
  EXPECT_EQ(CIImage::initWithBitmapData_bytesPerRow_size_format_colorSpace(bytes, 32, 2, 2,
                                                                           kCIFormatRGBAf, nullptr),
            nullptr);
}

TEST(CIImage, ColoursReachKernelsPremultiplied) {
  const auto out = testing::renderedFloats(
      AnyFilter::output("kernel vec4 k(sampler s, vec4 color){return color;}",
                        {sampler(image({{0, 0, 0, 255}}, kOpaque8)), CIColor(0.5, 1, 0.25, 0.5)}));
  ASSERT_EQ(out.size(), 1U);
  EXPECT_EQ(out[0], (std::array<float, 4>{0.25F, 0.5F, 0.125F, 0.5F}));
}

TEST(CIImage, InputsThatAreNotSetReachKernelsAsZeros) {
  const auto out = testing::renderedFloats(
      AnyFilter::output("kernel vec4 k(sampler s, vec4 a, float b){return a + vec4(b);}",
                        {sampler(image({{0, 0, 0, 255}}, kOpaque8)), {}, {}}));
  ASSERT_EQ(out.size(), 1U);
  EXPECT_EQ(out[0], (std::array<float, 4>{0, 0, 0, 0}));
}

}  // namespace
}  // namespace kelvo
