#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "platform/foundation/result.h"
#include "platform/image_io/jpeg/embedded_thumbnails.h"
#include "platform/image_io/jpeg/jpeg_structure.h"

// Gain maps: a small further picture that says how much brighter each place of the first one may be
// on a screen that can show it. A map made for the old colours does not fit the adjusted ones.
namespace kelvo::jpeg {

// What a picture's segments say.
struct GainMapSigns {
  bool present = false;  // something of a gain map
  bool isMap = false;    // that the picture is one itself
};
GainMapSigns gainMapSigns(const std::vector<Segment>& segments);

// A gain map that no index lists, in what follows a picture's end-of-image marker. Both are the
// length of `rest` if there is none.
struct UnlistedGainMap {
  std::size_t begin = 0;
  std::size_t end = 0;
};
UnlistedGainMap findUnlistedGainMap(std::span<const std::byte> rest);

// Where a JPEG begins in `rest` with nothing but zeros before it; the length of `rest` if none
// does.
std::size_t beginOfPicture(std::span<const std::byte> rest);

// Whether a segment is about a gain map and nothing else (ISO 21496-1).
bool isGainMapSegment(const Segment& segment);

// Whether a gain map's other traces can be taken out of the segments. Errors: why not.
Result<void> checkGainMapRemovable(const std::vector<Segment>& segments);

// Takes what it says of a gain map out of an XMP segment that passed this check; leaves others
// alone.
void removeGainMapFromXmp(PreparedSegment& segment);

}  // namespace kelvo::jpeg
