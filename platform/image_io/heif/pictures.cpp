#include "platform/image_io/heif/pictures.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <utility>

namespace kelvo::heif {
namespace {

// Properties whose meaning does not change with the pixels, or that are seen to.
constexpr std::array kUnderstood = {fourCC("ispe"), fourCC("pixi"), fourCC("colr"), fourCC("hvcC"),
                                    fourCC("av1C"), fourCC("irot"), fourCC("imir"), fourCC("clap"),
                                    fourCC("pasp"), fourCC("auxC"), fourCC("iscl"), fourCC("rloc"),
                                    fourCC("clli"), fourCC("mdcv"), fourCC("cclv"), fourCC("amve"),
                                    fourCC("ndwt"), fourCC("udes"), fourCC("altt")};
// Properties that describe the coded data byte by byte or layer by layer.
constexpr std::array kOfCodedData = {fourCC("lsel"), fourCC("a1op"), fourCC("a1lx"), fourCC("subs"),
                                     fourCC("lhvC"), fourCC("tols"), fourCC("oinf")};
constexpr std::array kReferences = {fourCC("cdsc"), fourCC("thmb"), fourCC("auxl"), fourCC("dimg"),
                                    fourCC("prem")};
// Tracks, and what belongs to them.
constexpr std::array kTracks = {fourCC("moov"), fourCC("moof"), fourCC("mfra")};

template <typename List>
bool among(const List& list, FourCC type) {
  return std::find(list.begin(), list.end(), type) != list.end();
}

struct Size {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

class Search {
 public:
  explicit Search(const Structure& structure) : structure_(structure) {}

  Result<Pictures> run() {
    sortReferences();
    for (const Item& item : structure_.items) checkItem(item);
    checkBoxes();
    if (auto added = addFrame(*structure_.find(structure_.primary)); !added) {
      return std::move(added).error();
    }
    for (const Item& item : structure_.items) {
      if (item.id == structure_.primary || !isPicture(item) || subordinate_.contains(item.id)) {
        continue;
      }
      if (auto added = addFrame(item); !added) obstruct(added.error().message);
    }
    checkData();
    return std::move(pictures_);
  }

 private:
  void obstruct(std::string why) {
    if (pictures_.obstacle.empty()) pictures_.obstacle = std::move(why);
  }

  [[nodiscard]] std::optional<Size> sizeOf(const Item& item) const {
    const Box* const box = structure_.property(item, fourCC("ispe"));
    const auto full = box == nullptr ? std::nullopt : fullBox(*box);
    if (!full) return std::nullopt;
    Reader reader(full->payload);
    Size size;
    size.width = reader.u32();
    size.height = reader.u32();
    if (!reader.ok() || size.width == 0 || size.height == 0) return std::nullopt;
    return size;
  }

  [[nodiscard]] bool isPicture(const Item& item) const {
    return isCoded(item.type) || item.type == kGridItem ||
           structure_.property(item, fourCC("ispe")) != nullptr;
  }

  void sortReferences() {
    for (const Reference& reference : structure_.references) {
      const Item* const from = structure_.find(reference.from);
      const bool known =
          from != nullptr && std::all_of(reference.to.begin(), reference.to.end(),
                                         [&](ItemId id) { return structure_.find(id) != nullptr; });
      if (!known) {
        obstruct("it refers to items that it does not have");
        continue;
      }
      if (!among(kReferences, reference.type)) {
        obstruct("references of the kind " + quoted(reference.type) + " are not supported");
      }
      if (reference.type == fourCC("thmb") || reference.type == fourCC("auxl")) {
        subordinate_.insert(reference.from);
        if (reference.to.size() != 1) obstruct("a picture belongs to several others");
        for (const ItemId id : reference.to) attached_[id].push_back(&reference);
      } else if (reference.type == fourCC("prem")) {
        premultiplied_.insert(reference.from);
      } else if (reference.type == fourCC("dimg")) {
        if (!inputs_.emplace(reference.from, reference.to).second) {
          obstruct("a picture is derived twice");
        }
        for (const ItemId id : reference.to) {
          if (!subordinate_.insert(id).second) obstruct("two pictures share a part");
        }
      }
    }
  }

  void checkItem(const Item& item) {
    if (item.isProtected) obstruct("an item is encrypted");
    if (item.external) obstruct("an item's data are in another file");
    if (item.place == DataPlace::otherItem) obstruct("an item's data are inside another item");
    for (const PropertyUse& use : item.properties) {
      const FourCC type = structure_.properties[use.index - 1].type;
      if (among(kOfCodedData, type) || (use.essential && !among(kUnderstood, type))) {
        obstruct("the property " + quoted(type) + " of a picture is not supported");
      }
    }
    if (!isPicture(item)) return;
    if (item.type != kGridItem && !isCoded(item.type)) {
      obstruct("pictures of the kind " + quoted(item.type) + " are not supported");
    }
  }

  void checkBoxes() {
    for (std::size_t i = 0; i < structure_.boxes.size(); ++i) {
      const FourCC type = structure_.boxes[i].type;
      if (among(kTracks, type)) obstruct("it holds an image sequence (box " + quoted(type) + ")");
      if (type == fourCC("meta") && i != structure_.meta) obstruct("it has two lists of items");
    }
    for (const Box& box : structure_.metaBoxes) {
      if (box.type == fourCC("ipro")) obstruct("an item is encrypted");
    }
  }

  Result<Picture> pictureOf(const Item& item) const {
    const auto size = sizeOf(item);
    if (!size) return Error{"a picture's size is missing"};
    Picture picture;
    picture.item = item.id;
    picture.width = size->width;
    picture.height = size->height;
    picture.tileWidth = size->width;
    picture.tileHeight = size->height;
    picture.tiles = {item.id};
    if (item.type == kGridItem) {
      if (auto read = readGrid(item, picture); !read) return std::move(read).error();
    } else if (!isCoded(item.type)) {
      return Error{"pictures of the kind " + quoted(item.type) + " are not supported"};
    }
    for (const ItemId id : picture.tiles) {
      if (auto fine = checkCoded(id, picture); !fine) return std::move(fine).error();
    }
    picture.color = colorOf(item);
    if (!picture.color) picture.color = colorOf(*structure_.find(picture.tiles[0]));
    return picture;
  }

  Result<void> checkCoded(ItemId id, const Picture& picture) const {
    const Item& item = *structure_.find(id);
    if (!isCoded(item.type)) {
      return Error{"pictures of the kind " + quoted(item.type) + " are not supported"};
    }
    if (item.type != structure_.find(picture.tiles[0])->type) {
      return Error{"the parts of a grid are coded in different ways"};
    }
    if (sizeOf(item) != Size{picture.tileWidth, picture.tileHeight}) {
      return Error{"the parts of a grid have different sizes"};
    }
    if (structure_.property(item, configurationOf(item.type)) == nullptr) {
      return Error{"a picture's decoder configuration is missing"};
    }
    if (id != picture.item && attached_.contains(id)) {
      return Error{"a part of a grid has parts of its own"};
    }
    return {};
  }

  Result<void> readGrid(const Item& item, Picture& picture) const {
    const auto data = structure_.data(item);
    if (!data) return data.error();
    Reader reader(*data);
    const unsigned version = reader.u8();
    const std::size_t bytes = (reader.u8() & 1) != 0 ? 4 : 2;
    picture.rows = reader.u8() + 1U;
    picture.columns = reader.u8() + 1U;
    const Size size = {.width = static_cast<std::uint32_t>(reader.number(bytes)),
                       .height = static_cast<std::uint32_t>(reader.number(bytes))};
    const auto tiles = inputs_.find(item.id);
    if (!reader.ok() || version != 0 || size != Size{picture.width, picture.height} ||
        tiles == inputs_.end() ||
        tiles->second.size() != std::size_t{picture.rows} * picture.columns) {
      return Error{"the description of a grid is damaged"};
    }
    picture.tiles = tiles->second;
    const auto tile = sizeOf(*structure_.find(picture.tiles[0]));
    if (!tile) return Error{"a picture's size is missing"};
    picture.tileWidth = tile->width;
    picture.tileHeight = tile->height;
    const auto covers = [](std::uint64_t part, std::uint64_t count, std::uint64_t whole) {
      return part * count >= whole && part * (count - 1) < whole;
    };
    if (!covers(tile->width, picture.columns, picture.width) ||
        !covers(tile->height, picture.rows, picture.height)) {
      return Error{"the parts of a grid do not fit its size"};
    }
    return {};
  }

  template <typename Use>
  void forColors(const Item& item, Use use) const {
    for (const PropertyUse& property : item.properties) {
      const Box& box = structure_.properties[property.index - 1];
      if (box.type != fourCC("colr")) continue;
      Reader reader(box.payload);
      const FourCC kind = reader.u32();
      use(kind, reader.rest());
    }
  }

  [[nodiscard]] std::optional<ColorCoding> colorOf(const Item& item) const {
    std::optional<ColorCoding> color;
    forColors(item, [&](FourCC kind, Bytes bytes) {
      if (kind != fourCC("nclx") || color) return;
      Reader reader(bytes);
      ColorCoding read;
      read.primaries = reader.u16();
      read.transfer = reader.u16();
      read.matrix = reader.u16();
      read.fullRange = (reader.u8() & 0x80) != 0;
      if (reader.ok()) color = read;
    });
    return color;
  }

  [[nodiscard]] std::vector<std::byte> profileOf(const Picture& picture) const {
    std::vector<std::byte> profile;
    for (const ItemId id : {picture.item, picture.tiles[0]}) {
      forColors(*structure_.find(id), [&](FourCC kind, Bytes bytes) {
        if (profile.empty() && (kind == fourCC("prof") || kind == fourCC("rICC"))) {
          profile.assign(bytes.begin(), bytes.end());
        }
      });
    }
    return profile;
  }

  [[nodiscard]] std::string auxiliaryKind(const Item& item) const {
    const Box* const box = structure_.property(item, fourCC("auxC"));
    const auto full = box == nullptr ? std::nullopt : fullBox(*box);
    return full ? Reader(full->payload).text() : std::string();
  }

  // An auxiliary picture says what it is with a name; there are several for alpha.
  static bool isAlpha(const std::string& kind) {
    return kind == "urn:mpeg:mpegB:cicp:systems:auxiliary:alpha" ||
           kind == "urn:mpeg:hevc:2015:auxid:1" || kind == "urn:mpeg:avc:2015:auxid:1";
  }
  static std::string refusalOf(const std::string& kind) {
    if (kind == "urn:mpeg:mpegB:cicp:systems:auxiliary:depth" ||
        kind == "urn:mpeg:hevc:2015:auxid:2") {
      return "it has a depth map, which cannot be carried over";
    }
    if (kind.find("gainmap") != std::string::npos) {
      return "it has a gain map, which would no longer fit the adjusted picture";
    }
    return fmt::format("it has an auxiliary picture ({}), which cannot be carried over",
                       kind.empty() ? "of no known kind" : kind);
  }

  Result<void> addFrame(const Item& item) {
    auto picture = pictureOf(item);
    if (!picture) return std::move(picture).error();
    Frame frame;
    frame.picture = *std::move(picture);
    frame.profile = profileOf(frame.picture);
    frame.premultiplied = premultiplied_.contains(item.id);
    if (const auto attached = attached_.find(item.id); attached != attached_.end()) {
      for (const Reference* const reference : attached->second) {
        if (auto added = attach(frame, *reference); !added) return added;
      }
    }
    pictures_.frames.push_back(std::move(frame));
    return {};
  }

  // What cannot be attached is an obstacle, except for alpha, without which there is no picture.
  Result<void> attach(Frame& frame, const Reference& reference) {
    const Item& item = *structure_.find(reference.from);
    const bool thumbnail = reference.type == fourCC("thmb");
    const std::string kind = thumbnail ? std::string() : auxiliaryKind(item);
    if (!thumbnail && !isAlpha(kind)) {
      obstruct(refusalOf(kind));
      return {};
    }
    auto picture = pictureOf(item);
    if (attached_.contains(item.id)) obstruct("an attached picture has parts of its own");
    if (thumbnail) {
      if (!picture) {
        obstruct("a thumbnail cannot be made again: " + picture.error().message);
      } else if (picture->width > frame.picture.width || picture->height > frame.picture.height) {
        obstruct("a thumbnail is larger than its picture");
      } else {
        frame.thumbnails.push_back(*std::move(picture));
      }
      return {};
    }
    if (!picture) return std::move(picture).error();
    if (frame.alpha) return Error{"a picture has two alpha channels"};
    if (picture->width != frame.picture.width || picture->height != frame.picture.height) {
      return Error{"the alpha channel's size is not the picture's"};
    }
    frame.alpha = *std::move(picture);
    return {};
  }

  // New data go where the old ones were, so those must be alone in their place.
  void checkData() {
    std::map<std::pair<bool, std::uint64_t>, std::pair<std::uint64_t, bool>> ranges;
    for (const Item& item : structure_.items) {
      for (const Extent& extent : item.extents) {
        const bool replaced = isCoded(item.type);
        if (extent.length == 0) {
          obstruct("an item's data have no length");
          return;
        }
        const std::pair key = {item.place == DataPlace::itemDataBox, extent.offset};
        const auto [known, added] = ranges.emplace(key, std::pair{extent.length, replaced});
        if (!added && known->second != std::pair{extent.length, replaced}) {
          obstruct("the data of two items overlap");
        }
      }
    }
    const std::pair<const std::pair<bool, std::uint64_t>, std::pair<std::uint64_t, bool>>* last =
        nullptr;
    for (const auto& range : ranges) {
      if (last != nullptr && last->first.first == range.first.first &&
          range.first.second - last->first.second < last->second.first) {
        obstruct("the data of two items overlap");
      }
      last = &range;
    }
  }

  const Structure& structure_;
  Pictures pictures_;
  std::set<ItemId> subordinate_;  // thumbnails, auxiliary pictures, parts of grids
  std::set<ItemId> premultiplied_;
  std::map<ItemId, std::vector<ItemId>> inputs_;
  std::map<ItemId, std::vector<const Reference*>> attached_;
};

}  // namespace

Result<Pictures> findPictures(const Structure& structure) { return Search(structure).run(); }

}  // namespace kelvo::heif
