#pragma once

#include "platform/foundation/result.h"
#include "platform/image_io/heif/pictures.h"
#include "platform/image_io/heif/planes.h"
#include "platform/image_io/heif/structure.h"

namespace kelvo::heif {

// How a coded item was coded, as far as it is to be coded that way again.
struct Coding {
  FourCC type = kHevcItem;
  Chroma chroma = Chroma::c420;
  unsigned depth = 8;
  bool lossless = false;
  int quantiser = 26;           // HEVC: 0 to 51; AV1: 0 to 255; 0 is the finest
  ColorCoding color;            // as the coded data say
  unsigned chromaPosition = 0;  // AV1 only, as its sequence header numbers it

  friend bool operator==(const Coding&, const Coding&) = default;
};

struct Decoded {
  Planes planes;
  Coding coding;
};

// Decodes a coded item of the given size, on the calling thread alone. Every error and every
// warning of the decoder is an error.
Result<Decoded> decodeItem(const Structure& structure, const Item& item, std::uint32_t width,
                           std::uint32_t height);

// Chroma and depth from the decoder configuration alone.
struct Format {
  Chroma chroma = Chroma::c420;
  unsigned depth = 8;
};
Result<Format> formatOf(const Structure& structure, const Item& item);

// Whether an item's data are whole, as far as their framing tells.
Result<void> checkFraming(const Structure& structure, const Item& item);

// The two decoders.
Result<Decoded> decodeHevc(Bytes configuration, Bytes data);
Result<Decoded> decodeAv1(Bytes configuration, Bytes data, std::uint32_t maxPixels);

// Whether the units of AV1 data add up.
bool av1UnitsAddUp(Bytes data);

}  // namespace kelvo::heif
