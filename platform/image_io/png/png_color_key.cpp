#include "platform/image_io/png/png_color_key.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

namespace kelvo {
namespace {

constexpr std::uint32_t kRowsAtOnce = 16;

using Color = std::array<std::uint16_t, 3>;

// Colours by the highest 8 bits of each sample: all there are at 8 bits, groups of them at 16.
class UsedColors {
 public:
  UsedColors(unsigned shift, Color preferred) : shift_(shift), preferred_(preferred) {}

  void add(Color color) {
    used_[group(color)] = true;
    preferredUsed_ = preferredUsed_ || color == preferred_;
  }

  [[nodiscard]] std::optional<Color> unused() const {
    if (!preferredUsed_) return preferred_;
    const auto found = std::find(used_.begin(), used_.end(), false);
    if (found == used_.end()) return std::nullopt;
    const auto number = static_cast<unsigned>(found - used_.begin());
    const auto sample = [&](unsigned at) {
      return static_cast<std::uint16_t>((number >> at & 255U) << shift_);
    };
    return Color{sample(16), sample(8), sample(0)};
  }

 private:
  [[nodiscard]] std::size_t group(Color color) const {
    return std::size_t{color[0]} >> shift_ << 16 | std::size_t{color[1]} >> shift_ << 8 |
           std::size_t{color[2]} >> shift_;
  }

  unsigned shift_;
  Color preferred_;
  bool preferredUsed_ = false;
  std::vector<bool> used_ = std::vector<bool>(std::size_t{1} << 24);
};

template <typename Sample>
Result<void> addPixels(std::span<const std::byte> pixels, UsedColors& used) {
  std::array<Sample, 4> pixel;
  for (std::size_t i = 0; i + sizeof(pixel) <= pixels.size(); i += sizeof(pixel)) {
    std::memcpy(pixel.data(), pixels.data() + i, sizeof(pixel));
    if (pixel[3] == 0) continue;
    if (pixel[3] != std::numeric_limits<Sample>::max()) {
      return Error{"a pixel is translucent, and the file has room for transparent ones only"};
    }
    used.add({pixel[0], pixel[1], pixel[2]});
  }
  return {};
}

}  // namespace

Result<std::optional<Color>> findFreeColor(const CGImage& image, Color preferred) {
  const bool deep = image.layout.type == SampleType::u16;
  UsedColors used(deep ? 8 : 0, preferred);
  auto rows = image.openRows();
  if (!rows) return std::move(rows).error();
  std::vector<std::byte> pixels(image.width * image.layout.pixelBytes() *
                                std::min(kRowsAtOnce, image.height));
  for (std::uint32_t y = 0; y < image.height; y += kRowsAtOnce) {
    const std::uint32_t count = std::min(kRowsAtOnce, image.height - y);
    const auto part = std::span(pixels).first(image.width * image.layout.pixelBytes() * count);
    if (auto read = (*rows)->read(part, count); !read) return std::move(read).error();
    auto added = deep ? addPixels<std::uint16_t>(part, used) : addPixels<std::uint8_t>(part, used);
    if (!added) return std::move(added).error();
  }
  return used.unused();
}

}  // namespace kelvo
