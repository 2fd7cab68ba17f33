#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/image_io/bmp/bmp_test_support.h"

namespace kelvo::bmp_test {
namespace {

Bytes cut(const Bytes& bytes, std::size_t size) {
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

TEST(BmpDamage, AFileThatEndsEarlyIsNeverComplete) {
  for (const Named& kind : everyKind()) {
    for (std::size_t size = 0; size < kind.file.size(); ++size) {
      const Bytes bytes = cut(kind.file, size);
      if (!kBmpCodec.matches(bytes)) {
        EXPECT_LT(size, 18U) << kind.name;
        continue;
      }
      const std::string error = openError(kBmpCodec, bytes);
      if (!error.empty()) {
        EXPECT_EQ(error, "the file ends inside its headers") << kind.name << " " << size;
        continue;
      }
      const SourceStatus status = openSource(kBmpCodec, bytes)->status();
      EXPECT_EQ(status.status, CGImageSourceStatus::incomplete) << kind.name << " " << size;
      EXPECT_EQ(status.cause, "the file has " + std::to_string(size) + " of its " +
                                  std::to_string(kind.file.size()) + " bytes");
      EXPECT_FALSE(tryPixels(kBmpCodec, bytes).ok()) << kind.name << " " << size;
      EXPECT_FALSE(tryRewrite(kBmpCodec, bytes).ok()) << kind.name << " " << size;
    }
  }
}

TEST(BmpDamage, PixelsThatEndEarlyAreMissedEvenIfTheHeaderTellsNoSize) {
  const Bytes file = build({.width = 3, .height = 2, .pixels = Bytes(23), .fileBytes = 0});
  const SourceStatus status = openSource(kBmpCodec, file)->status();
  EXPECT_EQ(status.status, CGImageSourceStatus::incomplete);
  EXPECT_EQ(status.cause, "the file has 77 of its 78 bytes");
}

TEST(BmpDamage, ASizeToldTooSmallIsNoDamage) {
  const Bytes file = build({.pixels = fromHex("01020300"), .fileBytes = 26});
  EXPECT_EQ(openSource(kBmpCodec, file)->status().cause, "");
  EXPECT_EQ(rewrite(kBmpCodec, file), file);
}

TEST(BmpDamage, RandomDamageDoesNoHarmAndIsNeverWrittenUnreadable) {
  std::mt19937 random(1);
  const Limits limits = {.maxPixels = 1 << 16, .maxFrames = 10, .maxMemoryBytes = 1 << 22};
  for (const Named& kind : everyKind()) {
    int written = 0;
    for (int round = 0; round < 1000; ++round) {
      Bytes bytes = kind.file;
      const int changes = 1 + static_cast<int>(random() % 4);
      for (int i = 0; i < changes; ++i) {
        bytes[2 + random() % (bytes.size() - 2)] = static_cast<std::byte>(random());
      }
      if (!kBmpCodec.matches(bytes) || !openError(kBmpCodec, bytes, limits).empty()) continue;
      const bool readable = tryPixels(kBmpCodec, bytes, 0, limits).ok();
      const auto after = tryRewrite(kBmpCodec, bytes, rendered, {}, limits);
      EXPECT_EQ(after.ok(), readable) << kind.name;
      if (!after) continue;
      ++written;
      EXPECT_EQ(after->size(), bytes.size()) << kind.name;
      EXPECT_TRUE(tryPixels(kBmpCodec, *after).ok()) << kind.name;
    }
    EXPECT_GT(written, 50) << kind.name;
  }
}

TEST(BmpDamage, DimensionsThatMakeNoSenseAreTold) {
  EXPECT_EQ(openError(kBmpCodec, build({.width = 0})), "a picture of 0 x 1 pixels makes no sense");
  EXPECT_EQ(openError(kBmpCodec, build({.height = 0})), "a picture of 1 x 0 pixels makes no sense");
  EXPECT_EQ(openError(kBmpCodec, build({.width = -1})),
            "a picture of 4294967295 x 1 pixels makes no sense");
  EXPECT_EQ(openError(kBmpCodec, build({.height = std::numeric_limits<std::int32_t>::min()})),
            "a picture of 1 x 2147483648 pixels makes no sense");
  EXPECT_EQ(openError(kBmpCodec, build({.headerSize = 64, .height = -1})),
            "a picture of 1 x 4294967295 pixels makes no sense");
  EXPECT_EQ(openError(kBmpCodec, build({.planes = 3})), "a picture of 3 planes makes no sense");
}

TEST(BmpDamage, DepthsThatDoNotExistAreTold) {
  const auto expected = [](unsigned bits) {
    return std::to_string(bits) + " bits a pixel do not go with the rest of the header";
  };
  for (const unsigned bits : {0U, 3U, 5U, 15U, 48U, 64U}) {
    EXPECT_EQ(openError(kBmpCodec, build({.bits = bits})), expected(bits));
  }
  EXPECT_EQ(openError(kBmpCodec, build({.headerSize = 12, .bits = 16})), expected(16));
  EXPECT_EQ(openError(kBmpCodec, build({.bits = 4, .compression = 1})), expected(4));
  EXPECT_EQ(openError(kBmpCodec, build({.bits = 8, .compression = 2})), expected(8));
  EXPECT_EQ(openError(kBmpCodec, build({.height = -1, .bits = 8, .compression = 1})), expected(8));
  EXPECT_EQ(openError(kBmpCodec, build({.bits = 24, .compression = 3, .masks = {1, 2, 4}})),
            expected(24));
}

TEST(BmpDamage, WhatIsNotSupportedIsTold) {
  const auto error = [](unsigned compression, unsigned headerSize = 40) {
    return openError(kBmpCodec, build({.headerSize = headerSize, .compression = compression}));
  };
  EXPECT_EQ(error(4), "a BMP file with a JPEG picture inside is not supported");
  EXPECT_EQ(error(5), "a BMP file with a PNG picture inside is not supported");
  EXPECT_EQ(error(11), "a BMP file with CMYK colours inside is not supported");
  EXPECT_EQ(error(3, 64), "a BMP file with Huffman codes inside is not supported");
  EXPECT_EQ(error(4, 64), "a BMP file with runs of 24-bit pixels inside is not supported");
  EXPECT_EQ(error(6, 64), "the compression 6 is not known");
  EXPECT_EQ(error(99), "the compression 99 is not known");
}

TEST(BmpDamage, MasksThatMakeNoSenseAreTold) {
  const auto error = [](std::vector<unsigned> masks, unsigned bits = 32) {
    return openError(
        kBmpCodec,
        build({.bits = bits, .compression = 3, .masks = std::move(masks), .pixels = Bytes(4)}));
  };
  EXPECT_EQ(error({0xff, 0xff00, 0x50000}), "the mask 0x50000 makes no sense");
  EXPECT_EQ(error({0xff, 0x180, 0xff0000}), "the mask 0x180 makes no sense");
  EXPECT_EQ(error({0x1f0000, 0x7e0, 0x1f}, 16), "the mask 0x1f0000 makes no sense");
  EXPECT_EQ(error({0xff, 0, 0xff00}), "a picture needs red, green and blue");
  EXPECT_EQ(error({0x1ffff, 0x100000, 0x200000}), "channels of 17 bits are not supported");
}

TEST(BmpDamage, TablesThatDoNotFitAreTold) {
  EXPECT_EQ(openError(kBmpCodec, build({.bits = 8, .colorsUsed = 3, .table = Bytes(8)})),
            "there is room for 2 of the 3 colours of the table");
  EXPECT_EQ(openError(kBmpCodec, build({.headerSize = 64, .bits = 4, .table = Bytes(48)})),
            "there is room for 12 of the 16 colours of the table");
  EXPECT_EQ(openError(kBmpCodec, build({.bits = 8, .table = Bytes(3)})),
            "the colour table is missing");
  EXPECT_EQ(openError(kBmpCodec, build({.pixelsAt = 53})),
            "the pixels begin at byte 53, inside the headers");
  EXPECT_EQ(openError(kBmpCodec,
                      build({.bits = 16, .compression = 3, .masks = {1, 2, 4}, .pixelsAt = 65})),
            "the pixels begin at byte 65, inside the headers");
}

TEST(BmpDamage, IndicesOutsideTheTableAreNotHandedOn) {
  const std::vector<Bytes> files = {build({.width = 3,
                                           .bits = 8,
                                           .colorsUsed = 2,
                                           .table = Bytes(8),
                                           .pixels = fromHex("00010200")}),
                                    build({.width = 3,
                                           .bits = 8,
                                           .compression = 1,
                                           .colorsUsed = 2,
                                           .table = Bytes(8),
                                           .pixels = fromHex("0201 0102 0001")})};
  for (const Bytes& file : files) {
    EXPECT_EQ(openSource(kBmpCodec, file)->status().cause, "");
    EXPECT_EQ(tryPixels(kBmpCodec, file).error().message, "a pixel has colour 2 of a table of 2");
    EXPECT_EQ(tryRewrite(kBmpCodec, file).error().message, "a pixel has colour 2 of a table of 2");
  }
  // Bits beyond the width are no pixels.
  const Bytes beyond = build(
      {.width = 3, .bits = 8, .colorsUsed = 2, .table = Bytes(8), .pixels = fromHex("000100ff")});
  EXPECT_EQ(rewrite(kBmpCodec, beyond), beyond);
}

TEST(BmpDamage, RunsThatLeaveThePictureAreDamage) {
  const auto status = [](const char* runs) {
    return openSource(kBmpCodec, build({.width = 4,
                                        .height = 2,
                                        .bits = 8,
                                        .compression = 1,
                                        .table = Bytes(1024),
                                        .pixels = fromHex(runs)}))
        ->status();
  };
  for (const char* const runs :
       {"0500 0001", "0300 0200 0001", "0003 010203ff 0002", "0400 0000 0400 0000 0100 0001",
        "0000 0000 0000 0001", "0002 0500 0001", "0002 0003 0001", "0005 0102030405ff 0001"}) {
    SCOPED_TRACE(runs);
    const SourceStatus found = status(runs);
    const bool missing = std::string_view(runs) == "0003 010203ff 0002";
    EXPECT_EQ(found.status,
              missing ? CGImageSourceStatus::incomplete : CGImageSourceStatus::invalidData);
  }
  EXPECT_EQ(status("0500 0001").cause,
            "the run that ends at byte 2 of the pixels leaves the picture");
  // Up to the last place, and a row's end after the last row.
  EXPECT_EQ(status("0400 0000 0400 0000 0001").cause, "");
  EXPECT_EQ(status("0002 0402 0001").cause, "");
}

TEST(BmpDamage, RunsThatEndEarlyAreIncomplete) {
  const auto status = [](const char* runs) {
    return openSource(kBmpCodec, build({.width = 4,
                                        .height = 2,
                                        .bits = 8,
                                        .compression = 1,
                                        .table = Bytes(1024),
                                        .pixels = fromHex(runs)}))
        ->status();
  };
  for (const char* const runs :
       {"0400", "0400 00", "0400 0000 03", "0400 0000 0300", "0004 010203", "0002 01", ""}) {
    const SourceStatus found = status(runs);
    EXPECT_EQ(found.status, CGImageSourceStatus::incomplete) << runs;
  }
  EXPECT_EQ(status("0400 0000 0300").cause, "the pixels end in row 1 of 2");
}

TEST(BmpDamage, RunsEndWhereTheHeaderSaysThatTheyDo) {
  Build from = {.width = 4,
                .height = 1,
                .bits = 8,
                .compression = 1,
                .imageBytes = 2,
                .table = Bytes(1024),
                .pixels = fromHex("0305 0106 0001")};
  EXPECT_EQ(openSource(kBmpCodec, build(from))->status().status, CGImageSourceStatus::incomplete);
  from.imageBytes = 0;
  EXPECT_EQ(openSource(kBmpCodec, build(from))->status().cause, "");
  from.imageBytes = 7;
  EXPECT_EQ(openSource(kBmpCodec, build(from))->status().status, CGImageSourceStatus::incomplete);
}

TEST(BmpDamage, AProfileThatOverlapsIsTold) {
  Bytes file = build({.headerSize = 124, .pixels = Bytes(4), .profile = fromText("profile")});
  const std::size_t field = 14 + 112;
  const auto pointAt = [&](unsigned offset) {
    std::ranges::copy(littleEndian(offset, 4), file.begin() + field);
  };
  pointAt(120);
  EXPECT_EQ(openError(kBmpCodec, file), "the colour profile stands where something else does");
  pointAt(124 + 3);
  EXPECT_EQ(openError(kBmpCodec, file), "the colour profile stands where something else does");
  pointAt(124 + 4 + 1);
  EXPECT_EQ(openSource(kBmpCodec, file)->status().status, CGImageSourceStatus::incomplete);
}

TEST(BmpLimits, TooManyPixelsAreRefusedWhenOpened) {
  const Bytes file = build({.width = 20, .height = -10, .pixels = Bytes(600)});
  EXPECT_EQ(openError(kBmpCodec, file, {.maxPixels = 199}),
            "a picture of 20 x 10 pixels is over the limit of 199 (--max-pixels)");
  EXPECT_EQ(openError(kBmpCodec, file, {.maxPixels = 200}), "");
}

TEST(BmpLimits, TooMuchMemoryIsRefusedBeforeItIsTaken) {
  // Few bytes that unpack to a large picture.
  const Bytes file = build({.width = 10000,
                            .height = 10000,
                            .bits = 8,
                            .compression = 1,
                            .table = Bytes(1024),
                            .pixels = fromHex("0001")});
  const Limits limits = {.maxMemoryBytes = 10'000'000};
  EXPECT_THAT(tryPixels(kBmpCodec, file, 0, limits).error().message,
              testing::HasSubstr("over the limit of 10000000 (--max-memory)"));
  EXPECT_FALSE(openSource(kBmpCodec, file, limits)->writable().ok());
  EXPECT_TRUE(openSource(kBmpCodec, file)->writable().ok());
}

}  // namespace
}  // namespace kelvo::bmp_test
