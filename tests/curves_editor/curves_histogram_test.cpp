#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "curves_editor/reset_alpha_filter.h"
#include "platform/drawing/display_list.h"
#include "tests/support/pixels.h"

namespace kelvo {
namespace {

using testing::Rgba8;

class CurvesHistogram : public ::testing::Test {
 protected:
  // The picture that is composited behind the curves of a channel; null if nothing is drawn.
  std::shared_ptr<const NSImage> backdrop(int channel) {
    view_.setActiveChannel(channel);
    DisplayList list;
    view_.drawHistogram(list);
    if (list.commands().empty()) return nullptr;
    EXPECT_EQ(list.commands().size(), 1U);
    const auto& composite = std::get<drawing::Composite>(list.commands().front());
    EXPECT_EQ(composite.point, (NSPoint{3, 3}));
    EXPECT_EQ(composite.operation, NSCompositingOperation::sourceOver);
    EXPECT_EQ(composite.fraction, 0.15);
    return composite.image;
  }

  // The corners of the one polygon that the picture consists of.
  std::vector<NSPoint> polygon(int channel) {
    const auto image = backdrop(channel);
    if (!image) return {};
    const auto& commands = image->drawing().commands();
    EXPECT_EQ(commands.size(), 2U);
    std::vector<NSPoint> points;
    for (const PathElement& element : std::get<drawing::Fill>(commands.at(1)).path.elements()) {
      EXPECT_EQ(element.kind, points.empty() ? PathElementKind::moveTo : PathElementKind::lineTo);
      points.push_back(element.points[0]);
    }
    return points;
  }

  // Heights of the 256 buckets, in view units.
  std::vector<double> heights(int channel) {
    const auto points = polygon(channel);
    std::vector<double> heights;
    if (points.size() == 258) {
      for (std::size_t i = 1; i < 257; ++i) heights.push_back(points[i].y);
    }
    return heights;
  }

  void show(const std::vector<Rgba8>& pixels, PixelLayout layout = testing::kOpaque8) {
    view_.setCIImageForH(testing::image(pixels, layout));
  }

  KelvoTQCurvesView view_;
};

TEST_F(CurvesHistogram, IsNotThereAtFirst) {
  for (int channel = 0; channel < 4; ++channel) EXPECT_EQ(backdrop(channel), nullptr);
}

TEST_F(CurvesHistogram, IsOneFilledPolygonOf258PointsAChannel) {
  show({{10, 20, 30, 255}, {200, 20, 31, 255}});
  const std::array colors = {NSColor::colorWithCalibratedRed_green_blue_alpha(0, 0, 0, 1),
                             NSColor::colorWithCalibratedRed_green_blue_alpha(1, 0, 0, 1),
                             NSColor::colorWithCalibratedRed_green_blue_alpha(0, 1, 0, 1),
                             NSColor::colorWithCalibratedRed_green_blue_alpha(0, 0, 1, 1)};
  for (int channel = 0; channel < 4; ++channel) {
    const auto image = backdrop(channel);
    ASSERT_NE(image, nullptr) << channel;
    EXPECT_EQ(image->size(), (NSSize{256, 256}));
    const auto& commands = image->drawing().commands();
    ASSERT_EQ(commands.size(), 2U);
    EXPECT_EQ(std::get<drawing::SetColor>(commands[0]).color,
              colors[static_cast<std::size_t>(channel)]);
    const auto points = polygon(channel);
    ASSERT_EQ(points.size(), 258U);
    EXPECT_EQ(points.front(), (NSPoint{0, 0}));
    EXPECT_EQ(points.back(), (NSPoint{255, 0}));
    for (std::size_t i = 0; i < 256; ++i) EXPECT_EQ(points[i + 1].x, static_cast<double>(i));
  }
}

// The highest a bucket may be is 3/4, which 8 bits store as 191: floor(255 3/4 + 1/2).
constexpr double kTallest = static_cast<double>(191 / 255.0F * 256.0F);

TEST_F(CurvesHistogram, OfASolidColourHasOneSpikeAChannel) {
  show(std::vector<Rgba8>(100, {12, 130, 240, 255}));
  const std::array<std::size_t, 3> levels = {12, 130, 240};
  for (int channel = 1; channel < 4; ++channel) {
    const auto found = heights(channel);
    ASSERT_EQ(found.size(), 256U);
    for (std::size_t i = 0; i < 256; ++i) {
      EXPECT_NEAR(found[i], i == levels[static_cast<std::size_t>(channel) - 1] ? kTallest : 0, 1e-4)
          << channel << ' ' << i;
    }
  }
  const auto master = heights(0);
  ASSERT_EQ(master.size(), 256U);
  for (std::size_t i = 0; i < 256; ++i) {
    const bool spike = std::ranges::find(levels, i) != levels.end();
    EXPECT_NEAR(master[i], spike ? kTallest : 0, 1e-4) << i;
  }
}

TEST_F(CurvesHistogram, StaysWithinThePlot) {
  show(testing::colorCube());
  for (int channel = 0; channel < 4; ++channel) {
    const auto found = heights(channel);
    ASSERT_EQ(found.size(), 256U);
    EXPECT_LE(*std::ranges::max_element(found), 192) << channel;
    EXPECT_GT(*std::ranges::max_element(found), 190) << channel;
  }
}

// Red: 0 in 4 of 8, 1 in 2, 2 and 3 in 1 each. Green: 1 in all 8. Blue: 9 in 6, 2 in 2.
TEST_F(CurvesHistogram, ShowsSharesInProportionAndTheHighestOfThemForTheMaster) {
  show({{0, 1, 9, 255},
        {0, 1, 9, 255},
        {0, 1, 9, 255},
        {0, 1, 9, 255},
        {1, 1, 9, 255},
        {1, 1, 9, 255},
        {2, 1, 2, 255},
        {3, 1, 2, 255}});
  // n of 8 pixels are n/8 of 3/4, as one of 256 levels, in 256 units.
  const auto height = [](int n) { return std::floor(n / 8.0 * 0.75 * 255 + 0.5) / 255 * 256; };
  const auto expect = [&](int channel, std::vector<int> counts) {
    const auto found = heights(channel);
    ASSERT_EQ(found.size(), 256U);
    counts.resize(256);
    for (std::size_t i = 0; i < 256; ++i) {
      EXPECT_NEAR(found[i], height(counts[i]), 1e-4) << channel << ' ' << i;
    }
  };
  expect(1, {4, 2, 1, 1});
  expect(2, {0, 8});
  expect(3, {0, 0, 2, 0, 0, 0, 0, 0, 0, 6});
  expect(0, {4, 8, 2, 1, 0, 0, 0, 0, 0, 6});
}

TEST_F(CurvesHistogram, CountsTheColoursOfTranslucentPixels) {
  show({{200, 100, 50, 10}, {200, 100, 50, 128}}, testing::kStraight8);
  EXPECT_NEAR(heights(1).at(200), kTallest, 1e-4);
  EXPECT_NEAR(heights(2).at(100), kTallest, 1e-4);
  EXPECT_NEAR(heights(3).at(50), kTallest, 1e-4);
}

TEST_F(CurvesHistogram, IsReplacedAndTakenAway) {
  show({{10, 10, 10, 255}});
  const auto first = backdrop(0);
  show({{20, 20, 20, 255}});
  EXPECT_NE(backdrop(0), first);
  EXPECT_EQ(heights(0).at(10), 0);
  EXPECT_NEAR(heights(0).at(20), kTallest, 1e-4);
  view_.setCIImageForH(nullptr);
  for (int channel = 0; channel < 4; ++channel) EXPECT_EQ(backdrop(channel), nullptr);
}

TEST_F(CurvesHistogram, IsNotThereForAPictureThatCannotBeRead) {
  show({{10, 10, 10, 255}});
  CGImage damaged = testing::picture({{1, 2, 3, 255}}, testing::kOpaque8);
  damaged.openRows = []() -> Result<std::unique_ptr<RowSource>> { return Error{"damaged"}; };
  view_.setCIImageForH(CIImage::imageWithCGImage(damaged));
  EXPECT_EQ(backdrop(0), nullptr);
}

TEST_F(CurvesHistogram, SeesARowOfPixelsAsABitmap) {
  std::array<std::uint8_t, 4 * 256> pixels{};
  const CMBitmap bitmap = KelvoTQCurvesView::getCMBitmapFromPixels_width(pixels, 256);
  EXPECT_EQ(bitmap.image, pixels.data());
  EXPECT_EQ(bitmap.width, 256U);
  EXPECT_EQ(bitmap.height, 1U);
  EXPECT_EQ(bitmap.rowBytes, 1024U);
  EXPECT_EQ(bitmap.pixelSize, 32U);
  EXPECT_EQ(bitmap.space, BitmapSpace::cmARGB32Space);
}

// The filter

CIImageRef withResetAlpha(const CIImageRef& image) {
  TQResetAlphaFilter::initialize();
  const CIFilterRef filter = CIFilter::filterWithName("TQResetAlphaFilter");
  EXPECT_NE(filter, nullptr);
  filter->setDefaults();
  EXPECT_TRUE(filter->setValue_forKey(image, "inputImage"));
  return filter->outputImage();
}

TEST(ResetAlphaFilter, SetsAlphaAndLeavesTheRest) {
  const std::vector<std::array<float, 4>> pixels = {
      {0.25F, 0.5F, 0.75F, 0}, {2, -1, 0, 0.5F}, {0.1F, 0.2F, 0.3F, 1}, {1, 1, 1, 7}};
  const CIImageRef image = CIImage::initWithBitmapData_bytesPerRow_size_format_colorSpace(
      std::as_bytes(std::span(pixels)), 64, 4, 1, kCIFormatRGBAf, nullptr);
  const CIImageRef result = withResetAlpha(image);
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result->extent(), image->extent());
  auto expected = pixels;
  for (auto& pixel : expected) pixel[3] = 1;
  EXPECT_EQ(testing::renderedFloats(result), expected);
}

// 8-bit rendering would limit colours to alpha.
TEST(ResetAlphaFilter, MakesARowReadableAsOpaque) {
  const auto result = testing::rendered(
      withResetAlpha(testing::image({{200, 100, 50, 0}}, testing::kPremultiplied8)));
  ASSERT_EQ(result.size(), 1U);
  EXPECT_EQ(result[0], (Rgba8{200, 100, 50, 255}));
}

TEST(ResetAlphaFilter, HasNoPictureWithoutAnImage) { EXPECT_EQ(withResetAlpha(nullptr), nullptr); }

TEST(ResetAlphaFilter, MayBeRegisteredTwice) {
  TQResetAlphaFilter::initialize();
  TQResetAlphaFilter::initialize();
  EXPECT_TRUE(CIFilter::attributesOfFilterWithName("TQResetAlphaFilter"));
}

}  // namespace
}  // namespace kelvo
