#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/image_io/codec.h"
#include "platform/image_io/heif/boxes.h"

// What a HEIF file (ISO/IEC 23008-12) says about itself: items, their properties, how they refer to
// each other, where their data lie.
namespace kelvo::heif {

using ItemId = std::uint32_t;

struct Extent {
  std::uint64_t index = 0;
  std::uint64_t offset = 0;  // from the start of the file, or of the item data box
  std::uint64_t length = 0;
};

enum class DataPlace : std::uint8_t { file = 0, itemDataBox = 1, otherItem = 2 };

struct PropertyUse {
  std::uint32_t index = 0;  // 1 is the first property
  bool essential = false;
};

struct Item {
  ItemId id = 0;
  FourCC type = 0;
  bool isProtected = false;
  std::string contentType;  // of 'mime' items
  DataPlace place = DataPlace::file;
  bool external = false;  // its data are in another file
  bool located = false;
  std::vector<Extent> extents;
  std::vector<PropertyUse> properties;
};

struct Reference {
  FourCC type = 0;
  ItemId from = 0;
  std::vector<ItemId> to;
};

struct Structure {
  Bytes file;
  std::vector<Box> boxes;  // of the file
  std::size_t meta = 0;    // which of them describes the items
  std::vector<Box> metaBoxes;
  std::vector<Box> properties;
  std::vector<Item> items;               // in the file's order
  std::map<ItemId, std::size_t> places;  // of the items among them
  std::vector<Reference> references;
  ItemId primary = 0;
  Bytes itemData;  // the item data box's payload
  unsigned locationVersion = 0;
  unsigned locationIndexBytes = 0;
  SourceStatus status;

  [[nodiscard]] const Item* find(ItemId id) const;
  [[nodiscard]] const Box* property(const Item& item, FourCC type) const;
  // The item's data in one piece.
  [[nodiscard]] Result<std::vector<std::byte>> data(const Item& item) const;
  // The bytes that its extents count from.
  [[nodiscard]] Bytes container(const Item& item) const {
    return item.place == DataPlace::itemDataBox ? itemData : file;
  }
};

// An error if there is no description of items that could be understood. A file that ends early or
// whose items' data lie outside of it has a status that says so.
Result<Structure> readStructure(Bytes file);

// A full box's payload behind its version and flags.
struct FullBox {
  unsigned version = 0;
  std::uint32_t flags = 0;
  Bytes payload;
};
std::optional<FullBox> fullBox(const Box& box);

}  // namespace kelvo::heif
