#include "platform/image_io/png/png_ancillary.h"

#include <algorithm>

#include "platform/image_io/exif_thumbnail.h"

namespace kelvo {

std::optional<std::vector<std::byte>> adaptedPngChunk(const PngChunk& chunk,
                                                      const PngHeader& header, unsigned depth) {
  if (chunk.name() == "eXIf") return withoutExifThumbnail(chunk.data);
  if (header.color == PngColor::indexed || depth == header.bitDepth) return std::nullopt;
  std::vector<std::byte> data(chunk.data.begin(), chunk.data.end());
  if (chunk.name() == "sBIT") {
    for (std::byte& bits : data) bits = std::min(bits, static_cast<std::byte>(depth));
    return data;
  }
  if (chunk.name() == "bKGD") {
    for (std::size_t i = 0; i + 1 < data.size(); i += 2) {
      const std::uint16_t level =
          scaleTo8Bits(readBigEndian16(std::span<const std::byte>(data).subspan(i)));
      data[i] = std::byte{0};
      data[i + 1] = static_cast<std::byte>(level);
    }
    return data;
  }
  return std::nullopt;
}

}  // namespace kelvo
