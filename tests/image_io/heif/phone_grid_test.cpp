// A photograph as phones write it: a grid of HEVC tiles that share one decoder configuration, in
// the list of items next to a turn, cropped by the grid.
#include <gtest/gtest.h>

#include "platform/image_io/heif/boxes.h"
#include "tests/image_io/heif/heif_test_support.h"

namespace kelvo::image_io_test {
namespace {

using heif::Builder;
using heif::fourCC;

constexpr std::uint32_t kWidth = 250;
constexpr std::uint32_t kHeight = 120;
constexpr std::uint32_t kTile = 128;

class FileBuilder {
 public:
  Bytes build(const Bytes& configuration, const std::vector<Bytes>& tiles) {
    const Bytes brands = fromHex("00000018 66747970 68656963 00000000 6d696631 68656963");
    const std::size_t metaBytes = meta(configuration, tiles, 0).size();
    const Bytes list = meta(configuration, tiles, brands.size() + metaBytes + 8);
    Builder data;
    const std::size_t begun = data.begin(fourCC("mdat"));
    for (const Bytes& tile : tiles) data.append(tile);
    data.end(begun);
    return concat({brands, list, data.bytes()});
  }

 private:
  template <typename Fill>
  static void box(Builder& to, const char (&type)[5], Fill fill) {
    const std::size_t begun = to.begin(fourCC(type));
    fill();
    to.end(begun);
  }

  static Bytes meta(const Bytes& configuration, const std::vector<Bytes>& tiles,
                    std::size_t dataStart) {
    const std::size_t count = tiles.size();
    Builder b;
    box(b, "meta", [&] {
      b.number(0, 4);
      box(b, "hdlr",
          [&] { b.append(fromHex("00000000 00000000 70696374 00000000 00000000 00000000 00")); });
      box(b, "pitm", [&] {
        b.number(0, 4);
        b.number(count + 1, 2);
      });
      box(b, "iinf", [&] {
        b.number(0, 4);
        b.number(count + 1, 2);
        for (std::size_t id = 1; id <= count + 1; ++id) {
          box(b, "infe", [&] {
            b.append(id <= count ? fromHex("02000001") : fromHex("02000000"));
            b.number(id, 2);
            b.number(0, 2);
            b.append(fromText(id <= count ? "hvc1" : "grid"));
            b.number(0, 1);
          });
        }
      });
      box(b, "iref", [&] {
        b.number(0, 4);
        box(b, "dimg", [&] {
          b.number(count + 1, 2);
          b.number(count, 2);
          for (std::size_t id = 1; id <= count; ++id) b.number(id, 2);
        });
      });
      box(b, "iprp", [&] { properties(b, configuration, count); });
      box(b, "idat", [&] {
        b.number(0, 2);
        b.number(0, 1);
        b.number(count - 1, 1);
        b.number(kWidth, 2);
        b.number(kHeight, 2);
      });
      box(b, "iloc", [&] {
        b.append(fromHex("01000000 4400"));
        b.number(count + 1, 2);
        std::size_t offset = dataStart;
        for (std::size_t id = 1; id <= count + 1; ++id) {
          const bool grid = id > count;
          b.number(id, 2);
          b.number(grid ? 1 : 0, 2);
          b.number(0, 2);
          b.number(1, 2);
          b.number(grid ? 0 : offset, 4);
          b.number(grid ? 8 : tiles[id - 1].size(), 4);
          if (!grid) offset += tiles[id - 1].size();
        }
      });
    });
    return b.take();
  }

  // 1 the tiles' configuration, 2 their size, 3 the grid's size, 4 a quarter turn.
  static void properties(Builder& b, const Bytes& configuration, std::size_t count) {
    const auto size = [&](std::uint32_t width, std::uint32_t height) {
      box(b, "ispe", [&] {
        b.number(0, 4);
        b.number(width, 4);
        b.number(height, 4);
      });
    };
    box(b, "ipco", [&] {
      box(b, "hvcC", [&] { b.append(configuration); });
      size(kTile, kTile);
      size(kWidth, kHeight);
      box(b, "irot", [&] { b.number(3, 1); });
    });
    box(b, "ipma", [&] {
      b.number(0, 4);
      b.number(count + 1, 4);
      for (std::size_t id = 1; id <= count; ++id) {
        b.number(id, 2);
        b.append(fromHex("02 81 02"));
      }
      b.number(count + 1, 2);
      b.append(fromHex("02 03 84"));
    });
  }
};

Bytes makePhoneGrid() {
  const TemporaryFolder folder;
  writePicture(folder.path("in.png"), 2 * kTile, kTile);
  Bytes configuration;
  std::vector<Bytes> tiles;
  for (const char* crop : {"128x128+0+0", "128x128+128+0"}) {
    run("convert '" + folder.path("in.png") + "' -crop " + crop + " +repage '" +
        folder.path("tile.png") + "'");
    run("heif-enc -p x265:qp=22 '" + folder.path("tile.png") + "' -o '" + folder.path("tile.heic") +
        "'");
    const Bytes tile = readFile(folder.path("tile.heic"));
    const Bytes record = propertyData(tile, "hvcC").at(0);
    EXPECT_TRUE(configuration.empty() || configuration == record);
    configuration = record;
    tiles.push_back(itemData(tile, "hvc1").at(0));
  }
  return FileBuilder().build(configuration, tiles);
}

TEST(HeifPhoneGrid, ItIsOneFrameAsStored) {
  const Bytes file = makePhoneGrid();
  const auto source = openSource(kHeicCodec, file);
  ASSERT_EQ(source->count(), 1U);
  EXPECT_EQ(source->info(0).width, kWidth);
  EXPECT_EQ(source->info(0).height, kHeight);
  EXPECT_EQ(source->status().cause, "");
  EXPECT_TRUE(source->writable());
}

TEST(HeifPhoneGrid, ItIsReadAndWrittenAsAnotherProgramReadsIt) {
  const Bytes file = makePhoneGrid();
  Bytes expected = heicPixels(file);
  ASSERT_EQ(expected.size(), std::size_t{kWidth} * kHeight * 3);
  for (std::byte& byte : expected) byte = static_cast<std::byte>(255 - std::to_integer<int>(byte));
  const Bytes written = rewrite(kHeicCodec, file, inverted);
  EXPECT_LT(difference(heicPixels(written), expected), 2.5);
}

TEST(HeifPhoneGrid, TilesGoOnSharingTheirConfiguration) {
  const Bytes file = makePhoneGrid();
  const Bytes written = rewrite(kHeicCodec, file, inverted);
  EXPECT_EQ(propertyData(written, "hvcC").size(), 1U);
  EXPECT_EQ(propertyData(written, "irot"), propertyData(file, "irot"));
  EXPECT_EQ(itemData(written, "grid"), itemData(file, "grid"));
  EXPECT_EQ(itemData(written, "hvc1").size(), 2U);
  EXPECT_NE(itemData(written, "hvc1").at(1), itemData(file, "hvc1").at(1));
}

TEST(HeifPhoneGrid, MemoryIsThatOfOneRowOfTiles) {
  const Bytes file = makePhoneGrid();
  // 2 tiles of 128 x 128 pixels at 16 bytes each are 512 KiB.
  EXPECT_TRUE(tryPixels(kHeicCodec, file, 0, {.maxMemoryBytes = 512 << 10}));
  EXPECT_FALSE(tryPixels(kHeicCodec, file, 0, {.maxMemoryBytes = (512 << 10) - 1}));
}

}  // namespace
}  // namespace kelvo::image_io_test
