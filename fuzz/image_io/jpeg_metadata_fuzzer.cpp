#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "platform/image_io/jpeg/embedded_thumbnails.h"
#include "platform/image_io/jpeg/gain_map.h"
#include "platform/image_io/jpeg/jpeg_metadata.h"
#include "platform/image_io/jpeg/jpeg_structure.h"
#include "platform/image_io/jpeg/multi_picture.h"
#include "platform/image_io/jpeg/xmp_gain_map.h"

// Everything that a JPEG says besides its pixels, so without the time that decoding them takes: the
// index of further pictures, gain maps, thumbnails, profiles.
namespace {

using namespace kelvo::jpeg;
using Bytes = std::span<const std::byte>;

void require(bool good) {
  if (!good) std::abort();
}

bool inside(Bytes part, Bytes whole) {
  return part.empty() ||
         (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

void checkIndex(const MultiPicture& pictures, Bytes file) {
  if (!pictures.index) return;
  const MultiPictureIndex& index = *pictures.index;
  require(pictures.obstacle.empty() && index.pictures.size() > 1);
  require(inside(index.payload, file));
  std::size_t end = 0;
  for (const PicturePlace& place : index.pictures) {
    require(place.begin >= end && place.begin <= place.limit && place.limit <= file.size());
    end = place.limit;
  }
  require(!index.frames.empty() && index.frames.front() == 0);
  require(std::ranges::is_sorted(index.frames) && index.frames.back() < index.pictures.size());
  require(index.placeField(index.pictures.size() - 1) + 8 <= index.payload.size());
  require(!index.payloadOfFrames().empty());
}

// Editing a segment again finds nothing more to edit.
void checkThumbnails(const std::vector<Segment>& segments) {
  PreparedSegments prepared = withoutThumbnails(segments);
  require(prepared.segments.size() <= segments.size());
  std::vector<Segment> edited;
  for (const PreparedSegment& segment : prepared.segments) {
    edited.push_back({segment.marker, segment.payload()});
  }
  const PreparedSegments again = withoutThumbnails(edited);
  require(again.segments.size() == edited.size() && !again.exifThumbnail);
  for (std::size_t i = 0; i < edited.size(); ++i) {
    require(std::ranges::equal(again.segments[i].payload(), edited[i].payload));
  }
  if (const auto& thumbnail = prepared.exifThumbnail) {
    require(thumbnail->segment < edited.size());
    const std::size_t size = edited[thumbnail->segment].payload.size();
    require(thumbnail->data <= size && thumbnail->capacity <= size - thumbnail->data);
    require(thumbnail->lengthField + 4 <= size && thumbnail->directoryPointer + 4 <= size);
    require(thumbnail->width > 0 && thumbnail->height > 0);
  }
  if (!checkGainMapRemovable(segments)) return;
  for (PreparedSegment& segment : prepared.segments) {
    const std::size_t before = segment.payload().size();
    removeGainMapFromXmp(segment);
    require(segment.payload().size() <= before);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Bytes file(reinterpret_cast<const std::byte*>(data), size);
  const Structure structure = readStructure(file, Extent::wholeFile);
  require(structure.end <= size);
  for (const Segment& segment : structure.segments) require(inside(segment.payload, file));
  checkIndex(readMultiPicture(file, structure.segments), file);
  checkThumbnails(structure.segments);
  require(iccProfile(structure.segments).size() <= size);
  (void)gainMapSigns(structure.segments);
  const Bytes rest = file.subspan(structure.end);
  require(beginOfPicture(rest) <= rest.size());
  const UnlistedGainMap map = findUnlistedGainMap(rest);
  require(map.begin <= map.end && map.end <= rest.size());
  // The bytes as an XMP packet of their own.
  const std::string_view packet(reinterpret_cast<const char*>(data), size);
  const XmpGainMap found = findGainMap(packet);
  if (found.without) {
    require(found.present && found.without->size() < packet.size());
    require(!findGainMap(*found.without).present);
  }
  return 0;
}
