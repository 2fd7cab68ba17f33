// Everything besides the pixels, and files that cannot be written back whole.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jxl/decode.h>
#include <lcms2.h>

#include "platform/image_io/mapped_file.h"
#include "tests/image_io/jxl/jxl_test_support.h"

namespace kelvo::image_io_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// What a call of the library "l" makes of the data "d": "n" bytes in "o".
Bytes throughBrotli(const Bytes& data, const std::string& library, const std::string& call) {
  const TemporaryFolder folder;
  writeFile(folder.path("in"), data);
  run("python3 -c \"import sys,ctypes;l=ctypes.CDLL('" + library +
      "');d=open(sys.argv[1],'rb').read();m=len(d)*20+100000;o=ctypes.create_string_buffer(m);"
      "n=ctypes.c_size_t(m);" +
      call + ";open(sys.argv[2],'wb').write(o.raw[:n.value])\" '" + folder.path("in") + "' '" +
      folder.path("out") + "'");
  return readFile(folder.path("out"));
}

Bytes packed(const Bytes& content) {
  return throughBrotli(
      content, "libbrotlienc.so.1",
      "l.BrotliEncoderCompress(9,22,0,ctypes.c_size_t(len(d)),d,ctypes.byref(n),o)");
}

// A block of Exif with a thumbnail, as exiftool writes it; the four bytes before it are the box's.
Bytes exifWithThumbnail() {
  const TemporaryFolder folder;
  run("convert -size 160x120 gradient:red-blue '" + folder.path("in.jpg") + "'");
  run("convert -size 80x60 gradient:red-blue '" + folder.path("small.jpg") + "'");
  run("exiftool -q -overwrite_original -Artist=Somebody -Orientation#=6 '-ThumbnailImage<=" +
      folder.path("small.jpg") + "' '" + folder.path("in.jpg") + "'");
  run("exiftool -b -Exif '" + folder.path("in.jpg") + "' > '" + folder.path("exif") + "'");
  Bytes exif = readFile(folder.path("exif"));
  if (exif.size() > 6 && exif[0] == std::byte{'E'}) exif.erase(exif.begin(), exif.begin() + 6);
  return concat({fromHex("00000000"), exif});
}

TEST(JxlKeeping, EveryBoxStaysInItsPlaceByteForByte) {
  const Bytes before = concat({box("xml ", fromText("<a>metadata</a>")), box("xyzz", fromHex("01")),
                               box("jumb", fromHex("0102030405"))});
  const Bytes after = concat({box("xml ", fromText("<b/>")), box("uuid", Bytes(40, std::byte{7}))});
  const Bytes file = container(makeJxl("-d 0", 50, 40), before, after);
  const Bytes written = rewrite(kJxlCodec, file, inverted);
  EXPECT_EQ(boxTypes(written), boxTypes(file));
  const auto stream = payload(written, "jxlc");
  EXPECT_EQ(written, container(stream, before, after));
}

TEST(JxlKeeping, ABareCodestreamStaysOne) {
  const Bytes written = rewrite(kJxlCodec, makeJxl("-d 0", 50, 40), inverted);
  EXPECT_EQ(Bytes(written.begin(), written.begin() + 2), fromHex("ff0a"));
}

TEST(JxlKeeping, ACodestreamInPartsStaysInParts) {
  const Bytes stream = makeJxl("-d 0", 50, 40);
  const Bytes file = concat(
      {box("JXL ", fromHex("0d0a870a")), box("ftyp", fromHex("6a786c20 00000000 6a786c20")),
       box("jxlp", concat({fromHex("00000000"), Bytes(stream.begin(), stream.begin() + 20)})),
       box("xml ", fromText("<a/>")),
       box("jxlp", concat({fromHex("80000001"), Bytes(stream.begin() + 20, stream.end())}))});
  EXPECT_EQ(pixels(kJxlCodec, file), smoothSamples(50, 40));
  const Bytes written = rewrite(kJxlCodec, file);
  EXPECT_EQ(boxTypes(written), boxTypes(file));
  EXPECT_EQ(payload(written, "jxlp").size(), 24U);
  EXPECT_EQ(jxlPixels(written), smoothSamples(50, 40));
}

// A JPEG XL file that cjxl packed a JPEG into, with Exif, XMP and a thumbnail.
Bytes packedJpeg(const std::string& options) {
  const TemporaryFolder folder;
  const std::string photograph = std::string(KELVO_SOURCE_DIR) + "/resources/samples/lake.jpg";
  run("convert '" + photograph + "' -resize 160x120 -quality 85 '" + folder.path("in.jpg") + "'");
  run("convert '" + photograph + "' -resize 80x60! -strip '" + folder.path("small.jpg") + "'");
  run("exiftool -q -overwrite_original -Artist=Somebody -Orientation#=6 -XMP:Creator=Somebody "
      "'-ThumbnailImage<=" +
      folder.path("small.jpg") + "' '" + folder.path("in.jpg") + "'");
  run("cjxl '" + folder.path("in.jpg") + "' '" + folder.path("out.jxl") + "' " + options);
  return readFile(folder.path("out.jxl"));
}

// The JPEG that djxl takes out, byte for byte.
Bytes jpegInside(const Bytes& file) {
  const TemporaryFolder folder;
  writeFile(folder.path("in.jxl"), file);
  run("djxl '" + folder.path("in.jxl") + "' '" + folder.path("out.jpg") + "'");
  return readFile(folder.path("out.jpg"));
}

// The file with its compressed boxes unpacked.
Bytes withPlainBoxes(const Bytes& file) {
  Bytes result;
  for (const heif::Box& found : heif::readBoxes(file).boxes) {
    if (found.type != heif::fourCC("brob")) {
      result.insert(result.end(), found.whole.begin(), found.whole.end());
      continue;
    }
    const Bytes content =
        throughBrotli({found.payload.begin() + 4, found.payload.end()}, "libbrotlidec.so.1",
                      "l.BrotliDecoderDecompress(ctypes.c_size_t(len(d)),d,ctypes.byref(n),o)");
    std::string type;
    for (int i = 0; i < 4; ++i)
      type += std::to_integer<char>(found.payload[static_cast<std::size_t>(i)]);
    result = concat({result, box(type, content)});
  }
  return result;
}

TEST(JxlPackedJpeg, IsAdjustedAsTheJpegThatItIs) {
  const Bytes packedMetadata = packedJpeg("");
  for (const Bytes& file : {packedMetadata, withPlainBoxes(packedMetadata)}) {
    const Bytes written = rewrite(kJxlCodec, file, inverted);
    EXPECT_EQ(boxTypes(written), boxTypes(file));
    EXPECT_EQ(jpegInside(written), rewrite(kJpegCodec, jpegInside(file), inverted));
  }
}

TEST(JxlPackedJpeg, ShowsItsAdjustedPixelsToReadersOfJpegXl) {
  const Bytes file = packedJpeg("");
  const Bytes written = rewrite(kJxlCodec, file, inverted);
  const TemporaryFolder folder;
  const auto seen = [&folder](const Bytes& bytes) {
    writeFile(folder.path("in.jxl"), bytes);
    run("djxl '" + folder.path("in.jxl") + "' '" + folder.path("out.ppm") + "'");
    run("convert '" + folder.path("out.ppm") + "' 'RGB:" + folder.path("out.raw") + "'");
    return readFile(folder.path("out.raw"));
  };
  Bytes expected = seen(file);
  for (std::byte& sample : expected) sample = ~sample;
  EXPECT_LT(difference(seen(written), expected), 2.5);
}

TEST(JxlPackedJpeg, KeepsItsMetadataAndShowsTheAdjustedPictureInTheThumbnail) {
  const Bytes file = packedJpeg("");
  const Bytes written = rewrite(kJxlCodec, file, inverted);
  const TemporaryFolder folder;
  const auto meanRed = [&folder](const Bytes& bytes) {
    writeFile(folder.path("in.jpg"), jpegInside(bytes));
    run("exiftool -b -ThumbnailImage '" + folder.path("in.jpg") + "' > '" +
        folder.path("small.jpg") + "'");
    return std::stod(
        run("convert '" + folder.path("small.jpg") + "' -format '%[fx:mean.r]' info:"));
  };
  EXPECT_NEAR(meanRed(written), 1 - meanRed(file), 0.05);
  EXPECT_EQ(runOn(written, "jxl", "exiftool -s3 -Artist -Creator"),
            runOn(file, "jxl", "exiftool -s3 -Artist -Creator"));
}

TEST(JxlPackedJpeg, ThatCannotBePutTogetherAgainIsRefused) {
  Bytes file = packedJpeg("");
  const Bytes data = payload(file, "jbrd");
  const auto place = std::search(file.begin(), file.end(), data.begin(), data.end());
  std::fill(place, place + static_cast<std::ptrdiff_t>(data.size()), std::byte{0x55});
  EXPECT_EQ(refusal(kJxlCodec, file), "the JPEG that it holds cannot be put together again");
}

TEST(JxlKeeping, ExifStaysByteForByteWithoutAThumbnail) {
  const TemporaryFolder folder;
  writeFile(folder.path("in.jxl"), makeJxl("-d 0 --container=1", 50, 40));
  run("exiftool -q -overwrite_original -Artist=Somebody -Orientation#=6 -GPSLatitude=48.2 "
      "-GPSLatitudeRef=N -XMP:Creator=Somebody '" +
      folder.path("in.jxl") + "'");
  const Bytes file = readFile(folder.path("in.jxl"));
  const Bytes written = rewrite(kJxlCodec, file, inverted);
  EXPECT_EQ(boxTypes(written), boxTypes(file));
  EXPECT_EQ(payload(written, "Exif"), payload(file, "Exif"));
  EXPECT_EQ(payload(written, "xml "), payload(file, "xml "));
}

TEST(JxlKeeping, TheExifThumbnailIsTakenOut) {
  const Bytes file = container(makeJxl("-d 0", 50, 40), box("Exif", exifWithThumbnail()));
  ASSERT_THAT(runOn(file, "jxl", "exiftool -ThumbnailImage"), HasSubstr("Binary data"));
  const Bytes written = rewrite(kJxlCodec, file);
  EXPECT_THAT(runOn(written, "jxl", "exiftool -ThumbnailImage"), Not(HasSubstr("Binary data")));
  EXPECT_EQ(runOn(written, "jxl", "exiftool -s3 -Artist"), "Somebody\n");
  EXPECT_EQ(payload(written, "Exif").size(), payload(file, "Exif").size());
}

TEST(JxlKeeping, TheThumbnailOfCompressedExifIsTakenOutAndTheBoxStaysCompressed) {
  const Bytes file =
      container(makeJxl("-d 0", 50, 40),
                box("brob", concat({fromText("Exif"), packed(exifWithThumbnail())})));
  const Bytes written = rewrite(kJxlCodec, file);
  EXPECT_EQ(boxTypes(written), boxTypes(file));
  EXPECT_LT(payload(written, "brob").size(), payload(file, "brob").size());
  EXPECT_EQ(rewrite(kJxlCodec, written), written);
}

TEST(JxlKeeping, OtherCompressedBoxesStayByteForByte) {
  const Bytes boxes = concat({box("brob", concat({fromText("xml "), packed(fromText("<a>b</a>"))})),
                              box("brob", fromText("zzzznot compressed at all"))});
  const Bytes file = container(makeJxl("-d 0", 50, 40), boxes);
  const Bytes written = rewrite(kJxlCodec, file);
  EXPECT_EQ(written, container(payload(written, "jxlc"), boxes));
}

TEST(JxlKeeping, TheOrientationStaysAndPixelsAreStoredAsTheyWere) {
  LibraryFile made;
  made.basics = [](JxlBasicInfo& info) { info.orientation = JXL_ORIENT_ROTATE_90_CW; };
  const Bytes file = makeByLibrary(made);
  const auto source = openSource(kJxlCodec, file);
  EXPECT_EQ(source->info(0).width, 40U);
  EXPECT_EQ(source->info(0).height, 30U);
  EXPECT_EQ(pixels(kJxlCodec, file), smoothSamples(40, 30));
  const Bytes written = rewrite(kJxlCodec, file);
  EXPECT_EQ(pixels(kJxlCodec, written), smoothSamples(40, 30));
  // djxl turns it.
  EXPECT_EQ(jxlPixels(written), jxlPixels(file));
  EXPECT_NE(jxlPixels(written), smoothSamples(40, 30));
}

// A profile with a curve that no list of colour spaces has.
Bytes makeOddProfile() {
  cmsCIExyY white = {0.3127, 0.329, 1};
  const cmsCIExyYTRIPLE primaries = {{0.62, 0.34, 1}, {0.25, 0.65, 1}, {0.14, 0.07, 1}};
  std::vector<cmsUInt16Number> levels;
  for (unsigned i = 0; i < 64; ++i) levels.push_back(static_cast<cmsUInt16Number>(i * i * 16));
  cmsToneCurve* const curve = cmsBuildTabulatedToneCurve16(nullptr, 64, levels.data());
  cmsToneCurve* const curves[] = {curve, curve, curve};
  const cmsHPROFILE made = cmsCreateRGBProfile(&white, &primaries, curves);
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(made, nullptr, &size);
  Bytes profile(size);
  cmsSaveProfileToMem(made, profile.data(), &size);
  cmsCloseProfile(made);
  cmsFreeToneCurve(curve);
  return profile;
}

// It holds the time when it was made.
const Bytes& oddProfile() {
  static const Bytes profile = makeOddProfile();
  return profile;
}

Bytes withOddProfile(const std::string& options) {
  const TemporaryFolder folder;
  writeFile(folder.path("in.ppm"), concat({fromText("P6\n40 30\n255\n"), smoothSamples(40, 30)}));
  writeFile(folder.path("odd.icc"), oddProfile());
  run("convert '" + folder.path("in.ppm") + "' -set colorspace sRGB -profile '" +
      folder.path("odd.icc") + "' '" + folder.path("in.png") + "'");
  run("cjxl '" + folder.path("in.png") + "' '" + folder.path("out.jxl") + "' " + options);
  return readFile(folder.path("out.jxl"));
}

TEST(JxlKeeping, IccProfilesStayByteForByte) {
  const Bytes file = withOddProfile("-d 0");
  EXPECT_EQ(openSource(kJxlCodec, file)->image(0)->colorSpace->profile, oddProfile());
  EXPECT_EQ(pixels(kJxlCodec, file), smoothSamples(40, 30));
  const Bytes written = rewrite(kJxlCodec, rewrite(kJxlCodec, file, inverted), inverted);
  EXPECT_EQ(openSource(kJxlCodec, written)->image(0)->colorSpace->profile, oddProfile());
  EXPECT_EQ(pixels(kJxlCodec, written), smoothSamples(40, 30));
}

TEST(JxlRefusal, LossyColoursOfAnIccProfile) {
  EXPECT_EQ(refusal(kJxlCodec, withOddProfile("-d 1")),
            "its lossy colours cannot be decoded into the colours of its profile");
}

TEST(JxlKeeping, ListedColourSpacesStayAndLossyNumbersAreThoseOfTheSpace) {
  const std::string space = "RGB_D65_DCI_Rel_SRG";
  const TemporaryFolder folder;
  writeFile(folder.path("in.ppm"), concat({fromText("P6\n40 30\n255\n"), smoothSamples(40, 30)}));
  run("cjxl '" + folder.path("in.ppm") + "' '" + folder.path("out.jxl") +
      "' -d 0.3 -x color_space=" + space);
  const Bytes file = readFile(folder.path("out.jxl"));
  EXPECT_LT(difference(pixels(kJxlCodec, file), smoothSamples(40, 30)), 1.5);
  const Bytes written = rewrite(kJxlCodec, file);
  EXPECT_LT(difference(pixels(kJxlCodec, written), smoothSamples(40, 30)), 2.0);
  EXPECT_EQ(runOn(written, "jxl", "jxlinfo"), runOn(file, "jxl", "jxlinfo"));
  EXPECT_THAT(runOn(written, "jxl", "jxlinfo"), HasSubstr("P3"));
}

std::vector<std::string> frameNames(const Bytes& file) {
  JxlDecoder* const decoder = JxlDecoderCreate(nullptr);
  JxlDecoderSubscribeEvents(decoder, JXL_DEC_FRAME);
  JxlDecoderSetCoalescing(decoder, JXL_FALSE);
  JxlDecoderSetInput(decoder, reinterpret_cast<const std::uint8_t*>(file.data()), file.size());
  std::vector<std::string> names;
  while (JxlDecoderProcessInput(decoder) == JXL_DEC_FRAME) {
    std::array<char, 100> name = {};
    JxlDecoderGetFrameName(decoder, name.data(), name.size());
    names.emplace_back(name.data());
  }
  JxlDecoderDestroy(decoder);
  return names;
}

TEST(JxlKeeping, AnimationsKeepTimesNamesLoopsPlacesAndBlending) {
  LibraryFile made;
  made.frames = 3;
  made.alpha = true;
  made.names = {"", "the middle", ""};
  made.basics = [](JxlBasicInfo& info) {
    info.animation.num_loops = 5;
    info.animation.have_timecodes = JXL_TRUE;
  };
  made.frame = [](JxlEncoderFrameSettings* settings, JxlFrameHeader& header, std::size_t i) {
    header.duration = static_cast<std::uint32_t>(10 + i);
    header.timecode = static_cast<std::uint32_t>(100 * i + 1);
    if (i == 1) {
      header.layer_info.have_crop = JXL_TRUE;
      header.layer_info.crop_x0 = 5;
      header.layer_info.crop_y0 = -3;
      header.layer_info.xsize = 20;
      header.layer_info.ysize = 10;
      header.layer_info.blend_info.blendmode = JXL_BLEND_BLEND;
      header.layer_info.blend_info.source = 1;
      JxlBlendInfo alpha;
      JxlEncoderInitBlendInfo(&alpha);
      alpha.blendmode = JXL_BLEND_BLEND;
      alpha.source = 1;
      EXPECT_EQ(JxlEncoderSetExtraChannelBlendInfo(settings, 0, &alpha), JXL_ENC_SUCCESS);
    }
    header.layer_info.save_as_reference = i == 0 ? 1 : 0;
  };
  const Bytes file = makeByLibrary(made);
  const auto source = openSource(kJxlCodec, file);
  ASSERT_EQ(source->count(), 3U);
  EXPECT_EQ(source->info(1).width, 20U);
  EXPECT_EQ(source->info(1).height, 10U);
  EXPECT_EQ(pixels(kJxlCodec, file, 1), smoothSamples(20, 10, true));
  const Bytes written = rewrite(kJxlCodec, file, inverted);
  const std::string told = runOn(written, "jxl", "jxlinfo -v");
  EXPECT_EQ(told, runOn(file, "jxl", "jxlinfo -v"));
  EXPECT_EQ(frameNames(file), (std::vector<std::string>{"", "the middle", ""}));
  EXPECT_EQ(frameNames(written), frameNames(file));
  // Both are lossless: inverting twice changes what rounding under alpha changes, and no more.
  EXPECT_LT(difference(pixels(kJxlCodec, rewrite(kJxlCodec, written, inverted), 1),
                       pixels(kJxlCodec, file, 1)),
            2.0);
}

TEST(JxlKeeping, LayersOfAStillPictureAreAdjustedOneByOne) {
  LibraryFile made;
  made.frames = 2;
  made.basics = [](JxlBasicInfo& info) { info.have_animation = JXL_FALSE; };
  made.frame = [](JxlEncoderFrameSettings*, JxlFrameHeader& header, std::size_t i) {
    if (i == 0) return;
    header.layer_info.have_crop = JXL_TRUE;
    header.layer_info.crop_x0 = 4;
    header.layer_info.xsize = 12;
    header.layer_info.ysize = 8;
  };
  const Bytes file = makeByLibrary(made);
  ASSERT_EQ(openSource(kJxlCodec, file)->count(), 2U);
  const Bytes written = rewrite(kJxlCodec, rewrite(kJxlCodec, file, inverted), inverted);
  EXPECT_EQ(pixels(kJxlCodec, written, 0), smoothSamples(40, 30));
  EXPECT_EQ(pixels(kJxlCodec, written, 1), smoothSamples(12, 8));
  EXPECT_EQ(jxlPixels(written), jxlPixels(file));
}

TEST(JxlKeeping, IntensityAndIntrinsicSizeStay) {
  LibraryFile made;
  made.basics = [](JxlBasicInfo& info) {
    info.intensity_target = 400;
    info.min_nits = 2;
    info.intrinsic_xsize = 80;
    info.intrinsic_ysize = 60;
  };
  const Bytes file = makeByLibrary(made);
  EXPECT_EQ(runOn(rewrite(kJxlCodec, file), "jxl", "jxlinfo -v"), runOn(file, "jxl", "jxlinfo -v"));
}

TEST(JxlRefusal, LayersThatAreAdded) {
  LibraryFile made;
  made.frames = 2;
  made.frame = [](JxlEncoderFrameSettings*, JxlFrameHeader& header, std::size_t i) {
    if (i == 1) header.layer_info.blend_info.blendmode = JXL_BLEND_ADD;
  };
  EXPECT_EQ(refusal(kJxlCodec, makeByLibrary(made)),
            "layers that are added or multiplied cannot be adjusted one by one");
}

TEST(JxlRefusal, FloatingPointSamples) {
  LibraryFile made;
  made.basics = [](JxlBasicInfo& info) {
    info.bits_per_sample = 16;
    info.exponent_bits_per_sample = 5;
  };
  made.lossless = false;
  EXPECT_EQ(refusal(kJxlCodec, makeByLibrary(made)),
            "floating-point samples cannot be written back");
}

// No program makes such a file, so a bit is looked for that makes one of another.
TEST(JxlRefusal, ColoursMultipliedByAlpha) {
  LibraryFile made;
  made.alpha = true;
  made.channels = [](JxlEncoder* encoder) {
    EXPECT_EQ(JxlEncoderSetExtraChannelName(encoder, 0, "a", 1), JXL_ENC_SUCCESS);
  };
  const Bytes file = makeByLibrary(made);
  std::string reason;
  for (std::size_t bit = 16; bit < 8 * 24 && reason.empty(); ++bit) {
    Bytes changed = file;
    changed[bit / 8] ^= std::byte{1} << (bit % 8);
    const auto source = kJxlCodec.open(MappedFile::fromBytes(changed), {});
    if (!source || (*source)->count() != 1 || (*source)->info(0).width != 40) continue;
    const auto image = (*source)->image(0);
    if (image && image->layout.alpha == AlphaInfo::premultipliedLast)
      reason = refusal(kJxlCodec, changed);
  }
  EXPECT_EQ(reason, "colours multiplied by alpha cannot be written back");
}

TEST(JxlRefusal, FurtherChannels) {
  const TemporaryFolder folder;
  LibraryFile made;
  made.alpha = true;
  made.basics = [](JxlBasicInfo& info) { info.num_extra_channels = 2; };
  made.channels = [](JxlEncoder* encoder) {
    JxlExtraChannelInfo depth;
    JxlEncoderInitExtraChannelInfo(JXL_CHANNEL_DEPTH, &depth);
    depth.bits_per_sample = 8;
    EXPECT_EQ(JxlEncoderSetExtraChannelInfo(encoder, 1, &depth), JXL_ENC_SUCCESS);
  };
  EXPECT_EQ(refusal(kJxlCodec, makeByLibrary(made)),
            "channels besides colour and alpha cannot be written back");
}

// Where the second one begins cannot be told, and what lies between them neither.
TEST(JxlRefusal, PicturesOutOfOrderWithOthersBehindThem) {
  LibraryFile made;
  made.width = 600;
  made.lossless = false;
  made.frame = [](JxlEncoderFrameSettings* settings, JxlFrameHeader& header, std::size_t) {
    header.duration = 1;
    EXPECT_EQ(JxlEncoderFrameSettingsSetOption(settings, JXL_ENC_FRAME_SETTING_GROUP_ORDER, 1),
              JXL_ENC_SUCCESS);
  };
  made.basics = [](JxlBasicInfo& info) { info.have_animation = JXL_TRUE; };
  EXPECT_EQ(refusal(kJxlCodec, makeByLibrary(made)), "");
  made.frames = 2;
  EXPECT_EQ(refusal(kJxlCodec, makeByLibrary(made)),
            "a picture stored out of order, with others behind it, cannot be adjusted");
}

TEST(JxlRefusal, AnIndexOfFrames) {
  const Bytes file =
      container(makeJxl("-d 0", 50, 40), box("jxli", fromHex("00000000010000000100")));
  EXPECT_THAT(refusal(kJxlCodec, file), HasSubstr("an index of frames"));
}

TEST(JxlRefusal, AGainMap) {
  const Bytes file = container(makeJxl("-d 0", 50, 40), box("jhgm", fromHex("00")));
  EXPECT_THAT(refusal(kJxlCodec, file), HasSubstr("gain map"));
}

}  // namespace
}  // namespace kelvo::image_io_test
