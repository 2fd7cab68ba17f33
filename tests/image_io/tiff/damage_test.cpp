// Files that are cut off, altered or made to do harm.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

#include "tests/image_io/tiff/tiff_test_support.h"

namespace kelvo::tiff_test {
namespace {

using ::testing::HasSubstr;

Bytes made(const std::string& commands) {
  const Scratch scratch;
  run("cd " + scratch.path("") + " && " + commands);
  return readFile(scratch.path("x.tif"));
}

Bytes plasma(const std::string& tiffcpOptions, const std::string& size = "90x70") {
  return made("convert -size " + size +
              " -seed 4 plasma:red-blue -depth 8 -type TrueColor -compress None s.tif && tiffcp " +
              tiffcpOptions + " s.tif x.tif");
}

CGImageSourceStatus statusOf(const Bytes& file) { return open(file)->status().status; }

class Truncated : public ::testing::TestWithParam<std::string> {};

TEST_P(Truncated, FilesAreNeverTakenForWholeOnes) {
  const Bytes file = plasma(GetParam(), "36x30");
  ASSERT_EQ(statusOf(file), CGImageSourceStatus::complete);
  const Bytes pixels = decoded(file).value();
  for (std::size_t length = 0; length < file.size(); ++length) {
    const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
    const auto source = open(cut);
    if (!source) continue;
    EXPECT_NE(source->status().status, CGImageSourceStatus::complete) << length;
    EXPECT_NE(source->status().cause, "") << length;
    EXPECT_FALSE(rewrite(cut).ok()) << length;
    for (std::size_t i = 0; i < source->count(); ++i) {
      const auto image = source->image(i);
      if (!image) continue;
      const auto read = readAllPixels(*image);
      if (read) {
        EXPECT_EQ(*read, pixels) << length;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Files, Truncated,
                         ::testing::Values("-c none -r 10", "-c lzw:2 -r 10", "-B -8 -c zip -r 70",
                                           "-c jpeg -r 16", "-t -w 32 -l 32 -c packbits",
                                           "-p separate -c zip"));

TEST(TiffDamage, InDeflatedPixelsNeverPassesSilently) {
  const Bytes file = plasma("-c zip:2 -r 20");
  const Bytes pixels = decoded(file).value();
  Limits byRows;
  byRows.maxMemoryBytes = 60000;  // a strip of 5400 bytes still comes whole, one of 18900 does not
  const Bytes large = plasma("-c zip:2 -r 70");
  std::size_t noticed = 0;
  for (const auto& [original, limits] : {std::pair(file, Limits{}), std::pair(large, byRows)}) {
    ASSERT_EQ(decoded(original, 0, limits).value(), pixels);
    for (std::size_t at = 8; at < original.size(); at += 53) {
      Bytes damaged = original;
      damaged[at] ^= std::byte{0x10};
      const auto source = open(damaged, limits);
      if (!source || source->status().status != CGImageSourceStatus::complete) continue;
      const auto info = source->info(0);
      if (info.width != 90 || info.height != 70) continue;
      // Past the pixels the directory begins; a number altered there may mean something else.
      if (at >= original.size() - 400) break;
      const auto read = decoded(damaged, 0, limits);
      if (read) {
        EXPECT_EQ(*read, pixels) << at;
      } else {
        ++noticed;
      }
      EXPECT_EQ(rewrite(damaged, {}, limits).ok(), read.ok());
    }
  }
  EXPECT_GT(noticed, 100U);
}

TEST(TiffDamage, AnywhereNeverCrashesOrHangs) {
  for (const std::string options :
       {"-c lzw:2 -r 10", "-c lzw -r 70", "-c zip:2 -r 10", "-c jpeg -r 16",
        "-t -w 32 -l 32 -c packbits", "-B -8 -p separate -c lzma -r 10", "-c zstd -r 10"}) {
    const Bytes file = plasma(options);
    Limits limits;
    limits.maxPixels = 1'000'000;
    limits.maxMemoryBytes = 64 << 20;
    for (std::size_t i = 0; i < 400; ++i) {
      Bytes damaged = file;
      const Bytes random = noise(8, static_cast<std::uint32_t>(i));
      // The directory, at the end, as often as the pixels.
      const std::size_t span = i % 2 == 0 ? std::min<std::size_t>(500, file.size()) : file.size();
      const std::size_t at =
          file.size() - 1 -
          (std::to_integer<std::size_t>(random[0]) << 8 | std::to_integer<std::size_t>(random[1])) %
              span;
      damaged[at] = random[2];
      const auto result = rewrite(damaged, {}, limits);
      if (result) {
        EXPECT_EQ(open(*result)->status().cause, "") << options << " " << i;
      }
    }
  }
}

TEST(TiffDamage, OfOnePageFailsThatPageAndTheFile) {
  const Bytes file = made(
      "convert -depth 8 -type TrueColor -size 64x64 -seed 1 plasma:red-blue "
      "plasma:green-yellow plasma:white-navy -compress Zip x.tif");
  const auto whole = open(file);
  ASSERT_EQ(whole->count(), 3U);
  // The second page's pixels are found by what decoding it needs: the first byte whose change
  // fails that page.
  Bytes damaged = file;
  for (std::size_t at = 8; at < file.size(); at += 7) {
    damaged = file;
    damaged[at] ^= std::byte{0xFF};
    const auto source = open(damaged);
    if (source && source->count() == 3 && source->status().cause.empty() &&
        decoded(damaged, 0).ok() && !decoded(damaged, 1).ok()) {
      break;
    }
  }
  EXPECT_EQ(decoded(damaged, 0).value(), decoded(file, 0).value());
  const auto second = decoded(damaged, 1);
  ASSERT_FALSE(second.ok());
  EXPECT_THAT(second.error().message, HasSubstr("damaged"));
  EXPECT_EQ(decoded(damaged, 2).value(), decoded(file, 2).value());
  EXPECT_FALSE(rewrite(damaged).ok());
}

// A small sound frame to go wrong from.
struct Frame {
  TiffBuilder builder;
  std::uint64_t pixels = builder.append(noise(std::size_t{8} * 8 * 3));
  std::vector<TiffBuilder::Field> fields = builder.rgbFields(8, 8, pixels);

  Bytes file() {
    builder.setFirst(builder.directory(fields));
    return builder.file();
  }
  TiffBuilder::Field& field(std::uint16_t tag) {
    for (auto& candidate : fields) {
      if (candidate.tag == tag) return candidate;
    }
    fields.push_back({tag, 0, 0, {}});
    return fields.back();
  }
};

std::string causeOf(const Bytes& file) {
  const auto source = open(file);
  return source ? source->status().cause : "not opened";
}

TEST(TiffStatus, IsCompleteForASoundFrame) {
  Frame frame;
  EXPECT_EQ(causeOf(frame.file()), "");
}

TEST(TiffStatus, TellsAStripBeyondTheEnd) {
  Frame frame;
  frame.field(273) = frame.builder.longs(273, {100000});
  EXPECT_EQ(causeOf(frame.file()), "strip 0 of frame 0 lies beyond the end of the file");
}

TEST(TiffStatus, TellsAStripTooShortForItsPixels) {
  Frame frame;
  frame.field(279) = frame.builder.longs(279, {191});
  EXPECT_EQ(causeOf(frame.file()), "strip 0 of frame 0 has 191 bytes where its pixels need 192");
}

TEST(TiffStatus, TellsMissingStrips) {
  Frame frame;
  frame.field(278) = frame.builder.longs(278, {4});
  EXPECT_EQ(causeOf(frame.file()),
            "frame 0: a directory lists 1 offsets and 1 byte counts for 2 strips");
}

TEST(TiffStatus, TellsARepeatedTag) {
  Frame frame;
  frame.fields.push_back(frame.builder.longs(256, {8}));
  EXPECT_EQ(causeOf(frame.file()), "frame 0: tag 256 occurs more than once in a directory");
}

TEST(TiffStatus, TellsACircleOfDirectories) {
  Frame frame;
  const auto at = frame.builder.directory(frame.fields);
  frame.builder.setFirst(at);
  frame.builder.patch(frame.builder.nextPosition(at), at, 4);
  EXPECT_EQ(causeOf(frame.builder.file()), "the chain of directories runs in a circle");
  EXPECT_EQ(open(frame.builder.file())->status().status, CGImageSourceStatus::invalidData);
}

TEST(TiffStatus, TellsAMissingSecondDirectory) {
  Frame frame;
  const auto at = frame.builder.directory(frame.fields);
  frame.builder.setFirst(at);
  frame.builder.patch(frame.builder.nextPosition(at), 123456, 4);
  EXPECT_EQ(causeOf(frame.builder.file()), "the file ends before its directory at byte 123456");
  EXPECT_EQ(open(frame.builder.file())->status().status, CGImageSourceStatus::incomplete);
}

TEST(TiffStatus, TellsAValueOutsideTheFile) {
  Frame frame;
  frame.fields.push_back({65000, 7, 0x7FFFFFFF, Bytes(4)});
  EXPECT_EQ(causeOf(frame.file()), "the value of tag 65000 is longer than the file");
  Frame other;
  other.fields.push_back({65000, 7, 100, Bytes(4, std::byte{0x70})});
  EXPECT_EQ(causeOf(other.file()), "the value of tag 65000 lies outside the file");
}

TEST(TiffStatus, TellsABrokenExifPointer) {
  Frame frame;
  frame.fields.push_back(frame.builder.longs(34665, {99999}));
  EXPECT_EQ(causeOf(frame.file()), "the file ends before its directory at byte 99999");
}

TEST(TiffStatus, TellsDirectoriesThatLieOnTopOfEachOther) {
  // Every second byte begins a directory of 65535 entries.
  Frame frame;
  frame.builder.append(Bytes(std::size_t{65600} * 12, std::byte{0xFF}));
  Bytes file = frame.builder.file();
  frame.builder.setFirst(400);
  file = frame.builder.file();
  const auto source = open(file);
  ASSERT_TRUE(source);
  EXPECT_NE(source->status().status, CGImageSourceStatus::complete);
}

TEST(TiffWritable, DirectoriesUnderPixelsAreRefused) {
  Frame other;
  const std::uint64_t at = other.builder.size();
  // The strip is moved onto the directory.
  other.field(273) = other.builder.longs(273, {static_cast<std::uint32_t>(at)});
  other.field(65000) = other.builder.bytes(65000, 7, noise(500));
  const Bytes file = other.file();
  EXPECT_EQ(causeOf(file), "");
  const auto refused = open(file)->writable();
  ASSERT_FALSE(refused.ok());
  EXPECT_EQ(refused.error().message, "its directories and its pixels lie on top of each other");
  EXPECT_FALSE(rewrite(file).ok());
}

TEST(TiffLimits, TooManyPixelsAreRefusedWithTheNumbers) {
  Frame frame;
  const Bytes file = frame.file();
  Limits limits;
  limits.maxPixels = 64;
  EXPECT_TRUE(open(file, limits));
  limits.maxPixels = 63;
  EXPECT_EQ(openError(file, limits),
            "frame 0 has 64 pixels, more than the 63 allowed (--max-pixels)");
  Frame huge;
  huge.field(256) = huge.builder.longs(256, {0xFFFFFFFF});
  huge.field(257) = huge.builder.longs(257, {0xFFFFFFFF});
  EXPECT_THAT(openError(huge.file()), HasSubstr("18446744065119617025 pixels"));
}

TEST(TiffLimits, TooManyFramesAreRefusedWithTheNumber) {
  Frame frame;
  std::uint64_t next = 0;
  for (int i = 0; i < 5; ++i) next = frame.builder.directory(frame.fields, next);
  frame.builder.setFirst(next);
  Limits limits;
  limits.maxFrames = 5;
  EXPECT_EQ(open(frame.builder.file(), limits)->count(), 5U);
  limits.maxFrames = 4;
  EXPECT_EQ(openError(frame.builder.file(), limits),
            "the file has more than the 4 frames allowed (--max-frames)");
}

TEST(TiffLimits, ATileRowBeyondTheMemoryIsRefused) {
  const Bytes file = plasma("-t -w 512 -l 512 -c zip");
  Limits limits;
  limits.maxMemoryBytes = 1 << 20;
  const auto read = decoded(file, 0, limits);
  ASSERT_FALSE(read.ok());
  EXPECT_THAT(read.error().message, HasSubstr("(--max-memory)"));
  limits.maxMemoryBytes = 4 << 20;
  EXPECT_TRUE(decoded(file, 0, limits).ok());
}

// libjpeg's decoder takes a divisor of zero; its encoder would divide by it.
TEST(TiffDamage, AJpegTableWithAZeroIsRefusedWhenWriting) {
  Bytes file = plasma("-c jpeg -r 80");
  const std::size_t table = find(file, Bytes{std::byte{0xFF}, std::byte{0xDB}});
  ASSERT_NE(table, std::string::npos);
  file[table + 5] = std::byte{0};  // marker, length, number, then the first divisor
  const auto result = rewrite(file);
  ASSERT_FALSE(result.ok());
  EXPECT_EQ(result.error().message, "a JPEG quantisation table makes no sense");
}

class LargeStrips : public ::testing::TestWithParam<std::string> {};

// Strips beyond the memory go row by row.
TEST_P(LargeStrips, AreRewrittenWithoutBeingHeld) {
  const Bytes file = plasma(GetParam() + " -r 70");
  Limits limits;
  limits.maxMemoryBytes = 24000;  // a quarter of it is less than a strip
  const Bytes result = rewritten(file, {}, limits);
  EXPECT_EQ(decoded(result).value(), decoded(file).value());
  const Scratch scratch;
  writeFile(scratch.path("before.tif"), file);
  writeFile(scratch.path("after.tif"), result);
  EXPECT_EQ(decodedElsewhere(scratch.path("before.tif")),
            decodedElsewhere(scratch.path("after.tif")));
  EXPECT_EQ(structureElsewhere(scratch.path("before.tif")),
            structureElsewhere(scratch.path("after.tif")));
}

INSTANTIATE_TEST_SUITE_P(Files, LargeStrips,
                         ::testing::Values("-c none", "-c packbits", "-c zip:2", "-c zip",
                                           "-p separate -c none", "-B -p separate -c zip:2",
                                           "-8 -p separate -c packbits"));

}  // namespace
}  // namespace kelvo::tiff_test
