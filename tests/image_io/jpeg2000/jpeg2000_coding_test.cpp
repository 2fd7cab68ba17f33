// Pixels: what is read, what is written, how it is coded.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/image_io/jpeg2000/jpeg2000_test_support.h"

namespace kelvo::image_io_test {
namespace {

TEST(Jpeg2000Coding, LosslessPixelsAreReadExactly) {
  EXPECT_EQ(pixels(kJpeg2000Codec, makeJpeg2000()), smoothSamples(120, 90));
  EXPECT_EQ(pixels(kJpeg2000Codec, makeJpeg2000("", "j2k")), smoothSamples(120, 90));
}

TEST(Jpeg2000Coding, LosslessFilesStayLossless) {
  EXPECT_EQ(seenPixels(rewrite(kJpeg2000Codec, makeJpeg2000(), inverted)),
            complement(smoothSamples(120, 90)));
  EXPECT_EQ(seenPixels(rewrite(kJpeg2000Codec, makeJpeg2000("", "j2k"), inverted), "RGB", 8, "j2k"),
            complement(smoothSamples(120, 90)));
}

TEST(Jpeg2000Coding, ASecondInversionOfALosslessFileGivesThePixelsOfTheFirst) {
  const Bytes once = rewrite(kJpeg2000Codec, makeJpeg2000(), inverted);
  EXPECT_EQ(seenPixels(rewrite(kJpeg2000Codec, once, inverted)), smoothSamples(120, 90));
}

TEST(Jpeg2000Coding, RewritingALosslessFileTwiceGivesTheSameBytes) {
  const Bytes once = rewrite(kJpeg2000Codec, makeJpeg2000("-t 50,40"));
  EXPECT_EQ(rewrite(kJpeg2000Codec, once), once);
}

TEST(Jpeg2000Coding, LossyPixelsAreReadAsOtherProgramsReadThem) {
  const Bytes file = makeJpeg2000("-I -r 20");
  EXPECT_EQ(pixels(kJpeg2000Codec, file), seenPixels(file));
}

TEST(Jpeg2000Coding, LossyFilesStayLossyKeepTheirSizeAndLoseLittle) {
  const Bytes file = makeJpeg2000("-I -r 12", "jp2", 400, 300);
  const Bytes written = rewrite(kJpeg2000Codec, file, inverted);
  const double lost = difference(seenPixels(file), smoothSamples(400, 300));
  EXPECT_LT(difference(seenPixels(written), complement(seenPixels(file))), lost + 0.5);
  EXPECT_NEAR(static_cast<double>(written.size()), static_cast<double>(file.size()),
              0.1 * static_cast<double>(file.size()));
}

TEST(Jpeg2000Coding, DeepFilesAreReadInFullDepth) {
  const Bytes file = makeJpeg2000("", "jp2", 60, 40, false, 16);
  EXPECT_EQ(openSource(kJpeg2000Codec, file)->info(0).bitsPerComponent, 16U);
  EXPECT_EQ(pixels(kJpeg2000Codec, file), seenPixels(file, "RGB", 16));
}

TEST(Jpeg2000Coding, DeepFilesBecomeFilesOfEightBits) {
  const Bytes file = makeJpeg2000("", "jp2", 60, 40, false, 16);
  const Bytes written = rewrite(kJpeg2000Codec, file);
  EXPECT_EQ(openSource(kJpeg2000Codec, written)->info(0).bitsPerComponent, 8U);
  EXPECT_EQ(payload(written, "ihdr").at(10), std::byte{7});
  // To the nearest: 65535 is 255 times 257.
  Bytes expected;
  const Bytes deep = seenPixels(file, "RGB", 16);
  for (std::size_t i = 0; i < deep.size(); i += 2) {
    const unsigned level =
        std::to_integer<unsigned>(deep[i + 1]) << 8 | std::to_integer<unsigned>(deep[i]);
    expected.push_back(static_cast<std::byte>((level + 128) / 257));
  }
  EXPECT_EQ(seenPixels(written), expected);
}

TEST(Jpeg2000Coding, DeepFilesKeepTheirDepthWhenAsked) {
  for (const unsigned bits : {10U, 12U, 16U}) {
    const Bytes file = makeJpeg2000("-t 32,32", "jp2", 60, 40, false, bits);
    const Bytes written = rewrite(kJpeg2000Codec, file, renderedDeep, {.keepDepth = true});
    EXPECT_EQ(openSource(kJpeg2000Codec, written)->info(0).bitsPerComponent, bits);
    EXPECT_EQ(seenPixels(written, "RGB", 16), seenPixels(file, "RGB", 16));
  }
}

TEST(Jpeg2000Coding, AlphaIsReadAndWritten) {
  const Bytes file = withHeaderBoxes(
      makeJpeg2000("-mct 1", "jp2", 120, 90, true),
      box("cdef", fromHex("0004 000000000001 000100000002 000200000003 000300010000")));
  EXPECT_EQ(pixels(kJpeg2000Codec, file), smoothSamples(120, 90, true));
  const Bytes seen = seenPixels(rewrite(kJpeg2000Codec, file), "RGBA");
  const Bytes before = smoothSamples(120, 90, true);
  ASSERT_EQ(seen.size(), before.size());
  for (std::size_t i = 0; i < seen.size(); ++i) {
    if (i % 4 == 3) {
      ASSERT_EQ(seen[i], before[i]);
    }
    // Colour went through its product with an alpha of 60 or more: half a level of that is 2.
    ASSERT_NEAR(std::to_integer<int>(seen[i]), std::to_integer<int>(before[i]), 3);
  }
}

TEST(Jpeg2000Coding, PremultipliedAlphaStaysAsItIs) {
  const Bytes file = withHeaderBoxes(
      makeJpeg2000("-mct 1", "jp2", 120, 90, true),
      box("cdef", fromHex("0004 000000000001 000100000002 000200000003 000300020000")));
  EXPECT_EQ(openSource(kJpeg2000Codec, file)->image(0)->layout.alpha, AlphaInfo::premultipliedLast);
  EXPECT_EQ(pixels(kJpeg2000Codec, rewrite(kJpeg2000Codec, file)), smoothSamples(120, 90, true));
}

TEST(Jpeg2000Coding, ChannelsInAnotherOrderAreReadAndWrittenInIt) {
  const Bytes plain = withPayload(makeJpeg2000("-mct 0"), "colr", fromHex("010000 00000010"));
  // Blue first.
  const Bytes file =
      withHeaderBoxes(plain, box("cdef", fromHex("0003 000000000003 000100000002 000200000001")));
  Bytes swapped = smoothSamples(120, 90);
  for (std::size_t i = 0; i < swapped.size(); i += 3) std::swap(swapped[i], swapped[i + 2]);
  EXPECT_EQ(pixels(kJpeg2000Codec, file), swapped);
  const Bytes written = rewrite(kJpeg2000Codec, file, [](const CGImage& image) {
    Bytes red(std::size_t{120} * 90 * 3);
    for (std::size_t i = 0; i < red.size(); i += 3) red[i] = std::byte{200};
    return CGImageCreateWithPixels(image.width, image.height, {.components = 3}, red,
                                   image.colorSpace);
  });
  EXPECT_EQ(payload(written, "cdef"), payload(file, "cdef"));
  const Bytes seen = seenPixels(written);
  EXPECT_EQ(std::to_integer<int>(seen.at(0)), 200);
  EXPECT_EQ(std::to_integer<int>(seen.at(2)), 0);
}

// Whatever way a codestream is stored in, it stays so.
class Jpeg2000Form : public testing::TestWithParam<const char*> {};

TEST_P(Jpeg2000Form, StaysAsItIs) {
  const Bytes file = makeJpeg2000(GetParam(), "j2k");
  const Bytes written = rewrite(kJpeg2000Codec, file, inverted);
  EXPECT_EQ(form(written, "j2k"), form(file, "j2k"));
  EXPECT_LT(
      difference(seenPixels(written, "RGB", 8, "j2k"), complement(pixels(kJpeg2000Codec, file))),
      1.5);
}

INSTANTIATE_TEST_SUITE_P(Options, Jpeg2000Form,
                         testing::Values("-n 3", "-n 1", "-b 32,16", "-c [128,128],[64,64],[32,32]",
                                         "-p RLCP", "-p RPCL", "-p PCRL", "-p CPRL", "-r 40,20,1",
                                         "-I -r 30,15", "-SOP -EPH", "-M 1", "-M 2", "-M 4", "-M 8",
                                         "-M 16", "-M 32", "-M 63", "-mct 0", "-t 50,40", "-TLM",
                                         "-PLT", "-I", "-t 64,48 -T 5,7 -d 10,12"));

TEST(Jpeg2000Coding, SeveralThreadsGiveThePixelsOfOne) {
  const Bytes file = makeJpeg2000("", "jp2", 300, 200);
  const auto read = tryPixels(kJpeg2000Codec, file, 0, {.threads = 2});
  ASSERT_TRUE(read);
  EXPECT_EQ(*read, smoothSamples(300, 200));
  EXPECT_EQ(rewrite(kJpeg2000Codec, file, rendered, {.threads = 2}), rewrite(kJpeg2000Codec, file));
}

TEST(Jpeg2000Coding, FilesThatAreNotRgbAreToldToBeWhatTheyAre) {
  const Bytes file = makeJpeg2000("-n 3 -mct 0", "jp2", 40, 30, true);
  const auto modelOf = [&file](const char* space) {
    const Bytes changed = withPayload(file, "colr", fromHex(std::string("010000 000000") + space));
    const auto source = openSource(kJpeg2000Codec, changed);
    return source->image(0)->colorSpace->model;
  };
  EXPECT_EQ(modelOf("0c"), ColorModel::cmyk);
  EXPECT_EQ(modelOf("0e"), ColorModel::lab);
  EXPECT_EQ(modelOf("11"), ColorModel::gray);
  EXPECT_EQ(modelOf("10"), ColorModel::rgb);
}

TEST(Jpeg2000Coding, GrayFilesAreNotWritten) {
  const TemporaryFolder folder;
  run("convert -size 32x24 gradient: -colorspace gray -depth 8 '" + folder.path("in.pgm") + "'");
  run("opj_compress -n 3 -i '" + folder.path("in.pgm") + "' -o '" + folder.path("out.j2k") + "'");
  const Bytes file = readFile(folder.path("out.j2k"));
  EXPECT_EQ(openSource(kJpeg2000Codec, file)->image(0)->colorSpace->model, ColorModel::gray);
  EXPECT_FALSE(tryRewrite(kJpeg2000Codec, file));
}

}  // namespace
}  // namespace kelvo::image_io_test
