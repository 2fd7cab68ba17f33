#include <gtest/gtest.h>

#include "engine/auto.h"
#include "engine/basic_adjustments.h"
#include "engine/equalize.h"
#include "engine/filter_globals.h"
#include "platform/image/render.h"
#include "tests/image_io/gif/gif_test_support.h"

namespace kelvo::gif_test {
namespace {

using Adjustment = CIImageRef (*)(const CIImageRef&);

CGImage adjusted(const CGImage& image, Adjustment adjustment) {
  registerAdjustmentFilters();
  auto result = render(adjustment(CIImage::imageWithCGImage(image)),
                       {.dropAlpha = image.layout.alpha == AlphaInfo::none});
  if (!result) {
    ADD_FAILURE() << result.error().message;
    return image;
  }
  return *result;
}

std::string rewritten(const std::string& file, Adjustment adjustment) {
  return rewrite(file,
                 [&](const CGImage& image, std::size_t) { return adjusted(image, adjustment); });
}

CIImageRef invert(const CIImageRef& image) { return applyInvertForCIImage(image); }
CIImageRef equalize(const CIImageRef& image) { return applyEqualizeForCIImage(image); }
CIImageRef automatic(const CIImageRef& image) { return applyAutoForCIImage(image); }

// Frames that differ in brightness, so that each measures differently, sharing a table.
std::string unevenAnimation() {
  const test::TemporaryDirectory directory;
  test::run(
      "convert -delay 7 -size 50x40 \\( -seed 1 plasma:gray20-gray60 \\) "
      "\\( -seed 2 plasma:gray40-white \\) \\( -seed 3 plasma:navy-yellow \\) "
      "+dither -remap netscape: 'gif:" +
      directory.path("a.gif") + "'");
  return test::readFile(directory.path("a.gif"));
}

// Frames with transparent parts, of different sizes and places.
std::string transparentAnimation() {
  const test::TemporaryDirectory directory;
  test::run(
      "convert -delay 7 -dispose background "
      "\\( -size 60x40 xc:none \\( -size 30x40 -seed 1 plasma:red-blue \\) -composite \\) "
      "\\( -size 60x40 xc:none \\( -size 30x20 -seed 2 plasma:green-yellow \\) "
      "-geometry +20+9 -composite \\) 'gif:" +
      directory.path("a.gif") + "'");
  return test::readFile(directory.path("a.gif"));
}

TEST(GifAdjusting, AnInvertedAnimationIsWhatAnotherToolMakesOfIt) {
  for (const std::string& before :
       {animation(""), animation("-interlace GIF"), animation("+dither -remap netscape:"),
        animation("-layers optimize"), transparentAnimation()}) {
    const std::string after = rewritten(before, invert);
    EXPECT_TRUE(partsWithoutTables(after) == partsWithoutTables(before));
    EXPECT_TRUE(coalescedByOtherTool(after) ==
                coalescedByOtherTool(before, "-channel RGB -negate +channel"));
  }
}

// Frame by frame, the palette's way gives the pixels that the same adjustment makes of pixels
// without a palette.
void expectEveryFrameAsAdjustedByPixels(const std::string& before, Adjustment adjustment) {
  const std::string after = rewritten(before, adjustment);
  const auto source = openSource(before);
  for (std::size_t frame = 0; frame < source->count(); ++frame) {
    CGImage direct = *source->image(frame);
    direct.palette = nullptr;
    const auto expected = readAllPixels(adjusted(direct, adjustment));
    ASSERT_TRUE(expected.ok());
    std::string bytes(reinterpret_cast<const char*>(expected->data()), expected->size());
    std::string found = pixels(after, frame);
    if (direct.layout.components == 4) {
      // Colours under alpha 0 do not show.
      for (std::size_t i = 0; i < found.size(); i += 4) {
        if (found[i + 3] == 0) found.replace(i, 3, bytes, i, 3);
      }
    }
    EXPECT_TRUE(found == bytes) << "frame " << frame;
  }
  EXPECT_TRUE(after != before);
}

TEST(GifAdjusting, FramesThatAreMeasuredByThemselvesGetTablesByThemselves) {
  for (const Adjustment adjustment : {equalize, automatic}) {
    const std::string before = unevenAnimation();
    const auto localTables = [](const std::string& file) {
      const auto parts = partsOf(file);
      return std::count_if(parts.begin(), parts.end(),
                           [](const Part& part) { return part.kind == "local table"; });
    };
    ASSERT_EQ(localTables(before), 0);
    expectEveryFrameAsAdjustedByPixels(before, adjustment);
    EXPECT_EQ(localTables(rewritten(before, adjustment)), 2);
  }
}

TEST(GifAdjusting, TransparentPixelsStayTransparentAndAreMeasuredAsSuch) {
  for (const Adjustment adjustment : {invert, equalize, automatic}) {
    expectEveryFrameAsAdjustedByPixels(transparentAnimation(), adjustment);
  }
}

TEST(GifAdjusting, RectanglesDelaysAndIndicesStayWhateverIsMeasured) {
  const std::string before = unevenAnimation();
  const std::string after = rewritten(before, equalize);
  auto partsBefore = partsWithoutTables(before);
  auto partsAfter = partsWithoutTables(after);
  ASSERT_EQ(partsAfter.size(), partsBefore.size());
  for (std::size_t i = 0; i < partsBefore.size(); ++i) {
    if (partsBefore[i].kind == "descriptor") {
      partsBefore[i].bytes.pop_back();
      partsAfter[i].bytes.pop_back();
    }
    EXPECT_EQ(partsAfter[i], partsBefore[i]);
  }
}

}  // namespace
}  // namespace kelvo::gif_test
