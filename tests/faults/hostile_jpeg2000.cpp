#include <algorithm>
#include <iterator>

#include "tests/faults/hostile_bytes.h"
#include "tests/faults/hostile_files.h"

namespace kelvo::test {
namespace {

std::string box(const std::string& type, const std::string& payload) {
  return big(payload.size() + 8, 4) + type + payload;
}

std::string segment(unsigned marker, const std::string& content) {
  return big(marker, 2) + big(content.size() + 2, 2) + content;
}

// One part of a tile, with so many bytes of packets.
std::string tilePart(std::uint32_t tile, const std::string& packets, int part = 0, int parts = 1) {
  return big(0xFF90, 2) + big(10, 2) + big(tile, 2) + big(14 + packets.size(), 4) +
         big(static_cast<unsigned>(part), 1) + big(static_cast<unsigned>(parts), 1) +
         big(0xFF93, 2) + packets;
}

// What the main header of a codestream says. A tile as large as the picture unless told otherwise.
struct Stream {
  std::uint32_t width = 1;
  std::uint32_t height = 1;
  std::uint32_t left = 0;
  std::uint32_t top = 0;
  std::uint32_t tileWidth = 0;
  std::uint32_t tileHeight = 0;
  std::uint32_t components = 3;
  unsigned depth = 7;
  unsigned progression = 0;
  std::uint32_t layers = 1;
  unsigned levels = 0;
  unsigned blockWidth = 4;  // exponents of 2, less 2
  unsigned blockHeight = 4;
  std::string precincts = {};
  std::string more = {};   // segments of the main header
  std::string tiles = {};  // none: one part of one tile with an empty packet for each component
};

std::string codestream(const Stream& stream) {
  const std::uint32_t tileWidth = stream.tileWidth != 0 ? stream.tileWidth : stream.width;
  const std::uint32_t tileHeight = stream.tileHeight != 0 ? stream.tileHeight : stream.height;
  const std::string size = big(0, 2) + big(stream.width, 4) + big(stream.height, 4) +
                           big(stream.left, 4) + big(stream.top, 4) + big(tileWidth, 4) +
                           big(tileHeight, 4) + big(0, 8) + big(stream.components, 2) +
                           repeated(big(stream.depth, 1) + "\1\1", stream.components);
  const std::string style = big(stream.precincts.empty() ? 0 : 1, 1) + big(stream.progression, 1) +
                            big(stream.layers, 2) + big(0, 1) + big(stream.levels, 1) +
                            big(stream.blockWidth, 1) + big(stream.blockHeight, 1) + big(0, 1) +
                            big(1, 1) + stream.precincts;
  // Two guard bits, not quantised.
  const std::string quantization =
      "\x40" + std::string(3 * std::min(stream.levels, 32U) + 1, '\x48');
  return "\xff\x4f" + segment(0xFF51, size) + segment(0xFF52, style) +
         segment(0xFF5C, quantization) + stream.more +
         (stream.tiles.empty() ? tilePart(0, std::string(stream.components, '\0')) : stream.tiles) +
         "\xff\xd9";
}

std::string imageHeader(std::uint32_t width, std::uint32_t height, std::uint32_t components) {
  return box("ihdr",
             big(height, 4) + big(width, 4) + big(components, 2) + "\7\7" + std::string(2, '\0'));
}

const std::string kColors = box("colr", std::string("\1\0\0\0\0\0\x10", 7));

std::string start() { return box("jP  ", "\r\n\x87\n") + box("ftyp", "jp2 " + big(0, 4) + "jp2 "); }

// A file of boxes around a picture of one pixel.
struct Jp2 {
  std::string header = imageHeader(1, 1, 3) + kColors;  // the boxes in 'jp2h'
  std::string before = {};                              // boxes right before the codestream
  std::string data = box("jp2c", codestream({}));
  std::string behind = {};
};

std::string jp2(const Jp2& file) {
  return start() + box("jp2h", file.header) + file.before + file.data + file.behind;
}

std::string nested(const std::string& type, std::size_t depth, std::uint32_t excess) {
  std::string heads;
  for (std::size_t i = depth; i > 0; --i) heads += big(i * 8 + excess, 4) + type;
  return heads;
}

// Tiles of so many resolutions in which nothing is.
std::string emptyTiles(std::uint32_t count, std::size_t resolutions = 1) {
  std::string parts;
  for (std::uint32_t i = 0; i < count; ++i)
    parts += tilePart(i, std::string(3 * resolutions, '\0'));
  return parts;
}

std::string tooMuchMemory() { return "allowed (--max-memory)"; }

std::vector<HostileFile> hostileStreams() {
  return {
      {"one_pixel", [] { return codestream({}); }, ""},
      {"no_width", [] { return codestream({.width = 0, .tileWidth = 1}); },
       "its size makes no sense"},
      {"ends_before_it_begins", [] { return codestream({.width = 10, .left = 11}); },
       "its size makes no sense"},
      {"sides_of_2_to_30", [] { return codestream({.width = 1U << 30U, .height = 1U << 30U}); },
       "it has 1152921504606846976 pixels, more than the 1000000000 allowed (--max-pixels)"},
      {"largest_sides", [] { return codestream({.width = 0xFFFFFFFFU, .height = 0xFFFFFFFFU}); },
       "it has 18446744065119617025 pixels, more than the 1000000000 allowed (--max-pixels)"},
      {"sides_of_30000", [] { return codestream({.width = 30000, .height = 30000}); },
       tooMuchMemory()},
      {"one_long_row", [] { return codestream({.width = 1'000'000'000}); }, tooMuchMemory()},
      {"far_from_the_origin",
       [] {
         return codestream({.width = 0x7FFFFFFFU,
                            .height = 0x7FFFFFFFU,
                            .left = 0x7FFFFFFEU,
                            .top = 0x7FFFFFFEU});
       },
       "the picture data are damaged: Integer overflow"},
      {"million_tiles_of_a_pixel",
       [] { return codestream({.width = 1000, .height = 1000, .tileWidth = 1, .tileHeight = 1}); },
       "it has 1000000 tiles, more than the 65535 there can be"},
      {"all_tiles_of_a_pixel",
       [] {
         return codestream({.width = 65535,
                            .height = 1,
                            .tileWidth = 1,
                            .tileHeight = 1,
                            .tiles = emptyTiles(65535)});
       },
       tooMuchMemory()},
      {"tiles_of_nothing",
       [] {
         return codestream({.width = 30000,
                            .height = 30000,
                            .tileWidth = 256,
                            .tileHeight = 256,
                            .levels = 5,
                            .tiles = emptyTiles(118 * 118, 6)});
       },
       tooMuchMemory()},
      {"few_tiles_of_nothing",
       [] {
         return codestream({.width = 30000,
                            .height = 64,
                            .tileWidth = 1000,
                            .tileHeight = 64,
                            .levels = 5,
                            .tiles = emptyTiles(30, 6)});
       },
       ""},
      {"tiles_missing",
       [] {
         return codestream({.width = 30000, .height = 30000, .tileWidth = 256, .tileHeight = 256});
       },
       "tiles of it are missing"},
      {"tile_that_is_not_there", [] { return codestream({.tiles = tilePart(1, "\0")}); },
       "a tile's header is damaged"},
      {"million_parts_of_a_tile",
       [] { return codestream({.tiles = repeated(tilePart(0, "", 0, 0), 1'000'000)}); },
       "a tile of it has more than 255 parts"},
      {"most_components", [] { return codestream({.components = 16384}); },
       "channels that are told to be neither colour nor alpha cannot be written back"},
      {"depth_of_128", [] { return codestream({.depth = 127}); },
       "samples of more than 16 bits cannot be written back"},
      {"sixty_thousand_layers", [] { return codestream({.layers = 65535}); },
       "it has more than 100 layers"},
      {"thirty_three_resolutions",
       [] { return codestream({.levels = 32, .tiles = tilePart(0, std::string(99, '\0'))}); },
       "the picture cannot be encoded: Number of resolutions is too high"},
      {"two_hundred_resolutions", [] { return codestream({.levels = 255}); },
       "its main header is damaged"},
      {"blocks_of_four_gigabytes", [] { return codestream({.blockWidth = 15, .blockHeight = 15}); },
       "its main header is damaged"},
      {"precincts_of_a_pixel",
       [] {
         return codestream({.width = 1000, .height = 1000, .precincts = std::string(1, '\0')});
       },
       tooMuchMemory()},
      {"precincts_across_the_blocks",
       [] {
         return codestream({.width = 2000,
                            .height = 500,
                            .levels = 1,
                            .blockWidth = 8,
                            .blockHeight = 0,
                            .precincts = "\xf1\xf1"});
       },
       tooMuchMemory()},
      {"blocks_across_a_long_row",
       [] { return codestream({.width = 1'500'000, .blockWidth = 0, .blockHeight = 8}); },
       tooMuchMemory()},
      {"layers_of_precincts",
       [] {
         return codestream({.width = 1000,
                            .height = 1000,
                            .layers = 100,
                            .levels = 32,
                            .precincts = std::string(31, '\xff') + "\x22\x22"});
       },
       tooMuchMemory()},
      {"two_styles",
       [] {
         return codestream({.more = segment(0xFF52, std::string("\0\0\0\1\0\5\4\4\0\1", 10))});
       },
       "its main header is damaged"},
      {"million_comments",
       [] { return codestream({.more = repeated(segment(0xFF64, "\0\1"), 1'000'000)}); },
       "it has more than 65536 segments of metadata"},
      {"million_lengths_of_tiles",
       [] { return codestream({.more = repeated(segment(0xFF55, "\0\0"), 1'000'000)}); },
       "it has more than 65536 segments of metadata"},
  };
}

std::vector<HostileFile> hostileBoxes() {
  const std::string data = codestream({});
  return {
      {"boxes_of_one_pixel", [] { return jp2({}); }, ""},
      {"header_of_another_size",
       [] { return jp2({.header = imageHeader(1U << 30U, 1U << 30U, 3) + kColors}); },
       "its image header and its codestream do not agree"},
      {"header_of_other_components",
       [] { return jp2({.header = imageHeader(1, 1, 16384) + kColors}); },
       "its image header and its codestream do not agree"},
      {"most_components_told",
       [] {
         std::string told;
         for (unsigned i = 0; i < 16384; ++i) told += big(i, 2) + big(0, 2) + big(i + 1, 2);
         // The count has 16 bits, the box has room for fewer.
         return jp2(
             {.header = imageHeader(1, 1, 16384) + kColors + box("cdef", big(16384, 2) + told),
              .data = box("jp2c", codestream({.components = 16384}))});
       },
       "channels besides colour and alpha cannot be written back"},
      {"table_of_more_than_there_is",
       [] {
         return jp2({.header = imageHeader(1, 1, 1) + kColors +
                               box("pclr", big(1024, 2) + big(255, 1) + std::string(255, '\7')) +
                               box("cmap", std::string("\0\0\1\0", 4)),
                     .data = box("jp2c", codestream({.components = 1}))});
       },
       "a colour table of this kind cannot be written back"},
      {"profile_of_nothing",
       [] { return jp2({.header = imageHeader(1, 1, 3) + box("colr", std::string("\2\0\0", 3))}); },
       "its colour profile is damaged"},
      {"box_past_the_end", [] { return jp2({.behind = big(0x7FFFFFFFU, 4) + "free"}); },
       "the file ends inside the box 'free'"},
      {"box_of_all_bytes", [] { return jp2({.behind = big(1, 4) + "free" + big(~0ULL, 8)}); },
       "the file ends inside the box 'free'"},
      {"box_without_its_long_length", [] { return jp2({.behind = big(1, 4) + "free"}); },
       "a few bytes are left after its last box"},
      {"box_with_a_long_length_of_one",
       [] { return jp2({.before = big(1, 4) + "free" + big(1, 8)}); },
       "the box 'free' has no sensible size"},
      {"box_shorter_than_its_head", [] { return jp2({.before = big(7, 4) + "free"}); },
       "the box 'free' has no sensible size"},
      {"endless_box_before_the_picture", [] { return jp2({.before = big(0, 4) + "free"}); },
       "it has no codestream"},
      {"endless_box_in_the_header",
       [] { return jp2({.header = imageHeader(1, 1, 3) + big(0, 4) + "colr\1" + big(16, 6)}); },
       ""},
      {"header_longer_than_its_box",
       [] { return jp2({.header = imageHeader(1, 1, 3) + kColors + big(1000, 4) + "res "}); },
       "its header boxes are damaged"},
      {"hundred_thousand_headers_in_each_other",
       [] { return jp2({.header = imageHeader(1, 1, 3) + kColors + nested("jp2h", 100'000, 0)}); },
       ""},
      {"headers_longer_than_what_they_are_in",
       [] { return jp2({.header = imageHeader(1, 1, 3) + kColors + nested("jp2h", 1000, 8)}); },
       "its header boxes are damaged"},
      {"header_in_itself",
       [=] {
         return start() + big(0, 4) + "jp2h" + imageHeader(1, 1, 3) + kColors + box("jp2c", data);
       },
       "it has no codestream"},
      {"million_boxes", [] { return jp2({.behind = repeated(box("free", ""), 1'100'000)}); },
       "it has more than a million boxes"},
      {"million_boxes_in_the_header",
       [] {
         return jp2(
             {.header = imageHeader(1, 1, 3) + kColors + repeated(box("free", ""), 1'100'000)});
       },
       "its header boxes are damaged"},
      {"thousand_headers",
       [] { return jp2({.before = repeated(box("jp2h", imageHeader(1, 1, 3) + kColors), 1000)}); },
       "it does not have one header"},
      {"hundred_thousand_pictures",
       [=] { return jp2({.behind = repeated(box("jp2c", data), 100'000)}); },
       "a file of several pictures or layers cannot be written back"},
      {"picture_of_no_bytes", [] { return jp2({.data = box("jp2c", "")}); },
       "it has no main header"},
  };
}

}  // namespace

std::vector<HostileFile> hostileJpeg2000s() {
  std::vector<HostileFile> files = hostileStreams();
  std::ranges::move(hostileBoxes(), std::back_inserter(files));
  return files;
}

}  // namespace kelvo::test
