// A file with other data and properties in it.
#include "platform/image_io/heif/file_assembly.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>

#include "platform/image_io/file_descriptor.h"
#include "tests/image_io/heif/heif_test_support.h"

namespace kelvo::image_io_test {
namespace {

Bytes edited(const heif::Structure& structure, const heif::Edits& edits) {
  const FileDescriptor descriptor(memfd_create("edited", MFD_CLOEXEC));
  OutputFile out(descriptor.get());
  EXPECT_TRUE(heif::writeEdited(structure, edits, out));
  Bytes written(out.size());
  EXPECT_TRUE(out.seek(0));
  EXPECT_TRUE(out.read(written));
  return written;
}

std::vector<Bytes> allData(const Bytes& file) {
  const auto structure = heif::readStructure(file);
  std::vector<Bytes> all;
  for (const heif::Item& item : structure->items) all.push_back(structure->data(item).value());
  return all;
}

std::vector<heif::ItemId> itemsOf(const heif::Structure& structure, const char (&type)[5]) {
  std::vector<heif::ItemId> ids;
  for (const heif::Item& item : structure.items) {
    if (item.type == heif::fourCC(type)) ids.push_back(item.id);
  }
  return ids;
}

Bytes propertyOf(const heif::Structure& structure, heif::ItemId item, const char (&type)[5]) {
  const heif::Box* const box = structure.property(*structure.find(item), heif::fourCC(type));
  if (box == nullptr) return {};
  return {box->payload.begin(), box->payload.end()};
}

TEST(HeifFileAssembly, WithoutEditsEveryItemReadsAsBefore) {
  for (const Bytes& file : {makeHeic("-q 50 -t 80", 131, 97), makeAvif("--grid 2x2", 160, 160)}) {
    const auto before = heif::readStructure(file);
    const Bytes written = edited(*before, {});
    EXPECT_EQ(allData(written), allData(file));
    EXPECT_EQ(heif::readStructure(written)->status.status, CGImageSourceStatus::complete);
    EXPECT_EQ(heif::readStructure(written)->properties.size(), before->properties.size());
  }
}

TEST(HeifFileAssembly, ASharedPropertyThatChangesForOneItemIsDoubled) {
  const Bytes file = makeAvif("--grid 2x1", 256, 128);
  const auto before = heif::readStructure(file);
  const auto tiles = itemsOf(*before, "av01");
  ASSERT_EQ(tiles.size(), 2U);
  const auto& uses = before->find(tiles[1])->properties;
  const auto use = std::find_if(uses.begin(), uses.end(), [&](const heif::PropertyUse& one) {
    return before->properties[one.index - 1].type == heif::fourCC("av1C");
  });
  ASSERT_NE(use, uses.end());
  ASSERT_EQ(before->property(*before->find(tiles[0]), heif::fourCC("av1C")),
            &before->properties[use->index - 1])
      << "the encoder does not share properties any more";
  const Bytes other = fromHex("81 00 0c 00 aa bb cc");
  heif::Edits edits;
  edits.properties[{tiles[1], use->index}] = other;
  const Bytes written = edited(*before, edits);
  const auto after = heif::readStructure(written);
  EXPECT_EQ(propertyOf(*after, tiles[0], "av1C"), propertyOf(*before, tiles[0], "av1C"));
  EXPECT_EQ(propertyOf(*after, tiles[1], "av1C"), other);
  EXPECT_TRUE(after->find(tiles[1])->properties.size() == uses.size());
  EXPECT_EQ(allData(written), allData(file));
  // Both tiles agree again: one property is enough.
  edits.properties[{tiles[0], use->index}] = other;
  const auto agreed = heif::readStructure(edited(*before, edits));
  EXPECT_EQ(agreed->properties.size(), before->properties.size());
}

TEST(HeifFileAssembly, DataInsideTheListOfItemsCanGrow) {
  const Bytes file = makeHeic("-q 50", 65, 45);
  const auto before = heif::readStructure(file);
  const auto grids = itemsOf(*before, "grid");
  ASSERT_EQ(grids.size(), 1U);
  ASSERT_EQ(before->find(grids[0])->place, heif::DataPlace::itemDataBox);
  heif::Edits edits;
  edits.data[grids[0]] = fromHex("0001 0000 00000041 0000002d");
  const Bytes written = edited(*before, edits);
  EXPECT_EQ(itemData(written, "grid").at(0), edits.data[grids[0]]);
  EXPECT_EQ(itemData(written, "hvc1"), itemData(file, "hvc1"));
}

TEST(HeifFileAssembly, APictureWithoutDataIsDamageAndFailsTheFrame) {
  for (const Codec* const codec : {&kHeicCodec, &kAvifCodec}) {
    const bool heic = codec == &kHeicCodec;
    const Bytes file = heic ? makeHeic("-q 50", 64, 64) : makeAvif("", 64, 64);
    const auto structure = heif::readStructure(file);
    heif::Edits edits;
    edits.data[structure->primary] = {};
    const Bytes empty = edited(*structure, edits);
    const auto source = openSource(*codec, empty);
    EXPECT_EQ(source->status().cause, "the data of a picture are damaged");
    EXPECT_EQ(source->writable().error().message, "an item's data have no length");
    EXPECT_FALSE(tryPixels(*codec, empty));
  }
}

TEST(HeifFileAssembly, DataThatLieInPiecesAreReplacedByOnePiece) {
  const Bytes file = makeAvif("", 64, 64, true);
  auto structure = heif::readStructure(file).value();
  const auto pictures = itemsOf(structure, "av01");
  ASSERT_EQ(pictures.size(), 2U);
  // The first item's data as two pieces around the same bytes.
  heif::Item& item = structure.items[structure.places[pictures[0]]];
  const heif::Extent whole = item.extents.at(0);
  item.extents = {{.index = 0, .offset = whole.offset, .length = 5},
                  {.index = 0, .offset = whole.offset + 5, .length = whole.length - 5}};
  heif::Edits edits;
  edits.data[pictures[0]] = fromText("new data");
  const Bytes written = edited(structure, edits);
  EXPECT_EQ(itemData(written, "av01").at(0), fromText("new data"));
  EXPECT_EQ(itemData(written, "av01").at(1), itemData(file, "av01").at(1));
}

}  // namespace
}  // namespace kelvo::image_io_test
