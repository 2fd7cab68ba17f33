#include <gtest/gtest.h>
#include <lcms2.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/open_save/resaving.h"
#include "tests/support/failing_file_system.h"
#include "tests/support/temporary_directory.h"

// Other tools make the files that are converted, and look at what has become of them.
namespace kelvo {
namespace {

namespace fs = std::filesystem;
using testing::FailingFileSystem;
using testing::readFile;
using testing::shell;
using testing::writeFile;

std::string sample(const std::string& name) {
  return std::string(KELVO_SOURCE_DIR "/resources/samples/") + name;
}

class Conversion : public ::testing::Test {
 protected:
  // A picture made by ImageMagick: 61 x 47 pixels of a plasma in full depth, then these options.
  std::string make(const std::string& name, const std::string& options) {
    const std::string path = directory_.file(name);
    EXPECT_TRUE(shell("convert -seed 7 -size 61x47 plasma:red-blue " + options + " '" + path + "'"))
        << name;
    return path;
  }

  // What went wrong; empty if nothing did.
  std::string convert(const std::string& from, const std::string& to,
                      FileSystem& fileSystem = realFileSystem()) {
    const auto done =
        resaveImage(NSURL::fileURLWithPath(from), NSURL::fileURLWithPath(to), fileSystem);
    return done ? "" : done.error().message;
  }

  std::string told(const std::string& command) {
    const std::string out = directory_.file("told");
    EXPECT_TRUE(shell(command + " > '" + out + "'")) << command;
    std::string text = readFile(out);
    fs::remove(out);
    return text;
  }

  // Every pixel as ImageMagick reads it: r g b a of 16 bits.
  std::vector<unsigned> pixels(const std::string& path) {
    const std::string bytes = told("convert '" + path + "' -endian LSB -depth 16 rgba:-");
    std::vector<unsigned> samples;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
      samples.push_back(static_cast<unsigned char>(bytes[i]) |
                        static_cast<unsigned char>(bytes[i + 1]) << 8U);
    }
    EXPECT_EQ(samples.size(), 61U * 47U * 4U);
    return samples;
  }

  // As another tool finds it in the file.
  std::string profileIn(const std::string& path) {
    const std::string out = directory_.file("found.icc");
    EXPECT_TRUE(shell("convert '" + path + "' '" + out + "'"));
    std::string profile = readFile(out);
    fs::remove(out);
    return profile;
  }

  [[nodiscard]] std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory_.path())) {
      names.push_back(entry.path().filename());
    }
    std::ranges::sort(names);
    return names;
  }

  testing::TemporaryDirectory directory_;
};

// A profile that no tool takes for sRGB.
std::string wideProfile() {
  const cmsCIExyY white = {0.3457, 0.3585, 1};
  const cmsCIExyYTRIPLE primaries = {{0.7347, 0.2653, 1}, {0.1596, 0.8404, 1}, {0.0366, 0.0001, 1}};
  cmsToneCurve* const curve = cmsBuildGamma(nullptr, 1.8);
  cmsToneCurve* const curves[] = {curve, curve, curve};
  const cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, curves);
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(profile, nullptr, &size);
  std::string bytes(size, 0);
  cmsSaveProfileToMem(profile, bytes.data(), &size);
  cmsCloseProfile(profile);
  cmsFreeToneCurve(curve);
  // The time at which it was made, which differs from call to call.
  bytes.replace(24, 12, 12, 0);
  return bytes;
}

struct Source {
  std::string name;
  std::string options;
  bool alpha = false;
  bool deep = false;
};

// As transparent as it is dark, up to the whole alpha at the bottom.
const std::string kAlpha =
    "\\( -size 61x47 gradient:gray20-white \\) -alpha off -compose CopyOpacity -composite ";

// Transparent in a corner.
const std::string kCorner = "-alpha set -region 9x9 -alpha transparent +region ";

std::vector<Source> sources() {
  return {
      {"rgb.png", "-depth 8 -define png:color-type=2"},
      {"deep.png", "-depth 16 -define png:color-type=2", false, true},
      {"gray.png", "-colorspace Gray -depth 8 -define png:color-type=0"},
      {"gray16.png", "-colorspace Gray -depth 16 -define png:color-type=0", false, true},
      {"bilevel.png", "-colorspace Gray -threshold 50% -depth 1"},
      {"palette.png", "-colors 40 -define png:format=png8"},
      {"interlaced.png", "-interlace PNG -depth 8"},
      {"alpha.png", kAlpha + "-depth 8", true},
      {"alpha16.png", kAlpha + "-depth 16", true, true},
      {"grayalpha.png", "-colorspace Gray " + kAlpha + "-depth 8 -define png:color-type=4", true},
      {"colorkey.png", kCorner + "-colors 40 -define png:format=png8", true},
      {"rgb.tif", "-depth 8 -compress none"},
      {"deep.tif", "-depth 16 -endian MSB -compress lzw", false, true},
      {"alpha16.tif", kAlpha + "-depth 16 -compress zip", true, true},
      {"gray.tif", "-colorspace Gray -depth 8"},
      {"palette.tif", "-posterize 4 -type palette"},
      {"photo.jpg", "-quality 90"},
      {"gray.jpg", "-colorspace Gray"},
      {"palette.gif", "-colors 64"},
      {"transparent.gif", kCorner, true},
      {"photo.webp", "-define webp:lossless=true"},
      {"alpha.webp", kAlpha + "-depth 8 -define webp:lossless=true", true},
      {"plain.bmp", "-type TrueColor"}};
}

std::string formatOf(const std::string& name) {
  const std::string extension = fs::path(name).extension();
  return extension == ".png"    ? "PNG"
         : extension == ".gif"  ? "GIF"
         : extension == ".webp" ? "WEBP"
         : extension == ".bmp"  ? "BMP"
         : extension == ".jpg"  ? "JPEG"
                                : "TIFF";
}

TEST_F(Conversion, KeepsEveryLevelOfEveryPixelInFormatsWithoutLoss) {
  for (const Source& source : sources()) {
    const std::string from = make(source.name, source.options);
    const std::vector<unsigned> original = pixels(from);
    std::vector<unsigned> rounded;  // to the nearest of 256 levels
    for (const unsigned sample : original) {
      rounded.push_back(257 * static_cast<unsigned>(std::lround(sample / 257.0)));
    }
    for (const char* name : {"to.png", "to.tiff", "to.webp", "to.bmp"}) {
      SCOPED_TRACE(source.name + " " + name);
      const std::string format = formatOf(name);
      if (formatOf(source.name) == format) continue;
      const std::string to = directory_.file(name);
      if (source.alpha && format == "BMP") {
        EXPECT_EQ(convert(from, to),
                  "the picture is transparent in places, and BMP files are opaque");
        EXPECT_FALSE(fs::exists(to));
        continue;
      }
      ASSERT_EQ(convert(from, to), "");
      const bool deep = source.deep && (format == "PNG" || format == "TIFF");
      EXPECT_EQ(told("identify -format '%m %w %h' '" + to + "'"), format + " 61 47");
      EXPECT_TRUE(pixels(to) == (source.deep && !deep ? rounded : original));
      if (format == "PNG") {
        EXPECT_TRUE(shell("pngcheck -q '" + to + "'"));
      } else if (format == "TIFF") {
        EXPECT_TRUE(shell("tiffinfo -D '" + to + "' > /dev/null"));
      }
      if (deep) {
        EXPECT_EQ(told("identify -format '%z' '" + to + "'"), "16");
      }
      fs::remove(to);
    }
  }
}

TEST_F(Conversion, MakesJpegFilesThatLookTheSame) {
  for (const Source& source : sources()) {
    if (formatOf(source.name) == "JPEG") continue;
    SCOPED_TRACE(source.name);
    const std::string from = make(source.name, source.options);
    const std::string to = directory_.file("to.jpg");
    if (source.alpha) {
      EXPECT_EQ(convert(from, to),
                "the picture is transparent in places, and JPEG files are opaque");
      EXPECT_FALSE(fs::exists(to));
      continue;
    }
    ASSERT_EQ(convert(from, to), "");
    const double decibels =
        std::stod(told("(compare -metric PSNR '" + from + "' '" + to + "' null: 2>&1 || true)"));
    EXPECT_TRUE(decibels == 0 || decibels > 34) << decibels;  // 0: none differs
    const bool gray = told("identify -format '%[channels]' '" + from + "'") == "gray";
    EXPECT_EQ(told("identify -format '%m %w %h %Q %[jpeg:sampling-factor]' '" + to + "'"),
              std::string("JPEG 61 47 95 ") + (gray ? "1x1" : "1x1,1x1,1x1"));
    fs::remove(to);
  }
}

// Metadata

TEST_F(Conversion, CarriesTheColorProfile) {
  const std::string profile = directory_.file("wide.icc");
  writeFile(profile, wideProfile());
  for (const char* source : {"from.jpg", "from.png", "from.tif", "from.webp"}) {
    const std::string from = make(source, "-depth 8 -profile '" + profile + "'");
    for (const char* target : {"to.jpeg", "to.png", "to.tiff", "to.webp", "to.bmp"}) {
      SCOPED_TRACE(std::string(source) + " " + target);
      if (formatOf(source) == formatOf(target)) continue;
      const std::string to = directory_.file(target);
      ASSERT_EQ(convert(from, to), "");
      EXPECT_TRUE(profileIn(to) == wideProfile());
      fs::remove(to);
    }
  }
}

TEST_F(Conversion, CarriesWhatExifTells) {
  for (const char* source : {"from.jpg", "from.png", "from.tif", "from.webp"}) {
    const std::string from = make(source, "-depth 8 -define webp:lossless=true");
    ASSERT_TRUE(
        shell("exiftool -q -overwrite_original -Orientation#=6 -Artist='Ada Example' "
              "-Make=Maker -XResolution=300 -ExposureTime=1/60 -GPSLatitudeRef=N "
              "-GPSLatitude=48.5 -UserComment=hello -InteropIndex=R03 '" +
              from + "'"));
    for (const char* target : {"to.jpeg", "to.png", "to.tiff", "to.webp"}) {
      SCOPED_TRACE(std::string(source) + " " + target);
      if (formatOf(source) == formatOf(target)) continue;
      const std::string to = directory_.file(target);
      ASSERT_EQ(convert(from, to), "");
      EXPECT_EQ(told("exiftool -m -s3 -EXIF:Orientation# -EXIF:Artist -EXIF:Make -EXIF:XResolution "
                     "-EXIF:ExposureTime -EXIF:GPSLatitude# -EXIF:UserComment -EXIF:InteropIndex# "
                     "'" +
                     to + "'"),
                "6\nAda Example\nMaker\n300\n1/60\n48.5\nhello\nR03\n");
      EXPECT_EQ(told("exiftool -s3 -a -warning -error '" + to + "'"), "");
      fs::remove(to);
    }
    const std::string bmp = directory_.file("to.bmp");
    EXPECT_EQ(convert(from, bmp),
              "it is to be shown turned or mirrored, which a BMP file cannot tell");
    EXPECT_FALSE(fs::exists(bmp));
    ASSERT_TRUE(shell("exiftool -q -overwrite_original -Orientation#=1 '" + from + "'"));
    EXPECT_EQ(convert(from, bmp), "");
    fs::remove(bmp);
  }
}

TEST_F(Conversion, RefusesExifThatDoesNotFit) {
  const std::string from = make("from.png", "-depth 8");
  const std::string comment = directory_.file("comment");
  writeFile(comment, std::string(70000, 'x'));
  ASSERT_TRUE(
      shell("exiftool -q -overwrite_original '-ImageDescription<=" + comment + "' '" + from + "'"));
  EXPECT_EQ(convert(from, directory_.file("to.jpg")), "its EXIF data do not fit into a JPEG file");
  EXPECT_EQ(convert(from, directory_.file("to.tif")), "");
  EXPECT_EQ(names(), (std::vector<std::string>{"comment", "from.png", "to.tif"}));
}

// Refusals

TEST_F(Conversion, DropsAnAlphaThatIsOpaqueEverywhere) {
  const std::string from = make("from.png", "-depth 8 -alpha opaque -define png:color-type=6");
  ASSERT_EQ(told("identify -format '%[channels]' '" + from + "'"), "srgba");
  const auto original = pixels(from);
  for (const char* target : {"to.bmp", "to.jpg"}) {
    EXPECT_EQ(convert(from, directory_.file(target)), "") << target;
  }
  EXPECT_TRUE(pixels(directory_.file("to.bmp")) == original);
}

TEST_F(Conversion, SaysWhatItDoesNotConvert) {
  const std::string target = directory_.file("to.png");
  writeFile(target, "old");
  const std::string pages = sample("two-pages.tif");
  EXPECT_EQ(convert(pages, target),
            "its file holds 2 images, and a PNG file made of it would hold one");
  EXPECT_EQ(convert(make("cmyk.jpg", "-colorspace CMYK"), target),
            "only RGB and gray images are converted");
  EXPECT_EQ(convert(make("a.png", "-depth 8"), directory_.file("a.gif")),
            "from PNG, no gif file can be made");
  EXPECT_EQ(convert(directory_.file("a.png"), directory_.file("a.xyz")),
            "no image format has the extension xyz");
  EXPECT_EQ(convert(make("b.psd", ""), target), "Photoshop documents are not adjusted");
  ASSERT_TRUE(shell("vips black '" + directory_.file("long.png") + "' 20000 2"));
  EXPECT_EQ(convert(directory_.file("long.png"), directory_.file("long.webp")),
            "it has more than 16383 pixels in a row or column, which do not fit into a WebP file");
  ASSERT_TRUE(shell("vips black '" + directory_.file("long.png") + "' 70000 2"));
  EXPECT_EQ(convert(directory_.file("long.png"), directory_.file("long.jpg")),
            "the picture could not be compressed: maximum supported image dimension is 65500 "
            "pixels");
  EXPECT_EQ(readFile(target), "old");
  EXPECT_EQ(names(),
            (std::vector<std::string>{"a.png", "b.psd", "cmyk.jpg", "long.png", "to.png"}));
}

std::string littleEndian(std::size_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 0xFFU);
  return text;
}

TEST_F(Conversion, WouldNotMoveAPictureOnItsCanvas) {
  const std::string gif = make("a.gif", "-repage 80x80+5+5");
  EXPECT_EQ(convert(gif, directory_.file("a.png")), "its picture does not fill its canvas");
  // A picture of 61 x 47 pixels at (10, 10) of 80 x 80.
  const std::string still = readFile(make("still.webp", "-depth 8"));
  const auto chunk = [](const std::string& name, const std::string& data) {
    return name + littleEndian(data.size(), 4) + data;
  };
  const std::string place =
      littleEndian(5, 3) + littleEndian(5, 3) + littleEndian(60, 3) + littleEndian(46, 3);
  const std::string body =
      "WEBP" + chunk("VP8X", littleEndian(2, 4) + littleEndian(79, 3) + littleEndian(79, 3)) +
      chunk("ANIM", littleEndian(0, 6)) +
      chunk("ANMF", place + littleEndian(100, 3) + littleEndian(0, 1) + still.substr(12));
  const std::string webp = directory_.file("a.webp");
  writeFile(webp, chunk("RIFF", body));
  ASSERT_TRUE(shell("webpinfo -quiet '" + webp + "'"));
  EXPECT_EQ(convert(webp, directory_.file("a.png")), "it is an animation, if of one picture");
}

TEST_F(Conversion, ReadsHeicButDoesNotConvertIt) {
  const std::string heic = directory_.file("a.heic");
  ASSERT_TRUE(shell("heif-enc '" + make("a.png", "-depth 8") + "' -o '" + heic + "' > /dev/null"));
  EXPECT_EQ(convert(heic, directory_.file("a.jpg")), "HEIC files are not converted");
  EXPECT_EQ(convert(heic, directory_.file("b.heic")), "");
}

// The PNG file with a chunk more before its pixels.
std::string withChunk(const std::string& png, const std::string& name, const std::string& data) {
  const auto number = [](std::size_t value) {
    std::string bytes;
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
      bytes += static_cast<char>(value >> shift & 0xFFU);
    }
    return bytes;
  };
  const std::string body = name + data;
  const auto sum =
      ::crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()));
  const std::size_t place = png.find("IDAT") - 4;
  return png.substr(0, place) + number(data.size()) + body + number(sum) + png.substr(place);
}

TEST_F(Conversion, TakesNoOtherColorsForSrgb) {
  const std::string from = make("a.png", "-depth 8 -define png:exclude-chunks=gAMA,cHRM,sRGB,iCCP");
  const std::string plain = readFile(from);
  const std::string to = directory_.file("a.tif");
  const std::string gamma1 = withChunk(plain, "gAMA", std::string("\0\x01\x86\xa0", 4));
  const std::string otherColors =
      "its colours are told by gamma and chromaticities, without a profile";
  EXPECT_EQ(convert(from, to), "");
  writeFile(from, gamma1);
  EXPECT_EQ(convert(from, to), otherColors);
  writeFile(from, withChunk(gamma1, "sRGB", std::string(1, 0)));  // which counts more
  EXPECT_EQ(convert(from, to), "");
  writeFile(from, withChunk(plain, "gAMA", std::string("\0\0\xb1\x8f", 4)));  // 0.45455
  EXPECT_EQ(convert(from, to), "");
  writeFile(from, withChunk(plain, "cHRM", std::string(32, 1)));
  EXPECT_EQ(convert(from, to), otherColors);
  writeFile(from, withChunk(plain, "cICP", std::string("\x09\x10\0\x01", 4)));
  EXPECT_EQ(convert(from, to), "its colours are told by code points (cICP)");
}

TEST_F(Conversion, WouldNotLoseExifThatIsText) {
  const std::string from = make("a.png", "-depth 8");
  const std::string text =
      withChunk(readFile(from), "zTXt", std::string("Raw profile type exif\0\0x", 24));
  writeFile(from, text);
  EXPECT_EQ(convert(from, directory_.file("a.jpg")), "its EXIF data are in the form of text");
  constexpr std::size_t kEmptyBlock = 14;
  writeFile(from,
            withChunk(text, "eXIf", std::string("II\x2a\0\x08\0\0\0\0\0\0\0\0\0", kEmptyBlock)));
  EXPECT_EQ(convert(from, directory_.file("a.jpg")), "");
}

// The name lies about the contents, and the file would be lost for its conversion.
TEST_F(Conversion, PutsNoFileInItsOwnPlace) {
  const std::string from = make("from.png", "-depth 8");
  const std::string misnamed = directory_.file("misnamed.jpg");
  fs::copy_file(from, misnamed);
  EXPECT_EQ(convert(misnamed, misnamed),
            "the file would take its own place, in another format than it has");
  fs::create_symlink(misnamed, directory_.file("link.jpg"));
  EXPECT_EQ(convert(misnamed, directory_.file("link.jpg")),
            "the file would take its own place, in another format than it has");
  EXPECT_EQ(readFile(misnamed), readFile(from));
  EXPECT_EQ(convert(misnamed, directory_.file("other.tif")), "");
}

TEST_F(Conversion, HandsNoDamageOn) {
  const std::string whole = readFile(sample("lake.jpg"));
  const std::string damaged = directory_.file("damaged.jpg");
  const std::string target = directory_.file("to.png");
  writeFile(target, "old");
  writeFile(damaged, whole.substr(0, whole.size() / 2) + "\xff\xd9");
  EXPECT_NE(convert(damaged, target), "");
  writeFile(damaged, whole.substr(0, whole.size() / 2));
  EXPECT_NE(convert(damaged, target), "");
  EXPECT_EQ(readFile(target), "old");
  EXPECT_EQ(names(), (std::vector<std::string>{"damaged.jpg", "to.png"}));
}

// Whole or not at all

TEST_F(Conversion, LeavesTheOldFileOrNoneWhicheverCallFails) {
  const std::string from = make("from.bmp", "-type TrueColor");
  for (const char* name : {"to.jpg", "to.png", "to.tif", "to.webp"}) {
    const std::string to = directory_.file(name);
    for (const bool exists : {false, true}) {
      SCOPED_TRACE(std::string(name) + (exists ? " replaced" : " new"));
      int failures = 0;
      bool failed = true;
      for (int call = 0; failed; ++call) {
        SCOPED_TRACE(call);
        ASSERT_LT(call, 100);
        fs::remove(to);
        if (exists) writeFile(to, "old");
        FailingFileSystem failing(call, true);
        const std::string error = convert(from, to, failing);
        failed = failing.failed();
        if (!error.empty()) {
          ++failures;
          EXPECT_EQ(fs::exists(to), exists);
          EXPECT_EQ(readFile(to), exists ? "old" : "");
        } else {
          EXPECT_EQ(told("identify -format '%m %w %h' '" + to + "'"), formatOf(name) + " 61 47");
        }
        EXPECT_EQ(names().size(), error.empty() || exists ? 2U : 1U);
      }
      EXPECT_GE(failures, 4);
      fs::remove(to);
    }
  }
}

TEST_F(Conversion, ReplacesATargetAndKeepsItsMode) {
  const std::string from = make("from.bmp", "-type TrueColor");
  const std::string to = directory_.file("to.png");
  writeFile(to, "old");
  fs::permissions(to, fs::perms{0640});
  EXPECT_EQ(convert(from, to), "");
  EXPECT_EQ(fs::status(to).permissions(), fs::perms{0640});
  EXPECT_TRUE(pixels(to) == pixels(from));
}

}  // namespace
}  // namespace kelvo
