#include "platform/image_io/exif_orientation.h"

#include <algorithm>
#include <array>

#include "platform/image_io/tiff/directory.h"

namespace kelvo {
namespace {

constexpr std::array kPrefix = {std::byte{'E'}, std::byte{'x'}, std::byte{'i'},
                                std::byte{'f'}, std::byte{0},   std::byte{0}};

}  // namespace

unsigned exifOrientation(std::span<const std::byte> exif) {
  if (exif.size() >= kPrefix.size() && std::ranges::equal(exif.first(kPrefix.size()), kPrefix)) {
    exif = exif.subspan(kPrefix.size());
  }
  const auto format = tiff::readHeader(exif);
  if (!format) return 1;
  const tiff::View view{exif, *format};
  const std::uint64_t first = view.offset(format->firstOffsetPosition());
  return tiff::orientation(view, tiff::readDirectory(view, first).directory);
}

}  // namespace kelvo
