#include "platform/image_io/heif/boxes.h"

#include <algorithm>

namespace kelvo::heif {

std::string quoted(FourCC type) {
  std::string name = "'";
  for (int shift = 24; shift >= 0; shift -= 8) {
    const auto c = static_cast<char>(type >> shift);
    name += c >= ' ' && c <= '~' ? c : '?';
  }
  return name + "'";
}

std::uint64_t Reader::number(std::size_t bytes) {
  std::uint64_t value = 0;
  for (const std::byte byte : take(bytes)) value = value << 8 | std::to_integer<unsigned>(byte);
  return value;
}

Bytes Reader::take(std::size_t count) {
  if (count > bytes_.size()) {
    ok_ = false;
    bytes_ = {};
    return {};
  }
  const Bytes taken = bytes_.first(count);
  bytes_ = bytes_.subspan(count);
  return taken;
}

std::string Reader::text() {
  const auto end = std::find(bytes_.begin(), bytes_.end(), std::byte{0});
  if (end == bytes_.end()) {
    ok_ = false;
    return {};
  }
  const Bytes taken = take(static_cast<std::size_t>(end - bytes_.begin()));
  take(1);
  return {reinterpret_cast<const char*>(taken.data()), taken.size()};
}

void Builder::number(std::uint64_t value, std::size_t bytes) {
  while (bytes-- > 0) bytes_.push_back(static_cast<std::byte>(value >> (8 * bytes)));
}

std::size_t Builder::begin(FourCC type) {
  const std::size_t begun = bytes_.size();
  number(0, 4);
  number(type, 4);
  return begun;
}

void Builder::end(std::size_t begun) {
  const std::size_t size = bytes_.size() - begun;
  for (std::size_t i = 0; i < 4; ++i) {
    bytes_[begun + i] = static_cast<std::byte>(size >> (24 - 8 * i));
  }
}

BoxList readBoxes(Bytes bytes) {
  constexpr std::size_t kMostBoxes = 1'000'000;
  BoxList list;
  while (!bytes.empty()) {
    if (list.boxes.size() == kMostBoxes) {
      list.whole = false;
      list.problem = "it has more than a million boxes";
      return list;
    }
    Reader reader(bytes);
    std::uint64_t size = reader.u32();
    Box box = {.type = reader.u32(), .whole = {}, .payload = {}};
    if (size == 1) {
      size = reader.number(8);
    } else if (size == 0) {
      box.toEnd = true;
      size = bytes.size();
    }
    const std::size_t header = bytes.size() - reader.rest().size();
    list.endsEarly = !reader.ok() || size > bytes.size();
    if (list.endsEarly || size < header) {
      list.whole = false;
      list.problem = !reader.ok()    ? "a few bytes are left after its last box"
                     : size < header ? "the box " + quoted(box.type) + " has no sensible size"
                                     : "the file ends inside the box " + quoted(box.type);
      return list;
    }
    box.whole = bytes.first(size);
    box.payload = box.whole.subspan(header);
    list.boxes.push_back(box);
    bytes = bytes.subspan(size);
  }
  return list;
}

}  // namespace kelvo::heif
