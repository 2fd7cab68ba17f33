#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/image/ci_filter.h"
#include "tests/support/pixels.h"

// CIHistogram against counts made by hand.
namespace kelvo {
namespace {

using testing::Rgba8;
using Pixel = std::array<float, 4>;
using Inputs = std::initializer_list<std::pair<std::string_view, FilterValue>>;

CIFilterRef histogramFilter(const CIImageRef& input, Inputs inputs = {}) {
  const CIFilterRef filter = CIFilter::filterWithName("CIHistogram");
  filter->setDefaults();
  EXPECT_TRUE(filter->setValue_forKey(input, "inputImage"));
  for (const auto& [key, value] : inputs) EXPECT_TRUE(filter->setValue_forKey(value, key)) << key;
  return filter;
}

std::vector<Pixel> histogram(const CIImageRef& input, Inputs inputs = {}) {
  return testing::renderedFloats(histogramFilter(input, inputs)->outputImage());
}

// One row of colours that no 8-bit file could hold.
CIImageRef floats(const std::vector<Pixel>& pixels) {
  return CIImage::initWithBitmapData_bytesPerRow_size_format_colorSpace(
      std::as_bytes(std::span(pixels)), pixels.size() * 16,
      static_cast<std::uint32_t>(pixels.size()), 1, kCIFormatRGBAf, nullptr);
}

TEST(Histogram, IsOneRowWithAPixelPerBucket) {
  const auto output =
      histogramFilter(testing::image(testing::colorCube(), testing::kOpaque8, 18))->outputImage();
  EXPECT_EQ(output->extent(), (CGRect{0, 0, 256, 1}));
  const auto few = histogramFilter(testing::image(testing::colorCube(), testing::kOpaque8, 18),
                                   {{"inputBuckets", 7.0}})
                       ->outputImage();
  EXPECT_EQ(few->extent(), (CGRect{0, 0, 7, 1}));
}

TEST(Histogram, GivesEachChannelsShareOfPixels) {
  // Red: 10 twice, 20, 255. Green: 0 in all. Blue: 128 thrice, 129.
  const std::vector<Rgba8> pixels = {
      {10, 0, 128, 255}, {10, 0, 128, 255}, {20, 0, 128, 255}, {255, 0, 129, 255}};
  const auto row = histogram(testing::image(pixels, testing::kOpaque8, 2));
  ASSERT_EQ(row.size(), 256U);
  for (std::size_t i = 0; i < 256; ++i) {
    EXPECT_EQ(row[i][0], i == 10 ? 0.5F : i == 20 || i == 255 ? 0.25F : 0.0F) << i;
    EXPECT_EQ(row[i][1], i == 0 ? 1.0F : 0.0F) << i;
    EXPECT_EQ(row[i][2], i == 128 ? 0.75F : i == 129 ? 0.25F : 0.0F) << i;
    EXPECT_EQ(row[i][3], i == 255 ? 1.0F : 0.0F) << i;
  }
}

TEST(Histogram, GivesEveryLevelOfAFileABucketOfItsOwn) {
  const auto row = histogram(testing::image(testing::allGreys(), testing::kOpaque8, 16));
  ASSERT_EQ(row.size(), 256U);
  for (const Pixel& bucket : row) {
    for (std::size_t c = 0; c < 3; ++c) EXPECT_EQ(bucket[c], 1.0F / 256);
  }
}

TEST(Histogram, CountsEveryPixelOfAPictureHigherThanAStrip) {
  std::vector<Rgba8> pixels(3 * 100);
  std::vector<int> expected(256);
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const auto level = static_cast<std::uint8_t>(i * i % 251);
    pixels[i] = {level, level, level, 255};
    ++expected[level];
  }
  const auto row = histogram(testing::image(pixels, testing::kOpaque8, 3));
  ASSERT_EQ(row.size(), 256U);
  for (std::size_t i = 0; i < 256; ++i) {
    EXPECT_FLOAT_EQ(row[i][1], static_cast<float>(expected[i]) / 300.0F) << i;
  }
}

TEST(Histogram, CountsStraightColoursAndAlphaItself) {
  // Half transparent red of level 200; wholly transparent pixels have no colour, which is 0.
  const auto row =
      histogram(testing::image({{200, 0, 40, 128}, {200, 0, 40, 0}}, testing::kStraight8));
  ASSERT_EQ(row.size(), 256U);
  EXPECT_EQ(row[200][0], 0.5F);
  EXPECT_EQ(row[0][0], 0.5F);
  EXPECT_EQ(row[40][2], 0.5F);
  EXPECT_EQ(row[0][1], 1.0F);
  EXPECT_EQ(row[128][3], 0.5F);
  EXPECT_EQ(row[0][3], 0.5F);
}

TEST(Histogram, CountsWhatLiesOutsideTheRangeAtItsEnds) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  const auto row =
      histogram(floats({{-1, nan, 1, 1}, {2, 0, 0.5F, 1}, {inf, -inf, 0.999F, 1}, {1, 1, 1, 1}}));
  ASSERT_EQ(row.size(), 256U);
  EXPECT_EQ(row[0][0], 0.25F);
  EXPECT_EQ(row[255][0], 0.75F);
  EXPECT_EQ(row[0][1], 0.75F);
  EXPECT_EQ(row[255][1], 0.25F);
  EXPECT_EQ(row[128][2], 0.25F);
  EXPECT_EQ(row[255][2], 0.75F);
}

TEST(Histogram, SpreadsTheBucketsOverTheRange) {
  // Four buckets over 0.25…0.75: their borders are 0.375, 0.5, 0.625.
  const auto row =
      histogram(floats({{0.3F, 0.374F, 0, 1},
                        {0.4F, 0.376F, 1, 1},
                        {0.6F, 0.5F, 0.625F, 1},
                        {0.7F, 0.7F, 0.25F, 1}}),
                {{"inputBuckets", 4.0}, {"inputRangeMin", 0.25}, {"inputRangeMax", 0.75}});
  ASSERT_EQ(row.size(), 4U);
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(row[i][0], 0.25F) << i;
  EXPECT_EQ(row[0][1], 0.25F);
  EXPECT_EQ(row[1][1], 0.25F);
  EXPECT_EQ(row[2][1], 0.25F);
  EXPECT_EQ(row[3][1], 0.25F);
  EXPECT_EQ(row[0][2], 0.5F);
  EXPECT_EQ(row[3][2], 0.5F);
}

TEST(Histogram, MultipliesTheSharesByTheScale) {
  const auto row = histogram(testing::image({{1, 2, 3, 255}, {1, 2, 4, 255}}, testing::kOpaque8),
                             {{"inputScale", 3.0}});
  ASSERT_EQ(row.size(), 256U);
  EXPECT_EQ(row[1][0], 3.0F);
  EXPECT_EQ(row[2][1], 3.0F);
  EXPECT_EQ(row[3][2], 1.5F);
  EXPECT_EQ(row[255][3], 3.0F);
}

TEST(Histogram, AtScaleZeroTheTallestBucketOfAnyColourIsThreeQuarters) {
  // Tallest: green, 3 of 4 pixels.
  const auto row =
      histogram(testing::image({{0, 9, 0, 255}, {1, 9, 1, 255}, {2, 9, 1, 255}, {3, 8, 4, 255}},
                               testing::kOpaque8),
                {{"inputScale", 0.0}});
  ASSERT_EQ(row.size(), 256U);
  EXPECT_FLOAT_EQ(row[9][1], 0.75F);
  EXPECT_FLOAT_EQ(row[8][1], 0.25F);
  EXPECT_FLOAT_EQ(row[1][2], 0.5F);
  for (std::size_t i = 0; i < 4; ++i) EXPECT_FLOAT_EQ(row[i][0], 0.25F) << i;
  EXPECT_EQ(row[255][3], 1.0F) << "alpha stays a share";
}

TEST(Histogram, MeasuresEveryPixelWhateverTheQuality) {
  const CIImageRef input = testing::image(testing::colorCube(), testing::kOpaque8, 18);
  EXPECT_EQ(histogram(input, {{"inputQuality", 0.1}}), histogram(input));
}

TEST(Histogram, MeasuresTheResultOfOtherFilters) {
  const CIFilterRef invert = CIFilter::filterWithName("CIColorInvert");
  invert->setValue_forKey(testing::image({{10, 20, 30, 255}}, testing::kOpaque8), "inputImage");
  const auto row = histogram(invert->outputImage());
  ASSERT_EQ(row.size(), 256U);
  EXPECT_EQ(row[245][0], 1.0F);
  EXPECT_EQ(row[235][1], 1.0F);
  EXPECT_EQ(row[225][2], 1.0F);
}

TEST(Histogram, LimitsTheNumberOfBuckets) {
  const CIImageRef input = testing::image({{255, 0, 0, 255}}, testing::kOpaque8);
  EXPECT_EQ(histogram(input, {{"inputBuckets", 0.0}}), (std::vector<Pixel>{{1, 1, 1, 1}}));
  EXPECT_EQ(histogram(input, {{"inputBuckets", -5.0}}).size(), 1U);
  EXPECT_EQ(histogram(input, {{"inputBuckets", 2.9}}).size(), 2U);
  EXPECT_EQ(histogram(input, {{"inputBuckets", 1e12}}).size(), 4096U);
  EXPECT_EQ(histogram(input, {{"inputBuckets", std::nan("")}}).size(), 1U);
}

TEST(Histogram, HasNoPictureWithoutAnImageOrARange) {
  EXPECT_EQ(histogramFilter(nullptr)->outputImage(), nullptr);
  const CIImageRef input = testing::image({{255, 0, 0, 255}}, testing::kOpaque8);
  EXPECT_EQ(histogramFilter(input, {{"inputRangeMin", 1.0}})->outputImage(), nullptr);
  EXPECT_EQ(histogramFilter(input, {{"inputRangeMin", 2.0}})->outputImage(), nullptr);
  EXPECT_EQ(histogramFilter(input, {{"inputRangeMax", std::nan("")}})->outputImage(), nullptr);
}

TEST(Histogram, MeasuresNothingBeforeItIsRendered) {
  int passes = 0;
  CGImage picture = testing::picture({{1, 2, 3, 255}}, testing::kOpaque8);
  picture.openRows = [&passes, open = picture.openRows] {
    ++passes;
    return open();
  };
  const auto output = histogramFilter(CIImage::imageWithCGImage(picture))->outputImage();
  EXPECT_EQ(passes, 0);
  EXPECT_EQ(testing::renderedFloats(output).size(), 256U);
  EXPECT_EQ(passes, 1);
}

TEST(Histogram, PassesOnTheErrorOfDamagedRows) {
  CGImage picture = testing::picture({{1, 2, 3, 255}}, testing::kOpaque8);
  picture.openRows = []() -> Result<std::unique_ptr<RowSource>> {
    return Error{"the file ends early"};
  };
  const auto output =
      render(histogramFilter(CIImage::imageWithCGImage(picture))->outputImage(), {});
  ASSERT_TRUE(output);
  const auto read = readAllPixels(*output);
  ASSERT_FALSE(read);
  EXPECT_EQ(read.error().message, "the file ends early");
}

}  // namespace
}  // namespace kelvo
