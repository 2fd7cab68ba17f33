// Pixels: what is read, what is written, how it is coded.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/image_io/cg_image_source.h"
#include "platform/image_io/heif/hevc_stream.h"
#include "platform/image_io/mapped_file.h"
#include "tests/image_io/heif/heif_test_support.h"

namespace kelvo::image_io_test {
namespace {

using ::testing::HasSubstr;

std::string typeOf(const Bytes& file) {
  const auto source = CGImageSourceCreateWithBytes({}, MappedFile::fromBytes(file));
  return source ? std::string(CGImageSourceGetType(**source)) : source.error().message;
}

// The quantiser of the file's only HEVC picture.
heif::HevcCoding hevcCoding(const Bytes& file) {
  const auto record = propertyData(file, "hvcC").at(0);
  const auto configuration = heif::readHevcConfiguration(record).value();
  const Bytes data = itemData(file, "hvc1").at(0);
  const auto units = heif::splitHevcUnits(data, configuration.lengthBytes).value();
  return heif::readHevcCoding(configuration, units).value();
}

bool loaded(const char* name) {
  void* const library = ::dlopen(name, RTLD_NOW | RTLD_NOLOAD);
  if (library != nullptr) ::dlclose(library);
  return library != nullptr;
}

// In a process of its own, which has not opened such a file before. Its exit status counts what is
// wrong.
TEST(HeifCoding, LibrariesAreLoadedWithTheFirstFileOnly) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto check = [] {
    const TemporaryFolder folder;
    writePicture(folder.path("in.jpg"), 32, 32);
    int wrong = typeOf(readFile(folder.path("in.jpg"))) == "public.jpeg" ? 0 : 1;
    wrong += loaded("libheif.so.1") || loaded("libaom.so.3") || loaded("libx265.so.199") ? 2 : 0;
    wrong += typeOf(makeHeic("-q 50")) == "public.heic" ? 0 : 4;
    wrong += loaded("libheif.so.1") && loaded("libaom.so.3") ? 0 : 8;
    return wrong;
  };
  EXPECT_EXIT(std::exit(check()), testing::ExitedWithCode(0), "");
}

TEST(HeifCoding, BrandsTellHeicFromAvif) {
  EXPECT_EQ(typeOf(makeHeic("-q 50", 64, 64)), "public.heic");
  EXPECT_EQ(typeOf(makeAvif("", 64, 64)), "public.avif");
}

TEST(HeifCoding, PixelsAreReadAsOtherProgramsReadThem) {
  const Bytes heic = makeHeic("-q 50");
  EXPECT_LT(difference(pixels(kHeicCodec, heic), heicPixels(heic)), 1.0);
  for (const char* options :
       {"--yuv 420", "--yuv 422", "--yuv 444", "--yuv 420 --range limited",
        "--yuv 444 --cicp 1/13/1", "--yuv 444 --cicp 9/16/9", "--yuv 444 --cicp 1/13/8"}) {
    SCOPED_TRACE(options);
    const Bytes avif = makeAvif(options);
    EXPECT_LT(difference(pixels(kAvifCodec, avif), avifPixels(avif)), 1.0);
  }
}

TEST(HeifCoding, AnAdjustedPictureIsWrittenAsItIs) {
  const Bytes heic = makeHeic("-q 70");
  EXPECT_LT(
      difference(heicPixels(rewrite(kHeicCodec, heic, inverted)), complement(heicPixels(heic))),
      2.5);
  for (const char* options : {"--yuv 420", "--yuv 422", "--yuv 444 --range limited"}) {
    SCOPED_TRACE(options);
    const Bytes avif = makeAvif(options);
    const Bytes written = rewrite(kAvifCodec, avif, inverted);
    EXPECT_LT(difference(avifPixels(written), complement(avifPixels(avif))), 2.5);
  }
}

TEST(HeifCoding, TheQuantiserOfAnHevcPictureIsReadAndKept) {
  for (const char* quantiser : {"14", "27", "41"}) {
    const Bytes file =
        makeHeic("-p x265:ipratio=1.0 -p x265:qp=" + std::string(quantiser), 320, 240);
    EXPECT_EQ(std::to_string(hevcCoding(file).quantiser), quantiser);
    const Bytes written = rewrite(kHeicCodec, file);
    EXPECT_EQ(std::to_string(hevcCoding(written).quantiser), quantiser);
  }
}

TEST(HeifCoding, AvifFilesKeepAboutTheirSize) {
  for (const char* quantiser : {"10", "30", "50"}) {
    const std::string value = quantiser;
    const Bytes file = makeAvif("--min " + value + " --max " + value, 320, 240);
    const auto size = static_cast<double>(rewrite(kAvifCodec, file).size());
    EXPECT_GT(size, 0.75 * static_cast<double>(file.size())) << value;
    EXPECT_LT(size, 1.25 * static_cast<double>(file.size())) << value;
  }
}

TEST(HeifCoding, LosslessFilesStayLossless) {
  const Bytes avif = makeAvif("--lossless");
  EXPECT_EQ(avifPixels(rewrite(kAvifCodec, avif)), avifPixels(avif));
  EXPECT_EQ(avifPixels(rewrite(kAvifCodec, avif, inverted)), complement(avifPixels(avif)));
  const Bytes heic = makeHeic("-L -p chroma=444 --matrix_coefficients=0");
  const Bytes written = rewrite(kHeicCodec, heic, inverted);
  EXPECT_TRUE(hevcCoding(written).lossless);
  EXPECT_EQ(heicPixels(written), complement(heicPixels(heic)));
}

TEST(HeifCoding, ChromaSubsamplingIsKept) {
  for (const std::string format : {"420", "422", "444"}) {
    const Bytes written = rewrite(kAvifCodec, makeAvif("--yuv " + format), inverted);
    EXPECT_THAT(avifInfo(written), HasSubstr("YUV" + format));
  }
  for (const std::string format : {"420", "422", "444"}) {
    const Bytes file = makeHeic("-p chroma=" + format);
    // Byte 16 of the configuration record: the chroma format in its last two bits.
    const auto chroma = [](const Bytes& bytes) {
      return std::to_integer<unsigned>(propertyData(bytes, "hvcC").at(0).at(16)) & 3;
    };
    EXPECT_EQ(chroma(rewrite(kHeicCodec, file)), chroma(file));
  }
}

TEST(HeifCoding, PicturesOfTenAndTwelveBitsAreReadInFull) {
  for (const unsigned depth : {10U, 12U}) {
    const Bytes file = makeAvif("--yuv 444 -d " + std::to_string(depth));
    const auto source = openSource(kAvifCodec, file);
    EXPECT_EQ(source->info(0).bitsPerComponent, depth);
    EXPECT_EQ(source->image(0)->layout.type, SampleType::u16);
  }
}

TEST(HeifCoding, DeepFilesAreWrittenWithEightBitsUnlessAsked) {
  const std::string depthText = " * Bit Depth      : ";
  for (const char* options :
       {"--yuv 420 -d 10", "--yuv 444 -d 10", "--yuv 422 -d 10", "--yuv 420 -d 12"}) {
    SCOPED_TRACE(options);
    const Bytes file = makeAvif(options);
    const std::string depth(std::string(options).substr(std::string(options).size() - 2));
    const Bytes narrow = rewrite(kAvifCodec, file);
    EXPECT_THAT(avifInfo(narrow), HasSubstr(depthText + "8"));
    EXPECT_EQ(propertyData(narrow, "pixi").at(0), fromHex("00000000 03 080808"));
    EXPECT_LT(difference(avifPixels(narrow), avifPixels(file)), 2.5);
    const Bytes kept = rewrite(kAvifCodec, file, renderedDeep, {.keepDepth = true});
    EXPECT_THAT(avifInfo(kept), HasSubstr(depthText + depth));
    EXPECT_EQ(propertyData(kept, "pixi"), propertyData(file, "pixi"));
    EXPECT_LT(difference(avifPixels(kept), avifPixels(file)), 2.5);
  }
}

TEST(HeifCoding, DeepHevcFilesKeepTheirDepthWhenAsked) {
  const TemporaryFolder folder;
  writePicture(folder.path("in.png"), 128, 96);
  run("convert '" + folder.path("in.png") +
      "' -depth 16 -define png:bit-depth=16 -evaluate add 77 '" + folder.path("deep.png") + "'");
  run("heif-enc -b 10 -q 80 '" + folder.path("deep.png") + "' -o '" + folder.path("out.heic") +
      "'");
  const Bytes file = readFile(folder.path("out.heic"));
  ASSERT_EQ(openSource(kHeicCodec, file)->info(0).bitsPerComponent, 10U);
  const Bytes narrow = rewrite(kHeicCodec, file);
  EXPECT_EQ(openSource(kHeicCodec, narrow)->info(0).bitsPerComponent, 8U);
  EXPECT_LT(difference(heicPixels(narrow), heicPixels(file)), 2.5);
  const Bytes kept = rewrite(kHeicCodec, file, renderedDeep, {.keepDepth = true});
  EXPECT_EQ(openSource(kHeicCodec, kept)->info(0).bitsPerComponent, 10U);
  EXPECT_LT(difference(heicPixels(kept), heicPixels(file)), 2.5);
}

TEST(HeifCoding, AGridStaysAGrid) {
  const Bytes file = makeAvif("--grid 2x3 --yuv 420", 256, 384);
  ASSERT_EQ(itemData(file, "av01").size(), 6U);
  const Bytes written = rewrite(kAvifCodec, file, inverted);
  EXPECT_EQ(itemData(written, "av01").size(), 6U);
  EXPECT_EQ(itemData(written, "grid"), itemData(file, "grid"));
  EXPECT_LT(difference(avifPixels(written), complement(avifPixels(file))), 2.5);
}

// The encoder puts pictures of odd or small sizes into larger ones, which a grid of one crops.
TEST(HeifCoding, PicturesThatAreCroppedByAGridAreWrittenBack) {
  for (const unsigned width : {33U, 65U, 131U}) {
    const Bytes file = makeHeic("-q 70", width, 45);
    ASSERT_EQ(itemData(file, "grid").size(), 1U);
    const Bytes written = rewrite(kHeicCodec, file, inverted);
    EXPECT_EQ(itemData(written, "grid"), itemData(file, "grid"));
    EXPECT_LT(difference(heicPixels(written), complement(heicPixels(file))), 3.0);
  }
}

TEST(HeifCoding, EveryPictureOfAFileIsAFrame) {
  const TemporaryFolder folder;
  writePicture(folder.path("a.png"), 128, 96);
  writePicture(folder.path("b.png"), 96, 64);
  run("heif-enc -q 60 '" + folder.path("a.png") + "' '" + folder.path("b.png") + "' -o '" +
      folder.path("out.heic") + "'");
  const Bytes file = readFile(folder.path("out.heic"));
  const auto source = openSource(kHeicCodec, file);
  ASSERT_EQ(source->count(), 2U);
  EXPECT_EQ(source->info(0).width, 128U);
  EXPECT_EQ(source->info(1).width, 96U);
  const Bytes written = rewrite(kHeicCodec, file, inverted);
  EXPECT_EQ(heif::readStructure(written)->primary, heif::readStructure(file)->primary);
  EXPECT_LT(difference(pixels(kHeicCodec, written, 1), complement(pixels(kHeicCodec, file, 1))),
            3.0);
}

TEST(HeifCoding, AlphaThatDoesNotChangeKeepsItsData) {
  const Bytes avif = makeAvif("--min 20 --max 20 --minalpha 30 --maxalpha 30", 160, 120, true);
  const Bytes written = rewrite(kAvifCodec, avif);
  ASSERT_EQ(itemData(avif, "av01").size(), 2U);
  EXPECT_NE(itemData(written, "av01").at(0), itemData(avif, "av01").at(0));
  EXPECT_EQ(itemData(written, "av01").at(1), itemData(avif, "av01").at(1));
  EXPECT_LT(difference(avifPixels(written, "RGBA"), avifPixels(avif, "RGBA")), 3.0);
  const Bytes heic = makeHeic("-q 60", 160, 120, true);
  EXPECT_EQ(itemData(rewrite(kHeicCodec, heic), "hvc1").at(1), itemData(heic, "hvc1").at(1));
}

TEST(HeifCoding, AlphaThatChangesIsWritten) {
  const auto halved = [](const CGImage& image) {
    const CGImage from = rendered(image);
    Bytes bytes = readAllPixels(from).value();
    for (std::byte& byte : bytes) byte = static_cast<std::byte>(std::to_integer<int>(byte) / 2);
    return CGImageCreateWithPixels(from.width, from.height, from.layout, std::move(bytes),
                                   from.colorSpace);
  };
  const Bytes avif = makeAvif("--min 10 --max 10", 160, 120, true);
  const Bytes heic = makeHeic("-q 80", 160, 120, true);
  Bytes before = avifPixels(avif, "RGBA");
  Bytes beforeHeic = heicPixels(heic, "RGBA");
  for (std::size_t i = 3; i < before.size(); i += 4) {
    before[i] = static_cast<std::byte>(std::to_integer<int>(before[i]) / 2);
    beforeHeic[i] = static_cast<std::byte>(std::to_integer<int>(beforeHeic[i]) / 2);
  }
  EXPECT_LT(difference(avifPixels(rewrite(kAvifCodec, avif, halved), "RGBA"), before), 4.0);
  EXPECT_LT(difference(heicPixels(rewrite(kHeicCodec, heic, halved), "RGBA"), beforeHeic), 4.0);
}

TEST(HeifCoding, ColourMultipliedByAlphaStaysSo) {
  const Bytes file = makeAvif("--premultiply --min 5 --max 5", 160, 120, true);
  EXPECT_EQ(openSource(kAvifCodec, file)->image(0)->layout.alpha, AlphaInfo::premultipliedLast);
  const Bytes written = rewrite(kAvifCodec, file);
  EXPECT_THAT(avifInfo(written), HasSubstr("Alpha          : Premultiplied"));
  EXPECT_LT(difference(avifPixels(written, "RGBA"), avifPixels(file, "RGBA")), 3.0);
}

TEST(HeifCoding, GrayPicturesAreOfferedAsGray) {
  const Bytes file = makeAvif("--yuv 400");
  const auto source = openSource(kAvifCodec, file);
  EXPECT_EQ(source->image(0)->colorSpace->model, ColorModel::gray);
  EXPECT_EQ(pixels(kAvifCodec, file).size(), 160U * 120U);
}

}  // namespace
}  // namespace kelvo::image_io_test
