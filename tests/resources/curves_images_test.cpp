#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/foundation/ns_bundle.h"
#include "platform/image_io/cg_image_source.h"

// The pictures of the curves view as the action's bundle offers them.
namespace kelvo {
namespace {

using Pixel = std::array<std::uint8_t, 4>;

struct Picture {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::byte> pixels;

  // Row 0 is the uppermost.
  [[nodiscard]] Pixel at(std::uint32_t x, std::uint32_t y) const {
    Pixel pixel{};
    for (std::size_t c = 0; c < 4; ++c) {
      pixel[c] = std::to_integer<std::uint8_t>(pixels[4 * (std::size_t{y} * width + x) + c]);
    }
    return pixel;
  }
};

Picture load(const std::string& name) {
  const auto bundle = NSBundle::bundleWithPath(KELVO_BINARY_DIR "/lib/kelvo/Kelvo Images.action");
  if (!bundle) {
    ADD_FAILURE() << bundle.error().message;
    return {};
  }
  const auto path = (*bundle)->pathForImageResource(name);
  if (!path) {
    ADD_FAILURE() << name << " is not in the bundle";
    return {};
  }
  const auto source = CGImageSourceCreateWithURL(NSURL::fileURLWithPath(*path));
  if (!source) {
    ADD_FAILURE() << name << ": " << source.error().message;
    return {};
  }
  EXPECT_EQ(CGImageSourceGetStatus(**source).status, CGImageSourceStatus::complete);
  const auto image = CGImageSourceCreateImageAtIndex(**source, 0);
  if (!image || image->layout != PixelLayout{4, SampleType::u8, AlphaInfo::last}) {
    ADD_FAILURE() << name << " is not RGB with alpha";
    return {};
  }
  auto pixels = readAllPixels(*image);
  EXPECT_TRUE(pixels);
  return {image->width, image->height, std::move(pixels).value()};
}

constexpr Pixel kNothing{0, 0, 0, 0};
constexpr Pixel kBlack{0, 0, 0, 255};
constexpr Pixel kWhite{255, 255, 255, 255};

struct Shape {
  std::string name;  // with "%" where a scale would stand
  std::uint32_t width;
  std::uint32_t height;
};

std::string nameAt(std::string name, std::uint32_t scale) {
  return name.replace(name.find('%'), 1, scale == 2 ? "@2x" : "");
}

TEST(CurvesImages, HaveTheirSizeAndTwiceThat) {
  for (const Shape& shape :
       {Shape{"CurvesCursor%.tif", 16, 21}, Shape{"CurvesAdd%.tif", 24, 24},
        Shape{"CurvesMove%.tif", 25, 25}, Shape{"CurvesBoxNormal%.png", 7, 7},
        Shape{"CuvesBoxSelected%.png", 7, 7}, Shape{"CurvesLabelLeft%.png", 52, 37},
        Shape{"CurvesLabelBottom%.png", 51, 39}}) {
    for (const std::uint32_t scale : {1U, 2U}) {
      const std::string name = nameAt(shape.name, scale);
      const Picture picture = load(name);
      EXPECT_EQ(picture.width, scale * shape.width) << name;
      EXPECT_EQ(picture.height, scale * shape.height) << name;
    }
  }
}

// The hot spot is (3.0, 1.5) from the upper left corner.
TEST(CurvesImages, CursorsPointWithTheirHotSpot) {
  for (const char* name : {"CurvesCursor%.tif", "CurvesAdd%.tif", "CurvesMove%.tif"}) {
    const Picture fine = load(nameAt(name, 2));
    // Black begins just below the hot spot; above and to the left there is the edge of one unit.
    EXPECT_EQ(fine.at(6, 6), kBlack) << name;
    EXPECT_EQ(fine.at(5, 6), kWhite) << name;
    EXPECT_GT(fine.at(6, 1)[3], 0) << name;
    EXPECT_EQ(fine.at(6, 0)[3], 0) << name;
    EXPECT_EQ(fine.at(3, 6), kNothing) << name;
    const Picture coarse = load(nameAt(name, 1));
    EXPECT_EQ(coarse.at(3, 4), kBlack) << name;
    EXPECT_EQ(coarse.at(1, 4), kNothing) << name;
  }
}

TEST(CurvesImages, CursorsSayWhatAPressDoes) {
  // The middles of the plus and of the four arrows lie apart from the arrow itself.
  EXPECT_EQ(load("CurvesAdd.tif").at(18, 18), kBlack);
  EXPECT_EQ(load("CurvesAdd.tif").at(18, 14), kBlack);
  EXPECT_EQ(load("CurvesMove.tif").at(17, 17), kBlack);
  EXPECT_EQ(load("CurvesMove.tif").at(17, 20), kBlack);
  EXPECT_EQ(load("CurvesMove.tif").at(20, 17), kBlack);
}

// A box of 5 x 5 in the middle, where the curve is left out.
TEST(CurvesImages, PointBoxesFillWhatTheCurveLeavesFree) {
  for (const std::uint32_t scale : {1U, 2U}) {
    const Picture normal = load(nameAt("CurvesBoxNormal%.png", scale));
    const Picture selected = load(nameAt("CuvesBoxSelected%.png", scale));
    const Pixel ink = selected.at(3 * scale, 3 * scale);
    EXPECT_EQ(ink[3], 255);
    for (std::uint32_t y = 0; y < 7 * scale; ++y) {
      for (std::uint32_t x = 0; x < 7 * scale; ++x) {
        const auto within = [&](std::uint32_t margin) {
          const std::uint32_t low = margin * scale;
          const std::uint32_t high = (7 - margin) * scale;
          return x >= low && x < high && y >= low && y < high;
        };
        EXPECT_EQ(selected.at(x, y), within(1) ? ink : kNothing) << x << ' ' << y;
        EXPECT_EQ(normal.at(x, y), within(2)   ? kWhite
                                   : within(1) ? ink
                                               : kNothing)
            << x << ' ' << y;
      }
    }
  }
}

// Three bold digits of 9 units take less than 22 x 9 units, from 13 above the lower edge on.
TEST(CurvesImages, LabelsAreDarkWhereTheirTextStands) {
  for (const char* name : {"CurvesLabelLeft%.png", "CurvesLabelBottom%.png"}) {
    for (const std::uint32_t scale : {1U, 2U}) {
      const Picture label = load(nameAt(name, scale));
      const std::uint32_t middle = label.width / 2;
      for (std::uint32_t y = label.height - 22 * scale; y < label.height - 11 * scale; ++y) {
        for (std::uint32_t x = middle - 11 * scale; x < middle + 11 * scale; ++x) {
          const Pixel pixel = label.at(x, y);
          ASSERT_EQ(pixel[3], 255) << name << ' ' << x << ' ' << y;
          ASSERT_LT(pixel[0], 64) << name << ' ' << x << ' ' << y;
        }
      }
    }
  }
}

TEST(CurvesImages, LabelsHaveRoundCornersAndPointToThePlot) {
  const Picture left = load("CurvesLabelLeft.png");
  EXPECT_EQ(left.at(0, 0), kNothing);
  EXPECT_EQ(left.at(51, 0), kNothing);
  EXPECT_EQ(left.at(48, 18)[3], 255) << "the point, at the right";
  EXPECT_LT(left.at(48, 10)[3], 128);
  const Picture bottom = load("CurvesLabelBottom.png");
  EXPECT_EQ(bottom.at(0, 0), kNothing);
  EXPECT_EQ(bottom.at(25, 7)[3], 255) << "the point, at the top";
  EXPECT_LT(bottom.at(12, 7)[3], 128);
}

}  // namespace
}  // namespace kelvo
