#pragma once

namespace kelvo::jpeg2000 {

// Of a codestream (ISO/IEC 15444-1, A.2).
enum Marker : unsigned {
  kStart = 0xFF4F,
  kCapabilities = 0xFF50,
  kSize = 0xFF51,
  kStyle = 0xFF52,
  kComponentStyle = 0xFF53,
  kTileLengths = 0xFF55,
  kPacketLengthsInMain = 0xFF57,
  kPacketLengths = 0xFF58,
  kQuantization = 0xFF5C,
  kComponentQuantization = 0xFF5D,
  kRegion = 0xFF5E,
  kProgressionChanges = 0xFF5F,
  kPackedInMain = 0xFF60,
  kPackedInTile = 0xFF61,
  kRegistration = 0xFF63,
  kComment = 0xFF64,
  kTilePart = 0xFF90,
  kTileData = 0xFF93,
  kEnd = 0xFFD9,
};

}  // namespace kelvo::jpeg2000
