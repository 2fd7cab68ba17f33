#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/pixels/cg_image.h"

namespace kelvo {

// Looks through RGB pictures with alpha 0 or full for a colour that none of their opaque pixels
// has, to stand for the transparent ones. Samples of the pictures' own depth. Takes 2 MiB.
class FreeColorSearch {
 public:
  using Color = std::array<std::uint16_t, 3>;

  // `preferred` is taken if it can be. `deep`: samples of 16 bits.
  FreeColorSearch(bool deep, Color preferred);

  // Reads all rows. An error if a pixel is neither opaque nor transparent, or if the rows fail.
  Result<void> add(const CGImage& image);

  // Nothing if every colour occurs.
  [[nodiscard]] std::optional<Color> find() const;

 private:
  template <typename Sample>
  Result<void> addPixels(std::span<const std::byte> pixels);
  [[nodiscard]] std::size_t group(Color color) const;

  unsigned shift_;
  Color preferred_;
  bool preferredUsed_ = false;
  // Colours by the highest 8 bits of each sample: all there are at 8 bits, groups of them at 16.
  std::vector<bool> used_;
};

}  // namespace kelvo
