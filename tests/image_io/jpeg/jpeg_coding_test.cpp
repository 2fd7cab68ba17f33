// How the pixels are coded is kept. djpeg, which prints a file's structure, is the judge.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "platform/image_io/mapped_file.h"
#include "tests/image_io/jpeg/jpeg_test_support.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

// What djpeg says about a file, in order. Each table may come in a segment of its own or not, so
// only their contents count.
struct Listing {
  std::string huffmanTables;
  std::string others;  // quantisation tables, frame, restart intervals, scans
};

Listing listingOf(const std::string& path) {
  std::istringstream lines(
      run("djpeg -verbose -verbose -verbose -outfile /dev/null " + path + " 2>&1"));
  Listing listing;
  bool inHuffmanTable = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.empty() || line.starts_with("libjpeg") || line.starts_with("Copyright") ||
        line.starts_with("Emulating")) {
      continue;
    }
    const bool numbers = line.find_first_not_of(" 0123456789") == std::string::npos;
    inHuffmanTable = line.starts_with("Define Huffman") || (inHuffmanTable && numbers);
    (inHuffmanTable ? listing.huffmanTables : listing.others) += line + "\n";
  }
  return listing;
}

std::string codingOf(const std::string& path) { return listingOf(path).others; }

struct Case {
  const char* name;
  const char* options;
};

class JpegCoding : public ::testing::TestWithParam<Case> {};

TEST_P(JpegCoding, IsKeptWithItsTablesSamplingAndScans) {
  const TemporaryDirectory directory;
  writeGradient(directory.path("picture.ppm"), 333, 217);
  const std::string file = directory.path("photo.jpg");
  const std::string original = directory.path("original.jpg");
  writeFile(directory.path("separate"), "0;\n1;\n2;\n");
  writeFile(directory.path("own"),
            "0,1,2: 0-0, 0, 1;\n0: 1-20, 0, 2;\n2: 1-63, 0, 1;\n1: 1-63, 0, 1;\n0: 21-63, 0, 2;\n"
            "0: 1-63, 2, 1;\n0,1,2: 0-0, 1, 0;\n2: 1-63, 1, 0;\n1: 1-63, 1, 0;\n0: 1-63, 1, 0;\n");
  run("cd " + directory.path("") + " && cjpeg -quality 92 " + GetParam().options +
      " -outfile original.jpg picture.ppm");
  writeFile(file, readFile(original));
  const auto result = rewrite(file, Adjustment::none);
  ASSERT_TRUE(result) << result.error().message;
  const std::string before = codingOf(original);
  EXPECT_TRUE(before.find("Define Quantization Table") != std::string::npos) << before;
  EXPECT_TRUE(before.find("Start Of Frame") != std::string::npos) << before;
  EXPECT_EQ(codingOf(file), before);
  // Rounding to 8-bit RGB and back moves a sample by less than a quantisation step of these tables
  // (at most 4 at low frequencies), and chroma that was interpolated and averaged again moves with
  // it: a smooth picture may differ by a few levels.
  EXPECT_LE(largestDifference(file, original), 5);
}

INSTANTIATE_TEST_SUITE_P(
    Cjpeg, JpegCoding,
    ::testing::Values(Case{"Baseline420", "-sample 2x2"}, Case{"Baseline422", "-sample 2x1"},
                      Case{"Baseline440", "-sample 1x2"}, Case{"Baseline444", "-sample 1x1"},
                      Case{"Baseline411", "-sample 4x1"}, Case{"OptimizedTables", "-optimize"},
                      Case{"SamplingPerComponent", "-sample 2x2,2x1,1x2"},
                      Case{"RestartIntervalOfRows", "-restart 2"},
                      Case{"RestartIntervalOfUnits", "-restart 7B"},
                      Case{"Progressive", "-progressive"},
                      Case{"ProgressiveWithRestarts", "-progressive -restart 1"},
                      Case{"ProgressiveWithItsOwnScans", "-scans own"},
                      Case{"SeparateScans", "-scans separate"}, Case{"Arithmetic", "-arithmetic"},
                      Case{"ArithmeticProgressive", "-arithmetic -progressive"},
                      Case{"Rgb", "-rgb"}, Case{"ThreeTables", "-quality 92,80,70"},
                      Case{"Quality100", "-quality 100"}),
    [](const auto& one) { return std::string(one.param.name); });

TEST(JpegCoding, TablesOfSixteenBitsAreKept) {
  const TemporaryDirectory directory;
  writeGradient(directory.path("picture.ppm"), 64, 64);
  const std::string file = directory.path("photo.jpg");
  run("cjpeg -quality 2 -outfile " + file + " " + directory.path("picture.ppm") + " 2>&1");
  const std::string before = codingOf(file);
  ASSERT_TRUE(rewrite(file, Adjustment::none));
  EXPECT_EQ(codingOf(file), before);
}

TEST(JpegCoding, TheStandardHuffmanTablesStayAndOwnOnesStayAboutAsGood) {
  const TemporaryDirectory directory;
  // Above the size up to which tables are made anew.
  writeGradient(directory.path("smooth.ppm"), 1200, 800);
  run("convert -seed 5 " + directory.path("smooth.ppm") + " +noise Gaussian " +
      directory.path("picture.ppm"));
  const std::string file = directory.path("photo.jpg");
  std::string tablesBefore;
  const auto sizeAfter = [&](const char* options) {
    run(std::string("cjpeg -quality 90 ") + options + " -outfile " + file + " " +
        directory.path("picture.ppm"));
    tablesBefore = listingOf(file).huffmanTables;
    EXPECT_TRUE(rewrite(file, Adjustment::none));
    return static_cast<double>(readFile(file).size());
  };
  const double standard = sizeAfter("");
  EXPECT_GT(tablesBefore.size(), 200U);
  EXPECT_EQ(listingOf(file).huffmanTables, tablesBefore);
  const double own = sizeAfter("-optimize");
  run("jpegtran -optimize -outfile " + directory.path("best.jpg") + " " + file);
  const auto best = static_cast<double>(readFile(directory.path("best.jpg")).size());
  EXPECT_LT(own, standard);
  EXPECT_LT(own, best * 1.005);
}

TEST(JpegCoding, AVerySmallFileDoesNotGrowByItsTables) {
  const TemporaryDirectory directory;
  const std::string file = directory.path("dot.jpg");
  run("convert -size 5x4 xc:orange -quality 90 " + file);
  const std::size_t before = readFile(file).size();
  ASSERT_TRUE(rewrite(file, Adjustment::none));
  EXPECT_LE(readFile(file).size(), before + 16);
}

class JpegSizes : public ::testing::TestWithParam<std::pair<int, int>> {};

TEST_P(JpegSizes, OddSizesAreReadAndWrittenWhole) {
  const auto [width, height] = GetParam();
  const TemporaryDirectory directory;
  writeGradient(directory.path("picture.ppm"), static_cast<std::uint32_t>(width),
                static_cast<std::uint32_t>(height));
  const std::string file = directory.path("photo.jpg");
  run("cjpeg -quality 95 -sample 1x1 -outfile " + file + " " + directory.path("picture.ppm"));
  run("cp " + file + " " + directory.path("original.jpg"));
  ASSERT_TRUE(rewrite(file, Adjustment::none));
  EXPECT_LE(largestDifference(file, directory.path("original.jpg")), 4);
}

INSTANTIATE_TEST_SUITE_P(Sizes, JpegSizes,
                         ::testing::Values(std::pair{1, 1}, std::pair{1, 100}, std::pair{100, 1},
                                           std::pair{8, 8}, std::pair{17, 15}, std::pair{16, 33},
                                           std::pair{3000, 9}));

TEST(JpegCoding, PixelsAreTheOnesThatAnotherDecoderReads) {
  const TemporaryDirectory directory;
  writeGradient(directory.path("picture.ppm"), 201, 103);
  const std::string file = directory.path("photo.jpg");
  run("cjpeg -sample 2x2 -outfile " + file + " " + directory.path("picture.ppm"));
  run("djpeg -dct int -ppm -outfile " + directory.path("decoded.ppm") + " " + file);
  const Ppm expected = readPpm(directory.path("decoded.ppm"));
  const auto source = CGImageSourceCreateWithURL(NSURL::fileURLWithPath(file));
  ASSERT_TRUE(source);
  const auto image = CGImageSourceCreateImageAtIndex(**source, 0);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->width, 201U);
  EXPECT_EQ(image->height, 103U);
  EXPECT_EQ(image->layout, (PixelLayout{.components = 3}));
  const auto pixels = readAllPixels(*image);
  ASSERT_TRUE(pixels);
  ASSERT_EQ(pixels->size(), expected.samples.size());
  EXPECT_EQ(std::memcmp(pixels->data(), expected.samples.data(), pixels->size()), 0);
}

TEST(JpegCoding, AnAdjustedPictureShowsTheAdjustment) {
  const TemporaryDirectory directory;
  writeGradient(directory.path("picture.ppm"), 160, 120);
  const std::string file = directory.path("photo.jpg");
  run("cjpeg -quality 95 -sample 1x1 -outfile " + file + " " + directory.path("picture.ppm"));
  run("djpeg -dct int -ppm " + file + " | convert - -negate " + directory.path("negative.ppm"));
  ASSERT_TRUE(rewrite(file, Adjustment::invert));
  run("djpeg -dct int -ppm -outfile " + directory.path("after.ppm") + " " + file);
  const Ppm expected = readPpm(directory.path("negative.ppm"));
  const Ppm after = readPpm(directory.path("after.ppm"));
  ASSERT_EQ(after.samples.size(), expected.samples.size());
  for (std::size_t i = 0; i < after.samples.size(); ++i) {
    ASSERT_NEAR(after.samples[i], expected.samples[i], 5) << i;
  }
}

TEST(JpegCoding, GrayAndCmykPicturesAreDescribedAndNotWritten) {
  const TemporaryDirectory directory;
  writeGradient(directory.path("picture.ppm"), 40, 30);
  const std::string gray = directory.path("gray.jpg");
  const std::string cmyk = directory.path("cmyk.jpg");
  run("cjpeg -grayscale -outfile " + gray + " " + directory.path("picture.ppm"));
  // Pure cyan ink, whichever way round the file stores it.
  run("convert -size 40x30 xc:'cmyk(255,0,0,0)' -quality 100 " + cmyk);
  const auto check = [](const std::string& file, ColorModel model, std::uint8_t components) {
    const auto source = CGImageSourceCreateWithURL(NSURL::fileURLWithPath(file));
    ASSERT_TRUE(source);
    const auto image = CGImageSourceCreateImageAtIndex(**source, 0);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->colorSpace->model, model);
    EXPECT_EQ(image->layout.components, components);
    EXPECT_FALSE(CGImageCreateCopyWithColorSpace(*image, CGColorSpaceCreateDeviceRGB()));
    const auto pixels = readAllPixels(*image);
    ASSERT_TRUE(pixels);
    if (model == ColorModel::cmyk) {
      EXPECT_NEAR(std::to_integer<int>((*pixels)[0]), 255, 2);
      EXPECT_NEAR(std::to_integer<int>((*pixels)[1]), 0, 2);
      EXPECT_NEAR(std::to_integer<int>((*pixels)[3]), 0, 2);
    }
  };
  check(gray, ColorModel::gray, 1);
  check(cmyk, ColorModel::cmyk, 4);
  const auto refused = rewrite(gray, Adjustment::none);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().message, "its colours are not RGB");
}

}  // namespace
}  // namespace kelvo::test
