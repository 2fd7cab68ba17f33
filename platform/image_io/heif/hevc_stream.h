#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/image_io/heif/boxes.h"

// What the headers of an HEVC picture (ITU-T H.265) tell about how it was coded.
namespace kelvo::heif {

// The decoder configuration record of an 'hvcC' property (ISO/IEC 14496-15).
struct HevcConfiguration {
  unsigned lengthBytes = 4;  // of the number before each unit of a picture's data
  unsigned chromaFormat = 1;
  unsigned lumaDepth = 8;
  unsigned chromaDepth = 8;
  std::vector<Bytes> units;  // parameter sets
};
std::optional<HevcConfiguration> readHevcConfiguration(Bytes record);

// The units of a picture's data; none if their lengths do not add up.
std::optional<std::vector<Bytes>> splitHevcUnits(Bytes data, unsigned lengthBytes);

struct HevcSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};
struct HevcCoding {
  HevcSize size;          // of the decoded picture, cropped
  bool lossless = false;  // quantisation is switched off
  int quantiser = 26;     // of the first slice: 0 is the finest, 51 the coarsest
};
// Nothing if a header is missing or makes no sense.
std::optional<HevcCoding> readHevcCoding(const HevcConfiguration& configuration,
                                         const std::vector<Bytes>& units);

}  // namespace kelvo::heif
