// Damaged, foreign and oversized files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "platform/image_io/mapped_file.h"
#include "tests/image_io/jpeg/jpeg_test_support.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class JpegDamage : public ::testing::Test {
 protected:
  std::string make(const std::string& options = "", std::uint32_t width = 120,
                   std::uint32_t height = 90) {
    writeGradient(directory_.path("picture.ppm"), width, height);
    run("cjpeg " + options + " -outfile " + file_ + " " + directory_.path("picture.ppm"));
    std::filesystem::remove(directory_.path("picture.ppm"));
    return readFile(file_);
  }

  // Nothing of this may crash; an error is as good as pixels.
  static Result<std::vector<std::byte>> decode(const std::string& contents, SourceStatus& status) {
    const auto* const bytes = reinterpret_cast<const std::byte*>(contents.data());
    const auto source =
        CGImageSourceCreateWithBytes({}, MappedFile::fromBytes({bytes, bytes + contents.size()}));
    if (!source) return source.error();
    status = CGImageSourceGetStatus(**source);
    const auto image = CGImageSourceCreateImageAtIndex(**source, 0);
    if (!image) return image.error();
    return readAllPixels(*image);
  }

  TemporaryDirectory directory_;
  std::string file_ = directory_.path("photo.jpg");
};

TEST_F(JpegDamage, ATruncatedFileIsNeverCompleteAndNeverReplaced) {
  for (const char* options : {"", "-progressive", "-restart 1", "-arithmetic"}) {
    const std::string whole = make(options);
    for (std::size_t size = 3; size < whole.size(); size += 1 + size / 40) {
      SCOPED_TRACE(std::string(options) + " " + std::to_string(size));
      const std::string part = whole.substr(0, size);
      SourceStatus status;
      status.status = CGImageSourceStatus::complete;
      const auto pixels = decode(part, status);
      EXPECT_TRUE(!pixels || status.status == CGImageSourceStatus::incomplete);
      EXPECT_FALSE(pixels) << "pixels were made up";
    }
    const std::string part = whole.substr(0, whole.size() - 10);
    writeFile(file_, part);
    const auto result = rewrite(file_, Adjustment::none);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().message, "status: the file ends before its end-of-image marker");
    EXPECT_EQ(readFile(file_), part);
    EXPECT_THAT(directory_.names(), ElementsAre("photo.jpg"));
  }
}

// The markers are all there, the data between them is not.
TEST_F(JpegDamage, MissingPictureDataBeforeTheEndMarkerFailsTheFrame) {
  const std::string whole = make("-quality 95", 400, 300);
  const std::string cut = whole.substr(0, whole.size() * 2 / 3) + "\xFF\xD9";
  writeFile(file_, cut);
  const auto result = rewrite(file_, Adjustment::none);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().message, "the picture data is damaged: premature end of data segment");
  EXPECT_EQ(readFile(file_), cut);
  EXPECT_THAT(directory_.names(), ElementsAre("photo.jpg"));
}

TEST_F(JpegDamage, ALostRestartMarkerFailsTheFrame) {
  std::string contents = make("-restart 1", 400, 300);
  const std::size_t marker = contents.find("\xFF\xD3");
  ASSERT_NE(marker, std::string::npos);
  contents[marker + 1] = '\xD5';
  writeFile(file_, contents);
  EXPECT_FALSE(rewrite(file_, Adjustment::none));
  EXPECT_EQ(readFile(file_), contents);
}

TEST_F(JpegDamage, SurplusPictureDataFailsTheFrame) {
  std::string contents = make("", 400, 300);
  contents.insert(contents.size() - 2, "stray bytes");
  writeFile(file_, contents);
  const auto result = rewrite(file_, Adjustment::none);
  ASSERT_FALSE(result);
  EXPECT_THAT(result.error().message, HasSubstr("extraneous bytes before marker 0xd9"));
}

TEST_F(JpegDamage, QuantisationByZeroIsRefused) {
  std::string contents = make("", 70, 50);
  // The first table's first number: after the marker, the length and the table's own number.
  const std::size_t table = contents.find("\xff\xdb");
  ASSERT_NE(table, std::string::npos);
  contents[table + 5] = 0;
  writeFile(file_, contents);
  const auto result = rewrite(file_, Adjustment::invert);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().message, "a quantisation table is damaged");
  EXPECT_EQ(readFile(file_), contents);
}

TEST_F(JpegDamage, QuantisationBeyondWhatTheEncoderCanHoldIsRefused) {
  // Tables of 16 bits: the lowest qualities have numbers above 255.
  std::string contents = make("-quality 1", 70, 50);
  const std::size_t table = contents.find("\xff\xdb");
  ASSERT_NE(table, std::string::npos);
  ASSERT_EQ(contents[table + 4] & 0xF0, 0x10);
  contents[table + 5] = 0x20;  // 8192 and more
  writeFile(file_, contents);
  const auto result = rewrite(file_, Adjustment::invert);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().message, "a quantisation table of the file makes no sense");
  EXPECT_EQ(readFile(file_), contents);
}

TEST_F(JpegDamage, FlippedBytesNeverCrashAndNeverLeaveAnythingButAWholeFile) {
  std::mt19937 random(7);
  for (const char* options : {"", "-progressive", "-restart 1 -optimize", "-arithmetic"}) {
    const std::string whole = make(options, 70, 50);
    for (int i = 0; i < 300; ++i) {
      std::string damaged = whole;
      for (int k = 0; k <= i % 3; ++k) {
        damaged[random() % damaged.size()] = static_cast<char>(random());
      }
      writeFile(file_, damaged);
      const auto result = rewrite(file_, Adjustment::none);
      if (result) {
        SourceStatus status;
        EXPECT_TRUE(decode(readFile(file_), status));
        EXPECT_EQ(status.status, CGImageSourceStatus::complete);
      } else {
        EXPECT_EQ(readFile(file_), damaged);
      }
    }
    EXPECT_THAT(directory_.names(), ElementsAre("photo.jpg"));
  }
}

TEST_F(JpegDamage, TheSuffixDoesNotMatter) {
  const std::string contents = make();
  writeFile(directory_.path("photo.png"), contents);
  EXPECT_TRUE(rewrite(directory_.path("photo.png"), Adjustment::invert));
  EXPECT_EQ(readFile(directory_.path("photo.png")).substr(0, 3), "\xFF\xD8\xFF");
}

// Changes the frame header's marker or precision in place.
std::string withFrameByte(std::string contents, std::size_t offset, char value) {
  const std::size_t frame = contents.find(std::string("\xFF\xC0\0\x11", 4));
  EXPECT_NE(frame, std::string::npos);
  contents[frame + offset] = value;
  return contents;
}

TEST_F(JpegDamage, KindsThatAreNotSupportedAreRefusedByName) {
  const std::string contents = make();
  const auto message = [&](const std::string& changed) {
    SourceStatus status;
    const auto pixels = decode(changed, status);
    return pixels ? std::string("decoded") : pixels.error().message;
  };
  EXPECT_EQ(message(withFrameByte(contents, 1, '\xC3')), "lossless JPEG is not supported");
  EXPECT_EQ(message(withFrameByte(contents, 1, '\xC5')), "hierarchical JPEG is not supported");
  EXPECT_EQ(message(withFrameByte(contents, 4, 12)),
            "JPEG with 12 bits a sample is not supported, only 8");
  std::string noHeight = withFrameByte(contents, 5, 0);
  noHeight = withFrameByte(noHeight, 6, 0);
  EXPECT_EQ(message(noHeight), "its height is given after the pixels, which is not supported");
}

TEST_F(JpegDamage, LimitsAreCheckedBeforeAnythingIsDecodedAndNameTheirOption) {
  make("", 120, 90);
  const auto pixels = rewrite(file_, Adjustment::none, {.limits = {.maxPixels = 10'000}});
  ASSERT_FALSE(pixels);
  EXPECT_EQ(pixels.error().message,
            "it has 10800 pixels, more than the 10000 allowed (--max-pixels)");
  make("-progressive -sample 1x1", 2048, 1024);
  // 2 Mi pixels of 3 components, 2 bytes a coefficient, decoded and written: 24 MiB.
  const auto memory = rewrite(file_, Adjustment::none, {.limits = {.maxMemoryBytes = 23 << 20}});
  ASSERT_FALSE(memory);
  EXPECT_EQ(memory.error().message,
            "a progressive picture of this size takes 24 MiB of memory, more than the 23 MiB "
            "allowed (--max-memory)");
  EXPECT_TRUE(rewrite(file_, Adjustment::none, {.limits = {.maxMemoryBytes = 24 << 20}}));
}

TEST_F(JpegDamage, AHeaderThatPromisesAHugePictureCostsNothing) {
  std::string contents = make("", 16, 16);
  for (const std::size_t offset : {5, 7}) contents = withFrameByte(contents, offset, '\x7F');
  SourceStatus status;
  // 32528 x 32528 pixels, above the limit.
  const auto pixels = decode(contents, status);
  ASSERT_FALSE(pixels);
  EXPECT_THAT(pixels.error().message, HasSubstr("(--max-pixels)"));
}

TEST_F(JpegDamage, AFileExchangedBetweenReadingAndWritingIsLeftAlone) {
  make();
  const NSURL url = NSURL::fileURLWithPath(file_);
  const auto source = CGImageSourceCreateWithURL(url);
  ASSERT_TRUE(source);
  const auto properties = CGImageSourceCopyPropertiesAtIndex(**source, 0);
  const auto image = CGImageSourceCreateImageAtIndex(**source, 0);
  ASSERT_TRUE(properties && image);
  std::filesystem::remove(file_);
  const std::string other = make("-quality 30");
  const auto destination = CGImageDestinationCreateWithURL(url, "public.jpeg", 1);
  ASSERT_TRUE(destination);
  const auto added = CGImageDestinationAddImage(**destination, *image, **properties);
  ASSERT_FALSE(added);
  EXPECT_EQ(added.error().message, "the file was changed by another program meanwhile");
  EXPECT_FALSE(CGImageDestinationFinalize(**destination));
  EXPECT_EQ(readFile(file_), other);
}

}  // namespace
}  // namespace kelvo::test
