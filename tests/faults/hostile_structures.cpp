#include "tests/faults/hostile_bytes.h"
#include "tests/faults/hostile_files.h"

namespace kelvo::test {
namespace {

// ---- TIFF

enum Type : unsigned { kShort = 3, kLong = 4, kLong8 = 16 };

std::string field(unsigned tag, Type type, std::uint32_t count, std::uint32_t value) {
  return little(tag, 2) + little(type, 2) + little(count, 4) + little(value, 4);
}

struct Tiff {
  std::uint32_t width = 1;
  std::uint32_t height = 1;
  std::uint32_t bits = 8;
  std::uint32_t samples = 3;
  std::uint32_t compression = 1;
  std::uint32_t rowsPerStrip = 1;
  std::uint32_t strips = 1;
  std::uint32_t stripOffset = 8;
  std::uint32_t stripBytes = 3;
  std::string more = {};  // further fields, in the order of their tags, above 0x0152
  std::uint32_t moreCount = 0;
};

std::string directory(const Tiff& picture, std::uint32_t next) {
  const std::uint32_t count = 9 + picture.moreCount;
  return little(count, 2) + field(256, kLong, 1, picture.width) +
         field(257, kLong, 1, picture.height) + field(258, kShort, 1, picture.bits) +
         field(259, kShort, 1, picture.compression) + field(262, kShort, 1, 2) +
         field(273, kLong, picture.strips, picture.stripOffset) +
         field(277, kShort, 1, picture.samples) + field(278, kLong, 1, picture.rowsPerStrip) +
         field(279, kLong, picture.strips, picture.stripBytes) + picture.more + little(next, 4);
}

// The head, one pixel at 8, and a directory at 16.
std::string tiff(const Tiff& picture, std::uint32_t next = 0, const std::string& rest = {}) {
  return "II*" + std::string(1, '\0') + little(16, 4) + "rgb" + std::string(5, '\0') +
         directory(picture, next) + rest;
}

std::string chain(std::size_t directories) {
  std::string file = tiff({}, 0);
  const std::size_t bytes = file.size() - 16;
  file.resize(16);
  for (std::size_t i = 0; i < directories; ++i) {
    const std::size_t next = 16 + (i + 1) * bytes;
    file += directory({}, i + 1 < directories ? static_cast<std::uint32_t>(next) : 0);
  }
  return file;
}

// A directory with one field that leads to itself, or to the next of its kind.
std::string subDirectories(std::size_t depth, bool circle) {
  const auto bytes = static_cast<std::uint32_t>(
      directory({.more = field(330, kLong, 1, 0), .moreCount = 1}, 0).size());
  std::string file = tiff({}).substr(0, 16);
  for (std::size_t i = 0; i < depth; ++i) {
    const auto next = static_cast<std::uint32_t>(16 + (circle ? 0 : (i + 1) * bytes));
    const bool last = i + 1 == depth && !circle;
    file +=
        directory({.more = last ? "" : field(330, kLong, 1, next), .moreCount = last ? 0U : 1U}, 0);
  }
  return file;
}

// ---- HEIF

std::string box(const std::string& type, const std::string& payload) {
  return big(payload.size() + 8, 4) + type + payload;
}

std::string fullBox(const std::string& type, int version, const std::string& payload) {
  return box(type, big(static_cast<unsigned>(version), 1) + big(0, 3) + payload);
}

struct Heif {
  std::string brand = {};
  std::string itemType = {};
  std::uint32_t width = 64;
  std::uint32_t height = 64;
  std::uint32_t items = 1;
  bool gridFirst = false;  // the first item is a grid, whatever the others are
  std::uint32_t gridSide = 128;
  std::uint32_t extents = 1;
  std::string references = {};
  std::string data = std::string(64, '\0');  // of every item
  std::string more = {};                     // boxes behind
};

// A file without a decoder's parameters, so that no picture in it can be decoded.
std::string heif(const Heif& content) {
  std::string infos;
  std::string associations;
  for (std::uint32_t item = 1; item <= content.items; ++item) {
    const std::string type = item == 1 && content.gridFirst ? "grid" : content.itemType;
    infos += fullBox("infe", 2, big(item, 2) + big(0, 2) + type + std::string(1, '\0'));
    associations +=
        big(item, 2) + (type == "grid" ? big(1, 1) + big(3, 1) : big(2, 1) + big(1, 1) + big(2, 1));
  }
  const std::string configuration = content.brand == "avif"
                                        ? box("av1C", std::string("\x81\0\x0c\0", 4))
                                        : box("hvcC", "\1" + std::string(22, '\0'));
  const std::string gridSize =
      fullBox("ispe", 0, big(content.gridSide, 4) + big(content.gridSide, 4));
  const std::string properties =
      box("iprp", box("ipco", fullBox("ispe", 0, big(content.width, 4) + big(content.height, 4)) +
                                  configuration + gridSize) +
                      fullBox("ipma", 0, big(content.items, 4) + associations));
  // Every extent is the same bytes.
  const auto head = [&](std::size_t dataAt) {
    std::string places;
    for (std::uint32_t item = 1; item <= content.items; ++item) {
      places += big(item, 2) + big(0, 2) + big(content.extents, 2) +
                repeated(big(dataAt, 4) + big(content.data.size(), 4), content.extents);
    }
    return box("ftyp", content.brand + big(0, 4) + "mif1" + content.brand) +
           fullBox("meta", 0,
                   fullBox("hdlr", 0, big(0, 4) + "pict" + std::string(13, '\0')) +
                       fullBox("pitm", 0, big(1, 2)) +
                       fullBox("iinf", 0, big(content.items, 2) + infos) +
                       fullBox("iloc", 0, big(0x4400, 2) + big(content.items, 2) + places) +
                       content.references + properties);
  };
  return head(head(0).size() + 8) + box("mdat", content.data) + content.more;
}

std::string nested(std::size_t depth) {
  // Boxes in boxes, each of them eight bytes longer than what it holds.
  std::string heads;
  for (std::size_t i = depth; i > 0; --i) heads += big(i * 8, 4) + "meta";
  return heads;
}

}  // namespace

std::vector<HostileFile> hostileTiffs() {
  return {
      {"no_width", [] { return tiff({.width = 0}); }, "frame 0: a directory has no picture size"},
      {"no_height", [] { return tiff({.height = 0}); }, "frame 0: a directory has no picture size"},
      {"largest_sides", [] { return tiff({.width = 0xFFFFFFFFU, .height = 0xFFFFFFFFU}); },
       "frame 0 has 18446744065119617025 pixels, more than the 1000000000 allowed (--max-pixels)"},
      {"sides_of_30000",
       [] { return tiff({.width = 30000, .height = 30000, .rowsPerStrip = 30000}); },
       "strip 0 of frame 0 has 3 bytes where its pixels need 2700000000"},
      {"one_long_row", [] { return tiff({.width = 1'000'000'000}); },
       "strip 0 of frame 0 has 3 bytes where its pixels need 3000000000"},
      {"four_billion_strips",
       [] { return tiff({.width = 1, .height = 0x3FFFFFFFU, .strips = 0x3FFFFFFFU}); },
       "the value of tag 273 is longer than the file"},
      {"many_samples", [] { return tiff({.samples = 65535}); },
       "frame 0: its samples make no sense"},
      {"many_bits", [] { return tiff({.bits = 65535}); }, "frame 0: its samples make no sense"},
      {"inflated_strip",
       [] {
         return tiff({.width = 30000, .height = 30000, .compression = 8, .rowsPerStrip = 30000});
       },
       "a strip or tile is damaged: its deflate stream or checksum is wrong"},
      {"unpacked_strip",
       [] {
         return tiff({.width = 30000, .height = 30000, .compression = 5, .rowsPerStrip = 30000});
       },
       "a strip is damaged: Using code not yet in table"},
      {"strip_of_four_gigabytes",
       [] { return tiff({.stripOffset = 0xFFFFFFFFU, .stripBytes = 0xFFFFFFFFU}); },
       "strip 0 of frame 0 lies beyond the end of the file"},
      {"directory_that_is_its_own_next", [] { return tiff({}, 16); },
       "the chain of directories runs in a circle"},
      {"directories_in_a_circle",
       [] {
         const std::string first = tiff({}, 200);
         return first + std::string(200 - first.size(), '\0') + directory({}, 16);
       },
       "the chain of directories runs in a circle"},
      {"sub_directory_that_is_its_own", [] { return subDirectories(1, true); }, ""},
      {"hundred_thousand_sub_directories", [] { return subDirectories(100'000, false); },
       "it has too many directories"},
      {"hundred_thousand_directories", [] { return chain(100'000); },
       "the file has more than the 10000 frames allowed (--max-frames)"},
      {"directory_beyond_the_end", [] { return tiff({}, 0xFFFFFFF0U); },
       "the file ends before its directory at byte 4294967280"},
      {"field_of_four_billion_values",
       [] { return tiff({.more = field(700, kLong, 0xFFFFFFFFU, 8), .moreCount = 1}); },
       "the value of tag 700 is longer than the file"},
      {"big_field_that_overflows",
       [] {
         // BigTIFF: 2^61 values of 8 bytes are 0 bytes when they are counted in 64 bits.
         return "II+" + std::string(1, '\0') + little(8, 2) + little(0, 2) + little(16, 8) +
                little(1, 8) + little(256, 2) + little(kLong8, 2) +
                little(std::uint64_t{1} << 61U, 8) + little(8, 8) + little(0, 8);
       },
       "the value of tag 256 is longer than the file"},
  };
}

std::vector<HostileFile> hostileHeifs() {
  const auto tiles = [](unsigned from, unsigned to, unsigned times) {
    return box("dimg", big(from, 2) + big(times, 2) + repeated(big(to, 2), times));
  };
  // 2 x 2 pictures of 64 x 64 pixels, and as many as there can be.
  const std::string grid = std::string("\0\0\1\1", 4) + big(128, 2) + big(128, 2);
  const std::string largeGrid = std::string("\0\0\xfe\xfe", 4) + big(16320, 2) + big(16320, 2);
  const std::string self = fullBox("iref", 0, tiles(1, 1, 4));
  const std::string eachOther = fullBox("iref", 0, tiles(1, 2, 4) + tiles(2, 1, 4));
  const std::string oneForAll = fullBox("iref", 0, tiles(1, 2, 255 * 255));
  std::vector<HostileFile> files;
  for (const char* const brand : {"heic", "avif"}) {
    Heif sound;
    sound.brand = brand;
    sound.itemType = sound.brand == "heic" ? "hvc1" : "av01";
    const auto add = [&](const std::string& name, const std::string& says,
                         const std::function<void(Heif&)>& change) {
      Heif changed = sound;
      change(changed);
      files.push_back({sound.brand + "_" + name, [changed] { return heif(changed); }, says});
    };
    add("largest_sides",
        "it has 18446744065119617025 pixels, more than the 1000000000 allowed (--max-pixels)",
        [](Heif& file) { file.width = file.height = 0xFFFFFFFFU; });
    add("no_size", "a picture's size is missing", [](Heif& file) { file.width = file.height = 0; });
    add("sides_of_30000",
        brand == std::string("heic") ? "the data of a picture are damaged"
                                     : "a picture of this size takes 20600 MiB of memory, more "
                                       "than the 128 MiB allowed (--max-memory)",
        [](Heif& file) { file.width = file.height = 30000; });
    add("sides_of_60000",
        "it has 3600000000 pixels, more than the 1000000000 allowed (--max-pixels)",
        [](Heif& file) { file.width = file.height = 60000; });
    add("sixty_thousand_items", "it has 60000 pictures, more than the 10000 allowed (--max-frames)",
        [](Heif& file) { file.items = 60'000; });
    add("sixty_thousand_extents", "an item's data reach past the end of the file",
        [](Heif& file) { file.extents = 60'000; });
    add("grid_of_itself", "the parts of a grid do not fit its size", [&](Heif& file) {
      file.itemType = "grid";
      file.data = grid;
      file.references = self;
    });
    add("grids_of_each_other", "the parts of a grid do not fit its size", [&](Heif& file) {
      file.itemType = "grid";
      file.items = 2;
      file.data = grid;
      file.references = eachOther;
    });
    add("grid_of_one_picture_many_times",
        brand == std::string("heic") ? "the data of a picture are damaged"
                                     : "two pictures share a part",
        [&](Heif& file) {
          file.items = 2;
          file.gridFirst = true;
          file.gridSide = 16320;
          file.data = largeGrid;
          file.references = oneForAll;
        });
    add("hundred_thousand_boxes_in_each_other",
        brand == std::string("heic") ? "the data of a picture are damaged"
                                     : "it has two lists of items",
        [](Heif& file) { file.more = nested(100'000); });
    add("box_of_all_bytes", "the file ends inside the box 'free'",
        [](Heif& file) { file.more = big(1, 4) + "free" + big(~0ULL, 8); });
    add("million_boxes", "it has more than a million boxes",
        [](Heif& file) { file.more = repeated(box("free", ""), 1'000'000); });
  }
  return files;
}

}  // namespace kelvo::test
