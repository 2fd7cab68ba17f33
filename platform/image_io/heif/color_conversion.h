#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/foundation/result.h"
#include "platform/image_io/heif/pictures.h"
#include "platform/image_io/heif/planes.h"

namespace kelvo::heif {

using Matrix3 = std::array<std::array<float, 3>, 3>;

// Between coded samples and RGB numbers of 0 to 1, after ITU-T H.273. Chroma is spread to the
// pixels it stands for and is their mean on the way back, so that pixels which do not change give
// the chroma that they came from.
class ColorConversion {
 public:
  // An error names a matrix that is not supported.
  static Result<ColorConversion> create(const ColorCoding& color, Chroma chroma, unsigned depth);

  // Row y of the planes, its first `count` pixels, as r g b (or gray where there is no chroma) into
  // every `step`-th samples of `out`, limited to 0 to 1 and scaled to the sample type's maximum.
  template <typename Sample>
  void toRgb(const Planes& planes, std::uint32_t y, std::uint32_t count, Sample* out,
             std::size_t step) const;

 private:
  friend class PlaneWriter;

  Matrix3 toRgb_ = {};
  Matrix3 fromRgb_ = {};
  std::array<float, 3> offset_ = {};  // sample = offset + scale * value
  std::array<float, 3> scale_ = {};
  float maximum_ = 255;  // of a sample
};

// Fills planes row by row with RGB. Planes that are wider or higher than what comes repeat the last
// column and row.
class PlaneWriter {
 public:
  PlaneWriter(const ColorConversion& conversion, Planes& planes);

  // r g b of 0 to 1, at most as many pixels as the planes are wide.
  void addRow(std::span<const float> rgb);
  // Repeats the last row down to the end.
  void finish();

 private:
  void finishChromaRow();

  const ColorConversion& conversion_;
  Planes& planes_;
  std::uint32_t y_ = 0;
  std::vector<float> last_;
  std::array<std::vector<float>, 2> sums_;  // of each chroma sample's pixels
  std::vector<float> counts_;
};

}  // namespace kelvo::heif
