#include "platform/image_io/jpeg/jpeg_metadata.h"

#include <algorithm>

#include "platform/image_io/jpeg/gain_map.h"
#include "platform/image_io/jpeg/jpeg_properties.h"

namespace kelvo::jpeg {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kIcc = "ICC_PROFILE\0"sv;

constexpr const char* kFurtherPictures =
    "the file holds further pictures (multi-picture); adjusting it would lose them";

std::string_view textOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

bool hasIdentifier(const Segment& segment, std::uint8_t marker, std::string_view identifier) {
  return segment.marker == marker && textOf(segment.payload).starts_with(identifier);
}

std::vector<std::byte> iccProfile(const std::vector<Segment>& segments) {
  constexpr std::size_t kHead = kIcc.size() + 2;  // then the part's number and their count
  std::vector<std::span<const std::byte>> parts;
  for (const Segment& segment : segments) {
    if (!hasIdentifier(segment, 0xE2, kIcc) || segment.payload.size() < kHead) continue;
    const auto number = std::to_integer<std::size_t>(segment.payload[kIcc.size()]);
    const auto count = std::to_integer<std::size_t>(segment.payload[kIcc.size() + 1]);
    if (number < 1 || number > count) return {};
    if (parts.empty()) parts.resize(count);
    if (parts.size() != count || !parts[number - 1].empty()) return {};
    parts[number - 1] = segment.payload.subspan(kHead);
  }
  std::vector<std::byte> profile;
  for (const auto part : parts) {
    if (part.empty()) return {};
    profile.insert(profile.end(), part.begin(), part.end());
  }
  return profile;
}

namespace {

// libjpeg's encoder divides by eight times these numbers in 16 bits; its decoder takes any.
bool canEncodeWith(const QuantTable& table) {
  constexpr std::uint16_t kMostQuantisation = 8191;
  return std::ranges::max(table) <= kMostQuantisation;
}

}  // namespace

Result<void> checkWritable(const Properties& properties, const EncodeOptions& options) {
  if (properties.coding() != Coding::rgb && properties.coding() != Coding::ycc) {
    return Error{"its colours are not RGB"};
  }
  const Structure& structure = properties.structure();
  for (const Component& component : structure.components) {
    if (component.quantTable && !canEncodeWith(*component.quantTable)) {
      return Error{"a quantisation table of the file makes no sense"};
    }
  }
  // Gain maps first: their files have further pictures as well, and this says more.
  if (properties.hasGainMap()) {
    if (!options.dropGainMap) {
      return Error{
          "the file holds a gain map, which would not fit the adjusted picture (--gain-map drop "
          "leaves it out)"};
    }
    if (auto can = checkGainMapRemovable(structure.segments); !can) return can;
  }
  if (!properties.pictures().obstacle.empty()) return Error{properties.pictures().obstacle};
  // Pictures that no index announces: previews at the end of the file, which maker notes point to.
  for (const auto piece : properties.trailer()) {
    if (beginOfPicture(piece) < piece.size()) return Error{kFurtherPictures};
  }
  return {};
}

}  // namespace kelvo::jpeg
