#include "platform/image_io/heif/decoder.h"

#include <algorithm>
#include <limits>

#include "platform/image_io/heif/hevc_stream.h"

namespace kelvo::heif {
namespace {

Error damagedConfiguration() { return Error{"a picture's decoder configuration is damaged"}; }

Result<Bytes> configurationFor(const Structure& structure, const Item& item) {
  const Box* const box = structure.property(item, configurationOf(item.type));
  if (box == nullptr) return Error{"a picture's decoder configuration is missing"};
  return box->payload;
}

Chroma chromaOf(unsigned format) {
  constexpr Chroma kFormats[] = {Chroma::none, Chroma::c420, Chroma::c422, Chroma::c444};
  return kFormats[format & 3];
}

Result<Format> av1Format(Bytes configuration) {
  Reader reader(configuration);
  const unsigned marker = reader.u8();
  reader.u8();
  const unsigned flags = reader.u8();
  if (!reader.ok() || marker != 0x81) return damagedConfiguration();
  Format format;
  format.depth = (flags & 0x40) == 0 ? 8 : (flags & 0x20) == 0 ? 10 : 12;
  format.chroma = (flags & 0x10) != 0   ? Chroma::none
                  : (flags & 0x08) == 0 ? Chroma::c444
                  : (flags & 0x04) == 0 ? Chroma::c422
                                        : Chroma::c420;
  return format;
}

Result<Format> hevcFormat(Bytes configuration) {
  const auto read = readHevcConfiguration(configuration);
  if (!read) return damagedConfiguration();
  if (read->chromaFormat != 0 && read->lumaDepth != read->chromaDepth) {
    return Error{"luma and chroma of different depths are not supported"};
  }
  return Format{.chroma = chromaOf(read->chromaFormat), .depth = read->lumaDepth};
}

}  // namespace

Result<Format> formatOf(const Structure& structure, const Item& item) {
  const auto configuration = configurationFor(structure, item);
  if (!configuration) return configuration.error();
  return item.type == kHevcItem ? hevcFormat(*configuration) : av1Format(*configuration);
}

Result<void> checkFraming(const Structure& structure, const Item& item) {
  const auto configuration = configurationFor(structure, item);
  if (!configuration) return configuration.error();
  const auto data = structure.data(item);
  if (!data) return data.error();
  if (item.type == kAv1Item) {
    if (!av1UnitsAddUp(*data)) return Error{"the data of a picture are damaged"};
    return {};
  }
  const auto read = readHevcConfiguration(*configuration);
  if (!read) return damagedConfiguration();
  if (!splitHevcUnits(*data, read->lengthBytes)) return Error{"the data of a picture are damaged"};
  return {};
}

Result<Decoded> decodeItem(const Structure& structure, const Item& item, std::uint32_t width,
                           std::uint32_t height) {
  const auto format = formatOf(structure, item);
  if (!format) return format.error();
  const auto configuration = configurationFor(structure, item);
  const auto data = structure.data(item);
  if (!data) return data.error();
  const std::uint64_t pixels = std::uint64_t{width} * height;
  const auto maxPixels = static_cast<std::uint32_t>(
      std::min<std::uint64_t>(pixels, std::numeric_limits<std::uint32_t>::max()));
  auto decoded = item.type == kHevcItem ? decodeHevc(*configuration, *data)
                                        : decodeAv1(*configuration, *data, maxPixels);
  if (!decoded) return decoded;
  const Planes& planes = decoded->planes;
  if (planes.width != width || planes.height != height) {
    return Error{"a coded picture's size is not what the file says"};
  }
  if (planes.chroma != format->chroma || planes.depth != format->depth) {
    return Error{"a coded picture is not what its decoder configuration says"};
  }
  return decoded;
}

}  // namespace kelvo::heif
