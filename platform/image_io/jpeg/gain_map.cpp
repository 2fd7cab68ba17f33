#include "platform/image_io/jpeg/gain_map.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "platform/image_io/jpeg/jpeg_metadata.h"
#include "platform/image_io/jpeg/xmp_gain_map.h"

namespace kelvo::jpeg {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kXmp = "http://ns.adobe.com/xap/1.0/\0"sv;
constexpr std::string_view kExtendedXmp = "http://ns.adobe.com/xmp/extension/\0"sv;
constexpr std::string_view kIsoGainMap = "urn:iso:std:iso:ts:21496:-1\0"sv;
// After the identifier: two versions, and in the map's own picture the parameters.
constexpr std::size_t kIsoVersionBytes = 4;
// After the identifier of extended XMP: a digest, the whole length, the part's place in it.
constexpr std::size_t kExtendedXmpHead = 40;

std::string_view textOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

XmpGainMap readXmp(const Segment& segment) {
  if (!hasIdentifier(segment, 0xE1, kXmp)) return {};
  return findGainMap(textOf(segment.payload.subspan(kXmp.size())));
}

// Extended XMP is one text that is cut into segments anywhere; its digest forbids to change it.
bool inExtendedXmp(const std::vector<Segment>& segments) {
  std::string text;
  for (const Segment& segment : segments) {
    if (!hasIdentifier(segment, 0xE1, kExtendedXmp)) continue;
    const std::size_t head = kExtendedXmp.size() + kExtendedXmpHead;
    if (segment.payload.size() > head) text += textOf(segment.payload.subspan(head));
  }
  return findGainMap(text).present;
}

}  // namespace

std::size_t beginOfPicture(std::span<const std::byte> rest) {
  constexpr std::array kStart = {std::byte{0xFF}, std::byte{0xD8}, std::byte{0xFF}};
  const auto first = std::ranges::find_if(rest, [](std::byte b) { return b != std::byte{0}; });
  const auto begin = static_cast<std::size_t>(first - rest.begin());
  const bool found = rest.size() - begin >= kStart.size() &&
                     std::ranges::equal(rest.subspan(begin, kStart.size()), kStart);
  return found ? begin : rest.size();
}

UnlistedGainMap findUnlistedGainMap(std::span<const std::byte> rest) {
  const UnlistedGainMap none = {rest.size(), rest.size()};
  const std::size_t begin = beginOfPicture(rest);
  if (begin == rest.size()) return none;
  const auto picture = rest.subspan(begin);
  if (!gainMapSigns(readStructure(picture, Extent::toFirstScan).segments).isMap) return none;
  const Structure whole = readStructure(picture, Extent::wholeFile);
  if (whole.status.status != CGImageSourceStatus::complete) return none;
  return {begin, begin + whole.end};
}

bool isGainMapSegment(const Segment& segment) { return hasIdentifier(segment, 0xE2, kIsoGainMap); }

GainMapSigns gainMapSigns(const std::vector<Segment>& segments) {
  GainMapSigns signs;
  signs.present = inExtendedXmp(segments);
  for (const Segment& segment : segments) {
    const XmpGainMap xmp = readXmp(segment);
    const bool iso = isGainMapSegment(segment);
    signs.present = signs.present || xmp.present || iso;
    signs.isMap = signs.isMap || xmp.parameters ||
                  (iso && segment.payload.size() > kIsoGainMap.size() + kIsoVersionBytes);
  }
  return signs;
}

Result<void> checkGainMapRemovable(const std::vector<Segment>& segments) {
  if (inExtendedXmp(segments)) {
    return Error{"the gain map is described in extended XMP, where it cannot be taken out"};
  }
  for (const Segment& segment : segments) {
    const XmpGainMap xmp = readXmp(segment);
    if (xmp.present && !xmp.without) {
      return Error{
          "the gain map cannot be taken out, because the XMP that describes it is damaged"};
    }
  }
  return {};
}

void removeGainMapFromXmp(PreparedSegment& segment) {
  const XmpGainMap xmp = readXmp({segment.marker, segment.payload()});
  if (!xmp.without) return;
  const auto identifier = std::as_bytes(std::span(kXmp));
  const auto packet = std::as_bytes(std::span(*xmp.without));
  std::vector<std::byte> edited(identifier.begin(), identifier.end());
  edited.insert(edited.end(), packet.begin(), packet.end());
  segment.edited = std::move(edited);
}

}  // namespace kelvo::jpeg
