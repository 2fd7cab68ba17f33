#include "tests/image_io/bmp/bmp_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace kelvo::bmp_test {

Bytes build(const Build& from) {
  Bytes info = littleEndian(from.headerSize, 4);
  const auto put = [&](std::size_t value, std::size_t bytes) {
    info = concat({info, littleEndian(value, bytes)});
  };
  const std::size_t numberBytes = from.headerSize == 12 ? 2 : 4;
  put(static_cast<std::uint32_t>(from.width), numberBytes);
  put(static_cast<std::uint32_t>(from.height), numberBytes);
  put(from.planes, 2);
  put(from.bits, 2);
  put(from.compression, 4);
  put(from.imageBytes.value_or(static_cast<unsigned>(from.pixels.size())), 4);
  put(2835, 4);
  put(2834, 4);
  put(from.colorsUsed, 4);
  put(0, 4);
  const bool masksInside = from.headerSize > 40;
  Bytes masks;
  for (const unsigned mask : from.masks) masks = concat({masks, littleEndian(mask, 4)});
  if (masksInside) info = concat({info, masks});
  info.resize(from.headerSize);
  const Bytes between = concat({masksInside ? Bytes() : masks, from.table, from.gap});
  const std::size_t pixelsAt = 14 + info.size() + between.size();
  if (!from.profile.empty()) {
    const auto patch = [&](std::size_t at, std::size_t value) {
      std::ranges::copy(littleEndian(value, 4), info.begin() + static_cast<std::ptrdiff_t>(at));
    };
    patch(56, 0x4d424544);
    patch(112, pixelsAt - 14 + from.pixels.size());
    patch(116, from.profile.size());
  }
  const Bytes rest = concat({info, between, from.pixels, from.profile, from.trailer});
  return concat({fromText("BM"),
                 littleEndian(from.fileBytes.value_or(static_cast<unsigned>(14 + rest.size())), 4),
                 fromHex("01020304"),
                 littleEndian(from.pixelsAt.value_or(static_cast<unsigned>(pixelsAt)), 4), rest});
}

Bytes words(const std::vector<unsigned>& values) {
  Bytes bytes;
  for (const unsigned value : values) bytes = concat({bytes, littleEndian(value, 2)});
  return bytes;
}

Bytes dwords(const std::vector<unsigned>& values) {
  Bytes bytes;
  for (const unsigned value : values) bytes = concat({bytes, littleEndian(value, 4)});
  return bytes;
}

Bytes convertedTo(const std::string& picture, const std::string& options) {
  const TemporaryFolder folder;
  run("convert " + picture + " " + options + folder.path("out.bmp"));
  return readFile(folder.path("out.bmp"));
}

std::vector<unsigned> samples(const Bytes& file) { return numbers(pixels(kBmpCodec, file)); }

std::vector<unsigned> samples16(const Bytes& file) {
  const Bytes bytes = pixels(kBmpCodec, file);
  std::vector<unsigned> result;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    std::uint16_t sample = 0;
    std::memcpy(&sample, &bytes[i], 2);
    result.push_back(sample);
  }
  return result;
}

std::vector<Named> everyKind() {
  const Bytes gap = fromText("between");
  const Bytes trailer = fromText("after the end");
  const Bytes four = fromHex("102030aa 405060bb 708090cc a0b0c0dd");
  const Bytes sixteen = concat({four, four, four, four});
  const std::vector<unsigned> argb = {0xff0000, 0xff00, 0xff, 0xff000000};
  const Bytes twoRows24 = fromHex("010203 040506 070809 eeddcc  111213 141516 171819 ffaabb");
  return {
      {"core, 1 bit", build({.headerSize = 12,
                             .width = 10,
                             .height = 2,
                             .bits = 1,
                             .table = fromHex("102030 405060"),
                             .pixels = fromHex("a5c0eeff 5a40eeff"),
                             .trailer = trailer})},
      {"core, 24 bits", build({.headerSize = 12, .width = 3, .height = 2, .pixels = twoRows24})},
      {"1 bit, gap", build({.width = 3,
                            .height = 2,
                            .bits = 1,
                            .table = fromHex("102030aa 405060bb"),
                            .gap = gap,
                            .pixels = fromHex("a0ffffff 40ffffff"),
                            .trailer = trailer})},
      {"2 bits",
       build({.width = 5, .height = 1, .bits = 2, .table = four, .pixels = fromHex("1b c0 9999")}),
       false},
      {"4 bits, short table", build({.width = 3,
                                     .height = 1,
                                     .bits = 4,
                                     .colorsUsed = 4,
                                     .table = four,
                                     .pixels = fromHex("0123 4567")})},
      {"8 bits, top-down", build({.width = 3,
                                  .height = -2,
                                  .bits = 8,
                                  .colorsUsed = 4,
                                  .table = four,
                                  .pixels = fromHex("000102ff 030201ff")})},
      {"8 bits, runs",
       build({.width = 4,
              .height = 3,
              .bits = 8,
              .compression = 1,
              .colorsUsed = 4,
              .table = four,
              .pixels = fromHex("0401 0000 0003020103ff 0102 0000 0002 0200 0203 0001"),
              .trailer = trailer})},
      {"4 bits, runs", build({.width = 5,
                              .height = 2,
                              .bits = 4,
                              .compression = 2,
                              .table = sixteen,
                              .pixels = fromHex("0512 0000 0005 1234 50ff 0001"),
                              .trailer = trailer})},
      {"16 bits, 5 each",
       build({.width = 3,
              .height = 2,
              .bits = 16,
              .pixels = words({0x7c00, 0x83e0, 0x001f, 0xbeef, 0x1234, 0xffff, 0x0000, 0xdead})})},
      {"16 bits, 565", build({.width = 2,
                              .height = 1,
                              .bits = 16,
                              .compression = 3,
                              .masks = {0xf800, 0x7e0, 0x1f},
                              .pixels = words({0xf81f, 0x1234})})},
      {"16 bits, 4 each with alpha",
       build({.headerSize = 56,
              .width = 2,
              .height = 1,
              .bits = 16,
              .compression = 3,
              .masks = {0xf00, 0xf0, 0xf, 0xf000},
              .pixels = words({0xf123, 0x0000})}),
       false},
      {"24 bits, table of suggestions", build({.width = 3,
                                               .height = 2,
                                               .colorsUsed = 4,
                                               .table = four,
                                               .gap = gap,
                                               .pixels = twoRows24,
                                               .trailer = trailer})},
      {"32 bits, fourth byte without meaning",
       build({.width = 2, .height = 1, .bits = 32, .pixels = dwords({0x01020304, 0xfffefdfc})})},
      {"32 bits with masks of 52 bytes", build({.headerSize = 52,
                                                .width = 2,
                                                .height = 1,
                                                .bits = 32,
                                                .compression = 3,
                                                .masks = {0xff, 0xff00, 0xff0000},
                                                .pixels = dwords({0x01020304, 0xfffefdfc})})},
      {"32 bits, version 4 with alpha", build({.headerSize = 108,
                                               .width = 2,
                                               .height = -1,
                                               .bits = 32,
                                               .compression = 3,
                                               .masks = argb,
                                               .pixels = dwords({0xff020304, 0x00000000})})},
      {"32 bits, masks of alpha after the header",
       build({.width = 2,
              .height = 1,
              .bits = 32,
              .compression = 6,
              .masks = argb,
              .pixels = dwords({0xff020304, 0x00000000})}),
       false},
      {"32 bits, version 5 with profile", build({.headerSize = 124,
                                                 .width = 2,
                                                 .height = 1,
                                                 .bits = 32,
                                                 .compression = 3,
                                                 .masks = argb,
                                                 .pixels = dwords({0xff020304, 0xff000000}),
                                                 .trailer = trailer,
                                                 .profile = fromText("a profile")})},
      {"OS/2 2.x",
       build({.headerSize = 64,
              .width = 3,
              .height = 1,
              .bits = 8,
              .colorsUsed = 4,
              .table = four,
              .pixels = fromHex("00010200")}),
       false},
      {"OS/2 2.x cut short",
       build({.headerSize = 16, .width = 3, .height = 2, .pixels = twoRows24}), false},
  };
}

}  // namespace kelvo::bmp_test
