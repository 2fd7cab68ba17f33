#include "platform/image_io/heif/file_assembly.h"

#include <algorithm>
#include <limits>
#include <list>

namespace kelvo::heif {
namespace {

constexpr std::uint64_t kMax32 = std::numeric_limits<std::uint32_t>::max();

// A stretch of old data that goes, and the items whose new data come in its place.
struct Cut {
  std::uint64_t end = 0;
  std::vector<ItemId> items;
};
using Cuts = std::map<std::uint64_t, Cut>;  // by where they begin

// Where things of one container (the file, the item data box) have moved to.
struct Moves {
  std::map<std::uint64_t, std::uint64_t> shifts;  // from here on add this, modulo 2^64
  std::map<ItemId, std::uint64_t> placed;         // new data

  [[nodiscard]] std::uint64_t moved(std::uint64_t offset) const {
    const auto next = shifts.upper_bound(offset);
    return next == shifts.begin() ? offset : offset + std::prev(next)->second;
  }
};

class Assembly {
 public:
  Assembly(const Structure& structure, const Edits& edits) : structure_(structure), edits_(edits) {}

  Result<void> write(OutputFile& out) {
    for (const auto& [id, data] : edits_.data) cut(*structure_.find(id));
    chooseOffsetBytes();
    assignProperties();
    const std::size_t metaBytes = buildMeta().size();
    layOut(metaBytes);
    meta_ = buildMeta();
    pieces_[metaPiece_] = meta_;
    for (const Bytes piece : pieces_) {
      if (piece.empty()) continue;
      if (auto written = out.write(piece); !written) return written;
    }
    return {};
  }

 private:
  void cut(const Item& item) {
    Cuts& cuts = item.place == DataPlace::itemDataBox ? idatCuts_ : fileCuts_;
    for (std::size_t i = 0; i < item.extents.size(); ++i) {
      const Extent& extent = item.extents[i];
      Cut& made = cuts[extent.offset];
      made.end = extent.offset + extent.length;
      if (i == 0) made.items.push_back(item.id);
    }
  }

  void chooseOffsetBytes() {
    std::uint64_t bound = structure_.file.size() + (1 << 24);
    for (const auto& [id, data] : edits_.data) bound += data.size();
    offsetBytes_ = bound > kMax32 ? 8 : 4;
  }

  // ---- properties

  void assignProperties() {
    for (const Item& item : structure_.items) {
      for (const PropertyUse& use : item.properties) users_[use.index].push_back(item.id);
      uses_[item.id] = item.properties;
    }
    for (std::uint32_t index = 1; index <= structure_.properties.size(); ++index) {
      assignProperty(index);
    }
  }

  void assignProperty(std::uint32_t index) {
    const std::vector<ItemId>& users = users_[index];
    const auto editOf = [&](ItemId id) { return edits_.properties.find({id, index}); };
    const bool original = std::any_of(users.begin(), users.end(), [&](ItemId id) {
      return editOf(id) == edits_.properties.end();
    });
    std::vector<std::pair<Bytes, std::uint32_t>> made;  // distinct payloads and their numbers
    for (const ItemId id : users) {
      const auto edit = editOf(id);
      if (edit == edits_.properties.end()) continue;
      const bool inPlace = made.empty() && !original;
      const auto next =
          static_cast<std::uint32_t>(structure_.properties.size() + added_.size() + 1);
      auto entry = std::find_if(made.begin(), made.end(), [&](const auto& known) {
        return std::ranges::equal(known.first, edit->second);
      });
      if (entry == made.end()) {
        entry = made.insert(entry, {edit->second, inPlace ? index : next});
        if (inPlace) {
          changed_[index] = edit->second;
        } else {
          added_.emplace_back(structure_.properties[index - 1].type, edit->second);
        }
      }
      if (entry->second == index) continue;
      usesChanged_ = true;
      for (PropertyUse& use : uses_[id]) {
        if (use.index == index) use.index = entry->second;
      }
    }
  }

  static void appendBox(Builder& to, FourCC type, Bytes payload) {
    const std::size_t begun = to.begin(type);
    to.append(payload);
    to.end(begun);
  }

  void buildPropertyContainer(Builder& to) const {
    const std::size_t begun = to.begin(fourCC("ipco"));
    for (std::uint32_t i = 0; i < structure_.properties.size(); ++i) {
      const auto changed = changed_.find(i + 1);
      if (changed == changed_.end()) {
        to.append(structure_.properties[i].whole);
      } else {
        appendBox(to, structure_.properties[i].type, changed->second);
      }
    }
    for (const auto& [type, payload] : added_) appendBox(to, type, payload);
    to.end(begun);
  }

  void buildAssociations(Builder& to) const {
    const std::size_t begun = to.begin(fourCC("ipma"));
    const bool wide = structure_.properties.size() + added_.size() > 127;
    to.number(1, 1);
    to.number(wide ? 1 : 0, 3);
    std::uint32_t count = 0;
    for (const auto& [id, uses] : uses_) count += uses.empty() ? 0 : 1;
    to.number(count, 4);
    for (const auto& [id, uses] : uses_) {
      if (uses.empty()) continue;
      to.number(id, 4);
      to.number(uses.size(), 1);
      for (const PropertyUse& use : uses) {
        const std::uint32_t essential = wide ? 0x8000 : 0x80;
        to.number(use.index | (use.essential ? essential : 0), wide ? 2 : 1);
      }
    }
    to.end(begun);
  }

  void buildProperties(Builder& to, const Box& box) const {
    const std::size_t begun = to.begin(box.type);
    bool listed = false;
    for (const Box& child : readBoxes(box.payload).boxes) {
      if (child.type == fourCC("ipco")) {
        buildPropertyContainer(to);
      } else if (child.type != fourCC("ipma") || !usesChanged_) {
        to.append(child.whole);
      } else if (!listed) {
        buildAssociations(to);
        listed = true;
      }
    }
    to.end(begun);
  }

  // ---- places

  void buildLocations(Builder& to) const {
    const std::size_t begun = to.begin(fourCC("iloc"));
    const unsigned version = structure_.locationVersion;
    const std::size_t indexBytes = version == 0 ? 0 : structure_.locationIndexBytes;
    to.number(version, 1);
    to.number(0, 3);
    to.number(offsetBytes_ << 4 | offsetBytes_, 1);
    to.number(indexBytes, 1);
    const auto located = std::count_if(structure_.items.begin(), structure_.items.end(),
                                       [](const Item& item) { return item.located; });
    to.number(static_cast<std::uint64_t>(located), version == 2 ? 4 : 2);
    for (const Item& item : structure_.items) {
      if (!item.located) continue;
      to.number(item.id, version == 2 ? 4 : 2);
      if (version > 0) to.number(static_cast<unsigned>(item.place), 2);
      to.number(0, 2);
      const Moves& moves = item.place == DataPlace::itemDataBox ? idatMoves_ : fileMoves_;
      const auto data = edits_.data.find(item.id);
      const bool replaced = data != edits_.data.end();
      to.number(replaced ? 1 : item.extents.size(), 2);
      for (const Extent& extent : item.extents) {
        to.number(extent.index, indexBytes);
        const auto placed = moves.placed.find(item.id);
        const bool known = replaced && placed != moves.placed.end();
        to.number(known ? placed->second : moves.moved(extent.offset), offsetBytes_);
        to.number(replaced ? data->second.size() : extent.length, offsetBytes_);
        if (replaced) break;
      }
    }
    to.end(begun);
  }

  // The payload with its cuts made, in pieces.
  std::vector<Bytes> edited(Bytes payload, std::uint64_t oldStart, std::uint64_t newStart,
                            const Cuts& cuts, Moves& moves) const {
    std::vector<Bytes> pieces;
    std::uint64_t position = newStart;
    std::uint64_t copied = oldStart;
    const std::uint64_t oldEnd = oldStart + payload.size();
    moves.shifts[oldStart] = newStart - oldStart;
    const auto copyTo = [&](std::uint64_t end) {
      pieces.push_back(payload.subspan(copied - oldStart, end - copied));
      position += end - copied;
      copied = end;
    };
    for (auto at = cuts.lower_bound(oldStart); at != cuts.end() && at->first < oldEnd; ++at) {
      copyTo(at->first);
      for (const ItemId id : at->second.items) {
        const std::vector<std::byte>& data = edits_.data.at(id);
        moves.placed[id] = position;
        pieces.emplace_back(data);
        position += data.size();
      }
      copied = at->second.end;
      moves.shifts[copied] = position - copied;
    }
    copyTo(oldEnd);
    return pieces;
  }

  std::vector<std::byte> buildMeta() {
    const Box& meta = structure_.boxes[structure_.meta];
    Builder to;
    const std::size_t begun = to.begin(meta.type);
    to.append(meta.payload.first(4));
    for (const Box& child : structure_.metaBoxes) {
      if (child.type == fourCC("iprp")) {
        buildProperties(to, child);
      } else if (child.type == fourCC("iloc")) {
        buildLocations(to);
      } else if (child.type == fourCC("idat")) {
        const std::size_t data = to.begin(child.type);
        for (const Bytes piece : edited(child.payload, 0, 0, idatCuts_, idatMoves_)) {
          to.append(piece);
        }
        to.end(data);
      } else {
        to.append(child.whole);
      }
    }
    to.end(begun);
    return to.take();
  }

  void layOut(std::size_t metaBytes) {
    std::uint64_t position = 0;
    for (std::size_t i = 0; i < structure_.boxes.size(); ++i) {
      const Box& box = structure_.boxes[i];
      if (i == structure_.meta) {
        metaPiece_ = pieces_.size();
        pieces_.emplace_back();  // stands for it until it is known
        position += metaBytes;
        continue;
      }
      const auto start = static_cast<std::uint64_t>(box.payload.data() - structure_.file.data());
      const auto cut = fileCuts_.lower_bound(start);
      const bool untouched = cut == fileCuts_.end() || cut->first >= start + box.payload.size();
      std::uint64_t payload = box.payload.size();
      for (auto at = cut; at != fileCuts_.end() && at->first < start + box.payload.size(); ++at) {
        payload -= at->second.end - at->first;
        for (const ItemId id : at->second.items) payload += edits_.data.at(id).size();
      }
      pieces_.push_back(untouched ? box.whole.first(box.headerBytes()) : header(box, payload));
      position += pieces_.back().size();
      for (const Bytes piece : edited(box.payload, start, position, fileCuts_, fileMoves_)) {
        pieces_.push_back(piece);
        position += piece.size();
      }
    }
  }

  Bytes header(const Box& box, std::uint64_t payload) {
    Builder to;
    const bool wide = !box.toEnd && (box.headerBytes() > 8 || payload + 8 > kMax32);
    to.number(box.toEnd ? 0 : wide ? 1 : payload + 8, 4);
    to.number(box.type, 4);
    if (wide) to.number(payload + 16, 8);
    return headers_.emplace_back(to.take());
  }

  const Structure& structure_;
  const Edits& edits_;
  Cuts fileCuts_;
  Cuts idatCuts_;
  Moves fileMoves_;
  Moves idatMoves_;
  std::size_t offsetBytes_ = 4;
  std::map<std::uint32_t, std::vector<ItemId>> users_;
  std::map<ItemId, std::vector<PropertyUse>> uses_;
  bool usesChanged_ = false;
  std::map<std::uint32_t, std::vector<std::byte>> changed_;
  std::vector<std::pair<FourCC, std::vector<std::byte>>> added_;
  std::vector<Bytes> pieces_;
  std::size_t metaPiece_ = 0;
  std::list<std::vector<std::byte>> headers_;
  std::vector<std::byte> meta_;
};

}  // namespace

Result<void> writeEdited(const Structure& structure, const Edits& edits, OutputFile& out) {
  return Assembly(structure, edits).write(out);
}

}  // namespace kelvo::heif
