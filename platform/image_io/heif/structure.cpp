#include "platform/image_io/heif/structure.h"

#include <algorithm>
#include <set>

namespace kelvo::heif {
namespace {

constexpr std::uint64_t kMaxItems = 65536;

Error damaged(FourCC box) { return Error{"its box " + quoted(box) + " is damaged"}; }

Result<void> readItemInfos(const Box& box, Structure& into) {
  const auto full = fullBox(box);
  if (!full) return damaged(box.type);
  Reader reader(full->payload);
  const std::uint64_t count = reader.number(full->version == 0 ? 2 : 4);
  if (count > kMaxItems) return Error{"it has more than 65536 items"};
  const BoxList entries = readBoxes(reader.rest());
  if (!reader.ok() || !entries.whole || entries.boxes.size() != count) return damaged(box.type);
  for (const Box& entry : entries.boxes) {
    const auto info = fullBox(entry);
    if (entry.type != fourCC("infe") || !info) return damaged(box.type);
    if (info->version < 2) return Error{"its items are described in an old way"};
    Reader fields(info->payload);
    Item item;
    item.id = static_cast<ItemId>(fields.number(info->version == 2 ? 2 : 4));
    item.isProtected = fields.u16() != 0;
    item.type = fields.u32();
    fields.text();
    if (item.type == fourCC("mime")) item.contentType = fields.text();
    if (!fields.ok() || !into.places.emplace(item.id, into.items.size()).second)
      return damaged(box.type);
    into.items.push_back(std::move(item));
  }
  return {};
}

Item* findItem(Structure& structure, ItemId id) {
  const auto found = structure.places.find(id);
  return found == structure.places.end() ? nullptr : &structure.items[found->second];
}

Result<void> readLocations(const Box& box, Structure& into) {
  const auto full = fullBox(box);
  if (!full || full->version > 2) return damaged(box.type);
  Reader reader(full->payload);
  const unsigned sizes = reader.u16();
  const std::size_t offsetBytes = sizes >> 12;
  const std::size_t lengthBytes = sizes >> 8 & 15;
  const std::size_t baseBytes = sizes >> 4 & 15;
  const std::size_t indexBytes = full->version == 0 ? 0 : sizes & 15;
  if (std::max({offsetBytes, lengthBytes, baseBytes, indexBytes}) > 8) return damaged(box.type);
  into.locationVersion = full->version;
  into.locationIndexBytes = static_cast<unsigned>(indexBytes);
  const std::uint64_t count = reader.number(full->version == 2 ? 4 : 2);
  for (std::uint64_t i = 0; i < count && reader.ok(); ++i) {
    const auto id = static_cast<ItemId>(reader.number(full->version == 2 ? 4 : 2));
    const unsigned method = full->version == 0 ? 0 : reader.u16() & 15;
    const unsigned dataReference = reader.u16();
    const std::uint64_t base = reader.number(baseBytes);
    const std::uint64_t extents = reader.u16();
    Item* const item = findItem(into, id);
    if (item == nullptr || item->located || method > 2) return damaged(box.type);
    item->located = true;
    item->place = static_cast<DataPlace>(method);
    item->external = dataReference != 0;
    for (std::uint64_t e = 0; e < extents && reader.ok(); ++e) {
      Extent extent;
      extent.index = reader.number(indexBytes);
      extent.offset = base + reader.number(offsetBytes);
      extent.length = reader.number(lengthBytes);
      item->extents.push_back(extent);
    }
  }
  if (!reader.ok()) return damaged(box.type);
  return {};
}

Result<void> readReferences(const Box& box, Structure& into) {
  const auto full = fullBox(box);
  if (!full || full->version > 1) return damaged(box.type);
  const BoxList entries = readBoxes(full->payload);
  if (!entries.whole) return damaged(box.type);
  const std::size_t idBytes = full->version == 0 ? 2 : 4;
  for (const Box& entry : entries.boxes) {
    Reader reader(entry.payload);
    Reference reference = {.type = entry.type, .from = 0, .to = {}};
    reference.from = static_cast<ItemId>(reader.number(idBytes));
    const unsigned count = reader.u16();
    for (unsigned i = 0; i < count; ++i) {
      reference.to.push_back(static_cast<ItemId>(reader.number(idBytes)));
    }
    if (!reader.ok()) return damaged(box.type);
    into.references.push_back(std::move(reference));
  }
  return {};
}

Result<void> readAssociations(const Box& box, Structure& into) {
  const auto full = fullBox(box);
  if (!full || full->version > 1) return damaged(box.type);
  Reader reader(full->payload);
  const std::uint64_t count = reader.u32();
  const bool wide = (full->flags & 1) != 0;
  for (std::uint64_t i = 0; i < count && reader.ok(); ++i) {
    const auto id = static_cast<ItemId>(reader.number(full->version == 0 ? 2 : 4));
    const unsigned uses = reader.u8();
    Item* const item = findItem(into, id);
    if (item == nullptr) return damaged(box.type);
    for (unsigned u = 0; u < uses; ++u) {
      const unsigned value = wide ? reader.u16() : reader.u8();
      const unsigned essential = wide ? 0x8000 : 0x80;
      const PropertyUse use = {.index = value & (essential - 1),
                               .essential = (value & essential) != 0};
      if (use.index > into.properties.size()) return damaged(box.type);
      if (use.index != 0) item->properties.push_back(use);
    }
  }
  if (!reader.ok()) return damaged(box.type);
  return {};
}

Result<void> readProperties(const Box& box, Structure& into) {
  const BoxList children = readBoxes(box.payload);
  if (!children.whole || children.boxes.empty() || children.boxes[0].type != fourCC("ipco")) {
    return damaged(box.type);
  }
  const BoxList properties = readBoxes(children.boxes[0].payload);
  if (!properties.whole) return damaged(fourCC("ipco"));
  into.properties = properties.boxes;
  for (const Box& child : children.boxes) {
    if (child.type != fourCC("ipma")) continue;
    if (auto read = readAssociations(child, into); !read) return read;
  }
  return {};
}

const Box* only(const std::vector<Box>& boxes, FourCC type) {
  const auto found =
      std::find_if(boxes.begin(), boxes.end(), [&](const Box& box) { return box.type == type; });
  return found == boxes.end() ? nullptr : &*found;
}

Result<void> readMeta(const Box& meta, Structure& into) {
  const auto full = fullBox(meta);
  if (!full) return damaged(meta.type);
  BoxList children = readBoxes(full->payload);
  if (!children.whole) return damaged(meta.type);
  into.metaBoxes = std::move(children.boxes);
  std::set<FourCC> seen;
  for (const Box& box : into.metaBoxes) {
    if (box.type != fourCC("free") && !seen.insert(box.type).second) return damaged(meta.type);
  }
  const Box* const infos = only(into.metaBoxes, fourCC("iinf"));
  const Box* const locations = only(into.metaBoxes, fourCC("iloc"));
  const Box* const properties = only(into.metaBoxes, fourCC("iprp"));
  const Box* const primary = only(into.metaBoxes, fourCC("pitm"));
  if (infos == nullptr || locations == nullptr || properties == nullptr || primary == nullptr) {
    return Error{"it lists no pictures"};
  }
  if (auto read = readItemInfos(*infos, into); !read) return read;
  if (auto read = readLocations(*locations, into); !read) return read;
  if (auto read = readProperties(*properties, into); !read) return read;
  if (const Box* const references = only(into.metaBoxes, fourCC("iref"))) {
    if (auto read = readReferences(*references, into); !read) return read;
  }
  if (const Box* const data = only(into.metaBoxes, fourCC("idat"))) into.itemData = data->payload;
  const auto pitm = fullBox(*primary);
  if (!pitm) return damaged(primary->type);
  Reader reader(pitm->payload);
  into.primary = static_cast<ItemId>(reader.number(pitm->version == 0 ? 2 : 4));
  if (!reader.ok() || into.find(into.primary) == nullptr) return damaged(primary->type);
  return {};
}

bool inside(const Extent& extent, Bytes container) {
  return extent.offset <= container.size() && extent.length <= container.size() - extent.offset;
}

}  // namespace

std::optional<FullBox> fullBox(const Box& box) {
  Reader reader(box.payload);
  FullBox full;
  full.version = reader.u8();
  full.flags = static_cast<std::uint32_t>(reader.number(3));
  full.payload = reader.rest();
  return reader.ok() ? std::optional(full) : std::nullopt;
}

const Item* Structure::find(ItemId id) const {
  const auto found = places.find(id);
  return found == places.end() ? nullptr : &items[found->second];
}

const Box* Structure::property(const Item& item, FourCC type) const {
  for (const PropertyUse& use : item.properties) {
    if (properties[use.index - 1].type == type) return &properties[use.index - 1];
  }
  return nullptr;
}

Result<std::vector<std::byte>> Structure::data(const Item& item) const {
  if (item.place == DataPlace::otherItem) return Error{"an item's data are inside another item"};
  if (item.external) return Error{"an item's data are in another file"};
  std::vector<std::byte> all;
  std::uint64_t total = 0;
  for (const Extent& extent : item.extents) {
    total += extent.length;
    if (!inside(extent, container(item)) || total > file.size()) {
      return Error{"an item's data reach past the end of the file"};
    }
    const Bytes part = container(item).subspan(extent.offset, extent.length);
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

Result<Structure> readStructure(Bytes file) {
  Structure structure;
  structure.file = file;
  const BoxList list = readBoxes(file);
  structure.boxes = list.boxes;
  const Box* const meta = only(structure.boxes, fourCC("meta"));
  if (meta == nullptr) {
    return Error{list.whole ? "it lists no pictures" : list.problem};
  }
  structure.meta = static_cast<std::size_t>(meta - structure.boxes.data());
  if (auto read = readMeta(*meta, structure); !read) return std::move(read).error();
  if (!list.whole) {
    structure.status = {.status = list.endsEarly ? CGImageSourceStatus::incomplete
                                                 : CGImageSourceStatus::invalidData,
                        .cause = list.problem};
  }
  for (const Item& item : structure.items) {
    if (item.place == DataPlace::otherItem || item.external) continue;
    for (const Extent& extent : item.extents) {
      if (inside(extent, structure.container(item)) ||
          structure.status.status != CGImageSourceStatus::complete) {
        continue;
      }
      structure.status = {.status = CGImageSourceStatus::incomplete,
                          .cause = "an item's data reach past the end of the file"};
    }
  }
  return structure;
}

}  // namespace kelvo::heif
