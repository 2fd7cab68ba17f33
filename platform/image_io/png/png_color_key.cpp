#include "platform/image_io/png/png_color_key.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace kelvo {
namespace {

constexpr std::uint32_t kRowsAtOnce = 16;

}  // namespace

FreeColorSearch::FreeColorSearch(bool deep, Color preferred)
    : shift_(deep ? 8 : 0), preferred_(preferred), used_(std::size_t{1} << 24) {}

Result<void> FreeColorSearch::add(const CGImage& image) {
  auto rows = image.openRows();
  if (!rows) return std::move(rows).error();
  const std::size_t rowBytes = image.width * image.layout.pixelBytes();
  std::vector<std::byte> pixels(rowBytes * std::min(kRowsAtOnce, image.height));
  for (std::uint32_t y = 0; y < image.height; y += kRowsAtOnce) {
    const std::uint32_t count = std::min(kRowsAtOnce, image.height - y);
    const auto part = std::span(pixels).first(rowBytes * count);
    if (auto read = (*rows)->read(part, count); !read) return read;
    auto added = shift_ != 0 ? addPixels<std::uint16_t>(part) : addPixels<std::uint8_t>(part);
    if (!added) return added;
  }
  return {};
}

template <typename Sample>
Result<void> FreeColorSearch::addPixels(std::span<const std::byte> pixels) {
  std::array<Sample, 4> pixel;
  for (std::size_t i = 0; i + sizeof(pixel) <= pixels.size(); i += sizeof(pixel)) {
    std::memcpy(pixel.data(), pixels.data() + i, sizeof(pixel));
    if (pixel[3] == 0) continue;
    if (pixel[3] != std::numeric_limits<Sample>::max()) {
      return Error{"a pixel is translucent, and the file has room for transparent ones only"};
    }
    const Color color = {pixel[0], pixel[1], pixel[2]};
    used_[group(color)] = true;
    preferredUsed_ = preferredUsed_ || color == preferred_;
  }
  return {};
}

std::optional<FreeColorSearch::Color> FreeColorSearch::find() const {
  if (!preferredUsed_) return preferred_;
  const auto found = std::find(used_.begin(), used_.end(), false);
  if (found == used_.end()) return std::nullopt;
  const auto number = static_cast<unsigned>(found - used_.begin());
  const auto sample = [&](unsigned at) {
    return static_cast<std::uint16_t>((number >> at & 255U) << shift_);
  };
  return Color{sample(16), sample(8), sample(0)};
}

std::size_t FreeColorSearch::group(Color color) const {
  return std::size_t{color[0]} >> shift_ << 16 | std::size_t{color[1]} >> shift_ << 8 |
         std::size_t{color[2]} >> shift_;
}

}  // namespace kelvo
